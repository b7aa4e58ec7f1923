#include "plain/chain.h"

#include <algorithm>

namespace zelsr::bench::plain {

void emphasise_and_window(const float* src, const float* window, float emphasis, float* dst, int len)
{
    dst[0] = src[0] * (1 - emphasis) * window[0];
    for (int i = 1; i < len; ++i) dst[i] = (src[i] - emphasis * src[i - 1]) * window[i];
}

void filter(const float* magnitudes, const Filters& filters, float* dst)
{
    for (int f = 0; f < filters.count; ++f) {
        float sum = 0;
        for (int i = filters.first[f]; i < filters.first[f + 1]; ++i)
            sum += magnitudes[filters.bins[i]] * filters.weights[i];
        dst[f] = std::max(1.0F, sum);
    }
}

void append_derivatives(const float* statics, int width, float* rows, int step, float val)
{
    std::copy_n(statics, width, rows + 6 * step);
    for (int order = 0; order < 2; ++order) {
        const float* centre = rows + (4 - 2 * order) * step + order * width;
        float* dst = rows + (4 - 2 * order) * step + (order + 1) * width;
        for (int k = 0; k < width; ++k)
            dst[k] =
                val * ((centre[k + step] - centre[k - step]) + 2 * (centre[k + 2 * step] - centre[k - 2 * step]));
    }
}

}  // namespace zelsr::bench::plain
