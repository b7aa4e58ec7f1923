#include "codec/frame.h"

#include <algorithm>
#include <cmath>

namespace zelsr::examples {
namespace {

constexpr int kPitchCodes = 127;
constexpr int kLevelCodes = 64;
constexpr float kLowestLevel = 2, kLevelStep = 1.4F;
constexpr std::array<float, 16> kChanges{-28,  -19,  -13, -9,   -6.2F, -4, -2.2F, -0.7F,
                                         0.7F, 2.2F, 4,   6.2F, 9,     13, 19,    28};

// Bits from the top of the first byte down.
class BitWriter {
  public:
    explicit BitWriter(FrameBytes& bytes) : bytes_(bytes) {}
    void put(int value, int bits)
    {
        for (int bit = bits - 1; bit >= 0; --bit, ++at_)
            if ((value >> bit & 1) != 0) bytes_[at_ / 8] |= static_cast<std::uint8_t>(0x80 >> at_ % 8);
    }

  private:
    FrameBytes& bytes_;
    std::size_t at_ = 0;
};

class BitReader {
  public:
    explicit BitReader(const FrameBytes& bytes) : bytes_(bytes) {}
    int take(int bits)
    {
        int value = 0;
        for (; bits > 0; --bits, ++at_) value = 2 * value + (bytes_[at_ / 8] >> (7 - at_ % 8) & 1);
        return value;
    }

  private:
    const FrameBytes& bytes_;
    std::size_t at_ = 0;
};

}  // namespace

FrameBytes packed(const Frame& frame)
{
    FrameBytes bytes{};
    BitWriter writer(bytes);
    for (const std::int16_t index : frame.envelope) writer.put(index, kEnvelopeBits);
    writer.put(frame.pitch, 7);
    writer.put(frame.bands, 4);
    writer.put(frame.level, 6);
    writer.put(frame.change, 4);
    return bytes;
}

Frame unpacked(const FrameBytes& bytes)
{
    Frame frame;
    BitReader reader(bytes);
    for (std::int16_t& index : frame.envelope) index = static_cast<std::int16_t>(reader.take(kEnvelopeBits));
    frame.pitch = reader.take(7);
    frame.bands = reader.take(4);
    frame.level = reader.take(6);
    frame.change = reader.take(4);
    return frame;
}

int pitch_code(float lag)
{
    const float steps = (kPitchCodes - 1) * std::log(lag / kLeastLag) / std::log(kGreatestLag / kLeastLag);
    return 1 + std::clamp(static_cast<int>(std::lround(steps)), 0, kPitchCodes - 1);
}

float lag_of(int code)
{
    return kLeastLag *
           std::pow(kGreatestLag / kLeastLag, static_cast<float>(code - 1) / static_cast<float>(kPitchCodes - 1));
}

void code_levels(const Levels& levels, Frame& frame)
{
    // Before a start and behind an end it is the loud half that is heard: it bounds how quiet the other one is.
    const float loud = std::max(levels.middle, levels.end);
    const float change = std::clamp(levels.end - levels.middle, kChanges.front(), kChanges.back());
    const auto nearest = std::min_element(kChanges.begin(), kChanges.end(), [&](float x, float y) {
        return std::fabs(x - change) < std::fabs(y - change);
    });
    frame.change = static_cast<int>(nearest - kChanges.begin());
    const float mean = loud - std::fabs(*nearest) / 2;
    const long code =
        loud < kLowestLevel - kLevelStep / 2 ? 0 : 1 + std::lround((mean - kLowestLevel) / kLevelStep);
    frame.level =
        static_cast<int>(std::clamp(code, loud < kLowestLevel - kLevelStep / 2 ? 0L : 1L, kLevelCodes - 1L));
    if (frame.level == 0) frame.change = 0;
}

Levels levels_of(const Frame& frame)
{
    if (frame.level == 0) return {kSilence, kSilence};
    const float mean = kLowestLevel + kLevelStep * static_cast<float>(frame.level - 1);
    const float half = kChanges[static_cast<std::size_t>(frame.change)] / 2;
    return {std::max(mean - half, kSilence), std::max(mean + half, kSilence)};
}

}  // namespace zelsr::examples
