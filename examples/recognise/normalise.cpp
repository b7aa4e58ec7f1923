#include "recognise/normalise.h"

#include <zelsr.h>

#include <cmath>
#include <vector>

#include "common/failure.h"

namespace zelsr::examples {

const std::vector<std::string>& normalisation_names()
{
    static const std::vector<std::string> names = {"none", "mean", "variance"};
    return names;
}

void normalise(FeatureMatrix<float>& features, Normalisation normalisation)
{
    if (normalisation == Normalisation::None || features.rows() == 0) return;
    const auto width = static_cast<std::size_t>(features.width());
    std::vector<float> means(width), factors(width, 1.0f);
    if (normalisation == Normalisation::Mean) {
        require(zelsMeanColumn_32f_D2(features.row(0), features.rows(), features.step(), means.data(),
                                      features.width()),
                "zelsMeanColumn_32f_D2");
    } else {
        require(zelsMeanVarColumn_32f_D2(features.row(0), features.rows(), features.step(), means.data(),
                                         factors.data(), features.width()),
                "zelsMeanVarColumn_32f_D2");
        // A column that never changes has a variance of its rounding errors at most: it becomes zero, not noise.
        constexpr float kLeastVariance = 1e-4f;
        for (float& factor : factors) factor = factor > kLeastVariance ? 1 / std::sqrt(factor) : 1.0f;
    }
    require(zelsNormalizeColumn_32f_D2(features.row(0), features.step(), features.rows(), means.data(),
                                       factors.data(), features.width()),
            "zelsNormalizeColumn_32f_D2");
}

}  // namespace zelsr::examples
