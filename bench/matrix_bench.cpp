// Sums and products of matrices. Sizes are width x height.
#include <cblas.h>
#include <zelsr/matrix/columns.h>
#include <zelsr/matrix/products.h>
#include <zelsr/matrix/sums.h>

#include "plain/matrix_sum.h"
#include "support/eigen.h"
#include "support/peers.h"
#include "support/row.h"

namespace zelsr::bench {
namespace {

constexpr char small_matrix[] =
    "a small matrix: call, checks, the sums' way through memory and the ends of rows, where the other is compiled "
    "in";
constexpr char beyond_the_caches[] = "the matrix comes from a farther cache, which bounds both";
constexpr char avx_kernels[] =
    "OpenBLAS Haswell: 32 bytes at a time, multiplication and addition fused (level under --sse)";

// A multiple of 8 keeps rows of every type on 16-byte boundaries.
int step_of(int width) { return (width + 7) / 8 * 8; }

template <class T>
double registers_of(Size size)
{
    return size.height * static_cast<double>((size.width * sizeof(T) + 15) / 16);
}

template <class T>
T* matrix_of(Row& row, T low, T high)
{
    return row.input<T>(step_of(row.size.width) * row.size.height, low, high);
}

template <class T>
using Steps =
    Eigen::Map<const Eigen::Matrix<T, Eigen::Dynamic, Eigen::Dynamic, Eigen::RowMajor>, 0, Eigen::OuterStride<>>;
template <class T>
Steps<T> eigen_matrix(const T* first, Size size)
{
    return {first, size.height, size.width, Eigen::OuterStride<>(step_of(size.width))};
}

template <class T>
auto eigen_vector(T* first, int count)
{
    return Eigen::Map<Eigen::Matrix<std::remove_const_t<T>, Eigen::Dynamic, 1>>(
        const_cast<std::remove_const_t<T>*>(first), count);
}

const char* reason(Size size) { return size.width < 100 ? small_matrix : beyond_the_caches; }

template <class T, class Sum, SrStatus SumColumn(const T*, int32_t, int32_t, Sum*, int32_t)>
void column_sums(Row& row)
{
    const Size size = row.size;
    const int step = step_of(size.width);
    const T* src = matrix_of<T>(row, -100, 100);
    row.registers(registers_of<T>(size), {.loads = 1, .adds = 1});
    row.reason_at_every_size(reason(size));
    auto answer = row.answer<Sum>(size.width, 1e-4);
    answer.library([=](Sum* dst) { SumColumn(src, step, size.height, dst, size.width); });
    answer.plain([=](Sum* dst) { plain::column_sums(src, step, size.height, dst, size.width); });
    answer.peer("Eigen", [=](Sum* dst) {
        eigen_vector(dst, size.width) = eigen_matrix(src, size).template cast<Sum>().colwise().sum();
    });
}

template <class T, class Sum, SrStatus SumRow(const T*, int32_t, int32_t, Sum*, int32_t)>
void row_sums(Row& row)
{
    const Size size = row.size;
    const int step = step_of(size.width);
    const T* src = matrix_of<T>(row, -100, 100);
    row.registers(registers_of<T>(size), {.loads = 1, .adds = 1});
    row.reason_at_every_size(reason(size));
    auto answer = row.answer<Sum>(size.height, 1e-4);
    answer.library([=](Sum* dst) { SumRow(src, size.width, step, dst, size.height); });
    answer.plain([=](Sum* dst) { plain::row_sums(src, size.width, step, dst, size.height); });
    answer.peer("Eigen", [=](Sum* dst) {
        eigen_vector(dst, size.height) = eigen_matrix(src, size).template cast<Sum>().rowwise().sum();
    });
}

template <class T, SrStatus SubRow(const T*, int32_t, T*, int32_t, int32_t)>
void subtractions(Row& row)
{
    const Size size = row.size;
    const int step = step_of(size.width);
    const T* src = matrix_of<T>(row, -100, 100);
    const T* vector = row.input<T>(size.width, -1, 1);
    row.registers(registers_of<T>(size), {.loads = 2, .stores = 1, .adds = 1});
    row.reason_at_every_size(reason(size));
    auto answer = row.answer_in_place<T>(src, step * size.height, 1e-4);
    answer.library([=](T* srcdst) { SubRow(vector, size.width, srcdst, step, size.height); });
    answer.plain([=](T* srcdst) { plain::subtract_row(vector, size.width, srcdst, step, size.height); });
}

void selected_columns(Row& row)
{
    const Size size = row.size;
    const int step = step_of(size.width), count = size.width / 2 + 1;
    const float* src = matrix_of<float>(row, -100, 100);
    const int32_t* index = row.input<int32_t>(count, 0, size.width - 1);
    row.reason_at_every_size(reason(size));
    auto answer = row.answer<float>(count * size.height);
    answer.library([=](float* dst) {
        zelsCopyColumn_Indirect_32f_D2(src, size.width, step, dst, index, count, count, size.height);
    });
    answer.plain([=](float* dst) { plain::copy_columns(src, step, dst, index, count, size.height); });
}

void matrix_vector_32f(Row& row)
{
    const Size size = row.size;
    const int step = step_of(size.width);
    const float *matrix = matrix_of<float>(row, -1, 1), *vector = row.input<float>(size.width, -1, 1);
    row.registers(registers_of<float>(size), {.loads = 1, .multiplies = 1, .adds = 1});
    row.reason_at_every_size(avx_kernels);
    auto answer = row.answer<float>(size.height, 1e-4);
    answer.library([=](float* dst) { zelsMatVecMul_32f_D2(matrix, step, vector, size.width, dst, size.height); });
    answer.plain([=](float* dst) { plain::matrix_vector(matrix, step, vector, size.width, dst, size.height); });
    answer.peer(openblas_name(), [=](float* dst) {
        cblas_sgemv(CblasRowMajor, CblasNoTrans, size.height, size.width, 1, matrix, step, vector, 1, 0, dst, 1);
    });
    answer.peer("Eigen", [=](float* dst) {
        eigen_vector(dst, size.height).noalias() = eigen_matrix(matrix, size) * eigen_vector(vector, size.width);
    });
}

void vector_matrix_32f(Row& row)
{
    const Size size = row.size;
    const int step = step_of(size.width);
    const float *matrix = matrix_of<float>(row, -1, 1), *vector = row.input<float>(size.height, -1, 1);
    row.registers(registers_of<float>(size), {.loads = 1, .multiplies = 1, .adds = 1});
    row.reason_at_every_size(avx_kernels);
    auto answer = row.answer<float>(size.width, 1e-4);
    answer.library([=](float* dst) { zelsVecMatMul_32f_D2(vector, matrix, step, size.height, dst, size.width); });
    answer.plain([=](float* dst) { plain::vector_matrix(vector, matrix, step, size.height, dst, size.width); });
    answer.peer(openblas_name(), [=](float* dst) {
        cblas_sgemv(CblasRowMajor, CblasTrans, size.height, size.width, 1, matrix, step, vector, 1, 0, dst, 1);
    });
    answer.peer("Eigen", [=](float* dst) {
        eigen_vector(dst, size.width).noalias() =
            eigen_matrix(matrix, size).transpose() * eigen_vector(vector, size.height);
    });
}

constexpr int sf = 20;

template <class T, SrStatus MatVecMul(const T*, int32_t, const T*, int32_t, T*, int32_t, int32_t)>
void matrix_vector(Row& row)
{
    const Size size = row.size;
    const int step = step_of(size.width);
    const T *matrix = matrix_of<T>(row, -32768, 32767), *vector = row.input<T>(size.width, -32768, 32767);
    row.registers(registers_of<T>(size), {.loads = 1, .multiplies = 1});
    row.reason_at_every_size(reason(size));
    auto answer = row.answer<T>(size.height);
    answer.library([=](T* dst) { MatVecMul(matrix, step, vector, size.width, dst, size.height, sf); });
    answer.plain([=](T* dst) { plain::matrix_vector(matrix, step, vector, size.width, dst, size.height, sf); });
}

template <class T, SrStatus VecMatMul(const T*, const T*, int32_t, int32_t, T*, int32_t, int32_t)>
void vector_matrix(Row& row)
{
    const Size size = row.size;
    const int step = step_of(size.width);
    const T *matrix = matrix_of<T>(row, -32768, 32767), *vector = row.input<T>(size.height, -32768, 32767);
    row.registers(registers_of<T>(size), {.loads = 1, .multiplies = 1});
    row.reason_at_every_size(reason(size));
    auto answer = row.answer<T>(size.width);
    answer.library([=](T* dst) { VecMatMul(vector, matrix, step, size.height, dst, size.width, sf); });
    answer.plain([=](T* dst) { plain::vector_matrix(vector, matrix, step, size.height, dst, size.width, sf); });
}

const std::initializer_list<Size> sizes = {{39, 39}, {39, 1000}, {256, 256}, {1024, 1024}};

const Table sums{"matrix/sums",
                 {{"zelsSumColumn_32f_D2", column_sums<float, float, zelsSumColumn_32f_D2>},
                  {"zelsSumColumn_64f_D2", column_sums<double, double, zelsSumColumn_64f_D2>},
                  {"zelsSumColumn_16s32f_D2", column_sums<int16_t, float, zelsSumColumn_16s32f_D2>},
                  {"zelsSumRow_32f_D2", row_sums<float, float, zelsSumRow_32f_D2>},
                  {"zelsSumRow_64f_D2", row_sums<double, double, zelsSumRow_64f_D2>},
                  {"zelsSumRow_16s32f_D2", row_sums<int16_t, float, zelsSumRow_16s32f_D2>}},
                 sizes};

const Table columns{"matrix/columns",
                    {{"zelsSubRow_32f_D2", subtractions<float, zelsSubRow_32f_D2>},
                     {"zelsSubRow_16s_D2", subtractions<int16_t, zelsSubRow_16s_D2>},
                     {"zelsCopyColumn_Indirect_32f_D2", selected_columns}},
                    sizes};

const Table products{"matrix/products",
                     {{"zelsMatVecMul_32f_D2", matrix_vector_32f},
                      {"zelsMatVecMul_16s_D2Sfs", matrix_vector<int16_t, zelsMatVecMul_16s_D2Sfs>},
                      {"zelsMatVecMul_32s_D2Sfs", matrix_vector<int32_t, zelsMatVecMul_32s_D2Sfs>},
                      {"zelsVecMatMul_32f_D2", vector_matrix_32f},
                      {"zelsVecMatMul_16s_D2Sfs", vector_matrix<int16_t, zelsVecMatMul_16s_D2Sfs>},
                      {"zelsVecMatMul_32s_D2Sfs", vector_matrix<int32_t, zelsVecMatMul_32s_D2Sfs>}},
                     sizes};

}  // namespace
}  // namespace zelsr::bench
