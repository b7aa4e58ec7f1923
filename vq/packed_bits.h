// Numbers of a few bits, one behind the other, from the top of each byte down.
#pragma once

#include <algorithm>
#include <cstdint>

namespace zelsr::vq {

// Into bytes that are zero from `bit` on.
class BitWriter {
  public:
    BitWriter(uint8_t* bytes, int64_t bit) : bytes_(bytes), bit_(bit) {}

    // The low `bits` bits of value (0 to 32), highest first.
    void put(uint32_t value, int32_t bits)
    {
        while (bits > 0) {
            const int32_t free = 8 - static_cast<int32_t>(bit_ % 8), n = std::min(free, bits);
            bits -= n;
            const uint32_t part = value >> bits & ((1U << n) - 1);
            bytes_[bit_ / 8] = static_cast<uint8_t>(bytes_[bit_ / 8] | part << (free - n));
            bit_ += n;
        }
    }

  private:
    uint8_t* bytes_;
    int64_t bit_;
};

class BitReader {
  public:
    BitReader(const uint8_t* bytes, int64_t bit) : bytes_(bytes), bit_(bit) {}

    uint32_t get(int32_t bits)
    {
        uint32_t value = 0;
        while (bits > 0) {
            const int32_t left = 8 - static_cast<int32_t>(bit_ % 8), n = std::min(left, bits);
            bits -= n;
            value = value << n | (bytes_[bit_ / 8] >> (left - n) & ((1U << n) - 1));
            bit_ += n;
        }
        return value;
    }

  private:
    const uint8_t* bytes_;
    int64_t bit_;
};

}  // namespace zelsr::vq
