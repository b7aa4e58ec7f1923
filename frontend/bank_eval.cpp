// Evaluation of filter banks in single precision and in integers.
#include <algorithm>
#include <cstdint>
#include <limits>

#include "core/contract.h"
#include "core/fixed_point.h"
#include "core/simd.h"
#include "frontend/bank_record.h"
#include "zelsr/core/fft.h"
#include "zelsr/core/vector.h"
#include "zelsr/frontend/filter_bank.h"

namespace zelsr::bank {
namespace {

// How products join a filter's sums. A sum begins with the first bin of its rising side, by add_one; kGroup bins
// are taken at a time by add_group and what is left of a slope by add_rest, which load the bins once for the two
// filters that share them. Rows of weights lie on 16 bytes where a group of bins begins.

// Eight partial sums: lane j of low is sum j, of high sum j + 4. What is left of a slope goes to sum 0.
struct InSingle {
    using Bin = float;
    using Weight = float;
    static constexpr int32_t kGroup = 8;

    struct Sums {
        __m128 low = _mm_setzero_ps(), high = _mm_setzero_ps();

        float total() const { return join_pairs(low + high); }
    };
    static void add_one(Sums& sums, const float* bin, const float* weight)
    {
        sums.low = _mm_add_ss(sums.low, _mm_mul_ss(OneLane::lanes(bin), OneLane::lanes(weight)));
    }
    static void add_group(Sums& left, const float* left_weights, Sums& right, const float* right_weights,
                          const float* bins)
    {
        const __m128 low = Unaligned::four(bins), high = Unaligned::four(bins + 4);
        left.low = left.low + low * Aligned::four(left_weights);
        left.high = left.high + high * Aligned::four(left_weights + 4);
        right.low = right.low + low * Aligned::four(right_weights);
        right.high = right.high + high * Aligned::four(right_weights + 4);
    }
    // The first count lanes, one after the other.
    [[gnu::always_inline]] static void add_lanes(Sums& sums, __m128 products, int32_t count)
    {
        sums.low = _mm_add_ss(sums.low, products);
        if (count == 1) return;
        sums.low = _mm_add_ss(sums.low, _mm_shuffle_ps(products, products, 1));
        if (count == 2) return;
        const __m128 upper = _mm_movehl_ps(products, products);
        sums.low = _mm_add_ss(sums.low, upper);
        if (count == 3) return;
        sums.low = _mm_add_ss(sums.low, _mm_shuffle_ps(upper, upper, 1));
    }
    // Four bins are loaded while that many are readable, however few of them are added.
    [[gnu::always_inline]] static void add_rest(Sums& left, const float* left_weights, Sums& right,
                                                const float* right_weights, const float* bins, int32_t count,
                                                int32_t readable)
    {
        const auto add_four = [&](__m128 x, int32_t taken) __attribute__((always_inline))
        {
            const __m128 by_left = x * Aligned::four(left_weights), by_right = x * Aligned::four(right_weights);
            add_lanes(left, by_left, taken);
            add_lanes(right, by_right, taken);
        };
        if (count >= 4) {
            add_four(Unaligned::four(bins), 4);
            count -= 4, readable -= 4, bins += 4, left_weights += 4, right_weights += 4;
        }
        if (count == 0) return;
        const __m128 x = readable >= 4 ? Unaligned::four(bins) : FirstLanes{count}.lanes(bins);
        if (count == 1)
            add_four(x, 1);
        else if (count == 2)
            add_four(x, 2);
        else
            add_four(x, 3);
    }
};

inline __m128i four_integers(const int32_t* p) { return Unaligned::bytes(p); }
inline __m128i four_integers(const int16_t* p)
{
    return low_16s32s(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p)));
}
inline __m128i odd_lanes(__m128i v) { return _mm_srli_epi64(v, 32); }
inline int64_t lane_sum(__m128i v)
{
    alignas(16) int64_t lanes[2];
    Aligned::put(lanes, v);
    return static_cast<int64_t>(static_cast<uint64_t>(lanes[0]) + static_cast<uint64_t>(lanes[1]));
}

// One bin after the other.
template <class Arithmetic>
void add_each(typename Arithmetic::Sums& left, const int32_t* left_weights, typename Arithmetic::Sums& right,
              const int32_t* right_weights, const typename Arithmetic::Bin* bins, int32_t count)
{
    for (int32_t k = 0; k < count; ++k) {
        Arithmetic::add_one(left, bins + k, left_weights + k);
        Arithmetic::add_one(right, bins + k, right_weights + k);
    }
}

// Whole products, summed in 64 bits.
//
// The processor multiplies unsigned lanes: with x = u - 2^32 [x < 0] for the unsigned u of the same bits, and so
// for the weight, a product is that of the unsigned lanes less 2^32 times ([x < 0] weight + [weight < 0] x),
// modulo 2^64. The latter are summed apart, in 32 bits, since what they lose lies above 2^64.
template <class Source>
struct InWholeProducts {
    using Bin = Source;
    using Weight = int32_t;
    static constexpr int32_t kGroup = 4;

