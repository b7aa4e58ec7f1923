// A channel's way from one sample rate to another, block by block.
#pragma once

#include <zelsr/signal/resample.h>

#include <array>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

namespace zelsr::examples {

// A Kaiser-windowed sine. Its stop band begins at the Nyquist frequency of the slower rate, where nothing folds
// back into what is heard; rolloff is the middle between there and the end of the pass band.
struct Quality {
    const char* name;
    int periods;       // of the slower rate: the filter's width
    float rolloff;     // parts of the slower Nyquist frequency, as is pass_band()
    float alpha;       // of the window
    int steps;         // entries a period, where a table is interpolated
    bool double_sums;  // in floating point
    bool single_taps;  // in 16 bits; otherwise taps are integers, too coarse for more than some 75 dB
    double pass_band() const { return 2 * double{rolloff} - 1; }
};

// A window of alpha 0.1102 (A - 8.7) attenuates by A dB, over (A - 8) / (7.18 periods) of the Nyquist frequency.
inline constexpr std::array<Quality, 3> kQualities{{{"low", 32, 0.885F, 5.75F, 256, false, false},
                                                    {"medium", 80, 0.937F, 7.86F, 1024, false, true},
                                                    {"high", 256, 0.970F, 11.2F, 4096, true, true}}};

// The filter from one rate to another, for float or std::int16_t samples. Channels share it.
template <class T>
class RateFilter {
  public:
    RateFilter(int in_rate, int out_rate, const Quality& quality);

    int in_rate() const { return in_rate_; }  // without common divisor
    int out_rate() const { return out_rate_; }
    double factor() const { return static_cast<double>(out_rate_) / in_rate_; }
    std::int64_t reach() const { return reach_; }  // samples to either side of a result, at most

    // Results from src + position / out_rate() on, as long as they lie before src[len]; returns how many.
    std::int32_t run(const T* src, std::int32_t len, std::int64_t position, T* dst) const;

  private:
    int in_rate_, out_rate_;
    std::int64_t reach_ = 0;
    // One of both: rows of taps where they fit, otherwise a table that is interpolated.
    std::unique_ptr<ZelResampleFixedState, SrStatus (*)(ZelResampleFixedState*)> rows_;
    std::unique_ptr<ZelResampleState, SrStatus (*)(ZelResampleState*)> table_;
};

// Result k lies at the time of sample k in / out; there are as many as lie before the end. Silence is taken to
// stand before the first sample and behind the last one. Parts of any size give the same bits.
template <class T>
class Resampler {
  public:
    explicit Resampler(const RateFilter<T>& filter);

    // Appends to results what is complete.
    void add(std::span<const T> samples, std::vector<T>& results);
    void finish(std::vector<T>& results);

  private:
    void convert(std::int64_t len, std::vector<T>& results);

    const RateFilter<T>& filter_;
    std::int64_t margin_, block_;
    std::vector<T> window_;      // margin, block, margin
    std::int64_t filled_;        // samples in window_
    std::int64_t position_ = 0;  // of the next result behind the block's start, in parts of 1 / out_rate
    std::int64_t taken_ = 0, given_ = 0;
    std::vector<T> part_;
};

}  // namespace zelsr::examples
