// Filter banks with equal distances in mel, and empty ones.
#include <cstdint>

#include "core/contract.h"
#include "frontend/bank_build.h"
#include "zelsr/frontend/filter_bank.h"

namespace zelsr::bank {
namespace {

// points[i] in mel, at equal distances from low to high; bins[i] = N / sample_rate * f(mel).
void lay_out_grid(const ZelFBankState& bank, const Grid& grid, const Band& band)
{
    const auto low = static_cast<float>(band.scale.mel(band.low));
    const auto high = static_cast<float>(band.scale.mel(band.high));
    const auto span = static_cast<float>(static_cast<long double>(high) - low);
    const auto steps = static_cast<float>(bank.filters + 1);
    const long double bins_per_ratio = band.bins_per_hz(bank) * band.scale.div;
    for (int32_t i = 0; i <= bank.filters + 1; ++i) {
        const long double part = static_cast<long double>(static_cast<float>(i)) * span / steps;
        grid.points[i] = static_cast<float>(part + low);
        grid.bins[i] = static_cast<float>(bins_per_ratio * band.scale.ratio(grid.points[i]));
    }
}

// Triangles in the mel domain, over the grid before it was truncated to bins.
template <class Kind>
void fill_by_mel(const ZelFBankState& bank, const Grid& grid, const Band& band, int32_t filter)
{
    using Weight = typename Kind::Weight;
    const float* mel = grid.points + filter - 1;
    const int32_t* c = bank.centers + filter - 1;
    const auto mel_of_bin = [&](int64_t b) { return static_cast<float>(band.scale.mel(band.hz(bank, b))); };
    const auto step = [](float from, float to) { return static_cast<float>(static_cast<long double>(to) - from); };

    const float rise = step(mel[0], mel[1]), fall = step(mel[1], mel[2]);
    const Slope left = rising(c, bank.fft_len / 2);
    Weight* row = left_rows<Weight>(bank)[filter - 1];
    fill_slope(row, left,
               [&](int64_t b) { return Kind::quotient(static_cast<long double>(mel_of_bin(b)) - mel[0], rise); });
    if (left.count > 0) row[0] = 0;
    fill_slope(right_rows<Weight>(bank)[filter - 1], falling(c + 1, bank.fft_len / 2),
               [&](int64_t b) { return Kind::quotient(static_cast<long double>(mel[2]) - mel_of_bin(b), fall); });
}

template <class Kind>
[[gnu::noinline]] void build_mel_bank(ZelFBankState* bank, const Grid& grid, const Band& band)
{
    lay_out_grid(*bank, grid, band);
    set_centers(bank, grid);
    for (int32_t filter = 1; filter <= bank->filters; ++filter)
        if (weights_by_bins(bank->flag))
            fill_by_bins<Kind>(*bank, filter);
        else
            fill_by_mel<Kind>(*bank, grid, band, filter);
}

template <class Kind>
SrStatus allocate_mel_bank(ZelFBankState** bank, int32_t* fft_order, const Band& band, int32_t fft_len,
                           int32_t filters, int32_t flag)
{
    const auto build = [&](ZelFBankState* made, const Grid& grid) { build_mel_bank<Kind>(made, grid, band); };
    return allocate_and_build<Kind>(bank, fft_order, band.scale, fft_len, filters, flag, build);
}

template <class Kind>
SrStatus init_mel_bank(ZelFBankState* bank, int32_t* fft_order, const Band& band, int32_t fft_len, int32_t filters,
                       int32_t flag)
{
    const auto build = [&](ZelFBankState* made, const Grid& grid) { build_mel_bank<Kind>(made, grid, band); };
    return carve_and_build<Kind>(bank, fft_order, band.scale, fft_len, filters, flag, build);
}

template <class Kind>
SrStatus tell_size(int32_t fft_len, int32_t filters, int32_t flag, int32_t* size)
{
    const int64_t bytes = bank_bytes<Kind>(shape_of(fft_len, filters, flag));
    store_one(size, reportable(bytes) ? static_cast<int32_t>(bytes) : INT32_MAX);
    return SrOk;
}

// Its flag word is that of a mel bank, whatever was asked for; the order stays out of its record. Both are wanted.
template <class Kind>
SrStatus allocate_empty_bank(ZelFBankState** bank, int32_t* fft_order, int32_t fft_len, int32_t filters,
                             int32_t flag)
{
    const Shape shape = shape_of(fft_len, filters, flag);
    if (SrStatus failed = allocate_bank<Kind>(bank, shape)) return failed;
    load_one(bank)->flag = FBankWeightsMel;
    load_one(bank)->mel_div = 1;
    store_one(fft_order, shape.order);
    return SrOk;
}

}  // namespace
}  // namespace zelsr::bank

