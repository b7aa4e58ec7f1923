// Arrays of the benchmarks as Eigen sees them.
#pragma once

#include <Eigen/Core>

namespace zelsr::bench {

template <class T>
auto array(const T* first, int count)
{
    return Eigen::Map<const Eigen::Array<T, Eigen::Dynamic, 1>>(first, count);
}

template <class T>
auto array(T* first, int count)
{
    return Eigen::Map<Eigen::Array<T, Eigen::Dynamic, 1>>(first, count);
}

}  // namespace zelsr::bench
