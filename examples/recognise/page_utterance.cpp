// One utterance from its samples to its words, in panels above one time axis.
#include <algorithm>
#include <cmath>
#include <limits>

#include "common/failure.h"
#include "common/plot.h"
#include "common/spectrogram.h"
#include "common/text.h"
#include "recognise/page_parts.h"
#include "zelsr/core/vector.h"

namespace zelsr::examples::report {
namespace {

constexpr double kWidth = 1080, kLeft = 84, kInnerWidth = kWidth - kLeft - 16;
constexpr double kGap = 30, kStripHeight = 24, kLetterWidth = 7.4;
constexpr double kWaveHeight = 90, kSpectrumHeight = 170, kStateHeight = 130, kScoreHeight = 150, kLeadHeight = 80;
constexpr std::size_t kWaveColumns = 1000;
const std::string kSilenceName = "silence";

std::string text_of(const Hypothesis& hypothesis) { return hypothesis.text.empty() ? "nothing" : hypothesis.text; }

class UtteranceChart {
  public:
    UtteranceChart(const UtterancePicture& utterance, const Svg::Caption& caption)
        : utterance_(utterance),
          frames_(utterance.best.states.size()),
          has_second_(!utterance.second.states.empty()),
          seconds_(std::max({static_cast<double>(utterance.samples.size()) / utterance.rate,
                             frame_time(static_cast<std::int64_t>(frames_)), 1.0 / utterance.rate})),
          svg_(kWidth, height(), caption)
    {
        // The same word has the same colour in both hypotheses.
        for (const Hypothesis* one : {&utterance.best, &utterance.second})
            for (const PathSpan& span : one->spans)
                if (!span.word.empty() && std::find(words_.begin(), words_.end(), span.word) == words_.end())
                    words_.push_back(span.word);
    }

    Svg draw()
    {
        draw_strip("best", utterance_.best);
        if (has_second_) draw_strip("second", utterance_.second);
        draw_wave();
        draw_spectrogram();
        draw_states();
        draw_scores();
        if (has_second_) draw_lead();
        return svg_;
    }

  private:
    double height() const
    {
        const double strips = (kStripHeight + 4) * (has_second_ ? 2 : 1);
        const double panels = kWaveHeight + kSpectrumHeight + kStateHeight + kScoreHeight + 4 * kGap;
        return strips + panels + (has_second_ ? kLeadHeight + kGap : 0) + 50;
    }

    // Frames share time: each one up to where the next one begins.
    double frame_time(std::int64_t frame) const
    {
        return static_cast<double>(frame * utterance_.shift) / utterance_.rate;
    }
    double centre_of(std::size_t frame) const
    {
        return frame_time(static_cast<std::int64_t>(frame)) + 0.5 * utterance_.length / utterance_.rate;
    }

    std::string look_of(const PathSpan& span) const
    {
        if (span.word.empty()) return "quiet";
        const auto place = std::find(words_.begin(), words_.end(), span.word) - words_.begin();
        return std::string("s").append(std::to_string(place % kSeriesLooks));
    }

    // The place of the next panel, below the last one.
    Box next(double height, std::string_view heading)
    {
        top_ += kGap;
        const Box box{kLeft, top_, kInnerWidth, height};
        top_ += height;
        svg_.text({kLeft, box.y - 8}, heading, "heading");
        return box;
    }
    Panel panel(const Box& box, double low, double high) const { return Panel(box, 0, seconds_, low, high); }
    void finish(const Panel& panel, bool last)
    {
        draw_x_axis(svg_, panel, "time (s)", last ? Labels::Shown : Labels::None);
    }

    void draw_strip(std::string_view name, const Hypothesis& hypothesis)
    {
        const Box box{kLeft, top_ + 2, kInnerWidth, kStripHeight};
        top_ = box.bottom() + 2;
        const Panel strip = panel(box, 0, 1);
        svg_.text({kLeft - 8, box.y + 17}, name, "label", Anchor::End);
        for (const PathSpan& span : hypothesis.spans) {
            const double left = strip.x(frame_time(span.first)), right = strip.x(frame_time(span.end));
            svg_.box({left, box.y, right - left, box.height}, "span " + look_of(span));
            const std::string& label = span.word.empty() ? kSilenceName : span.word;
            if (kLetterWidth * static_cast<double>(label.size()) < right - left)
                svg_.text({(left + right) / 2, box.y + 17}, label, span.word.empty() ? "tick" : "label",
                          Anchor::Middle);
        }
    }

    void draw_borders(const Panel& panel)
    {
        for (const PathSpan& span : utterance_.best.spans)
            for (std::int32_t frame : {span.first, span.end}) {
                const double x = panel.x(frame_time(frame));
                svg_.line({x, panel.box.y}, {x, panel.box.bottom()}, "border");
            }
    }

