#include "aurora/noise_reduction.h"

#include <algorithm>
#include <array>

namespace zelsr::examples {
namespace {

constexpr float kPole = 1 - 1.0f / 1024;  // the offset filter's: 1.2 Hz

double squares(const float* samples)
{
    float sum = 0;
    require(zelsDotProd_32f(samples, samples, kHop, &sum), "zelsDotProd_32f");
    return sum;
}

double squares(const std::int16_t* samples)
{
    std::int64_t sum = 0;
    require(zelsDotProd_16s64s(samples, samples, kHop, &sum), "zelsDotProd_16s64s");
    return static_cast<double>(sum);
}

void take_offset_off(float* samples, float& last_input, float& last_output)
{
    require(zelsCompensateOffset_32f_I(samples, kHop, &last_input, last_output, kPole),
            "zelsCompensateOffset_32f_I");
    last_output = samples[kHop - 1];
}

// The 16-bit form's own memory is rounded, and keeps an offset of up to 512 units: single precision stands between
// conversions.
void take_offset_off(std::int16_t* samples, float& last_input, float& last_output)
{
    constexpr std::int32_t kNearest = 1;
    std::array<float, kHop> exact;
    require(zelsConvert_16s32f(samples, exact.data(), kHop), "zelsConvert_16s32f");
    take_offset_off(exact.data(), last_input, last_output);
    require(zelsConvert_32f16s_Sfs(exact.data(), samples, kHop, kNearest, 0), "zelsConvert_32f16s_Sfs");
}

}  // namespace

template <class T>
NoiseReduction<T>::NoiseReduction(Observer observer) : observer_(std::move(observer))
{
    restart();
}

template <class T>
void NoiseReduction<T>::restart()
{
    first_.emplace(WienerStage::First);
    second_.emplace(WienerStage::Second);
    energy_ = EnergyDetector();
    last_input_ = last_output_ = 0;
    in_ = out_ = 0;
}

template <class T>
void NoiseReduction<T>::add(std::span<const T> samples, std::vector<T>& cleaned)
{
    in_ += static_cast<std::int64_t>(samples.size());
    first_->waiting.insert(first_->waiting.end(), samples.begin(), samples.end());
    run(cleaned);
}

template <class T>
void NoiseReduction<T>::finish(std::vector<T>& cleaned)
{
    const std::int64_t length = in_;
    const std::vector<T> last = first_->waiting;
    std::array<T, kHop> more;
    for (std::size_t at = 0; out_ < length;) {
        // Back and forth.
        for (T& sample : more) {
            const std::size_t place = at++ % (2 * last.size());
            sample = place < last.size() ? last[last.size() - 1 - place] : last[place - last.size()];
        }
        add(more, cleaned);
    }
    cleaned.resize(cleaned.size() - static_cast<std::size_t>(out_ - length));
    restart();
}

template <class T>
void NoiseReduction<T>::run(std::vector<T>& cleaned)
{
    for (; first_->frame_complete(); first_->start += kHop) {
        const T* frame = &first_->waiting[first_->start];
        // The newest samples, so that the noise is not learned from a frame into which speech already reaches.
        const bool speech = energy_.next(squares(frame + kFrame - kHop));
        std::vector<T>& between = second_->waiting;
        between.resize(between.size() + kHop);
        first_->wiener.filter(frame, speech, &between[between.size() - kHop]);
        if (observer_) observer_({first_->wiener.gains(), first_->wiener.bands(), speech, energy_.run()});
    }
    for (; second_->frame_complete(); second_->start += kHop) {
        cleaned.resize(cleaned.size() + kHop);
        T* out = &cleaned[cleaned.size() - kHop];
        second_->wiener.filter(&second_->waiting[second_->start], false, out);
        take_offset_off(out, last_input_, last_output_);
        out_ += kHop;
    }
    drop_used(*first_);
    drop_used(*second_);
}

template <class T>
void NoiseReduction<T>::drop_used(Stage& stage)
{
    stage.waiting.erase(stage.waiting.begin(), stage.waiting.begin() + static_cast<std::ptrdiff_t>(stage.start));
    stage.start = 0;
}

template class NoiseReduction<float>;
template class NoiseReduction<std::int16_t>;

}  // namespace zelsr::examples
