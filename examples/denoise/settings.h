// What a suppressor is asked for, and what follows from a sample rate.
#pragma once

#include <cstdint>
#include <vector>

namespace zelsr::examples {

enum class GainRule { EphraimMalah, Wiener };

constexpr int kLowestRate = 8000, kHighestRate = 192000;

struct Settings {
    int rate = 0;  // from kLowestRate to kHighestRate
    GainRule rule = GainRule::EphraimMalah;
    double floor = 0.1;  // the least gain of a bin, as a ratio of amplitudes; 1 changes nothing
};

// Frames of 32 to 64 ms, which tell a voice's harmonics apart, each a quarter of its length behind the one before
// it.
struct FrameShape {
    explicit FrameShape(int sample_rate);

    int length() const { return 1 << order; }
    int shift() const { return length() / kOverlap; }
    int bins() const { return length() / 2 + 1; }

    // A smoothing factor that is given for 8 ms, for a frame's shift.
    double per_shift(double factor_of_8_ms) const;

    static constexpr int kOverlap = 4;  // frames over a sample
    int rate;
    int order;  // of the FFT
};

// The square root of a Hann window: frames are under it twice, before the transform and behind it. The squares
// over a sample add up to kOverlap / 2.
std::vector<double> root_hann(int length);

// The noise estimator knows rates up to 48000, and looks at the frames' shift in seconds alone.
struct EstimatorRate {
    int rate, shift;
};
EstimatorRate estimator_rate(const FrameShape& shape);

// What follows was tuned by `denoise measure`: examples/denoise/README.md has the results.

// The estimate swings with the frames that it follows, and takes faint speech and every sound's first frame for
// noise. Gains are formed with a track of it up to the frame before, which rises more slowly than it falls.
constexpr double kNoiseRises = 0.995, kNoiseFalls = 0.95;  // what is kept of the distance in 8 ms

// snr = power / noise is the a-posteriori ratio of a bin, and the a-priori one is first
//
//     prior = memory * (gain^2 * snr of the frame before) + (1 - memory) * max(mean of neighbours' snr - 1, 0)
//
// whose Wiener gain q tells what this frame holds itself, prior = q^2 * snr, from which the gain is formed: so
// that a sound's beginning is not judged by the silence before it. Lone bins that rise by chance would be heard as
// notes; the mean takes them back.
constexpr double kPriorMemory = 0.97;  // a frame

// All ratios are those of powers.
constexpr double kLeastPrior = 0.003, kLeastSnr = 0.05, kMostSnr = 1000;

// The estimate of the noise starts with this much of the sound, backwards.
constexpr double kLearnSeconds = 0.5;

}  // namespace zelsr::examples
