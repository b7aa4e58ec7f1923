// Autocorrelation, and the product of spectra in Pack format that its long form rests on.
#include <algorithm>
#include <cstring>

#include "core/contract.h"
#include "core/scratch.h"
#include "core/simd.h"
#include "zelsr/core/fft.h"
#include "zelsr/core/vector.h"

namespace zelsr {
namespace {

// From this many lags of this many values on, the FFT is taken.
constexpr int32_t kLongAutocorrelation = 856;

// a times the conjugate of b, one pair.
void multiply_pair(const float* a, float* b)
{
    const float a_re = load_one(a), a_im = load_one(a + 1), b_re = load_one(b), b_im = load_one(b + 1);
    store_one(b, a_re * b_re + a_im * b_im);
    store_one(b + 1, a_im * b_re - a_re * b_im);
}

void multiply_four_pairs(const float* a, float* b)
{
    constexpr int kEven = _MM_SHUFFLE(2, 0, 2, 0), kOdd = _MM_SHUFFLE(3, 1, 3, 1);
    const __m128 a_low = Unaligned::four(a), a_high = Unaligned::four(a + 4);
    const __m128 b_low = Unaligned::four(b), b_high = Unaligned::four(b + 4);
    const __m128 a_re = _mm_shuffle_ps(a_low, a_high, kEven), a_im = _mm_shuffle_ps(a_low, a_high, kOdd);
    const __m128 b_re = _mm_shuffle_ps(b_low, b_high, kEven), b_im = _mm_shuffle_ps(b_low, b_high, kOdd);
    const __m128 re = a_re * b_re + a_im * b_im, im = a_im * b_re - a_re * b_im;
    Unaligned::put(b, _mm_unpacklo_ps(re, im));
    Unaligned::put(b + 4, _mm_unpackhi_ps(re, im));
}

// The first element, and the last of an even length, are real; pairs lie between.
void multiply_conjugate(const float* a, float* b, int32_t len)
{
    store_one(b, load_one(a) * load_one(b));
    int32_t i = 1;
    for (; i <= len - 8; i += 8) multiply_four_pairs(a + i, b + i);
    for (; i <= len - 2; i += 2) multiply_pair(a + i, b + i);
    if (i < len) store_one(b + i, load_one(a + i) * load_one(b + i));
}

// Sums of this many products are formed before they are added to a lag's total, so that the rounding error
// of long sums stays small.
constexpr int32_t kBlock = 512;

// 4 Vectors lags from first_lag on, of which the first at least reaches a product. Few lags are summed in two
// sums each, by even and odd products, so that additions need not wait for each other.
template <int Vectors>
void correlate_group(const float* src, int32_t len, int32_t first_lag, float* dst)
{
    constexpr int kSums = Vectors < 4 ? 2 : 1;
    const float* shifted = src + first_lag;
    const auto add_products = [&](int32_t i, __m128* sum) [[gnu::always_inline]] {
        const __m128 value = _mm_set1_ps(load_one(src + i));
        for_each_index<Vectors>([&](auto v) { sum[v] = sum[v] + value * Unaligned::four(shifted + i + 4 * v); });
    };
    __m128 total[Vectors] = {};
    const int32_t whole = len - first_lag - (4 * Vectors - 1);  // products that all of these lags have
    int32_t i = 0;
    while (i < whole) {
        __m128 sums[kSums][Vectors] = {};
        const int32_t end = i + std::min(whole - i, kBlock);
        for (; i <= end - kSums; i += kSums) for_each_index<kSums>([&](auto s) { add_products(i + s, sums[s]); });
        for (; i < end; ++i) add_products(i, sums[0]);
        for_each_index<Vectors>(
            [&](auto v) { total[v] = total[v] + (kSums == 1 ? sums[0][v] : sums[0][v] + sums[kSums - 1][v]); });
    }
    // The last products, each with fewer lags than the one before: what lies behind the source counts as absent.
    for (; i < len - first_lag; ++i) {
        const __m128 value = _mm_set1_ps(load_one(src + i));
        const int32_t present = len - first_lag - i;
        for_each_index<Vectors>([&](auto v) {
            const int32_t lanes = std::clamp(present - 4 * v, 0, 4);
            const float* p = shifted + i + 4 * v;
            if (lanes == 4)
                total[v] = total[v] + value * Unaligned::four(p);
            else if (lanes != 0)
                total[v] = total[v] + _mm_and_ps(first_lanes(lanes), value * FirstLanes{lanes}.lanes(p));
        });
    }
    for_each_index<Vectors>([&](auto v) { Unaligned::put(dst + 4 * v, total[v]); });
}

void correlate_directly(const float* src, int32_t len, float* dst, int32_t lags)
{
    int32_t lag = 0;
    for (; lag <= lags - 16; lag += 16) correlate_group<4>(src, len, lag, dst + lag);
    if (lag == lags) return;
    float last[16];
    const int32_t left = lags - lag;
    if (left > 12)
        correlate_group<4>(src, len, lag, last);
    else if (left > 8)
        correlate_group<3>(src, len, lag, last);
    else if (left > 4)
        correlate_group<2>(src, len, lag, last);
    else
        correlate_group<1>(src, len, lag, last);
    std::memcpy(dst + lag, last, sizeof(float) * static_cast<std::size_t>(left));
}

// The smallest order whose transform holds twice len values.
int32_t order_for(int32_t len)
{
    int32_t order = 1;
    while (order < 31 && (std::int64_t{1} << order) < 2 * std::int64_t{len}) ++order;
    return order;
}

// The inverse transform of the power spectrum of src and at least as many zeros.
SrStatus correlate_by_transform(const float* src, int32_t len, float* dst, int32_t lags)
{
    const int32_t order = order_for(len);
    ZelFFTState_R_32f* transform;
    if (SrStatus failed = zelsFFTInitAlloc_R_32f(&transform, order, 2, 0)) return failed;

    const int32_t padded = int32_t{1} << order;
    SrStatus status = SrErrMemAlloc;
    if (const Scratch<float> data(padded); data) {
        zelsCopy_32f(src, data.data(), len);
        zelsZero_32f(data.data() + len, padded - len);
        status =
            first_failure([&] { return zelsFFTFwd_RToPack_32f(data.data(), data.data(), transform, nullptr); },
                          [&] { return zelsMulPackConj_32f_I(data.data(), data.data(), padded); },
                          [&] { return zelsFFTInv_PackToR_32f(data.data(), data.data(), transform, nullptr); });
        if (status == SrOk) zelsCopy_32f(data.data(), dst, lags);
    }
    zelsFFTFree_R_32f(transform);
    return status;
}

}  // namespace
}  // namespace zelsr

using namespace zelsr;

SrStatus zelsAutoCorr_32f(const float* src, int32_t len, float* dst, int32_t lags)
{
    if (SrStatus failed = first_failure(non_null(src, dst), positive(len, lags))) return failed;
    const int32_t present = std::min(len, lags);
    if (present < kLongAutocorrelation)
        correlate_directly(src, len, dst, present);
    else if (SrStatus failed = correlate_by_transform(src, len, dst, present))
        return failed;
    if (lags > present) zelsZero_32f(dst + present, lags - present);
    return SrOk;
}

SrStatus zelsMulPackConj_32f_I(const float* src, float* srcdst, int32_t len)
{
    if (SrStatus failed = first_failure(non_null(src, srcdst), positive(len))) return failed;
    multiply_conjugate(src, srcdst, len);
    return SrOk;
}
