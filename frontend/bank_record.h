// The record of a filter bank, its kinds of weights, and which bins and weights a filter's two slopes have.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "core/contract.h"
#include "core/convert.h"
#include "core/simd.h"
#include "core/table.h"
#include "zelsr/core/fft.h"
#include "zelsr/frontend/filter_bank.h"

// A caller may put a bank on any byte address: packed members are reached byte by byte.
struct __attribute__((packed)) ZelFBankState {
    int32_t* centers;
    void* left_weights;  // row lists, of singles or of Q14 integers
    void* right_weights;
    int32_t flag;
    int32_t fft_len;
    int32_t fft_order;
    int32_t filters;
    int32_t linear;
    float mel_mul;
    float mel_div;
    uint8_t ready;
    uint8_t padding[3];
    void* fft;
    void* spectrum;
    int32_t weight_shift;  // banks of 16s only: the record of 32f ends before it
};

namespace zelsr::bank {

static_assert(offsetof(ZelFBankState, weight_shift) == 32 + 5 * sizeof(void*));

// What the weights of a bank are: how a quotient becomes one, and the functions that serve their type.
struct Single {
    using Weight = float;
    using Fft = ZelFFTState_R_32f;
    static constexpr int32_t kRecordBytes = offsetof(ZelFBankState, weight_shift);
    static constexpr float kOne = 1;
    static constexpr auto allocate_rows = Alloc2_32f;
    static constexpr auto lay_out_rows = Init2_32f;
    static constexpr auto allocate_spectrum = zelsMalloc_32f;
    static constexpr auto fft_sizes = zelsFFTGetSize_R_32f;
    static constexpr auto init_fft = zelsFFTInit_R_32f;
    static constexpr auto allocate_fft = zelsFFTInitAlloc_R_32f;
    static constexpr auto free_fft = zelsFFTFree_R_32f;

    static float quotient(long double numerator, long double denominator)
    {
        return static_cast<float>(numerator / denominator);
    }
    static float quotient(int64_t numerator, int64_t denominator)
    {
        return quotient(static_cast<long double>(numerator), static_cast<long double>(denominator));
    }
};

struct Q14 {
    using Weight = int32_t;
    using Fft = ZelFFTState_R_16s32s;
    static constexpr int32_t kRecordBytes = sizeof(ZelFBankState);
    static constexpr int32_t kShift = 14;
    static constexpr int32_t kOne = 1 << kShift;
    static constexpr auto allocate_rows = Alloc2_32s;
    static constexpr auto lay_out_rows = Init2_32s;
    static constexpr auto allocate_spectrum = zelsMalloc_32s;
    static constexpr auto fft_sizes = zelsFFTGetSize_R_16s32s;
    static constexpr auto init_fft = zelsFFTInit_R_16s32s;
    static constexpr auto allocate_fft = zelsFFTInitAlloc_R_16s32s;
    static constexpr auto free_fft = zelsFFTFree_R_16s32s;

    // Stored as a single before it is truncated.
    static int32_t quotient(long double numerator, long double denominator)
    {
        const auto value = static_cast<float>(numerator * kOne / denominator);
        return _mm_cvtsi128_si32(saturated_32s<Rounding::TowardZero>(_mm_set_ss(value)));
    }
    static int32_t quotient(int64_t numerator, int64_t denominator)
    {
        return static_cast<int32_t>(numerator * kOne / denominator);
    }
};

template <class Weight>
Weight* const* left_rows(const ZelFBankState& bank)
{
    return static_cast<Weight* const*>(bank.left_weights);
}
template <class Weight>
Weight* const* right_rows(const ZelFBankState& bank)
{
    return static_cast<Weight* const*>(bank.right_weights);
}

// The bins of one side of a filter; weight k of the row belongs to bin first + k.
//
// Centres out of order, or outside 0 .. last_bin, come from a ladder whose last step is not tested and from
// constructors' arguments that are not numbers. No bin and no weight beyond the arrays is ever touched for them:
// a slope ends with last_bin and has nothing where it would begin below 0.
struct Slope {
    int64_t first;
    int32_t count;
};
inline Slope slope(int64_t first, int64_t last, int32_t last_bin)
{
    const int64_t count = std::min<int64_t>(last, last_bin) - first + 1;
    return first < 0 || count < 1 ? Slope{0, 0} : Slope{first, static_cast<int32_t>(count)};
}
// From c[0] to c[1], at most last_bin + 1 bins.
inline Slope rising(const int32_t* c, int32_t last_bin) { return slope(c[0], c[1], last_bin); }
// Behind c[0] up to c[1], at most last_bin bins.
inline Slope falling(const int32_t* c, int32_t last_bin)
{
    return c[0] < 0 ? Slope{0, 0} : slope(int64_t{c[0]} + 1, c[1], last_bin);
}

// weight(b) for every bin b of a slope.
template <class Weight, class Rule>
void fill_slope(Weight* row, const Slope& bins, const Rule& weight)
{
    for (int32_t k = 0; k < bins.count; ++k) row[k] = weight(bins.first + k);
}

}  // namespace zelsr::bank
