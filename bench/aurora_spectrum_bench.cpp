// The distributed front-end: smoothed spectra of an FFT's values, noise and gains of its bins.
#include <zelsr/aurora/spectrum.h>

#include "plain/spectrum.h"
#include "support/row.h"

namespace zelsr::bench {
namespace {

constexpr double tolerance = 1e-3;  // estimates of reciprocals have 12 bits

void smooth_32f(Row& row)
{
    const int n = row.len, entries = n / 4 + 1;
    const float* src = row.input(n, -100.0F, 100.0F);
    row.registers(n / 16.0, {.loads = 4, .stores = 1, .multiplies = 5, .adds = 3});
    auto answer = row.answer<float>(entries);
    answer.library([=](float* dst) { zelsSmoothedPowerSpectrumAurora_32f(src, dst, n); });
    answer.plain([=](float* dst) { plain::smooth(src, dst, n); });
}

void smooth_16s(Row& row)
{
    const int n = row.len, entries = n / 4 + 1;
    const std::int16_t* src = row.input<std::int16_t>(n, -200, 200);
    row.registers(n / 32.0, {.loads = 4, .stores = 1, .multiplies = 8, .adds = 6});
    auto answer = row.answer<std::int16_t>(entries);
    answer.library([=](std::int16_t* dst) { zelsSmoothedPowerSpectrumAurora_16s(src, dst, n); });
    answer.plain([=](std::int16_t* dst) { plain::smooth(src, dst, n); });
}

void smooth_32s(Row& row)
{
    const int n = row.len, entries = n / 4 + 1;
    const std::int32_t* src = row.input<std::int32_t>(n, -40000, 40000);
    row.registers(n / 8.0, {.loads = 2, .stores = 0.5, .multiplies = 5, .adds = 3});
    auto answer = row.answer<std::int32_t>(entries, 1);
    answer.library([=](std::int32_t* dst) { zelsSmoothedPowerSpectrumAurora_32s_Sfs(src, dst, n, 4); });
    answer.plain([=](std::int32_t* dst) { plain::smooth(src, dst, n, 4); });
}

void smooth_32s64s(Row& row)
{
    const int n = row.len, entries = n / 4 + 1;
    const std::int32_t* src = row.input<std::int32_t>(n, -40000, 40000);
    row.registers(n / 8.0, {.loads = 2, .stores = 1, .multiplies = 4, .adds = 4});
    auto answer = row.answer<std::int64_t>(entries);
    answer.library([=](std::int64_t* dst) { zelsSmoothedPowerSpectrumAurora_32s64s_Sfs(src, dst, n, 4); });
    answer.plain([=](std::int64_t* dst) { plain::smooth(src, dst, n, 4); });
}

void noise_32f(Row& row)
{
    const int len = row.len;
    const float *a = row.input(len, 1.0F, 1000.0F), *b = row.input(len, 1.0F, 1000.0F);
    row.registers(len / 4.0, {.loads = 2, .stores = 1, .multiplies = 6, .adds = 4});
    row.reason("two changes of the rounding mode a call");
    auto answer = row.answer<float>(len, tolerance);
    answer.library([=](float* dst) { zelsNoiseSpectrumUpdate_Aurora_32f(a, b, dst, len); });
    answer.plain([=](float* dst) { plain::update_noise(a, b, dst, len); });
}

template <class T, auto Library>
void noise_integer(Row& row)
{
    const int len = row.len;
    const T *a = row.input<T>(len, 100, 30000), *b = row.input<T>(len, 100, 30000);
    row.registers(len / 4.0, {.loads = 2, .stores = 1, .multiplies = 4, .adds = 4, .divides = 2});
    auto answer = row.answer<T>(len, 1);
    answer.library([=](T* dst) { Library(a, b, dst, len, 1); });
    answer.plain([=](T* dst) { plain::update_noise(a, b, dst, len, 0.5F); });
}

void wiener_32f(Row& row)
{
    const int len = row.len;
    const float *power = row.input(len, 1.0F, 1000.0F), *noise = row.input(len, 1.0F, 100.0F);
    const float* denoised = row.input(len, 1.0F, 1000.0F);
    row.registers(len / 4.0, {.loads = 3, .stores = 1, .multiplies = 5, .adds = 4, .divides = 2});
    auto answer = row.answer<float>(len, tolerance);
    answer.library([=](float* gain) { zelsWienerFilterDesign_Aurora_32f(power, noise, denoised, gain, len); });
    answer.plain([=](float* gain) { plain::wiener_gain(power, noise, denoised, gain, len); });
}

void wiener_16s(Row& row)
{
    const int len = row.len;
    const std::int16_t *power = row.input<std::int16_t>(len, 0, 32767),
                       *noise = row.input<std::int16_t>(len, 1, 3000);
    const std::int16_t* denoised = row.input<std::int16_t>(len, 0, 32767);
    auto answer = row.answer<std::int16_t>(len);
    answer.library(
        [=](std::int16_t* gain) { zelsWienerFilterDesign_Aurora_16s(power, noise, denoised, gain, len); });
    answer.plain([=](std::int16_t* gain) { plain::wiener_gain(power, noise, denoised, gain, len); });
}

const Table spectra{"aurora/spectra",
                    {{"zelsSmoothedPowerSpectrumAurora_32f", smooth_32f},
                     {"zelsSmoothedPowerSpectrumAurora_16s", smooth_16s},
                     {"zelsSmoothedPowerSpectrumAurora_32s_Sfs", smooth_32s},
                     {"zelsSmoothedPowerSpectrumAurora_32s64s_Sfs", smooth_32s64s}},
                    {{256}, {1024}}};

const Table bins{"aurora/bins",
                 {{"zelsNoiseSpectrumUpdate_Aurora_32f", noise_32f},
                  {"zelsNoiseSpectrumUpdate_Aurora_16s_Sfs",
                   noise_integer<std::int16_t, zelsNoiseSpectrumUpdate_Aurora_16s_Sfs>},
                  {"zelsNoiseSpectrumUpdate_Aurora_32s_Sfs",
                   noise_integer<std::int32_t, zelsNoiseSpectrumUpdate_Aurora_32s_Sfs>},
                  {"zelsWienerFilterDesign_Aurora_32f", wiener_32f},
                  {"zelsWienerFilterDesign_Aurora_16s", wiener_16s}},
                 {{65}, {257}}};

}  // namespace
}  // namespace zelsr::bench
