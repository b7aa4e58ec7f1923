// Designs of the continuous resampler, and the tables that records hold.
#pragma once

#include <string>
#include <vector>

#include "signal/resample_calls.h"

namespace zelsr::test {

struct Design {
    float window;
    int32_t per_sample;
    float rollf, alpha;
};
inline const std::vector<Design> kDesigns = {{16, 32, 0.9F, 6},    {8, 8, 1, 1},        {2, 1, 1, 1},
                                             {0.5F, 4, 0.5F, 2},   {24, 100, 0.95F, 9}, {7.3F, 13, 0.3F, 4},
                                             {1.7F, 64, 0.8F, 20}, {3, 16, 1, 1.5F},    {11, 5, 0.001F, 3.3F}};

// The response to an impulse at the highest density is the table itself: single precision, and 16 bits made whole
// by norm.
template <class T>
std::vector<double> table_of(const ZelResampleState* state, const Design& design, T impulse, float norm,
                             T* = nullptr)
{
    const std::int64_t length = reference::table_length(design.window, design.per_sample);
    const auto samples = static_cast<int32_t>(length / design.per_sample + 1);
    const std::int64_t beside = length / design.per_sample + 3;
    std::vector<T> source(at(samples + 2 * beside));
    source[at(beside)] = impulse;
    std::vector<T> result(at(samples) * at(design.per_sample) + 8);
    double time = 0;
    int32_t count = 0;
    EXPECT_EQ(Continuous<T>::run(state, source.data() + beside, samples, result.data(), design.per_sample, norm,
                                 &time, &count),
              SrOk);
    EXPECT_GE(count, length);
    return {result.begin(), result.begin() + length};
}

inline std::string describe(const Design& d)
{
    return "window " + std::to_string(d.window) + ", " + std::to_string(d.per_sample) + " a sample, rollf " +
           std::to_string(d.rollf) + ", alpha " + std::to_string(d.alpha);
}

}  // namespace zelsr::test
