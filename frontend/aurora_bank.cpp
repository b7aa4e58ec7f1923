// The fixed filter banks of the distributed front-end.
#include <algorithm>
#include <array>
#include <cstdint>
#include <type_traits>

#include "core/contract.h"
#include "core/rounding.h"
#include "core/simd.h"
#include "frontend/bank_record.h"
#include "frontend/bank_storage.h"
#include "zelsr/frontend/aurora_bank.h"

namespace zelsr::bank {
namespace {

constexpr int32_t kFftLength = 128;
constexpr float kMelMul = 2595, kMelDiv = 700;

// Centres by the mel grid of zelsMelFBankInit_*() at 8 kHz, but with the distance (melHigh - melLow) / 24, so that
// the last two lie above the band, and limited to bin 64.
constexpr std::array<int32_t, 27> kLowBins = {0,  1,  2,  3,  4,  5,  7,  8,  10, 12, 14, 16, 18, 20,
                                              23, 26, 29, 32, 36, 39, 44, 48, 53, 58, 64, 64, 64};
// The same grid from 80 Hz, with a quarter of the band for the distance.
constexpr std::array<int32_t, 5> kHighBins = {1, 8, 19, 37, 64};

// Low: the bins are those of the filters' own peaks, moved up by one place, behind a first centre of 0; the first
// filter is the half triangle that falls from it.
constexpr auto kLowCenters = [] {
    std::array<int32_t, 27> centers{};
    for (std::size_t i = 1; i < centers.size(); ++i) centers[i] = kLowBins[i - 1];
    return centers;
}();
static_assert(kLowBins[25] == kLowBins[26]);  // the centre that moves out is that behind the last one

// 1 - part / whole, in the weights' own arithmetic.
template <class Kind>
typename Kind::Weight one_less(int64_t part, int64_t whole)
{
    if constexpr (std::is_same_v<typename Kind::Weight, float>)
        return static_cast<float>(1 - static_cast<long double>(part) / static_cast<long double>(whole));
    else
        return Kind::kOne - Kind::quotient(part, whole);
}

// Triangles that are 0 on both centres beside their own: the outermost weights stay as they were cleared.
template <class Kind>
void fill_triangle(const ZelFBankState& bank, int32_t filter)
{
    using Weight = typename Kind::Weight;
    const int32_t* c = bank.centers + filter - 1;
    Weight* left = left_rows<Weight>(bank)[filter - 1];
    Weight* right = right_rows<Weight>(bank)[filter - 1];
    for (int32_t k = 1; k <= c[1] - c[0]; ++k) left[k] = Kind::quotient(int64_t{k}, c[1] - c[0]);
    for (int32_t k = 1; k < c[2] - c[1]; ++k) right[k - 1] = one_less<Kind>(k, c[2] - c[1]);
}

float share(float weight, long double sum) { return static_cast<float>(weight / sum); }
int32_t share(int32_t weight, int64_t sum) { return static_cast<int32_t>(int64_t{weight} * Q14::kOne / sum); }

// Divides a filter's weights by their sum.
template <class Kind, class Sum>
void normalize(const ZelFBankState& bank, int32_t filter)
{
    using Weight = typename Kind::Weight;
    const int32_t* c = bank.centers + filter - 1;
    Weight* left = left_rows<Weight>(bank)[filter - 1];
    Weight* right = right_rows<Weight>(bank)[filter - 1];
    Sum sum = 0;
    for (int32_t k = 0; k <= c[1] - c[0]; ++k) sum += left[k];
    for (int32_t k = 0; k < c[2] - c[1]; ++k) sum += right[k];
    for (int32_t k = 0; k <= c[1] - c[0]; ++k) left[k] = share(left[k], sum);
    for (int32_t k = 0; k < c[2] - c[1]; ++k) right[k] = share(right[k], sum);
}

template <class Kind>
[[gnu::noinline]] void build_low_bank(const ZelFBankState& bank)
{
    using Sum = std::conditional_t<std::is_same_v<Kind, Single>, long double, int64_t>;
    // The half triangle from bin 0 to bin 1 has no rising side: its only weight is its peak.
    static_assert(kLowCenters[0] == 0 && kLowCenters[1] == 0 && kLowCenters[2] == 1);
    left_rows<typename Kind::Weight>(bank)[0][0] = Kind::kOne;
    for (int32_t filter = 2; filter <= bank.filters; ++filter) {
        fill_triangle<Kind>(bank, filter);
        normalize<Kind, Sum>(bank, filter);
    }
}

template <class Kind>
[[gnu::noinline]] void build_high_bank(const ZelFBankState& bank)
{
    for (int32_t filter = 1; filter <= bank.filters; ++filter) fill_triangle<Kind>(bank, filter);
}

constexpr Shape kLow{7, 25, false}, kHigh{7, 3, false};
static_assert(1 << kLow.order == kFftLength);

// The order stays out of the record: this is wanted.
template <class Centers>
void set_parameters(ZelFBankState* bank, const Centers& centers)
{
    bank->flag = FBankWeightsFreq;
    bank->mel_mul = kMelMul;
    bank->mel_div = kMelDiv;
    std::copy(centers.begin(), centers.end(), bank->centers);
    centers_are_set(bank);
}

template <class Kind>
SrStatus build_low(ZelFBankState* bank)
{
    set_parameters(bank, kLowCenters);
    const DefaultFloatEnvironment environment;
    build_low_bank<Kind>(*bank);
    return SrOk;
}

template <class Kind>
SrStatus build_high(ZelFBankState* bank)
{
    set_parameters(bank, kHighBins);
    const DefaultFloatEnvironment environment;
    build_high_bank<Kind>(*bank);
    return SrOk;
}

template <class Kind>
SrStatus tell_size(const Shape& shape, int32_t* size)
{
    if (SrStatus failed = non_null(size)) return failed;
    store_one(size, static_cast<int32_t>(bank_bytes<Kind>(shape)));
    return SrOk;
}

}  // namespace
}  // namespace zelsr::bank

