#include "codec/input.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include <zelsr.h>

#include "common/failure.h"

namespace zelsr::examples {
namespace {

constexpr int kHighestRate = 1000000;
constexpr float kFullScale = 32768;
// Beyond, in 16-bit units, a sample is limited: so loud a frame has no code.
constexpr float kMostSample = 4 * kFullScale;

}  // namespace

SpeechInput::SpeechInput(const std::string& path, int rate, int block)
    : rate_(rate), block_(static_cast<std::size_t>(block))
{
    if (path != "-") {
        sound_ = std::make_unique<SoundFile>(path);
        rate_ = sound_->rate();
    }
    if (rate_ < kRate || rate_ > kHighestRate)
        throw Failure("has " + std::to_string(rate_) + " samples a second; from " + std::to_string(kRate) +
                      " to " + std::to_string(kHighestRate) + " can be coded");
    if (rate_ == kRate) return;
    filter_.emplace(rate_, kRate, kQualities[1]);
    resampler_.emplace(*filter_);
}

std::size_t SpeechInput::read_file()
{
    const std::size_t count = sound_->read(block_);
    require(zelsMulC_32f_I(kFullScale, block_.data(), static_cast<std::int32_t>(block_.size())), "zelsMulC_32f_I");
    return count;
}

std::size_t SpeechInput::read_standard_input()
{
    // What is there, so that a pipe of live sound is coded as it comes. The first byte of a sample may come alone.
    std::size_t held = bytes_.size();
    bytes_.resize(2 * block_.size());
    while (held < 2) {
        const ssize_t got = ::read(STDIN_FILENO, bytes_.data() + held, bytes_.size() - held);
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) throw Failure("cannot be read: " + system_error_text());
        if (got == 0) break;
        held += static_cast<std::size_t>(got);
    }
    const std::size_t count = held / 2;
    for (std::size_t i = 0; i < count; ++i)
        block_[i] = static_cast<std::int16_t>(bytes_[2 * i] | bytes_[2 * i + 1] << 8);
    bytes_ = std::vector<unsigned char>(bytes_.begin() + static_cast<std::ptrdiff_t>(2 * count),
                                        bytes_.begin() + static_cast<std::ptrdiff_t>(held));
    return count;
}

std::span<const float> SpeechInput::read()
{
    while (!ended_) {
        const std::size_t count = sound_ ? read_file() : read_standard_input();
        taken_ += static_cast<std::int64_t>(count);
        ended_ = count == 0;
        if (ended_ && taken_ == 0) throw Failure("holds no samples");
        for (float& sample : block_) sample = std::clamp(sample, -kMostSample, kMostSample);
        const std::span<const float> samples = std::span(block_).first(count);
        if (!resampler_) return samples;
        converted_.clear();
        resampler_->add(samples, converted_);
        if (ended_) resampler_->finish(converted_);
        if (!converted_.empty()) return converted_;
    }
    return {};
}

double SpeechInput::seconds() const { return sound_ ? static_cast<double>(sound_->expected()) / rate_ : 0; }

double SpeechInput::position() const { return static_cast<double>(taken_) / rate_; }

std::vector<std::string> SpeechInput::remarks() const
{
    if (sound_) return remarks_on(*sound_);
    return bytes_.empty() ? std::vector<std::string>()
                          : std::vector<std::string>{"the last byte is half a sample"};
}

}  // namespace zelsr::examples
