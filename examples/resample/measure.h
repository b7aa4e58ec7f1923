// What a preset does to sound, measured through the converter itself.
#pragma once

#include <string>
#include <vector>

#include "common/resampler.h"

namespace zelsr::examples {

struct RatePair {
    int in, out;
};

// In dB. Gains are those of a sine of frequency F that is sampled at the first rate and looked for at F in the
// output: above the first rate's Nyquist frequency that is an image, above the second one's an alias.
struct Measured {
    double ripple;       // the largest gain or loss in the pass band
    double attenuation;  // of the strongest frequency above the slower rate's Nyquist frequency
    double sweep;  // a sweep to half of the first rate: what is left of its part above the second one's Nyquist
                   // frequency (down), or differs from the wanted sweep in the pass band (up), below the sweep
    double sine;   // a sine of 997 Hz, 1 dB below full scale, over all else in the output
};

struct GainAt {
    double frequency, gain;  // Hz, dB
};

template <class T>
Measured measure(const RatePair& rates, const Quality& quality);

template <class T>
std::vector<GainAt> response(const RatePair& rates, const Quality& quality, int points);

// The responses of all presets, a panel for each pair, as SVG.
template <class T>
std::string response_picture(const std::vector<RatePair>& pairs);

}  // namespace zelsr::examples