    struct Sums {
        __m128i unsigned_products = _mm_setzero_si128(), excess = _mm_setzero_si128();
        uint64_t rest = 0;

        int64_t total() const
        {
            const __m128i high = _mm_add_epi64(_mm_slli_epi64(excess, 32), _mm_slli_epi64(odd_lanes(excess), 32));
            return static_cast<int64_t>(rest +
                                        static_cast<uint64_t>(lane_sum(_mm_sub_epi64(unsigned_products, high))));
        }
        void add(__m128i x, __m128i w)
        {
            const __m128i products = _mm_add_epi64(_mm_mul_epu32(x, w), _mm_mul_epu32(odd_lanes(x), odd_lanes(w)));
            const __m128i of_negative =
                _mm_add_epi32(_mm_and_si128(_mm_srai_epi32(x, 31), w), _mm_and_si128(_mm_srai_epi32(w, 31), x));
            unsigned_products = _mm_add_epi64(unsigned_products, products);
            excess = _mm_add_epi32(excess, of_negative);
        }
    };
    static void add_one(Sums& sums, const Source* bin, const int32_t* weight)
    {
        sums.rest += static_cast<uint64_t>(int64_t{load_one(bin)} * *weight);
    }
    static void add_group(Sums& left, const int32_t* left_weights, Sums& right, const int32_t* right_weights,
                          const Source* bins)
    {
        const __m128i x = four_integers(bins);
        left.add(x, Aligned::bytes(left_weights));
        right.add(x, Aligned::bytes(right_weights));
    }
    static void add_rest(Sums& left, const int32_t* left_weights, Sums& right, const int32_t* right_weights,
                         const Source* bins, int32_t count, int32_t /*readable*/)
    {
        add_each<InWholeProducts>(left, left_weights, right, right_weights, bins, count);
    }
};

// Products modulo 2^32, as signed numbers, summed in 64 bits.
struct InWrappedProducts {
    using Bin = int32_t;
    using Weight = int32_t;
    static constexpr int32_t kGroup = 4;

    struct Sums {
        __m128i products = _mm_setzero_si128();
        uint64_t rest = 0;

        int64_t total() const { return static_cast<int64_t>(rest + static_cast<uint64_t>(lane_sum(products))); }
        void add(__m128i x, __m128i w)
        {
            const __m128i even = _mm_mul_epu32(x, w), odd = _mm_mul_epu32(odd_lanes(x), odd_lanes(w));
            const __m128i four = _mm_unpacklo_epi32(_mm_shuffle_epi32(even, 0x08), _mm_shuffle_epi32(odd, 0x08));
            const __m128i sign = _mm_srai_epi32(four, 31);
            products = _mm_add_epi64(products, _mm_unpacklo_epi32(four, sign));
            products = _mm_add_epi64(products, _mm_unpackhi_epi32(four, sign));
        }
    };
    static void add_one(Sums& sums, const int32_t* bin, const int32_t* weight)
    {
        const uint32_t product = static_cast<uint32_t>(load_one(bin)) * static_cast<uint32_t>(*weight);
        sums.rest += static_cast<uint64_t>(int64_t{static_cast<int32_t>(product)});
    }
    static void add_group(Sums& left, const int32_t* left_weights, Sums& right, const int32_t* right_weights,
                          const int32_t* bins)
    {
        const __m128i x = four_integers(bins);
        left.add(x, Aligned::bytes(left_weights));
        right.add(x, Aligned::bytes(right_weights));
    }
    static void add_rest(Sums& left, const int32_t* left_weights, Sums& right, const int32_t* right_weights,
                         const int32_t* bins, int32_t count, int32_t /*readable*/)
    {
        add_each<InWrappedProducts>(left, left_weights, right, right_weights, bins, count);
    }
};

// store(i, total) for every filter i, from 0 on. Step i takes the bins behind centre i up to centre i + 1, the
// falling side of filter i - 1 and the rising one of filter i. The first step's falling side and the last one's
// rising side belong to no filter; they run over rows that there are for this, and go nowhere.
template <class Arithmetic, class Store>
void evaluate(const typename Arithmetic::Bin* src, const ZelFBankState& bank, const Store& store)
{
    using Sums = typename Arithmetic::Sums;
    constexpr int32_t group = Arithmetic::kGroup;
    const auto* left = left_rows<typename Arithmetic::Weight>(bank);
    const auto* right = right_rows<typename Arithmetic::Weight>(bank);
    const int32_t* c = bank.centers;
    const int32_t filters = bank.filters, last_bin = bank.fft_len / 2;
    const int32_t end = std::clamp(c[filters + 1], 0, last_bin);  // the last bin that may be read

    Sums ends;
    const auto* fall = right[filters];
    for (int32_t i = 0; i <= filters; ++i) {
        Sums begins;
        const int32_t first = c[i], last = std::min(c[i + 1], last_bin);
        if (first >= 0 && first <= last) {
            const auto* rise = left[i];
            const auto* bins = src + first;
            Arithmetic::add_one(begins, bins++, rise++);
            int32_t k = 0;
            const int32_t count = last - first;
            for (; k <= count - group; k += group)
                Arithmetic::add_group(begins, rise + k, ends, fall + k, bins + k);
            Arithmetic::add_rest(begins, rise + k, ends, fall + k, bins + k, count - k, end - first - k);
        }
        if (i > 0) store(i - 1, ends.total());
        ends = begins;
        fall = right[i];
    }
}

