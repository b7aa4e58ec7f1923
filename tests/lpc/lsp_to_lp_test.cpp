// The prediction polynomial of line spectral pairs.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
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
constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

std::vector<float> random_lsp(int order)
{
    std::vector<float> lsp = uniform_vector(order, -0.99F, 0.99F);
    std::sort(lsp.rbegin(), lsp.rend());
    return lsp;
}

TEST(LSPToLP, IsTheProductBitByBit)
{
    at_every_place<2>(lengths(16), {4, 4}, [](int order, const std::array<Placement, 2>& places) {
        const std::vector<float> lsp = random_lsp(order);
        return maps(lsp, reference::lsp_to_lp(lsp), zelsLSPToLP_32f, places[0], places[1]);
    });
    for (int order : {40, 57, 58, 59, 60, 61, 100, 101}) {
        const std::vector<float> lsp = random_lsp(order);
        EXPECT_TRUE(maps(lsp, reference::lsp_to_lp(lsp), zelsLSPToLP_32f)) << order;
    }
}

// Odd orders have the other sign.
TEST(LSPToLP, ByValue)
{
    float a[3];
    const float one[] = {0.5F};
    ASSERT_EQ(zelsLSPToLP_32f(one, a, 1), SrOk);
    EXPECT_EQ(a[0], 0.5F);
    const float two[] = {0.625F, -0.125F};  // those of 1 - 0.5 z^-1 + 0.25 z^-2
    ASSERT_EQ(zelsLSPToLP_32f(two, a, 2), SrOk);
    EXPECT_EQ(a[0], -0.5F);
    EXPECT_EQ(a[1], 0.25F);
    // (1 - z^-1 + z^-2)(1 + z^-1 + z^-2) = 1 + z^-2 + z^-4 and, with (1 - z^-2), 1 - z^-4: twice 1 - (-z^-2 / 2)
    const float three[] = {0.5F, 0, -0.5F};
    ASSERT_EQ(zelsLSPToLP_32f(three, a, 3), SrOk);
    EXPECT_EQ(a[0], 0.0F);
    EXPECT_EQ(a[1], -0.5F);
    EXPECT_EQ(a[2], 0.0F);
}

// The coefficients of the two products grow with their number of factors, and their rounding errors with them:
// measured, 0.8 bits an order.
TEST(LSPToLP, UndoesTheSearch)
{
    for (int order = 1; order <= 40; ++order) {
        int both_ways = 0;
        for (int turn = 0; turn < 20; ++turn) {
            std::vector<float> a = stable_filter(order, 0.5), lsp(a.size()), back(a.size());
            if (order % 2 != 0)
                for (float& x : a) x = -x;
            int32_t n_roots;
            if (zelsLPToLSP_32f(a.data(), lsp.data(), order, &n_roots, 1000, 12) != SrOk) continue;
            ++both_ways;
            ASSERT_EQ(zelsLSPToLP_32f(lsp.data(), back.data(), order), SrOk);
            EXPECT_TRUE(near_values(a, back, std::exp2(0.8 * order - 23))) << order;
        }
        EXPECT_GE(both_ways, 10) << order;
    }
}

