// Filter banks. Sizes are filters x FFT length, at 16 kHz.
#include <zelsr/frontend/filter_bank.h>
#include <zelsr/frontend/integer_bank.h>

#include <algorithm>

#include "plain/plain.h"
#include "support/eigen.h"
#include "support/row.h"

namespace zelsr::bench {
namespace {

constexpr char short_slopes[] =
    "slopes of a few bins: the order of sums is given, the last 1 to 7 bins of a slope join one after the other";

// A bank that lives as long as the row's arrays, and the same filters for a plain loop.
template <class Weight>
struct Bank {
    ZelFBankState* state;
    const int* centers;
    const Weight* const* weights;
};

template <class Weight, auto GetSize, auto Init, auto GetCenters, auto GetCoeffs>
Bank<Weight> make_bank(Row& row, int one)
{
    const int filters = row.size.width, fft_len = row.size.height, flag = FBankWeightsFreq;
    int size = 0, order = 0;
    GetSize(fft_len, filters, flag, &size);
    auto* state = reinterpret_cast<ZelFBankState*>(row.array<std::uint8_t>(size));
    Init(state, &order, fft_len, 16000, 60, 8000, filters, 1127, 700, flag);

    auto* centers = row.array<std::int32_t>(filters + 2);
    auto** weights = row.array<Weight*>(filters);
    auto* coeffs = row.array<float>(fft_len);
    GetCenters(state, centers);
    for (int i = 0; i < filters; ++i) {
        const int count = centers[i + 2] - centers[i] + 1;
        GetCoeffs(state, i + 1, coeffs);
        weights[i] = row.array<Weight>(count);
        std::transform(coeffs, coeffs + count, weights[i],
                       [=](float weight) { return static_cast<Weight>(weight * static_cast<float>(one)); });
    }
    return {state, centers, weights};
}

void bank_32f(Row& row)
{
    const int filters = row.size.width;
    const auto bank = make_bank<float, zelsMelFBankGetSize_32f, zelsMelFBankInit_32f, zelsFBankGetCenters_32f,
                                zelsFBankGetCoeffs_32f>(row, 1);
    const float* src = row.input(row.size.height, 0.0F, 100.0F);
    row.reason(short_slopes);
    auto answer = row.answer<float>(filters, 1e-6);
    answer.library([=](float* dst) { zelsEvalFBank_32f(src, dst, bank.state); });
    answer.plain([=](float* dst) { plain::filter_bank(src, bank.centers, bank.weights, dst, filters); });
    answer.peer("Eigen", [=](float* dst) {
        for (int i = 0; i < filters; ++i) {
            const int first = bank.centers[i], count = bank.centers[i + 2] - first + 1;
            dst[i] = array(src + first, count).matrix().dot(array(bank.weights[i], count).matrix());
        }
    });
}

void bank_16s(Row& row)
{
    const int filters = row.size.width;
    const auto bank = make_bank<std::int32_t, zelsMelFBankGetSize_16s, zelsMelFBankInit_16s,
                                zelsFBankGetCenters_16s, zelsFBankGetCoeffs_16s>(row, 16384);
    const auto* src = row.input<std::int16_t>(row.size.height, 0, 32767);
    auto* sums = row.array<std::int64_t>(filters);
    row.reason(short_slopes);
    auto answer = row.answer<std::int32_t>(filters);
    answer.library([=](std::int32_t* dst) { zelsEvalFBank_16s32s_Sfs(src, dst, bank.state, 0); });
    answer.plain([=](std::int32_t* dst) {
        plain::filter_bank(src, bank.centers, bank.weights, sums, filters);
        for (int i = 0; i < filters; ++i) dst[i] = static_cast<std::int32_t>(sums[i] >> 14);
    });
}

// The plain loop has no eight bits to take off each product: its source is small enough for 64 bits.
void bank_32s(Row& row)
{
    const int filters = row.size.width, fft_len = row.size.height;
    int size = 0, order = 0;
    zelsMelFBankGetSize_32s(fft_len, filters, FBankWeightsFreq, &size);
    auto* state = reinterpret_cast<ZelFBankState_32s*>(row.array<std::uint8_t>(size));
    zelsMelFBankInit_32s(state, &order, fft_len, 16000, 60, 8000, filters, 1127 << 15, 700 << 15,
                         FBankWeightsFreq);
    // The triangles of the float bank have the same centres within a bin, and serve as well for the time.
    const auto bank = make_bank<std::int32_t, zelsMelFBankGetSize_16s, zelsMelFBankInit_16s,
                                zelsFBankGetCenters_16s, zelsFBankGetCoeffs_16s>(row, 16384);
    const auto* src = row.input<std::int32_t>(fft_len, 0, 1000000);
    auto* sums = row.array<std::int64_t>(filters);
    row.reason(short_slopes);
    auto answer = row.answer<std::int32_t>(filters, 1e7);
    answer.library([=](std::int32_t* dst) { zelsEvalFBank_32s_Sfs(src, dst, state, 0); });
    answer.plain([=](std::int32_t* dst) {
        plain::filter_bank(src, bank.centers, bank.weights, sums, filters);
        for (int i = 0; i < filters; ++i) dst[i] = static_cast<std::int32_t>(sums[i] >> 14);
    });
}

const Table banks{
    "frontend/filter bank",
    {{"zelsEvalFBank_32f", bank_32f}, {"zelsEvalFBank_16s32s_Sfs", bank_16s}, {"zelsEvalFBank_32s_Sfs", bank_32s}},
    {{26, 256}, {40, 512}, {40, 2048}}};

}  // namespace
}  // namespace zelsr::bench
