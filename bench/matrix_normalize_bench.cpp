// Normalisation of feature blocks, whose sizes are width x frames, and of vectors.
#include <zelsr/matrix/normalize.h>

#include "plain/statistics.h"
#include "support/eigen.h"
#include "support/row.h"

namespace zelsr::bench {
namespace {

constexpr char same_traffic[] = "all are bound by loads and stores alike";

constexpr double single_tolerance = 1e-5;

int step_of(int width) { return (width + 7) / 8 * 8; }

// Means of 0 and factors of 1 keep the values from call to call.
void columns_32f(Row& row)
{
    const int width = row.size.width, height = row.size.height, step = step_of(width);
    const float *mean = row.input(width, 0.0F, 1e-30F), *factor = row.input(width, 1.0F, 1.00001F);
    row.registers(height * width / 4.0, {.loads = 3, .stores = 1, .multiplies = 1, .adds = 1});
    row.reason_at_every_size(same_traffic);
    auto answer = row.answer_in_place(row.input(height * step, -1.0F, 1.0F), height * step, single_tolerance);
    answer.library([=](float* rows) { zelsNormalizeColumn_32f_D2(rows, step, height, mean, factor, width); });
    answer.plain([=](float* rows) { plain::normalize_columns(rows, step, height, mean, factor, width); });
    answer.peer("Eigen", [=](float* rows) {
        using Rows = Eigen::Array<float, Eigen::Dynamic, Eigen::Dynamic, Eigen::RowMajor>;
        Eigen::Map<Rows, 0, Eigen::OuterStride<>> block(rows, height, width, Eigen::OuterStride<>(step));
        block = (block.rowwise() - array(mean, width).transpose()).rowwise() * array(factor, width).transpose();
    });
}

void columns_16s(Row& row)
{
    const int width = row.size.width, height = row.size.height, step = step_of(width);
    const auto* mean = row.input<std::int16_t>(width, -100, 100);
    const auto* factor = row.input<std::int16_t>(width, -32768, 32767);
    row.registers(height * width / 8.0, {.loads = 3, .stores = 1, .multiplies = 4});
    auto answer = row.answer_in_place(row.input<std::int16_t>(height * step, -32768, 32767), height * step);
    answer.library(
        [=](std::int16_t* rows) { zelsNormalizeColumn_16s_D2Sfs(rows, step, height, mean, factor, width, 15); });
    answer.plain(
        [=](std::int16_t* rows) { plain::normalize_columns(rows, step, height, mean, factor, width, 15); });
}

// Roots of roots tend to 1, which costs as much as any other number.
void rec_sqrt_32f(Row& row)
{
    const int len = row.len;
    row.registers(len / 4.0, {.loads = 1, .stores = 1, .multiplies = 4, .adds = 1});
    row.reason(same_traffic);
    auto answer = row.answer_in_place(row.input(len, 0.5F, 100.0F), len, single_tolerance);
    answer.library([=](float* srcdst) { zelsRecSqrt_32f(srcdst, len, 1e-6F); });
    answer.plain([=](float* srcdst) { plain::reciprocal_roots(srcdst, len, 1e-6F); });
    answer.peer("Eigen", [=](float* srcdst) {
        array(srcdst, len) = (array(srcdst, len) > 1e-6F).select(array(srcdst, len).rsqrt(), 1e-6F);
    });
}

void zero_mean_16s(Row& row)
{
    const int len = row.len;
    row.registers(len / 8.0, {.loads = 2, .stores = 1});
    auto answer = row.answer_in_place(row.input<std::int16_t>(len, -3000, 9000), len);
    answer.library([=](std::int16_t* srcdst) { zelsZeroMean_16s(srcdst, len); });
    answer.plain([=](std::int16_t* srcdst) { plain::subtract_mean(srcdst, len); });
}

void in_range_32f(Row& row)
{
    const int len = row.len;
    const float* src = row.input(len, -3.0F, 5.0F);
    row.registers(len / 4.0, {.loads = 2, .stores = 1, .multiplies = 1, .adds = 5});
    row.reason(same_traffic);
    auto answer = row.answer<float>(len, single_tolerance);
    answer.library([=](float* dst) { zelsNormalizeInRange_32f(src, dst, len, 0.1F, 0.9F, 1.0F); });
    answer.plain([=](float* dst) { plain::into_range(src, dst, len, 0.1F, 0.9F, 1.0F); });
    answer.peer("Eigen", [=](float* dst) {
        const auto x = array(src, len);
        const float lowest = x.minCoeff(), span = x.maxCoeff() - lowest;
        const float top = 0.9F * span + lowest, bottom = 0.1F * span + lowest;
        array(dst, len) = (x.min(top) - bottom).max(0.0F) * (1.0F / (top - bottom));
    });
}

void in_range_16s8u(Row& row)
{
    const int len = row.len;
    const auto* src = row.input<std::int16_t>(len, -3000, 5000);
    row.registers(len / 8.0, {.loads = 2, .stores = 1, .multiplies = 2, .adds = 8});
    auto answer = row.answer<std::uint8_t>(len, 1);
    answer.library([=](std::uint8_t* dst) { zelsNormalizeInRange_16s8u(src, dst, len, 0.1F, 0.9F, 255); });
    answer.plain([=](std::uint8_t* dst) { plain::into_range(src, dst, len, 0.1F, 0.9F, 255.0F); });
}

void unit_curve_32f(Row& row)
{
    const int len = row.len;
    const float* src = row.input(len, -0.5F, 2.5F);
    row.registers(len / 4.0, {.loads = 1, .stores = 1, .multiplies = 2, .adds = 4});
    row.reason(same_traffic);
    auto answer = row.answer<float>(len, single_tolerance);
    answer.library([=](float* dst) { zelsUnitCurve_32f(src, dst, len); });
    answer.plain([=](float* dst) { plain::unit_curve(src, dst, len); });
    answer.peer("Eigen", [=](float* dst) {
        const auto x = array(src, len).max(0.0F).min(2.0F);
        array(dst, len) = (x < 1.0F).select(x.square(), 2.0F - (2.0F - x).square());
    });
}

void unit_curve_16s(Row& row)
{
    const int len = row.len;
    const auto* src = row.input<std::int16_t>(len, -4096, 16384);
    row.registers(len / 8.0, {.loads = 1, .stores = 1, .multiplies = 4});
    auto answer = row.answer<std::int16_t>(len);
    answer.library([=](std::int16_t* dst) { zelsUnitCurve_16s_Sfs(src, 12, dst, len, -12); });
    answer.plain([=](std::int16_t* dst) { plain::unit_curve(src, 12, dst, len, -12); });
}

const Table columns{"matrix/normalize_column",
                    {{"zelsNormalizeColumn_32f_D2", columns_32f}, {"zelsNormalizeColumn_16s_D2Sfs", columns_16s}},
                    {{13, 1000}, {24, 1000}, {39, 1000}, {40, 1000}}};

const Table vectors{"matrix/normalize",
                    {{"zelsRecSqrt_32f", rec_sqrt_32f},
                     {"zelsZeroMean_16s", zero_mean_16s},
                     {"zelsNormalizeInRange_32f", in_range_32f},
                     {"zelsNormalizeInRange_16s8u", in_range_16s8u},
                     {"zelsUnitCurve_32f", unit_curve_32f},
                     {"zelsUnitCurve_16s_Sfs", unit_curve_16s}},
                    vector_sizes};

}  // namespace
}  // namespace zelsr::bench
