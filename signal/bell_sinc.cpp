// exp(-x^2) and sin(x) / x, element by element.
#include <cmath>
#include <cstddef>

#include "core/contract.h"
#include "core/rounding.h"
#include "core/simd.h"
#include "zelsr/signal/functions.h"

namespace zelsr {
namespace {

// In the type of the result.
struct ExpNegSqr {
    template <class T>
    static T of(T x)
    {
        return std::exp(-(x * x));
    }
};
struct SinC {
    static double of(double x) { return x == 0 ? 1 : std::sin(x) / x; }
    static float of(float x) { return x == 0 ? 1 : static_cast<float>(std::sin(double{x})) / x; }
};

// In order, each result stored before the next element is read.
template <class Function, class Source, class Target>
[[gnu::noinline]] void fill(const Source* src, Target* dst, int32_t len)
{
    for (std::ptrdiff_t i = 0; i < len; ++i) store_one(dst + i, Function::of(Target{load_one(src + i)}));
}

template <class Function, class Source, class Target>
SrStatus evaluate(const Source* src, Target* dst, int32_t len)
{
    const DefaultFloatEnvironment environment;
    fill<Function>(src, dst, len);
    return SrOk;
}

}  // namespace
}  // namespace zelsr

using namespace zelsr;

SrStatus zelsExpNegSqr_32f(const float* src, float* dst, int32_t len)
{
    if (SrStatus failed = first_failure(non_null(src, dst), positive(len))) return failed;
    return evaluate<ExpNegSqr>(src, dst, len);
}

SrStatus zelsExpNegSqr_32f64f(const float* src, double* dst, int32_t len)
{
    if (SrStatus failed = first_failure(non_null(src, dst), positive(len))) return failed;
    return evaluate<ExpNegSqr>(src, dst, len);
}

SrStatus zelsExpNegSqr_64f(const double* src, double* dst, int32_t len)
{
    if (SrStatus failed = first_failure(non_null(src, dst), positive(len))) return failed;
    return evaluate<ExpNegSqr>(src, dst, len);
}

SrStatus zelsExpNegSqr_32f_I(float* srcdst, int32_t len)
{
    if (SrStatus failed = first_failure(non_null(srcdst), positive(len))) return failed;
    return evaluate<ExpNegSqr>(srcdst, srcdst, len);
}

SrStatus zelsExpNegSqr_64f_I(double* srcdst, int32_t len)
{
    if (SrStatus failed = first_failure(non_null(srcdst), positive(len))) return failed;
    return evaluate<ExpNegSqr>(srcdst, srcdst, len);
}

SrStatus zelsSinC_32f(const float* src, float* dst, int32_t len)
{
    if (SrStatus failed = first_failure(non_null(src, dst), positive(len))) return failed;
    return evaluate<SinC>(src, dst, len);
}

SrStatus zelsSinC_32f64f(const float* src, double* dst, int32_t len)
{
    if (SrStatus failed = first_failure(non_null(src, dst), positive(len))) return failed;
    return evaluate<SinC>(src, dst, len);
}

SrStatus zelsSinC_64f(const double* src, double* dst, int32_t len)
{
    if (SrStatus failed = first_failure(non_null(src, dst), positive(len))) return failed;
    return evaluate<SinC>(src, dst, len);
}

SrStatus zelsSinC_32f_I(float* srcdst, int32_t len)
{
    if (SrStatus failed = first_failure(non_null(srcdst), positive(len))) return failed;
    return evaluate<SinC>(srcdst, srcdst, len);
}

SrStatus zelsSinC_64f_I(double* srcdst, int32_t len)
{
    if (SrStatus failed = first_failure(non_null(srcdst), positive(len))) return failed;
    return evaluate<SinC>(srcdst, srcdst, len);
}
