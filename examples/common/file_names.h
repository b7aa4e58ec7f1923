// The files that a command works on.
#pragma once

#include <string>
#include <vector>

namespace zelsr::examples {

using FileNames = std::vector<std::string>;

// The names in a list, one a line; empty lines and those that begin with # do not count. Throws Failure.
FileNames listed_files(const std::string& path);

// In bytes. Throws Failure for a file that is not there.
std::vector<double> sizes_of(const FileNames& files);

}  // namespace zelsr::examples
