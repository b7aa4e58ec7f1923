// Filter banks whose first filters are spaced linearly and whose others in mel.
#include <cstdint>

#include "core/contract.h"
#include "frontend/bank_build.h"
#include "zelsr/frontend/filter_bank.h"

namespace zelsr::bank {
namespace {

// The band's low and high enclose the linear part, from low to lin, and the mel part behind it.
struct MixedBand : Band {
    float lin;
};

// points[i] in Hz, at equal distances over steps, for i from 0 to last; they lie on bins of their own.
void lay_out_linear(const ZelFBankState& bank, const Grid& grid, const MixedBand& band, int32_t steps,
                    int32_t last)
{
    const long double span = static_cast<long double>(band.lin) - band.low;
    for (int32_t i = 0; i <= last; ++i) {
        const long double part = static_cast<float>(i) * span / static_cast<float>(steps);
        grid.points[i] = static_cast<float>(part + band.low);
        grid.bins[i] = static_cast<float>(grid.points[i] * band.bins_per_hz(bank));
    }
}

// Bins alone, at equal distances in mel from lin to high. The first of them replaces the last linear one.
void lay_out_mel(const ZelFBankState& bank, const Grid& grid, const MixedBand& band)
{
    const auto lin = static_cast<float>(band.scale.mel(band.lin));
    const long double span = static_cast<long double>(static_cast<float>(band.scale.mel(band.high))) - lin;
    const auto steps = static_cast<float>(bank.filters - bank.linear + 1);
    const long double bins_per_ratio = band.bins_per_hz(bank) * band.scale.div;
    for (int32_t k = bank.linear; k <= bank.filters + 1; ++k) {
        const auto mel = static_cast<float>(static_cast<float>(k - bank.linear) * span / steps + lin);
        grid.bins[k] = static_cast<float>(bins_per_ratio * band.scale.ratio(mel));
    }
}

template <class Weight>
Weight not_negative(Weight weight)
{
    return weight < 0 ? Weight{0} : weight;
}

// Triangles between the logarithms of the linear filters' own frequencies.
template <class Kind>
void fill_by_frequency(const ZelFBankState& bank, const Grid& grid, const MixedBand& band, int32_t filter)
{
    using Weight = typename Kind::Weight;
    const int32_t* c = bank.centers + filter - 1;
    const float* freq = grid.points + filter - 1;
    // With the logarithm stored as a single.
    const auto ln_mel = [&](float f) {
        return band.scale.mul * static_cast<long double>(static_cast<float>(band.scale.ln(f)));
    };
    const auto mel_of_bin = [&](int64_t b) { return band.scale.mel(band.hz(bank, b)); };

    const long double left = ln_mel(freq[0]), middle = ln_mel(freq[1]);
    fill_slope(left_rows<Weight>(bank)[filter - 1], rising(c, bank.fft_len / 2),
               [&](int64_t b) { return not_negative(Kind::quotient(mel_of_bin(b) - left, middle - left)); });

    Weight* row = right_rows<Weight>(bank)[filter - 1];
    const Slope bins = falling(c + 1, bank.fft_len / 2);
    if (filter == bank.linear && bank.linear < bank.filters) {
        // The last linear filter subtracts a mel value from a bin index: this is wanted.
        const auto width = static_cast<float>(int64_t{c[2]} - c[1]);
        fill_slope(row, bins, [&](int64_t b) {
            return not_negative(
                Kind::quotient(static_cast<float>(c[2] - mel_of_bin(b)), static_cast<long double>(width)));
        });
    } else {
        const long double right = ln_mel(freq[2]);
        fill_slope(row, bins,
                   [&](int64_t b) { return not_negative(Kind::quotient(right - mel_of_bin(b), right - middle)); });
    }
}

template <class Kind>
[[gnu::noinline]] void build_mixed_bank(ZelFBankState* bank, const Grid& grid, const MixedBand& band,
                                        int32_t linear)
{
    bank->linear = linear;
    if (linear == bank->filters) {
        lay_out_linear(*bank, grid, band, bank->filters + 1, bank->filters + 1);
    } else {
        lay_out_linear(*bank, grid, band, linear, linear);
        lay_out_mel(*bank, grid, band);
    }
    set_centers(bank, grid);
    // The mel filters have the weights by bin indices even where the flag word asks for mel: this is wanted.
    for (int32_t filter = 1; filter <= bank->filters; ++filter)
        if (weights_by_bins(bank->flag) || filter > linear)
            fill_by_bins<Kind>(*bank, filter);
        else
            fill_by_frequency<Kind>(*bank, grid, band, filter);
}

template <class Kind>
SrStatus allocate_mixed_bank(ZelFBankState** bank, int32_t* fft_order, const MixedBand& band, int32_t fft_len,
                             int32_t filters, int32_t linear, int32_t flag)
{
    const auto build = [&](ZelFBankState* made, const Grid& grid) {
        build_mixed_bank<Kind>(made, grid, band, linear);
    };
    return allocate_and_build<Kind>(bank, fft_order, band.scale, fft_len, filters, flag, build);
}

SrStatus linear_among(int32_t linear, int32_t filters)
{
    return require(linear >= 1 && linear <= filters, SrErrSize);
}

}  // namespace
}  // namespace zelsr::bank

using namespace zelsr;
using namespace zelsr::bank;

// No test for null pointers: this is wanted.
SrStatus zelsMelLinFBankInitAlloc_32f(ZelFBankState** bank, int32_t* fft_order, int32_t fft_len, float sample_rate,
                                      float low_freq, float high_freq, int32_t filters, float lin_freq,
                                      int32_t linear, float mel_mul, float mel_div, int32_t flag)
{
    if (SrStatus failed = first_failure(positive(fft_len, filters), above_zero(sample_rate, low_freq),
                                        linear_among(linear, filters), in_order(low_freq, lin_freq),
                                        in_order(lin_freq, high_freq), below_half_rate(high_freq, sample_rate),
                                        known_flag(flag)))
        return failed;
    const MixedBand band{{sample_rate, low_freq, high_freq, {mel_mul, mel_div}}, lin_freq};
    return allocate_mixed_bank<Single>(bank, fft_order, band, fft_len, filters, linear, flag);
}

// No test for null pointers: this is wanted.
SrStatus zelsMelLinFBankInitAlloc_16s(ZelFBankState** bank, int32_t* fft_order, int32_t fft_len, float sample_rate,
                                      float low_freq, float high_freq, int32_t filters, float lin_freq,
                                      int32_t linear, float mel_mul, float mel_div, int32_t flag)
{
    if (SrStatus failed = first_failure(positive(fft_len, filters), above_zero(sample_rate, low_freq),
                                        linear_among(linear, filters), in_order(low_freq, lin_freq),
                                        in_order(lin_freq, high_freq), below_half_rate(high_freq, sample_rate),
                                        known_flag(flag)))
        return failed;
    const MixedBand band{{sample_rate, low_freq, high_freq, {mel_mul, mel_div}}, lin_freq};
    return allocate_mixed_bank<Q14>(bank, fft_order, band, fft_len, filters, linear, flag);
}
