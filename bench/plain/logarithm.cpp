#include <algorithm>
#include <cmath>

#include "plain/plain.h"

namespace zelsr::bench::plain {

void logarithm(float* srcdst, int len)
{
    for (int i = 0; i < len; ++i) srcdst[i] = std::log(srcdst[i]);
}

void logarithm(const std::int32_t* src, std::int32_t* dst, int len, int sf)
{
    const float scale = std::ldexp(1.0F, -sf);
    for (int i = 0; i < len; ++i)
        dst[i] = static_cast<std::int32_t>(std::lrint(std::log(static_cast<float>(src[i])) * scale));
}

float sum_of_logarithms(const float* src, int len)
{
    double sum = 0;
    for (int i = 0; i < len; ++i) sum += std::log(static_cast<double>(src[i]));
    return static_cast<float>(sum);
}

double sum_of_logarithms(const double* src, int len)
{
    double sum = 0;
    for (int i = 0; i < len; ++i) sum += std::log(src[i]);
    return sum;
}

}  // namespace zelsr::bench::plain
