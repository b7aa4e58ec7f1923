#include "recognise/templates.h"

#include <algorithm>
#include <charconv>
#include <numeric>
#include <optional>

#include "common/failure.h"
#include "common/fields.h"

namespace zelsr::examples {
namespace {

constexpr std::string_view kTitle = "zelsr-templates";
constexpr std::int64_t kMostWords = 1 << 16, kMostTemplates = 1 << 20, kMostRows = 1 << 16;
constexpr int kMostBand = 1 << 16;

std::string row_text(std::span<const std::int16_t> row)
{
    std::string text = "row";
    for (const std::int16_t value : row) text += ' ' + std::to_string(value);
    return text + '\n';
}

void read_row(FieldReader& reader, std::span<std::int16_t> row)
{
    const std::string_view text = reader.text("row");
    const char *place = text.data(), *const end = place + text.size();
    for (std::size_t k = 0; k < row.size(); ++k) {
        if (k > 0 && (place == end || *place++ != ' ')) reader.fail("too few values");
        const auto [behind, error] = std::from_chars(place, end, row[k]);
        if (error != std::errc()) reader.fail("a whole number of 16 bits should stand here");
        place = behind;
    }
    if (place != end) reader.fail("too many values");
}

Sequence<std::int16_t> read_sequence(FieldReader& reader, std::int32_t width)
{
    const auto rows = static_cast<std::size_t>(reader.whole("frames", 1, kMostRows));
    const auto row_length = static_cast<std::size_t>(width);
    Sequence<std::int16_t> sequence{width, {}};
    // A damaged count costs no memory before rows are there.
    for (std::size_t r = 0; r < rows; ++r) {
        sequence.values.resize((r + 1) * row_length);
        read_row(reader, std::span(sequence.values).subspan(r * row_length));
    }
    return sequence;
}

}  // namespace

std::size_t TemplateModel::templates() const
{
    return std::accumulate(words.begin(), words.end(), std::size_t{0},
                           [](std::size_t sum, const TemplateWord& word) { return sum + word.templates.size(); });
}

bool TemplateModel::begins(std::string_view text) { return text.starts_with(kTitle); }

std::string TemplateModel::text() const
{
    std::string text = field(kTitle, "1") + text_of(kind) + field("votes", votes) + field("band", warping.band) +
                       field("beam", warping.beam) + field("words", static_cast<double>(words.size()));
    for (const TemplateWord& word : words) {
        text += field("word", word.name) + field("templates", static_cast<double>(word.templates.size()));
        for (const Sequence<std::int16_t>& sequence : word.templates) {
            text += field("frames", sequence.rows());
            const auto width = static_cast<std::size_t>(kind.width);
            for (std::size_t start = 0; start < sequence.values.size(); start += width)
                text += row_text(std::span(sequence.values).subspan(start, width));
        }
    }
    return text + field("end", hash_of(text));
}

TemplateModel TemplateModel::parse(std::string_view text)
{
    FieldReader reader(text);
    if (reader.text(kTitle) != "1") reader.fail("another version of templates");
    TemplateModel model;
    model.kind = read_kind(reader);
    model.votes = static_cast<int>(reader.whole("votes", 1, kMostTemplates));
    model.warping.band = static_cast<int>(reader.whole("band", 0, kMostBand));
    model.warping.beam = reader.number("beam");
    if (!(model.warping.beam > 0 && model.warping.beam <= 1e6)) reader.fail("the beam is from 0 to 10^6");
    const std::int64_t words = reader.whole("words", 1, kMostWords);
    for (std::int64_t w = 0; w < words; ++w) {
        TemplateWord word{std::string(reader.text("word")), {}};
        if (word.name.empty()) reader.fail("a word without a name");
        if (!model.words.empty() && word.name <= model.words.back().name) reader.fail("the words are in no order");
        const std::int64_t templates = reader.whole("templates", 1, kMostTemplates);
        for (std::int64_t i = 0; i < templates; ++i)
            word.templates.push_back(read_sequence(reader, model.kind.width));
        model.words.push_back(std::move(word));
    }
    const std::string_view hash = reader.text("end");
    reader.finish();
    const std::size_t end_line = hash.size() + 5;
    if (hash != hash_of(text.substr(0, text.size() - end_line))) reader.fail("the file was damaged");
    return model;
}

const std::vector<std::string>& warp_arithmetic_names()
{
    static const std::vector<std::string> kNames{"float", "16bit", "8bit"};
    return kNames;
}

class TemplateRecogniser::Distances {
  public:
    virtual ~Distances() = default;
    // Of the words whose templates can be reached, in any order.
    virtual std::vector<TemplateMatch::Candidate> of(const Sequence<std::int16_t>& spoken) const = 0;
};

namespace {

template <class T>
class DistancesIn : public TemplateRecogniser::Distances {
  public:
    explicit DistancesIn(const TemplateModel& model) : votes_(model.votes), warping_(model.warping)
    {
        for (const TemplateWord& word : model.words) {
            words_.emplace_back();
            for (const Sequence<std::int16_t>& sequence : word.templates)
                words_.back().push_back(converted<T>(sequence));
        }
    }

