#include "aurora/compare.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <optional>

#include "aurora/front_end.h"
#include "common/failure.h"
#include "common/mfcc.h"
#include "common/parallel.h"
#include "common/progress.h"
#include "common/text.h"
#include "recognise/folder.h"
#include "recognise/material.h"
#include "recognise/recogniser.h"
#include "recognise/training.h"

namespace zelsr::examples {
namespace {

enum class Way { Plain, FrontEnd, Fixed, Dropped };
constexpr std::size_t kWays = 4;
constexpr std::array<const char*, kWays> kWayNames = {"plain MFCC", "front-end", "in 16 bits", "speech only"};

template <class T>
FeatureMatrix<T> front_end_rows(const std::vector<float>& sound, int rate, bool speech_only)
{
    FrontEnd<T> front_end(rate);
    FeatureMatrix<T> all(front_end.width());
    std::vector<T> samples(sound.size());
    to_16_bit_units(sound, samples.data());
    all.append(front_end.add(samples));
    all.append(front_end.finish());
    if (!speech_only) return all;

    FeatureMatrix<T> kept(front_end.width());
    const std::vector<Mark> marks = front_end.take_marks();
    for (std::int32_t r = 0; r < all.rows(); ++r)
        if (marks[static_cast<std::size_t>(r)] != Mark::Pause) kept.append({all.row(r), 1, all.step()});
    // A word that was not noticed is recognised from all of it.
    constexpr std::int32_t kFewest = 15;
    return kept.rows() < kFewest ? std::move(all) : std::move(kept);
}

FeatureMatrix<float> features_of(Way way, const std::vector<float>& sound, int rate)
{
    if (way == Way::Plain) {
        MfccOptions options;
        options.rate = rate;
        Mfcc<float> mfcc(options);
        FeatureMatrix<float> all(mfcc.width());
        std::vector<float> samples(sound.size());
        to_16_bit_units(sound, samples.data());
        all.append(mfcc.add(samples));
        all.append(mfcc.finish());
        return all;
    }
    if (way != Way::Fixed) return front_end_rows<float>(sound, rate, way == Way::Dropped);
    const FeatureMatrix<std::int16_t> fixed = front_end_rows<std::int16_t>(sound, rate, false);
    FeatureMatrix<float> all(fixed.width());
    std::vector<float> row(static_cast<std::size_t>(fixed.width()));
    for (std::int32_t r = 0; r < fixed.rows(); ++r) {
        require(zelsConvert_16s32f_Sfs(fixed.row(r), row.data(), fixed.width(), kRowBits),
                "zelsConvert_16s32f_Sfs");
        all.append({row.data(), 1, row_step<float>(fixed.width())});
    }
    return all;
}

FeatureKind kind_of(Way way, int rate)
{
    FeatureKind kind;
    kind.width = kRow;
    if (way == Way::Plain) {
        kind.from_sound = true;
        kind.mfcc.rate = rate;
    }
    return kind;
}

class Trial {
  public:
    explicit Trial(const Comparison& comparison);
    void run();

  private:
    void train_all();
    // Percent of the test words that are recognised under noise, or clean.
    double accuracy(Way way, std::optional<NoiseKind> noise, double ratio);
    void print_row(const std::string& name, std::optional<NoiseKind> noise, double ratio);

    const Comparison& comparison_;
    std::vector<Recording> training_, test_;
    Voices voices_;
    std::vector<Model> models_;
    int rate_;
};

Trial::Trial(const Comparison& comparison)
    : comparison_(comparison),
      training_(read_word_folder(comparison.folder + "/train")),
      test_(read_word_folder(comparison.folder + "/test")),
      rate_(training_.at(0).rate)
{
    if (test_.at(0).rate != rate_)
        throw Failure(comparison.folder + ": training at " + std::to_string(rate_) + " Hz, test at " +
                      std::to_string(test_[0].rate) + " Hz");
    FrontEnd<float>{rate_};          // refuses other rates
    voices_ = voices_of(training_);  // those who babble have trained the models
}

void Trial::train_all()
{
    TrainingOptions options;
    options.normalisation = comparison_.normalisation;
    options.level_column = kCepstra;  // of either kind of rows: c0, or what holds it
    options.threads = comparison_.threads;
    Progress progress("training", static_cast<double>(kWays), "models");
    for (std::size_t w = 0; w < kWays; ++w) {
        std::vector<std::optional<FeatureMatrix<float>>> features(training_.size());
        for_all(training_.size(), comparison_.threads, [&](std::size_t i) {
            features[i] = features_of(static_cast<Way>(w), training_[i].samples, rate_);
        });
        std::vector<Example> examples;
        for (std::size_t i = 0; i < training_.size(); ++i)
            examples.push_back({training_[i].word, std::move(*features[i])});
        models_.push_back(train(kind_of(static_cast<Way>(w), rate_), examples, options));
        progress.at(static_cast<double>(w + 1));
    }
}

double Trial::accuracy(Way way, std::optional<NoiseKind> noise, double ratio)
{
    // Recognisers work one thread at a time: every one has its own part of the words.
    const auto parts = static_cast<std::size_t>(thread_count(comparison_.threads));
    std::vector<std::size_t> right(parts);
    for_all(parts, comparison_.threads, [&](std::size_t part) {
        Recogniser recogniser(models_[static_cast<std::size_t>(way)]);
        for (std::size_t i = part; i < test_.size(); i += parts) {
            std::vector<float> samples = test_[i].samples;
            if (noise)
                samples =
                    mix(samples, rate_,
                        make_noise(*noise, samples.size(), rate_, static_cast<std::uint32_t>(i), voices_), ratio);
            const Recognition heard = recogniser.recognise(features_of(way, samples, rate_));
            right[part] += !heard.paths.empty() && recogniser.text_of(heard.paths[0]) == test_[i].word;
        }
    });
    std::size_t sum = 0;
    for (const std::size_t count : right) sum += count;
    return 100.0 * static_cast<double>(sum) / static_cast<double>(test_.size());
}

void Trial::print_row(const std::string& name, std::optional<NoiseKind> noise, double ratio)
{
    std::string line = padded(name, -16);
    for (std::size_t w = 0; w < kWays; ++w)
        line += padded(fixed(accuracy(static_cast<Way>(w), noise, ratio), 1), 13);
    std::printf("%s\n", line.c_str());
    std::fflush(stdout);
}

void Trial::run()
{
    train_all();
    std::printf("%zu words to train on, %zu to test; words recognised, in percent\n\n", training_.size(),
                test_.size());
    std::string head = padded("", -16);
    for (const char* name : kWayNames) head += padded(name, 13);
    std::printf("%s\n", head.c_str());
    print_row("clean", std::nullopt, 0);
    for (const NoiseKind noise : comparison_.noises)
        for (const double ratio : comparison_.ratios)
            print_row(noise_name(noise) + ", " + shortest(ratio) + " dB", noise, ratio);
}

}  // namespace

void compare(const Comparison& comparison) { Trial(comparison).run(); }

}  // namespace zelsr::examples
