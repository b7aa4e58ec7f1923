// Gaussian log densities: one vector, many frames, many components. Sizes are width x height.
#include <zelsr/likelihood/gauss.h>

#include "plain/plain.h"
#include "support/eigen.h"
#include "support/row.h"

namespace zelsr::bench {
namespace {

constexpr char one_vector[] =
    "one short vector: call, checks, alignment tests and the stated join of the partial sums; Eigen is compiled "
    "in";
constexpr char one_row[] = "one row: set-up of a kernel that takes four rows to a pass";
constexpr char scratch_memory[] = "the reciprocals are formed first, in scratch memory from the allocator's hook";
constexpr char stalled_set_up[] =
    "one row: set-up of a kernel that takes a group of rows to a pass";
constexpr char short_tail[] = "13 = 12 + 1: what lies behind the whole registers goes one element at a time";
constexpr double single_tolerance = 2e-5, double_tolerance = 1e-12;

template <class T>
constexpr double tolerance = sizeof(T) == sizeof(float) ? single_tolerance : double_tolerance;

// Rows on 16-byte boundaries.
int step_of(int width) { return (width + 3) / 4 * 4; }

template <class T>
struct Data {
    const T *feature, *mean, *inv_var;
};

template <class T>
Data<T> data(Row& row, int feature_rows, int model_rows)
{
    const int step = step_of(row.size.width);
    return {row.input<T>(feature_rows * step, -3, 3), row.input<T>(model_rows * step, -3, 3),
            row.input<T>(model_rows * step, T(0.2), 5)};
}

// The whole registers of a row; what lies behind counts as one.
template <class T>
double registers_of(int width)
{
    return static_cast<double>((width * sizeof(T) + 15) / 16);
}

template <class T>
T eigen_score(const T* x, const T* mean, const T* inv_var, int width, T val)
{
    return val - T(0.5) * ((array(x, width) - array(mean, width)).square() * array(inv_var, width)).sum();
}

template <class T, SrStatus Score(const T*, const T*, const T*, int32_t, T*, T)>
void single_row(Row& row)
{
    const int width = row.size.width;
    const auto [feature, mean, inv_var] = data<T>(row, 1, 1);
    row.registers(registers_of<T>(width), {.loads = 3, .multiplies = 2, .adds = 2});
    row.reason_at_every_size(one_vector);
    auto answer = row.answer<T>(1, tolerance<T>);
    answer.library([=](T* score) { Score(feature, mean, inv_var, width, score, T(-40)); });
    answer.plain([=](T* score) { *score = plain::log_gauss(feature, mean, inv_var, width, T(-40)); });
    answer.peer("Eigen", [=](T* score) { *score = eigen_score(feature, mean, inv_var, width, T(-40)); });
}

void single_32f64f(Row& row)
{
    const int width = row.size.width;
    const auto [feature, mean, inv_var] = data<float>(row, 1, 1);
    row.registers(registers_of<double>(width), {.loads = 1.5, .multiplies = 2, .adds = 2});
    row.reason_at_every_size(one_vector);
    auto answer = row.answer<double>(1, double_tolerance);
    answer.library([=](double* score) { zelsLogGaussSingle_32f64f(feature, mean, inv_var, width, score, -40); });
    answer.plain([=](double* score) { *score = plain::log_gauss(feature, mean, inv_var, width, -40.0); });
    answer.peer("Eigen", [=](double* score) {
        *score = -40 - 0.5 * ((array(feature, width).cast<double>() - array(mean, width).cast<double>()).square() *
                              array(inv_var, width).cast<double>())
                                 .sum();
    });
}

void single_unit(Row& row)
{
    const int width = row.size.width;
    const auto [feature, mean, unused] = data<float>(row, 1, 1);
    row.registers(registers_of<float>(width), {.loads = 2, .multiplies = 1, .adds = 2});
    row.reason_at_every_size(one_vector);
    auto answer = row.answer<float>(1, single_tolerance);
    answer.library([=](float* score) { zelsLogGaussSingle_IdVar_32f(feature, mean, width, score, -40); });
    answer.plain([=](float* score) { *score = plain::log_gauss_unit(feature, mean, width, -40.0F); });
    answer.peer("Eigen", [=](float* score) {
        *score = -40 - 0.5F * (array(feature, width) - array(mean, width)).square().sum();
    });
}

template <class T, SrStatus Score(const T*, const T*, const T*, int32_t, T*, T)>
void single_variance_row(Row& row)
{
    const int width = row.size.width;
    const auto [feature, mean, var] = data<T>(row, 1, 1);
    if (sizeof(T) == sizeof(float))
        row.registers(registers_of<T>(width), {.loads = 3, .multiplies = 2, .adds = 2, .divides = 1});
    else
        row.registers(registers_of<T>(width), {.loads = 3, .multiplies = 1, .adds = 2, .double_divides = 1});
    row.reason_at_every_size(scratch_memory);
    auto answer = row.answer<T>(1, tolerance<T>);
    answer.library([=](T* score) { Score(feature, mean, var, width, score, T(-40)); });
    answer.plain([=](T* score) { *score = plain::log_gauss_variance(feature, mean, var, width, T(-40)); });
    answer.peer("Eigen", [=](T* score) {
        *score =
            T(-40) - T(0.5) * ((array(feature, width) - array(mean, width)).square() / array(var, width)).sum();
    });
}

// The model's loads are shared by the frames that a kernel takes together, so they do not count.
template <class T, SrStatus Score(const T*, int32_t, const T*, const T*, int32_t, T*, int32_t, T)>
void frames_row(Row& row)
{
    const int width = row.size.width, height = row.size.height, step = step_of(width);
    const auto [frames, mean, inv_var] = data<T>(row, height, 1);
    row.registers(height * registers_of<T>(width), {.loads = 1, .multiplies = 2, .adds = 2});
    row.reason_at_every_size(one_row);
    auto answer = row.answer<T>(height, tolerance<T>);
    answer.library([=](T* score) { Score(frames, step, mean, inv_var, width, score, height, T(-40)); });
    answer.plain(
        [=](T* score) { plain::log_gauss_frames(frames, step, mean, inv_var, width, score, height, T(-40)); });
    answer.peer("Eigen", [=](T* score) {
        for (int r = 0; r < height; ++r) score[r] = eigen_score(frames + r * step, mean, inv_var, width, T(-40));
    });
}

void unit_frames(Row& row)
{
    const int width = row.size.width, height = row.size.height, step = step_of(width);
    const auto [frames, mean, unused] = data<float>(row, height, 1);
    row.registers(height * registers_of<float>(width), {.loads = 1, .multiplies = 1, .adds = 2});
    row.reason_at_every_size(one_row);
    auto answer = row.answer<float>(height, single_tolerance);
    answer.library(
        [=](float* score) { zelsLogGauss_IdVar_32f_D2(frames, step, mean, width, score, height, -40); });
    answer.plain(
        [=](float* score) { plain::log_gauss_unit_frames(frames, step, mean, width, score, height, -40.0F); });
    answer.peer("Eigen", [=](float* score) {
        for (int r = 0; r < height; ++r)
            score[r] = -40 - 0.5F * (array(frames + r * step, width) - array(mean, width)).square().sum();
    });
}

// The constants go in where the scores come out: from call to call they sink, which takes no time.
template <class T, SrStatus Score(const T*, const T*, int32_t, const T*, int32_t, T*, int32_t)>
void components_row(Row& row)
{
    const int width = row.size.width, height = row.size.height, step = step_of(width);
    const auto [feature, mean, inv_var] = data<T>(row, 1, height);
    row.registers(height * registers_of<T>(width), {.loads = 2, .multiplies = 2, .adds = 2});
    row.reason_at_every_size(height > 1 ? short_tail : sizeof(T) == sizeof(float) ? one_row : stalled_set_up);
    auto answer = row.answer<T>(height, tolerance<T>);
    answer.library([=](T* value) { Score(mean, inv_var, step, feature, width, value, height); });
    answer.plain(
        [=](T* value) { plain::log_gauss_components(mean, inv_var, step, feature, width, value, height); });
    answer.peer("Eigen", [=](T* value) {
        for (int j = 0; j < height; ++j)
            value[j] = eigen_score(feature, mean + j * step, inv_var + j * step, width, value[j]);
    });
}

const std::initializer_list<Size> widths = {{13}, {24}, {36}, {39}, {40}};
const std::initializer_list<Size> blocks = {{13, 1},    {13, 1000}, {24, 1},    {24, 1000}, {36, 1},
                                            {36, 1000}, {39, 1},    {39, 1000}, {40, 1},    {40, 1000}};

const Table singles{
    "likelihood/one_vector",
    {{"zelsLogGaussSingle_32f", single_row<float, zelsLogGaussSingle_32f>},
     {"zelsLogGaussSingle_64f", single_row<double, zelsLogGaussSingle_64f>},
     {"zelsLogGaussSingle_32f64f", single_32f64f},
     {"zelsLogGaussSingle_IdVar_32f", single_unit},
     {"zelsLogGaussSingle_DirectVar_32f", single_variance_row<float, zelsLogGaussSingle_DirectVar_32f>},
     {"zelsLogGaussSingle_DirectVar_64f", single_variance_row<double, zelsLogGaussSingle_DirectVar_64f>}},
    widths};

const Table frames{"likelihood/frames",
                   {{"zelsLogGauss_32f_D2", frames_row<float, zelsLogGauss_32f_D2>},
                    {"zelsLogGauss_64f_D2", frames_row<double, zelsLogGauss_64f_D2>},
                    {"zelsLogGauss_IdVar_32f_D2", unit_frames}},
                   blocks};

const Table components{"likelihood/components",
                       {{"zelsLogGaussMultiMix_32f_D2", components_row<float, zelsLogGaussMultiMix_32f_D2>},
                        {"zelsLogGaussMultiMix_64f_D2", components_row<double, zelsLogGaussMultiMix_64f_D2>}},
                       blocks};

}  // namespace
}  // namespace zelsr::bench