TEST(LSPToLP, TheLadderFallsFromBelowOneToAboveMinusOne)
{
    const float below = std::nextafter(1.0F, 0.0F);
    const auto status_of = [](const std::vector<float>& lsp) {
        Guarded<float> a(std::vector<float>(lsp.size(), kHeld));
        a.take_snapshot();
        const SrStatus status = zelsLSPToLP_32f(lsp.data(), a.data(), static_cast<int32_t>(lsp.size()));
        EXPECT_TRUE(status == SrOk || a.as_snapshot());
        EXPECT_TRUE(a.intact());
        return status;
    };
    EXPECT_EQ(status_of({below}), SrOk);
    EXPECT_EQ(status_of({1}), SrErrLspToLp);
    EXPECT_EQ(status_of({2}), SrErrLspToLp);
    EXPECT_EQ(status_of({-below}), SrOk);
    EXPECT_EQ(status_of({-1}), SrErrLspToLp);
    EXPECT_EQ(status_of({kNaN}), SrErrLspToLp);
    EXPECT_EQ(status_of({-kNaN}), SrErrLspToLp);
    EXPECT_EQ(status_of({below, -below}), SrOk);
    EXPECT_EQ(status_of({1, 0}), SrErrLspToLp);
    EXPECT_EQ(status_of({0, -1}), SrErrLspToLp);
    EXPECT_EQ(status_of({0.25F, 0.25F, 0.25F}), SrOk) << "equal neighbours pass";
    for (int order : {2, 3, 9, 10, 60})
        for (int at = 0; at < order; ++at) {
            std::vector<float> lsp = random_lsp(order);
            EXPECT_EQ(status_of(lsp), SrOk);
            const std::vector<float> good = lsp;
            lsp[static_cast<std::size_t>(at)] = kNaN;
            EXPECT_EQ(status_of(lsp), SrErrLspToLp) << at;
            if (at == 0) continue;
            lsp = good;
            lsp[static_cast<std::size_t>(at)] = std::nextafter(lsp[static_cast<std::size_t>(at - 1)], 1.0F);
            EXPECT_EQ(status_of(lsp), SrErrLspToLp) << at;
        }
}

// --- checks and memory ---

struct Arguments {
    const float* lsp;
    float* a;
    int32_t order;
};
struct FixedArguments {
    const int16_t* lsp;
    int32_t src_sf;
    int16_t* a;
    int32_t order;
};

TEST(LSPToLP, ChecksTheLadderLast)
{
    const Guarded<float> lsp(random_lsp(40)), rising(std::vector<float>{0, 0.5F});
    Guarded<float> a(40);
    const float* wrong = rising.data();
    expect_check_order<Arguments>({lsp.data(), a.data(), 40},
                                  {{"null source", SrErrNullPtr, [](Arguments& x) { x.lsp = nullptr; }},
                                   {"null result", SrErrNullPtr, [](Arguments& x) { x.a = nullptr; }},
                                   {"order 0", SrErrSize, [](Arguments& x) { x.order = 0; }},
                                   {"lowest order", SrErrSize, [](Arguments& x) { x.order = INT32_MIN; }},
                                   {"ladder", SrErrLspToLp,
                                    [wrong](Arguments& x) {
                                        x.lsp = wrong;
                                        x.order = 2;
                                    }}},
                                  [](const Arguments& x) { return zelsLSPToLP_32f(x.lsp, x.a, x.order); }, {&a});
    const Guarded<int16_t> lsp16(std::vector<int16_t>(40, 0)), rising16(std::vector<int16_t>{0, 5});
    Guarded<int16_t> a16(40);
    const int16_t* wrong16 = rising16.data();
    using F = FixedArguments;
    expect_check_order<F>({lsp16.data(), 15, a16.data(), 40},
                          {{"null source", SrErrNullPtr, [](F& x) { x.lsp = nullptr; }},
                           {"null result", SrErrNullPtr, [](F& x) { x.a = nullptr; }},
                           {"order 0", SrErrSize, [](F& x) { x.order = 0; }},
                           {"lowest order", SrErrSize, [](F& x) { x.order = INT32_MIN; }},
                           {"scale 0", SrErrSize, [](F& x) { x.src_sf = 0; }},
                           {"lowest scale", SrErrSize, [](F& x) { x.src_sf = INT32_MIN; }},
                           {"ladder", SrErrLspToLp,
                            [wrong16](F& x) {
                                x.lsp = wrong16;
                                x.order = 2;
                            }}},
                          [](const F& x) { return zelsLSPToLP_16s_Sfs(x.lsp, x.src_sf, x.a, x.order, -12); },
                          {&a16});
}

