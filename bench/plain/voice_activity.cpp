#include "plain/voice_activity.h"

#include <algorithm>

namespace zelsr::bench::plain {
namespace {

// Sums in double precision, or exact.
template <class Sum, class T>
Sum total(const T* x, int len)
{
    Sum sum = 0;
    for (int i = 0; i < len; ++i) sum += x[i];
    return sum;
}
template <class Sum, class T>
Sum energy(const T* x, int len)
{
    Sum sum = 0;
    for (int i = 0; i < len; ++i) sum += Sum{x[i]} * x[i];
    return sum;
}

// Levels in double precision are enough for either form: the frames' measures lie far apart.
struct Level {
    double value = 0;

    bool votes(double x, bool start, double near, double far, double threshold)
    {
        if (start) value = std::max(value, x);
        if (x < 1.5 * value && x > near * value) value = 0.8 * value + 0.2 * x;
        if (x <= far * value) value = 0.97 * value + 0.03 * x;
        return x > threshold * value;
    }
};

struct Detector {
    Level variance, bands, low;
    double mean = 0, previous = 0;
    bool high_start = false;
    int n = 0, position = 0, long_hangover = 23, speech = 0, brief = 0;
    bool ring[7] = {};

    std::int32_t frame(double samples_energy, double samples_total, double bands_total, double third)
    {
        ++n;
        const bool start = n < 15;
        const double e = samples_energy / 64 - samples_total * samples_total / 4096;
        const double l = bands_total * bands_total - 3, c = 0.75 * third + 0.25 * previous;
        previous = third;
        if (n == 1) bands.value = l;
        if (start) {
            mean = ((n - 1) * mean + l) * 1.1 / n;
            high_start = high_start || l / mean > 2.5;
        }
        bool vote = variance.votes(e, start, 0.85, 0.25, 1.65);
        vote |= bands.votes(l, start && !high_start, 0.75, 0.5, 1.65);
        vote |= low.votes(c, start, 0.75, 0.5, 3.25);
        return n < 11 ? 4 : decide(vote);
    }

    std::int32_t decide(bool vote)
    {
        position = (position + 1) % 7;
        ring[position] = vote;
        int run = 0, longest = 0;
        for (int i = 1; i <= 7; ++i) {
            run = ring[(position + i) % 7] ? run + 1 : 0;
            longest = std::max(longest, run);
        }
        if (longest >= 4) {
            speech = long_hangover;
            if (n < 36) long_hangover = 40;
        }
        if (longest >= 3) {
            brief = 5;
        } else {
            speech = std::max(speech - 1, 0);
            brief = std::max(brief - 1, 0);
        }
        return brief == 0 && speech == 0 && longest < 3 ? 2 : 1;
    }
};

template <class Sum, class T>
void decide_all(const T* bands, const T* samples, std::int32_t* decisions, int frames)
{
    Detector detector;
    for (int i = 0; i < frames; ++i, bands += 25, samples += 64)
        decisions[i] = detector.frame(
            static_cast<double>(energy<Sum>(samples, 64)), static_cast<double>(total<Sum>(samples, 64)),
            static_cast<double>(total<Sum>(bands, 25)), static_cast<double>(total<Sum>(bands + 1, 3)) / 3);
}

}  // namespace

void voice_activity(const float* bands, const float* samples, std::int32_t* decisions, int frames)
{
    decide_all<double>(bands, samples, decisions, frames);
}

void voice_activity(const std::int16_t* bands, const std::int16_t* samples, std::int32_t* decisions, int frames)
{
    decide_all<std::int64_t>(bands, samples, decisions, frames);
}

}  // namespace zelsr::bench::plain
