// Sums and products of matrices, as a user's own loops.
#pragma once

#include <cstdint>

namespace zelsr::bench::plain {

// dst[c] = sum of row after row; dst[r] = the sum along row r.
template <class T, class Sum>
void column_sums(const T* src, int step, int height, Sum* dst, int width);
template <class T, class Sum>
void row_sums(const T* src, int width, int step, Sum* dst, int height);
template <class T>
void subtract_row(const T* vector, int width, T* srcdst, int step, int height);
void copy_columns(const float* src, int step, float* dst, const std::int32_t* index, int count, int height);

// Integers become sum * 2^-sf: 16-bit matrix_vector by a shift, the others rounded from a sum in double.
void matrix_vector(const float* matrix, int step, const float* vector, int width, float* dst, int height);
void matrix_vector(const std::int16_t* matrix, int step, const std::int16_t* vector, int width, std::int16_t* dst,
                   int height, int sf);
void matrix_vector(const std::int32_t* matrix, int step, const std::int32_t* vector, int width, std::int32_t* dst,
                   int height, int sf);
void vector_matrix(const float* vector, const float* matrix, int step, int height, float* dst, int width);
template <class T>
void vector_matrix(const T* vector, const T* matrix, int step, int height, T* dst, int width, int sf);

}  // namespace zelsr::bench::plain
