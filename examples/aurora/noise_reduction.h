// Takes steady noise off a signal at 8 kHz: two Wiener filters, one behind the other, then the offset.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <type_traits>
#include <vector>

#include "aurora/voice_activity.h"
#include "aurora/wiener.h"

namespace zelsr::examples {

// T: float or std::int16_t, in 16-bit units. Result n stands for sample n, but comes 200 samples later.
template <class T>
class NoiseReduction {
  public:
    using Wiener = std::conditional_t<std::is_same_v<T, float>, FloatWiener, FixedWiener>;

    // What is known when a part of kHop samples, in order, has passed the first filter.
    struct Step {
        std::span<const T> gains, bands;  // the filter's
        bool speech;                      // by its energy
        int run;                          // loud parts in a row
    };
    using Observer = std::function<void(const Step&)>;

    explicit NoiseReduction(Observer observer = {});

    // The samples that these complete go behind `cleaned`; parts of any size give the same bits.
    void add(std::span<const T> samples, std::vector<T>& cleaned);
    // All others: what follows is taken to be the last samples, backwards. The next add() begins another signal.
    void finish(std::vector<T>& cleaned);

  private:
    // Samples that wait for a filter, from its next frame's start on.
    struct Stage {
        explicit Stage(WienerStage kind) : wiener(kind), waiting(kFilteredFrom, T(0)) {}
        Wiener wiener;
        std::vector<T> waiting;
        std::size_t start = 0;
        bool frame_complete() const { return start + kFrame <= waiting.size(); }
    };

    void restart();
    void run(std::vector<T>& cleaned);
    void drop_used(Stage& stage);

    Observer observer_;
    std::optional<Stage> first_, second_;
    EnergyDetector energy_;
    float last_input_ = 0, last_output_ = 0;
    std::int64_t in_ = 0, out_ = 0;
};

}  // namespace zelsr::examples
