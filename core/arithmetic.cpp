// Arithmetic on elements: one plain operation each, in the caller's rounding mode.
#include <cstring>

#include "core/contract.h"
#include "core/elementwise.h"
#include "zelsr/core/vector.h"

namespace zelsr {
namespace {

// A constant that some number can be divided by: neither zero nor NaN.
template <class T>
constexpr SrStatus can_divide(T value)
{
    return require(value < 0 || value > 0, SrErrDivByZero);
}

template <class T, class Op, class... Source>
SrStatus apply(Op op, T* dst, int32_t len, const Source*... src)
{
    elementwise(op, dst, len, src...);
    return SrOk;
}

// Of a source and the in-out array, in this order.
constexpr auto kSum = [](auto x, auto y) { return x + y; };
constexpr auto kDifference = [](auto x, auto y) { return y - x; };
constexpr auto kProduct = [](auto x, auto y) { return x * y; };

// dst may be src.
template <class T>
SrStatus copy(const T* src, T* dst, int32_t len)
{
    if (src != dst) std::memcpy(dst, src, static_cast<std::size_t>(len) * sizeof(T));
    return SrOk;
}

// Wanted as it stands: 1 moves bits, and 0 (the reciprocal of an infinite divisor too) stores zeros even where
// the product would be NaN.
template <class T>
SrStatus multiply_by(T value, const T* src, T* dst, int32_t len)
{
    if (value == T(1)) return copy(src, dst, len);
    if (value == T(0)) {
        std::memset(dst, 0, static_cast<std::size_t>(len) * sizeof(T));
        return SrOk;
    }
    const auto factor = repeat(value);
    return apply([factor](auto x) { return x * factor; }, dst, len, src);
}

inline __m128 equal(__m128 x, __m128 y) { return _mm_cmpeq_ps(x, y); }
inline __m128d equal(__m128d x, __m128d y) { return _mm_cmpeq_pd(x, y); }
inline __m128 either(__m128 x, __m128 y) { return _mm_or_ps(x, y); }
inline __m128d either(__m128d x, __m128d y) { return _mm_or_pd(x, y); }
inline bool any(__m128 mask) { return _mm_movemask_ps(mask) != 0; }
inline bool any(__m128d mask) { return _mm_movemask_pd(mask) != 0; }

template <class T>
SrStatus divide(const T* divisor, const T* dividend, T* dst, int32_t len)
{
    const auto zero = repeat(T(0));
    auto zeros_met = zero;
    auto quotient = [&](auto x, auto y) {
        zeros_met = either(zeros_met, equal(x, zero));
        return y / x;
    };
    elementwise(quotient, dst, len, divisor, dividend);
    return any(zeros_met) ? SrWarnDivByZero : SrOk;
}

SrStatus take_roots(double* srcdst, int32_t len)
{
    const __m128d zero = _mm_setzero_pd();
    __m128d negatives_met = zero;
    auto root = [&](__m128d x) {
        negatives_met = either(negatives_met, _mm_cmplt_pd(x, zero));
        return _mm_sqrt_pd(x);
    };
    elementwise(root, srcdst, len, srcdst);
    return any(negatives_met) ? SrWarnSqrtNegArg : SrOk;
}

inline __m128i smaller(__m128i x, __m128i y)
{
    const __m128i where_they_differ = _mm_xor_si128(x, y);
    return _mm_xor_si128(x, _mm_and_si128(where_they_differ, _mm_cmpgt_epi32(x, y)));
}

}  // namespace
}  // namespace zelsr

using namespace zelsr;

SrStatus zelsAbs_64f(const double* src, double* dst, int32_t len)
{
    if (SrStatus failed = first_failure(non_null(src, dst), positive(len))) return failed;
    const __m128d all_but_sign = _mm_castsi128_pd(_mm_set1_epi64x(INT64_MAX));
    return apply([=](__m128d x) { return _mm_and_pd(x, all_but_sign); }, dst, len, src);
}

SrStatus zelsAdd_32f_I(const float* src, float* srcdst, int32_t len)
{
    if (SrStatus failed = first_failure(non_null(src, srcdst), positive(len))) return failed;
    return apply(kSum, srcdst, len, src, srcdst);
}

SrStatus zelsAdd_64f_I(const double* src, double* srcdst, int32_t len)
{
    if (SrStatus failed = first_failure(non_null(src, srcdst), positive(len))) return failed;
    return apply(kSum, srcdst, len, src, srcdst);
}

SrStatus zelsSub_32f_I(const float* src, float* srcdst, int32_t len)
{
    if (SrStatus failed = first_failure(non_null(src, srcdst), positive(len))) return failed;
    return apply(kDifference, srcdst, len, src, srcdst);
}

