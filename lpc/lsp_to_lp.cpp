// Prediction polynomials from line spectral pairs.
#include "core/contract.h"
#include "core/convert.h"
#include "core/elementwise.h"
#include "core/rounding.h"
#include "core/scratch.h"
#include "core/simd.h"
#include "lpc/scaled.h"
#include "zelsr/lpc/line_spectrum.h"

namespace zelsr {
namespace {

constexpr int32_t kOnStack = 58;  // up to this order no memory is allocated

// Coefficient i of both polynomials side by side: p[2 i] of G1, p[2 i + 1] of G2. What lies behind G2's last is 0.
constexpr int64_t work_size(int64_t order) { return order + 3; }

struct Pairs {
    float* p;

    __m128 operator[](int32_t i) const { return TwoElements::of(p + 2 * i); }
    void put(int32_t i, __m128 v) const { TwoElements::put(p + 2 * i, v); }
    float& g1(int32_t i) const { return p[2 * i]; }
    float& g2(int32_t i) const { return p[2 * i + 1]; }
};

// Multiplies both polynomials, of k - 1 factors, by one more with b = -2 x each.
void multiply(const Pairs& g, int32_t k, __m128 b)
{
    g.put(k, g[k - 1] * b + g[k - 2] * repeat(2.0F));
    for (int32_t j = k - 1; j >= 2; --j) g.put(j, g[j - 1] * b + g[j] + g[j - 2]);
    g.put(1, g[1] + b);
}

void build(const float* lsp, int32_t order, const Pairs& g)
{
    const int32_t m = order / 2;
    g.put(0, repeat(1.0F));
    if (m >= 1) g.put(1, repeat(-2.0F) * TwoElements::of(lsp));
    for (int32_t k = 2; k <= m; ++k) multiply(g, k, repeat(-2.0F) * TwoElements::of(lsp + 2 * (k - 1)));
    if (order % 2 == 0) return;

    // The last root is G1's alone.
    const float x = load_one(lsp + order - 1), b = -2.0F * x;
    const int32_t k = m + 1;
    g.put(k, _mm_setzero_ps());
    if (k == 1) {
        g.g1(1) = b;
        g.g2(1) = 0;
        return;
    }
    g.g1(k) = g.g1(k - 1) * b + g.g1(k - 2) * 2.0F;
    for (int32_t j = k - 1; j >= 2; --j) g.g1(j) = g.g1(j - 1) * b + g.g1(j) + g.g1(j - 2);
    g.g1(1) = g.g1(1) + b;
}

void join_even(const Pairs& g, float* a, int32_t order)
{
    const int32_t m = order / 2;
    for (int32_t i = m; i >= 1; --i) {
        g.g1(i) = g.g1(i) + g.g1(i - 1);
        g.g2(i) = g.g2(i) - g.g2(i - 1);
    }
    for (int32_t i = 1; i <= m; ++i) {
        store_one(a + i - 1, (g.g1(i) + g.g2(i)) * 0.5F);
        store_one(a + order - i, (g.g1(i) - g.g2(i)) * 0.5F);
    }
}

// Later results replace earlier ones where their places meet.
void join_odd(const Pairs& g, float* a, int32_t order)
{
    const int32_t m = (order + 1) / 2;
    const auto store = [a](int32_t i, float twice) { store_one(a + i, twice * -0.5F); };
    store(0, g.g1(1) + g.g2(1));
    for (int32_t j = 0; j <= m - 3; ++j) store(j + 1, g.g1(j + 2) + g.g2(j + 2) - g.g2(j));
    if (order > 1) store(m - 1, g.g1(m));
    for (int32_t j = 0; j <= m - 4; ++j) store(order - 3 - j, g.g1(j + 3) - g.g2(j + 3) + g.g2(j + 1));
    if (order >= 2) store(order - 1, g.g1(1) - g.g2(1));
    if (order >= 4) store(order - 2, 1.0F + g.g1(2) - g.g2(2));
}

[[gnu::noinline]] void polynomial_of(const float* lsp, float* a, int32_t order, float* work)
{
    const Pairs g{work};
    build(lsp, order, g);
    if (order % 2 == 0)
        join_even(g, a, order);
    else
        join_odd(g, a, order);
}

// In falling order; equal neighbours pass, NaN does not.
template <class T>
bool falls(const T* lsp, int32_t order)
{
    for (int32_t i = 0; i < order - 1; ++i)
        if (!(load_one(lsp + i) >= load_one(lsp + i + 1))) return false;
    return true;
}

SrStatus between_ends(const float* lsp, int32_t order)
{
    return require(load_one(lsp) < 1 && falls(lsp, order) && load_one(lsp + order - 1) > -1, SrErrLspToLp);
}

// The ends themselves pass here: wanted.
SrStatus up_to_ends(const int16_t* lsp, int32_t order, float one)
{
    return require(load_one(lsp) <= one && falls(lsp, order) && load_one(lsp + order - 1) >= -one, SrErrLspToLp);
}

}  // namespace
}  // namespace zelsr

using namespace zelsr;

SrStatus zelsLSPToLP_32f(const float* lsp, float* a, int32_t order)
{
    if (SrStatus failed =
            first_failure(non_null(lsp, a), positive(order), [=] { return between_ends(lsp, order); }))
        return failed;
    const Scratch<float, work_size(kOnStack)> work(work_size(order));
    if (!work) return SrErrMemAlloc;
    polynomial_of(lsp, a, order, work.data());
    return SrOk;
}

SrStatus zelsLSPToLP_16s_Sfs(const int16_t* lsp, int32_t src_sf, int16_t* a, int32_t order, int32_t sf)
{
    if (SrStatus failed = first_failure(non_null(lsp, a), positive(order, src_sf),
                                        [=] { return up_to_ends(lsp, order, power_of_two(src_sf)); }))
        return failed;
    const auto size = [](int64_t count) { return work_size(count) + count; };
    const Scratch<float, size(kOnStack)> work(size(order));
    if (!work) return SrErrMemAlloc;
    const DefaultFloatEnvironment environment;
    float* single = work.data() + work_size(order);
    to_single(lsp, single, order, GetScale_32s32f(src_sf));
    polynomial_of(single, single, order, work.data());
    convert_32f16s(single, a, order, Rounding::Nearest, sf);
    return SrOk;
}
