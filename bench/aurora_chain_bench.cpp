// The whole distributed front-end (examples/aurora), from 80 samples, or 160 at 16 kHz, to a row of 39 features
// and a mark: two stages of noise reduction, pitch periods, cepstrum, equalisation, voice activity, derivatives.
// The size is the rate. Plain is the same in C loops around FFTW, at 8 kHz in single precision. The other peer is
// the way to plain cepstra (examples/common/mfcc), which has other definitions, so that only its time is compared.
#include <fftw3.h>
#include <algorithm>
#include <cmath>
#include <memory>
#include <numbers>
#include <random>

#include "aurora/front_end.h"
#include "common/mfcc.h"
#include "plain/front_end.h"
#include "support/row.h"

namespace zelsr::bench {
namespace {

using examples::FrontEnd;
using examples::Mfcc;
using examples::MfccOptions;
using examples::RowBlock;

constexpr double shift_seconds = 0.010;
constexpr int seconds = 4;

// Noise with bursts of a buzzing tone, in 16-bit units, that goes round and round.
template <class T>
T* sound_of(Row& row)
{
    const int rate = row.len, count = seconds * rate;
    std::minstd_rand random(1);
    std::uniform_real_distribution<float> draw(-300, 300);
    T* sound = row.array<T>(count);
    for (int n = 0; n < count; ++n) {
        const float time = static_cast<float>(n) / static_cast<float>(rate);
        const bool spoken = std::fmod(time, 1.0F) < 0.6F;
        const float period = std::fmod(time * 120, 1.0F);
        sound[n] =
            static_cast<T>(draw(random) + (spoken ? 9000 * std::exp(-5 * period) * std::sin(60 * period) : 0.0F));
    }
    return sound;
}

// One that has heard the sound once already.
template <class T, class FeatureMaker>
struct Stream {
    FeatureMaker maker;
    const T* sound;
    int hop, length, at = 0;

    template <class Options>
    Stream(const Options& options, Row& row)
        : maker(options), sound(sound_of<T>(row)), hop(row.len / 100), length(seconds * row.len)
    {
        maker.add({sound, static_cast<std::size_t>(length)});
    }

    void next(T* dst)
    {
        const RowBlock<T> rows = maker.add({sound + at, static_cast<std::size_t>(hop)});
        at = (at + hop) % length;
        if (rows.rows > 0) std::copy_n(rows[0], maker.width(), dst);
    }
};

constexpr int values = examples::kRow;

void transform(const float* samples, float* pairs)
{
    static const fftwf_plan plan = [] {
        float* real = fftwf_alloc_real(examples::kPoints);
        fftwf_complex* half = fftwf_alloc_complex(examples::kPowerBins);
        fftwf_plan made = fftwf_plan_dft_r2c_1d(examples::kPoints, real, half,
                                                FFTW_MEASURE | FFTW_UNALIGNED | FFTW_PRESERVE_INPUT);
        fftwf_free(real);
        fftwf_free(half);
        return made;
    }();
    fftwf_execute_dft_r2c(plan, const_cast<float*>(samples), reinterpret_cast<fftwf_complex*>(pairs));
}

// A bank's weights as a list for the plain loop.
plain::Filters listed(Row& row, const ZelFBankState* bank, int filters)
{
    constexpr int most = 2 * examples::kPowerBins + 64;
    int* centres = row.array<int>(filters + 2);
    zelsFBankGetCenters_32f(bank, centres);
    int* first = row.array<int>(filters + 1);
    int* bins = row.array<int>(most);
    float* weights = row.array<float>(most);
    first[0] = 0;
    for (int f = 0; f < filters; ++f) {
        zelsFBankGetCoeffs_32f(bank, f + 1, weights + first[f]);
        const int count = centres[f + 2] - centres[f] + 1;
        for (int i = 0; i < count; ++i) bins[first[f] + i] = centres[f] + i;
        first[f + 1] = first[f] + count;
    }
    return {first, bins, weights, filters};
}

plain::FrontEndTables plain_tables(Row& row)
{
    constexpr int bands = examples::kMelBands, rows = examples::kCepstra + 1;
    plain::FrontEndTables tables{};
    const examples::FloatBank gain_bank = examples::gain_bank(0.0F);
    tables.gain_bank = listed(row, gain_bank.get(), examples::kGainBands);
    ZelFBankState* mel_bank = nullptr;
    std::int32_t order = 0;
    zelsMelFBankInitAlloc_32f(&mel_bank, &order, examples::kPoints, examples::kLowRate, examples::kLowHz,
                              examples::kHighHz, bands, examples::kMelMul, examples::kMelDiv, FBankWeightsFreq);
    tables.mel_bank = listed(row, mel_bank, bands);
    zelsFBankFree_32f(mel_bank);

    const auto inverse = examples::inverse_mel_cosines();
    float* inverse_cosines = row.array<float>(examples::kTableLength * examples::kGainBands);
    for (int n = 0; n < examples::kTableLength * examples::kGainBands; ++n)
        inverse_cosines[n] = static_cast<float>(inverse[n / examples::kGainBands][n % examples::kGainBands]);
    float* cosines = row.array<float>(rows * bands);
    float* multipliers = row.array<float>(rows);
    for (int k = 0; k < rows; ++k) {
        const int coefficient = k + 1 < rows ? k + 1 : 0;
        multipliers[k] = k + 1 < rows ? std::sqrt(2.0F / bands) : 1.0F;
        for (int j = 0; j < bands; ++j)
            cosines[k * bands + j] =
                static_cast<float>(std::cos(std::numbers::pi * coefficient * (j + 0.5) / bands));
    }
    const auto reference = examples::reference_cepstrum();
    float* copied = row.array<float>(examples::kCepstra);
    std::copy(reference.begin(), reference.end(), copied);
    tables.inverse_cosines = inverse_cosines;
    tables.cosines = cosines;
    tables.multipliers = multipliers;
    tables.reference = copied;
    tables.transform = transform;
    return tables;
}

void add_plain(Row& row, Answer<float>& answer)
{
    const auto front_end = std::make_shared<plain::FrontEnd>(plain_tables(row));
    const float* sound = sound_of<float>(row);
    const int hop = row.len / 100, length = seconds * row.len;
    const auto at = std::make_shared<int>(0);
    float* row_of_values = row.array<float>(values);
    for (int n = 0; n < length; n += hop) front_end->next(sound + n, row_of_values);
    answer.plain([=](float* dst) {
        front_end->next(sound + *at, dst);
        *at = (*at + hop) % length;
    });
}

template <class T>
void front_end(Row& row)
{
    row.sound(shift_seconds);
    row.reason("plain cepstra are one of its seven steps");
    // Estimates of 12 bits take the place of divisions.
    auto answer = row.answer<T>(values, 1e-3);
    const auto whole = std::make_shared<Stream<T, FrontEnd<T>>>(row.len, row);
    answer.library([whole](T* dst) {
        whole->next(dst);
        whole->maker.take_marks();
    });
    if constexpr (std::is_same_v<T, float>)
        if (row.len == examples::kLowRate) add_plain(row, answer);
    MfccOptions options;
    options.rate = row.len;
    const auto mfcc = std::make_shared<Stream<T, Mfcc<T>>>(options, row);
    answer.peer_of_other_definition("plain cepstra", [mfcc](T* dst) { mfcc->next(dst); });
}

const Table chain{"aurora/chain",
                  {{"front-end, single", front_end<float>}, {"front-end, 16 bits", front_end<std::int16_t>}},
                  {{8000}, {16000}}};

}  // namespace
}  // namespace zelsr::bench
