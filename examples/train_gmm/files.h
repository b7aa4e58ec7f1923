// The parts of a list of files, for shards and ranks.
#pragma once

#include <cstddef>
#include <vector>

#include "common/file_names.h"

namespace zelsr::examples {

// Part `part`, from 0 on, of `parts`, about as many bytes as any other. The same files make the same parts
// wherever they are dealt out; every file is in one part. Returns places in the list. Throws Failure for a file
// that is not there.
std::vector<std::size_t> part_of(const FileNames& files, int part, int parts);
FileNames names_of(const FileNames& files, const std::vector<std::size_t>& places);

}  // namespace zelsr::examples
