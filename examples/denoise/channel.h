// One channel of sound through a chain: frames out of samples, and samples out of frames.
#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <vector>

#include "denoise/settings.h"

namespace zelsr::examples {

// As many results as samples, none of them delayed. Parts of any size give the same bits. What comes first is held
// back until there is kLearnSeconds of it, for the noise estimate; from then on, results follow within a frame.
template <class Chain>
class Channel {
  public:
    using Sample = typename Chain::Sample;
    using Sum = typename Chain::Sum;

    explicit Channel(const Settings& settings);

    // Appends to results what is complete.
    void add(std::span<const Sample> samples, std::vector<Sample>& results);
    void finish(std::vector<Sample>& results);

    // Called behind every frame.
    void on_frame(std::function<void(const Chain&)> watch) { watch_ = std::move(watch); }

  private:
    void begin();
    void run(std::vector<Sample>& results);

    FrameShape shape_;
    Chain chain_;
    std::function<void(const Chain&)> watch_;
    std::size_t length_, shift_, lead_;  // lead_: a frame's samples that lie before its last shift
    std::size_t learnt_;                 // samples that are held back
    std::vector<Sample> waiting_;        // from the next frame's first sample on
    std::vector<Sum> sums_;              // of that frame
    bool begun_ = false;
    std::size_t before_ = 0;  // results to come that lie before the sound
    std::int64_t taken_ = 0, given_ = 0;
};

}  // namespace zelsr::examples
