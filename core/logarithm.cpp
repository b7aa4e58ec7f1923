// Natural logarithms of singles and of 32-bit integers.
#include "core/logarithm.h"

#include <algorithm>
#include <array>
#include <cstdint>

#include "core/constants.h"
#include "core/contract.h"
#include "core/convert.h"
#include "core/groups.h"
#include "core/rounding.h"
#include "core/scale.h"
#include "core/simd.h"
#include "zelsr/core/vector.h"

namespace zelsr {

namespace detail {

[[gnu::cold, gnu::noinline]] __m128 ln_of_any(__m128 x)
{
    const __m128i bits = _mm_castps_si128(x);
    const __m128i zero = _mm_cmpeq_epi32(bits, _mm_setzero_si128());
    const __m128i negative = _mm_srai_epi32(bits, 31);
    const __m128i not_finite = _mm_cmpgt_epi32(bits, _mm_set1_epi32(0x7f7fffff));
    const __m128i subnormal = _mm_cmpgt_epi32(_mm_set1_epi32(0x00800000), bits);
    const __m128 normal = choose(subnormal, x * _mm_set1_ps(0x1p23F), x);
    __m128 result = ln_of_normal(_mm_castps_si128(normal), _mm_and_si128(subnormal, _mm_set1_epi32(-23)));
    result = choose(not_finite, x, result);
    result = choose(zero, _mm_set1_ps(zelConstantOfINF_NEG_32f), result);
    return choose(negative, _mm_set1_ps(zelConstantOfNAN_32f), result);
}

}  // namespace detail

namespace {

// The status of the first element at or below zero. A single's bits as an integer tell the same: zero for +0
// alone, below zero for a set sign bit.
[[gnu::noinline]] SrStatus first_not_positive(const int32_t* bits, int32_t len)
{
    int32_t i = 0;
    for (; i <= len - 16; i += 16) {
        const __m128i one = _mm_set1_epi32(1);
        const __m128i low = _mm_or_si128(_mm_cmpgt_epi32(one, Unaligned::bytes(bits + i)),
                                         _mm_cmpgt_epi32(one, Unaligned::bytes(bits + i + 4)));
        const __m128i high = _mm_or_si128(_mm_cmpgt_epi32(one, Unaligned::bytes(bits + i + 8)),
                                          _mm_cmpgt_epi32(one, Unaligned::bytes(bits + i + 12)));
        if (_mm_movemask_epi8(_mm_or_si128(low, high)) != 0) break;
    }
    for (; i < len; ++i) {
        const int32_t x = load_one(bits + i);
        if (x <= 0) return x == 0 ? SrWarnLnZeroArg : SrWarnLnNegArg;
    }
    return SrOk;
}

[[gnu::noinline]] void ln_in_place(float* srcdst, int32_t len)
{
    const auto step = [](float* to, const float* from) { Unaligned::put(to, ln(Unaligned::four(from))); };
    in_groups<4>(len, srcdst, step, srcdst);
}

// The nearest integer to ln(x) for a 32-bit x is the number of bounds below x: bound k is the integer part of
// e^(k + 1/2), the last x whose logarithm is nearest to k.
constexpr std::array<int32_t, 21> kLnBounds = {
    1,     4,      12,     33,      90,      244,      665,      1808,      4914,      13359,    36315,
    98715, 268337, 729416, 1982759, 5389698, 14650719, 39824784, 108254987, 294267566, 799902177};

// No two bounds share an octave. Entry e + 1 is for x from 2^e up to 2^(e+1): one bound decides between base and
// base + 1. Entry 0 is for x below 1 and gives 0.
struct Octave {
    int32_t bound, base;
};
alignas(16) constexpr auto kOctaves = [] {
    std::array<Octave, 32> table{};
    table[0] = {INT32_MAX, 0};
    for (int e = 0; e < 31; ++e) {
        int32_t base = 0;
        while (base < 21 && kLnBounds[static_cast<std::size_t>(base)] < (int64_t{1} << e)) ++base;
        table[static_cast<std::size_t>(e + 1)] = {
            base < 21 ? kLnBounds[static_cast<std::size_t>(base)] : INT32_MAX, base};
    }
    return table;
}();

// Two entries side by side.
__m128 octaves(int i, int j)
{
    const __m128i first =
        _mm_loadl_epi64(reinterpret_cast<const __m128i*>(&kOctaves[static_cast<std::size_t>(i)]));
    const __m128i second =
        _mm_loadl_epi64(reinterpret_cast<const __m128i*>(&kOctaves[static_cast<std::size_t>(j)]));
    return _mm_castsi128_ps(_mm_unpacklo_epi64(first, second));
}

// -2147483648 in the lanes where x is below 1, 0 in the others.
__m128i least_where_not_positive(__m128i x) { return _mm_slli_epi32(_mm_cmpgt_epi32(_mm_set1_epi32(1), x), 31); }

// The nearest integer to ln(x); 0 for x below 1.
__m128i nearest_ln(__m128i x)
{
    // With the bit below the highest one cleared the conversion cannot round up to the next power of two.
    const __m128i at_least_zero = _mm_andnot_si128(_mm_srai_epi32(x, 31), x);
    const __m128i leading = _mm_andnot_si128(_mm_srli_epi32(at_least_zero, 1), at_least_zero);
    const __m128i exponent = _mm_srli_epi32(_mm_castps_si128(_mm_cvtepi32_ps(leading)), 23);
    const __m128i index = _mm_subs_epu16(exponent, _mm_set1_epi32(126));

    const __m128 low = octaves(_mm_extract_epi16(index, 0), _mm_extract_epi16(index, 2));
    const __m128 high = octaves(_mm_extract_epi16(index, 4), _mm_extract_epi16(index, 6));
    const __m128i bound = _mm_castps_si128(_mm_shuffle_ps(low, high, 0x88));
    const __m128i base = _mm_castps_si128(_mm_shuffle_ps(low, high, 0xdd));
    return _mm_sub_epi32(base, _mm_cmpgt_epi32(x, bound));
}

// Rounded first, then shifted: wanted.
void ln_scaled_down(const int32_t* src, int32_t* dst, int32_t len, int32_t sf)
{
    const __m128i count = _mm_cvtsi32_si128(std::min(sf, 31));
    const auto step = [&](int32_t* to, const int32_t* from) {
        const __m128i x = Unaligned::bytes(from);
        Unaligned::put(to, _mm_or_si128(_mm_sra_epi32(nearest_ln(x), count), least_where_not_positive(x)));
    };
    in_groups<4>(len, dst, step, src);
}

// The logarithm in single times 2^-sf. 2^127 stands for all higher multipliers: only ln(1) = 0 stays in the range.
[[gnu::noinline]] void ln_scaled_up(const int32_t* src, int32_t* dst, int32_t len, int32_t sf)
{
    const __m128 scale = _mm_set1_ps(GetScale_32s32f(std::max(sf, -127)));
    const auto step = [&](int32_t* to, const int32_t* from) {
        const __m128i x = Unaligned::bytes(from);
        const __m128 at_least_one = _mm_max_ps(_mm_cvtepi32_ps(x), _mm_set1_ps(1.0F));
        const __m128 scaled = detail::ln_of_normal(_mm_castps_si128(at_least_one), _mm_setzero_si128()) * scale;
        Unaligned::put(to, _mm_or_si128(saturated_32s<Rounding::Nearest>(scaled), least_where_not_positive(x)));
    };
    in_groups<4>(len, dst, step, src);
}

SrStatus ln_32s(const int32_t* src, int32_t* dst, int32_t len, int32_t sf)
{
    const DefaultFloatEnvironment environment;
    const SrStatus status = first_not_positive(src, len);
    if (sf >= 0)
        ln_scaled_down(src, dst, len, sf);
    else
        ln_scaled_up(src, dst, len, sf);
    return status;
}

}  // namespace
}  // namespace zelsr

using namespace zelsr;

SrStatus zelsLn_32f_I(float* srcdst, int32_t len)
{
    if (SrStatus failed = first_failure(non_null(srcdst), positive(len))) return failed;
    const DefaultFloatEnvironment environment;
    const SrStatus status = first_not_positive(reinterpret_cast<const int32_t*>(srcdst), len);
    ln_in_place(srcdst, len);
    return status;
}

SrStatus zelsLn_32s_Sfs(const int32_t* src, int32_t* dst, int32_t len, int32_t sf)
{
    if (SrStatus failed = first_failure(non_null(src, dst), positive(len))) return failed;
    return ln_32s(src, dst, len, sf);
}

SrStatus zelsLn_32s_ISfs(int32_t* srcdst, int32_t len, int32_t sf)
{
    if (SrStatus failed = first_failure(non_null(srcdst), positive(len))) return failed;
    return ln_32s(srcdst, srcdst, len, sf);
}
