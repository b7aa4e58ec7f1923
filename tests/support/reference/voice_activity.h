// Voice activity as it is stated: three trackers, a ring of votes, two hangovers.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <vector>

#include "zelsr/core/vector.h"

namespace zelsr::test::reference {

// The record as it lies in the caller's memory.
template <class Level>
struct VadRecord {
    int16_t energy_flag, low_flag, variance_flag, latch;
    Level energy_mean, low_level, energy_level, variance_level, previous_mean, current_mean;
    int32_t position, flush_start, long_hangover, speech_hangover, short_hangover;
    std::array<uint8_t, 7> ring;
    int32_t frames;
};
static_assert(sizeof(VadRecord<float>) == 64 && sizeof(VadRecord<int32_t>) == 64);

// The flags of two detectors and the current mean stay as they were.
template <class Level>
void init(VadRecord<Level>& s)
{
    s.energy_flag = s.latch = 0;
    s.energy_mean = s.low_level = s.energy_level = s.variance_level = s.previous_mean = 0;
    s.position = 0;
    s.flush_start = -1;
    s.long_hangover = 23;
    s.speech_hangover = s.short_hangover = 0;
    s.ring.fill(0);
    s.frames = 0;
}

// The low 32 bits.
inline int32_t wrap(int64_t x) { return static_cast<int32_t>(static_cast<uint32_t>(static_cast<uint64_t>(x))); }
// level * factor >> shift, the product in 32 bits.
inline int32_t part(int32_t level, int32_t factor, int shift) { return wrap(int64_t{level} * factor) >> shift; }

inline void detect_variance(VadRecord<float>& s, const std::vector<float>& x)
{
    float squares = 0, sum = 0;
    zelsDotProd_32f(x.data(), x.data(), 64, &squares);
    zelsSum_32f(x.data(), 64, &sum, 2);
    const float e = squares * 0.015625F - sum * sum * 0.00024414063F;
    float& t = s.variance_level;
    if (s.frames < 15 && e > t) t = e;
    if (e < 1.5F * t && e > 0.85F * t) t = 0.8F * t + 0.2F * e;
    if (e < 0.25F * t) t = 0.97F * t + 0.03F * e;
    s.variance_flag = e > 1.65F * t;
}

inline void detect_variance(VadRecord<int32_t>& s, const std::vector<int16_t>& x)
{
    int64_t squares = 0, sum = 0;
    for (int64_t value : x) {
        squares += value * value;
        sum += value;
    }
    const int64_t e = squares * 64 - wrap(sum * sum);
    int32_t& t = s.variance_level;
    if (s.frames < 15 && e >= t) t = wrap(e);
    if (e < part(t, 48, 5) && e > part(t, 27, 5)) t = wrap(part(t, 26, 5) + ((6 * e) >> 5));
    if (e < part(t, 8, 5)) t = wrap(part(t, 31, 5) + e);  // all of e
    s.variance_flag = e > part(t, 53, 5);
}

inline void detect_energy(VadRecord<float>& s, const std::vector<float>& bands)
{
    float sum = 0;
    zelsSum_32f(bands.data(), 25, &sum, 2);
    const float l = sum * sum - 3.0F;
    const auto n = static_cast<float>(s.frames);
    float& t = s.energy_level;
    if (s.frames == 1) t = l;
    if (s.frames < 15) {
        s.energy_mean = ((n - 1) * s.energy_mean + l) * 1.1F / n;
        if (s.energy_mean != 0 && l / s.energy_mean > 2.5F) s.latch = 1;
        if (s.latch == 0 && l > t) t = l;
    }
    if (l < 1.5F * t && l > 0.75F * t) t = 0.8F * t + 0.2F * l;
    if (l <= 0.5F * t) t = 0.97F * t + 0.03F * l;
    s.energy_flag = l > 1.65F * t;
}

inline void detect_energy(VadRecord<int32_t>& s, const std::vector<int16_t>& bands)
{
    int64_t sum = 0;
    for (std::size_t i = 0; i < 25; ++i) sum += bands[i];
    const int32_t l = wrap(wrap(sum * sum) - int64_t{3});
    const int64_t n = s.frames;
    int32_t& t = s.energy_level;
    if (n == 1) t = l;
    if (n < 15) {
        s.energy_mean = wrap((141 * ((n - 1) * s.energy_mean + l)) / n >> 7);
        if (s.energy_mean != 0 && int64_t{wrap(int64_t{l} * 128)} / s.energy_mean > 320) s.latch = 1;
        if (s.latch == 0 && l >= t) t = l;
    }
    if (l < part(t, 192, 7) && l > part(t, 96, 7)) t = wrap(int64_t{part(t, 102, 7)} + part(l, 26, 7));
    if (l <= part(t, 64, 7)) t = wrap(int64_t{part(t, 124, 7)} + (l >> 5));
    s.energy_flag = l > part(t, 211, 7);
}

inline void detect_low(VadRecord<float>& s, const std::vector<float>& bands)
{
    const float m = (bands[1] + bands[2] + bands[3]) / 3.0F;
    const float c = 0.75F * m + 0.25F * s.previous_mean;
    s.previous_mean = s.current_mean = m;
    float& t = s.low_level;
    if (s.frames < 15 && c > t) t = c;
    if (c < 1.5F * t && c > 0.75F * t) t = 0.8F * t + 0.2F * c;
    if (c <= 0.5F * t) t = 0.97F * t + 0.03F * c;
    s.low_flag = c > 3.25F * t;
}

inline void detect_low(VadRecord<int32_t>& s, const std::vector<int16_t>& bands)
{
    const int32_t m = (bands[1] + bands[2] + bands[3]) * 341;
    const int32_t c = wrap(int64_t{part(m, 24, 5)} + part(s.previous_mean, 8, 5));
    s.previous_mean = s.current_mean = m;
    int32_t& t = s.low_level;
    if (s.frames < 15) t = std::max(t, c);
    if (c < part(t, 48, 5) && c > part(t, 24, 5)) t = wrap(int64_t{part(t, 102, 7)} + part(c, 26, 7));
    if (c <= part(t, 16, 5)) t = wrap(int64_t{part(t, 124, 7)} + part(c, 4, 7));
    s.low_flag = c > part(t, 416, 7);
}

// From the oldest vote to the newest.
template <class Level>
int longest_run(const VadRecord<Level>& s)
{
    int longest = 0, run = 0;
    for (int age = 1; age <= 7; ++age) {
        run = s.ring[static_cast<std::size_t>((s.position + age) % 7)] != 0 ? run + 1 : 0;
        longest = std::max(longest, run);
    }
    return longest;
}

template <class Level>
void advance(VadRecord<Level>& s)
{
    s.position = s.position == 6 ? 0 : s.position + 1;
}

// The count stays at the largest number.
template <class Level>
void count(VadRecord<Level>& s)
{
    if (s.frames != INT32_MAX) ++s.frames;
}

template <class Level, class T>
uint32_t decide(VadRecord<Level>& s, const std::vector<T>& bands, const std::vector<T>& samples, int32_t votes)
{
    count(s);
    detect_variance(s, samples);
    detect_energy(s, bands);
    detect_low(s, bands);
    if (s.frames < 11) return 4;
    advance(s);
    const bool vote = s.energy_flag != 0 || s.low_flag != 0 || s.variance_flag != 0 || votes >= 5;
    s.ring[static_cast<std::size_t>(s.position)] = vote;
    const int run = longest_run(s);
    if (run >= 4) {
        s.speech_hangover = s.long_hangover;
        if (s.frames < 36) s.long_hangover = 40;
    }
    // A hangover that flushing took below zero stays, and the short one with it.
    if (s.speech_hangover >= 0) {
        if (run >= 3)
            s.short_hangover = 5;
        else {
            if (s.speech_hangover > 0) --s.speech_hangover;
            if (s.short_hangover > 0) --s.short_hangover;
        }
    }
    return s.short_hangover == 0 && s.speech_hangover == 0 && run < 3 ? 2 : 1;
}

template <class Level>
uint32_t flush(VadRecord<Level>& s)
{
    count(s);
    if (s.flush_start == -1) s.flush_start = s.position;
    advance(s);
    if (s.position == s.flush_start || s.frames < 11) return 4;
    const int run = longest_run(s);
    int32_t hangover = s.speech_hangover;
    if (run >= 4) {
        hangover = s.long_hangover;
        if (s.frames < 36) s.long_hangover = 40;
    }
    s.speech_hangover = hangover - 1;
    s.short_hangover = (run >= 3 ? 5 : s.short_hangover) - 1;
    return s.short_hangover < 1 && s.speech_hangover < 1 && run < 3 ? 2 : 1;
}

}  // namespace zelsr::test::reference
