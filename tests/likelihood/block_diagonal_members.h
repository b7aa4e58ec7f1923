// Records of block-diagonal matrices for tests, and what a score on one sums up.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <numeric>
#include <vector>

#include "matrix/matrix_calls.h"
#include "support/faults.h"
#include "support/hooks.h"
#include "zelsr/likelihood/block_diagonal.h"

namespace zelsr::test::block_diagonal {

using matrix::invoke;

// The functions of each element type.
template <class T>
struct Kind;
template <>
struct Kind<std::int16_t> {
    using Record = BlockDMatrix_16s;
    static constexpr auto init = zelsBlockDMatrixInitAlloc_16s;
    static constexpr auto free = zelsBlockDMatrixFree_16s;
};
template <>
struct Kind<float> {
    using Record = BlockDMatrix_32f;
    static constexpr auto init = zelsBlockDMatrixInitAlloc_32f;
    static constexpr auto free = zelsBlockDMatrixFree_32f;
};
template <>
struct Kind<double> {
    using Record = BlockDMatrix_64f;
    static constexpr auto init = zelsBlockDMatrixInitAlloc_64f;
    static constexpr auto free = zelsBlockDMatrixFree_64f;
};

template <class T>
struct Problem {
    std::vector<std::int32_t> sizes;
    std::vector<std::vector<T>> rows;  // of the whole matrix, block after block
    std::vector<T> feature, mean;

    std::int32_t length() const { return static_cast<std::int32_t>(feature.size()); }
};

// Sizes of blocks that fill len rows.
inline std::vector<std::int32_t> random_sizes(int len, int largest)
{
    std::vector<std::int32_t> sizes;
    while (len > 0) {
        sizes.push_back(uniform(1, std::min(len, largest)));
        len -= sizes.back();
    }
    return sizes;
}

template <class T>
Problem<T> random_problem(const std::vector<std::int32_t>& sizes, T low, T high)
{
    const int len = std::accumulate(sizes.begin(), sizes.end(), 0);
    Problem<T> p{sizes, {}, uniform_vector<T>(len, low, high), uniform_vector<T>(len, low, high)};
    for (std::int32_t size : sizes)
        for (int r = 0; r < size; ++r) p.rows.push_back(uniform_vector<T>(size, low, high));
    return p;
}
// Small integers: every sum is exact.
template <class T>
Problem<T> whole_problem(const std::vector<std::int32_t>& sizes)
{
    Problem<T> p = random_problem<T>(sizes, T(-9), T(9));
    const auto make_whole = [](std::vector<T>& values) {
        for (T& x : values) x = static_cast<T>(static_cast<int>(x));
    };
    make_whole(p.feature);
    make_whole(p.mean);
    for (std::vector<T>& row : p.rows) make_whole(row);
    return p;
}

template <class T>
class Record {
  public:
    explicit Record(const Problem<T>& p)
    {
        std::vector<const T*> list;
        for (const std::vector<T>& row : p.rows) list.push_back(row.data());
        EXPECT_EQ(Kind<T>::init(&record_, list.data(), p.sizes.data(), static_cast<std::int32_t>(p.sizes.size())),
                  SrOk);
    }
    ~Record() { EXPECT_EQ(Kind<T>::free(record_), SrOk); }
    Record(const Record&) = delete;
    Record& operator=(const Record&) = delete;

    const typename Kind<T>::Record* get() const { return record_; }

  private:
    typename Kind<T>::Record* record_ = nullptr;
};

// The sum over blocks of d' A d in extended precision, and the sum of its terms' magnitudes.
struct Form {
    long double sum = 0, magnitude = 0;
};
template <class T, class Difference>
Form quadratic_form(const Problem<T>& p, const std::vector<Difference>& d)
{
    Form form;
    std::size_t row = 0, first = 0;
    for (std::int32_t size : p.sizes) {
        for (std::int32_t r = 0; r < size; ++r, ++row)
            for (std::int32_t c = 0; c < size; ++c) {
                const auto column = static_cast<std::size_t>(c);
                const long double term =
                    static_cast<long double>(d[row]) * d[first + column] * p.rows[row][column];
                form.sum += term;
                form.magnitude += std::abs(term);
            }
        first += static_cast<std::size_t>(size);
    }
    return form;
}

}  // namespace zelsr::test::block_diagonal
