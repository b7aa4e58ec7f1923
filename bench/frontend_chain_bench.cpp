// The road of one frame from samples to features: window, FFT of 512 points, mel filters, logarithms, c1 ... c12
// and c0 with lifter, deltas and accelerations. Sizes are the number of filters. Plain is the same in C loops
// around FFTW. aubio has other definitions (no pre-emphasis, lifter or derivatives; filters of other shape and
// base-10 logarithms), so that only its time is compared: from the windowed frame to 13 cepstra, without phases.
#include <aubio/aubio.h>
#include <fftw3.h>
#include <zelsr.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <map>
#include <numbers>

#include "plain/chain.h"
#include "plain/feature.h"
#include "plain/plain.h"
#include "support/row.h"

namespace zelsr::bench {
namespace {

constexpr int rate = 16000, length = 400, order = 9, points = 1 << order, bins = points / 2 + 1;
constexpr int cepstra = 12, statics = cepstra + 1, values = 3 * statics, step = 40, lifter = 22, history = 6;
constexpr float emphasis = 0.97F, low_hz = 64, high_hz = 8000, tenth = 0.1F;
constexpr double shift_seconds = 0.010;
constexpr int no_factor = 8, no_hint = 0;

// Records live until the program ends.
struct Library {
    ZelFBankState* bank = nullptr;
    ZelFFTState_R_32f* fft = nullptr;
    ZelDCTLifterState_32f* dct = nullptr;
    std::int32_t work_bytes = 0;
};

const Library& library_for(int filters)
{
    static std::map<int, Library> made;
    const auto [entry, fresh] = made.try_emplace(filters);
    Library& library = entry->second;
    if (!fresh) return library;
    std::int32_t found_order = 0;
    zelsMelFBankInitAlloc_32f(&library.bank, &found_order, points, rate, low_hz, high_hz, filters, 1127, 700,
                              FBankWeightsFreq);
    zelsFFTInitAlloc_R_32f(&library.fft, order, no_factor, no_hint);
    zelsFFTGetBufSize_R_32f(library.fft, &library.work_bytes);
    const float scale = std::sqrt(2.0F / static_cast<float>(filters));
    zelsDCTLifterInitAlloc_C0_32f(&library.dct, filters, cepstra, lifter, scale, scale);
    return library;
}

// The library's weights as a list for the plain loop.
plain::Filters listed_filters(Row& row, const Library& library)
{
    const int filters = row.len;
    int* centres = row.array<int>(filters + 2);
    zelsFBankGetCenters_32f(library.bank, centres);
    int* first = row.array<int>(filters + 1);
    int* listed = row.array<int>(2 * filters + 2 * bins);
    float* weights = row.array<float>(2 * filters + 2 * bins);
    for (int f = 0; f < filters; ++f) {
        zelsFBankGetCoeffs_32f(library.bank, f + 1, weights + first[f]);
        const int count = centres[f + 2] - centres[f] + 1;
        for (int i = 0; i < count; ++i) listed[first[f] + i] = centres[f] + i;
        first[f + 1] = first[f] + count;
    }
    return {first, listed, weights, filters};
}

fftwf_plan plan_of_frame()
{
    static fftwf_plan plan = nullptr;
    if (plan) return plan;
    float* real = fftwf_alloc_real(points);
    fftwf_complex* half = fftwf_alloc_complex(bins);
    plan = fftwf_plan_dft_r2c_1d(points, real, half, FFTW_MEASURE);
    fftwf_free(real);
    fftwf_free(half);
    return plan;
}

struct Aubio {
    fvec_t *frame, *window, *spectrum, *cepstra;
    cvec_t* magnitudes;
    aubio_fft_t* fft;
    aubio_mfcc_t* mfcc;
};

const Aubio& aubio_for(int filters, const float* samples, const float* window)
{
    static std::map<int, Aubio> made;
    const auto [entry, fresh] = made.try_emplace(filters);
    Aubio& aubio = entry->second;
    if (!fresh) return aubio;
    aubio = {new_fvec(points),
             new_fvec(points),
             new_fvec(points),
             new_fvec(statics),
             new_cvec(points),
             new_aubio_fft(points),
             new_aubio_mfcc(points, static_cast<uint_t>(filters), statics, rate)};
    std::copy_n(samples, length, aubio.frame->data);
    std::copy_n(window, length, aubio.window->data);
    aubio_mfcc_set_mel_coeffs_htk(aubio.mfcc, low_hz, high_hz);
    return aubio;
}

// Cosines and multipliers of c1 ... c12 and c0.
void fill_cosines(float* cosines, float* multipliers, int filters)
{
    for (int k = 0; k < statics; ++k) {
        const int coefficient = k < cepstra ? k + 1 : 0;
        multipliers[k] = static_cast<float>(
            std::sqrt(2.0 / filters) * (1 + lifter / 2.0 * std::sin(std::numbers::pi * coefficient / lifter)));
        for (int j = 0; j < filters; ++j)
            cosines[k * filters + j] =
                static_cast<float>(std::cos(std::numbers::pi * coefficient * (j + 0.5) / filters));
    }
}

// What this frame completes: its own static values, deltas of two frames ago, accelerations of four frames ago.
void take_completed(const float* rows, float* dst)
{
    std::memcpy(dst, rows + 6 * step, statics * sizeof(float));
    std::memcpy(dst + statics, rows + 4 * step + statics, statics * sizeof(float));
    std::memcpy(dst + 2 * statics, rows + 2 * step + 2 * statics, statics * sizeof(float));
}

void one_frame(Row& row)
{
    const int filters = row.len;
    const Library& library = library_for(filters);
    // A sine over noise, in 16-bit units.
    float* samples = row.input(length, -1000.0F, 1000.0F);
    float* window = row.array<float>(length);
    for (int n = 0; n < length; ++n) {
        samples[n] += 8000 * std::sin(0.2F * static_cast<float>(n));
        window[n] = 0.54F - 0.46F * std::cos(static_cast<float>(2 * std::numbers::pi * n / (length - 1)));
    }
    const float* past = row.input((history + 1) * step, -10.0F, 10.0F);
    float* cosines = row.array<float>(statics * filters);
    float* multipliers = row.array<float>(statics);
    fill_cosines(cosines, multipliers, filters);
    const plain::Filters listed = listed_filters(row, library);

    row.sound(shift_seconds);
    auto answer = row.answer<float>(values, 1e-4);

    float* frame = row.array<float>(points);
    float* spectrum = row.array<float>(points + 2);
    float* magnitudes = row.array<float>(bins);
    float* bands = row.array<float>(filters);
    float* floor = row.array<float>(filters);
    std::fill_n(floor, filters, 1.0F);
    float* row_of_statics = row.array<float>(statics);
    float* rows = row.array<float>((history + 1) * step);
    std::copy_n(past, (history + 1) * step, rows);
    std::uint8_t* work = row.array<std::uint8_t>(library.work_bytes + 1);
    answer.library([=, &library](float* dst) {
        frame[0] = samples[0] * (1 - emphasis);
        zelsMulC_32f(samples, -emphasis, frame + 1, length - 1);
        zelsAdd_32f_I(samples + 1, frame + 1, length - 1);
        zelsMul_32f(frame, window, frame, length);
        zelsFFTFwd_RToCCS_32f(frame, spectrum, library.fft, work);
        zelsMagnitude_32fc(reinterpret_cast<const Zel32fc*>(spectrum), magnitudes, bins);
        zelsEvalFBank_32f(magnitudes, bands, library.bank);
        zelsMaxEvery_32f_I(floor, bands, filters);
        zelsLn_32f_I(bands, filters);
        zelsDCTLifter_32f(bands, row_of_statics, library.dct);
        zelsDeltaDelta_Win2_32f_D2(row_of_statics, statics, rows, step, 1, tenth, tenth, 0);
        take_completed(rows, dst);
    });

    float* plain_frame = row.array<float>(points);
    float* plain_spectrum = row.array<float>(points + 2);
    float* plain_rows = row.array<float>((history + 1) * step);
    std::copy_n(past, (history + 1) * step, plain_rows);
    answer.plain([=, plan = plan_of_frame()](float* dst) {
        plain::emphasise_and_window(samples, window, emphasis, plain_frame, length);
        fftwf_execute_dft_r2c(plan, plain_frame, reinterpret_cast<fftwf_complex*>(plain_spectrum));
        plain::magnitude(plain_spectrum, magnitudes, bins);
        plain::filter(magnitudes, listed, bands);
        plain::logarithm(bands, filters);
        plain::lifted_cosines(bands, cosines, multipliers, filters, statics, row_of_statics);
        plain::append_derivatives(row_of_statics, statics, plain_rows, step, tenth);
        take_completed(plain_rows, dst);
    });

    const Aubio& aubio = aubio_for(filters, samples, window);
    answer.peer_of_other_definition("aubio", [=, &aubio](float* dst) {
        std::copy_n(samples, length, aubio.frame->data);
        fvec_weight(aubio.frame, aubio.window);
        aubio_fft_do_complex(aubio.fft, aubio.frame, aubio.spectrum);
        aubio_fft_get_norm(aubio.spectrum, aubio.magnitudes);
        aubio_mfcc_do(aubio.mfcc, aubio.magnitudes, aubio.cepstra);
        std::copy_n(aubio.cepstra->data, statics, dst);
    });
}

const Table chain{"frontend/chain", {{"samples to 39 features", one_frame}}, {{26}, {40}}};

}  // namespace
}  // namespace zelsr::bench
