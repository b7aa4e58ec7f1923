// What a user would write in place of the library: one loop a function, nothing but the formula. Compiled apart
// from the benchmarks, as a user's own source would be.
#pragma once

#include <cstddef>
#include <cstdint>

namespace zelsr::bench::plain {

struct Complex {
    float re, im;
};

// vector.cpp
template <class T>
void copy(const T* src, T* dst, int len);
template <class T>
void move(const T* src, T* dst, int len);
template <class T>
void set(T value, T* dst, int len);
void absolute(const double* src, double* dst, int len);
template <class T>
void add_to(const T* src, T* srcdst, int len);
template <class T>
void subtract_from(const T* src, T* srcdst, int len);
void multiply(const float* first, const float* second, float* dst, int len);
void multiply(const std::int16_t* first, const std::int16_t* second, std::int16_t* dst, int len, int sf);
void add_constant(const float* src, float value, float* dst, int len);
template <class T>
void multiply_constant(const T* src, T value, T* dst, int len);
template <class T>
void divide(const T* divisor, const T* dividend, T* dst, int len);
void root(double* srcdst, int len);
void magnitude(const float* pairs, float* dst, int len);
void magnitude(const std::int32_t* pairs, std::int32_t* dst, int len, int sf);

// sum.cpp
template <class T, class Sum>
Sum dot(const T* first, const T* second, int len);
float sum(const float* src, int len);
float accurate_sum(const float* src, int len);
std::int32_t sum(const std::int16_t* src, int len, int sf);
std::int32_t sum(const std::int32_t* src, int len, int sf);

// extreme.cpp
template <class T>
T greatest(const T* src, int len);
template <class T>
T least(const T* src, int len);
void least_and_greatest(const float* src, int len, float* low, float* high);
template <class T>
T greatest(const T* src, int len, int* index);
float least(const float* src, int len, int* index);
void greater_of_each(const float* src, float* srcdst, int len);
template <class T>
void lesser_of_each(const T* src, T* srcdst, int len);

// logarithm.cpp
void logarithm(float* srcdst, int len);
void logarithm(const std::int32_t* src, std::int32_t* dst, int len, int sf);
float sum_of_logarithms(const float* src, int len);
double sum_of_logarithms(const double* src, int len);

// convert.cpp
template <class From, class To>
void convert(const From* src, To* dst, int len);
template <class From, class To>
void convert_scaled(const From* src, To* dst, int len, int sf);

// fft.cpp: the textbook's transform in place, with a table of N / 2 complex roots of unity.
void fill_roots(Complex* roots, int n);
void real_to_ccs(const float* src, Complex* dst, const Complex* roots, int order);
void ccs_to_real(const Complex* src, float* dst, Complex* work, const Complex* roots, int order);
void multiply_conjugate_pack(const float* src, float* srcdst, int len);
void correlate(const float* src, int len, float* dst, int lags);

// gauss.cpp
template <class T, class Sum>
Sum log_gauss(const T* feature, const T* mean, const T* inv_var, int len, Sum val);
template <class T>
void log_gauss_frames(const T* frames, int step, const T* mean, const T* inv_var, int width, T* score, int height,
                      T val);
template <class T>
void log_gauss_components(const T* mean, const T* inv_var, int step, const T* feature, int width, T* value,
                          int height);
template <class T>
T log_gauss_unit(const T* feature, const T* mean, int len, T val);
template <class T>
void log_gauss_unit_frames(const T* frames, int step, const T* mean, int width, T* score, int height, T val);
template <class T>
T log_gauss_variance(const T* feature, const T* mean, const T* var, int len, T val);
void log_gauss_max_frames(const float* frames, int step, const float* mean, const float* inv_var, int width,
                          float* best, int height, float val);
void log_gauss_add_frames(const float* frames, int step, const float* mean, const float* inv_var, int width,
                          float* sum, int height, float val);
float log_gauss_mixture(const float* feature, const float* mean, const float* inv_var, int components, int step,
                        int width, const float* val);
void log_gauss_selected(const float* frames, const float* mean, const float* inv_var, int step, int width,
                        const float* val, const std::uint8_t* table, int components, float* sum, int height);

// fixed.cpp: 16-bit features and models, 2^(-sf-1) of the sum.
void fixed_frames(const std::int16_t* frames, int step, const std::int16_t* mean, const std::int16_t* inv_var,
                  int width, float* score, int height, float val, int sf);
void fixed_components(const std::int16_t* mean, const std::int16_t* inv_var, int step, const std::int16_t* feature,
                      int width, float* value, int height, int sf);
float fixed_mixture(const std::int16_t* feature, const std::int16_t* mean, const std::int16_t* inv_var,
                    int components, int step, int width, const float* val, int sf);
// The same in integers of 32 bits.
void low_frames(const std::int16_t* frames, int step, const std::int16_t* mean, const std::int16_t* inv_var,
                int width, float* score, int height, float val, int sf);
void low_components(const std::int16_t* mean, const std::int16_t* inv_var, int step, const std::int16_t* feature,
                    int width, float* value, int height, int sf);
float low_mixture(const std::int16_t* feature, const std::int16_t* mean, const std::int16_t* inv_var,
                  int components, int step, int width, const float* val, int sf);

// log_add.cpp
template <class T>
void log_add(const T* src, T* srcdst, int len);
float log_sum(const float* src, int len);

// select.cpp
void unite_rows(const std::int32_t* indices, int count, const std::uint8_t* const* table, int offset,
                std::uint8_t* dst, int height, int width);

// filter_bank.cpp: one run of weights a filter, over both of its slopes.
template <class Bin, class Weight, class Sum>
void filter_bank(const Bin* src, const int* centers, const Weight* const* weights, Sum* dst, int filters);

}  // namespace zelsr::bench::plain
