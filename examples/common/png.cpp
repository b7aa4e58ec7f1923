#include "common/png.h"

#include <algorithm>
#include <cmath>
#include <string_view>

namespace zelsr::examples {
namespace {

void append_32(std::string& out, std::uint32_t value)
{
    for (int shift = 24; shift >= 0; shift -= 8) out += static_cast<char>(value >> shift & 0xff);
}

std::uint32_t crc_32(std::string_view bytes)
{
    std::uint32_t crc = 0xffffffffu;
    for (char byte : bytes) {
        crc ^= static_cast<std::uint8_t>(byte);
        for (int bit = 0; bit < 8; ++bit) crc = crc >> 1 ^ (crc & 1 ? 0xedb88320u : 0u);
    }
    return ~crc;
}

std::uint32_t adler_32(std::string_view bytes)
{
    std::uint32_t low = 1, high = 0;
    for (char byte : bytes) {
        low = (low + static_cast<std::uint8_t>(byte)) % 65521;
        high = (high + low) % 65521;
    }
    return high << 16 | low;
}

// zlib's container with stored blocks: no compression, no dependency.
std::string stored_zlib(std::string_view bytes)
{
    std::string out = "\x78\x01";
    std::string_view rest = bytes;
    do {
        const std::size_t size = std::min<std::size_t>(rest.size(), 65535);
        out += size == rest.size() ? '\x01' : '\x00';
        for (std::size_t word : {size, ~size}) {
            out += static_cast<char>(word & 0xff);
            out += static_cast<char>(word >> 8 & 0xff);
        }
        out += rest.substr(0, size);
        rest.remove_prefix(size);
    } while (!rest.empty());
    append_32(out, adler_32(bytes));
    return out;
}

void append_chunk(std::string& out, std::string_view type, std::string_view content)
{
    append_32(out, static_cast<std::uint32_t>(content.size()));
    const std::string body = std::string(type) + std::string(content);
    out += body;
    append_32(out, crc_32(body));
}

std::string base_64(std::string_view bytes)
{
    static constexpr char kDigits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string out;
    for (std::size_t i = 0; i < bytes.size(); i += 3) {
        std::uint32_t three = 0;
        for (std::size_t k = 0; k < 3; ++k)
            three = three << 8 | (i + k < bytes.size() ? static_cast<std::uint8_t>(bytes[i + k]) : 0u);
        for (std::size_t k = 0; k < 4; ++k)
            out += i + k > bytes.size() ? '=' : kDigits[three >> (18 - 6 * k) & 63];
    }
    return out;
}

// Even steps from stop to stop.
Palette palette_through(std::span<const Colour> stops)
{
    Palette palette;
    for (std::size_t i = 0; i < palette.size(); ++i) {
        const double at = static_cast<double>(i) / 255 * (stops.size() - 1);
        const std::size_t left = std::min(static_cast<std::size_t>(at), stops.size() - 2);
        const double part = at - static_cast<double>(left);
        auto mix = [&](std::uint8_t from, std::uint8_t to) {
            return static_cast<std::uint8_t>(std::lround(from + part * (to - from)));
        };
        const Colour from = stops[left], to = stops[left + 1];
        palette[i] = {mix(from.red, to.red), mix(from.green, to.green), mix(from.blue, to.blue)};
    }
    return palette;
}

}  // namespace

std::string png_file(std::span<const std::uint8_t> pixels, std::size_t width, const Palette& palette)
{
    const std::size_t height = pixels.size() / width;

    std::string header;
    append_32(header, static_cast<std::uint32_t>(width));
    append_32(header, static_cast<std::uint32_t>(height));
    header += std::string("\x08\x03\x00\x00\x00", 5);  // 8 bits, palette, no filter set, not interlaced

    std::string colours;
    for (Colour colour : palette)
        for (std::uint8_t part : {colour.red, colour.green, colour.blue}) colours += static_cast<char>(part);

    std::string rows;
    rows.reserve(height * (width + 1));
    for (std::size_t row = 0; row < height; ++row) {
        rows += '\0';  // no filter
        for (std::uint8_t pixel : pixels.subspan(row * width, width)) rows += static_cast<char>(pixel);
    }

    std::string png = "\x89PNG\r\n\x1a\n";
    append_chunk(png, "IHDR", header);
    append_chunk(png, "PLTE", colours);
    append_chunk(png, "IDAT", stored_zlib(rows));
    append_chunk(png, "IEND", "");
    return png;
}

std::string png_data_address(std::span<const std::uint8_t> pixels, std::size_t width, const Palette& palette)
{
    return "data:image/png;base64," + base_64(png_file(pixels, width, palette));
}

Palette level_palette()
{
    constexpr std::array<Colour, 6> kStops{
        {{255, 255, 255}, {205, 221, 240}, {122, 164, 214}, {84, 92, 178}, {94, 32, 118}, {32, 6, 40}}};
    return palette_through(kStops);
}

Palette signed_palette()
{
    constexpr std::array<Colour, 7> kStops{{{12, 40, 96},
                                            {44, 104, 176},
                                            {150, 192, 222},
                                            {250, 250, 250},
                                            {240, 172, 138},
                                            {196, 66, 66},
                                            {100, 8, 32}}};
    return palette_through(kStops);
}

}  // namespace zelsr::examples
