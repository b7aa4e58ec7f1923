#include "train_gmm/files.h"

#include <algorithm>
#include <numeric>

namespace zelsr::examples {

std::vector<std::size_t> part_of(const FileNames& files, int part, int parts)
{
    const std::vector<double> sizes = sizes_of(files);
    std::vector<std::size_t> largest_first(files.size());
    std::iota(largest_first.begin(), largest_first.end(), std::size_t{0});
    std::stable_sort(largest_first.begin(), largest_first.end(),
                     [&](std::size_t a, std::size_t b) { return sizes[a] > sizes[b]; });

    // Each goes to the part that has least so far.
    std::vector<double> loads(static_cast<std::size_t>(parts));
    std::vector<bool> mine(files.size());
    for (const std::size_t file : largest_first) {
        const auto least = std::min_element(loads.begin(), loads.end());
        *least += sizes[file];
        mine[file] = least - loads.begin() == part;
    }
    std::vector<std::size_t> places;
    for (std::size_t i = 0; i < files.size(); ++i)
        if (mine[i]) places.push_back(i);
    return places;
}

FileNames names_of(const FileNames& files, const std::vector<std::size_t>& places)
{
    FileNames names;
    for (const std::size_t place : places) names.push_back(files[place]);
    return names;
}

}  // namespace zelsr::examples
