// Statistics down the columns of feature blocks; sizes are width x frames. The peer adds rows as whole
// expressions.
#include <zelsr/matrix/statistics.h>

#include "plain/statistics.h"
#include "support/eigen.h"
#include "support/row.h"

namespace zelsr::bench {
namespace {

constexpr char rows_of_sums[] =
    "the columns are read in several passes of the registers that sums fit in, the peer reads rows as a whole";

constexpr double single_tolerance = 1e-4;  // sums of a thousand elements, in different orders

// Rows on 16-byte boundaries.
template <class T>
int step_of(int width)
{
    constexpr int lanes = 16 / sizeof(T);
    return (width + lanes - 1) / lanes * lanes;
}

template <class T>
auto block(const T* first, int height, int step, int width)
{
    using Rows = Eigen::Array<T, Eigen::Dynamic, Eigen::Dynamic, Eigen::RowMajor>;
    return Eigen::Map<const Rows, 0, Eigen::OuterStride<>>(first, height, width, Eigen::OuterStride<>(step));
}

// What a register of one row takes at least.
template <class T>
void registers(Row& row, Operations each)
{
    row.registers(row.size.height * static_cast<double>(step_of<T>(row.size.width)) * sizeof(T) / 16, each);
    row.reason_at_every_size(rows_of_sums);
}

void mean_32f(Row& row)
{
    const int width = row.size.width, height = row.size.height, step = step_of<float>(width);
    const float* src = row.input(height * step, -1.0F, 5.0F);
    registers<float>(row, {.loads = 1, .adds = 1});
    auto answer = row.answer<float>(width, single_tolerance);
    answer.library([=](float* mean) { zelsMeanColumn_32f_D2(src, height, step, mean, width); });
    answer.plain([=](float* mean) { plain::column_means(src, height, step, mean, width); });
    answer.peer("Eigen", [=](float* mean) {
        array(mean, width) = block(src, height, step, width).colwise().mean().transpose();
    });
}

void mean_16s(Row& row)
{
    const int width = row.size.width, height = row.size.height, step = step_of<std::int16_t>(width);
    const auto* src = row.input<std::int16_t>(height * step, -3000, 9000);
    registers<std::int16_t>(row, {.loads = 1, .adds = 2});
    auto answer = row.answer<std::int16_t>(width, 1);
    answer.library([=](std::int16_t* mean) { zelsMeanColumn_16s_D2(src, height, step, mean, width); });
    answer.plain([=](std::int16_t* mean) { plain::column_means(src, height, step, mean, width); });
}

void var_32f(Row& row)
{
    const int width = row.size.width, height = row.size.height, step = step_of<float>(width);
    const float* src = row.input(height * step, -1.0F, 5.0F);
    auto* mean = row.array<float>(width);
    plain::column_means(src, height, step, mean, width);
    registers<float>(row, {.loads = 1, .multiplies = 1, .adds = 1});
    auto answer = row.answer<float>(width, single_tolerance);
    answer.library([=](float* var) { zelsVarColumn_32f_D2(src, height, step, mean, var, width); });
    answer.plain([=](float* var) { plain::column_variances(src, height, step, mean, var, width); });
    answer.peer("Eigen", [=](float* var) {
        const auto n = static_cast<float>(height);
        array(var, width) = (block(src, height, step, width).square().colwise().sum().transpose() -
                             n * array(static_cast<const float*>(mean), width).square()) /
                            (n - 1);
    });
}

// Means, and variances behind them in the answer.
void mean_var_32f(Row& row)
{
    const int width = row.size.width, height = row.size.height, step = step_of<float>(width);
    const float* src = row.input(height * step, -1.0F, 5.0F);
    registers<float>(row, {.loads = 1, .multiplies = 1, .adds = 2});
    auto answer = row.answer<float>(2 * width, single_tolerance);
    answer.library([=](float* out) { zelsMeanVarColumn_32f_D2(src, height, step, out, out + width, width); });
    answer.plain([=](float* out) { plain::column_moments(src, height, step, out, out + width, width); });
    answer.peer("Eigen", [=](float* out) {
        const auto n = static_cast<float>(height);
        const auto rows = block(src, height, step, width);
        array(out, width) = rows.colwise().mean().transpose();
        array(out + width, width) =
            (rows.square().colwise().sum().transpose() - n * array(out, width).square()) / (n - 1);
    });
}

void mean_var_16s32s(Row& row)
{
    const int width = row.size.width, height = row.size.height, step = step_of<std::int16_t>(width);
    const auto* src = row.input<std::int16_t>(height * step, -3000, 9000);
    registers<std::int16_t>(row, {.loads = 1});
    auto answer = row.answer<std::int32_t>(2 * width, 1);
    answer.library(
        [=](std::int32_t* out) { zelsMeanVarColumn_16s32s_D2Sfs(src, height, step, out, out + width, width, 0); });
    answer.plain([=](std::int32_t* out) { plain::column_moments(src, height, step, out, out + width, width); });
}

template <class T, auto WeightedMeanVar>
void weighted_row(Row& row)
{
    const int width = row.size.width, height = row.size.height, step = step_of<T>(width);
    const T* src = row.input(height * step, T(-1), T(5));
    const T* weights = row.input(height, T(0), T(2) / static_cast<T>(height));
    registers<T>(row, {.loads = 1, .multiplies = 3, .adds = 2});
    auto answer = row.answer<T>(2 * width, single_tolerance);
    answer.library([=](T* out) { WeightedMeanVar(src, step, weights, height, out, out + width, width); });
    answer.plain([=](T* out) { plain::weighted_moments(src, step, weights, height, out, out + width, width); });
    answer.peer("Eigen", [=](T* out) {
        const auto rows = block(src, height, step, width).matrix();
        const auto w = array(weights, height).matrix();
        array(out, width) = (rows.transpose() * w).array();
        array(out + width, width) = (rows.cwiseProduct(rows).transpose() * w).array() - array(out, width).square();
    });
}

template <class T, auto Sums>
void sums_row(Row& row)
{
    const int width = row.size.width, height = row.size.height, step = step_of<T>(width);
    const T* src = row.input(height * step, T(-1), T(5));
    registers<float>(row, {.loads = 1, .multiplies = 1, .adds = 2});
    auto answer = row.answer<float>(2 * width, single_tolerance);
    answer.library([=](float* out) { Sums(src, step, height, out, out + width, width); });
    answer.plain([=](float* out) { plain::column_sums(src, step, height, out, out + width, width); });
    answer.peer("Eigen", [=](float* out) {
        const auto rows = block(src, height, step, width).template cast<float>();
        array(out, width) = rows.colwise().sum().transpose();
        array(out + width, width) = rows.square().colwise().sum().transpose();
    });
}

template <class T, auto MeanVarAcc>
void accumulators_row(Row& row)
{
    const int len = row.len;
    const T *src = row.input(len, T(-1), T(1)), *mean = row.input(len, T(-1), T(1));
    row.registers(len * sizeof(T) / 16.0, {.loads = 4, .stores = 2, .multiplies = 2, .adds = 3});
    row.reason("all are bound by loads and stores alike");
    auto answer = row.answer<T>(2 * len, single_tolerance);
    answer.library([=](T* out) { MeanVarAcc(src, mean, out, out + len, len, T(0.25)); });
    answer.plain([=](T* out) { plain::accumulate_deviations(src, mean, out, out + len, len, T(0.25)); });
    answer.peer("Eigen", [=](T* out) {
        const auto d = array(src, len) - array(mean, len);
        array(out, len) += d * T(0.25);
        array(out + len, len) += d * (d * T(0.25));
    });
}

const Table columns{"matrix/statistics",
                    {{"zelsMeanColumn_32f_D2", mean_32f},
                     {"zelsMeanColumn_16s_D2", mean_16s},
                     {"zelsVarColumn_32f_D2", var_32f},
                     {"zelsMeanVarColumn_32f_D2", mean_var_32f},
                     {"zelsMeanVarColumn_16s32s_D2Sfs", mean_var_16s32s},
                     {"zelsWeightedMeanVarColumn_32f_D2", weighted_row<float, zelsWeightedMeanVarColumn_32f_D2>},
                     {"zelsWeightedMeanVarColumn_64f_D2", weighted_row<double, zelsWeightedMeanVarColumn_64f_D2>},
                     {"zelsSumMeanVar_32f", sums_row<float, zelsSumMeanVar_32f>},
                     {"zelsSumMeanVar_16s32f", sums_row<std::int16_t, zelsSumMeanVar_16s32f>}},
                    {{13, 1000}, {24, 1000}, {39, 1000}, {40, 1000}, {256, 256}}};

const Table accumulators{"matrix/accumulators",
                         {{"zelsMeanVarAcc_32f", accumulators_row<float, zelsMeanVarAcc_32f>},
                          {"zelsMeanVarAcc_64f", accumulators_row<double, zelsMeanVarAcc_64f>}},
                         vector_sizes};

}  // namespace
}  // namespace zelsr::bench
