// Compensation of a signal's offset: y[n] = x[n] - x[n-1] + val * y[n-1].
#include <algorithm>

#include "core/contract.h"
#include "core/rounding.h"
#include "core/simd.h"
#include "zelsr/frontend/energy.h"

namespace zelsr {
namespace {

// Runs step(x, previous x, previous y), the first sample through first(...); src may be dst. Keeps the last x.
template <class T, class First, class Step>
[[gnu::always_inline]] inline void filter(const T* src, T* dst, int32_t len, T* last_input, T last_output,
                                          First first, Step step)
{
    T x = load_one(src);
    T y = first(x, load_one(last_input), last_output);
    store_one(dst, y);
    for (std::ptrdiff_t n = 1; n < len; ++n) {
        const T next = load_one(src + n);
        y = step(next, x, y);
        store_one(dst + n, y);
        x = next;
    }
    store_one(last_input, x);
}

SrStatus compensate(const float* src, float* dst, int32_t len, float* last_input, float last_output, float val)
{
    // The order of the first sample's sum is not that of the others: wanted.
    const auto first = [val](float x, float previous, float y) { return y * val + x - previous; };
    const auto step = [val](float x, float previous, float y) { return val * y + (x - previous); };
    filter(src, dst, len, last_input, last_output, first, step);
    return SrOk;
}

int16_t saturated_16s(int32_t x) { return static_cast<int16_t>(std::clamp(x, -32768, 32767)); }

inline float as_single(int32_t x) { return static_cast<float>(x); }

// Limited to 16 bits from above; the conversion and its saturation do the rest.
inline __m128 limited(float x) { return _mm_min_ss(_mm_set_ss(x), _mm_set_ss(32767.0F)); }

// In the first of eight lanes of 16 bits.
inline __m128i truncated(__m128 x)
{
    const __m128i whole = _mm_cvttps_epi32(x);
    return _mm_packs_epi32(whole, whole);
}

// Half away from zero, through the truncation of x plus the largest single below one half: x + 1/2 itself would
// round up from just below a half.
inline __m128i rounded(__m128 x)
{
    const __m128 half = _mm_or_ps(_mm_and_ps(x, _mm_set_ss(-0.0F)), _mm_set_ss(0x1.fffffep-2F));
    return truncated(_mm_add_ss(x, half));
}

inline int16_t first_element(__m128i x) { return static_cast<int16_t>(_mm_cvtsi128_si32(x)); }

// The first sample is truncated where the others are rounded: wanted.
inline __m128i first_sample(int16_t x, int16_t previous, int16_t y, float val)
{
    return truncated(limited(as_single(y) * val + as_single(x) - as_single(previous)));
}

// y stays in a register, since every sample waits for the one before it.
[[gnu::noinline]] void compensate_in_single(const int16_t* src, int16_t* dst, int32_t len, int16_t* last_input,
                                            int16_t last_output, float val)
{
    int16_t x = load_one(src);
    __m128i y = first_sample(x, load_one(last_input), last_output, val);
    store_one(dst, first_element(y));
    for (std::ptrdiff_t n = 1; n < len; ++n) {
        const int16_t next = load_one(src + n);
        const float decayed = _mm_cvtss_f32(_mm_cvtepi32_ps(low_16s32s(y))) * val;
        y = rounded(limited(as_single(next - x) + decayed));
        store_one(dst + n, first_element(y));
        x = next;
    }
    store_one(last_input, x);
}

// val in Q12, from -4096 to 4096. The product, back in 16 bits, wraps where y and val are the lowest: wanted.
[[gnu::noinline]] void compensate_in_q12(const int16_t* src, int16_t* dst, int32_t len, int16_t* last_input,
                                         int16_t last_output, float val)
{
    const auto factor = static_cast<int32_t>(1024 * val * 4);
    const auto first = [val](int16_t x, int16_t previous, int16_t y) {
        return first_element(first_sample(x, previous, y, val));
    };
    const auto step = [factor](int16_t x, int16_t previous, int16_t y) {
        const auto decayed = static_cast<int16_t>(y * factor >> 12);
        return saturated_16s(decayed + saturated_16s(x - previous));
    };
    filter(src, dst, len, last_input, last_output, first, step);
}

// acc = (x - previous) * 2^15 + y * val, shifted right by 15: its low 15 bits are those of the product.
SrStatus compensate_in_q15(const int16_t* src, int16_t* dst, int32_t len, int16_t* last_input, int16_t last_output,
                           int16_t val)
{
    const auto step = [val](int16_t x, int16_t previous, int16_t y) {
        const int32_t product = y * val;
        const int32_t down = x - previous + (product >> 15);
        const bool towards_zero = down < 0 && (product & 0x7fff) != 0;
        return saturated_16s(down + towards_zero);
    };
    filter(src, dst, len, last_input, last_output, step, step);
    return SrOk;
}

SrStatus compensate(const int16_t* src, int16_t* dst, int32_t len, int16_t* last_input, int16_t last_output,
                    float val)
{
    const DefaultFloatEnvironment environment;
    compensate_in_single(src, dst, len, last_input, last_output, val);
    return SrOk;
}

SrStatus compensate_with_integers(const int16_t* src, int16_t* dst, int32_t len, int16_t* last_input,
                                  int16_t last_output, float val)
{
    const DefaultFloatEnvironment environment;
    compensate_in_q12(src, dst, len, last_input, last_output, val);
    return SrOk;
}

bool within_one(float val) { return val >= -1 && val <= 1; }

SrStatus q15_length(int32_t len) { return require(len >= 1 && len <= 65535, SrErrSize); }
SrStatus not_negative(int16_t val) { return require(val >= 0, SrErrBadArg); }

}  // namespace
}  // namespace zelsr

