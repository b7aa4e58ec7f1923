// The texts of XML and HTML: what SVG pictures and pages are made of.
#pragma once

#include <string>
#include <string_view>

namespace zelsr::examples {

// Text as it may stand between tags and in an attribute's double quotes. Texts from outside, like file names, hold
// any bytes; what is no text becomes the replacement character.
std::string escaped(std::string_view text);

// ' name="value"', the value escaped.
std::string attribute(std::string_view name, std::string_view value);

}  // namespace zelsr::examples
