// Blind equalisation of cepstra and coding of the high band.
#include <algorithm>
#include <cstdint>

#include "core/contract.h"
#include "core/elementwise.h"
#include "core/fixed_point.h"
#include "core/logarithm.h"
#include "core/rounding.h"
#include "zelsr/aurora/bands.h"
#include "zelsr/core/vector.h"

namespace zelsr {
namespace {

// The elements at i of a register of them (Elements of core/elementwise.h).
template <class Elements>
[[gnu::always_inline]] inline void equalize_at(std::ptrdiff_t i, const float* reference, float* cepstrum,
                                               float* bias, __m128 step)
{
    const __m128 old_bias = Elements::of(bias + i);
    const __m128 t = Elements::of(cepstrum + i) - old_bias;
    Elements::put(cepstrum + i, t);
    Elements::put(bias + i, (t - Elements::of(reference + i)) * step + old_bias);
}

void equalize(const float* reference, float* cepstrum, float* bias, std::ptrdiff_t len, float log_energy)
{
    // The maximum is its second operand where the first is not a number.
    const __m128 above = _mm_max_ps(repeat(log_energy - 3.296875F), _mm_setzero_ps());
    const __m128 step = _mm_min_ps(above, repeat(1.0F)) * repeat(0.0087890625F);
    std::ptrdiff_t i = 0;
    for (; i <= len - 4; i += 4) equalize_at<FullRegister>(i, reference, cepstrum, bias, step);
    for (; i < len; ++i) equalize_at<OneElement>(i, reference, cepstrum, bias, step);
}

// The step is in Q16; no product exceeds 576 * 98303.
void equalize(const int16_t* reference, int16_t* cepstrum, int16_t* bias, int32_t len, int32_t log_energy)
{
    const int32_t step = (std::clamp(log_energy, 211, 211 + 64) - 211) * 9;
    for (std::ptrdiff_t i = 0; i < len; ++i) {
        const int32_t old_bias = load_one(bias + i);
        const int32_t t = load_one(cepstrum + i) - old_bias;
        store_one(cepstrum + i, saturated<int16_t>(t));
        store_one(bias + i, saturated<int16_t>(old_bias + (step * (t - load_one(reference + i)) >> 16)));
    }
}

// The values of which the high band's code takes logarithms: the low-band values, and the bands' sums of the two
// spectra. Four to a group, of which the last is 1.
template <class T>
struct CodedBands {
    alignas(16) T a[4], p[4], q[4];

