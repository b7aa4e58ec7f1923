// Which frames hold speech: by their energy, at once, for the noise's estimate; and by the gains that noise
// reduction gives them, six frames later, for whoever takes the features.
#pragma once

#include <zelsr.h>

#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "common/aligned.h"

namespace zelsr::examples {

// Speech where the level of a part of 80 samples is 2.8 dB above a mean that follows the lowest levels, and for 15
// parts behind more than four such.
class EnergyDetector {
  public:
    bool next(double sum_of_squares);  // of samples in 16-bit units
    // The loud parts in a row, up to now.
    int run() const { return run_; }

  private:
    int parts_ = 0, run_ = 0, hangover_ = 0;
    double mean_ = 0;
};

enum class Mark : std::uint8_t { Undecided, Pause, Speech };
std::string_view mark_name(Mark mark);

// The detectors of the library, and the delay of their decision: a ring of seven votes, which says whether its
// oldest frame is speech.
template <class T>
class VoiceActivity {
  public:
    VoiceActivity();

    // A frame's gains: those of 64 bins, of 25 mel bands, up to 1; integers are in Q14. Marks go behind the
    // others.
    void add(std::span<const T> gains, std::span<const T> bands, int votes, std::vector<Mark>& marks);
    // The marks of the last six frames; then the next add() begins another utterance.
    void finish(std::vector<Mark>& marks);

  private:
    static constexpr int kDelay = 6;

    ZelVadState_Aurora* state() { return reinterpret_cast<ZelVadState_Aurora*>(record_.get()); }
    void restart();

    AlignedArray<std::uint8_t> record_;
    std::int64_t frames_ = 0;
};

}  // namespace zelsr::examples