    void draw_wave()
    {
        const std::vector<float>& samples = utterance_.samples;
        const std::size_t columns = std::min(kWaveColumns, samples.size());
        std::vector<Point> highest, lowest;  // in seconds and amplitude
        float peak = 0;
        for (std::size_t i = 0; i < columns; ++i) {
            const std::size_t first = i * samples.size() / columns, end = (i + 1) * samples.size() / columns;
            std::vector<float> part(samples.begin() + static_cast<std::ptrdiff_t>(first),
                                    samples.begin() + static_cast<std::ptrdiff_t>(end));
            for (float& sample : part)
                if (!(std::abs(sample) <= 1e6f)) sample = 0;
            float low = 0, high = 0;
            require(zelsMinMax_32f(part.data(), static_cast<std::int32_t>(part.size()), &low, &high),
                    "zelsMinMax_32f");
            const double time = 0.5 * static_cast<double>(first + end) / utterance_.rate;
            highest.push_back({time, high});
            lowest.push_back({time, low});
            peak = std::max({peak, high, -low});
        }
        const double top = peak > 0 ? 1.08 * peak : 1;
        const Panel wave = panel(next(kWaveHeight, "Waveform"), -top, top);
        draw_y_axis(svg_, wave, "amplitude", 5);
        finish(wave, false);
        std::vector<Point> outline;
        for (Point point : highest) outline.push_back(wave.at(point.x, point.y));
        for (std::size_t i = lowest.size(); i-- > 0;) outline.push_back(wave.at(lowest[i].x, lowest[i].y));
        if (!outline.empty()) svg_.path(outline, "wave", true);
        draw_borders(wave);
    }

    void draw_spectrogram()
    {
        const Spectrogram levels = spectrogram_of(utterance_.samples, utterance_.rate);
        const Box box = next(kSpectrumHeight, "Spectrogram, " + fixed(Spectrogram::kShownDecibels, 0) +
                                                  " dB from the page's colour to the strongest");
        const Panel spectrum = panel(box, 0, levels.highest_hz / 1000);
        draw_levels(svg_, spectrum, levels);
        draw_y_axis(svg_, spectrum, "frequency (kHz)", 4);
        finish(spectrum, false);
        draw_borders(spectrum);
    }

    void draw_states()
    {
        const std::vector<std::int32_t>& states = utterance_.best.states;
        const std::int32_t most = states.empty() ? 0 : *std::max_element(states.begin(), states.end());
        const Panel path = panel(next(kStateHeight, "Best path: the state within the word"), -0.5, most + 0.5);
        for (const PathSpan& span : utterance_.best.spans)
            svg_.box({path.x(frame_time(span.first)), path.box.y,
                      path.x(frame_time(span.end)) - path.x(frame_time(span.first)), path.box.height},
                     "tint " + look_of(span));
        draw_y_axis(svg_, path, "state", std::max(1, std::min(most, 5)));
        finish(path, false);
        for (const PathSpan& span : utterance_.best.spans) {
            std::vector<Point> steps;
            for (std::int32_t frame = span.first; frame < span.end; ++frame) {
                const double state = states[static_cast<std::size_t>(frame)];
                const bool same = !steps.empty() && steps.back().y == path.y(state);
                if (same)
                    steps.pop_back();
                else
                    steps.push_back(path.at(frame_time(frame), state));
                steps.push_back(path.at(frame_time(frame + 1), state));
            }
            svg_.path(steps, "states " + look_of(span));
        }
    }

    // Pieces between values that are not finite.
    void draw_curve(const Panel& panel, const std::vector<double>& values, std::string_view look)
    {
        std::vector<Point> points;
        for (std::size_t i = 0; i <= values.size(); ++i) {
            if (i < values.size() && std::isfinite(values[i])) {
                points.push_back(panel.at(centre_of(i), values[i]));
                continue;
            }
            if (points.size() > 1) svg_.path(points, look);
            points.clear();
        }
    }

    Panel panel_for(const Box& box, const std::vector<double>& first, const std::vector<double>& second) const
    {
        double low = std::numeric_limits<double>::infinity(), high = -low;
        for (const std::vector<double>* values : {&first, &second})
            for (double value : *values)
                if (std::isfinite(value)) {
                    low = std::min(low, value);
                    high = std::max(high, value);
                }
        if (low > high) low = high = 0;
        const double margin = std::max({1.0, 0.06 * (high - low), 1e-6 * std::abs(high)});
        return panel(box, low - margin, high + margin);
    }

