// Weighted means of two vectors.
#include "core/constants.h"
#include "core/contract.h"
#include "core/convert.h"
#include "core/groups.h"
#include "core/rounding.h"
#include "estimation/element_loops.h"
#include "zelsr/estimation/interpolation.h"

namespace zelsr {
namespace {

enum class First { AsItIs, Weighted };  // whether the first source holds its weight already

// In single or double; the elements' own type is another matter.
template <class T>
struct Weights {
    T first, second;

    bool have_a_sum() const { return first + second < 0 || first + second > 0; }

    Weights normalized(First source) const
    {
        const T r = 1 / (first + second);
        return {source == First::Weighted ? r : first * r, second * r};
    }

    auto combination() const
    {
        const auto w1 = repeat(first), w2 = repeat(second);
        return [=](auto a, auto b) { return a * w1 + b * w2; };
    }
};

// The first of three values for t above zero, the second below, the third for zero and NaN.
template <class T>
auto by_sign_of(Weights<T> weights, T above, T below, T neither)
{
    return [=, t_of = weights.combination(), zero = repeat(T(0))](auto a, auto b) {
        const auto t = t_of(a, b);
        return choose(less(zero, t), repeat(above), choose(less(t, zero), repeat(below), repeat(neither)));
    };
}

template <class T>
SrStatus weighted_sum(First source, const T* first, const T* second, T* dst, int32_t len, Weights<T> weights,
                      T infinity, T minus_infinity, T not_a_number)
{
    if (!weights.have_a_sum()) {
        auto special = by_sign_of(weights, infinity, minus_infinity, not_a_number);
        elementwise_in_order(special, dst, len, first, second);
        return SrWarnDivByZero;
    }
    auto mean = weights.normalized(source).combination();
    elementwise_in_order(mean, dst, len, first, second);
    return SrOk;
}

SrStatus weighted_sum(First source, const float* first, const float* second, float* dst, int32_t len,
                      Weights<float> weights)
{
    return weighted_sum(source, first, second, dst, len, weights, zelConstantOfINF_32f, zelConstantOfINF_NEG_32f,
                        zelConstantOfNAN_32f);
}

SrStatus weighted_sum(First source, const double* first, const double* second, double* dst, int32_t len,
                      Weights<double> weights)
{
    return weighted_sum(source, first, second, dst, len, weights, zelConstantOfINF_64f, zelConstantOfINF_NEG_64f,
                        zelConstantOfNAN_64f);
}

template <class Op>
void apply_in_single(Op op, const int16_t* first, const int16_t* second, int16_t* dst, int32_t len)
{
    const auto step = [=](int16_t* to, const int16_t* a, const int16_t* b) {
        const __m128i x = Unaligned::bytes(a), y = Unaligned::bytes(b);
        const __m128 low = op(_mm_cvtepi32_ps(low_16s32s(x)), _mm_cvtepi32_ps(low_16s32s(y)));
        const __m128 high = op(_mm_cvtepi32_ps(high_16s32s(x)), _mm_cvtepi32_ps(high_16s32s(y)));
        Unaligned::put(to, _mm_packs_epi32(limited_to_16s<Rounding::TowardZero>(low),
                                           limited_to_16s<Rounding::TowardZero>(high)));
    };
    in_groups<8>(len, dst, step, first, second);
}

// Out of line, so that all of its arithmetic happens while the default environment is set.
[[gnu::noinline]] SrStatus weighted_sum_16s(First source, const int16_t* first, const int16_t* second,
                                            int16_t* dst, int32_t len, const Weights<float>& weights)
{
    if (!weights.have_a_sum()) {
        apply_in_single(by_sign_of(weights, 32767.0F, -32768.0F, 0.0F), first, second, dst, len);
        return SrWarnDivByZero;
    }
    apply_in_single(weights.normalized(source).combination(), first, second, dst, len);
    return SrOk;
}

}  // namespace
}  // namespace zelsr

using namespace zelsr;

SrStatus zelsWeightedSum_32f(const float* first, const float* second, float* dst, int32_t len, float weight1,
                             float weight2)
{
    if (SrStatus failed = first_failure(non_null(first, second, dst), positive(len))) return failed;
    return weighted_sum(First::AsItIs, first, second, dst, len, Weights<float>{weight1, weight2});
}

SrStatus zelsWeightedSum_64f(const double* first, const double* second, double* dst, int32_t len, double weight1,
                             double weight2)
{
    if (SrStatus failed = first_failure(non_null(first, second, dst), positive(len))) return failed;
    return weighted_sum(First::AsItIs, first, second, dst, len, Weights<double>{weight1, weight2});
}

SrStatus zelsWeightedSum_16s(const int16_t* first, const int16_t* second, int16_t* dst, int32_t len, float weight1,
                             float weight2)
{
    if (SrStatus failed = first_failure(non_null(first, second, dst), positive(len))) return failed;
    const DefaultFloatEnvironment environment;
    return weighted_sum_16s(First::AsItIs, first, second, dst, len, {weight1, weight2});
}

SrStatus zelsWeightedSumHalf_32f(const float* first, const float* second, float* dst, int32_t len, float weight1,
                                 float weight2)
{
    if (SrStatus failed = first_failure(non_null(first, second, dst), positive(len))) return failed;
    return weighted_sum(First::Weighted, first, second, dst, len, Weights<float>{weight1, weight2});
}

SrStatus zelsWeightedSumHalf_64f(const double* first, const double* second, double* dst, int32_t len,
                                 double weight1, double weight2)
{
    if (SrStatus failed = first_failure(non_null(first, second, dst), positive(len))) return failed;
    return weighted_sum(First::Weighted, first, second, dst, len, Weights<double>{weight1, weight2});
}

SrStatus zelsWeightedSumHalf_16s(const int16_t* first, const int16_t* second, int16_t* dst, int32_t len,
                                 float weight1, float weight2)
{
    if (SrStatus failed = first_failure(non_null(first, second, dst), positive(len))) return failed;
    const DefaultFloatEnvironment environment;
    return weighted_sum_16s(First::Weighted, first, second, dst, len, {weight1, weight2});
}
