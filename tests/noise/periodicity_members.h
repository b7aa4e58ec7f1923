// The four searches for a period under one set of names.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>
#include <type_traits>
#include <vector>

#include "support/operation.h"
#include "support/reference/periodicity.h"
#include "zelsr/noise/periodicity.h"

namespace zelsr::test {

// What a search accepts, and the lengths of its sweep.
struct LeastSquares {
    static constexpr bool kNegative = true;  // elements below zero
    static constexpr double kLargestExponent = 16;
    static constexpr int kLowestPeriod = 6, kLongest = 1024, kLongestOfSweep = 97;
    static constexpr int kRandomTurns = 400, kRandomLength = 300, kRandomLongest = 1024;
    static int lowest_period(int length) { return std::max(kLowestPeriod, (length + 15) / 16); }
    static std::vector<int> lengths_too_long() { return {1025, INT32_MAX, 161}; }
};
struct CombSums {
    static constexpr bool kNegative = false;
    static constexpr double kLargestExponent = 32;
    static constexpr int kLowestPeriod = 1, kLongest = 4096, kLongestOfSweep = 100;
    static constexpr int kRandomTurns = 1000, kRandomLength = 200, kRandomLongest = 1000;
    static int lowest_period(int) { return kLowestPeriod; }
    static std::vector<int> lengths_too_long() { return {4097, INT32_MAX}; }
};

// kSize: of elements that are neither quiet nor limited.
struct Lspe_32f : LeastSquares {
    using T = float;
    using Measure = float;
    static constexpr const char* kName = "LSPE_32f";
    static constexpr double kSize = 3.0;
    static constexpr auto kCall = zelsPeriodicityLSPE_32f;
    static constexpr auto kReference = [](const std::vector<T>& x, int greatest, int least) {
        return reference::least_squares(x, greatest, least);
    };
};
struct Lspe_16s : LeastSquares {
    using T = int16_t;
    using Measure = int16_t;
    static constexpr const char* kName = "LSPE_16s";
    static constexpr double kSize = 20000.0;
    static constexpr auto kCall = zelsPeriodicityLSPE_16s;
    static constexpr auto kReference = [](const std::vector<T>& x, int greatest, int least) {
        return reference::least_squares(x, greatest, least);
    };
};
struct Comb_32f : CombSums {
    using T = float;
    using Measure = float;
    static constexpr const char* kName = "Comb_32f";
    static constexpr double kSize = 3.0;
    static constexpr auto kCall = zelsPeriodicity_32f;
    static constexpr auto kReference = [](const std::vector<T>& x, int greatest, int least) {
        return reference::comb(x, greatest, least);
    };
};
struct Comb_32s16s : CombSums {
    using T = int32_t;
    using Measure = int16_t;
    static constexpr const char* kName = "Comb_32s16s";
    static constexpr double kSize = 1e8;
    static constexpr auto kCall = zelsPeriodicity_32s16s;
    static constexpr auto kReference = [](const std::vector<T>& x, int greatest, int least) {
        return reference::comb(x, greatest, least);
    };
};
struct PeriodicityNames {
    template <class Member>
    static std::string GetName(int)
    {
        return Member::kName;
    }
};

template <class Member>
struct Found {
    SrStatus status;
    typename Member::Measure measure;
    int32_t period;
};
template <class Member>
Found<Member> search(const std::vector<typename Member::T>& x, int greatest, int least)
{
    Found<Member> found{SrErrUnknown, -7, -7};
    found.status =
        Member::kCall(x.data(), static_cast<int32_t>(x.size()), &found.measure, &found.period, greatest, least);
    return found;
}

template <class Member>
testing::AssertionResult finds_as(const reference::Period<typename Member::Measure>& expected,
                                  const std::vector<typename Member::T>& x, int greatest, int least,
                                  const std::array<Placement, 3>& at = {})
{
    Guarded<typename Member::T> src(x, at[0]);
    const Guarded<typename Member::Measure> measure(1, at[1]);
    const Guarded<int32_t> period(1, at[2]);
    src.take_snapshot();
    const SrStatus status =
        Member::kCall(src.data(), static_cast<int32_t>(x.size()), measure.data(), period.data(), greatest, least);
    testing::AssertionResult right = same_value(expected.measure, measure.get(0)) << " (measure)";
    if (right) right = same_value(expected.period, period.get(0)) << " (period)";
    if (right) right = status_is(SrOk, status);
    if (!(src.as_snapshot() && measure.intact() && period.intact()))
        right = testing::AssertionFailure() << "written beside the results";
    if (right) return right;
    return testing::AssertionFailure() << "length " << x.size() << ", periods " << least << " to " << greatest
                                       << ": " << right.message();
}
template <class Member>
testing::AssertionResult finds_period(const std::vector<typename Member::T>& x, int greatest, int least,
                                      const std::array<Placement, 3>& at = {})
{
    return finds_as<Member>(Member::kReference(x, greatest, least), x, greatest, least, at);
}

// Pulses, a tone or noise, with a period of its own.
template <class T>
std::vector<T> periodic(int length, double size, bool negative)
{
    std::vector<T> x;
    const double period = uniform(3.0, 60.0);
    const int kind = uniform(0, 2);
    for (int i = 0; i < length; ++i) {
        double v = kind == 0   ? (std::fmod(i, period) < 1 ? 1.0 : 0.05)
                   : kind == 1 ? std::cos(2 * 3.141592653589793 * i / period)
                               : uniform(-1.0, 1.0);
        v += uniform(-0.1, 0.1);
        if (!negative) v = std::abs(v);
        v *= size;
        if constexpr (!std::is_same_v<T, float>) {
            const auto largest = static_cast<double>(std::numeric_limits<T>::max());
            v = std::min(std::max(v, -largest - 1), largest);
        }
        x.push_back(static_cast<T>(v));
    }
    return x;
}

template <class Member>
std::vector<typename Member::T> sequence_for(int length)
{
    return periodic<typename Member::T>(length, Member::kSize, Member::kNegative);
}

// Null pointers are told before the periods, and these before the length.
template <class Member>
void expect_period_checks()
{
    constexpr int lowest = Member::kLowestPeriod, longest = Member::kLongest;
    using T = typename Member::T;
    using Measure = typename Member::Measure;
    struct Arguments {
        const T* src;
        int32_t len;
        Measure* measure;
        int32_t* period;
        int32_t greatest, least;
    };
    using Status = SrStatus;
    const std::vector<T> x(static_cast<std::size_t>(longest) + 1, T(1));
    Guarded<Measure> measure(1);
    Guarded<int32_t> period(1);
    const auto call = [](const Arguments& a) -> Status {
        return Member::kCall(a.src, a.len, a.measure, a.period, a.greatest, a.least);
    };
    const Arguments good = {x.data(), 60, measure.data(), period.data(), 20, 10};
    EXPECT_EQ(call(good), SrOk);
    std::vector<Fault<Arguments>> faults = {
        {"null source", SrErrNullPtr, [](Arguments& a) { a.src = nullptr; }},
        {"null measure", SrErrNullPtr, [](Arguments& a) { a.measure = nullptr; }},
        {"null period", SrErrNullPtr, [](Arguments& a) { a.period = nullptr; }},
        {"least too small", SrErrRange, [=](Arguments& a) { a.least = lowest - 1; }},
        {"greatest as least", SrErrRange, [](Arguments& a) { a.greatest = a.least; }},
        {"lowest greatest", SrErrRange, [](Arguments& a) { a.greatest = INT32_MIN; }},
        {"length as greatest", SrErrLengthBound, [](Arguments& a) { a.len = a.greatest; }},
        {"lowest length", SrErrLengthBound, [](Arguments& a) { a.len = INT32_MIN; }},
    };
    for (int bad : Member::lengths_too_long())
        faults.push_back({"long", SrErrLengthBound, [=](Arguments& a) { a.len = bad; }});
    expect_check_order<Arguments>(good, faults, call, {&measure, &period});
    const auto of = [&](int len, int greatest, int least) {
        return call({x.data(), len, measure.data(), period.data(), greatest, least});
    };
    EXPECT_EQ(of(60, 20, INT32_MIN), SrErrRange);
    EXPECT_EQ(of(60, INT32_MAX, INT32_MAX), SrErrRange);
    EXPECT_EQ(of(60, INT32_MAX, INT32_MAX - 1), SrErrLengthBound);
    EXPECT_EQ(of(60, 0x10000010, 0x10000001), SrErrLengthBound) << "16 times the least leaves 32 bits";
    EXPECT_EQ(of(INT32_MAX, INT32_MAX - 1, 0x10000001), SrErrLengthBound);
    EXPECT_EQ(of(lowest + 2, lowest + 1, lowest), SrOk);
    EXPECT_EQ(of(lowest + 1, lowest + 1, lowest), SrErrLengthBound);
    EXPECT_EQ(of(longest, longest - 1, longest - 2), SrOk);
    EXPECT_EQ(of(longest + 1, longest - 1, longest - 2), SrErrLengthBound);
}

}  // namespace zelsr::test
