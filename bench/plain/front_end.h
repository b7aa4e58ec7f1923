// The distributed front-end at 8 kHz as a user would write it: aurora_chain_bench.cpp.
#pragma once

#include <array>

#include "plain/chain.h"

namespace zelsr::bench::plain {

// A real transform of 256 values into 129 pairs.
using Transform = void (*)(const float* samples, float* pairs);

struct FrontEndTables {
    Filters gain_bank, mel_bank;
    const float* inverse_cosines;  // 10 rows of 25
    const float* cosines;          // 13 rows of 23: c1 ... c12, c0
    const float* multipliers;      // of these rows
    const float* reference;        // 12
    Transform transform;
};

class FrontEnd {
  public:
    explicit FrontEnd(const FrontEndTables& tables);

    // 80 samples, a row of 39 values of some frames before.
    void next(const float* samples, float* row);

  private:
    struct Stage {
        bool first;
        int frames = 0, hops = 0;
        std::array<float, 260> waiting{};
        std::array<float, 65> power{}, noise{}, noise_power{}, denoised{}, gains{};
        std::array<float, 25> bands{};
        std::array<double, 3> denoised_sums{}, noise_sums{};
        double low_ratio = 0, part = 0.8;
    };
    bool filter(Stage& stage, const float* samples, float* out);
    void learn_noise(Stage& stage, const std::array<float, 65>& mean, bool speech);
    float weakening(Stage& stage);
    bool is_speech(const float* samples);
    void analyse(const float* frame, float* statics);

    FrontEndTables tables_;
    Stage first_{true}, second_{false};
    int parts_ = 0, run_ = 0, hangover_ = 0;
    double mean_level_ = 0;
    float last_input_ = 0, last_output_ = 0;
    int cleaned_hops_ = 0;
    std::array<float, 240> cleaned_{};
    std::array<float, 200> hann_{}, hamming_{};
    std::array<float, 17> tap_window_{};
    std::array<float, 12> bias_{};
    std::array<float, 13 * 13> statics_{};  // the newest last
};

}  // namespace zelsr::bench::plain
