// The sizes of the distributed front-end: what its pieces, at 8 kHz, hand to each other.
#pragma once

#include <zelsr.h>

#include <cmath>
#include <cstdint>
#include <numbers>

namespace zelsr::examples {

constexpr int kLowRate = 8000, kHighRate = 16000;  // samples a second that the front-end takes
constexpr int kFrame = 200, kHop = 80;             // samples of a frame, and from frame to frame, at 8 kHz
constexpr int kPoints = 256, kOrder = 8;           // of the Fourier transforms
constexpr int kBins = kPoints / 4 + 1;             // of a smoothed power spectrum
constexpr int kPowerBins = kPoints / 2 + 1;
constexpr int kGainBands = 25;    // of the Wiener gains
constexpr int kTaps = 17;         // of the filter that they become,
constexpr int kTableLength = 10;  // from so many values of its impulse response
constexpr int kFilterReach = kTaps / 2;

// A Wiener filter is designed on kFrame samples, and filters those from kFilteredFrom on, kHop of them: the middle
// of this frame and the one before it, whose spectra are averaged.
constexpr int kFilteredFrom = 20;
constexpr int kLookAhead = kFrame - kFilteredFrom - kHop;

// Weights of a Hann window of length samples, none of which is zero.
inline double hann(int n, int length) { return 0.5 - 0.5 * std::cos(2 * std::numbers::pi * (n + 0.5) / length); }
inline double hamming(int n, int length)
{
    return 0.54 - 0.46 * std::cos(2 * std::numbers::pi * n / (length - 1));
}

}  // namespace zelsr::examples
