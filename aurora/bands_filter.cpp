// The split into two bands and the residual filter.
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "core/contract.h"
#include "core/rounding.h"
#include "core/scale.h"
#include "core/simd.h"
#include "zelsr/aurora/bands.h"

namespace zelsr {
namespace {

// Exact sums times 2^-sf, limited and rounded to 16 bits. Far scales are held where the multiplier is finite:
// every sum but zero saturates or vanishes there.
class ScaledTo16s {
  public:
    explicit ScaledTo16s(int32_t sf) : scale_(_mm_set1_pd(GetScale_32s64f(std::clamp(sf, -1000, 1000)))) {}
    // Two lanes of 32 bits.
    __m128i operator()(__m128d sums) const
    {
        const __m128d scaled = sums * scale_;
        return _mm_cvtpd_epi32(_mm_max_pd(_mm_min_pd(scaled, _mm_set1_pd(32767.0)), _mm_set1_pd(-32768.0)));
    }

  private:
    __m128d scale_;
};

// The results that go side by side through one pass over the taps, which they share.
constexpr int kSideBySide = sizeof(void*) == 8 ? 8 : 4;

// Lane n % 4 of (lane 0 + lane 1) + (lane 2 + lane 3), and of the differences (0 - 1) + (2 - 3), negated where n
// is even. Count results, 1 or 4.
template <int Count>
[[gnu::always_inline]] inline void store_bands(const __m128* sums, float* low, float* high, bool first_is_odd)
{
    __m128 low_lanes, difference;
    if constexpr (Count == 4) {
        low_lanes = join_pairs(sums[0], sums[1], sums[2], sums[3]);
        difference = _mm_hadd_ps(_mm_hsub_ps(sums[0], sums[1]), _mm_hsub_ps(sums[2], sums[3]));
    } else {
        low_lanes = _mm_set_ss(join_pairs(sums[0]));
        const __m128 pairs = _mm_hsub_ps(sums[0], sums[0]);
        difference = _mm_hadd_ps(pairs, pairs);
    }
    const __m128 even_sign = _mm_castsi128_ps(_mm_set_epi32(0, INT32_MIN, 0, INT32_MIN));
    const __m128 high_lanes = first_is_odd ? difference : _mm_xor_ps(difference, even_sign);
    store_first(low, low_lanes, Count);
    store_first(high, high_lanes, Count);
}

// Count results of both bands, x at the first one's first sample.
template <int Count>
[[gnu::always_inline]] inline void split_some(const float* x, float* low, float* high, const float* taps,
                                              int32_t tap_count, bool first_is_odd)
{
    __m128 sums[Count];
    for_each_index<Count>([&](auto n) { sums[n] = _mm_setzero_ps(); });
    std::ptrdiff_t k = 0;
    for (; k <= tap_count - 4; k += 4) {
        const __m128 four_taps = Unaligned::four(taps + k);
        for_each_index<Count>([&](auto n) { sums[n] += four_taps * Unaligned::four(x + k + 2 * n); });
    }
    if (k < tap_count) {
        const FirstLanes rest{static_cast<int>(tap_count - k)};
        const __m128 last_taps = rest.lanes(taps + k);
        for_each_index<Count>([&](auto n) { sums[n] += last_taps * rest.lanes(x + k + 2 * n); });
    }
    for (int n = 0; n < Count; n += 4) store_bands<Count == 1 ? 1 : 4>(sums + n, low + n, high + n, first_is_odd);
}

void split(const float* src, float* low, float* high, int32_t count, const float* taps, int32_t tap_count)
{
    std::ptrdiff_t m = 0;
    for (; m <= count - kSideBySide; m += kSideBySide)
        split_some<kSideBySide>(src + 2 * m, low + m, high + m, taps, tap_count, false);
    for (; m < count; ++m) split_some<1>(src + 2 * m, low + m, high + m, taps, tap_count, m % 2 != 0);
}

// 16-bit taps by registers of eight. Products of even and odd taps are summed apart, in lanes of 32 bits for as
// many registers as cannot overflow whatever the samples are, then in double precision.
class SplitTaps {
  public:
    SplitTaps(const int16_t* taps, int32_t count) : taps_(taps), whole_(count / 8), count_(count)
    {
        int64_t lane[8] = {};
        int32_t largest = 1;
        for (std::ptrdiff_t k = 0; k < count; ++k) {
            const int32_t magnitude = std::abs(int32_t{load_one(taps + k)});
            if (k < 8 * whole_) lane[k % 8] += magnitude;
            largest = std::max(largest, magnitude);
        }
        // The last taps may meet any lane's.
        const bool never = *std::max_element(lane, lane + 8) + largest <= kLaneLimit;
        registers_ = never ? whole_ + 1 : kLaneLimit / largest;
        const std::ptrdiff_t rest = count % 8;
        std::memcpy(last_ + (count < 8 ? 0 : 8 - rest), taps + count - rest, 2 * static_cast<std::size_t>(rest));
    }

