#include <algorithm>

#include "plain/plain.h"

namespace zelsr::bench::plain {

void unite_rows(const std::int32_t* indices, int count, const std::uint8_t* const* table, int offset,
                std::uint8_t* dst, int height, int width)
{
    const std::ptrdiff_t row_bytes = (width + 7) / 8;
    std::fill(dst, dst + height * row_bytes, std::uint8_t{0});
    for (int r = 0; r < height; ++r)
        for (int i = 0; i < count; ++i) {
            const std::uint8_t* row = table[indices[r * count + i]];
            for (int c = 0; c < width; ++c)
                if (row[(offset + c) / 8] & 128 >> (offset + c) % 8)
                    dst[r * row_bytes + c / 8] |= static_cast<std::uint8_t>(128 >> c % 8);
        }
}

}  // namespace zelsr::bench::plain
