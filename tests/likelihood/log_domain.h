// What the tests of arithmetic on logarithms share: operands whose differences lie in all intervals, and calls on
// two arrays of which the second is the result too.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
#include <type_traits>
#include <vector>

#include "support/operation.h"
#include "support/reference/log_add.h"
#include "zelsr/likelihood/log_add.h"

namespace zelsr::test {

template <class T>
using DomainOf = std::conditional_t<std::is_same_v<T, double>, reference::Full, reference::Fast>;

// x as a T; an integer stands for x * 2^-sf.
template <class T>
T in_units(double x, int32_t sf)
{
    if constexpr (std::is_floating_point_v<T>)
        return static_cast<T>(x);
    else
        return reference::saturate<T>(
            static_cast<int64_t>(std::nearbyint(std::clamp(std::ldexp(x, sf), -0x1p40, 0x1p40))));
}

template <class T>
struct Operands {
    std::vector<T> src, srcdst;
};

// Differences from 0 to below the cut; one operand in eight is near the floor. The larger is in src, unless either
// may be the larger.
template <class T>
Operands<T> operands(int count, int32_t sf, bool either_larger)
{
    using Domain = DomainOf<T>;
    Operands<T> all;
    for (int i = 0; i < count; ++i) {
        const bool low = generator()() % 8 == 0;
        const double hi = low ? Domain::kLogZero * uniform(0.8, 1.2) : uniform(-1000.0, 1000.0);
        const double lo = hi + uniform(1.1 * Domain::kCut, 0.0);
        const bool swapped = either_larger && generator()() % 2 == 0;
        all.src.push_back(in_units<T>(swapped ? lo : hi, sf));
        all.srcdst.push_back(in_units<T>(swapped ? hi : lo, sf));
    }
    return all;
}

template <class T>
Operands<T> first_of(const Operands<T>& operands, int count)
{
    return {window(operands.src, 0, count), window(operands.srcdst, 0, count)};
}

template <class T, class Result>
std::vector<T> element_by_element(const Operands<T>& operands, Result result)
{
    std::vector<T> all;
    for (std::size_t i = 0; i < operands.src.size(); ++i)
        all.push_back(result(operands.src[i], operands.srcdst[i]));
    return all;
}

// One call(src, srcdst, len): its status, the results' bits, the source as it was and no byte beside the arrays
// written. With a failure's status the destination stays as it is.
template <class T, class Call>
testing::AssertionResult updates(const Operands<T>& operands, const std::vector<T>& expected, Call call,
                                 const std::array<Placement, 2>& places = {}, SrStatus status = SrOk)
{
    Guarded<T> src(operands.src, places[0]), srcdst(operands.srcdst, places[1]);
    src.take_snapshot();
    srcdst.take_snapshot();
    const SrStatus returned = call(src.data(), srcdst.data(), static_cast<int32_t>(srcdst.size()));
    if (auto right = status_is(status, returned); !right) return right;
    if (!src.as_snapshot()) return testing::AssertionFailure() << "the source or a byte beside it was written";
    if (!srcdst.intact()) return testing::AssertionFailure() << "a byte beside the results was written";
    if (status < 0)
        return srcdst.as_snapshot() ? testing::AssertionSuccess()
                                    : testing::AssertionFailure() << "written though it failed";
    return same_values(expected, srcdst.values());
}

// Values around x, some units of the last place on both sides.
template <class T>
std::vector<T> around(T x, int units)
{
    std::vector<T> all = {x};
    T down = x, up = x;
    for (int i = 0; i < units; ++i) {
        down = std::nextafter(down, -std::numeric_limits<T>::infinity());
        up = std::nextafter(up, std::numeric_limits<T>::infinity());
        all.insert(all.end(), {down, up});
    }
    return all;
}

// A single call on one pair of elements.
template <class T, class Call>
T on_one_pair(T x, T y, Call call, SrStatus status = SrOk)
{
    EXPECT_EQ(call(&x, &y, 1), status);
    return y;
}

}  // namespace zelsr::test