    // {sum of even taps' products, sum of odd taps' products} of Count results, two samples apart.
    template <int Count>
    [[gnu::always_inline]] void sum(const int16_t* x, __m128d (&sums)[Count]) const
    {
        for_each_index<Count>([&](auto n) { sums[n] = _mm_setzero_pd(); });
        const std::ptrdiff_t all = whole_ + (count_ % 8 != 0 ? 1 : 0);
        for (std::ptrdiff_t r = 0; r < all;) {
            Lanes<Count> lanes;
            lanes.clear();
            const std::ptrdiff_t end = std::min(r + registers_, all);
            for (; r < std::min(end, whole_); ++r) {
                const __m128i t = Unaligned::bytes(taps_ + 8 * r);
                lanes.add(_mm_and_si128(t, even()), _mm_andnot_si128(even(), t),
                          [&](int n) { return Unaligned::bytes(x + 8 * r + 2 * n); });
            }
            if (end > whole_) {
                add_last(x, lanes);
                r = end;
            }
            lanes.join_to(sums);
        }
    }

  private:
    // Magnitudes of taps whose products with any samples keep within 32 bits: 65535 * 32768 < 2^31.
    static constexpr int32_t kLaneLimit = 65535;

    template <int Count>
    struct Lanes {
        __m128i even[Count], odd[Count];

        [[gnu::always_inline]] void clear()
        {
            for_each_index<Count>([&](auto n) { even[n] = odd[n] = _mm_setzero_si128(); });
        }
        template <class Samples>
        [[gnu::always_inline]] void add(__m128i even_taps, __m128i odd_taps, const Samples& samples)
        {
            for_each_index<Count>([&](auto n) {
                const __m128i x = samples(n);
                even[n] = _mm_add_epi32(even[n], _mm_madd_epi16(x, even_taps));
                odd[n] = _mm_add_epi32(odd[n], _mm_madd_epi16(x, odd_taps));
            });
        }
        [[gnu::always_inline]] void join_to(__m128d (&sums)[Count]) const
        {
            for_each_index<Count>([&](auto n) { sums[n] += _mm_hadd_pd(in_double(even[n]), in_double(odd[n])); });
        }
        static __m128d in_double(__m128i v)
        {
            return _mm_cvtepi32_pd(v) + _mm_cvtepi32_pd(_mm_unpackhi_epi64(v, v));
        }
    };

    static __m128i even() { return _mm_set1_epi32(0xffff); }

    // The taps behind the whole registers. With eight taps or more they stand last in a register that reaches back
    // over earlier samples, where it holds zeros; its even lanes are odd taps where their number is odd.
    template <int Count>
    [[gnu::always_inline]] void add_last(const int16_t* x, Lanes<Count>& lanes) const
    {
        const __m128i t = Aligned::bytes(last_);
        __m128i even_taps = _mm_and_si128(t, even()), odd_taps = _mm_andnot_si128(even(), t);
        if (count_ < 8) {
            lanes.add(even_taps, odd_taps, [&](int n) {
                alignas(16) int16_t samples[8] = {};
                std::memcpy(samples, x + 2 * n, 2 * static_cast<std::size_t>(count_));
                return Aligned::bytes(samples);
            });
            return;
        }
        if (count_ % 2 != 0) std::swap(even_taps, odd_taps);
        lanes.add(even_taps, odd_taps, [&](int n) { return Unaligned::bytes(x + count_ - 8 + 2 * n); });
    }

