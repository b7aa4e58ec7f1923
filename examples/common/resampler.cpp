#include "common/resampler.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>

#include "common/failure.h"

namespace zelsr::examples {
namespace {

constexpr std::int32_t kMostRowBytes = 8 << 20;
constexpr std::int64_t kBlock = 1 << 14;        // samples a call
constexpr std::int64_t kMostResults = 1 << 16;  // of a call
constexpr std::int32_t kFastHint = 1, kAccurateHint = 2;

std::int32_t hint_of(const Quality& q, const float*) { return q.double_sums ? kAccurateHint : kFastHint; }
std::int32_t hint_of(const Quality& q, const std::int16_t*) { return q.single_taps ? kAccurateHint : kFastHint; }

// The two element types by one name each.
SrStatus size_of_rows(int in_rate, int out_rate, int taps, const float*, std::int32_t& bytes)
{
    std::int32_t row_len, row_count;
    return zelsResamplePolyphaseFixedGetSize_32f(in_rate, out_rate, taps, &bytes, &row_len, &row_count);
}
SrStatus size_of_rows(int in_rate, int out_rate, int taps, const std::int16_t*, std::int32_t& bytes)
{
    std::int32_t row_len, row_count;
    return zelsResamplePolyphaseFixedGetSize_16s(in_rate, out_rate, taps, &bytes, &row_len, &row_count, kFastHint);
}

void make_rows(ZelResampleFixedState** state, int in_rate, int out_rate, int taps, const Quality& q,
               const float* type)
{
    require(zelsResamplePolyphaseFixedInitAlloc_32f(state, in_rate, out_rate, taps, q.rolloff, q.alpha,
                                                    hint_of(q, type)),
            "zelsResamplePolyphaseFixedInitAlloc_32f");
}
void make_rows(ZelResampleFixedState** state, int in_rate, int out_rate, int taps, const Quality& q,
               const std::int16_t* type)
{
    require(zelsResamplePolyphaseFixedInitAlloc_16s(state, in_rate, out_rate, taps, q.rolloff, q.alpha,
                                                    hint_of(q, type)),
            "zelsResamplePolyphaseFixedInitAlloc_16s");
}

void make_table(ZelResampleState** state, const Quality& q, const float* type)
{
    require(zelsResamplePolyphaseInitAlloc_32f(state, static_cast<float>(q.periods), q.steps, q.rolloff, q.alpha,
                                               hint_of(q, type)),
            "zelsResamplePolyphaseInitAlloc_32f");
}
void make_table(ZelResampleState** state, const Quality& q, const std::int16_t* type)
{
    require(zelsResamplePolyphaseInitAlloc_16s(state, static_cast<float>(q.periods), q.steps, q.rolloff, q.alpha,
                                               hint_of(q, type)),
            "zelsResamplePolyphaseInitAlloc_16s");
}

SrStatus by_rows(const ZelResampleFixedState* state, const float* src, std::int32_t len, float* dst, double& time,
                 std::int32_t& count)
{
    return zelsResamplePolyphaseFixed_32f(state, src, len, dst, 1, &time, &count);
}
SrStatus by_rows(const ZelResampleFixedState* state, const std::int16_t* src, std::int32_t len, std::int16_t* dst,
                 double& time, std::int32_t& count)
{
    return zelsResamplePolyphaseFixed_16s(state, src, len, dst, 1, &time, &count);
}

SrStatus by_table(const ZelResampleState* state, const float* src, std::int32_t len, float* dst, double factor,
                  double& time, std::int32_t& count)
{
    return zelsResamplePolyphase_32f(state, src, len, dst, factor, 1, &time, &count);
}
SrStatus by_table(const ZelResampleState* state, const std::int16_t* src, std::int32_t len, std::int16_t* dst,
                  double factor, double& time, std::int32_t& count)
{
    return zelsResamplePolyphase_16s(state, src, len, dst, factor, 1, &time, &count);
}

// So few samples a call that its results fit.
std::int64_t block_for(double factor)
{
    return std::clamp(static_cast<std::int64_t>(static_cast<double>(kMostResults) / factor), std::int64_t{1},
                      kBlock);
}

}  // namespace

template <class T>
RateFilter<T>::RateFilter(int in_rate, int out_rate, const Quality& quality)
    : in_rate_(in_rate / std::gcd(in_rate, out_rate)),
      out_rate_(out_rate / std::gcd(in_rate, out_rate)),
      rows_(nullptr, zelsResamplePolyphaseFixedFree_32f),
      table_(nullptr, zelsResamplePolyphaseFree_32f)
{
    // A filter for a slower rate is as much longer in source samples. Rows hold multiples of 4 taps.
    const double width = quality.periods / std::min(factor(), 1.0);
    const int taps = static_cast<int>(std::ceil(width / 4)) * 4;
    reach_ = taps / 2 + 1;

    const T* const type = nullptr;
    std::int32_t bytes = 0;
    if (size_of_rows(in_rate_, out_rate_, taps, type, bytes) == SrOk && bytes <= kMostRowBytes) {
        ZelResampleFixedState* made = nullptr;
        make_rows(&made, in_rate_, out_rate_, taps, quality, type);
        rows_.reset(made);
    } else {
        ZelResampleState* made = nullptr;
        make_table(&made, quality, type);
        table_.reset(made);
    }
}

template <class T>
std::int32_t RateFilter<T>::run(const T* src, std::int32_t len, std::int64_t position, T* dst) const
{
    // The time of a call lies between two samples: an earlier or later one would move the end of the call as well.
    const std::int64_t whole = position / out_rate_;
    if (whole >= len) return 0;
    const auto rest = static_cast<std::int32_t>(len - whole);
    double time = static_cast<double>(position % out_rate_) / out_rate_;
    std::int32_t count = 0;
    if (rows_)
        require(by_rows(rows_.get(), src + whole, rest, dst, time, count), "zelsResamplePolyphaseFixed");
    else
        require(by_table(table_.get(), src + whole, rest, dst, factor(), time, count), "zelsResamplePolyphase");
    return count;
}

template <class T>
Resampler<T>::Resampler(const RateFilter<T>& filter)
    : filter_(filter),
      margin_(filter.reach()),
      block_(block_for(filter.factor())),
      window_(static_cast<std::size_t>(2 * margin_ + block_)),
      filled_(margin_),
      part_(static_cast<std::size_t>(static_cast<double>(block_) * filter.factor()) + 2)
{}

template <class T>
void Resampler<T>::add(std::span<const T> samples, std::vector<T>& results)
{
    taken_ += static_cast<std::int64_t>(samples.size());
    const auto size = static_cast<std::int64_t>(window_.size());
    while (!samples.empty()) {
        const auto fits = std::min(samples.size(), static_cast<std::size_t>(size - filled_));
        std::copy_n(samples.begin(), fits, window_.begin() + filled_);
        samples = samples.subspan(fits);
        filled_ += static_cast<std::int64_t>(fits);
        if (filled_ < size) return;
        convert(block_, results);
        std::copy(window_.begin() + block_, window_.end(), window_.begin());
        filled_ -= block_;
    }
}

template <class T>
void Resampler<T>::finish(std::vector<T>& results)
{
    // Silence follows. Steps of an interpolated table are sums of rounded numbers: one that should just reach the
    // end may stay before it.
    const std::int64_t in = filter_.in_rate(), out = filter_.out_rate();
    const std::int64_t all = (taken_ * out + in - 1) / in;
    const std::vector<T> silence(static_cast<std::size_t>(margin_));
    const std::int64_t taken = taken_;
    add(silence, results);
    taken_ = taken;
    convert(filled_ - 2 * margin_, results);
    results.resize(results.size() - static_cast<std::size_t>(std::max(given_ - all, std::int64_t{0})));
}

template <class T>
void Resampler<T>::convert(std::int64_t len, std::vector<T>& results)
{
    const std::int32_t count =
        len > 0 ? filter_.run(window_.data() + margin_, static_cast<std::int32_t>(len), position_, part_.data())
                : 0;
    results.insert(results.end(), part_.begin(), part_.begin() + count);
    given_ += count;
    // In integers, so that no error of time is carried on.
    position_ += count * std::int64_t{filter_.in_rate()} - len * filter_.out_rate();
}

template class RateFilter<float>;
template class RateFilter<std::int16_t>;
template class Resampler<float>;
template class Resampler<std::int16_t>;

}  // namespace zelsr::examples