    std::vector<TemplateMatch::Candidate> of(const Sequence<std::int16_t>& spoken) const override
    {
        const Sequence<T> sequence = converted<T>(spoken);
        std::vector<TemplateMatch::Candidate> candidates;
        for (std::size_t w = 0; w < words_.size(); ++w)
            if (const std::optional<double> found = word_distance(sequence, words_[w]))
                candidates.push_back({w, *found});
        return candidates;
    }

  private:
    // The mean of the nearest templates' distances. A word with less of them than votes has their mean.
    std::optional<double> word_distance(const Sequence<T>& spoken, const std::vector<Sequence<T>>& templates) const
    {
        std::vector<double> distances;
        for (const Sequence<T>& sequence : templates)
            if (const std::optional<double> found = distance(spoken, sequence, warping_))
                distances.push_back(*found);
        if (distances.empty()) return {};
        const auto nearest = std::min(distances.size(), static_cast<std::size_t>(votes_));
        std::sort(distances.begin(), distances.end());
        return std::accumulate(distances.begin(), distances.begin() + static_cast<std::ptrdiff_t>(nearest), 0.0) /
               static_cast<double>(nearest);
    }

    int votes_;
    Warping warping_;
    std::vector<std::vector<Sequence<T>>> words_;
};

std::unique_ptr<const TemplateRecogniser::Distances> distances_in(WarpArithmetic arithmetic,
                                                                  const TemplateModel& model)
{
    switch (arithmetic) {
        case WarpArithmetic::Integers16:
            return std::make_unique<DistancesIn<std::int16_t>>(model);
        case WarpArithmetic::Integers8:
            return std::make_unique<DistancesIn<std::uint8_t>>(model);
        default:
            return std::make_unique<DistancesIn<float>>(model);
    }
}

}  // namespace

TemplateRecogniser::TemplateRecogniser(TemplateModel model, WarpArithmetic arithmetic)
    : model_(std::move(model)), distances_(distances_in(arithmetic, model_))
{}

TemplateRecogniser::TemplateRecogniser(TemplateRecogniser&&) noexcept = default;
TemplateRecogniser::~TemplateRecogniser() = default;

TemplateMatch TemplateRecogniser::recognise(const FeatureMatrix<float>& features) const
{
    if (features.width() != model_.kind.width)
        throw Failure("has " + std::to_string(features.width()) + " features a frame, the templates " +
                      std::to_string(model_.kind.width));
    TemplateMatch match{distances_->of(sequence_of(features, model_.kind)), 0};
    std::sort(match.words.begin(), match.words.end(), [](const auto& a, const auto& b) {
        return a.distance != b.distance ? a.distance < b.distance : a.word < b.word;
    });
    if (match.words.size() > 1 && match.words[0].distance > 0)
        match.margin = match.words[1].distance / match.words[0].distance - 1;
    return match;
}

}  // namespace zelsr::examples
