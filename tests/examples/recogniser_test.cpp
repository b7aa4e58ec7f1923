// The word recogniser's classes: search, model, training. Usage: examples_recogniser_test
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <map>

#include "common/failure.h"
#include "recognise/rejection.h"
#include "recognise/selecting_scorer.h"

namespace zelsr::examples {
namespace {

// The same numbers everywhere, from 0 up to 1.
class Numbers {
  public:
    explicit Numbers(std::uint64_t seed) : state_(seed) {}
    double next()
    {
        state_ = state_ * 6364136223846793005u + 1442695040888963407u;
        return static_cast<double>(state_ >> 40) / (1 << 24);
    }
    float bell() { return static_cast<float>(next() + next() + next() + next() + next() + next() - 3); }

  private:
    std::uint64_t state_;
};

// Words of 1, 2 and 2 states behind a silence of 2.
Network small_network(Numbers& numbers)
{
    Network network;
    network.silence = {0, 2};
    network.words = {{2, 1}, {3, 2}, {5, 2}};
    for (int s = 0; s < 7; ++s) {
        network.stay.push_back(static_cast<float>(-numbers.next()));
        network.leave.push_back(static_cast<float>(-numbers.next()));
    }
    network.word_penalty = -0.7;
    return network;
}

ScoreMatrix random_scores(Numbers& numbers, std::int32_t frames, std::int32_t states)
{
    ScoreMatrix scores(frames, states);
    for (std::int32_t t = 0; t < frames; ++t)
        for (std::int32_t s = 0; s < states; ++s) scores[t][s] = static_cast<float>(-6 * numbers.next());
    return scores;
}

// Every path there is, one frame after the other: the best score of each sequence of words, with its states.
class Exhaustive {
  public:
    struct Best {
        double score = -std::numeric_limits<double>::infinity();
        std::vector<std::int32_t> states;
    };

    Exhaustive(const Network& network, const ScoreMatrix& scores, bool connected)
        : network_(network), scores_(scores), connected_(connected)
    {
        enter(kSilence, 0, 0);
        for (std::int32_t w = 0; w < words(); ++w) enter(w, 0, 0);
    }

    const std::map<std::vector<std::int32_t>, Best>& found() const { return found_; }

  private:
    std::int32_t words() const { return static_cast<std::int32_t>(network_.words.size()); }

    void enter(std::int32_t word, std::int32_t t, double score)
    {
        if (word != kSilence) {
            sequence_.push_back(word);
            if (connected_) score += network_.word_penalty;
        }
        go(word, 0, t, score);
        if (word != kSilence) sequence_.pop_back();
    }

    // In state s of a word in frame t.
    void go(std::int32_t word, std::int32_t s, std::int32_t t, double score)
    {
        const Chain& chain = word == kSilence ? network_.silence : network_.words[static_cast<std::size_t>(word)];
        const std::int32_t state = chain.first + s;
        score += scores_[t][state];
        states_.push_back(state);
        const double stays = score + network_.stay[static_cast<std::size_t>(state)];
        const double leaves = score + network_.leave[static_cast<std::size_t>(state)];
        const bool last = s + 1 == chain.states, more = t + 1 < scores_.frames();
        if (more) {
            go(word, s, t + 1, stays);
            if (!last) go(word, s + 1, t + 1, leaves);
        }
        if (last && more) {
            const bool may_follow = connected_ || sequence_.empty();
            for (std::int32_t w = 0; may_follow && w < words(); ++w) enter(w, t + 1, leaves);
            if (word != kSilence) enter(kSilence, t + 1, leaves);
        }
        if (last && !more && !sequence_.empty()) {
            Best& best = found_[sequence_];
            if (leaves > best.score) best = {leaves, states_};
        }
        states_.pop_back();
    }