using namespace zelsr;
using namespace zelsr::bank;

SrStatus zelsMelFBankInitAlloc_32f(ZelFBankState** bank, int32_t* fft_order, int32_t fft_len, float sample_rate,
                                   float low_freq, float high_freq, int32_t filters, float mel_mul, float mel_div,
                                   int32_t flag)
{
    if (SrStatus failed = first_failure(non_null(bank, fft_order), positive(fft_len, filters),
                                        above_zero(sample_rate, low_freq), in_order(low_freq, high_freq),
                                        below_half_rate(high_freq, sample_rate), known_flag(flag)))
        return failed;
    const Band band{sample_rate, low_freq, high_freq, {mel_mul, mel_div}};
    return allocate_mel_bank<Single>(bank, fft_order, band, fft_len, filters, flag);
}

SrStatus zelsMelFBankInitAlloc_16s(ZelFBankState** bank, int32_t* fft_order, int32_t fft_len, float sample_rate,
                                   float low_freq, float high_freq, int32_t filters, float mel_mul, float mel_div,
                                   int32_t flag)
{
    if (SrStatus failed = first_failure(non_null(bank, fft_order), positive(fft_len, filters),
                                        above_zero(sample_rate, low_freq), in_order(low_freq, high_freq),
                                        below_half_rate(high_freq, sample_rate), known_flag(flag)))
        return failed;
    const Band band{sample_rate, low_freq, high_freq, {mel_mul, mel_div}};
    return allocate_mel_bank<Q14>(bank, fft_order, band, fft_len, filters, flag);
}

SrStatus zelsMelFBankGetSize_32f(int32_t fft_len, int32_t filters, int32_t flag, int32_t* size)
{
    if (SrStatus failed = first_failure(non_null(size), positive(fft_len, filters), known_flag(flag)))
        return failed;
    return tell_size<Single>(fft_len, filters, flag, size);
}

SrStatus zelsMelFBankGetSize_16s(int32_t fft_len, int32_t filters, int32_t flag, int32_t* size)
{
    if (SrStatus failed = first_failure(non_null(size), positive(fft_len, filters), known_flag(flag)))
        return failed;
    return tell_size<Q14>(fft_len, filters, flag, size);
}

SrStatus zelsMelFBankInit_32f(ZelFBankState* bank, int32_t* fft_order, int32_t fft_len, float sample_rate,
                              float low_freq, float high_freq, int32_t filters, float mel_mul, float mel_div,
                              int32_t flag)
{
    if (SrStatus failed = first_failure(non_null(bank, fft_order), positive(fft_len, filters),
                                        above_zero(sample_rate, low_freq), in_order(low_freq, high_freq),
                                        below_half_rate(high_freq, sample_rate), known_flag(flag)))
        return failed;
    const Band band{sample_rate, low_freq, high_freq, {mel_mul, mel_div}};
    return init_mel_bank<Single>(bank, fft_order, band, fft_len, filters, flag);
}

SrStatus zelsMelFBankInit_16s(ZelFBankState* bank, int32_t* fft_order, int32_t fft_len, float sample_rate,
                              float low_freq, float high_freq, int32_t filters, float mel_mul, float mel_div,
                              int32_t flag)
{
    if (SrStatus failed = first_failure(non_null(bank, fft_order), positive(fft_len, filters),
                                        above_zero(sample_rate, low_freq), in_order(low_freq, high_freq),
                                        below_half_rate(high_freq, sample_rate), known_flag(flag)))
        return failed;
    const Band band{sample_rate, low_freq, high_freq, {mel_mul, mel_div}};
    return init_mel_bank<Q14>(bank, fft_order, band, fft_len, filters, flag);
}

SrStatus zelsEmptyFBankInitAlloc_32f(ZelFBankState** bank, int32_t* fft_order, int32_t fft_len, int32_t filters,
                                     int32_t flag)
{
    if (SrStatus failed = positive(fft_len, filters)) return failed;
    return allocate_empty_bank<Single>(bank, fft_order, fft_len, filters, flag);
}

SrStatus zelsEmptyFBankInitAlloc_16s(ZelFBankState** bank, int32_t* fft_order, int32_t fft_len, int32_t filters,
                                     int32_t flag)
{
    if (SrStatus failed = positive(fft_len, filters)) return failed;
    return allocate_empty_bank<Q14>(bank, fft_order, fft_len, filters, flag);
}
