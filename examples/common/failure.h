// What ends the work on one file or on a command line: one line of text for the user.
#pragma once

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <string>

#include "zelsr/types.h"

namespace zelsr::examples {

class Failure : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// Text of the last failed system call.
inline std::string system_error_text() { return std::strerror(errno); }

// Warnings (above zero) leave defined values in the output and are no failure.
inline void require(SrStatus status, const char* function)
{
    if (status < 0) throw Failure(std::string(function) + " failed with status " + std::to_string(status));
}

}  // namespace zelsr::examples