void evaluate_32f(const float* src, float* dst, const ZelFBankState& bank)
{
    evaluate<InSingle>(src, bank, [=](int32_t i, float sum) { store_one(dst + i, sum); });
}

// sum * 2^-shift, rounded down and saturated. Shifts beyond 63 act like 63; to the left, like as many as the
// result has bits.
template <class Result>
Result shifted(int64_t sum, int64_t shift)
{
    if (shift >= 0) return saturated<Result>(sum >> std::min<int64_t>(shift, 63));
    constexpr int64_t most = std::numeric_limits<Result>::digits;
    return saturated_shift_left<Result>(sum, static_cast<int32_t>(std::min<int64_t>(-shift, most)));
}

template <class Arithmetic, class Result>
void evaluate_fixed(const typename Arithmetic::Bin* src, Result* dst, const ZelFBankState& bank, int64_t shift)
{
    evaluate<Arithmetic>(src, bank,
                         [=](int32_t i, int64_t sum) { store_one(dst + i, shifted<Result>(sum, shift)); });
}

// Magnitudes of the signal's spectrum, in the bank's own array.
SrStatus transform(const float* src, const ZelFBankState& bank)
{
    auto* spectrum = static_cast<float*>(bank.spectrum);
    const auto* fft = static_cast<const ZelFFTState_R_32f*>(bank.fft);
    if (SrStatus failed = zelsFFTFwd_RToCCS_32f(src, spectrum, fft, nullptr)) return failed;
    return zelsMagnitude_32fc(reinterpret_cast<const Zel32fc*>(spectrum), spectrum, bank.fft_len / 2 + 1);
}

// The same, times 2^6.
constexpr int32_t kSpectrumScale = -3, kMagnitudeScale = -3;
SrStatus transform(const int16_t* src, const ZelFBankState& bank)
{
    auto* spectrum = static_cast<int32_t*>(bank.spectrum);
    const auto* fft = static_cast<const ZelFFTState_R_16s32s*>(bank.fft);
    if (SrStatus failed = zelsFFTFwd_RToCCS_16s32s_Sfs(src, spectrum, fft, kSpectrumScale, nullptr)) return failed;
    const auto* complex = reinterpret_cast<const Zel32sc*>(spectrum);
    return zelsMagnitude_32sc_Sfs(complex, spectrum, bank.fft_len / 2 + 1, kMagnitudeScale);
}

// With the signal's products in the arithmetic that the result asks for.
template <class SignalArithmetic, class Result>
SrStatus evaluate_16s(const int16_t* src, Result* dst, const ZelFBankState& bank, int32_t sf)
{
    const int64_t shift = int64_t{bank.weight_shift} + sf;
    if ((bank.flag & FBankInputSignal) == 0) {
        evaluate_fixed<InWholeProducts<int16_t>>(src, dst, bank, shift);
        return SrOk;
    }
    if (SrStatus failed = transform(src, bank)) return failed;
    evaluate_fixed<SignalArithmetic>(static_cast<const int32_t*>(bank.spectrum), dst, bank,
                                     shift - kSpectrumScale - kMagnitudeScale);
    return SrOk;
}

SrStatus can_evaluate(const void* src, const void* dst, const ZelFBankState* bank)
{
    return first_failure(
        non_null(src, dst, bank), [=] { return non_null(bank->centers); },
        [=] { return require(bank->ready != 0, SrErrFBankCenters); });
}

}  // namespace
}  // namespace zelsr::bank

using namespace zelsr;
using namespace zelsr::bank;

SrStatus zelsEvalFBank_32f(const float* src, float* dst, const ZelFBankState* bank)
{
    if (SrStatus failed = can_evaluate(src, dst, bank)) return failed;
    if ((bank->flag & FBankInputSignal) != 0) {
        if (SrStatus failed = transform(src, *bank)) return failed;
        src = static_cast<const float*>(bank->spectrum);
    }
    evaluate_32f(src, dst, *bank);
    return SrOk;
}

// A product of the signal's spectrum wraps at 32 bits: this is wanted.
SrStatus zelsEvalFBank_16s_Sfs(const int16_t* src, int16_t* dst, const ZelFBankState* bank, int32_t sf)
{
    if (SrStatus failed = can_evaluate(src, dst, bank)) return failed;
    return evaluate_16s<InWrappedProducts>(src, dst, *bank, sf);
}

SrStatus zelsEvalFBank_16s32s_Sfs(const int16_t* src, int32_t* dst, const ZelFBankState* bank, int32_t sf)
{
    if (SrStatus failed = can_evaluate(src, dst, bank)) return failed;
    return evaluate_16s<InWholeProducts<int32_t>>(src, dst, *bank, sf);
}
