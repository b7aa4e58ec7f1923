#include "score_speech/picture.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <vector>

#include "common/plot.h"
#include "common/spectrogram.h"
#include "common/text.h"

namespace zelsr::examples {
namespace {

constexpr double kWidth = 1200, kLeft = 84, kInnerWidth = kWidth - kLeft - 24;
constexpr Box kWaveBox{kLeft, 92, kInnerWidth, 150};
constexpr Box kSpectrumBox{kLeft, 272, kInnerWidth, 210};
constexpr Box kScoreBox{kLeft, 512, kInnerWidth, 190};
constexpr double kHeight = kScoreBox.bottom() + 52;
constexpr std::size_t kScoreColumns = 1100;
constexpr double kBarHeight = 5;        // over the spectrogram, where speech is
constexpr std::size_t kMostEdges = 40;  // more lines would hide the spectrogram

constexpr std::string_view kStyles =
    ".page { fill: #fff; }\n"
    ".title { font-size: 19px; font-weight: bold; }\n"
    ".summary { font-size: 13px; }\n"
    ".heading { font-size: 13px; font-weight: bold; }\n"
    ".segment { fill: #f2a33a; fill-opacity: 0.24; }\n"
    ".bar { fill: #e8891c; }\n"
    ".edge { stroke: #d9822b; stroke-width: 1.2; stroke-dasharray: 4 3; }\n"
    ".wave { fill: #2f5d8a; stroke: #2f5d8a; stroke-width: 0.7; stroke-linejoin: round; }\n"
    ".speech { fill: none; stroke: #c8500a; stroke-width: 1.5; stroke-linejoin: round; }\n"
    ".pause { fill: none; stroke: #2166ac; stroke-width: 1.5; stroke-linejoin: round; }\n";

void shade_segments(Svg& svg, const Panel& panel, const Analysis& analysis, const Scoring& scoring)
{
    for (const Segment& segment : scoring.segments) {
        const double left = panel.x(analysis.boundary(segment.first)),
                     right = panel.x(analysis.boundary(segment.end));
        svg.box({left, panel.box.y, right - left, panel.box.height}, "segment");
    }
}

void draw_wave(Svg& svg, const Analysis& analysis, const Scoring& scoring)
{
    const auto columns = analysis.overview.wave().columns();
    float peak = 0;
    for (const Extremes& column : columns) peak = std::max({peak, -column.lowest, column.highest});
    const double top = peak > 0 ? 1.08 * peak : 1;
    const Panel panel(kWaveBox, 0, analysis.seconds, -top, top);

    // Along the highest samples and back along the lowest.
    const double step = static_cast<double>(analysis.overview.wave().items_a_column()) / analysis.shape.rate;
    auto time = [&](std::size_t i) { return std::min((static_cast<double>(i) + 0.5) * step, analysis.seconds); };
    std::vector<Point> outline;
    for (std::size_t i = 0; i < columns.size(); ++i) outline.push_back(panel.at(time(i), columns[i].highest));
    for (std::size_t i = columns.size(); i-- > 0;) outline.push_back(panel.at(time(i), columns[i].lowest));

    svg.begin_group("waveform");
    svg.title("Waveform");
    svg.text({kLeft, kWaveBox.y - 8}, "Waveform", "heading");
    shade_segments(svg, panel, analysis, scoring);
    draw_x_axis(svg, panel, "", Labels::None);
    draw_y_axis(svg, panel, "amplitude", 4);
    svg.path(outline, "wave", true);
    svg.end_group();
}

void draw_spectrogram(Svg& svg, const Analysis& analysis, const Scoring& scoring)
{
    const SpectrogramColumns& spectra = analysis.overview.spectra();
    const Panel panel(kSpectrumBox, 0, analysis.seconds, 0, spectra.highest_hz() / 1000);
    // A column stands for the time around its frames' centres.
    const double start = 0.5 * (analysis.shape.length - analysis.shape.hop) / analysis.shape.rate;
    const double shift = static_cast<double>(analysis.shape.hop) / analysis.shape.rate;

    svg.begin_group("spectrogram");
    svg.title("Spectrogram");
    svg.text({kLeft, kSpectrumBox.y - 8},
             "Spectrogram, " + fixed(Spectrogram::kShownDecibels, 0) + " dB from white to dark", "heading");
    draw_levels(svg, panel, spectra.picture(spectra.loudest(), start, shift));
    draw_x_axis(svg, panel, "", Labels::None);
    draw_y_axis(svg, panel, "frequency (kHz)", 5);
    for (const Segment& segment : scoring.segments) {
        const double left = panel.x(analysis.boundary(segment.first)),
                     right = panel.x(analysis.boundary(segment.end));
        svg.box({left, kSpectrumBox.y, right - left, kBarHeight}, "bar");
        if (scoring.segments.size() > kMostEdges) continue;
        for (double x : {left, right}) svg.line({x, kSpectrumBox.y}, {x, kSpectrumBox.bottom()}, "edge");
    }
    svg.end_group();
}

// The mean over equal groups of frames, at the groups' centres.
struct Track {
    std::vector<double> seconds, values;
};

Track track_of(const std::vector<float>& scores, const Analysis& analysis)
{
    const std::size_t group = (scores.size() + kScoreColumns - 1) / kScoreColumns;
    Track track;
    for (std::size_t i = 0; i < scores.size(); i += group) {
        const std::size_t end = std::min(i + group, scores.size());
        double sum = 0;
        for (std::size_t k = i; k < end; ++k) sum += scores[k];
        track.values.push_back(sum / static_cast<double>(end - i));
        const double centre =
            0.5 * static_cast<double>(i + end - 1) * analysis.shape.hop + 0.5 * analysis.shape.length;
        track.seconds.push_back(centre / analysis.shape.rate);
    }
    return track;
}

void draw_scores(Svg& svg, const Analysis& analysis, const Scoring& scoring)
{
    const Track speech = track_of(scoring.speech, analysis), pause = track_of(scoring.pause, analysis);
    const auto [lowest_speech, highest_speech] = std::minmax_element(speech.values.begin(), speech.values.end());
    const auto [lowest_pause, highest_pause] = std::minmax_element(pause.values.begin(), pause.values.end());
    const double low = std::min(*lowest_speech, *lowest_pause), high = std::max(*highest_speech, *highest_pause);
    const double margin = std::max(1.0, 0.06 * (high - low));
    const Panel panel(kScoreBox, 0, analysis.seconds, low - margin, high + margin);

    svg.begin_group("scores");
    svg.title("Scores");
    svg.text({kLeft, kScoreBox.y - 8}, "Log score of every frame", "heading");
    shade_segments(svg, panel, analysis, scoring);
    draw_x_axis(svg, panel, "time (s)", Labels::Shown);
    draw_y_axis(svg, panel, "log score", 5);

    svg.begin_group("tracks", &kScoreBox);
    for (const auto& [track, look] : {std::pair{&pause, "pause"}, std::pair{&speech, "speech"}}) {
        std::vector<Point> points;
        for (std::size_t i = 0; i < track->values.size(); ++i)
            points.push_back(panel.at(track->seconds[i], track->values[i]));
        svg.path(points, look);
    }
    svg.end_group();

    double x = kScoreBox.right() - 400;
    for (const char* look : {"speech", "pause"}) {
        svg.line({x, kScoreBox.y - 12}, {x + 26, kScoreBox.y - 12}, look);
        svg.text({x + 32, kScoreBox.y - 8}, std::string(look) + " model", "tick");
        x += 130;
    }
    svg.box({x, kScoreBox.y - 18, 26, 12}, "segment");
    svg.text({x + 32, kScoreBox.y - 8}, "speech segment", "tick");
    svg.end_group();
}

}  // namespace

std::string draw(const std::string& title, const std::string& summary, const Analysis& analysis,
                 const Scoring& scoring)
{
    Svg svg(kWidth, kHeight, std::string(axis_styles()) + std::string(kStyles));
    svg.title(title);
    svg.box({0, 0, kWidth, kHeight}, "page");
    svg.text({kLeft, 34}, title, "title");
    svg.text({kLeft, 56}, summary, "summary");
    draw_wave(svg, analysis, scoring);
    draw_spectrogram(svg, analysis, scoring);
    draw_scores(svg, analysis, scoring);
    return svg.finish();
}

}  // namespace zelsr::examples
