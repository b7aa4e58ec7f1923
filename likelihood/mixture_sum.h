// The log sum of a mixture's component scores, by blocks.
#pragma once

#include <algorithm>
#include <cstdint>

#include "likelihood/log_add.h"

namespace zelsr {

// score(first, count, to) writes the scores of components first to first + count - 1. From the second block of 100
// on, the running sum stands before the block as its first element.
template <class T, class Score>
T sum_components(Score score, int32_t height)
{
    constexpr int32_t kTogether = 100;
    constexpr int32_t kLead = 32 / static_cast<int32_t>(sizeof(T));
    alignas(32) T buffer[kLead + kTogether];
    T* const block = buffer + kLead;
    T sum = 0;
    for (int32_t done = 0; done < height;) {
        const int32_t count = std::min(height - done, kTogether);
        score(done, count, block);
        block[-1] = sum;
        sum = done == 0 ? sum_logs(block, count) : sum_logs(block - 1, count + 1);
        done += count;
    }
    return sum;
}

}  // namespace zelsr