    const Network& network_;
    const ScoreMatrix& scores_;
    bool connected_;
    std::vector<std::int32_t> sequence_, states_;
    std::map<std::vector<std::int32_t>, Best> found_;
};

class Decoding : public testing::TestWithParam<bool> {};
INSTANTIATE_TEST_SUITE_P(Recognise, Decoding, testing::Bool(),
                         [](const auto& mode) { return mode.param ? "Connected" : "Alone"; });

TEST_P(Decoding, TheBestSequencesAreThoseOfAllPaths)
{
    for (std::uint64_t seed = 1; seed <= 40; ++seed) {
        Numbers numbers(seed);
        const Network network = small_network(numbers);
        for (std::int32_t frames = 1; frames <= 7; ++frames) {
            const ScoreMatrix scores = random_scores(numbers, frames, 7);
            const Exhaustive all(network, scores, GetParam());
            std::vector<std::pair<double, std::vector<std::int32_t>>> ranked;
            for (const auto& [words, best] : all.found()) ranked.push_back({best.score, words});
            std::sort(ranked.rbegin(), ranked.rend());
            for (const int hypotheses : {1, 2, 5}) {
                SCOPED_TRACE(testing::Message() << "seed " << seed << ", frames " << frames << ", " << hypotheses);
                const std::vector<Path> paths = decode(network, scores, {GetParam(), hypotheses});
                ASSERT_EQ(paths.size(), std::min(ranked.size(), static_cast<std::size_t>(hypotheses)));
                for (std::size_t i = 0; i < paths.size(); ++i) {
                    EXPECT_NEAR(paths[i].score, ranked[i].first, 1e-9);
                    EXPECT_EQ(paths[i].words, ranked[i].second);
                    EXPECT_EQ(paths[i].states, all.found().at(ranked[i].second).states);
                }
            }
        }
    }
}

TEST_P(Decoding, SegmentsCoverTheFramesAndScoresAreThoseOfTheStates)
{
    Numbers numbers(99);
    const Network network = small_network(numbers);
    const ScoreMatrix scores = random_scores(numbers, 30, 7);
    for (const Path& path : decode(network, scores, {GetParam(), 4})) {
        std::int32_t at = 0;
        std::vector<std::int32_t> words;
        for (const Segment& segment : path.segments) {
            EXPECT_EQ(segment.first, at);
            EXPECT_GT(segment.end, segment.first);
            at = segment.end;
            if (segment.word != kSilence) words.push_back(segment.word);
        }
        EXPECT_EQ(at, 30);
        EXPECT_EQ(words, path.words);
        ASSERT_EQ(path.frame_scores.size(), 30U);
        for (std::int32_t t = 0; t < 30; ++t)
            EXPECT_EQ(path.frame_scores[static_cast<std::size_t>(t)],
                      scores[t][path.states[static_cast<std::size_t>(t)]]);
    }
}

TEST_P(Decoding, OfEqualScoresTheEarlierWordComesFirst)
{
    Network network;
    network.silence = {0, 1};
    network.words = {{1, 1}, {2, 1}, {3, 1}};
    network.stay = network.leave = {-1, -1, -1, -1};
    ScoreMatrix scores(3, 4);
    for (std::int32_t t = 0; t < 3; ++t)
        for (std::int32_t s = 0; s < 4; ++s) scores[t][s] = s == 0 ? -50.0f : -1.0f;
    network.word_penalty = -10;
    const std::vector<Path> paths = decode(network, scores, {GetParam(), 3});
    ASSERT_EQ(paths.size(), 3U);
    for (std::int32_t i = 0; i < 3; ++i)
        EXPECT_EQ(paths[static_cast<std::size_t>(i)].words, std::vector<std::int32_t>{i});
}

TEST_P(Decoding, TooFewFramesGiveNoPath)
{
    Numbers numbers(5);
    Network network = small_network(numbers);
    network.words.erase(network.words.begin());  // two states at least
    EXPECT_TRUE(decode(network, random_scores(numbers, 1, 7), {GetParam(), 3}).empty());
    EXPECT_TRUE(decode(network, ScoreMatrix(0, 7), {GetParam(), 3}).empty());
    EXPECT_FALSE(decode(network, random_scores(numbers, 2, 7), {GetParam(), 3}).empty());
}

TEST_P(Decoding, ScoresThatAreNoNumbersGiveNoPath)
{
    Numbers numbers(6);
    const Network network = small_network(numbers);
    constexpr float kInfinity = std::numeric_limits<float>::infinity();
    for (const float bad : {std::numeric_limits<float>::quiet_NaN(), kInfinity, -kInfinity}) {
        ScoreMatrix scores = random_scores(numbers, 9, 7);
        for (std::int32_t s = 0; s < 7; ++s) scores[4][s] = bad;
        EXPECT_TRUE(decode(network, scores, {GetParam(), 3}).empty()) << bad;
        // Where a state is sound, its paths remain.
        scores[4][2] = -1;
        for (const Path& path : decode(network, scores, {GetParam(), 3})) {
            EXPECT_TRUE(std::isfinite(path.score)) << bad;
            EXPECT_EQ(path.states.size(), 9U);
        }
    }
}

TEST(RecogniseAlign, PassesAllChainsAndMayLeaveOutTheEnds)
{
    Numbers numbers(3);
    const Network network = small_network(numbers);
    const Chain chains[] = {network.silence, network.words[1], network.silence};
    for (std::int32_t frames = 1; frames <= 8; ++frames) {
        const ScoreMatrix scores = random_scores(numbers, frames, 7);
        std::vector<std::int32_t> states;
        const double score = align(network, chains, true, scores, 0, frames, states);
        const Exhaustive all(network, scores, false);
        const auto best = all.found().find({1});
        ASSERT_EQ(states.empty(), best == all.found().end()) << frames;
        if (best == all.found().end()) continue;
        EXPECT_NEAR(score, best->second.score, 1e-9);
        EXPECT_EQ(states, best->second.states);
        states.clear();
        align(network, chains, false, scores, 0, frames, states);
        EXPECT_EQ(states.empty(), frames < 6);
    }
}

// Words whose features move along lines of their own, in noise.
std::vector<Example> made_up_examples(int width, int words, int takes, std::uint64_t seed)
{
    Numbers numbers(seed);
    std::vector<Example> examples;
    for (int word = 0; word < words; ++word)
        for (int take = 0; take < takes; ++take) {
            FeatureMatrix<float> features(width);
            const int frames = 30 + static_cast<int>(20 * numbers.next());
            for (int t = -10; t < frames + 10; ++t) {
                std::vector<float> row(static_cast<std::size_t>(row_step<float>(width)));
                const bool speech = t >= 0 && t < frames;
                for (int k = 0; k < width; ++k)
                    row[static_cast<std::size_t>(k)] =
                        numbers.bell() * 0.5f +
                        (speech ? 3 * std::sin(static_cast<float>((word + 1) * (k + 1)) + 3.0f * t / frames) : 0);
                row[0] = speech ? 6 + numbers.bell() : numbers.bell();
                features.append({row.data(), 1, row_step<float>(width)});
            }
            examples.push_back({"word" + std::to_string(word), std::move(features)});
        }
    return examples;
}

TrainingOptions made_up_options()
{
    TrainingOptions options;
    options.level_column = 0;
    options.components = 2;
    return options;
}

TEST(RecogniseTraining, LearnsWordsAndIsTheSameWithAnyNumberOfThreads)
{
    const FeatureKind kind{false, {}, 7};
    const std::vector<Example> examples = made_up_examples(7, 4, 12, 1);
    TrainingOptions options = made_up_options();
    options.threads = 1;
    const Model model = train(kind, examples, options);
    for (options.threads = 2; options.threads <= 5; options.threads += 3)
        EXPECT_EQ(train(kind, examples, options).text(), model.text()) << options.threads;
    EXPECT_EQ(model.words.size(), 4U);
    EXPECT_EQ(model.silence.states, 3);
    const std::vector<Example> others = made_up_examples(7, 4, 10, 2);
    for (const ScorerKind scorer :
         {ScorerKind::Float, ScorerKind::Fixed, ScorerKind::FixedLow, ScorerKind::Selecting}) {
        const Recogniser recogniser(Model::parse(model.text()), scorer);
        EXPECT_EQ(tally_of(recognise_all(recogniser, others, {}, 2)).right, 40) << static_cast<int>(scorer);
    }
}

TEST(RecogniseTraining, SaysWhatIsWrong)
{
    const auto failure_of = [](std::vector<Example> examples, int width) -> std::string {
        try {
            train({false, {}, width}, examples, made_up_options());
        } catch (const Failure& failure) {
            return failure.what();
        }
        return "";
    };
    EXPECT_EQ(failure_of({}, 7), "there is nothing to train on");
    std::vector<Example> examples = made_up_examples(7, 2, 4, 1);
    EXPECT_EQ(failure_of(made_up_examples(7, 2, 4, 1), 8),
              "an example of 'word0' has 7 features a frame, the model 8");
    examples.push_back({"short", FeatureMatrix<float>(7)});
    EXPECT_EQ(failure_of(std::move(examples), 7), "an example of 'short' has no frames");
    examples = made_up_examples(7, 2, 4, 1);
    const float row[8] = {9, 1, 1, 1, 1, 1, 1, 0};
    examples.push_back({"short", FeatureMatrix<float>(7)});
    examples.back().features.append({row, 1, 8});
    EXPECT_EQ(failure_of(std::move(examples), 7), "all examples of 'short' are too short");
}

TEST(RecogniseScorers, AgreeWithTheMixturesAndWithEachOther)
{
    const FeatureKind kind{false, {}, 7};
    const Model model = train(kind, made_up_examples(7, 3, 12, 1), made_up_options());
    Example example = copy_of(made_up_examples(7, 1, 1, 7)[0]);
    normalise(example.features, model.normalisation);
    ScoreMatrix exact, scores;
    make_scorer(ScorerKind::Float, model)->score(example.features, exact);
    ASSERT_EQ(exact.frames(), example.features.rows());
    ASSERT_EQ(exact.states(), model.state_count());
    for (std::int32_t t = 0; t < exact.frames(); ++t)
        for (std::int32_t s = 0; s < exact.states(); ++s) {
            const std::vector<double> row(example.features.row(t), example.features.row(t) + 7);
            const double score = model.states[static_cast<std::size_t>(s)].log_likelihood(row.data());
            ASSERT_NEAR(exact[t][s], score, 1e-4 * (1 + std::fabs(score))) << t << ' ' << s;
        }
    // In 16 bits: features within 1/2^11 of a column's deviation (plain), which is next to nothing; within about
    // 1/2^5 (low), where a state is as narrow as an eighth of it: scores are off by some units, and far ones in
    // proportion.
    struct Bound {
        ScorerKind scorer;
        double absolute, relative;
    };
    for (const Bound& bound : {Bound{ScorerKind::Fixed, 0.02, 0.002}, {ScorerKind::FixedLow, 4, 0.15}}) {
        make_scorer(bound.scorer, model)->score(example.features, scores);
        for (std::int32_t t = 0; t < exact.frames(); ++t)
            for (std::int32_t s = 0; s < exact.states(); ++s)
                ASSERT_NEAR(scores[t][s], exact[t][s], bound.absolute + bound.relative * std::fabs(exact[t][s]))
                    << static_cast<int>(bound.scorer) << ' ' << t << ' ' << s;
    }
    // With every Gaussian listed, selection leaves nothing out.
    SelectingScorer(model, {4, 1.0}).score(example.features, scores);
    for (std::int32_t t = 0; t < exact.frames(); ++t)
        for (std::int32_t s = 0; s < exact.states(); ++s)
            ASSERT_NEAR(scores[t][s], exact[t][s], 1e-4 * (1 + std::fabs(exact[t][s])));
    // With few listed, most states have the score of those that are far.
    SelectingScorer(model, {4, 0.1}).score(example.features, scores);
    int alike = 0;
    for (std::int32_t s = 0; s < exact.states(); ++s) alike += std::fabs(scores[0][s] - exact[0][s]) < 1e-3;
    EXPECT_LT(alike, exact.states() / 2);
}

TEST(RecogniseModel, TextsReadBackAndDamageIsFound)
{
    Model model = train({false, {}, 7}, made_up_examples(7, 2, 6, 1), made_up_options());
    model.threshold = -3.25;
    const std::string text = model.text();
    EXPECT_EQ(Model::parse(text).text(), text);
    EXPECT_EQ(Model::parse(text).threshold, -3.25);

    const auto failure_of = [](const std::string& damaged) -> std::string {
        try {
            Model::parse(damaged);
        } catch (const Failure& failure) {
            return failure.what();
        }
        return "none";
    };
    const auto with = [&](const std::string& what, const std::string& instead) {
        std::string changed = text;
        changed.replace(changed.find(what), what.size(), instead);
        return failure_of(changed);
    };
    EXPECT_EQ(failure_of(""), "line 1: the file is cut short, 'zelsr-words' should follow");
    EXPECT_EQ(with("zelsr-words 1", "zelsr-words 2"), "line 1: another version of models");
    EXPECT_EQ(with("width 7", "width 0"), "line 3: width is a whole number from 1 to 4096");
    EXPECT_EQ(with("normalisation mean", "normalisation median"), "line 4: no normalisation that is known here");
    EXPECT_EQ(with("words 2", "words 1"), "line 11: 'stay' should stand here");
    EXPECT_EQ(with("word word1", "word word0"), "line 11: the words are in no order");
    EXPECT_EQ(with("word word1", "word "), "line 11: a word without a name");
    EXPECT_EQ(with("stay -", "stay "), "line 13: no logarithm of a probability");
    EXPECT_EQ(with("mean ", "mean x"), "line 18: 7 finite numbers should stand here");
    EXPECT_NE(with("threshold -3.25", "threshold -3.5").find("the file was damaged"), std::string::npos);
    for (std::size_t end = 0; end < text.size(); end += 97)
        EXPECT_NE(failure_of(text.substr(0, end)), "none") << end;
}

TEST(RecogniseThreshold, IsWhatAllButAPartReach)
{
    std::vector<double> confidences;
    for (int i = 0; i < 100; ++i) confidences.push_back(-(i * 37 % 100));
    EXPECT_EQ(threshold_of(confidences, 0), -99);
    EXPECT_EQ(threshold_of(confidences, 0.05), -94);
    EXPECT_EQ(threshold_of(confidences, 1), 0);
    EXPECT_THROW(threshold_of({}, 0.1), Failure);
}

TEST(RecogniseErrors, AreTheFewest)
{
    const auto row = [](const std::string& spoken, const std::string& recognised) {
        const Outcome outcome{spoken, recognised, 0, true};
        const ConnectedRow r = connected_row("", {&outcome, 1});
        return std::vector<std::int64_t>{r.sentences.right, r.spoken,  r.right,
                                         r.substituted,     r.deleted, r.inserted};
    };
    EXPECT_EQ(row("a b c", "a b c"), (std::vector<std::int64_t>{1, 3, 3, 0, 0, 0}));
    EXPECT_EQ(row("a b c", "a x c"), (std::vector<std::int64_t>{0, 3, 2, 1, 0, 0}));
    EXPECT_EQ(row("a b c", "a c"), (std::vector<std::int64_t>{0, 3, 2, 0, 1, 0}));
    EXPECT_EQ(row("a b c", "x a b c"), (std::vector<std::int64_t>{0, 3, 3, 0, 0, 1}));
    EXPECT_EQ(row("a b c", "-"), (std::vector<std::int64_t>{0, 3, 0, 0, 3, 0}));
    EXPECT_EQ(row("a b c d", "b x d e"), (std::vector<std::int64_t>{0, 4, 2, 1, 1, 1}));
}

TEST(RecogniseNormalise, TakesOffMeansAndDeviations)
{
    for (const Normalisation kind : {Normalisation::None, Normalisation::Mean, Normalisation::MeanAndVariance}) {
        Example example = copy_of(made_up_examples(7, 1, 1, 3)[0]);
        const float before = example.features.row(0)[0];
        const std::int32_t rows = example.features.rows();
        normalise(example.features, kind);
        double sum = 0, square = 0;
        for (std::int32_t t = 0; t < rows; ++t) {
            sum += example.features.row(t)[0];
            square += static_cast<double>(example.features.row(t)[0]) * example.features.row(t)[0];
        }
        if (kind == Normalisation::None) {
            EXPECT_EQ(example.features.row(0)[0], before);
            continue;
        }
        EXPECT_NEAR(sum / rows, 0, 1e-5);
        if (kind == Normalisation::MeanAndVariance) {
            EXPECT_NEAR(square / (rows - 1), 1, 1e-4);
        }
    }
}

}  // namespace
}  // namespace zelsr::examples
