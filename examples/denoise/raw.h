// Sound without a header on standard input and output: 16-bit integers, channel after channel.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace zelsr::examples {

// As SoundFile, but with what there is at the time: a microphone's samples are cleaned as they come.
class RawInput {
  public:
    RawInput(int rate, int channels) : rate_(rate), channels_(channels) {}

    int rate() const { return rate_; }
    int channels() const { return channels_; }
    std::int64_t expected() const { return 0; }
    std::int64_t position() const { return position_; }
    // At most `samples` a channel; none at the end. Throws Failure, as it does for an end within a sample.
    std::span<const float> read_all(std::size_t samples);

  private:
    int rate_, channels_;
    std::int64_t position_ = 0;
    std::vector<std::int16_t> integers_;
    std::size_t rest_ = 0;  // bytes that are no whole sample of all channels yet
    std::vector<float> floats_;
};

// As SoundWriter.
class RawOutput {
  public:
    void write(std::span<const float> interleaved);
    void write(std::span<const std::int16_t> interleaved);
    void commit() {}
    std::int64_t limited() const { return limited_; }

  private:
    std::int64_t limited_ = 0;
    std::vector<std::int16_t> integers_;
};

}  // namespace zelsr::examples