TEST(LSPToLP, TakesNoMemoryUpToOrder58)
{
    for (int order : {1, 2, 57, 58, 59, 60, 200}) {
        const std::vector<float> lsp = random_lsp(order);
        const std::vector<int16_t> lsp16(lsp.size(), 0);
        Guarded<float> a(lsp.size());
        Guarded<int16_t> a16(lsp.size());
        const auto singles = [&] { return zelsLSPToLP_32f(lsp.data(), a.data(), order); };
        const auto fixed = [&] { return zelsLSPToLP_16s_Sfs(lsp16.data(), 15, a16.data(), order, -12); };
        {
            AllocatorWatch watch;
            EXPECT_EQ(singles(), SrOk);
            EXPECT_EQ(watch.requests() == 0, order <= 58) << order;
            const int before = watch.requests();
            EXPECT_EQ(fixed(), SrOk);
            EXPECT_EQ(watch.requests() == before, order <= 58) << order;
        }
        if (order <= 58) continue;
        a.take_snapshot();
        {
            a.fill(std::vector<float>(lsp.size(), kHeld));
            a.take_snapshot();
            AllocatorWatch watch(1);
            EXPECT_EQ(singles(), SrErrMemAlloc);
            EXPECT_TRUE(a.as_snapshot());
        }
        expect_survives_refusals(singles, {&a});
        expect_survives_refusals(fixed, {&a16});
    }
}

// --- 16 bits ---

std::vector<int16_t> random_fixed_lsp(int order, int32_t src_sf)
{
    std::vector<int16_t> all;
    for (float x : random_lsp(order)) all.push_back(static_cast<int16_t>(std::ldexp(x, src_sf)));
    return all;
}
std::vector<int16_t> fixed_lp(const std::vector<int16_t>& lsp, int32_t src_sf, int32_t sf)
{
    return reference::nearest(reference::lsp_to_lp(reference::scaled_singles(lsp, src_sf)), sf);
}
auto with_scales(int32_t src_sf, int32_t sf)
{
    return [=](const int16_t* lsp, int16_t* a, int32_t order) {
        return zelsLSPToLP_16s_Sfs(lsp, src_sf, a, order, sf);
    };
}

TEST(LSPToLPFixed, IsTheProductBetweenConversions)
{
    at_every_place<2>(lengths(16), {2, 2}, [](int order, const std::array<Placement, 2>& places) {
        const int32_t src_sf = uniform(9, 15), sf = uniform(-13, -8);
        const std::vector<int16_t> lsp = random_fixed_lsp(order, src_sf);
        return maps(lsp, fixed_lp(lsp, src_sf, sf), with_scales(src_sf, sf), places[0], places[1]);
    });
    const std::vector<int16_t> lsp = random_fixed_lsp(9, 14);
    for (int32_t sf : scale_factors()) {
        EXPECT_TRUE(maps(lsp, fixed_lp(lsp, 14, sf), with_scales(14, sf))) << sf;
        if (sf >= 14) {
            EXPECT_TRUE(maps(lsp, fixed_lp(lsp, sf, -12), with_scales(sf, -12))) << sf;
        }
    }
    for (int order : {58, 59, 100}) {
        const std::vector<int16_t> long_lsp = random_fixed_lsp(order, 15);
        EXPECT_TRUE(maps(long_lsp, fixed_lp(long_lsp, 15, -10), with_scales(15, -10))) << order;
    }
}

