// The filter that both resampling engines sample, and what they share.
#pragma once

#include <cmath>
#include <cstdint>

#include "core/contract.h"
#include "core/simd.h"

namespace zelsr::resample {

// Flags of a record, by the hint.
constexpr int32_t kAccurate = 1, kFast = 2, kAccurateHint = 2;
constexpr int32_t flags_of(int32_t hint) { return hint == kAccurateHint ? kAccurate : kFast; }

// Passband edge, and the window's parameter.
struct Passband {
    float rollf, alpha;
};
constexpr SrStatus holds(const Passband& band)
{
    return require(band.rollf > 0 && band.rollf <= 1 && band.alpha >= 1, SrErrBadArg);
}

// h[i], i = 0 ... len - 1: a sine quotient of period P under a Kaiser window, divided by the sum of its entries at
// multiples of P, both sides.
void make_prototype(double* h, int64_t len, int32_t period, const Passband& band);

// Half away from zero. What does not fit gives -2147483648.
inline int32_t rounded(double x) { return _mm_cvttsd_si32(_mm_set_sd(x + std::copysign(0.5, x))); }

// Limited to 16 bits, rounded half away from zero; NaN gives 32767.
inline int16_t limited_16s(double x)
{
    const __m128d low = _mm_set_sd(-32768), high = _mm_set_sd(32767);
    return static_cast<int16_t>(rounded(_mm_cvtsd_f64(_mm_max_sd(_mm_min_sd(_mm_set_sd(x), high), low))));
}

// Results, as they are stored.
inline void put(float* to, double x) { store_one(to, static_cast<float>(x)); }
inline void put(int16_t* to, double x) { store_one(to, limited_16s(x)); }

// Times that may point at a sample. NaN does not.
constexpr bool is_position(double time) { return time > -0x1p31 && time < 0x1p31; }

// The whole part of a time, rounded down.
inline std::ptrdiff_t whole_part(double time)
{
    const auto truncated = static_cast<std::ptrdiff_t>(time);
    return truncated - (static_cast<double>(truncated) > time);
}

}  // namespace zelsr::resample
