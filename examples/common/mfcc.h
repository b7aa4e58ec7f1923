// From a stream of samples to rows of cepstra with their derivatives over time: the features of a recogniser.
//
//     MfccOptions options;
//     options.rate = sound.rate();
//     Mfcc<float> mfcc(options);                         // or Mfcc<std::int16_t>
//     while (... samples, in 16-bit units ...) use(mfcc.add(samples));
//     use(mfcc.finish());
//
// Samples come in parts of any size and rows leave as soon as they are complete; the division into parts does not
// change a bit of them. A row holds the static values, c1 ... cN and c0 or the log energy, then their deltas, then
// their accelerations. all_mfcc() below takes a whole file at once.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <type_traits>
#include <vector>

#include "common/aligned.h"
#include "common/derivative_rows.h"
#include "common/mfcc_frame.h"
#include "common/sound.h"

namespace zelsr::examples {

// T: float; or std::int16_t, whose values are those of float times 2^options.fixed_bits(), rounded.
template <class T>
class Mfcc {
  public:
    explicit Mfcc(const MfccOptions& options);  // throws Failure if they are out of range

    const MfccOptions& options() const { return options_; }
    int width() const { return options_.width(); }

    // The rows that these samples complete. They stay until the next call.
    RowBlock<T> add(std::span<const T> samples);
    // The last rows of the utterance; the next add() begins another one. Throws Failure if the utterance has fewer
    // frames than its derivatives need.
    RowBlock<T> finish();

    std::int64_t frames() const { return frames_; }  // of this utterance so far

  private:
    using Cepstra = std::conditional_t<std::is_same_v<T, float>, FloatCepstra, FixedCepstra>;

    void analyse_next_frame();
    void take_off_mean(T* row);
    RowBlock<T> complete_rows(int mode);

    MfccOptions options_;
    Cepstra cepstra_;

    // Samples from the next frame's start on; the first compensated_ of them have no offset any more.
    std::vector<T> samples_;
    std::size_t start_ = 0, compensated_ = 0;
    T last_input_ = 0, last_output_ = 0;

    std::int64_t frames_ = 0;
    std::vector<float> mean_, difference_;

    DerivativeRows<T> rows_;
};

// Rows in one aligned array, for functions that take a whole block.
template <class T>
class FeatureMatrix {
  public:
    explicit FeatureMatrix(int width) : width_(width), step_(row_step<T>(width)) {}

    void append(const RowBlock<T>& block);

    std::int32_t rows() const { return rows_; }
    int width() const { return width_; }
    std::int32_t step() const { return step_; }
    T* row(std::int32_t r) { return data_.get() + static_cast<std::ptrdiff_t>(r) * step_; }
    const T* row(std::int32_t r) const { return data_.get() + static_cast<std::ptrdiff_t>(r) * step_; }

  private:
    int width_;
    std::int32_t step_, rows_ = 0, capacity_ = 0;
    AlignedArray<T> data_;
};

// Sound in [-1, 1] as samples in 16-bit units; integers are rounded and saturated.
void to_16_bit_units(std::span<const float> sound, float* samples);
void to_16_bit_units(std::span<const float> sound, std::int16_t* samples);

// All features of a sound file, whose rate takes the place of options.rate.
template <class T>
FeatureMatrix<T> all_mfcc(SoundFile& sound, MfccOptions options);

// The names of a row's values: c1, ..., c0 or energy, then d_c1, ..., then dd_c1, ...
std::vector<std::string> column_names(const MfccOptions& options);

}  // namespace zelsr::examples
