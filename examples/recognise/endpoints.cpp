#include "recognise/endpoints.h"

#include <zelsr/core/vector.h>
#include <zelsr/likelihood/order.h>

#include <vector>

#include "common/failure.h"

namespace zelsr::examples {

int level_column(const FeatureKind& kind)
{
    return kind.from_sound && kind.mfcc.energy != Energy::None ? kind.mfcc.static_width() - 1 : -1;
}

RowRange speech_range(const FeatureMatrix<float>& features, int column, float share)
{
    RowRange speech{0, features.rows()};
    if (column < 0 || features.rows() == 0) return speech;
    std::vector<float> levels;
    for (std::int32_t r = 0; r < features.rows(); ++r) levels.push_back(features.row(r)[column]);
    const std::int32_t rows = features.rows();
    float quiet = 0, loud = 0;
    require(zelsNthMaxElement_32f(levels.data(), rows, rows - 1 - rows / 10, &quiet), "zelsNthMaxElement_32f");
    require(zelsMax_32f(levels.data(), rows, &loud), "zelsMax_32f");
    const float least = quiet + share * (loud - quiet);
    const auto is_quiet = [&](std::int32_t r) { return levels[static_cast<std::size_t>(r)] < least; };
    while (speech.rows() > 1 && is_quiet(speech.first)) ++speech.first;
    while (speech.rows() > 1 && is_quiet(speech.end - 1)) --speech.end;
    return speech;
}

}  // namespace zelsr::examples
