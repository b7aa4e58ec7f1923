// Comparisons of results: bit by bit, or by distance where a tolerance has a stated reason.
#pragma once

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <sstream>
#include <type_traits>
#include <vector>

namespace zelsr::test {

// The same bits; two NaN of any payload count as the same, since which operand's payload an instruction hands
// on is the compiler's choice.
template <class T>
bool same(T a, T b)
{
    if constexpr (std::is_floating_point_v<T>) {
        if (std::isnan(a) || std::isnan(b)) return std::isnan(a) && std::isnan(b);
        return a == b && std::signbit(a) == std::signbit(b);
    } else {
        return a == b;
    }
}

// EXPECT_TRUE(same_values(expected, actual)) names the first element that differs.
template <class T>
testing::AssertionResult same_values(const std::vector<T>& expected, const std::vector<T>& actual)
{
    if (expected.size() != actual.size())
        return testing::AssertionFailure() << "sizes " << expected.size() << " and " << actual.size();
    for (std::size_t i = 0; i < expected.size(); ++i)
        if (!same(expected[i], actual[i])) {
            std::ostringstream text;
            text.precision(17);
            text << "element " << i << ": expected " << +expected[i] << ", got " << +actual[i];
            return testing::AssertionFailure() << text.str();
        }
    return testing::AssertionSuccess();
}

template <class T>
testing::AssertionResult same_value(T expected, T actual)
{
    return same_values(std::vector<T>{expected}, std::vector<T>{actual});
}

// Distance in units of the last place of the expected value's type; 0 for the same bits, huge for NaN against a
// number or for different infinities.
inline double ulp_distance(float expected, float actual)
{
    if (same(expected, actual)) return 0;
    if (!std::isfinite(expected) || !std::isfinite(actual)) return 1e30;
    const double unit = std::ldexp(1.0, std::max(std::ilogb(expected == 0 ? 1e-38F : expected), -126) - 23);
    return std::abs(static_cast<double>(expected) - static_cast<double>(actual)) / unit;
}

// Both near in the sense |expected - actual| <= tolerance, or the same special value.
template <class T>
testing::AssertionResult near_values(const std::vector<T>& expected, const std::vector<T>& actual,
                                     double tolerance)
{
    if (expected.size() != actual.size())
        return testing::AssertionFailure() << "sizes " << expected.size() << " and " << actual.size();
    for (std::size_t i = 0; i < expected.size(); ++i) {
        if (same(expected[i], actual[i])) continue;
        const double distance = std::abs(static_cast<double>(expected[i]) - static_cast<double>(actual[i]));
        if (!(distance <= tolerance)) {
            std::ostringstream text;
            text.precision(17);
            text << "element " << i << ": expected " << +expected[i] << ", got " << +actual[i] << ", apart "
                 << distance << " > " << tolerance;
            return testing::AssertionFailure() << text.str();
        }
    }
    return testing::AssertionSuccess();
}

}  // namespace zelsr::test
