// One call of a band filter between guard pages, beside its reference.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <vector>

#include "support/operation.h"
#include "support/reference/aurora_bands.h"
#include "zelsr/aurora/bands.h"

namespace zelsr::test {

// --- the members by one name ---

template <class How>
SrStatus low_high(How how, const float* src, float* low, float* high, int32_t len, const float* taps,
                  int32_t count, int32_t)
{
    return how(zelsLowHighFilter_Aurora_32f, src, low, high, len, taps, count);
}
template <class How>
SrStatus low_high(How how, const int16_t* src, int16_t* low, int16_t* high, int32_t len, const int16_t* taps,
                  int32_t count, int32_t sf)
{
    return how(zelsLowHighFilter_Aurora_16s_Sfs, src, low, high, len, taps, count, sf);
}
template <class How>
SrStatus residual(How how, const float* src, float* dst, const float* taps, int32_t)
{
    return how(zelsResidualFilter_Aurora_32f, src, dst, taps);
}
template <class How>
SrStatus residual(How how, const int16_t* src, int16_t* dst, const int16_t* taps, int32_t sf)
{
    return how(zelsResidualFilter_Aurora_16s_Sfs, src, dst, taps, sf);
}

// --- a call and its results ---

inline testing::AssertionResult right(const std::vector<float>& sums, const std::vector<float>& results, int32_t)
{
    return same_values(sums, results);
}
inline testing::AssertionResult right(const std::vector<double>& sums, const std::vector<int16_t>& results,
                                      int32_t sf)
{
    return same_values(reference::scaled_to_16s(sums, sf), results);
}

template <class T>
testing::AssertionResult splits(const std::vector<T>& x, int len, const std::vector<T>& taps, int32_t sf = 0,
                                const std::array<Placement, 4>& at = {})
{
    const std::size_t outputs = static_cast<std::size_t>(len / 2);
    Guarded<T> source(x, at[0]), low(outputs, at[1]), high(outputs, at[2]), weights(taps, at[3]);
    source.take_snapshot();
    weights.take_snapshot();
    if (auto ok = status_is(SrOk, low_high(Direct{}, source.data(), low.data(), high.data(), len, weights.data(),
                                           static_cast<int32_t>(taps.size()), sf));
        !ok)
        return ok;
    if (!(source.as_snapshot() && weights.as_snapshot() && low.intact() && high.intact()))
        return testing::AssertionFailure() << "written beside the bands";
    const auto bands = reference::low_high(x, len, taps);
    if (auto ok = right(bands.low, low.values(), sf); !ok) return ok << ", low";
    if (auto ok = right(bands.high, high.values(), sf); !ok) return ok << ", high";
    return testing::AssertionSuccess();
}

// What the source must hold: for one tap the last element of the even length is not read.
template <class T>
std::vector<T> samples(int len, std::size_t taps, T low, T high)
{
    return uniform_vector(std::max(0, len / 2 * 2 + static_cast<int>(taps) - 2), low, high);
}

template <class T>
testing::AssertionResult filters(const std::vector<T>& x, const std::vector<T>& taps, int32_t sf = 0,
                                 const std::array<Placement, 3>& at = {})
{
    Guarded<T> source(x, at[0]), result(80, at[1]), weights(taps, at[2]);
    source.take_snapshot();
    weights.take_snapshot();
    if (auto ok = status_is(SrOk, residual(Direct{}, source.data(), result.data(), weights.data(), sf)); !ok)
        return ok;
    if (!(source.as_snapshot() && weights.as_snapshot() && result.intact()))
        return testing::AssertionFailure() << "written beside the result";
    return right(reference::residual(x, taps), result.values(), sf);
}

}  // namespace zelsr::test
