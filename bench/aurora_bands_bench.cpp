// The distributed front-end: bands, residual filter, wave processing, equalisation, codes of the high band.
#include <zelsr/aurora.h>

#include "plain/aurora_bands.h"
#include "support/row.h"

namespace zelsr::bench {
namespace {

constexpr double tolerance = 1e-4;

// Frames of 10 ms at 16 kHz, by len taps.
constexpr int frame = 160;

void split_32f(Row& row)
{
    const int taps = row.len;
    const float *src = row.input(frame + taps, -1.0F, 1.0F), *tap = row.input(taps, -1.0F, 1.0F);
    row.registers(frame / 2 * taps / 4.0, {.loads = 1, .multiplies = 1, .adds = 1});
    auto answer = row.answer<float>(frame, tolerance);
    answer.library([=](float* dst) { zelsLowHighFilter_Aurora_32f(src, dst, dst + frame / 2, frame, tap, taps); });
    answer.plain([=](float* dst) { plain::split_bands(src, dst, dst + frame / 2, frame, tap, taps); });
}

void split_16s(Row& row)
{
    const int taps = row.len;
    const auto* src = row.input<std::int16_t>(frame + taps, -9000, 9000);
    const auto* tap = row.input<std::int16_t>(taps, -3000, 3000);
    row.registers(frame / 2 * taps / 8.0, {.loads = 1, .multiplies = 2, .adds = 2});
    auto answer = row.answer<std::int16_t>(frame);
    answer.library([=](std::int16_t* dst) {
        zelsLowHighFilter_Aurora_16s_Sfs(src, dst, dst + frame / 2, frame, tap, taps, 15);
    });
    answer.plain([=](std::int16_t* dst) { plain::split_bands(src, dst, dst + frame / 2, frame, tap, taps, 15); });
}

void residual_32f(Row& row)
{
    const float *src = row.input(96, -1.0F, 1.0F), *taps = row.input(17, -1.0F, 1.0F);
    row.registers(80 * 17 / 4.0, {.loads = 1, .multiplies = 1, .adds = 1});
    auto answer = row.answer<float>(80, tolerance);
    answer.library([=](float* dst) { zelsResidualFilter_Aurora_32f(src, dst, taps); });
    answer.plain([=](float* dst) { plain::residual(src, dst, taps); });
}

void residual_16s(Row& row)
{
    const auto *src = row.input<std::int16_t>(96, -9000, 9000), *taps = row.input<std::int16_t>(17, -3000, 3000);
    auto answer = row.answer<std::int16_t>(80);
    answer.library([=](std::int16_t* dst) { zelsResidualFilter_Aurora_16s_Sfs(src, dst, taps, 15); });
    answer.plain([=](std::int16_t* dst) { plain::residual(src, dst, taps, 15); });
}

void wave(Row& row)
{
    const float* src = row.input(200, -1.0F, 1.0F);
    row.reason("the running sum is a chain of 400 additions");
    auto answer = row.answer<float>(200, tolerance);
    answer.library([=](float* dst) { zelsWaveProcessing_Aurora_32f(src, dst); });
    answer.plain([=](float* dst) { plain::wave_processing(src, dst); });
}

// A bias that follows its cepstrum stays within bounds.
void equalization(Row& row)
{
    const int len = row.len;
    const float *reference = row.input(len, -1.0F, 1.0F), *cepstrum = row.input(2 * len, 0.0F, 0.0F);
    auto answer = row.answer_in_place(cepstrum, 2 * len, tolerance);
    answer.library([=](float* c) { zelsBlindEqualization_Aurora_32f(reference, c, c + len, len, 4.0F); });
    answer.plain([=](float* c) { plain::blind_equalization(reference, c, c + len, len, 4.0F); });
}

void high_band(Row& row)
{
    const float *a = row.input(3, 0.1F, 9.0F), *p = row.input(65, 0.0F, 9.0F), *q = row.input(129, 0.0F, 9.0F);
    row.reason("four of the six sums are in extended precision");
    auto answer = row.answer<float>(3, tolerance);
    answer.library([=](float* dst) { zelsHighBandCoding_Aurora_32f(a, p, q, dst); });
    answer.plain([=](float* dst) { plain::high_band(a, p, q, dst); });
}

const Table splits{"aurora/bands",
                   {{"zelsLowHighFilter_Aurora_32f", split_32f}, {"zelsLowHighFilter_Aurora_16s_Sfs", split_16s}},
                   {{32}, {118}}};

const Table frames{"aurora/frames",
                   {{"zelsResidualFilter_Aurora_32f", residual_32f},
                    {"zelsResidualFilter_Aurora_16s_Sfs", residual_16s},
                    {"zelsWaveProcessing_Aurora_32f", wave},
                    {"zelsHighBandCoding_Aurora_32f", high_band}},
                   {{200}}};

const Table cepstra{"aurora/cepstra", {{"zelsBlindEqualization_Aurora_32f", equalization}}, {{12}, {32}}};

}  // namespace
}  // namespace zelsr::bench
