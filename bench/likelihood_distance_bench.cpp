// Distances, order statistics, scores with block-diagonal covariance.
#include <zelsr/likelihood/block_diagonal.h>
#include <zelsr/likelihood/distance.h>
#include <zelsr/likelihood/order.h>

#include <algorithm>
#include <cstring>
#include <functional>

#include "plain/distance.h"
#include "support/eigen.h"
#include "support/row.h"

namespace zelsr::bench {
namespace {

constexpr char one_vector[] =
    "one short vector: call, checks, alignment tests and the stated join of the partial sums; Eigen is compiled "
    "in";
constexpr char one_row[] = "one row: set-up of a kernel that takes a group of rows to a pass";
constexpr char several_rows[] =
    "eight sums of two rows in double fill the registers; Eigen, with one sum a row, shares loads among eight "
    "rows";
constexpr char same_partition[] = "its pivot is the median of three, where the first element is the contract here";

template <class T>
constexpr double tolerance = sizeof(T) == sizeof(float) ? 2e-5 : 1e-12;
template <class T>
double registers_of(int width)
{
    return static_cast<double>((width * sizeof(T) + 15) / 16);
}

// Offset 1 takes the arrays off their 16-byte boundaries.
template <class T, class Sum, SrStatus Distance(const T*, const T*, const T*, int32_t, Sum*), int Offset>
void mahalanobis_row(Row& row)
{
    const int len = row.len;
    const T low = sizeof(T) == 2 ? T(-1000) : T(-3), high = sizeof(T) == 2 ? T(1000) : T(3);
    const T* feature = row.input<T>(len + 1, low, high) + Offset;
    const T* mean = row.input<T>(len + 1, low, high) + Offset;
    const T* inv_var = row.input<T>(len + 1, high / T(30), high) + Offset;
    row.registers(registers_of<Sum>(len), {.loads = 3.0 * sizeof(T) / sizeof(Sum), .multiplies = 2, .adds = 2});
    row.reason_at_every_size(one_vector);
    auto answer = row.answer<Sum>(1, tolerance<Sum>);
    answer.library([=](Sum* distance) { Distance(feature, mean, inv_var, len, distance); });
    answer.plain([=](Sum* distance) { *distance = plain::mahalanobis<T, Sum>(feature, mean, inv_var, len); });
    answer.peer("Eigen", [=](Sum* distance) {
        *distance = ((array(feature, len).template cast<Sum>() - array(mean, len).template cast<Sum>()).square() *
                     array(inv_var, len).template cast<Sum>())
                        .sum();
    });
}

template <int Offset>
void mahalanobis_integer(Row& row)
{
    constexpr int sf = 12;
    const int len = row.len;
    const auto* feature = row.input<int16_t>(len + 1, -1000, 1000) + Offset;
    const auto* mean = row.input<int16_t>(len + 1, -1000, 1000) + Offset;
    const auto* inv_var = row.input<int16_t>(len + 1, 1, 100) + Offset;
    auto answer = row.answer<int32_t>(1, 20);  // the sum of aligned data is in single precision
    answer.library(
        [=](int32_t* distance) { zelsMahDistSingle_16s32s_Sfs(feature, mean, inv_var, len, distance, sf); });
    answer.plain([=](int32_t* distance) { *distance = plain::mahalanobis(feature, mean, inv_var, len, sf); });
}

template <class T, SrStatus Distance(const T*, int32_t, const T*, const T*, int32_t, T*, int32_t)>
void mahalanobis_frames(Row& row)
{
    const int width = row.size.width, height = row.size.height, step = (width + 3) / 4 * 4;
    const T* frames = row.input<T>(step * height, -3, 3);
    const T *mean = row.input<T>(step, -3, 3), *inv_var = row.input<T>(step, T(0.2), 5);
    row.registers(height * registers_of<T>(width), {.loads = 1, .multiplies = 2, .adds = 2});
    if (height == 1) row.reason_at_every_size(one_row);
    auto answer = row.answer<T>(height, tolerance<T>);
    answer.library([=](T* distance) { Distance(frames, step, mean, inv_var, width, distance, height); });
    answer.plain(
        [=](T* distance) { plain::mahalanobis_frames(frames, step, mean, inv_var, width, distance, height); });
    answer.peer("Eigen", [=](T* distance) {
        for (int r = 0; r < height; ++r)
            distance[r] =
                ((array(frames + r * step, width) - array(mean, width)).square() * array(inv_var, width)).sum();
    });
}

struct Gaussians {
    const float *mean1, *var1, *mean2, *var2;
};
Gaussians two_gaussians(Row& row)
{
    const auto draw = [&row] { return row.input(row.len, 0.1F, 3.0F); };
    return {draw(), draw(), draw(), draw()};
}

template <class T, SrStatus Distance(const float*, const float*, const float*, const float*, int32_t, T*)>
void bhattacharyya_row(Row& row)
{
    const int len = row.len;
    const auto [mean1, var1, mean2, var2] = two_gaussians(row);
    auto answer = row.answer<T>(1, sizeof(T) == sizeof(float) ? 2e-3 : 1e-6);
    answer.library([=](T* distance) { Distance(mean1, var1, mean2, var2, len, distance); });
    answer.plain([=](T* distance) { *distance = plain::bhattacharyya<T>(mean1, var1, mean2, var2, len); });
    answer.peer("Eigen", [=](T* distance) {
        const auto v1 = array(var1, len).template cast<T>(), v2 = array(var2, len).template cast<T>();
        const auto d = array(mean1, len).template cast<T>() - array(mean2, len).template cast<T>();
        *distance = (d.square() / (v1 + v2) + ((v1 + v2).square() / (4 * v1 * v2)).log()).sum() / 4;
    });
}

template <class T,
          SrStatus Distance(const float*, const float*, const float*, const float*, int32_t, T*, float, float)>
void bhattacharyya_given_logarithms(Row& row)
{
    const int len = row.len;
    const auto [mean1, var1, mean2, var2] = two_gaussians(row);
    const float ln1 = array(var1, len).log().sum(), ln2 = array(var2, len).log().sum();
    auto answer = row.answer<T>(1, 1e-4);
    answer.library([=](T* distance) { Distance(mean1, var1, mean2, var2, len, distance, ln1, ln2); });
    answer.plain(
        [=](T* distance) { *distance = plain::bhattacharyya<T>(mean1, var1, mean2, var2, len, ln1, ln2); });
}

// The tenth part from the top, as a pruning threshold is.
template <class T, SrStatus NthMax(const T*, int32_t, int32_t, T*)>
void order_row(Row& row)
{
    const int len = row.len, n = len / 10;
    const T* src = row.input<T>(len, T(-30000), T(0));
    T* copy = row.array<T>(len);
    row.reason_at_every_size(same_partition);
    auto answer = row.answer<T>(1);
    answer.library([=](T* result) { NthMax(src, len, n, result); });
    answer.peer("std::nth_element", [=](T* result) {
        std::memcpy(copy, src, static_cast<std::size_t>(len) * sizeof(T));
        std::nth_element(copy, copy + n, copy + len, std::greater<>());
        *result = copy[n];
    });
    answer.plain([=](T* result) {
        std::memcpy(copy, src, static_cast<std::size_t>(len) * sizeof(T));
        std::sort(copy, copy + len, std::greater<>());
        *result = copy[n];
    });
}

// Blocks of width elements; height of them.
template <class T>
struct BlockData {
    const T *feature, *mean, *rows;
    const T** list;
    int32_t* sizes;
};
template <class T>
BlockData<T> block_data(Row& row, T low, T high)
{
    const int size = row.size.width, blocks = row.size.height, len = size * blocks;
    BlockData<T> data{row.input<T>(len, low, high), row.input<T>(len, low, high),
                      row.input<T>(size * len, low, high), row.array<const T*>(len), row.array<int32_t>(blocks)};
    for (int r = 0; r < len; ++r) data.list[r] = data.rows + r * size;
    std::fill(data.sizes, data.sizes + blocks, size);
    return data;
}

template <class T, class Record, SrStatus Init(Record**, const T* const*, const int32_t*, int32_t),
          SrStatus Score(const T*, const T*, const Record*, int32_t, T*, T)>
void block_diagonal(Row& row)
{
    const int size = row.size.width, blocks = row.size.height, len = size * blocks;
    const BlockData<T> data = block_data<T>(row, -1, 1);
    Record* record = nullptr;  // lives as long as the program
    if (Init(&record, data.list, data.sizes, blocks) != SrOk) return;
    row.registers(len * registers_of<T>(size), {.loads = 1, .multiplies = 1, .adds = 1});
    row.reason_at_every_size(several_rows);
    auto answer = row.answer<T>(1, tolerance<T>);
    answer.library([=](T* score) { Score(data.feature, data.mean, record, len, score, 100); });
    answer.plain([=](T* score) {
        *score = plain::block_diagonal<T>(data.feature, data.mean, data.rows, size, blocks, 100);
    });
    answer.peer("Eigen", [=](T* score) {
        using Matrix = Eigen::Matrix<T, Eigen::Dynamic, Eigen::Dynamic, Eigen::RowMajor>;
        using Vector = Eigen::Matrix<T, Eigen::Dynamic, 1>;
        T sum = 0;
        for (int b = 0; b < blocks; ++b) {
            const Eigen::Map<const Matrix> a(data.rows + b * size * size, size, size);
            const Vector d = (array(data.feature + b * size, size) - array(data.mean + b * size, size)).matrix();
            sum += d.dot(a * d);
        }
        *score = 100 - T(0.5) * sum;
    });
}

void block_diagonal_16s(Row& row)
{
    constexpr int sf = 20;
    const int size = row.size.width, blocks = row.size.height, len = size * blocks;
    const BlockData<int16_t> data = block_data<int16_t>(row, -1000, 1000);
    BlockDMatrix_16s* record = nullptr;
    if (zelsBlockDMatrixInitAlloc_16s(&record, data.list, data.sizes, blocks) != SrOk) return;
    auto answer = row.answer<float>(1, 1e-3);
    answer.library([=](float* score) {
        zelsLogGaussSingle_BlockDVarScaled_16s32f(data.feature, data.mean, record, len, score, 100, sf);
    });
    answer.plain([=](float* score) {
        *score = plain::block_diagonal(data.feature, data.mean, data.rows, size, blocks, 100, sf);
    });
}

const Table vectors{
    "likelihood/distance",
    {{"zelsMahDistSingle_32f", mahalanobis_row<float, float, zelsMahDistSingle_32f, 0>},
     {"zelsMahDistSingle_32f (unaligned)", mahalanobis_row<float, float, zelsMahDistSingle_32f, 1>},
     {"zelsMahDistSingle_64f", mahalanobis_row<double, double, zelsMahDistSingle_64f, 0>},
     {"zelsMahDistSingle_32f64f", mahalanobis_row<float, double, zelsMahDistSingle_32f64f, 0>},
     {"zelsMahDistSingle_16s32f", mahalanobis_row<int16_t, float, zelsMahDistSingle_16s32f, 0>},
     {"zelsMahDistSingle_16s32f (unaligned)", mahalanobis_row<int16_t, float, zelsMahDistSingle_16s32f, 1>},
     {"zelsMahDistSingle_16s32s_Sfs", mahalanobis_integer<0>},
     {"zelsMahDistSingle_16s32s_Sfs (unaligned)", mahalanobis_integer<1>},
     {"zelsBhatDist_32f", bhattacharyya_row<float, zelsBhatDist_32f>},
     {"zelsBhatDist_32f64f", bhattacharyya_row<double, zelsBhatDist_32f64f>},
     {"zelsBhatDistSLog_32f", bhattacharyya_given_logarithms<float, zelsBhatDistSLog_32f>},
     {"zelsBhatDistSLog_32f64f", bhattacharyya_given_logarithms<double, zelsBhatDistSLog_32f64f>}},
    {{39}, {256}, {4096}}};

const Table frames{"likelihood/distance",
                   {{"zelsMahDist_32f_D2", mahalanobis_frames<float, zelsMahDist_32f_D2>},
                    {"zelsMahDist_64f_D2", mahalanobis_frames<double, zelsMahDist_64f_D2>}},
                   {{39, 1}, {39, 100}}};

const Table orders{"likelihood/order",
                   {{"zelsNthMaxElement_32f", order_row<float, zelsNthMaxElement_32f>},
                    {"zelsNthMaxElement_64f", order_row<double, zelsNthMaxElement_64f>},
                    {"zelsNthMaxElement_32s", order_row<int32_t, zelsNthMaxElement_32s>}},
                   {{100}, {4096}}};

const Table blocks{
    "likelihood/block_diagonal",
    {{"zelsLogGaussSingle_BlockDVar_32f",
      block_diagonal<float, BlockDMatrix_32f, zelsBlockDMatrixInitAlloc_32f, zelsLogGaussSingle_BlockDVar_32f>},
     {"zelsLogGaussSingle_BlockDVar_64f",
      block_diagonal<double, BlockDMatrix_64f, zelsBlockDMatrixInitAlloc_64f, zelsLogGaussSingle_BlockDVar_64f>},
     {"zelsLogGaussSingle_BlockDVarScaled_16s32f", block_diagonal_16s}},
    {{13, 3}, {39, 1}, {60, 2}}};

}  // namespace
}  // namespace zelsr::bench
