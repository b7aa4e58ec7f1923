// Numbers as text, the same under every locale.
#pragma once

#include <string>
#include <string_view>

namespace zelsr::examples {

// value with the given digits after the point; never "-0.0".
std::string fixed(double value, int digits);

// The shortest text that reads back as the number.
std::string shortest(double value);

// text between spaces on its left (width above zero) or right (below zero); counts bytes.
std::string padded(std::string_view text, int width);

// The last part of a path.
std::string file_name(std::string_view path);

}  // namespace zelsr::examples
