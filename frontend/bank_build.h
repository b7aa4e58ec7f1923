// What the constructors of filter banks share: their checks, the mel scale, centres and weights by bin indices.
#pragma once

#include <cmath>
#include <concepts>
#include <cstdint>

#include "core/contract.h"
#include "core/convert.h"
#include "core/rounding.h"
#include "core/scratch.h"
#include "frontend/bank_record.h"
#include "frontend/bank_storage.h"

namespace zelsr::bank {

// NaN passes this test, and fails the two that follow: both are wanted.
template <std::same_as<float>... Value>
SrStatus above_zero(Value... values)
{
    return require(!(... || (values <= 0)), SrErrSize);
}
inline SrStatus in_order(float low, float high) { return require(low <= high, SrErrFBankFreq); }
inline SrStatus below_half_rate(float freq, float sample_rate)
{
    return require(sample_rate * 0.5F >= freq, SrErrFBankFreq);
}

constexpr SrStatus known_flag(int32_t flag)
{
    const int32_t mode = flag & ~FBankInputSignal;
    return require(mode == FBankWeightsMel || mode == FBankWeightsFreq, SrErrFBankFlag);
}

constexpr bool weights_by_bins(int32_t flag) { return (flag & FBankWeightsFreq) != 0; }

// The mel scale in extended precision, but for the C library's ln and exp, which are in double.
struct MelScale {
    float mul, div;

    // ln(1 + f / div)
    long double ln(long double f) const { return std::log(static_cast<double>(1 + f / div)); }
    long double mel(long double f) const { return mul * ln(f); }
    // f / div, stored as a single.
    float ratio(float mel) const
    {
        const long double power = std::exp(static_cast<double>(static_cast<long double>(mel) / mul));
        return static_cast<float>(power - 1);
    }
};

// Frequencies in Hz.
struct Band {
    float sample_rate, low, high;
    MelScale scale;

    long double bins_per_hz(const ZelFBankState& bank) const
    {
        return static_cast<long double>(bank.fft_len) / sample_rate;
    }
    // The frequency of a bin over which a weight is computed.
    long double hz(const ZelFBankState& bank, int64_t bin) const
    {
        const auto position = static_cast<float>(bin);
        return position * (static_cast<long double>(sample_rate) / bank.fft_len);
    }
};

// Centres from the grid's bins: truncated for weights in the mel domain, else rounded to nearest.
inline void set_centers(ZelFBankState* bank, const Grid& grid)
{
    const Rounding rounding = weights_by_bins(bank->flag) ? Rounding::Nearest : Rounding::TowardZero;
    convert_32f32s(grid.bins, bank->centers, bank->filters + 2, rounding, 0);
    centers_are_set(bank);
}

// Triangles over bin indices: the peak is 1, and the first left weight is not 0.
template <class Kind>
void fill_by_bins(const ZelFBankState& bank, int32_t filter)
{
    using Weight = typename Kind::Weight;
    const int32_t* c = bank.centers + filter - 1;
    const int64_t left = c[0], middle = c[1], right = c[2];
    fill_slope(left_rows<Weight>(bank)[filter - 1], rising(c, bank.fft_len / 2),
               [=](int64_t b) { return Kind::quotient(b - left + 1, middle - left + 1); });
    fill_slope(right_rows<Weight>(bank)[filter - 1], falling(c + 1, bank.fft_len / 2),
               [=](int64_t b) { return Kind::quotient(right + 1 - b, right - middle + 1); });
}

// A bank's parameters; then build(bank, grid), kept out of line by its caller, in the default environment.
template <class Build>
void build_in_default_environment(ZelFBankState* bank, const Grid& grid, const MelScale& scale, const Shape& shape,
                                  int32_t flag, const Build& build)
{
    bank->flag = flag;
    bank->fft_order = shape.order;
    bank->mel_mul = scale.mul;
    bank->mel_div = scale.div;
    const DefaultFloatEnvironment environment;
    build(bank, grid);
}

// A bank in memory of the allocator's, built on a grid that lives for the call. The grid's memory comes last, so
// that there is nothing to free when an allocation is refused.
template <class Kind, class Build>
SrStatus allocate_and_build(ZelFBankState** out, int32_t* fft_order, const MelScale& scale, int32_t fft_len,
                            int32_t filters, int32_t flag, const Build& build)
{
    const Shape shape = shape_of(fft_len, filters, flag);
    if (SrStatus failed = allocate_bank<Kind>(out, shape)) return failed;
    const Scratch<float> grid(2 * (int64_t{filters} + 2));
    if (!grid) return SrErrMemAlloc;
    build_in_default_environment(load_one(out), Grid{grid.data(), grid.data() + filters + 2}, scale, shape, flag,
                                 build);
    store_one(fft_order, shape.order);
    return SrOk;
}

// The same in a block of the caller's.
template <class Kind, class Build>
SrStatus carve_and_build(ZelFBankState* bank, int32_t* fft_order, const MelScale& scale, int32_t fft_len,
                         int32_t filters, int32_t flag, const Build& build)
{
    const Shape shape = shape_of(fft_len, filters, flag);
    Grid grid;
    if (SrStatus failed = carve_bank<Kind>(bank, shape, &grid)) return failed;
    build_in_default_environment(bank, grid, scale, shape, flag, build);
    store_one(fft_order, shape.order);
    return SrOk;
}

}  // namespace zelsr::bank
