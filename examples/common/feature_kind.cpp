#include "common/feature_kind.h"

#include <algorithm>
#include <numeric>
#include <optional>

#include "common/failure.h"
#include "common/mfcc_arguments.h"
#include "common/progress.h"

namespace zelsr::examples {
namespace {

constexpr double kMegabyte = 1 << 20;

}  // namespace

FeatureKind kind_of(const FileNames& files, const MfccOptions& options)
{
    const auto first_sound = std::find_if_not(files.begin(), files.end(), names_feature_file);
    const std::string& file = first_sound == files.end() ? files.at(0) : *first_sound;
    try {
        const auto source = open_features(file, options);
        if (source->width() > kMostWidth)
            throw Failure("has " + std::to_string(source->width()) + " values a row, more than " +
                          std::to_string(kMostWidth));
        FeatureKind kind{source->rate() > 0, options, source->width()};
        kind.mfcc.rate = source->rate();
        return kind;
    } catch (const Failure& failure) {
        throw Failure(file + ": " + failure.what());
    }
}

void check_features(const FeatureSource& source, const FeatureKind& kind, const std::string& model)
{
    if (source.rate() > 0 && !kind.from_sound)
        throw Failure("is a sound file, and the " + model + " is one of feature files");
    if (source.rate() > 0 && source.rate() != kind.mfcc.rate)
        throw Failure("has " + std::to_string(source.rate()) + " Hz, and the " + model + " is one of sound at " +
                      std::to_string(kind.mfcc.rate) + " Hz");
    if (source.width() != kind.width)
        throw Failure("has " + std::to_string(source.width()) + " values a row, and the " + model + " " +
                      std::to_string(kind.width));
}

std::string text_of(const FeatureKind& kind)
{
    std::string text;
    if (kind.from_sound) {
        text += field("rate", kind.mfcc.rate);
        text += field("features", mfcc_text(kind.mfcc));
    } else {
        text += field("features", "given");
    }
    return text + field("width", kind.width);
}

FeatureKind read_kind(FieldReader& reader)
{
    FeatureKind kind;
    kind.from_sound = reader.next_is("rate");
    if (kind.from_sound) {
        const auto rate = static_cast<int>(reader.whole("rate", 1000, 1'000'000));
        try {
            kind.mfcc = mfcc_options_of_text(std::string(reader.text("features")));
            kind.mfcc.rate = rate;
            kind.mfcc.check();
        } catch (const Failure& failure) {
            reader.fail(failure.what());
        }
    } else if (reader.text("features") != "given") {
        reader.fail("features of sound need their rate before them");
    }
    kind.width = static_cast<std::int32_t>(reader.whole("width", 1, kMostWidth));
    if (kind.from_sound && kind.width != kind.mfcc.width())
        reader.fail("these features have " + std::to_string(kind.mfcc.width()) + " values");
    return kind;
}

void read_all(const FileNames& files, const FeatureKind& kind, const std::string& model, const std::string& what,
              bool shown, const RowConsumer& rows, const FileConsumer& done)
{
    std::optional<Progress> progress;
    const std::vector<double> sizes = sizes_of(files);
    const double total = std::accumulate(sizes.begin(), sizes.end(), 0.0);
    if (shown) progress.emplace(what, total / kMegabyte, "MB");

    double before = 0;
    for (std::size_t i = 0; i < files.size(); ++i) {
        try {
            const auto source = open_features(files[i], kind.mfcc);
            check_features(*source, kind, model);
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
