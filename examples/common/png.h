// Pictures of 256 colours, as files and as data addresses, which stand inside an SVG file.
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

// A PNG file's bytes. pixels: rows from the top, width values each.
std::string png_file(std::span<const std::uint8_t> pixels, std::size_t width, const Palette& palette);

// The same as "data:image/png;base64,...".
std::string png_data_address(std::span<const std::uint8_t> pixels, std::size_t width, const Palette& palette);

// From white over blue and purple to near black, evenly in lightness: level pictures on white pages.
Palette level_palette();

// From blue over white to red: values below and above a middle, which is between colours 127 and 128.
Palette signed_palette();

}  // namespace zelsr::examples