    static constexpr int kFirstOfQ[3] = {66, 78, 98}, kLengthOfQ[3] = {11, 19, 31};
};

// The greatest single below e^-10.
constexpr float kLeastCoded = 0x1.7cd79ap-15F;
constexpr double kExpOfMinus10 = 4.5399929762484854e-05;
static_assert(double{kLeastCoded} <= kExpOfMinus10 && double{kLeastCoded} + 0x1p-38 > kExpOfMinus10);

// ln v, -10 where v is not above e^-10.
void limited_logarithms(float* four)
{
    const __m128 v = Aligned::four(four);
    const __m128 coded = _mm_cmpgt_ps(v, repeat(kLeastCoded));
    Aligned::put(four, choose(coded, ln(choose(coded, v, repeat(1.0F))), repeat(-10.0F)));
}

// Rounded once a band, from sums in extended precision, but for the first two bands of p.
void sum_bands(const float* p, const float* q, CodedBands<float>& sums)
{
    const auto in_order = [&](int first, int last) {
        float sum = load_one(p + first);
        for (int i = first + 1; i <= last; ++i) sum += load_one(p + i);
        return sum;
    };
    sums.p[0] = in_order(33, 38);
    sums.p[1] = in_order(39, 48);
    zelsSum_32f(p + 49, 16, &sums.p[2], 2);
    for (int k = 0; k < 3; ++k) {
        zelsSum_32f(q + sums.kFirstOfQ[k], sums.kLengthOfQ[k], &sums.q[k], 2);
        sums.q[k] *= 0.5F;
    }
}

[[gnu::noinline]] void code(const float* a, const float* p, const float* q, float* dst)
{
    CodedBands<float> v;
    for (int j = 0; j < 3; ++j) v.a[j] = load_one(a + j);
    sum_bands(p, q, v);
    v.a[3] = v.p[3] = v.q[3] = 1.0F;
    limited_logarithms(v.a);
    limited_logarithms(v.p);
    limited_logarithms(v.q);
    const auto against = [&](int j, int k) { return v.q[k] - (v.p[k] - v.a[j]); };
    for (int j = 0; j < 3; ++j)
        store_one(dst + j, against(j, 0) * 0.1F + against(j, 1) * 0.2F + against(j, 2) * 0.7F);
}

// In Q7: ln v + added, -1280 where v is below 1.
void limited_logarithms(int32_t* four, int32_t added)
{
    int32_t logarithms[4];
    zelsLn_32s_Sfs(four, logarithms, 4, -7);
    for (int i = 0; i < 4; ++i) four[i] = four[i] > 0 ? logarithms[i] + added : -1280;
}

void sum_bands(const int32_t* p, const int32_t* q, CodedBands<int32_t>& sums)
{
    zelsSum_32s_Sfs(p + 33, 6, &sums.p[0], 0);
    zelsSum_32s_Sfs(p + 39, 10, &sums.p[1], 0);
    zelsSum_32s_Sfs(p + 49, 16, &sums.p[2], 0);
    for (int k = 0; k < 3; ++k) zelsSum_32s_Sfs(q + sums.kFirstOfQ[k], sums.kLengthOfQ[k], &sums.q[k], 3);
}

// Q7 to the caller's scale. Below -7 the shift is to the left by sf + 7 modulo 32, not by its magnitude: wanted.
int32_t from_q7(int32_t x, int32_t sf)
{
    if (sf >= -7) return x >> (std::min(sf, 31 - 7) + 7);
    return static_cast<int32_t>(static_cast<uint32_t>(x) << (static_cast<uint32_t>(sf + 7) % 32));
}

void code(const int32_t* a, const int32_t* p, const int32_t* q, int32_t* dst, int32_t sf)
{
    CodedBands<int32_t> v;
    for (int j = 0; j < 3; ++j) v.a[j] = load_one(a + j);
    sum_bands(p, q, v);
    v.a[3] = v.p[3] = v.q[3] = 1;
    limited_logarithms(v.a, 0);
    limited_logarithms(v.p, 0);
    limited_logarithms(v.q, 177);  // of an eighth, to be that of a half
    const auto against = [&](int j, int k) { return v.q[k] - (v.p[k] - v.a[j]); };
    for (int j = 0; j < 3; ++j) {
        const int32_t coded =
            (against(j, 0) * 102 >> 10) + (against(j, 1) * 205 >> 10) + (against(j, 2) * 717 >> 10);
        store_one(dst + j, from_q7(coded, sf));
    }
}

}  // namespace
}  // namespace zelsr

using namespace zelsr;

SrStatus zelsBlindEqualization_Aurora_32f(const float* reference, float* cepstrum, float* bias, int32_t len,
                                          float log_energy)
{
    if (SrStatus failed = first_failure(non_null(reference, cepstrum, bias), positive(len))) return failed;
    equalize(reference, cepstrum, bias, len, log_energy);
    return SrOk;
}

SrStatus zelsBlindEqualization_Aurora_16s(const int16_t* reference, int16_t* cepstrum, int16_t* bias, int32_t len,
                                          int32_t log_energy)
{
    if (SrStatus failed = first_failure(non_null(reference, cepstrum, bias), positive(len))) return failed;
    equalize(reference, cepstrum, bias, len, log_energy);
    return SrOk;
}

SrStatus zelsHighBandCoding_Aurora_32f(const float* a, const float* p, const float* q, float* dst)
{
    if (SrStatus failed = first_failure(non_null(a, p, q, dst))) return failed;
    const DefaultFloatEnvironment environment;
    code(a, p, q, dst);
    return SrOk;
}

SrStatus zelsHighBandCoding_Aurora_32s_Sfs(const int32_t* a, const int32_t* p, const int32_t* q, int32_t* dst,
                                           int32_t sf)
{
    if (SrStatus failed = first_failure(non_null(a, p, q, dst))) return failed;
    code(a, p, q, dst, sf);
    return SrOk;
}
