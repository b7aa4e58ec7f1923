#include "codec/pitch.h"

#include <zelsr.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>

#include "common/failure.h"

namespace zelsr::examples {
namespace {

constexpr float kLeastCorrelation = 0.3F;
constexpr std::size_t kMostCandidates = 12;
// Twice and three times the period correlate as well: each octave counts so much less.
constexpr float kOctaveLoss = 0.05F;
constexpr float kLeapCost = 1;        // of a pitch that changes by a factor of e
constexpr float kOctaveCost = 0.35F;  // of one that doubles or halves
constexpr float kVoiceChangeCost = 0.15F;

float own_cost(const PitchCandidate& candidate)
{
    if (candidate.lag == 0) return candidate.correlation;
    const float octaves = std::log2(static_cast<float>(candidate.lag) / Correlator::kLeast);
    return 1 - candidate.correlation * (1 - kOctaveLoss * octaves);
}

float change_cost(int from, int to)
{
    if (from == 0 || to == 0) return from == to ? 0 : kVoiceChangeCost;
    const float leap = std::fabs(std::log(static_cast<float>(to) / static_cast<float>(from)));
    const float octave = std::fabs(leap - std::numbers::ln2_v<float>);
    return kLeapCost * std::min(leap, kOctaveCost + octave);
}

}  // namespace

void Correlator::place(const float* centre)
{
    constexpr auto kCount = static_cast<std::int32_t>(2 * kReach + 1);
    float low = 0, high = 0;
    require(zelsMinMax_32f(centre - kReach, kCount, &low, &high), "zelsMinMax_32f");
    // A power of two brings the peak to 2^13 ... 2^14: quiet sound keeps its precision.
    const float peak = std::max(-low, high);
    const int scale = peak > 0 ? std::max(std::ilogb(peak), -40) - 13 : 0;
    require(zelsConvert_32f16s_Sfs(centre - kReach, samples_.data(), kCount, 1, scale), "zelsConvert_32f16s_Sfs");
}

float Correlator::at(int lag) const
{
    float coefficient = 0;
    require(zelsCrossCorrCoeff_16s32f(start(lag), start(lag) + lag, kWindow, &coefficient),
            "zelsCrossCorrCoeff_16s32f");
    return coefficient;
}

float Correlator::refined(int lag) const
{
    // The function looks between a lag and the one below it.
    const int whole = at(lag + 1) > at(lag - 1) ? lag + 1 : lag;
    const std::int16_t* earlier = start(whole);
    float part = 0, coefficient = -2;
    require(zelsCrossCorrCoeffInterpolation_16s32f(earlier + whole, earlier, kWindow, &part, &coefficient),
            "zelsCrossCorrCoeffInterpolation_16s32f");
    // Without a maximum in between the coefficient is not written.
    return coefficient < -1 ? static_cast<float>(lag) : static_cast<float>(whole) - part;
}

std::vector<PitchCandidate> pitch_candidates(const Correlator& correlator)
{
    std::array<float, Correlator::kMost - Correlator::kLeast + 3> values;
    for (std::size_t i = 0; i < values.size(); ++i)
        values[i] = correlator.at(Correlator::kLeast - 1 + static_cast<int>(i));
    std::vector<PitchCandidate> peaks;
    for (std::size_t i = 1; i + 1 < values.size(); ++i)
        if (values[i] > kLeastCorrelation && values[i] >= values[i - 1] && values[i] > values[i + 1])
            peaks.push_back({Correlator::kLeast - 1 + static_cast<int>(i), values[i]});
    std::stable_sort(peaks.begin(), peaks.end(),
                     [](const PitchCandidate& a, const PitchCandidate& b) { return own_cost(a) < own_cost(b); });
    if (peaks.size() > kMostCandidates) peaks.resize(kMostCandidates);
    float best = 0;
    for (const PitchCandidate& peak : peaks) best = std::max(best, peak.correlation);
    peaks.insert(peaks.begin(), PitchCandidate{0, best});
    return peaks;
}

std::optional<int> PitchTracker::add(const std::vector<PitchCandidate>& candidates)
{
    std::vector<Node> nodes;
    for (const PitchCandidate& candidate : candidates) {
        Node node{candidate.lag, 0, 0};
        if (!frames_.empty()) {
            node.cost = std::numeric_limits<float>::infinity();
            const std::vector<Node>& before = frames_.back();
            for (std::size_t i = 0; i < before.size(); ++i) {
                const float cost = before[i].cost + change_cost(before[i].lag, candidate.lag);
                if (cost < node.cost) node = {candidate.lag, cost, i};
            }
        }
        node.cost += own_cost(candidate);
        nodes.push_back(node);
    }
    // Costs count from the cheapest one on, so that they keep their precision for ever.
    float least = nodes[0].cost;
    for (const Node& node : nodes) least = std::min(least, node.cost);
    for (Node& node : nodes) node.cost -= least;
    frames_.push_back(std::move(nodes));
    if (frames_.size() <= kAhead) return std::nullopt;
    const int lag = best_way().front();
    frames_.pop_front();
    return lag;
}

std::vector<int> PitchTracker::finish()
{
    std::vector<int> lags;
    if (!frames_.empty()) lags = best_way();
    frames_.clear();
    return lags;
}

std::vector<int> PitchTracker::best_way() const
{
    std::vector<int> lags(frames_.size());
    const std::vector<Node>& last = frames_.back();
    auto at = static_cast<std::size_t>(
        std::min_element(last.begin(), last.end(), [](const Node& a, const Node& b) { return a.cost < b.cost; }) -
        last.begin());
    for (std::size_t i = frames_.size(); i-- > 0;) {
        lags[i] = frames_[i][at].lag;
        at = frames_[i][at].from;
    }
    return lags;
}

}  // namespace zelsr::examples
