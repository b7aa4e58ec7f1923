// Sound files in folders, and where what becomes of them goes.
#pragma once

#include <string>
#include <vector>

namespace zelsr::examples {

struct FilePair {
    std::string from, to;
};

// Files become themselves in the folder `out`; folders, what lies under them with a sound file's ending, with its
// path from there. In order of the names. Throws Failure for a folder without such files, for two files that would
// become one, or one that would become itself.
std::vector<FilePair> pairs_of(const std::vector<std::string>& files_and_folders, const std::string& out);

// Throws Failure.
void make_folder_of(const std::string& file);

// The files and those in folders.
std::vector<std::string> sounds_of(const std::vector<std::string>& files_and_folders);

}  // namespace zelsr::examples
