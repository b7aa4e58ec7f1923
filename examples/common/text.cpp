#include "common/text.h"

#include <charconv>
#include <cmath>
#include <cstdlib>

namespace zelsr::examples {

std::string fixed(double value, int digits)
{
    char text[400];
    auto [end, error] = std::to_chars(text, text + sizeof text, value, std::chars_format::fixed, digits);
    std::string result(text, end);
    if (result.starts_with('-') && result.find_first_not_of("-0.") == std::string::npos) result.erase(0, 1);
    return result;
}

std::string shortest(double value)
{
    char text[32];
    return {text, std::to_chars(text, text + sizeof text, value).ptr};
}

std::string padded(std::string_view text, int width)
{
    const auto wanted = static_cast<std::size_t>(std::abs(width));
    std::string spaces(wanted > text.size() ? wanted - text.size() : 0, ' ');
    return width >= 0 ? spaces.append(text) : std::string(text) + spaces;
}

std::string file_name(std::string_view path)
{
    return std::string(path.substr(path.find_last_of('/') + 1));  // npos + 1 is 0
}

}  // namespace zelsr::examples
