// The 48 bits of a frame, and what their codes stand for.
#pragma once

#include <array>
#include <cstdint>

namespace zelsr::examples {

constexpr int kRate = 8000;        // samples a second
constexpr int kFrameLength = 160;  // samples: 20 ms
constexpr int kOrder = 10;         // of linear prediction
constexpr int kBands = 5;          // each with a voice of its own; the lowest has that of the frame
constexpr int kEnvelopeParts = 3;  // the line spectrum is coded in so many parts
constexpr int kEnvelopeBits = 9;   // of a part
constexpr int kFrameBytes = 6;
constexpr float kOffsetFilter = 0.97F;  // a high-pass filter of 39 Hz, before coding and behind decoding
constexpr float kLeastLag = 20, kGreatestLag = 147;  // samples: 400 to 54.4 Hz

// The codes. Those of a frame belong to the time of its end, but for the level, which is that of both its halves.
struct Frame {
    std::array<std::int16_t, kEnvelopeParts> envelope{};  // codewords; 9 bits each
    int pitch = 0;                                        // 7 bits; 0: no voice
    int bands = 0;   // 4 bits, the lowest for the second band: voiced or not; 0 without voice
    int level = 0;   // 6 bits; 0: silence
    int change = 0;  // 4 bits

    bool operator==(const Frame&) const = default;
};

using FrameBytes = std::array<std::uint8_t, kFrameBytes>;
FrameBytes packed(const Frame& frame);
Frame unpacked(const FrameBytes& bytes);

// The period of the voice in samples, by 126 steps of 1.6 %.
int pitch_code(float lag);
float lag_of(int code);  // of 1 to 127

// The levels of both halves of a frame in dB of root mean square, over one 16-bit unit.
struct Levels {
    float middle, end;
};
constexpr float kSilence = 0;  // dB; a level that is not above 1.3 dB

// level: their mean, in steps of 1.4 dB from 2 dB on; change: by how much the second one is higher, from -28 to
// 28 dB in steps that grow.
void code_levels(const Levels& levels, Frame& frame);
Levels levels_of(const Frame& frame);

}  // namespace zelsr::examples