using namespace zelsr;
using namespace zelsr::bank;

SrStatus zelsMelFBankInitAllocLow_Aurora_32f(ZelFBankState** bank)
{
    if (SrStatus failed = non_null(bank)) return failed;
    if (SrStatus failed = allocate_bank<Single>(bank, kLow)) return failed;
    return build_low<Single>(load_one(bank));
}

SrStatus zelsMelFBankInitAllocLow_Aurora_16s(ZelFBankState** bank)
{
    if (SrStatus failed = non_null(bank)) return failed;
    if (SrStatus failed = allocate_bank<Q14>(bank, kLow)) return failed;
    return build_low<Q14>(load_one(bank));
}

SrStatus zelsMelFBankInitAllocHigh_Aurora_32f(ZelFBankState** bank)
{
    if (SrStatus failed = non_null(bank)) return failed;
    if (SrStatus failed = allocate_bank<Single>(bank, kHigh)) return failed;
    return build_high<Single>(load_one(bank));
}

SrStatus zelsMelFBankInitAllocHigh_Aurora_16s(ZelFBankState** bank)
{
    if (SrStatus failed = non_null(bank)) return failed;
    if (SrStatus failed = allocate_bank<Q14>(bank, kHigh)) return failed;
    return build_high<Q14>(load_one(bank));
}

SrStatus zelsMelFBankGetSizeLow_Aurora_32f(int32_t* size) { return tell_size<Single>(kLow, size); }
SrStatus zelsMelFBankGetSizeLow_Aurora_16s(int32_t* size) { return tell_size<Q14>(kLow, size); }
SrStatus zelsMelFBankGetSizeHigh_Aurora_32f(int32_t* size) { return tell_size<Single>(kHigh, size); }
SrStatus zelsMelFBankGetSizeHigh_Aurora_16s(int32_t* size) { return tell_size<Q14>(kHigh, size); }

SrStatus zelsMelFBankInitLow_Aurora_32f(ZelFBankState* bank)
{
    if (SrStatus failed = non_null(bank)) return failed;
    Grid unused;
    if (SrStatus failed = carve_bank<Single>(bank, kLow, &unused)) return failed;
    return build_low<Single>(bank);
}

SrStatus zelsMelFBankInitLow_Aurora_16s(ZelFBankState* bank)
{
    if (SrStatus failed = non_null(bank)) return failed;
    Grid unused;
    if (SrStatus failed = carve_bank<Q14>(bank, kLow, &unused)) return failed;
    return build_low<Q14>(bank);
}

SrStatus zelsMelFBankInitHigh_Aurora_32f(ZelFBankState* bank)
{
    if (SrStatus failed = non_null(bank)) return failed;
    Grid unused;
    if (SrStatus failed = carve_bank<Single>(bank, kHigh, &unused)) return failed;
    return build_high<Single>(bank);
}

SrStatus zelsMelFBankInitHigh_Aurora_16s(ZelFBankState* bank)
{
    if (SrStatus failed = non_null(bank)) return failed;
    Grid unused;
    if (SrStatus failed = carve_bank<Q14>(bank, kHigh, &unused)) return failed;
    return build_high<Q14>(bank);
}