    const int16_t* taps_;
    std::ptrdiff_t whole_, count_;
    std::ptrdiff_t registers_;
    alignas(16) int16_t last_[8] = {};
};

// The first two results of sums: low even + odd; high odd - even, then even - odd.
[[gnu::always_inline]] inline void bands_of(__m128d first, __m128d second, ScaledTo16s to_16s, int16_t* low,
                                            int16_t* high, int count)
{
    const __m128d even = _mm_unpacklo_pd(first, second), odd = _mm_unpackhi_pd(first, second);
    const __m128d sign = _mm_castsi128_pd(_mm_set_epi32(0, 0, INT32_MIN, 0));
    const __m128i low_lanes = to_16s(even + odd), high_lanes = to_16s(_mm_xor_pd(even - odd, sign));
    const __m128i results = _mm_packs_epi32(low_lanes, high_lanes);
    for_each_index<2>([&](auto n) {
        if (n >= count) return;
        store_one(low + n, static_cast<int16_t>(_mm_extract_epi16(results, n)));
        store_one(high + n, static_cast<int16_t>(_mm_extract_epi16(results, 4 + n)));
    });
}

[[gnu::noinline]] void split(const int16_t* src, int16_t* low, int16_t* high, int32_t count, const int16_t* taps,
                             int32_t tap_count, int32_t sf)
{
    constexpr int kTogether = kSideBySide / 2;
    const ScaledTo16s to_16s(sf);
    const SplitTaps split_taps(taps, tap_count);
    std::ptrdiff_t m = 0;
    for (; m <= count - kTogether; m += kTogether) {
        __m128d sums[kTogether];
        split_taps.sum(src + 2 * m, sums);
        for (int n = 0; n < kTogether; n += 2)
            bands_of(sums[n], sums[n + 1], to_16s, low + m + n, high + m + n, 2);
    }
    for (; m < count; m += 2) {
        __m128d first[1], second[1] = {_mm_setzero_pd()};
        split_taps.sum(src + 2 * m, first);
        if (m + 1 < count) split_taps.sum(src + 2 * m + 2, second);
        bands_of(first[0], second[0], to_16s, low + m, high + m, m + 1 < count ? 2 : 1);
    }
}

constexpr int kResidualTaps = 17, kResidualLength = 80;

void residual(const float* src, float* dst, const float* taps)
{
    constexpr int kGroups = 5;
    for (int n = 0; n < kResidualLength; n += 4 * kGroups) {
        __m128 sums[kGroups];
        for_each_index<kGroups>([&](auto g) { sums[g] = _mm_setzero_ps(); });
        for (int j = 0; j < kResidualTaps; ++j) {
            const __m128 tap = EveryLane::lanes(taps + j);
            for_each_index<kGroups>([&](auto g) { sums[g] += tap * Unaligned::four(src + n + j + 4 * g); });
        }
        for_each_index<kGroups>([&](auto g) { Unaligned::put(dst + n + 4 * g, sums[g]); });
    }
}

// Where pair sums go: into 32 bits, which hold them if the taps' magnitudes add up to no more than 65535, or into
// double precision, which always does.
struct InWords {
    __m128i four = _mm_setzero_si128();

    void add(__m128i pairs) { four = _mm_add_epi32(four, pairs); }
    __m128d low() const { return _mm_cvtepi32_pd(four); }
    __m128d high() const { return _mm_cvtepi32_pd(_mm_unpackhi_epi64(four, four)); }
};
struct InDoubles {
    __m128d two[2] = {_mm_setzero_pd(), _mm_setzero_pd()};

