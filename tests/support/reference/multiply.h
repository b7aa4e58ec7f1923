// Products of two elements under a scale factor, as they are stated.
#pragma once

#include <cstdint>

#include "support/reference/fixed_point.h"

namespace zelsr::test::reference {

inline std::int16_t product_16s(std::int16_t first, std::int16_t second, std::int32_t sf)
{
    const std::int64_t product = std::int64_t{first} * second;
    if (sf > 30) return 0;
    if (sf >= 0) return saturate<std::int16_t>(shift_right_rounded(product, sf));
    if (sf >= -15) return shift_left_saturated<std::int16_t>(product, -sf);
    return product == 0 ? std::int16_t{0} : product < 0 ? std::int16_t{-32768} : std::int16_t{32767};
}

}  // namespace zelsr::test::reference
