// Sums and steps along a run of elements in double precision: a column of a matrix from a row on, or an array.
#pragma once

#include <cstdint>

#include "core/rows.h"
#include "core/simd.h"

namespace zelsr {

// Where element i of a run stands.
template <class Rows>
struct Column {
    Rows rows;
    int32_t column;
    int32_t first_row;

    auto* operator()(int32_t i) const { return rows[first_row + i] + column; }
};
template <class Rows>
Column(Rows, int32_t, int32_t) -> Column<Rows>;

template <class T>
struct Contiguous {
    T* first;

    T* operator()(int32_t i) const { return first + i; }
};
template <class T>
Contiguous(T*) -> Contiguous<T>;

// Four terms in one expression, then those left over one by one.
template <class Term>
double sum_by_fours(int32_t count, Term term)
{
    double sum = 0;
    int32_t i = 0;
    for (; count - i >= 4; i += 4) {
        const double first = term(i), second = term(i + 1), third = term(i + 2), fourth = term(i + 3);
        sum = sum + (((first + second) + third) + fourth);
    }
    for (; i < count; ++i) sum = sum + term(i);
    return sum;
}

template <class Run>
double sum_of_magnitudes(Run run, int32_t count)
{
    return sum_by_fours(count, [=](int32_t i) { return __builtin_fabs(load_one(run(i))); });
}

template <class Run>
double scale_and_sum_squares(Run run, int32_t count, double factor)
{
    return sum_by_fours(count, [=](int32_t i) {
        const double scaled = load_one(run(i)) * factor;
        store_one(run(i), scaled);
        return scaled * scaled;
    });
}

template <class Run>
void scale(Run run, int32_t count, double factor)
{
    for (int32_t i = 0; i < count; ++i) store_one(run(i), load_one(run(i)) * factor);
}

inline void add_multiple(const double* src, double* srcdst, int32_t count, double factor)
{
    const __m128d factors = _mm_set1_pd(factor);
    int32_t i = 0;
    for (; count - i >= 4; i += 4) {
        const __m128d low = Unaligned::two(srcdst + i) + factors * Unaligned::two(src + i);
        const __m128d high = Unaligned::two(srcdst + i + 2) + factors * Unaligned::two(src + i + 2);
        Unaligned::put(srcdst + i, low);
        Unaligned::put(srcdst + i + 2, high);
    }
    for (; i < count; ++i) store_one(srcdst + i, load_one(srcdst + i) + factor * load_one(src + i));
}

// The elements of one row in columns a and b.
inline void rotate(double* a, double* b, double c, double s)
{
    const double y = load_one(b), z = load_one(a);
    store_one(b, c * y + s * z);
    store_one(a, z * c - y * s);
}
template <class Rows>
void rotate_columns(Rows rows, int32_t height, int32_t column_a, int32_t column_b, double c, double s)
{
    for (int32_t r = 0; r < height; ++r) rotate(rows[r] + column_a, rows[r] + column_b, c, s);
}

}  // namespace zelsr
