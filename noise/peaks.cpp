// Peaks of a sequence, smoothed or as it is.
#include "zelsr/noise/peaks.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "core/contract.h"
#include "core/rounding.h"
#include "core/simd.h"

namespace zelsr {
namespace {

constexpr SrStatus length_in_range(int32_t len) { return require(len >= 1 && len <= 65535, SrErrLengthBound); }
constexpr SrStatus widths_in_range(int32_t run, int32_t half_width)
{
    return require(run >= 1 && run <= 127 && half_width >= 0 && half_width <= 127, SrErrSize);
}

bool Own_Correct_Equ_E_32f(float a, float b)
{
    return std::fabs(std::max(a, b) * 0.000001) >= std::fabs(double{a} - double{b});
}
bool same(float a, float b) { return Own_Correct_Equ_E_32f(a, b); }
bool same(int32_t a, int32_t b) { return a == b; }

template <class T>
struct AsItIs {
    const T* src;

    T operator()(int32_t i) const { return load_one(src + i); }
};

// The means of what there is of the 2 w + 1 elements around each. Asked for at rising i, and once more at the one
// before: they are computed by blocks, of which two are kept.
template <class T>
class Smoothed {
  public:
    Smoothed(const T* src, int32_t len, int32_t half_width) : src_(src), len_(len), w_(half_width) {}

    T operator()(int32_t i)
    {
        while (i >= end_) compute_block();
        return means_[i % (2 * kBlock)];
    }

  private:
    static constexpr int32_t kBlock = 64, kGroup = 8;

    void compute_block()
    {
        const int32_t end = std::min(end_ + kBlock, len_);
        while (end_ < end) {
            const bool whole = end_ >= w_ && end_ + kGroup <= end && end_ + kGroup + w_ <= len_;
            if (whole)
                compute<kGroup>(end_ - w_, 2 * w_ + 1);
            else
                compute<1>(std::max(end_ - w_, 0), std::min(end_ + w_ + 1, len_) - std::max(end_ - w_, 0));
        }
    }

    // The next Group means, of count elements each, the first ones from first on. Every sum is in order.
    template <int Group>
    void compute(int32_t first, int32_t count)
    {
        double sum[Group] = {};
        for (const T* x = src_ + first; x < src_ + first + count; ++x)
            for (int g = 0; g < Group; ++g) sum[g] += load_one(x + g);
        T* const mean = means_ + end_ % (2 * kBlock);
        for (int g = 0; g < Group; ++g) mean[g] = static_cast<T>(sum[g] / count);
        end_ += Group;
    }

    const T* src_;
    int32_t len_, w_, end_ = 0;
    T means_[2 * kBlock];
};

// Writes every flag, each to 0 as it is passed, a peak's to 1 afterwards.
template <class T, class Values>
void flag_peaks(Values y, const T* src, uint8_t* flag, int32_t n, int32_t run)
{
    int32_t i = 1;
    for (; i < n; ++i) {
        flag[i - 1] = 0;
        if (y(i) >= y(i - 1)) break;
    }
    const int32_t descent = i - 1;
    if (i == n) flag[n - 1] = 0;
    if (i == n || descent >= run) flag[0] = 1;
    if (i == n) return;
    if (i == n - 1) {  // the values as they are, smoothed or not: wanted
        flag[n - 1] = load_one(src + n - 1) > load_one(src + n - 2) && run == 1;
        return;
    }
    while (i < n) {
        int32_t rise = same(y(i), y(i - 1)) ? 0 : 1;
        for (; i < n - 1; ++i, ++rise) {
            flag[i] = 0;
            if (y(i) >= y(i + 1)) break;
        }
        if (i == n - 1) {
            flag[i] = rise >= std::min(i, run);
            return;
        }
        if (same(y(i), y(i + 1))) {  // a flat step starts the rise again: wanted
            ++i;
            continue;
        }
        const int32_t peak = i;
        for (++i; i < n - 1; ++i) {
            flag[i] = 0;
            if (y(i + 1) >= y(i)) break;
        }
        const int32_t fall = i - peak;
        const bool falls = peak < n - run ? fall >= run : fall >= n - 1 - peak;
        if (rise >= std::min(peak, run) && falls) flag[peak] = 1;
        ++i;
    }
    flag[i - 1] = 0;
}

template <class T>
[[gnu::noinline]] SrStatus find_peaks(const T* src, uint8_t* flags, int32_t len, int32_t run, int32_t half_width)
{
    if (len == 1)
        flags[0] = 1;
    else if (half_width >= len - 1)
        std::memset(flags, 0, static_cast<std::size_t>(len));
    else if (half_width == 0)
        flag_peaks(AsItIs<T>{src}, src, flags, len, run);
    else
        flag_peaks(Smoothed<T>(src, len, half_width), src, flags, len, run);
    return SrOk;
}

}  // namespace
}  // namespace zelsr

using namespace zelsr;

SrStatus zelsFindPeaks_32f8u(const float* src, uint8_t* flags, int32_t len, int32_t run, int32_t half_width)
{
    if (SrStatus failed =
            first_failure(non_null(src, flags), length_in_range(len), widths_in_range(run, half_width)))
        return failed;
    const DefaultFloatEnvironment environment;
    return find_peaks(src, flags, len, run, half_width);
}

SrStatus zelsFindPeaks_32s8u(const int32_t* src, uint8_t* flags, int32_t len, int32_t run, int32_t half_width)
{
    if (SrStatus failed =
            first_failure(non_null(src, flags), length_in_range(len), widths_in_range(run, half_width)))
        return failed;
    const DefaultFloatEnvironment environment;
    return find_peaks(src, flags, len, run, half_width);
}