// The ends themselves pass here, unlike in singles: wanted.
TEST(LSPToLPFixed, TheLadderFallsFromOneToMinusOne)
{
    for (int32_t src_sf = 1; src_sf <= 15; ++src_sf) {
        const int one = 1 << src_sf;
        const auto status_of = [&](const std::vector<int>& values) {
            const std::vector<int16_t> lsp(values.begin(), values.end());
            Guarded<int16_t> a(std::vector<int16_t>(lsp.size(), kHeld16));
            a.take_snapshot();
            const SrStatus status =
                zelsLSPToLP_16s_Sfs(lsp.data(), src_sf, a.data(), static_cast<int32_t>(lsp.size()), -12);
            EXPECT_TRUE(status == SrOk || a.as_snapshot());
            return status;
        };
        EXPECT_EQ(status_of({0}), SrOk);
        EXPECT_EQ(status_of({-one}), SrOk) << src_sf;
        EXPECT_EQ(status_of({0, -one}), SrOk);
        EXPECT_EQ(status_of({1, 1}), SrOk);
        EXPECT_EQ(status_of({0, 1}), SrErrLspToLp);
        EXPECT_EQ(status_of({1, 0, 1, 0}), SrErrLspToLp);
        if (src_sf > 14) continue;
        EXPECT_EQ(status_of({one}), SrOk);
        EXPECT_EQ(status_of({one, one, -one, -one}), SrOk);
        EXPECT_EQ(status_of({one + 1}), SrErrLspToLp);
        EXPECT_EQ(status_of({one + 1, 0}), SrErrLspToLp);
        EXPECT_EQ(status_of({-one - 1}), SrErrLspToLp);
        EXPECT_EQ(status_of({0, -one - 1}), SrErrLspToLp);
    }
    // Scales beyond the type: nothing is outside.
    const std::vector<int16_t> widest = {32767, 0, -32768};
    for (int32_t src_sf : {16, 30, 31, 32, 33, 63, 64, 100, 1000, INT32_MAX})
        EXPECT_TRUE(maps(widest, fixed_lp(widest, src_sf, -12), with_scales(src_sf, -12))) << src_sf;
}

TEST(LSPToLPFixed, ByValue)
{
    int16_t a[2];
    const int16_t one[] = {16384};
    ASSERT_EQ(zelsLSPToLP_16s_Sfs(one, 15, a, 1, -12), SrOk);
    EXPECT_EQ(a[0], 2048);
    ASSERT_EQ(zelsLSPToLP_16s_Sfs(one, 15, a, 1, 0), SrOk);
    EXPECT_EQ(a[0], 0) << "a half to even";
    ASSERT_EQ(zelsLSPToLP_16s_Sfs(one, 14, a, 1, -15), SrOk);
    EXPECT_EQ(a[0], 32767) << "one, saturated";
}

TEST(LSPToLPFixed, InEveryEnvironment)
{
    for (int order : {9, 10, 70}) {
        const std::vector<int16_t> lsp = random_fixed_lsp(order, 15), right = fixed_lp(lsp, 15, -10);
        std::vector<int16_t> a(lsp.size());
        under_each_environment([&] { zelsLSPToLP_16s_Sfs(lsp.data(), 15, a.data(), order, -10); },
                               [&](const std::string& setting) { EXPECT_EQ(right, a) << setting; });
    }
}

#ifdef __i386__
TEST(LSPToLP, RunsOnAnyStack)
{
    for (int order : {9, 10}) {
        const std::vector<int16_t> lsp16 = random_fixed_lsp(order, 15);
        const std::vector<float> lsp = reference::scaled_singles(lsp16, 15);
        for (int misalign : {0, 4, 8, 12}) {
            std::vector<float> a(lsp.size());
            std::vector<int16_t> a16(lsp.size());
            EXPECT_EQ(call_misaligned(zelsLSPToLP_32f, misalign, lsp.data(), a.data(), order), SrOk);
            EXPECT_TRUE(same_values(reference::lsp_to_lp(lsp), a));
            EXPECT_EQ(call_misaligned(zelsLSPToLP_16s_Sfs, misalign, lsp16.data(), 15, a16.data(), order, -10),
                      SrOk);
            EXPECT_EQ(fixed_lp(lsp16, 15, -10), a16);
        }
    }
}
#endif

}  // namespace
}  // namespace zelsr::test
