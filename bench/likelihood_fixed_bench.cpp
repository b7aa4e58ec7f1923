// Scores of 16-bit features beside the library's own scores of the same values in single precision, which are
// named "32f"; sf is 8. Sizes are width x frames or width x components.
#include <zelsr/likelihood/fixed.h>
#include <zelsr/likelihood/gauss.h>
#include <zelsr/likelihood/mixture.h>

#include "plain/plain.h"
#include "support/row.h"

namespace zelsr::bench {
namespace {

constexpr char widened[] =
    "squares and variances are widened and converted before the arithmetic of single precision";
constexpr char low_registers[] =
    "eight elements take four multiplications, as in single precision, and a shift besides";
constexpr char low_tail[] =
    "what lies behind whole registers of eight is shifted pair by pair, by the stated rounding";

constexpr int sf = 8;
constexpr float val = -40;
constexpr double single_tolerance = 2e-5, low_tolerance = 1e-3;
constexpr double low_unit_tolerance = 0.05;  // of scores near 200: shifts round by units

// Rows on 16-byte boundaries.
int step_of(int width) { return (width + 7) / 8 * 8; }
double registers_of(int width) { return step_of(width) / 8.0; }

struct Fixed {
    const std::int16_t *feature, *mean, *inv_var;
};
struct Single {
    const float *feature, *mean, *inv_var;
};

const float* converted(Row& row, const std::int16_t* src, int count, float scale)
{
    auto* dst = row.array<float>(count);
    for (int i = 0; i < count; ++i) dst[i] = static_cast<float>(src[i]) * scale;
    return dst;
}

// `range` bounds features and means, `precision` the reciprocal variances; sums fit 32 bits.
std::pair<Fixed, Single> data(Row& row, int feature_rows, int model_rows, int range, int precision)
{
    const int step = step_of(row.size.width), features = feature_rows * step, models = model_rows * step;
    const auto low = static_cast<std::int16_t>(-range), high = static_cast<std::int16_t>(range);
    const Fixed fixed{row.input(features, low, high), row.input(models, low, high),
                      row.input<std::int16_t>(models, 1, static_cast<std::int16_t>(precision))};
    return {fixed,
            {converted(row, fixed.feature, features, 1), converted(row, fixed.mean, models, 1),
             converted(row, fixed.inv_var, models, 1.0F / (1 << sf))}};
}

template <class Score, class Plain>
void frames_row(Row& row, Score score_of, Plain plain_score_of, double tolerance)
{
    const int width = row.size.width, height = row.size.height, step = step_of(width);
    const auto [fixed, single] = data(row, height, 1, 256, 100);
    auto answer = row.answer<float>(height, tolerance);
    answer.library([=, fixed = fixed](float* score) {
        score_of(fixed.feature, step, fixed.mean, fixed.inv_var, width, score, height, val, sf);
    });
    answer.plain([=, fixed = fixed](float* score) {
        plain_score_of(fixed.feature, step, fixed.mean, fixed.inv_var, width, score, height, val, sf);
    });
    answer.peer("32f", [=, single = single](float* score) {
        zelsLogGauss_32f_D2(single.feature, step, single.mean, single.inv_var, width, score, height, val);
    });
}

// The constants go in where the scores come out: from call to call they sink, which takes no time.
template <class Score, class Plain>
void components_row(Row& row, Score score_of, Plain plain_score_of, double tolerance)
{
    const int width = row.size.width, height = row.size.height, step = step_of(width);
    const auto [fixed, single] = data(row, 1, height, 256, 100);
    auto answer = row.answer<float>(height, tolerance);
    answer.library([=, fixed = fixed](float* value) {
        score_of(fixed.mean, fixed.inv_var, step, fixed.feature, width, value, height, sf);
    });
    answer.plain([=, fixed = fixed](float* value) {
        plain_score_of(fixed.mean, fixed.inv_var, step, fixed.feature, width, value, height, sf);
    });
    answer.peer("32f", [=, single = single](float* value) {
        zelsLogGaussMultiMix_32f_D2(single.mean, single.inv_var, step, single.feature, width, value, height);
    });
}

// Values whose scores are natural logarithms of ordinary size.
template <class Score, class Plain>
void mixture_row(Row& row, Score score_of, Plain plain_score_of, double tolerance)
{
    const int width = row.size.width, components = row.size.height, step = step_of(width);
    const auto [fixed, single] = data(row, 1, components, 24, 5);
    const float* weights = row.input(components, val - 2, val);
    auto answer = row.answer<float>(1, tolerance);
    answer.library([=, fixed = fixed](float* sum) {
        score_of(fixed.feature, fixed.mean, fixed.inv_var, components, step, width, weights, sum, sf);
    });
    answer.plain([=, fixed = fixed](float* sum) {
        *sum = plain_score_of(fixed.feature, fixed.mean, fixed.inv_var, components, step, width, weights, sf);
    });
    answer.peer("32f", [=, single = single](float* sum) {
        zelsLogGaussMixture_32f_D2(single.feature, single.mean, single.inv_var, components, step, width, weights,
                                   sum);
    });
}

// What whole registers of eight take at least: a difference, low and high halves of its square, two products and
// two sums. Loads of operands that rows share do not count.
constexpr Operations many_frames{.loads = 1, .multiplies = 4, .adds = 3};
constexpr Operations many_components{.loads = 2, .multiplies = 4, .adds = 3};

void registers(Row& row, Operations each) { row.registers(row.size.height * registers_of(row.size.width), each); }

void low_reason(Row& row) { row.reason_at_every_size(row.size.width % 8 > 0 ? low_tail : low_registers); }

void scaled_frames(Row& row)
{
    registers(row, many_frames);
    row.reason_at_every_size(widened);
    frames_row(row, zelsLogGauss_Scaled_16s32f_D2, plain::fixed_frames, single_tolerance);
}
void low_frames(Row& row)
{
    registers(row, many_frames);
    low_reason(row);
    frames_row(row, zelsLogGauss_LowScaled_16s32f_D2, plain::low_frames, low_tolerance);
}
void scaled_components(Row& row)
{
    registers(row, many_components);
    row.reason_at_every_size(widened);
    components_row(row, zelsLogGaussMultiMix_Scaled_16s32f_D2, plain::fixed_components, single_tolerance);
}
void low_components(Row& row)
{
    registers(row, many_components);
    low_reason(row);
    components_row(row, zelsLogGaussMultiMix_LowScaled_16s32f_D2, plain::low_components, low_tolerance);
}
void scaled_mixture(Row& row)
{
    row.reason_at_every_size(widened);
    mixture_row(row, zelsLogGaussMixture_Scaled_16s32f_D2, plain::fixed_mixture, single_tolerance);
}
void low_mixture(Row& row)
{
    low_reason(row);
    mixture_row(row, zelsLogGaussMixture_LowScaled_16s32f_D2, plain::low_mixture, low_unit_tolerance);
}

const Table blocks{"likelihood/fixed",
                   {{"zelsLogGauss_Scaled_16s32f_D2", scaled_frames},
                    {"zelsLogGauss_LowScaled_16s32f_D2", low_frames},
                    {"zelsLogGaussMultiMix_Scaled_16s32f_D2", scaled_components},
                    {"zelsLogGaussMultiMix_LowScaled_16s32f_D2", low_components}},
                   {{13, 1000}, {24, 1000}, {36, 1000}, {39, 1000}, {40, 1000}}};

// Models beyond the second-level cache, where a model of half the bytes tells.
const Table large_models{"likelihood/fixed_large_model",
                         {{"zelsLogGaussMultiMix_Scaled_16s32f_D2", scaled_components},
                          {"zelsLogGaussMultiMix_LowScaled_16s32f_D2", low_components}},
                         {{13, 100000}, {24, 50000}, {36, 40000}, {39, 40000}, {40, 40000}}};

const Table mixtures{"likelihood/fixed_mixture",
                     {{"zelsLogGaussMixture_Scaled_16s32f_D2", scaled_mixture},
                      {"zelsLogGaussMixture_LowScaled_16s32f_D2", low_mixture}},
                     {{13, 32}, {24, 32}, {36, 32}, {39, 32}, {40, 32}}};

}  // namespace
}  // namespace zelsr::bench
