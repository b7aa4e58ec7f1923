// Noise tracking: frames by bins, gains, the search for periods.
#include <zelsr/noise.h>

#include "plain/noise.h"
#include "support/row.h"

namespace zelsr::bench {
namespace {

constexpr double tolerance = 1e-4;
constexpr int sample_rate = 16000;

// Frames that come again and again settle the estimator; its window ends as often as it does with sound.
template <class State, auto GetSize, auto Init, class T>
State* estimator(Row& row, const T*)
{
    int size;
    GetSize(2 * (row.len - 1), &size);
    auto* state = reinterpret_cast<State*>(row.array<std::uint8_t>(size));
    Init(sample_rate, 2 * (row.len - 1), 128, state);
    return state;
}

void track_32f(Row& row)
{
    const int bins = row.len;
    const float* power = row.input(bins, 0.0F, 1.0F);
    auto* state = estimator<ZelMcraState_32f, zelsGetSizeMCRA_32f, zelsAltInitMCRA_32f>(row, power);
    float* zeros = row.array<float>(4 * bins);
    const plain::Mcra own = {zeros, zeros + bins, zeros + 2 * bins, zeros + 3 * bins};
    for (int i = 0; i < 4 * bins; ++i) zeros[i] = i < bins ? 0 : power[i % bins];
    row.registers(bins / 4.0, {.loads = 6, .stores = 5, .multiplies = 7, .adds = 9});
    auto answer = row.answer_in_place(power, bins, tolerance);
    answer.library([=](float* noise) { zelsUpdateNoisePSDMCRA_32f_I(power, state, noise); });
    answer.plain([=](float* noise) { plain::track(power, own, noise, bins, false); });
}

void track_32s(Row& row)
{
    const int bins = row.len;
    const std::int32_t* power = row.input<std::int32_t>(bins, 0, 1 << 28);
    auto* state = estimator<ZelMcraState_32s, zelsGetSizeMCRA_32s, zelsAltInitMCRA_32s>(row, power);
    std::int32_t* zeros = row.array<std::int32_t>(4 * bins);
    const plain::McraQ31 own = {zeros,      zeros + bins, zeros + 2 * bins, zeros + 3 * bins,
                                1503238553, 429496729,    1717986918};
    for (int i = 0; i < 4 * bins; ++i) zeros[i] = i < bins ? 0 : power[i % bins];
    row.registers(bins / 2.0, {.loads = 3, .stores = 2.5, .multiplies = 8, .adds = 6});
    auto answer = row.answer_in_place(power, bins, 1 << 14);
    answer.library([=](std::int32_t* noise) { zelsUpdateNoisePSDMCRA_32s_I(power, state, noise); });
    answer.plain([=](std::int32_t* noise) { plain::track(power, own, noise, bins, false); });
}

void ephraim_malah(Row& row)
{
    const int len = row.len;
    const float *gain = row.input(len, 0.01F, 1.0F), *snr = row.input(len, 0.01F, 50.0F);
    auto answer = row.answer<float>(len, 0.01);
    answer.library([=](float* filter) { zelsFilterUpdateEMNS_32f(gain, snr, filter, len); });
    answer.plain([=](float* filter) { plain::ephraim_malah(gain, snr, filter, len); });
}

void wiener_32f(Row& row)
{
    const int len = row.len;
    const float* snr = row.input(len, 0.0F, 50.0F);
    row.registers(len / 4.0, {.loads = 1, .stores = 1, .adds = 1, .divides = 1});
    row.reason("the whole array's smallest element comes first, and two blocks of memory");
    auto answer = row.answer<float>(len, tolerance);
    answer.library([=](float* filter) { zelsFilterUpdateWiener_32f(snr, filter, len); });
    answer.plain([=](float* filter) { plain::wiener(snr, filter, len); });
}

void wiener_32s(Row& row)
{
    const int len = row.len;
    const std::int32_t* snr = row.input<std::int32_t>(len, 0, 1 << 25);
    auto answer = row.answer<std::int32_t>(len, 1 << 30);  // steps against the quotient
    answer.library([=](std::int32_t* filter) { zelsFilterUpdateWiener_32s(snr, filter, len); });
    answer.plain([=](std::int32_t* filter) { plain::wiener(snr, filter, len); });
}

void find_peaks(Row& row)
{
    const int len = row.len;
    const float* src = row.input(len, 0.0F, 1.0F);
    auto answer = row.answer<std::uint8_t>(len);
    answer.library([=](std::uint8_t* flags) { zelsFindPeaks_32f8u(src, flags, len, 2, 0); });
    answer.plain([=](std::uint8_t* flags) { plain::peaks(src, flags, len, 2); });
}

// Of len samples, from 1/16 to 1/2 of them.
template <auto Library, auto Plain>
void search(Row& row)
{
    const int len = row.len, least = len / 16, greatest = len / 2;
    const float* src = row.input(len, 0.0F, 1.0F);
    auto answer = row.answer<float>(1, tolerance);
    answer.library([=](float* measure) {
        std::int32_t period;
        Library(src, len, measure, &period, greatest, least);
    });
    answer.plain([=](float* measure) { *measure = Plain(src, len, greatest, least); });
}

const Table tracking{"noise/tracking",
                     {{"zelsUpdateNoisePSDMCRA_32f_I", track_32f}, {"zelsUpdateNoisePSDMCRA_32s_I", track_32s}},
                     {{129}, {257}, {1025}}};

const Table gains{"noise/gains",
                  {{"zelsFilterUpdateEMNS_32f", ephraim_malah},
                   {"zelsFilterUpdateWiener_32f", wiener_32f},
                   {"zelsFilterUpdateWiener_32s", wiener_32s},
                   {"zelsFindPeaks_32f8u", find_peaks}},
                  {{129}, {257}, {1025}}};

const Table periods{"noise/periods",
                    {{"zelsPeriodicityLSPE_32f", search<zelsPeriodicityLSPE_32f, plain::least_squares>},
                     {"zelsPeriodicity_32f", search<zelsPeriodicity_32f, plain::best_comb>}},
                    {{256}, {1024}}};

}  // namespace
}  // namespace zelsr::bench
