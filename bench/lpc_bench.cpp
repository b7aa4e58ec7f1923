// Linear prediction: analysis of a frame, order x samples, and conversions of one filter, by order.
#include <zelsr/lpc.h>

#include <algorithm>

#ifdef ZELSR_BENCH_LIQUID
#    include <cblas.h>
#    include <liquid/liquid.h>
#endif

#include "plain/prediction.h"
#include "support/row.h"

namespace zelsr::bench {
namespace {

constexpr char recursion[] = "a recursion in a stated order: bound by latency, as is the plain loop";
constexpr double tolerance = 1e-4;

constexpr int cells = 100, halvings = 4;
#ifdef ZELSR_BENCH_LIQUID
constexpr int most_order = 16;  // of the rows

void levinson(float* acorr, float* a, int order)
{
    float with_leading_one[most_order + 1], errors[most_order + 1];
    liquid_levinson(acorr, static_cast<unsigned>(order), with_leading_one, errors);
    std::copy_n(with_leading_one + 1, order, a);
}
#endif

// A stable filter of the row's order.
const float* reflections(Row& row) { return row.input(row.size.width, -0.6F, 0.6F); }
const float* filter(Row& row)
{
    float* a = row.array<float>(row.size.width);
    zelsReflectionToLP_32f(reflections(row), a, row.size.width);
    return a;
}

void by_autocorrelation(Row& row)
{
    const int order = row.size.width, len = row.size.height;
    const float* src = row.input(len, -1.0F, 1.0F);
    row.registers((order + 1) * len / 4.0, {.loads = 1, .multiplies = 1, .adds = 1});
    auto answer = row.answer<float>(order, tolerance);
    answer.library([=](float* a) { zelsLinearPrediction_Auto_32f(src, len, a, order); });
    answer.plain([=](float* a) { plain::predict(src, len, a, order); });
#ifdef ZELSR_BENCH_LIQUID
    // Its own way from samples prints what it does: a dot product a lag stands in.
    answer.peer("OpenBLAS and liquid-dsp", [=](float* a) {
        float acorr[most_order + 1];
        for (int k = 0; k <= order; ++k) acorr[k] = cblas_sdot(len - k, src, 1, src + k, 1);
        levinson(acorr, a, order);
    });
#endif
}

void by_covariance(Row& row)
{
    const int order = row.size.width, len = row.size.height;
    const float* src = row.input(len, -1.0F, 1.0F);
    row.registers(order * len / 2.0, {.loads = 1, .multiplies = 1.5, .adds = 1.5});
    auto answer = row.answer<float>(order, tolerance);
    answer.library([=](float* a) { zelsLinearPrediction_Cov_32f(src, len, a, order); });
    answer.plain([=](float* a) { plain::predict_covariance(src, len, a, order); });
}

void durbin(Row& row)
{
    const int order = row.len;
    float* acorr = row.array<float>(order + 1);
    for (int i = 0; i <= order; ++i) acorr[i] = 1.0F / static_cast<float>(1 + i * i);
    row.reason_at_every_size(recursion);
    auto answer = row.answer<float>(order, tolerance);
    answer.library([=](float* a) {
        float error;
        zelsDurbin_32f(acorr, a, order, &error);
    });
    answer.plain([=](float* a) { plain::durbin(acorr, a, order); });
#ifdef ZELSR_BENCH_LIQUID
    answer.peer("liquid-dsp", [=](float* a) { levinson(acorr, a, order); });
#endif
}

template <auto Library, auto Plain>
void recurse(Row& row, const float* src)
{
    const int order = row.len;
    row.reason_at_every_size(recursion);
    auto answer = row.answer<float>(order, tolerance);
    answer.library([=](float* dst) { Library(src, dst, order); });
    answer.plain([=](float* dst) { Plain(src, dst, order); });
}
void to_reflection(Row& row) { recurse<zelsLPToReflection_32f, plain::step_down>(row, filter(row)); }
void from_reflection(Row& row) { recurse<zelsReflectionToLP_32f, plain::step_up>(row, reflections(row)); }
void to_cepstrum(Row& row) { recurse<zelsLPToCepstrum_32f, plain::cepstrum>(row, filter(row)); }
void from_cepstrum(Row& row)
{
    recurse<zelsCepstrumToLP_32f, plain::from_cepstrum>(row, row.input(row.len, -0.3F, 0.3F));
}

void to_line_spectrum(Row& row)
{
    const int order = row.len;
    const float* a = filter(row);
    auto answer = row.answer<float>(order, tolerance);
    answer.library([=](float* lsp) {
        int roots;
        zelsLPToLSP_32f(a, lsp, order, &roots, cells, halvings);
    });
    answer.plain([=](float* lsp) { plain::line_spectrum(a, lsp, order, cells, halvings); });
}

void from_line_spectrum(Row& row)
{
    const int order = row.len;
    float* lsp = row.array<float>(order);
    for (int i = 0; i < order; ++i) lsp[i] = 1 - 2.0F * static_cast<float>(i + 1) / static_cast<float>(order + 1);
    row.reason_at_every_size(recursion);
    auto answer = row.answer<float>(order, tolerance);
    answer.library([=](float* a) { zelsLSPToLP_32f(lsp, a, order); });
    answer.plain([=](float* a) { plain::from_line_spectrum(lsp, a, order); });
}

void to_log_area_ratios(Row& row)
{
    const int len = row.len;
    const float* k = row.input(len, -1.0F, 1.0F);
    row.reason("a short vector: the default floating-point environment is put in place first");
    auto answer = row.answer<float>(len, tolerance);
    answer.library([=](float* dst) { zelsReflectionToLAR_32f(k, dst, len, 0.99F); });
    answer.plain([=](float* dst) { plain::log_area_ratios(k, dst, len, 0.99F); });
}

const Table analysis{
    "lpc/analysis",
    {{"zelsLinearPrediction_Auto_32f", by_autocorrelation}, {"zelsLinearPrediction_Cov_32f", by_covariance}},
    {{10, 240}, {16, 480}}};

const Table filters{"lpc/conversion",
                    {{"zelsDurbin_32f", durbin},
                     {"zelsLPToReflection_32f", to_reflection},
                     {"zelsReflectionToLP_32f", from_reflection},
                     {"zelsLPToCepstrum_32f", to_cepstrum},
                     {"zelsCepstrumToLP_32f", from_cepstrum},
                     {"zelsLPToLSP_32f", to_line_spectrum},
                     {"zelsLSPToLP_32f", from_line_spectrum}},
                    {{10}, {16}}};

const Table measures{"lpc/measures", {{"zelsReflectionToLAR_32f", to_log_area_ratios}}, vector_sizes};

}  // namespace
}  // namespace zelsr::bench
