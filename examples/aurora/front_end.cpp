#include "aurora/front_end.h"

#include <algorithm>
#include <utility>

#include "common/failure.h"

namespace zelsr::examples {
namespace {

MfccOptions options_of(int rate)
{
    if (rate != kLowRate && rate != kHighRate)
        throw Failure("a sample rate of " + std::to_string(rate) +
                      " Hz: the distributed front-end takes 8000 or 16000 Hz (examples/resample changes rates)");
    MfccOptions options;
    options.rate = rate;
    options.offset_hz = 0;
    options.pre_emphasis = 0.9;
    options.filters = kMelBands;
    options.high_hz = rate / 2.0;
    options.cepstra = kCepstra;
    options.lifter = 0;
    options.energy = Energy::Log;
    return options;
}

void append_derivatives(const float* statics, float* rows, int step, int height, int mode)
{
    require(zelsDeltaDelta_Aurora_32f_D2(statics, rows, step, height, mode), "zelsDeltaDelta_Aurora_32f_D2");
}

void append_derivatives(const std::int16_t* statics, std::int16_t* rows, int step, int height, int mode)
{
    // The level leaves with the cepstra's fraction bits.
    static const auto factors = [] {
        std::array<std::int16_t, kRow> all;
        all.fill(1);
        all[kCepstra] = 1 << (kRowBits - kLevelBits);
        return all;
    }();
    require(zelsDeltaDeltaMul_Aurora_16s_D2Sfs(statics, factors.data(), rows, step, height, mode, 0),
            "zelsDeltaDeltaMul_Aurora_16s_D2Sfs");
}

}  // namespace

template <class T>
FrontEnd<T>::FrontEnd(int rate)
    : options_(options_of(rate)),
      wide_(rate == kHighRate),
      reduction_([this](const auto& step) { take_step(step); }),
      analysis_(wide_ ? kMelBands + kHighBands : kMelBands)
{
    if (wide_) upper_.emplace();
}

template <class T>
RowBlock<T> FrontEnd<T>::add(std::span<const T> samples)
{
    if (!wide_) {
        reduction_.add(samples, cleaned_);
    } else {
        std::vector<T> low;
        upper_->split.add(samples, low, upper_->high);
        upper_->noisy.insert(upper_->noisy.end(), low.begin(), low.end());
        reduction_.add(low, cleaned_);
    }
    analyse_frames();
    return complete_rows(0);
}

template <class T>
RowBlock<T> FrontEnd<T>::finish()
{
    if (wide_) {
        std::vector<T> low;
        upper_->split.finish(low, upper_->high);
        upper_->noisy.insert(upper_->noisy.end(), low.begin(), low.end());
        reduction_.add(low, cleaned_);
    }
    reduction_.finish(cleaned_);
    analyse_frames();
    finish_marks();
    keep(cleaned_.size());

    const std::int64_t frames = frames_;
    const bool enough = rows_.enough();
    const RowBlock<T> last = enough ? complete_rows(DeltaLastBlock) : RowBlock<T>();
    restart();
    if (!enough) {
        marks_.clear();
        kept_.clear();
        throw Failure("too short: " + std::to_string(frames) + (frames == 1 ? " frame" : " frames") +
                      ", derivatives need " + std::to_string(kHistory));
    }
    return last;
}

template <class T>
void FrontEnd<T>::restart()
{
    cleaned_.clear();
    rows_.restart();
    analysis_.restart();
    if (wide_) upper_.emplace();
    frames_ = 0;
}

template <class T>
void FrontEnd<T>::take_step(const typename NoiseReduction<T>::Step& step)
{
    // From five loud parts in a row on, the frame is speech whatever its gains.
    std::vector<Mark> known;
    activity_.add(step.gains, step.bands, step.run, known);
    append_marks(known);
    if (wide_) upper_->speech.push_back(step.speech);
}

template <class T>
void FrontEnd<T>::analyse_frames()
{
    std::size_t start = 0;
    for (; start + kFrame <= cleaned_.size(); start += kHop) {
        T* row = rows_.next();
        if (!wide_) {
            analysis_.analyse(&cleaned_[start], {}, row);
        } else {
            Upper& upper = *upper_;
            const bool speech = upper.speech.size() > kStepsAhead && upper.speech[kStepsAhead];
            const auto high =
                upper.bands.logarithms(&upper.noisy[start], &cleaned_[start], &upper.high[start], speech);
            if (!upper.speech.empty()) upper.speech.pop_front();
            analysis_.analyse(&cleaned_[start], high, row);
        }
        ++frames_;
    }
    keep(start);
    cleaned_.erase(cleaned_.begin(), cleaned_.begin() + static_cast<std::ptrdiff_t>(start));
    if (!wide_) return;
    for (std::vector<T>* samples : {&upper_->noisy, &upper_->high})
        samples->erase(samples->begin(), samples->begin() + static_cast<std::ptrdiff_t>(start));
}

template <class T>
void FrontEnd<T>::keep(std::size_t count)
{
    if (keep_cleaned_)
        kept_.insert(kept_.end(), cleaned_.begin(), cleaned_.begin() + static_cast<std::ptrdiff_t>(count));
}

template <class T>
std::vector<T> FrontEnd<T>::take_cleaned()
{
    return std::exchange(kept_, {});
}

template <class T>
std::vector<Mark> FrontEnd<T>::take_marks()
{
    return std::exchange(marks_, {});
}

// Of steps; the first of an utterance come before its first frame.
template <class T>
void FrontEnd<T>::append_marks(const std::vector<Mark>& steps)
{
    for (const Mark mark : steps)
        if (++marked_steps_ > static_cast<std::int64_t>(kStepsAhead)) marks_.push_back(mark);
}

template <class T>
void FrontEnd<T>::finish_marks()
{
    std::vector<Mark> last;
    activity_.finish(last);
    append_marks(last);
    std::int64_t marked = std::max<std::int64_t>(0, marked_steps_ - static_cast<std::int64_t>(kStepsAhead));
    for (; marked > frames_; --marked) marks_.pop_back();
    for (; marked < frames_; ++marked) marks_.push_back(marked > 0 ? marks_.back() : Mark::Undecided);
    marked_steps_ = 0;
}

template <class T>
RowBlock<T> FrontEnd<T>::complete_rows(int mode)
{
    return rows_.complete(mode, [](const T* statics, T* rows, int step, int height, int block_mode) {
        append_derivatives(statics, rows, step, height, block_mode);
    });
}

template class FrontEnd<float>;
template class FrontEnd<std::int16_t>;

}  // namespace zelsr::examples
