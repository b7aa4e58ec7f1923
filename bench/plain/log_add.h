// One log addition by the C library.
#pragma once

#include <algorithm>
#include <cmath>

namespace zelsr::bench::plain {

template <class T>
T log_added(T a, T b)
{
    return std::max(a, b) + std::log1p(std::exp(-std::abs(a - b)));
}

}  // namespace zelsr::bench::plain
