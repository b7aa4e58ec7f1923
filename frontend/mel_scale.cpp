// Conversions between frequencies and mel.
#include <cmath>
#include <cstdint>

#include "core/contract.h"
#include "core/rounding.h"
#include "core/simd.h"
#include "zelsr/frontend/filter_bank.h"

namespace zelsr {
namespace {

// NaN passes: this is wanted.
SrStatus above_zero(float mel_mul, float mel_div)
{
    return require(!(mel_mul <= 0) && !(mel_div <= 0), SrErrSize);
}

// From memory, so that the reciprocal is formed in the default environment.
struct MelConstants {
    float mul, div;
};

[[gnu::noinline]] void mel_to_linear(const float* src, float* dst, int32_t len, const MelConstants& mel)
{
    const double over_mul = 1.0 / mel.mul;
    for (int32_t i = 0; i < len; ++i)
        store_one(dst + i, static_cast<float>(mel.div * (std::exp(load_one(src + i) * over_mul) - 1)));
}

[[gnu::noinline]] void linear_to_mel(const float* src, float* dst, int32_t len, const MelConstants& mel)
{
    const double over_div = 1.0 / mel.div;
    for (int32_t i = 0; i < len; ++i)
        store_one(dst + i, static_cast<float>(mel.mul * std::log(1 + load_one(src + i) * over_div)));
}

}  // namespace
}  // namespace zelsr

using namespace zelsr;

SrStatus zelsMelToLinear_32f(const float* src, float* dst, int32_t len, float mel_mul, float mel_div)
{
    if (SrStatus failed = first_failure(non_null(src, dst), positive(len), above_zero(mel_mul, mel_div)))
        return failed;
    const DefaultFloatEnvironment environment;
    mel_to_linear(src, dst, len, {mel_mul, mel_div});
    return SrOk;
}

SrStatus zelsLinearToMel_32f(const float* src, float* dst, int32_t len, float mel_mul, float mel_div)
{
    if (SrStatus failed = first_failure(non_null(src, dst), positive(len), above_zero(mel_mul, mel_div)))
        return failed;
    const DefaultFloatEnvironment environment;
    linear_to_mel(src, dst, len, {mel_mul, mel_div});
    return SrOk;
}
