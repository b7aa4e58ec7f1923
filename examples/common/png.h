// A picture of 256 colours as a data address, to stand inside an SVG file.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string>

namespace zelsr::examples {

struct Colour {
    std::uint8_t red, green, blue;
};
using Palette = std::array<Colour, 256>;

// pixels: rows from the top, width values each. Returns "data:image/png;base64,...".
std::string png_data_address(std::span<const std::uint8_t> pixels, std::size_t width, const Palette& palette);

// From white over blue and purple to near black, evenly in lightness: level pictures on white pages.
Palette level_palette();

}  // namespace zelsr::examples
