// Widths and heights that the sweeps over matrices of Gaussians or frames take.
#pragma once

#include <vector>

#include "support/effort.h"

namespace zelsr::test {

// Every width to 50, the common feature sizes, two long ones.
inline std::vector<int> widths()
{
    if (thin_effort()) return {1, 2, 3, 4, 5, 7, 8, 11, 12, 13, 36, 39, 40, 43};
    std::vector<int> all;
    for (int width = 1; width <= 50; ++width) all.push_back(width);
    all.insert(all.end(), {100, 103});
    return all;
}

// Every number of rows left over from groups of up to four, behind no, one and two groups.
inline std::vector<int> heights()
{
    if (thin_effort()) return {1, 2, 3, 5, 7};
    return {1, 2, 3, 4, 5, 6, 7, 8, 9};
}

}  // namespace zelsr::test
