#include <algorithm>
#include <cmath>

#include "plain/plain.h"

namespace zelsr::bench::plain {

template <class T, class Sum>
Sum dot(const T* first, const T* second, int len)
{
    Sum sum = 0;
    for (int i = 0; i < len; ++i) sum += static_cast<Sum>(first[i]) * static_cast<Sum>(second[i]);
    return sum;
}
template float dot(const float*, const float*, int);
template double dot(const float*, const float*, int);
template double dot(const double*, const double*, int);
template std::int64_t dot(const std::int16_t*, const std::int16_t*, int);

float sum(const float* src, int len)
{
    float sum = 0;
    for (int i = 0; i < len; ++i) sum += src[i];
    return sum;
}

float accurate_sum(const float* src, int len)
{
    long double sum = 0;
    for (int i = 0; i < len; ++i) sum += src[i];
    return static_cast<float>(sum);
}

static std::int32_t scale_sum(std::int64_t sum, int sf)
{
    const double scaled = std::nearbyint(std::ldexp(static_cast<double>(sum), -sf));
    return static_cast<std::int32_t>(std::clamp(scaled, -2147483648.0, 2147483647.0));
}

std::int32_t sum(const std::int16_t* src, int len, int sf)
{
    std::int64_t sum = 0;
    for (int i = 0; i < len; ++i) sum += src[i];
    return scale_sum(sum, sf);
}

std::int32_t sum(const std::int32_t* src, int len, int sf)
{
    std::int64_t sum = 0;
    for (int i = 0; i < len; ++i) sum += src[i];
    return scale_sum(sum, sf);
}

}  // namespace zelsr::bench::plain