    void add(__m128i pairs)
    {
        two[0] += _mm_cvtepi32_pd(pairs);
        two[1] += _mm_cvtepi32_pd(_mm_unpackhi_epi64(pairs, pairs));
    }
    __m128d low() const { return two[0]; }
    __m128d high() const { return two[1]; }
};

template <class Sums>
void residual(const int16_t* src, int16_t* dst, const __m128i* pairs_of_taps, ScaledTo16s to_16s)
{
    const auto four_results = [&](const Sums& sums) {
        return _mm_unpacklo_epi64(to_16s(sums.low()), to_16s(sums.high()));
    };
    for (int n = 0; n < kResidualLength; n += 8) {
        Sums low, high;
        for (int j = 0; j < kResidualTaps - 1; j += 2) {
            const __m128i x = Unaligned::bytes(src + n + j), next = Unaligned::bytes(src + n + j + 1);
            low.add(_mm_madd_epi16(_mm_unpacklo_epi16(x, next), pairs_of_taps[j / 2]));
            high.add(_mm_madd_epi16(_mm_unpackhi_epi16(x, next), pairs_of_taps[j / 2]));
        }
        const __m128i last = Unaligned::bytes(src + n + kResidualTaps - 1), zero = _mm_setzero_si128();
        low.add(_mm_madd_epi16(_mm_unpacklo_epi16(last, zero), pairs_of_taps[kResidualTaps / 2]));
        high.add(_mm_madd_epi16(_mm_unpackhi_epi16(last, zero), pairs_of_taps[kResidualTaps / 2]));
        Unaligned::put(dst + n, _mm_packs_epi32(four_results(low), four_results(high)));
    }
}

[[gnu::noinline]] void residual(const int16_t* src, int16_t* dst, const int16_t* taps, int32_t sf)
{
    alignas(16) __m128i pairs_of_taps[kResidualTaps / 2 + 1];
    int32_t magnitudes = 0;
    for (int j = 0; j < kResidualTaps; j += 2) {
        const int16_t first = load_one(taps + j),
                      second = j + 1 < kResidualTaps ? load_one(taps + j + 1) : int16_t{0};
        magnitudes += std::abs(int32_t{first}) + std::abs(int32_t{second});
        pairs_of_taps[j / 2] = _mm_unpacklo_epi16(_mm_set1_epi16(first), _mm_set1_epi16(second));
    }
    if (magnitudes <= 65535)
        residual<InWords>(src, dst, pairs_of_taps, ScaledTo16s(sf));
    else
        residual<InDoubles>(src, dst, pairs_of_taps, ScaledTo16s(sf));
}

}  // namespace
}  // namespace zelsr

using namespace zelsr;

SrStatus zelsLowHighFilter_Aurora_32f(const float* src, float* low, float* high, int32_t len, const float* taps,
                                      int32_t tap_count)
{
    if (SrStatus failed =
            first_failure(non_null(src, taps), positive(tap_count), non_null(low, high), positive(len)))
        return failed;
    split(src, low, high, len / 2, taps, tap_count);
    return SrOk;
}

SrStatus zelsLowHighFilter_Aurora_16s_Sfs(const int16_t* src, int16_t* low, int16_t* high, int32_t len,
                                          const int16_t* taps, int32_t tap_count, int32_t sf)
{
    if (SrStatus failed =
            first_failure(non_null(src, taps), positive(tap_count), non_null(low, high), positive(len)))
        return failed;
    const DefaultFloatEnvironment environment;
    split(src, low, high, len / 2, taps, tap_count, sf);
    return SrOk;
}

SrStatus zelsResidualFilter_Aurora_32f(const float* src, float* dst, const float* taps)
{
    if (SrStatus failed = first_failure(non_null(src, dst, taps))) return failed;
    residual(src, dst, taps);
    return SrOk;
}

SrStatus zelsResidualFilter_Aurora_16s_Sfs(const int16_t* src, int16_t* dst, const int16_t* taps, int32_t sf)
{
    if (SrStatus failed = first_failure(non_null(src, dst, taps))) return failed;
    const DefaultFloatEnvironment environment;
    residual(src, dst, taps, sf);
    return SrOk;
}