    void draw_scores()
    {
        const std::vector<double> best(utterance_.best.scores.begin(), utterance_.best.scores.end());
        const std::vector<double> second(utterance_.second.scores.begin(), utterance_.second.scores.end());
        const Box box = next(kScoreHeight, "Log likelihood of every frame on its path");
        const Panel scores = panel_for(box, best, second);
        draw_y_axis(svg_, scores, "log likelihood", 4);
        finish(scores, !has_second_);
        draw_borders(scores);
        svg_.begin_group("scores", &scores.box);
        draw_curve(scores, second, "second");
        draw_curve(scores, best, "first");  // over the second: where they are one, that is the best
        svg_.end_group();
        double x = kLeft + 330;
        struct Key {
            const char *look, *name;
            const Hypothesis* hypothesis;
        };
        for (const auto& [look, name, hypothesis] :
             {Key{"first", "best: ", &utterance_.best}, Key{"second", "second: ", &utterance_.second}}) {
            if (hypothesis->states.empty()) continue;
            const std::string label = name + text_of(*hypothesis);
            svg_.line({x, box.y - 12}, {x + 30, box.y - 12}, look);
            svg_.text({x + 36, box.y - 8}, label, "tick");
            x += 70 + kLetterWidth * static_cast<double>(label.size());
        }
    }

    void draw_lead()
    {
        std::vector<double> lead;
        double sum = 0;
        for (std::size_t i = 0; i < frames_; ++i) {
            const double difference = static_cast<double>(utterance_.best.scores[i]) - utterance_.second.scores[i];
            if (std::isfinite(difference)) sum += difference;
            lead.push_back(sum);
        }
        const Box box =
            next(kLeadHeight, "Lead of the best over the second: the differences, summed from the start");
        const Panel panel = panel_for(box, lead, {0.0});
        draw_y_axis(svg_, panel, "lead", 3);
        finish(panel, true);
        draw_borders(panel);
        svg_.line(panel.at(0, 0), panel.at(seconds_, 0), "zero");
        draw_curve(panel, lead, "first");
    }

    const UtterancePicture& utterance_;
    std::size_t frames_;
    bool has_second_;
    double seconds_;
    std::vector<std::string> words_;
    double top_ = 0;
    Svg svg_;
};

double seconds_at(const UtterancePicture& utterance, std::int32_t frame)
{
    return static_cast<double>(frame) * utterance.shift / utterance.rate;
}

// The mean of the frames' scores that are finite; NaN if there is none.
double mean_score(const Hypothesis& hypothesis, const PathSpan& span)
{
    double sum = 0;
    int count = 0;
    for (std::int32_t frame = span.first; frame < span.end; ++frame)
        if (const double score = hypothesis.scores[static_cast<std::size_t>(frame)]; std::isfinite(score)) {
            sum += score;
            ++count;
        }
    return sum / count;
}

void add_spans(Html& page, const UtterancePicture& utterance)
{
    if (utterance.best.spans.empty() && utterance.second.spans.empty()) return;
    const Html::Element details = page.inside("details");
    page.element("summary", "Words and times");
    std::vector<std::vector<Html::Cell>> rows;
    for (const auto& [hypothesis, name] :
         {std::pair{&utterance.best, "best"}, std::pair{&utterance.second, "second"}})
        for (const PathSpan& span : hypothesis->spans)
            rows.push_back({{name},
                            {span.word.empty() ? kSilenceName : span.word},
                            {fixed(seconds_at(utterance, span.first), 2)},
                            {fixed(seconds_at(utterance, span.end), 2)},
                            {std::to_string(span.end - span.first)},
                            {number_text(mean_score(*hypothesis, span), 2)}});
    page.table(
        "Both hypotheses, word by word",
        {{"hypothesis", false}, {"word", false}, {"start (s)"}, {"end (s)"}, {"frames"}, {"mean log likelihood"}},
        rows);
}

}  // namespace

void add_utterance(Html& page, const UtterancePicture& utterance, const std::string& id)
{
    const std::string name = utterance.name.empty() ? "An utterance" : utterance.name;
    std::string content = "Waveform and spectrogram of \u201c" + utterance.spoken +
                          "\u201d, recognised as \u201c" + text_of(utterance.best) + "\u201d";
    if (!utterance.second.states.empty()) content += "; second best \u201c" + text_of(utterance.second) + "\u201d";
    content += ". The path of the best: ";
    std::vector<std::string> spans;
    for (const PathSpan& span : utterance.best.spans)
        spans.push_back((span.word.empty() ? kSilenceName : span.word) + " to " +
                        fixed(seconds_at(utterance, span.end), 2) + " s");
    content += listed(spans) + ".";

    page.element("h3", name);
    page.element("p", "Spoken: \u201c" + utterance.spoken + "\u201d. Recognised: \u201c" +
                          text_of(utterance.best) + "\u201d.");
    {
        const Html::Element figure = page.inside("figure", "large");
        page.picture(UtteranceChart(utterance, {id, name, content}).draw());
    }
    add_spans(page, utterance);
}

}  // namespace zelsr::examples::report
