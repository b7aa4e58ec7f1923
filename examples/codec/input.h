// Sound of any rate from 8 kHz on, as 8 kHz; or samples from the standard input.
#pragma once

#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "codec/frame.h"
#include "common/resampler.h"
#include "common/sound.h"

namespace zelsr::examples {

class SpeechInput {
  public:
    // A sound file, whose channels are averaged; "-": 16-bit integers of one channel, low byte first, `rate` a
    // second, from the standard input. block: samples that are read at once. Throws Failure.
    SpeechInput(const std::string& path, int rate, int block);

    // The next samples in 16-bit units, until the next call; none at the end. Throws Failure for a file that holds
    // no samples.
    std::span<const float> read();

    int rate() const { return rate_; }
    double seconds() const;   // of the file, 0 if unknown
    double position() const;  // seconds that were read
    std::vector<std::string> remarks() const;

  private:
    std::size_t read_file();
    std::size_t read_standard_input();

    std::unique_ptr<SoundFile> sound_;
    int rate_;
    std::optional<RateFilter<float>> filter_;
    std::optional<Resampler<float>> resampler_;
    std::vector<float> block_, converted_;
    std::vector<unsigned char> bytes_;
    std::int64_t taken_ = 0;
    bool ended_ = false;
};

}  // namespace zelsr::examples