SrStatus zelsSub_64f_I(const double* src, double* srcdst, int32_t len)
{
    if (SrStatus failed = first_failure(non_null(src, srcdst), positive(len))) return failed;
    return apply(kDifference, srcdst, len, src, srcdst);
}

SrStatus zelsMul_32f(const float* first, const float* second, float* dst, int32_t len)
{
    if (SrStatus failed = first_failure(non_null(first, second, dst), positive(len))) return failed;
    return apply(kProduct, dst, len, first, second);
}

SrStatus zelsAddC_32f(const float* src, float value, float* dst, int32_t len)
{
    if (SrStatus failed = first_failure(non_null(src, dst), positive(len))) return failed;
    if (!(value < 0 || value > 0)) return copy(src, dst, len);  // wanted: NaN copies too
    const __m128 addend = repeat(value);
    return apply([addend](__m128 x) { return x + addend; }, dst, len, src);
}

SrStatus zelsMulC_32f(const float* src, float value, float* dst, int32_t len)
{
    if (SrStatus failed = first_failure(non_null(src, dst), positive(len))) return failed;
    return multiply_by(value, src, dst, len);
}

SrStatus zelsMulC_64f(const double* src, double value, double* dst, int32_t len)
{
    if (SrStatus failed = first_failure(non_null(src, dst), positive(len))) return failed;
    return multiply_by(value, src, dst, len);
}

SrStatus zelsMulC_32f_I(float value, float* srcdst, int32_t len)
{
    if (SrStatus failed = first_failure(non_null(srcdst), positive(len))) return failed;
    return multiply_by(value, srcdst, srcdst, len);
}

SrStatus zelsMulC_64f_I(double value, double* srcdst, int32_t len)
{
    if (SrStatus failed = first_failure(non_null(srcdst), positive(len))) return failed;
    return multiply_by(value, srcdst, srcdst, len);
}

SrStatus zelsDivC_32f(const float* src, float value, float* dst, int32_t len)
{
    if (SrStatus failed = first_failure(non_null(src, dst), positive(len), can_divide(value))) return failed;
    return multiply_by(1 / value, src, dst, len);
}

SrStatus zelsDivC_64f(const double* src, double value, double* dst, int32_t len)
{
    if (SrStatus failed = first_failure(non_null(src, dst), positive(len), can_divide(value))) return failed;
    return multiply_by(1 / value, src, dst, len);
}

SrStatus zelsDivC_32f_I(float value, float* srcdst, int32_t len)
{
    if (SrStatus failed = first_failure(non_null(srcdst), positive(len), can_divide(value))) return failed;
    return multiply_by(1 / value, srcdst, srcdst, len);
}

SrStatus zelsDivC_64f_I(double value, double* srcdst, int32_t len)
{
    if (SrStatus failed = first_failure(non_null(srcdst), positive(len), can_divide(value))) return failed;
    return multiply_by(1 / value, srcdst, srcdst, len);
}

SrStatus zelsDiv_32f(const float* divisor, const float* dividend, float* dst, int32_t len)
{
    if (SrStatus failed = first_failure(non_null(divisor, dividend, dst), positive(len))) return failed;
    return divide(divisor, dividend, dst, len);
}

SrStatus zelsDiv_64f(const double* divisor, const double* dividend, double* dst, int32_t len)
{
    if (SrStatus failed = first_failure(non_null(divisor, dividend, dst), positive(len))) return failed;
    return divide(divisor, dividend, dst, len);
}

SrStatus zelsDiv_32f_I(const float* divisor, float* srcdst, int32_t len)
{
    if (SrStatus failed = first_failure(non_null(divisor, srcdst), positive(len))) return failed;
    return divide(divisor, srcdst, srcdst, len);
}

SrStatus zelsSqrt_64f_I(double* srcdst, int32_t len)
{
    if (SrStatus failed = first_failure(non_null(srcdst), positive(len))) return failed;
    return take_roots(srcdst, len);
}

SrStatus zelsMaxEvery_32f_I(const float* src, float* srcdst, int32_t len)
{
    if (SrStatus failed = first_failure(non_null(src, srcdst), positive(len))) return failed;
    return apply([](__m128 x, __m128 y) { return _mm_max_ps(x, y); }, srcdst, len, src, srcdst);
}

SrStatus zelsMinEvery_32f_I(const float* src, float* srcdst, int32_t len)
{
    if (SrStatus failed = first_failure(non_null(src, srcdst), positive(len))) return failed;
    return apply([](__m128 x, __m128 y) { return _mm_min_ps(x, y); }, srcdst, len, src, srcdst);
}

SrStatus zelsMinEvery_32s_I(const int32_t* src, int32_t* srcdst, int32_t len)
{
    if (SrStatus failed = first_failure(non_null(src, srcdst), positive(len))) return failed;
    return apply([](__m128i x, __m128i y) { return smaller(x, y); }, srcdst, len, src, srcdst);
}
