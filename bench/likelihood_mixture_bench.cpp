// Scores that join a maximum, a sum or a mixture. Sizes are width x frames or width x components.
#include <zelsr/likelihood/mixture.h>

#include "plain/plain.h"
#include "support/row.h"

namespace zelsr::bench {
namespace {

constexpr char one_component[] =
    "one row: set-up of a kernel that takes a group of rows to a pass";
constexpr double tolerance = 2e-5;
constexpr float val = -40;

// Rows on 16-byte boundaries.
int step_of(int width) { return (width + 3) / 4 * 4; }

struct Data {
    const float *feature, *mean, *inv_var;
};

// Near enough to each other that most additions are above the cut.
Data data(Row& row, int feature_rows, int model_rows)
{
    const int step = step_of(row.size.width);
    return {row.input(feature_rows * step, -0.7F, 0.7F), row.input(model_rows * step, -0.7F, 0.7F),
            row.input(model_rows * step, 0.2F, 5.0F)};
}

// What the frames' scores meet: values about their mean.
const float* former(Row& row, int height)
{
    const float middle = val - 0.42F * static_cast<float>(row.size.width);
    return row.input(height, middle - 5, middle + 5);
}

using Plain = void (*)(const float*, int, const float*, const float*, int, float*, int, float);

template <SrStatus Join(const float*, int32_t, const float*, const float*, int32_t, float*, int32_t, float),
          Plain JoinPlain>
void frames_row(Row& row)
{
    const int width = row.size.width, height = row.size.height, step = step_of(width);
    const auto [frames, mean, inv_var] = data(row, height, 1);
    row.registers(height * step / 4.0, {.loads = 1, .multiplies = 2, .adds = 2});
    auto answer = row.answer_in_place(former(row, height), height, tolerance);
    answer.library([=](float* joined) { Join(frames, step, mean, inv_var, width, joined, height, val); });
    answer.plain([=](float* joined) { JoinPlain(frames, step, mean, inv_var, width, joined, height, val); });
}

void mixture(Row& row)
{
    const int width = row.size.width, components = row.size.height, step = step_of(width);
    const auto [feature, mean, inv_var] = data(row, 1, components);
    const float* weights = row.input(components, val - 2, val);
    row.registers(components * step / 4.0, {.loads = 2, .multiplies = 2, .adds = 2});
    if (components == 1) row.reason_at_every_size(one_component);
    auto answer = row.answer<float>(1, tolerance);
    answer.library([=](float* sum) {
        zelsLogGaussMixture_32f_D2(feature, mean, inv_var, components, step, width, weights, sum);
    });
    answer.plain([=](float* sum) {
        *sum = plain::log_gauss_mixture(feature, mean, inv_var, components, step, width, weights);
    });
}

const Table joined{"likelihood/joined",
                   {{"zelsLogGaussMax_32f_D2", frames_row<zelsLogGaussMax_32f_D2, plain::log_gauss_max_frames>},
                    {"zelsLogGaussAdd_32f_D2", frames_row<zelsLogGaussAdd_32f_D2, plain::log_gauss_add_frames>}},
                   {{13, 1000}, {24, 1000}, {36, 1000}, {39, 1000}, {40, 1000}}};

const Table mixtures{
    "likelihood/mixture",
    {{"zelsLogGaussMixture_32f_D2", mixture}},
    {{13, 1},  {13, 8},   {13, 32}, {13, 128}, {24, 1},  {24, 8},   {24, 32}, {24, 128}, {36, 1},  {36, 8},
     {36, 32}, {36, 128}, {39, 1},  {39, 8},   {39, 32}, {39, 128}, {40, 1},  {40, 8},   {40, 32}, {40, 128}}};

}  // namespace
}  // namespace zelsr::bench
