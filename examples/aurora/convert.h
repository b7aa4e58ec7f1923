// A sound file through the front-end: features, marks, cleaned sound, picture.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "aurora/front_end.h"
#include "common/feature_writers.h"
#include "common/sound.h"

namespace zelsr::examples {

struct Conversion {
    std::string sound, out;
    Format format = Format::Csv;
    bool fixed = false;
    Channels channels = Channels::Mean;
    std::size_t block = 1 << 14;  // samples a step
    std::optional<std::string> picture, marks, cleaned;
};

// Writes what is asked for, all of it or, if it throws Failure, nothing; prints a summary to the standard output,
// unless the features go there.
void convert(const Conversion& conversion);

// Runs of frames marked as speech, in seconds: from the middle of the first one's shift to that of the last one's.
struct Stretch {
    double start, end;
};
class Stretches {
  public:
    void add(std::span<const Mark> marks);
    std::vector<Stretch> all() const { return all_; }
    std::int64_t frames() const { return frames_; }
    std::int64_t of(Mark mark) const { return counts_[static_cast<std::size_t>(mark)]; }

  private:
    std::vector<Stretch> all_;
    std::int64_t frames_ = 0;
    std::array<std::int64_t, 3> counts_{};
    bool open_ = false;
};

}  // namespace zelsr::examples
