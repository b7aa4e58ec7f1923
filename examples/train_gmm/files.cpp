#include "train_gmm/files.h"

#include <sys/stat.h>

#include <algorithm>
#include <numeric>
#include <optional>
#include <sstream>

#include "common/failure.h"
#include "common/feature_source.h"
#include "common/progress.h"
#include "train_gmm/fields.h"

namespace zelsr::examples {
namespace {

constexpr double kMegabyte = 1 << 20;

double size_of(const std::string& path)
{
    struct stat info {};
    if (stat(path.c_str(), &info) != 0)
        throw Failure(path + ": " + (errno == ENOENT ? "no such file" : system_error_text()));
    return static_cast<double>(info.st_size);
}

std::vector<double> sizes_of(const FileNames& files)
{
    std::vector<double> sizes;
    for (const std::string& file : files) sizes.push_back(size_of(file));
    return sizes;
}

// Throws if the file's features are others than those of the mixture.
void check_features(const FeatureSource& source, const Mixture& mixture)
{
    const FeatureKind& kind = mixture.kind();
    if (source.rate() > 0 && !kind.from_sound)
        throw Failure("is a sound file, and the model is one of feature files");
    if (source.rate() > 0 && source.rate() != kind.mfcc.rate)
        throw Failure("has " + std::to_string(source.rate()) + " Hz, and the model is one of sound at " +
                      std::to_string(kind.mfcc.rate) + " Hz");
    if (source.width() != mixture.width())
        throw Failure("has " + std::to_string(source.width()) + " values a row, and the model " +
                      std::to_string(mixture.width()));
}

}  // namespace

FileNames listed_files(const std::string& path)
{
    FileNames files;
    std::string text;
    try {
        text = read_file(path);
    } catch (const Failure& failure) {
        throw Failure(path + ": " + failure.what());
    }
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        if (line.ends_with('\r')) line.pop_back();
        if (!line.empty() && !line.starts_with('#')) files.push_back(line);
    }
    return files;
}

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

FeatureKind kind_of(const FileNames& files, const MfccOptions& options, std::int32_t& width)
{
    const auto first_sound = std::find_if_not(files.begin(), files.end(), names_feature_file);
    const std::string& file = first_sound == files.end() ? files.at(0) : *first_sound;
    try {
        const auto source = open_features(file, options);
        width = source->width();
        if (width > kMostWidth)
            throw Failure("has " + std::to_string(width) + " values a row, more than " +
                          std::to_string(kMostWidth));
        FeatureKind kind{source->rate() > 0, options};
        kind.mfcc.rate = source->rate();
        return kind;
    } catch (const Failure& failure) {
        throw Failure(file + ": " + failure.what());
    }
}

void read_all(const FileNames& files, const Mixture& mixture, const std::string& what, bool shown,
              const RowConsumer& rows, const FileConsumer& done)
{
    std::optional<Progress> progress;
    const std::vector<double> sizes = sizes_of(files);
    const double total = std::accumulate(sizes.begin(), sizes.end(), 0.0);
    if (shown) progress.emplace(what, total / kMegabyte, "MB");

    double before = 0;
    for (std::size_t i = 0; i < files.size(); ++i) {
        try {
            const auto source = open_features(files[i], mixture.kind().mfcc);
            check_features(*source, mixture);
            for (RowBlock<float> block = source->read(); block.rows > 0; block = source->read()) {
                rows(block);
                if (progress) progress->at((before + source->done() * sizes[i]) / kMegabyte);
            }
        } catch (const Failure& failure) {
            throw Failure(files[i] + ": " + failure.what());
        }
        before += sizes[i];
        done(i);
    }
}

}  // namespace zelsr::examples
