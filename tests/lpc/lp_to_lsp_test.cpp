// Line spectral pairs of a prediction polynomial.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <limits>
#include <vector>

#include "lpc/filters.h"
#include "support/arrangements.h"
#include "support/bits.h"
#include "support/effort.h"
#include "support/environment.h"
#include "support/hooks.h"
#include "support/operation.h"
#include "support/reference/line_spectrum.h"
#include "support/reference/lp_conversion.h"
#include "zelsr/lpc/line_spectrum.h"

namespace zelsr::test {
namespace {

constexpr float kHeld = -77.25F;
constexpr int16_t kHeld16 = -777;

// As the line spectra take it: with the other sign in odd orders.
std::vector<float> signed_by_order(std::vector<float> a)
{
    if (a.size() % 2 != 0)
        for (float& x : a) x = -x;
    return a;
}
// Resonances of several widths: reflection coefficients that fall off.
std::vector<float> random_filter(int order) { return signed_by_order(stable_filter(order, 0.8)); }

struct Outcome {
    SrStatus status;
    std::vector<float> lsp;
    int32_t n_roots;
};
Outcome lsp_of(const std::vector<float>& a, int n_int, int n_div)
{
    Outcome result{SrOk, std::vector<float>(a.size(), kHeld), -1};
    result.status = zelsLPToLSP_32f(a.data(), result.lsp.data(), static_cast<int32_t>(a.size()), &result.n_roots,
                                    n_int, n_div);
    return result;
}

// Bit by bit, with nothing written behind the roots.
testing::AssertionResult finds(const std::vector<float>& a, int n_int, int n_div, Arrangement at = Arrangement(3))
{
    const reference::LineSpectrum right = reference::lp_to_lsp(a, n_int, n_div);
    std::vector<float> expected = right.roots;
    expected.resize(a.size(), kHeld);
    Guarded<float> source(a, at[0]), lsp(std::vector<float>(a.size(), kHeld), at[1]);
    Guarded<int32_t> n_roots(1, at[2]);
    source.take_snapshot();
    const SrStatus status =
        zelsLPToLSP_32f(source.data(), lsp.data(), static_cast<int32_t>(a.size()), n_roots.data(), n_int, n_div);
    testing::AssertionResult result = same_values(expected, lsp.values());
    if (result) result = same_value(static_cast<int32_t>(right.roots.size()), n_roots.get(0));
    if (result) result = status_is(right.status, status);
    if (result && !(source.as_snapshot() && lsp.intact() && n_roots.intact()))
        result = testing::AssertionFailure() << "written beside the results";
    if (result) return result;
    return testing::AssertionFailure() << "order " << a.size() << ", " << n_int << " cells, " << n_div
                                       << " divisions, " << describe(at) << ": " << result.message();
}

TEST(LPToLSP, IsTheSearchBitByBitAtEveryOrderAndAddress)
{
    Cycle<int> cells({60, 100, 64, 101, 63});
    Cycle<int> divisions({4, 5, 1, 8, 3});
    for (int order : lengths(12))
        for (const Arrangement& at : arrangements(3, sizeof(float)))
            ASSERT_TRUE(finds(random_filter(order), cells.next(), divisions.next(), at));
}

// Where groups of four nodes end, and few nodes.
TEST(LPToLSP, EveryNumberOfCells)
{
    for (int order = 1; order <= 40; ++order)
        for (int n_int = order; n_int <= order + 30; ++n_int)
            for (int n_div : {1, 2, 3, 4, 7}) ASSERT_TRUE(finds(random_filter(order), n_int, n_div));
    for (int n_int : {128, 255, 256, 257, 1000, 5000})
        for (int order : {10, 16, 31}) ASSERT_TRUE(finds(random_filter(order), n_int, 4));
}

TEST(LPToLSP, EveryNumberOfDivisions)
{
    for (int n_div = 1; n_div <= 40; ++n_div)
        for (int order : {1, 2, 9, 10, 16}) ASSERT_TRUE(finds(random_filter(order), 20 + order, n_div));
    ASSERT_TRUE(finds(random_filter(10), 60, 1000));
}

// Polynomials of any kind: unstable ones have fewer roots, or none.
TEST(LPToLSP, AnyCoefficients)
{
    const std::vector<float> special = special_values<float>();
    for (int turn = 0; turn < (thin_effort() ? 200 : 4000); ++turn) {
        const int order = uniform(1, 20);
        std::vector<float> a = uniform_vector(order, -2.0F, 2.0F);
        if (turn % 4 == 0) a[generator()() % a.size()] = special[generator()() % special.size()];
        if (turn % 4 == 1)
            for (float& x : a) x = std::round(x);  // roots on nodes, products of exactly zero
        ASSERT_TRUE(finds(a, uniform(order, 50), uniform(1, 6)));
    }
}

// Order 1 has one polynomial, whose root is the coefficient itself.
TEST(LPToLSP, ByValue)
{
    const Outcome one = lsp_of({0.5F}, 1, 4);
    EXPECT_EQ(one.status, SrOk);
    EXPECT_EQ(one.n_roots, 1);
    EXPECT_EQ(one.lsp[0], 0.5F) << "odd orders: A(z) = 1 - a z^-1";
    // 1 + a z^-1 + b z^-2: 2 x + a + b - 1 and 2 x + a - b + 1
    const Outcome two = lsp_of({-0.5F, 0.25F}, 40, 6);
    EXPECT_EQ(two.status, SrOk);
    EXPECT_NEAR(two.lsp[0], 0.625, 1e-6);
    EXPECT_NEAR(two.lsp[1], -0.125, 1e-6);
    // A filter that does nothing: the angles are spread evenly.
    for (int order : {1, 2, 3, 4, 9, 10, 16}) {
        const Outcome flat = lsp_of(std::vector<float>(static_cast<std::size_t>(order), 0.0F), 200, 10);
        EXPECT_EQ(flat.status, SrOk);
        for (int i = 0; i < order; ++i)
            EXPECT_NEAR(flat.lsp[static_cast<std::size_t>(i)], std::cos(std::acos(-1.0) * (i + 1) / (order + 1)),
                        1e-5)
                << i << " of order " << order;
    }
}

// On the unit circle at the angles found, A(z) +- z^-(order+1) A(1/z) vanish in turns.
TEST(LPToLSP, AreTheZerosOfTheSymmetricAndTheAntisymmetricPart)
{
    for (int order = 1; order <= 24; ++order)
        for (int turn = 0; turn < 10; ++turn) {
            const std::vector<float> a = stable_filter(order, 0.6);
            const Outcome found = lsp_of(signed_by_order(a), 500, 12);
            if (found.status != SrOk) continue;  // roots that the grid does not part
            for (int i = 0; i < order; ++i) {
                if (i > 0) {
                    EXPECT_LE(found.lsp[static_cast<std::size_t>(i)], found.lsp[static_cast<std::size_t>(i - 1)]);
                }
                const double w = std::acos(static_cast<double>(found.lsp[static_cast<std::size_t>(i)]));
                std::complex<double> forward = 1;
                for (int k = 0; k < order; ++k)
                    forward += static_cast<double>(a[static_cast<std::size_t>(k)]) * std::polar(1.0, -w * (k + 1));
                const std::complex<double> backward = std::polar(1.0, -w * (order + 1)) * std::conj(forward);
                const double sum = std::abs(i % 2 == 0 ? forward + backward : forward - backward);
                EXPECT_LE(sum, 2e-3 * std::max(1.0, std::abs(forward))) << i << " of order " << order;
            }
        }
}

// Two roots of one polynomial in a cell go unnoticed.
TEST(LPToLSP, FewerRootsThanTheOrder)
{
    const std::vector<float> flat(10, 0.0F);
    EXPECT_EQ(lsp_of(flat, 100, 4).status, SrOk);
    const Outcome coarse = lsp_of(flat, 10, 4);  // as many cells as roots pass the checks
    const reference::LineSpectrum right = reference::lp_to_lsp(flat, 10, 4);
    EXPECT_EQ(coarse.status, right.status);
    const Outcome none = lsp_of({0, 5}, 100, 4);  // 2 x + 4 and 2 x - 4
    EXPECT_EQ(none.status, SrErrLpToLsp);
    EXPECT_EQ(none.n_roots, 0);
    EXPECT_EQ(none.lsp, (std::vector<float>{kHeld, kHeld}));
    const Outcome first = lsp_of({0.5F, -3}, 100, 4);  // 2 x - 3.5, no root: the second polynomial is not reached
    EXPECT_EQ(first.n_roots, 0);
    const Outcome half = lsp_of({2.5F, -1}, 100, 4);  // 2 x + 0.5, and 2 x + 4.5 with none
    EXPECT_EQ(half.status, SrErrLpToLsp);
    EXPECT_EQ(half.n_roots, 1);
    EXPECT_NEAR(half.lsp[0], -0.25, 1e-6);
    EXPECT_EQ(half.lsp[1], kHeld);
}

// Bisection and quadrisection, each in its place: one division halves a cell, one round quarters it.
TEST(LPToLSP, OddDivisionsRefineOneStepFurtherInGroups)
{
    int by_four = 0, singly = 0;
    for (int turn = 0; turn < 50; ++turn) {
        const std::vector<float> a = random_filter(6);
        const reference::LineSpectrum once = reference::lp_to_lsp(a, 23, 1),
                                      twice = reference::lp_to_lsp(a, 23, 2);
        const Outcome found_once = lsp_of(a, 23, 1), found_twice = lsp_of(a, 23, 2);
        if (once.status != SrOk || twice.status != SrOk) continue;
        for (std::size_t i = 0; i < once.roots.size(); ++i) {
            EXPECT_NEAR(found_once.lsp[i], found_twice.lsp[i], 2.0 / 23 / 2);
            ++(once.by_four[i] ? by_four : singly);
            if (i > 0) continue;  // later ones start from these
            EXPECT_EQ(once.by_four[i], found_once.lsp[i] == found_twice.lsp[i]);
        }
    }
    EXPECT_GT(by_four, 0);
    EXPECT_GT(singly, 0);
}

// --- checks and memory ---

template <class T>
struct Arguments {
    const T* a;
    T* lsp;
    int32_t order;
    int32_t* n_roots;
    int32_t n_int, n_div;
};
template <class T>
void expect_checks(SrStatus (*call)(const Arguments<T>&))
{
    using A = Arguments<T>;
    const Guarded<T> a(std::vector<T>(10, T(0)));
    Guarded<T> lsp(10);
    Guarded<int32_t> n_roots(1);
    AllocatorWatch watch;
    expect_check_order<A>({a.data(), lsp.data(), 10, n_roots.data(), 60, 4},
                          {{"null coefficients", SrErrNullPtr, [](A& x) { x.a = nullptr; }},
                           {"null result", SrErrNullPtr, [](A& x) { x.lsp = nullptr; }},
                           {"null count", SrErrNullPtr, [](A& x) { x.n_roots = nullptr; }},
                           {"no cells", SrErrSize, [](A& x) { x.n_int = 0; }},
                           {"lowest cells", SrErrSize, [](A& x) { x.n_int = INT32_MIN; }},
                           {"no divisions", SrErrSize, [](A& x) { x.n_div = 0; }},
                           {"lowest divisions", SrErrSize, [](A& x) { x.n_div = INT32_MIN; }},
                           {"order 0", SrErrSize, [](A& x) { x.order = 0; }},
                           {"lowest order", SrErrSize, [](A& x) { x.order = INT32_MIN; }},
                           {"more roots than cells", SrErrSize, [](A& x) { x.order = 61; }},
                           {"highest order", SrErrSize, [](A& x) { x.order = INT32_MAX; }}},
                          call, {&lsp, &n_roots});
    EXPECT_EQ(watch.requests(), 0);
}

TEST(LPToLSP, PointersAreCheckedBeforeSizes)
{
    expect_checks<float>([](const Arguments<float>& x) {
        return zelsLPToLSP_32f(x.a, x.lsp, x.order, x.n_roots, x.n_int, x.n_div);
    });
    expect_checks<int16_t>([](const Arguments<int16_t>& x) {
        return zelsLPToLSP_16s_Sfs(x.a, 12, x.lsp, x.order, x.n_roots, x.n_int, x.n_div, -15);
    });
}

TEST(LPToLSP, SmallOrdersTakeNoMemory)
{
    const std::vector<float> a = random_filter(16);
    const std::vector<int16_t> a16(16, 0);
    std::vector<float> lsp(16);
    std::vector<int16_t> lsp16(16);
    int32_t n_roots;
    AllocatorWatch watch;
    zelsLPToLSP_32f(a.data(), lsp.data(), 16, &n_roots, 200, 4);
    zelsLPToLSP_16s_Sfs(a16.data(), 12, lsp16.data(), 16, &n_roots, 100, 4, -15);
    EXPECT_EQ(watch.requests(), 0);
}

TEST(LPToLSP, SurvivesRefusedMemory)
{
    struct Size {
        int order, n_int;
    };
    for (Size size : {Size{10, 250}, Size{10, 2000}, Size{300, 400}, Size{130, 130}}) {
        const std::vector<float> a(static_cast<std::size_t>(size.order), 0.0F);
        const std::vector<int16_t> a16(a.size(), 0);
        for (int refused = 1;; ++refused) {
            std::vector<float> lsp(a.size(), kHeld);
            int32_t n_roots = -5;
            AllocatorWatch watch(refused);
            const SrStatus status = zelsLPToLSP_32f(a.data(), lsp.data(), size.order, &n_roots, size.n_int, 4);
            EXPECT_EQ(watch.live(), 0);
            if (watch.requests() < refused) break;
            EXPECT_EQ(status, SrErrMemAlloc);
            EXPECT_EQ(lsp, std::vector<float>(a.size(), kHeld));
            EXPECT_EQ(n_roots, -5);
        }
        for (int refused = 1;; ++refused) {
            std::vector<int16_t> lsp(a.size(), kHeld16);
            int32_t n_roots = -5;
            AllocatorWatch watch(refused);
            const SrStatus status =
                zelsLPToLSP_16s_Sfs(a16.data(), 12, lsp.data(), size.order, &n_roots, size.n_int, 4, -15);
            EXPECT_EQ(watch.live(), 0);
            if (watch.requests() < refused) break;
            EXPECT_EQ(status, SrErrMemAlloc);
            EXPECT_EQ(lsp, std::vector<int16_t>(a.size(), kHeld16));
            EXPECT_TRUE(n_roots == -5 || n_roots == 0);
        }
    }
}

// --- 16 bits ---

testing::AssertionResult finds_fixed(const std::vector<int16_t>& a, int32_t src_sf, int n_int, int n_div,
                                     int32_t sf, Arrangement at = Arrangement(3))
{
    const reference::LineSpectrum right = reference::lp_to_lsp(reference::scaled_singles(a, src_sf), n_int, n_div);
    std::vector<int16_t> expected = reference::half_away(right.roots, sf);
    expected.resize(a.size(), kHeld16);
    Guarded<int16_t> source(a, at[0]), lsp(std::vector<int16_t>(a.size(), kHeld16), at[1]);
    Guarded<int32_t> n_roots(1, at[2]);
    source.take_snapshot();
    const SrStatus status = zelsLPToLSP_16s_Sfs(source.data(), src_sf, lsp.data(), static_cast<int32_t>(a.size()),
                                                n_roots.data(), n_int, n_div, sf);
    testing::AssertionResult result = same_values(expected, lsp.values());
    if (result) result = same_value(static_cast<int32_t>(right.roots.size()), n_roots.get(0));
    if (result) result = status_is(right.status, status);
    if (result && !(source.as_snapshot() && lsp.intact() && n_roots.intact()))
        result = testing::AssertionFailure() << "written beside the results";
    if (result) return result;
    return testing::AssertionFailure() << "order " << a.size() << ", " << n_int << " cells, " << n_div
                                       << " divisions, sf " << sf << ", " << describe(at) << ": "
                                       << result.message();
}

std::vector<int16_t> fixed_filter(int order, int32_t src_sf)
{
    std::vector<int16_t> all;
    for (float a : random_filter(order))
        all.push_back(static_cast<int16_t>(std::clamp(std::round(std::ldexp(a, src_sf)), -32768.0F, 32767.0F)));
    return all;
}

TEST(LPToLSPFixed, IsTheSearchBetweenConversions)
{
    Cycle<int> cells({60, 100, 64, 101, 63});
    for (int order : lengths(8))
        for (const Arrangement& at : arrangements(3, sizeof(int16_t))) {
            const int32_t src_sf = uniform(8, 12);
            ASSERT_TRUE(finds_fixed(fixed_filter(order, src_sf), src_sf, cells.next(), 4, uniform(-15, -10), at));
        }
    for (int order : {40, 100})
        for (int n_int : {100, 300, 1000}) ASSERT_TRUE(finds_fixed(fixed_filter(order, 11), 11, n_int, 4, -15));
}

TEST(LPToLSPFixed, EveryScaleFactor)
{
    const std::vector<int16_t> a = fixed_filter(9, 11);
    for (int32_t sf : scale_factors()) {
        if (sf > -31 && sf < 160) {
            ASSERT_TRUE(finds_fixed(a, 11, 60, 4, sf));
        }
        if (sf > -100 && sf < 140) {
            ASSERT_TRUE(finds_fixed(a, sf, 60, 4, -15));
        }
    }
}

TEST(LPToLSPFixed, ByValue)
{
    int16_t a = 2048, lsp = 7;
    int32_t n_roots = 7;
    ASSERT_EQ(zelsLPToLSP_16s_Sfs(&a, 12, &lsp, 1, &n_roots, 8, 4, -15), SrOk);
    EXPECT_EQ(lsp, 16384);
    EXPECT_EQ(n_roots, 1);
    ASSERT_EQ(zelsLPToLSP_16s_Sfs(&a, 12, &lsp, 1, &n_roots, 8, 4, 0), SrOk);
    EXPECT_EQ(lsp, 1) << "a half away from zero";
    a = -2048;
    ASSERT_EQ(zelsLPToLSP_16s_Sfs(&a, 12, &lsp, 1, &n_roots, 8, 4, 0), SrOk);
    EXPECT_EQ(lsp, -1);
    a = 4096;  // a root of 1 is not saturated: wanted
    ASSERT_EQ(zelsLPToLSP_16s_Sfs(&a, 12, &lsp, 1, &n_roots, 8, 4, -15), SrOk);
    EXPECT_EQ(lsp, -32768);
    a = 2048;
    ASSERT_EQ(zelsLPToLSP_16s_Sfs(&a, 12, &lsp, 1, &n_roots, 8, 4, -17), SrOk);
    EXPECT_EQ(lsp, 0) << "the low bits of 65536";
    a = 8192;  // none: the count is cleared, nothing else is written
    lsp = 7;
    EXPECT_EQ(zelsLPToLSP_16s_Sfs(&a, 12, &lsp, 1, &n_roots, 8, 4, -15), SrErrLpToLsp);
    EXPECT_EQ(n_roots, 0);
    EXPECT_EQ(lsp, 7);
}

TEST(LPToLSPFixed, AnyCoefficients)
{
    for (int turn = 0; turn < (thin_effort() ? 100 : 2000); ++turn) {
        const int order = uniform(1, 20);
        ASSERT_TRUE(finds_fixed(uniform_vector<int16_t>(order, -16000, 16000), uniform(11, 15), uniform(order, 50),
                                uniform(1, 6), -14));
    }
}

TEST(LPToLSPFixed, InEveryEnvironment)
{
    for (int order : {9, 10}) {
        const std::vector<int16_t> a = fixed_filter(order, 11);
        const std::vector<int16_t> right =
            reference::half_away(reference::lp_to_lsp(reference::scaled_singles(a, 11), 100, 4).roots, -15);
        std::vector<int16_t> lsp(a.size());
        int32_t n_roots = 0;
        under_each_environment(
            [&] { zelsLPToLSP_16s_Sfs(a.data(), 11, lsp.data(), order, &n_roots, 100, 4, -15); },
            [&](const std::string& setting) {
                EXPECT_EQ(right.size(), static_cast<std::size_t>(n_roots)) << setting;
                lsp.resize(right.size());
                EXPECT_EQ(right, lsp) << setting;
                lsp.resize(a.size());
            });
    }
}

#ifdef __i386__
TEST(LPToLSP, RunsOnAnyStack)
{
    const std::vector<int16_t> a16(10, 0);
    const std::vector<float> a(10, 0.0F);
    const std::vector<float> right = reference::lp_to_lsp(a, 100, 4).roots;
    for (int misalign : {0, 4, 8, 12}) {
        std::vector<float> lsp(10);
        std::vector<int16_t> lsp16(10);
        int32_t n_roots;
        EXPECT_EQ(call_misaligned(zelsLPToLSP_32f, misalign, a.data(), lsp.data(), 10, &n_roots, 100, 4), SrOk);
        EXPECT_EQ(right, lsp);
        EXPECT_EQ(call_misaligned(zelsLPToLSP_16s_Sfs, misalign, a16.data(), 12, lsp16.data(), 10, &n_roots, 100,
                                  4, -14),
                  SrOk);
        EXPECT_EQ(reference::half_away(right, -14), lsp16);
    }
}
#endif

}  // namespace
}  // namespace zelsr::test