using namespace zelsr;

SrStatus zelsCompensateOffset_32f(const float* src, float* dst, int32_t len, float* last_input, float last_output,
                                  float val)
{
    if (SrStatus failed = first_failure(non_null(src, dst, last_input), positive(len))) return failed;
    return compensate(src, dst, len, last_input, last_output, val);
}

SrStatus zelsCompensateOffset_32f_I(float* srcdst, int32_t len, float* last_input, float last_output, float val)
{
    if (SrStatus failed = first_failure(non_null(srcdst, last_input), positive(len))) return failed;
    return compensate(srcdst, srcdst, len, last_input, last_output, val);
}

SrStatus zelsCompensateOffset_16s(const int16_t* src, int16_t* dst, int32_t len, int16_t* last_input,
                                  int16_t last_output, float val)
{
    if (SrStatus failed = first_failure(non_null(src, dst, last_input), positive(len))) return failed;
    if (within_one(val)) return compensate_with_integers(src, dst, len, last_input, last_output, val);
    return compensate(src, dst, len, last_input, last_output, val);
}

SrStatus zelsCompensateOffset_16s_I(int16_t* srcdst, int32_t len, int16_t* last_input, int16_t last_output,
                                    float val)
{
    if (SrStatus failed = first_failure(non_null(srcdst, last_input), positive(len))) return failed;
    return compensate(srcdst, srcdst, len, last_input, last_output, val);
}

SrStatus zelsCompensateOffsetQ15_16s(const int16_t* src, int16_t* dst, int32_t len, int16_t* last_input,
                                     int16_t last_output, int16_t val)
{
    if (SrStatus failed = first_failure(non_null(src, dst, last_input), q15_length(len), not_negative(val)))
        return failed;
    return compensate_in_q15(src, dst, len, last_input, last_output, val);
}

SrStatus zelsCompensateOffsetQ15_16s_I(int16_t* srcdst, int32_t len, int16_t* last_input, int16_t last_output,
                                       int16_t val)
{
    if (SrStatus failed = first_failure(non_null(srcdst, last_input), q15_length(len), not_negative(val)))
        return failed;
    return compensate_in_q15(srcdst, srcdst, len, last_input, last_output, val);
}
