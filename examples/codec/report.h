// What coding takes from speech, in numbers.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "codec/encoder.h"

namespace zelsr::examples {

// Of any number of frames. Spectral distortion is that of the coded envelope from the measured one, of frames that
// are not silent.
class CodingLoss {
  public:
    void add(const Frame& frame, const Measured& measured, const EnvelopeBook& book);
    void add(const CodingLoss& more);
    void add_bytes(std::int64_t bytes, std::int64_t samples);

    std::int64_t frames() const { return frames_; }
    static std::string heading();
    std::string line(const std::string& name) const;

  private:
    std::int64_t frames_ = 0, bytes_ = 0, samples_ = 0;
    std::int64_t voiced_ = 0, above_2_ = 0, above_4_ = 0;
    std::int64_t compared_ = 0;
    double distortion_ = 0, level_error_ = 0;
    std::vector<std::int64_t> pitches_ = std::vector<std::int64_t>(128);  // how often each code occurs
};

}  // namespace zelsr::examples
