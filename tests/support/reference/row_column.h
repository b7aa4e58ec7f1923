// Sums over the rows and the columns of a matrix, in the order that the library promises. They run in the caller's
// rounding mode.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace zelsr::test::reference {

// Down a column, from zero: two rows to each other, and the pair to the running sum; a last single row alone. A
// pair of 16-bit integers is exact in either arithmetic, and a zero one is plus zero in every rounding mode.
template <class R, class T>
R column_sum(const std::vector<std::vector<T>>& rows, std::size_t column)
{
    R sum = 0;
    std::size_t r = 0;
    for (; r + 2 <= rows.size(); r += 2) {
        const R pair = static_cast<R>(rows[r][column] + rows[r + 1][column]);
        sum += pair;
    }
    if (r < rows.size()) sum += static_cast<R>(rows[r][column]);
    return sum;
}

// start, and to it row after row.
template <class R, class T>
R added_rows(R start, const std::vector<std::vector<T>>& rows, std::size_t column)
{
    for (const std::vector<T>& row : rows) start += static_cast<R>(row[column]);
    return start;
}

// Four partial sums (two in double precision), each from zero.
template <class R>
struct Partial {
    static constexpr std::size_t kCount = 16 / sizeof(R);
    R sums[kCount] = {};

    R joined() const
    {
        if constexpr (kCount == 2)
            return sums[0] + sums[1];
        else
            return (sums[0] + sums[1]) + (sums[2] + sums[3]);
    }
};

// Along a row: partial sums over stretches of twice their number, each of the elements that lie as far apart as
// there are sums; joined; and the elements left over one by one.
template <class R, class T>
R row_sum(const std::vector<T>& row)
{
    constexpr std::size_t kCount = Partial<R>::kCount;
    Partial<R> partial;
    const std::size_t body = row.size() / (2 * kCount) * (2 * kCount);
    for (std::size_t c = 0; c < body; ++c) partial.sums[c % kCount] += row[c];
    R sum = partial.joined();
    for (std::size_t c = body; c < row.size(); ++c) sum += row[c];
    return sum;
}

// Of 16-bit integers: each partial sum takes pairs of neighbours, in their turn; zeros fill up the last stretch.
inline float row_sum(std::vector<std::int16_t> row)
{
    row.resize((row.size() + 7) / 8 * 8);
    Partial<float> partial;
    for (std::size_t c = 0; c < row.size(); c += 2)
        partial.sums[c / 2 % 4] += static_cast<float>(row[c] + row[c + 1]);
    return partial.joined();
}

}  // namespace zelsr::test::reference
