// Gains of noise suppressors: the Ephraim-Malah estimator by table and quadratics, the Wiener filter.
#include "zelsr/noise/suppression.h"

#include <algorithm>
#include <bit>

#include "core/contract.h"
#include "core/elementwise.h"
#include "core/rounding.h"
#include "core/scratch.h"
#include "noise/gain_tables.h"
#include "zelsr/core/vector.h"

namespace zelsr {
namespace {

constexpr SrStatus length_in_range(int32_t len) { return require(len >= 1 && len <= 65535, SrErrLengthBound); }

// No early exit: gains are good, and a loop without one runs over registers.
SrStatus all_gains(const float* gain, int32_t len)
{
    bool bad = false;
    for (int32_t i = 0; i < len; ++i) {
        const float q = load_one(gain + i);
        bad |= !(q >= 0.0F) | !(q <= 1.0F);
    }
    return require(!bad, SrErrRange);
}
SrStatus all_gains(const int32_t* gain, int32_t len)
{
    int32_t signs = 0;
    for (int32_t i = 0; i < len; ++i) signs |= load_one(gain + i);
    return require(signs >= 0, SrErrRange);
}

// g at x in Q22, from 129 on, in Q22: P0 - P1 m + P2 m^2 in the mantissa m below x's highest bit. The products'
// low bits are dropped on the way, which rounds down.
inline int32_t g_by_quadratic(int32_t x)
{
    const int32_t bit = std::bit_width(static_cast<uint32_t>(x)) - 1, i = bit - 7;
    const int64_t m = x - (int32_t{1} << bit);
    const auto t = static_cast<int32_t>(((m * P2_2_32SQi4[i]) >> 13) - P1_2_32SQ5i[i]);
    return static_cast<int32_t>((m * t) >> (i + 5)) + P0_2_32SQ22[i];
}

constexpr int32_t kTabulated = 129;  // below it, g is tabulated as a whole number

// v in Q22, truncated; v reaches 100.
inline int32_t argument(float gain, float snr)
{
    const __m128 upper = _mm_min_ss(_mm_set_ss(snr), _mm_set_ss(100.0F));  // its second operand for a NaN
    const float limited = _mm_cvtss_f32(_mm_max_ss(upper, _mm_set_ss(3.1e-05F)));
    return _mm_cvttss_si32(_mm_set_ss(gain * limited * 0x1p22F));
}
inline float suppression_gain(float gain, float snr)
{
    const int32_t x = argument(gain, snr);
    if (x < kTabulated) return gain * static_cast<float>(DIRECT_VALUE_Q0[x]);
    return gain * static_cast<float>(g_by_quadratic(x)) * 0x1p-22F;
}

inline int32_t suppression_gain(int32_t gain, int32_t snr)
{
    constexpr int32_t most = 100 << 15;
    const int64_t q = gain;
    const auto x = static_cast<int32_t>((q * (snr < 2 ? 1 : std::min(snr, most))) >> 24);
    const int64_t product = x < kTabulated ? q * DIRECT_VALUE_Q0[x] : (q * g_by_quadratic(x)) >> 22;
    return static_cast<int32_t>(std::min<int64_t>(product, INT32_MAX));
}

template <class T>
[[gnu::noinline]] SrStatus store_suppression_gains(const T* gain, const T* snr, T* filter, int32_t len)
{
    for (int32_t i = 0; i < len; ++i)
        store_one(filter + i, suppression_gain(load_one(gain + i), load_one(snr + i)));
    return SrOk;
}

// x / (x + 1) for the whole array, with above[] as work memory.
void divide_by_next(const float* x, float* above, float* filter, int32_t len)
{
    zelsAddC_32f(x, 1.0F, above, len);
    zelsDiv_32f(above, x, filter, len);
}

SrStatus store_wiener(const float* snr, float* filter, int32_t len)
{
    const Scratch<float> raised(len), above(len);
    if (!raised || !above) return SrErrMemAlloc;
    float minimum;
    zelsMin_32f(snr, len, &minimum);
    const bool negative = minimum * 1.000001F < 0;
    if (negative) {
        // The second operand where neither is above the other: NaN and -0 stay.
        auto raise = [](__m128 x) { return _mm_max_ps(_mm_setzero_ps(), x); };
        elementwise(raise, raised.data(), len, snr);
    }
    divide_by_next(negative ? raised.data() : snr, above.data(), filter, len);
    return negative ? SrStatus{SrErrBadArg} : SrStatus{SrOk};
}

// The entry for x in Q15, below 2^25. Each segment's index is the smallest of all where it holds, and the last
// entry has the rest.
inline int32_t wiener_index(int32_t x)
{
    constexpr auto& offset = WienerSegmentBitOffset;
    constexpr int32_t last = 86;
    return std::min(std::min(x >> offset[0], 63 + (x >> offset[1])), std::min(78 + (x >> offset[2]), last));
}

SrStatus store_wiener(const int32_t* snr, int32_t* filter, int32_t len)
{
    constexpr int32_t end = 1 << WienerSegmentBitOffset[4];
    int32_t signs = 0;
    for (int32_t i = 0; i < len; ++i) {
        const int32_t x = load_one(snr + i);
        const int32_t entry = WienerTable[wiener_index(std::max(x, 0))];
        signs |= x;
        store_one(filter + i, x < end ? entry : INT32_MAX);
    }
    return signs < 0 ? SrStatus{SrErrBadArg} : SrStatus{SrOk};
}

}  // namespace
}  // namespace zelsr

using namespace zelsr;

SrStatus zelsFilterUpdateEMNS_32f(const float* wiener_gain, const float* snr, float* filter, int32_t len)
{
    if (SrStatus failed = first_failure(non_null(wiener_gain, snr, filter), length_in_range(len),
                                        [&] { return all_gains(wiener_gain, len); }))
        return failed;
    const DefaultFloatEnvironment environment;
    return store_suppression_gains(wiener_gain, snr, filter, len);
}

SrStatus zelsFilterUpdateEMNS_32s(const int32_t* wiener_gain, const int32_t* snr, int32_t* filter, int32_t len)
{
    if (SrStatus failed = first_failure(non_null(wiener_gain, snr, filter), length_in_range(len),
                                        [&] { return all_gains(wiener_gain, len); }))
        return failed;
    return store_suppression_gains(wiener_gain, snr, filter, len);
}

SrStatus zelsFilterUpdateWiener_32f(const float* snr, float* filter, int32_t len)
{
    if (SrStatus failed = first_failure(non_null(snr, filter), length_in_range(len))) return failed;
    return store_wiener(snr, filter, len);
}

SrStatus zelsFilterUpdateWiener_32s(const int32_t* snr, int32_t* filter, int32_t len)
{
    if (SrStatus failed = first_failure(non_null(snr, filter), length_in_range(len))) return failed;
    return store_wiener(snr, filter, len);
}
