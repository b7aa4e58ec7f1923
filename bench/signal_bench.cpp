// Resampling: sizes are source samples x filter length, beside resamplers with filters of like length. Time
// warping: width x frames, against a fifth more frames.
#include <algorithm>
#include <samplerate.h>
#include <soxr.h>
#include <speex/speex_resampler.h>
#include <zelsr/signal.h>

#include <cmath>
#include <memory>
#include <numeric>

#include "plain/signal.h"
#include "support/eigen.h"
#include "support/row.h"

namespace zelsr::bench {
namespace {

// Peers have filters, delays and block ends of their own: their answers are not the library's.
constexpr double other_filters = 1e9;
constexpr char stated_order[] =
    "products are added in double, in the stated order: the latency of an addition a tap";
constexpr char sixteen_bytes[] = "16 bytes a register, where peers use AVX, and soxr shorter filters in stages";
constexpr int history = 1024;

template <class T>
const T* with_history(Row& row, int len, T low, T high)
{
    return row.input<T>(len + 2 * history, low, high) + history;
}

int results(int len, double factor) { return static_cast<int>(len * factor) + 2; }

// Quality 4: 64 taps at the slower rate. Medium: 91. Low: the shortest filters of soxr.
void add_peers(Answer<float>& answer, const float* src, int len, int in_rate, int out_rate)
{
    const double factor = static_cast<double>(out_rate) / in_rate;
    const int most = results(len, factor);
    const std::shared_ptr<SpeexResamplerState> speex(
        speex_resampler_init(1, static_cast<unsigned>(in_rate), static_cast<unsigned>(out_rate), 4, nullptr),
        speex_resampler_destroy);
    answer.peer("SpeexDSP quality 4", [=](float* dst) {
        spx_uint32_t in = static_cast<unsigned>(len), out = static_cast<unsigned>(most);
        speex_resampler_process_float(speex.get(), 0, src, &in, dst, &out);
    });
    const std::shared_ptr<SRC_STATE> rate(src_new(SRC_SINC_MEDIUM_QUALITY, 1, nullptr), src_delete);
    answer.peer("libsamplerate medium", [=](float* dst) {
        SRC_DATA data{};
        data.data_in = src;
        data.data_out = dst;
        data.input_frames = len;
        data.output_frames = most;
        data.src_ratio = factor;
        src_process(rate.get(), &data);
    });
    const soxr_quality_spec_t quality = soxr_quality_spec(SOXR_LQ, 0);
    const std::shared_ptr<soxr> sox(soxr_create(in_rate, out_rate, 1, nullptr, nullptr, &quality, nullptr),
                                    soxr_delete);
    answer.peer("soxr low", [=](float* dst) {
        std::size_t in, out;
        soxr_process(sox.get(), src, static_cast<std::size_t>(len), &in, dst, static_cast<std::size_t>(most),
                     &out);
    });
}

void fixed(Row& row, int in_rate, int out_rate)
{
    const int len = row.size.width, taps = row.size.height;
    const float* src = with_history(row, len, -1.0F, 1.0F);
    ZelResampleFixedState* made = nullptr;
    zelsResamplePolyphaseFixedInitAlloc_32f(&made, in_rate, out_rate, taps, 0.9F, 9, 1);
    const std::shared_ptr<ZelResampleFixedState> state(made, zelsResamplePolyphaseFixedFree_32f);
    int size = 0, row_len = 0, row_count = 0;
    zelsResamplePolyphaseFixedGetSize_32f(in_rate, out_rate, taps, &size, &row_len, &row_count);
    float* rows = row.array<float>(row_len * row_count);
    zelsResamplePolyphaseGetFixedFilter_32f(state.get(), rows, row_len, row_count);

    const int divisor = std::gcd(in_rate, out_rate);
    row.registers(results(len, static_cast<double>(out_rate) / in_rate) * taps / 4.0,
                  {.loads = 2, .multiplies = 1, .adds = 1});
    row.reason(sixteen_bytes);
    auto answer = row.answer<float>(results(len, static_cast<double>(out_rate) / in_rate), other_filters);
    answer.library([=](float* dst) {
        double time = 0;
        int count;
        zelsResamplePolyphaseFixed_32f(state.get(), src, len, dst, 1, &time, &count);
    });
    answer.plain([=](float* dst) {
        plain::polyphase(src, len, rows, row_len, taps / 2, in_rate / divisor, out_rate / divisor, dst);
    });
    add_peers(answer, src, len, in_rate, out_rate);
}
void fixed_up(Row& row) { fixed(row, 16000, 44100); }
void fixed_down(Row& row) { fixed(row, 44100, 16000); }

void fixed_16s(Row& row)
{
    const int len = row.size.width, in_rate = 16000, out_rate = 44100;
    const double factor = static_cast<double>(out_rate) / in_rate;
    const auto* src = with_history<std::int16_t>(row, len, -20000, 20000);
    ZelResampleFixedState* made = nullptr;
    zelsResamplePolyphaseFixedInitAlloc_16s(&made, in_rate, out_rate, row.size.height, 0.9F, 9, 1);
    const std::shared_ptr<ZelResampleFixedState> state(made, zelsResamplePolyphaseFixedFree_16s);

    // Beside it, the same filter in single precision, and a rounding.
    const int taps = row.size.height, divisor = std::gcd(in_rate, out_rate);
    ZelResampleFixedState* single = nullptr;
    zelsResamplePolyphaseFixedInitAlloc_32f(&single, in_rate, out_rate, taps, 0.9F, 9, 1);
    int size = 0, row_len = 0, row_count = 0;
    zelsResamplePolyphaseFixedGetSize_32f(in_rate, out_rate, taps, &size, &row_len, &row_count);
    float* rows = row.array<float>(row_len * row_count);
    zelsResamplePolyphaseGetFixedFilter_32f(single, rows, row_len, row_count);
    zelsResamplePolyphaseFixedFree_32f(single);
    float* samples = row.array<float>(len + 2 * taps) + taps;
    for (int i = -taps; i < len + taps; ++i) samples[i] = src[i];
    float* results_in_single = row.array<float>(results(len, factor));

    auto answer = row.answer<std::int16_t>(results(len, factor), other_filters);
    answer.library([=](std::int16_t* dst) {
        double time = 0;
        int count;
        zelsResamplePolyphaseFixed_16s(state.get(), src, len, dst, 1, &time, &count);
    });
    answer.plain([=](std::int16_t* dst) {
        plain::polyphase(samples, len, rows, row_len, taps / 2, in_rate / divisor, out_rate / divisor,
                         results_in_single);
        for (int i = 0; i < results(len, factor); ++i)
            dst[i] = static_cast<std::int16_t>(std::lrint(std::clamp(results_in_single[i], -32768.0F, 32767.0F)));
    });
    const std::shared_ptr<SpeexResamplerState> speex(speex_resampler_init(1, 16000, 44100, 4, nullptr),
                                                     speex_resampler_destroy);
    answer.peer("SpeexDSP quality 4", [=](std::int16_t* dst) {
        spx_uint32_t in = static_cast<unsigned>(len), out = static_cast<unsigned>(results(len, factor));
        speex_resampler_process_int(speex.get(), 0, src, &in, dst, &out);
    });
}

void continuous(Row& row)
{
    constexpr int step = 128;
    const int len = row.size.width, taps = row.size.height;
    const double factor = 44100.0 / 16000;
    const float* src = with_history(row, len, -1.0F, 1.0F);
    ZelResampleState* made = nullptr;
    zelsResamplePolyphaseInitAlloc_32f(&made, static_cast<float>(taps), step, 0.9F, 9, 1);
    const std::shared_ptr<ZelResampleState> state(made, zelsResamplePolyphaseFree_32f);
    const int table_len = taps * step / 2 + 1;
    const float* table = row.input(table_len + 1, -0.1F, 0.1F);
    row.reason(stated_order);
    auto answer = row.answer<float>(results(len, factor), other_filters);
    answer.library([=](float* dst) {
        double time = 0;
        int count;
        zelsResamplePolyphase_32f(state.get(), src, len, dst, factor, 1, &time, &count);
    });
    answer.plain([=](float* dst) { plain::interpolate(src, len, table, table_len, step, factor, dst); });
    add_peers(answer, src, len, 16000, 44100);
}

void warping(Row& row)
{
    const int width = row.size.width, n = row.size.height, m = n + n / 5;
    const float* a = row.input(n * width, -1.0F, 1.0F);
    const float* b = row.input(m * width, -1.0F, 1.0F);
    float* work = row.array<float>(2 * n);
    auto answer = row.answer<float>(1, 1e-2);
    answer.library([=](float* dst) { zelsDTW_L2_32f_D2(a, n, b, m, width, width, dst, n, 1e30F); });
    answer.plain([=](float* dst) { *dst = plain::warp(a, n, b, m, width, work); });
}

void exp_neg_sqr(Row& row)
{
    const int len = row.len;
    const float* src = row.input(len, -4.0F, 4.0F);
    auto answer = row.answer<float>(len, 1e-6);
    answer.library([=](float* dst) { zelsExpNegSqr_32f(src, dst, len); });
    answer.plain([=](float* dst) { plain::exp_neg_sqr(src, dst, len); });
    answer.peer("Eigen", [=](float* dst) { array(dst, len) = (-array(src, len).square()).exp(); });
}

void sinc(Row& row)
{
    const int len = row.len;
    const float* src = row.input(len, -20.0F, 20.0F);
    row.reason("sines in double");
    auto answer = row.answer<float>(len, 1e-6);
    answer.library([=](float* dst) { zelsSinC_32f(src, dst, len); });
    answer.plain([=](float* dst) { plain::sinc(src, dst, len); });
    answer.peer("Eigen", [=](float* dst) { array(dst, len) = array(src, len).sin() / array(src, len); });
}

void entropy(Row& row)
{
    const int len = row.len;
    const float* src = row.input(len, 0.0F, 1.0F);
    auto answer = row.answer<float>(1, 1e-5 * len);
    answer.library([=](float* dst) { zelsEntropy_32f(src, len, dst); });
    answer.plain([=](float* dst) { *dst = plain::entropy(src, len); });
    answer.peer("Eigen", [=](float* dst) { *dst = (array(src, len) * array(src, len).log()).sum() * 1.442695F; });
}

void frequencies(Row& row)
{
    const int len = row.len;
    float* marks = row.input(len, 50.0F, 200.0F);
    std::partial_sum(marks, marks + len, marks);
    row.registers(len / 4.0, {.loads = 2, .stores = 1, .multiplies = 2, .adds = 2});
    row.reason("the stated estimate and step, and a look for equal marks");
    auto answer = row.answer<float>(len, 1e-6);
    answer.library([=](float* dst) { zelsPitchmarkToF0Cand_32f(marks, dst, len); });
    answer.plain([=](float* dst) { plain::reciprocal_distances(marks, dst, len); });
}

const Table resampling{"signal/resampling",
                       {{"zelsResamplePolyphaseFixed_32f up", fixed_up},
                        {"zelsResamplePolyphaseFixed_32f down", fixed_down},
                        {"zelsResamplePolyphaseFixed_16s", fixed_16s},
                        {"zelsResamplePolyphase_32f", continuous}},
                       {{1600, 64}, {16000, 64}}};
const Table warpings{"signal/warping", {{"zelsDTW_L2_32f_D2", warping}}, {{13, 30}, {13, 100}, {39, 100}}};
const Table elements{"signal/functions",
                     {{"zelsExpNegSqr_32f", exp_neg_sqr},
                      {"zelsSinC_32f", sinc},
                      {"zelsEntropy_32f", entropy},
                      {"zelsPitchmarkToF0Cand_32f", frequencies}},
                     {{16}, {256}, {4096}}};

}  // namespace
}  // namespace zelsr::bench
