#include "recognise/sequence.h"

#include <zelsr/core/convert.h>
#include <zelsr/core/vector.h>
#include <zelsr/signal/warping.h>

#include <algorithm>
#include <limits>

#include "common/failure.h"
#include "recognise/endpoints.h"
#include "recognise/normalise.h"

namespace zelsr::examples {
namespace {

constexpr float kSpeechLevel = 0.4F;  // of the way from quiet to loudest
constexpr double kBesideMs = 150;     // what is kept on either side
constexpr float kDeltasCount = 1.5F;  // as the static values do once
constexpr std::int32_t kNearest = 1;  // the rounding of conversions: ties to even

// The library's functions for the three types; a 32-bit distance is 2^bits too large, as the elements are.
SrStatus warp(const Sequence<float>& a, const Sequence<float>& b, const Warping& warping, float& sum)
{
    return zelsDTW_L2_32f_D2(a.values.data(), a.rows(), b.values.data(), b.rows(), a.width, a.width, &sum,
                             warping.band, static_cast<float>(warping.beam));
}

SrStatus warp(const Sequence<std::int16_t>& a, const Sequence<std::int16_t>& b, const Warping& warping,
              std::int32_t& sum)
{
    return zelsDTW_L2Low_16s32s_D2Sfs(a.values.data(), a.rows(), b.values.data(), b.rows(), a.width, a.width, &sum,
                                      warping.band, static_cast<float>(warping.beam * (1 << kSequenceBits)), 0);
}

SrStatus warp(const Sequence<std::uint8_t>& a, const Sequence<std::uint8_t>& b, const Warping& warping,
              std::int32_t& sum)
{
    return zelsDTW_L2_8u32s_D2Sfs(a.values.data(), a.rows(), b.values.data(), b.rows(), a.width, a.width, &sum,
                                  warping.band, static_cast<float>(warping.beam * (1 << kByteBits)), 0);
}

template <class T>
constexpr double kUnit = std::is_same_v<T, std::int16_t> ? 1 << kSequenceBits : 1 << kByteBits;
template <>
constexpr double kUnit<float> = 1;

}  // namespace

Sequence<std::int16_t> sequence_of(const FeatureMatrix<float>& features, const FeatureKind& kind)
{
    const bool known = kind.from_sound;
    const auto beside = static_cast<std::int32_t>(kBesideMs / (known ? kind.mfcc.shift_ms : 10));
    RowRange speech = speech_range(features, level_column(kind), kSpeechLevel);
    speech.first = std::max(0, speech.first - beside);
    speech.end = std::min(features.rows(), speech.end + beside);

    FeatureMatrix<float> part(features.width());
    if (speech.rows() > 0) part.append({features.row(speech.first), speech.rows(), features.step()});
    normalise(part, Normalisation::MeanAndVariance);

    Sequence<std::int16_t> sequence{features.width(), {}};
    sequence.values.resize(static_cast<std::size_t>(part.rows()) * static_cast<std::size_t>(part.width()));
    for (std::int32_t r = 0; r < part.rows(); ++r) {
        if (known && kind.mfcc.derivatives > 0)
            require(zelsMulC_32f_I(kDeltasCount, part.row(r) + kind.mfcc.static_width(), kind.mfcc.static_width()),
                    "zelsMulC_32f_I");
        require(zelsConvert_32f16s_Sfs(part.row(r), sequence.values.data() + std::ptrdiff_t{r} * part.width(),
                                       part.width(), kNearest, -kSequenceBits),
                "zelsConvert_32f16s_Sfs");
    }
    return sequence;
}

template <>
Sequence<std::int16_t> converted(const Sequence<std::int16_t>& sequence)
{
    return sequence;
}

template <>
Sequence<float> converted(const Sequence<std::int16_t>& sequence)
{
    Sequence<float> result{sequence.width, std::vector<float>(sequence.values.size())};
    if (!sequence.values.empty())
        require(zelsConvert_16s32f_Sfs(sequence.values.data(), result.values.data(),
                                       static_cast<std::int32_t>(sequence.values.size()), kSequenceBits),
                "zelsConvert_16s32f_Sfs");
    return result;
}

template <>
Sequence<std::uint8_t> converted(const Sequence<std::int16_t>& sequence)
{
    constexpr int kLess = kSequenceBits - kByteBits, kHalf = 1 << (kLess - 1);
    Sequence<std::uint8_t> result{sequence.width, {}};
    for (const std::int16_t value : sequence.values)
        result.values.push_back(static_cast<std::uint8_t>(std::clamp(((value + kHalf) >> kLess) + 128, 0, 255)));
    return result;
}

template <class T>
std::optional<double> distance(const Sequence<T>& a, const Sequence<T>& b, const Warping& warping)
{
    using Sum = std::conditional_t<std::is_same_v<T, float>, float, std::int32_t>;
    if (a.rows() == 0 || b.rows() == 0) return {};
    Sum sum = 0;
    require(warp(a, b, warping, sum), "zelsDTW");
    // What no path leads to has the largest number for its distance.
    if (!(sum < std::numeric_limits<Sum>::max())) return {};
    return static_cast<double>(sum) / kUnit<T> / std::max(a.rows(), b.rows());
}

template std::optional<double> distance(const Sequence<float>&, const Sequence<float>&, const Warping&);
template std::optional<double> distance(const Sequence<std::int16_t>&, const Sequence<std::int16_t>&,
                                        const Warping&);
template std::optional<double> distance(const Sequence<std::uint8_t>&, const Sequence<std::uint8_t>&,
                                        const Warping&);

}  // namespace zelsr::examples
