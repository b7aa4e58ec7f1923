// The distributed front-end: from a stream of samples to rows of 39 features, free of steady noise, and to marks
// of the frames that hold speech.
//
//     FrontEnd<float> front_end(sound.rate());           // or FrontEnd<std::int16_t>
//     while (... samples, in 16-bit units ...) use(front_end.add(samples));
//     use(front_end.finish());
//
// It stands in the place of Mfcc: samples come in parts of any size, rows leave as soon as they are complete, and
// the division into parts does not change a bit of them. Row t is of the samples from 10 t to 10 t + 25 ms, as
// there.
#pragma once

#include <cstdint>
#include <deque>
#include <optional>
#include <span>
#include <type_traits>
#include <vector>

#include "aurora/analysis.h"
#include "aurora/high_band.h"
#include "aurora/noise_reduction.h"
#include "common/derivative_rows.h"
#include "common/mfcc_frame.h"

namespace zelsr::examples {

// T: float; or std::int16_t, whose values are those of float times 2^kRowBits, rounded.
template <class T>
class FrontEnd {
  public:
    explicit FrontEnd(int rate);  // throws Failure if it is neither 8000 nor 16000
    FrontEnd(const FrontEnd&) = delete;
    FrontEnd& operator=(const FrontEnd&) = delete;

    // What writers of rows need to know: the names of the columns, the rate, the shift.
    const MfccOptions& options() const { return options_; }
    int width() const { return kRow; }

    // The rows that these samples complete. They stay until the next call.
    RowBlock<T> add(std::span<const T> samples);
    // The last rows; the next add() begins another utterance. Throws Failure if it has fewer frames than
    // derivatives need.
    RowBlock<T> finish();

    std::int64_t frames() const { return frames_; }  // of this utterance so far
    // The marks that are known since the last call of this, one a frame; after finish(), there are as many as
    // rows.
    std::vector<Mark> take_marks();
    // Samples at 8 kHz, cleaned, since the last call of this; kept from the first call of keep_cleaned() on.
    void keep_cleaned() { keep_cleaned_ = true; }
    std::vector<T> take_cleaned();

  private:
    using Analysis = std::conditional_t<std::is_same_v<T, float>, FloatAnalysis, FixedAnalysis>;
    using HighBand = std::conditional_t<std::is_same_v<T, float>, FloatHighBand, FixedHighBand>;
    static constexpr int kHistory = 8;  // rows that the derivatives look back to
    // The spectra of step t + 1 of noise reduction have the middle nearest to that of frame t.
    static constexpr std::size_t kStepsAhead = 1;

    // What 16 kHz need: bands that wait for the cleaned samples to follow, from the next frame's start on.
    struct Upper {
        BandSplit<T> split;
        HighBand bands;
        std::vector<T> noisy, high;
        std::deque<bool> speech;  // of the steps from the next frame's on
    };

    void take_step(const typename NoiseReduction<T>::Step& step);
    void analyse_frames();
    void keep(std::size_t count);
    void append_marks(const std::vector<Mark>& steps);
    void finish_marks();
    void restart();
    RowBlock<T> complete_rows(int mode);

    MfccOptions options_;
    bool wide_;  // 16 kHz
    std::optional<Upper> upper_;
    NoiseReduction<T> reduction_;
    VoiceActivity<T> activity_;
    Analysis analysis_;

    std::vector<T> cleaned_;  // from the next frame's start on
    std::vector<T> kept_;
    bool keep_cleaned_ = false;
    std::vector<Mark> marks_;
    std::int64_t frames_ = 0, marked_steps_ = 0;
    DerivativeRows<T> rows_{kStatics, kRow, kHistory};
};

}  // namespace zelsr::examples
