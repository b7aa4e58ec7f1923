// The files that a command works on, and their parts for shards and ranks.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "common/mfcc.h"
#include "train_gmm/mixture.h"

namespace zelsr::examples {

using FileNames = std::vector<std::string>;

// The names in a list, one a line; empty lines and those that begin with # do not count. Throws Failure.
FileNames listed_files(const std::string& path);

// Part `part`, from 0 on, of `parts`, about as many bytes as any other. The same files make the same parts
// wherever they are dealt out; every file is in one part. Returns places in the list. Throws Failure for a file
// that is not there.
std::vector<std::size_t> part_of(const FileNames& files, int part, int parts);
FileNames names_of(const FileNames& files, const std::vector<std::size_t>& places);

// What the features of these files are: those of the first sound file's rate, or of feature files alone. width is
// that of a row. Throws Failure.
FeatureKind kind_of(const FileNames& files, const MfccOptions& options, std::int32_t& width);

using RowConsumer = std::function<void(const RowBlock<float>&)>;
// Called with a file's place in the list when its rows are through.
using FileConsumer = std::function<void(std::size_t)>;

// Hands on the rows of every file in turn, and shows progress if there are many. Throws Failure, which begins with
// the file's name, for one that cannot be read or whose features are not the mixture's.
void read_all(const FileNames& files, const Mixture& mixture, const std::string& what, bool shown,
              const RowConsumer& rows, const FileConsumer& done);

}  // namespace zelsr::examples
