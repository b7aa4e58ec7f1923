#include "codec/folders.h"

#include <algorithm>
#include <filesystem>
#include <map>
#include <system_error>

#include "common/failure.h"
#include "common/output_file.h"
#include "common/sound_writer.h"

namespace zelsr::examples {
namespace {

namespace fs = std::filesystem;

std::vector<std::string> sounds_under(const std::string& folder)
{
    std::vector<std::string> found;
    std::error_code error;
    fs::recursive_directory_iterator entry(folder, error);
    for (; !error && entry != fs::recursive_directory_iterator(); entry.increment(error))
        if (entry->is_regular_file(error) && container_of_ending(entry->path().string()))
            found.push_back(entry->path().string());
    if (error) throw Failure(folder + ": " + error.message());
    if (found.empty()) throw Failure(folder + ": holds no sound files");
    std::sort(found.begin(), found.end());
    return found;
}

bool is_folder(const std::string& path)
{
    std::error_code error;
    return fs::is_directory(path, error);
}

}  // namespace

std::vector<std::string> sounds_of(const std::vector<std::string>& files_and_folders)
{
    std::vector<std::string> all;
    for (const std::string& one : files_and_folders) {
        if (is_folder(one)) {
            const std::vector<std::string> found = sounds_under(one);
            all.insert(all.end(), found.begin(), found.end());
        } else {
            all.push_back(one);
        }
    }
    return all;
}

std::vector<FilePair> pairs_of(const std::vector<std::string>& files_and_folders, const std::string& out)
{
    std::vector<FilePair> pairs;
    for (const std::string& one : files_and_folders) {
        if (!is_folder(one)) {
            pairs.push_back({one, (fs::path(out) / fs::path(one).filename()).string()});
            continue;
        }
        for (const std::string& sound : sounds_under(one))
            pairs.push_back({sound, (fs::path(out) / fs::path(sound).lexically_relative(one)).string()});
    }
    std::map<std::string, std::string> taken;
    for (const FilePair& pair : pairs) {
        const auto [other, fresh] = taken.emplace(pair.to, pair.from);
        if (!fresh) throw Failure(pair.from + " and " + other->second + " would both become " + pair.to);
        if (same_file(pair.from, pair.to)) throw Failure(pair.from + " would be overwritten");
    }
    return pairs;
}

void make_folder_of(const std::string& file)
{
    const fs::path folder = fs::path(file).parent_path();
    std::error_code error;
    if (!folder.empty()) fs::create_directories(folder, error);
    if (error) throw Failure(folder.string() + ": " + error.message());
}

}  // namespace zelsr::examples
