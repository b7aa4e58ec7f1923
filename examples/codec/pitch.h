// The period of the voice: candidates frame by frame, the best path through them, and its fractions of a sample.
#pragma once

#include <array>
#include <cstdint>
#include <deque>
#include <optional>
#include <vector>

#include "codec/frame.h"

namespace zelsr::examples {

// How alike a signal and itself some samples later are, around one place of it.
class Correlator {
  public:
    static constexpr int kWindow = 160;
    static constexpr int kLeast = 20, kMost = 147;                // lags in samples
    static constexpr int kReach = (kWindow + kMost + 1) / 2 + 2;  // samples to either side

    // Takes the samples around *centre.
    void place(const float* centre);
    // From -1 to 1, with both windows as far from the centre; 0 for silence.
    float at(int lag) const;
    // The best lag between lag - 1 and lag + 1, in parts of a sample.
    float refined(int lag) const;

  private:
    const std::int16_t* start(int lag) const { return samples_.data() + kReach - (kWindow + lag) / 2; }
    std::array<std::int16_t, 2 * kReach + 1> samples_{};
};

struct PitchCandidate {
    int lag;            // 0: no voice
    float correlation;  // of no voice: the largest one
};

// The peaks of the correlation, and no voice in front.
std::vector<PitchCandidate> pitch_candidates(const Correlator& correlator);
inline std::vector<PitchCandidate> no_voice() { return {{0, 0}}; }

// The cheapest way through the candidates of all frames: high correlations, few leaps, few changes of voice. A
// frame's lag is known when kAhead more frames are.
class PitchTracker {
  public:
    static constexpr std::size_t kAhead = 3;

    // The lag of the frame that was added kAhead frames before, 0 without voice.
    std::optional<int> add(const std::vector<PitchCandidate>& candidates);
    // Those of the last frames.
    std::vector<int> finish();

  private:
    struct Node {
        int lag;
        float cost;  // of the way to here
        std::size_t from;
    };
    std::vector<int> best_way() const;

    std::deque<std::vector<Node>> frames_;
};

}  // namespace zelsr::examples
