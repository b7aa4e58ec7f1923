// A Gaussian split in two, apart along its standard deviations.
#include "core/contract.h"
#include "estimation/element_loops.h"
#include "zelsr/estimation/mixture.h"

namespace zelsr {
namespace {

inline __m128 root(__m128 x) { return _mm_sqrt_ps(x); }
inline __m128d root(__m128d x) { return _mm_sqrt_pd(x); }

template <class T>
SrStatus split(T* mean1, const T* var1, T* mean2, T* var2, int32_t len, T factor)
{
    const auto deviations = repeat(factor);
    each_register<T>(
        len, [=](auto width, std::ptrdiff_t i) __attribute__((always_inline)) {
            const auto mean = width.of(mean1 + i), var = width.of(var1 + i);
            const auto apart = deviations * root(var);
            width.put(var2 + i, var);
            width.put(mean1 + i, mean + apart);
            width.put(mean2 + i, mean - apart);
        });
    return SrOk;
}

}  // namespace
}  // namespace zelsr

using namespace zelsr;

SrStatus zelsGaussianSplit_32f(float* mean1, const float* var1, float* mean2, float* var2, int32_t len,
                               float factor)
{
    if (SrStatus failed = first_failure(positive(len), non_null(mean1, var1, mean2, var2))) return failed;
    return split(mean1, var1, mean2, var2, len, factor);
}

// Null before length, unlike the other precision: wanted.
SrStatus zelsGaussianSplit_64f(double* mean1, const double* var1, double* mean2, double* var2, int32_t len,
                               double factor)
{
    if (SrStatus failed = first_failure(non_null(mean1, var1, mean2, var2), positive(len))) return failed;
    return split(mean1, var1, mean2, var2, len, factor);
}
