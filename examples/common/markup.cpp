#include "common/markup.h"

#include <cstdint>

namespace zelsr::examples {
namespace {

// Length of the UTF-8 character at the start of text, 0 if there is none that XML allows.
std::size_t character_length(std::string_view text)
{
    auto byte = [&](std::size_t i) { return i < text.size() ? static_cast<std::uint8_t>(text[i]) : 0u; };
    const unsigned first = byte(0);
    if (first < 0x80) return (first >= 0x20 && first != 0x7f) || first == '\n' ? 1 : 0;
    const std::size_t length = first >= 0xc2 && first < 0xe0   ? 2
                               : first >= 0xe0 && first < 0xf0 ? 3
                               : first >= 0xf0 && first < 0xf5 ? 4
                                                               : 0;
    std::uint32_t code = length == 0 ? 0 : first & (0x7fu >> length);
    for (std::size_t i = 1; i < length; ++i) {
        if ((byte(i) & 0xc0) != 0x80) return 0;
        code = code << 6 | (byte(i) & 0x3f);
    }
    const bool shortest = length != 3 || code >= 0x800;
    const bool in_range = length != 4 || (code >= 0x10000 && code <= 0x10ffff);
    const bool allowed = (code < 0xd800 || code > 0xdfff) && code != 0xfffe && code != 0xffff;
    return shortest && in_range && allowed ? length : 0;
}

}  // namespace

std::string escaped(std::string_view text)
{
    std::string out;
    while (!text.empty()) {
        const std::size_t length = character_length(text);
        if (length == 0)
            out += "\xef\xbf\xbd";
        else if (text[0] == '&')
            out += "&amp;";
        else if (text[0] == '<')
            out += "&lt;";
        else if (text[0] == '>')
            out += "&gt;";
        else if (text[0] == '"')
            out += "&quot;";
        else
            out += text.substr(0, length);
        text.remove_prefix(length == 0 ? 1 : length);
    }
    return out;
}

std::string attribute(std::string_view name, std::string_view value)
{
    std::string out(1, ' ');
    return out.append(name).append("=\"").append(escaped(value)).append("\"");
}

}  // namespace zelsr::examples
