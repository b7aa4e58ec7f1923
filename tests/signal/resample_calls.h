// Records that release themselves, signals that reach as far before and behind the source as a filter may, and
// calls between guard pages that leave exactly that reach.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <vector>

#include "support/bits.h"
#include "support/effort.h"
#include "support/guarded.h"
#include "support/reference/resample.h"
#include "zelsr/signal.h"

namespace zelsr::test {

inline std::size_t at(std::int64_t i) { return static_cast<std::size_t>(i); }

template <class T>
struct Continuous;
template <>
struct Continuous<float> {
    static constexpr auto init = zelsResamplePolyphaseInitAlloc_32f;
    static constexpr auto run = zelsResamplePolyphase_32f;
    static constexpr auto release = zelsResamplePolyphaseFree_32f;
};
template <>
struct Continuous<std::int16_t> {
    static constexpr auto init = zelsResamplePolyphaseInitAlloc_16s;
    static constexpr auto run = zelsResamplePolyphase_16s;
    static constexpr auto release = zelsResamplePolyphaseFree_16s;
};

template <class T>
struct Fixed;
template <>
struct Fixed<float> {
    static constexpr auto init = zelsResamplePolyphaseFixedInitAlloc_32f;
    static constexpr auto run = zelsResamplePolyphaseFixed_32f;
    static constexpr auto release = zelsResamplePolyphaseFixedFree_32f;
    static constexpr auto set = zelsResamplePolyphaseSetFixedFilter_32f;
    static constexpr auto get = zelsResamplePolyphaseGetFixedFilter_32f;
    static constexpr auto init_in = zelsResamplePolyphaseFixedInit_32f;
    static SrStatus size(int32_t in, int32_t out, int32_t len, int32_t* bytes, int32_t* row_length, int32_t* rows)
    {
        return zelsResamplePolyphaseFixedGetSize_32f(in, out, len, bytes, row_length, rows);
    }
};
template <>
struct Fixed<std::int16_t> {
    static constexpr auto init = zelsResamplePolyphaseFixedInitAlloc_16s;
    static constexpr auto run = zelsResamplePolyphaseFixed_16s;
    static constexpr auto release = zelsResamplePolyphaseFixedFree_16s;
    static constexpr auto set = zelsResamplePolyphaseSetFixedFilter_16s;
    static constexpr auto get = zelsResamplePolyphaseGetFixedFilter_16s;
    static constexpr auto init_in = zelsResamplePolyphaseFixedInit_16s;
    static SrStatus size(int32_t in, int32_t out, int32_t len, int32_t* bytes, int32_t* row_length, int32_t* rows)
    {
        return zelsResamplePolyphaseFixedGetSize_16s(in, out, len, bytes, row_length, rows, 1);
    }
};

// Engine: Continuous<T> or Fixed<T>.
template <class Engine, class State>
class Record {
  public:
    template <class... Argument>
    explicit Record(Argument... arguments)
    {
        EXPECT_EQ(Engine::init(&state_, arguments...), SrOk);
    }
    ~Record() { EXPECT_EQ(Engine::release(state_), SrOk); }
    Record(const Record&) = delete;
    Record& operator=(const Record&) = delete;
    State* get() const { return state_; }

  private:
    State* state_ = nullptr;
};
template <class T>
using ContinuousRecord = Record<Continuous<T>, ZelResampleState>;
template <class T>
using FixedRecord = Record<Fixed<T>, ZelResampleFixedState>;

// Samples from before index 0 on.
template <class T>
class Signal {
  public:
    static constexpr std::int64_t kBefore = 2000;
    explicit Signal(int behind = 4000) : values_(at(kBefore + behind)) {}
    // From kBefore samples before the origin to behind after it.
    Signal(int behind, T low, T high, std::int64_t origin = 0)
        : values_(uniform_vector<T>(static_cast<int>(kBefore) + behind, low, high)), first_(origin - kBefore)
    {}

    T& operator[](std::int64_t i) { return values_.at(at(i - first_)); }
    T operator[](std::int64_t i) const { return values_.at(at(i - first_)); }
    const T* address(std::int64_t i) const { return values_.data() + (i - first_); }
    std::vector<T> part(std::int64_t first, std::int64_t last) const
    {
        return {values_.begin() + (first - first_), values_.begin() + (last - first_ + 1)};
    }

  private:
    std::vector<T> values_;
    std::int64_t first_ = -kBefore;
};

inline float stored(double value, float*) { return static_cast<float>(value); }
inline std::int16_t stored(double value, std::int16_t*)
{
    if (value > 32767) return 32767;
    if (value < -32768) return -32768;
    return static_cast<std::int16_t>(value < 0 ? value - 0.5 : value + 0.5);
}

template <class T>
std::vector<T> stored(const std::vector<double>& values)
{
    std::vector<T> result;
    for (double value : values) result.push_back(stored(value, static_cast<T*>(nullptr)));
    return result;
}

// run(source, destination, &time, &count) against expected: the source's reach lies between guard pages, once with
// its first sample behind the forbidden page and once with its last before it; results, count and time.
template <class T, class Run>
testing::AssertionResult resamples_to(const reference::Resampled& expected, const Signal<T>& signal, double time,
                                      Run run)
{
    const std::vector<T> wanted = stored<T>(expected.values);
    const std::vector<T> reach = signal.part(expected.first, expected.last);
    for (Edge edge : {Edge::Front, Edge::Back}) {
        const int misalign = edge == Edge::Front ? 0 : static_cast<int>((16 - reach.size() * sizeof(T) % 16) % 16);
        const Guarded<T> source(reach, {misalign, edge});
        Guarded<T> results(wanted.size(), {static_cast<int>(sizeof(T)), edge});
        Guarded<double> moved(1);
        Guarded<std::int32_t> count(1);
        moved.set(0, time);
        const SrStatus status = run(source.data() - expected.first, results.data(), moved.data(), count.data());
        if (status != SrOk) return testing::AssertionFailure() << "status " << status;
        if (count.get(0) != static_cast<std::int32_t>(wanted.size()))
            return testing::AssertionFailure() << "count " << count.get(0) << " for " << wanted.size();
        if (!results.intact() || !moved.intact() || !count.intact() || !source.intact())
            return testing::AssertionFailure() << "a byte beside an array was written";
        if (auto right = same_values(wanted, results.values()); !right) return right;
        if (auto right = same_value(expected.time, moved.get(0)); !right) return right << " (time)";
    }
    return testing::AssertionSuccess();
}

}  // namespace zelsr::test
