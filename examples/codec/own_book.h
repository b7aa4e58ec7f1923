// The codebook of this folder, speech.book, as the build made it part of the program.
#pragma once

#include <string_view>

namespace zelsr::examples {

extern const std::string_view kOwnBook;

}  // namespace zelsr::examples
