#include <algorithm>
#include <cmath>
#include <limits>
#include <type_traits>

#include "plain/plain.h"

namespace zelsr::bench::plain {

template <class From, class To>
void convert(const From* src, To* dst, int len)
{
    for (int i = 0; i < len; ++i) dst[i] = static_cast<To>(src[i]);
}
template void convert(const std::uint8_t*, float*, int);
template void convert(const std::int16_t*, float*, int);
template void convert(const std::int32_t*, float*, int);
template void convert(const double*, float*, int);

// Integers are the value rounded to nearest and saturated.
template <class From, class To>
void convert_scaled(const From* src, To* dst, int len, int sf)
{
    if constexpr (std::is_floating_point_v<To>) {
        const To scale = std::ldexp(To(1), -sf);
        for (int i = 0; i < len; ++i) dst[i] = static_cast<To>(src[i]) * scale;
    } else {
        using Value = std::conditional_t<std::is_same_v<From, float>, float, double>;
        const Value scale = std::ldexp(Value(1), -sf);
        const Value low = std::numeric_limits<To>::min(), high = std::numeric_limits<To>::max();
        for (int i = 0; i < len; ++i)
            dst[i] =
                static_cast<To>(std::lrint(std::clamp<double>(static_cast<Value>(src[i]) * scale, low, high)));
    }
}
template void convert_scaled(const std::int16_t*, float*, int, int);
template void convert_scaled(const std::int32_t*, float*, int, int);
template void convert_scaled(const std::int16_t*, double*, int, int);
template void convert_scaled(const float*, std::int16_t*, int, int);
template void convert_scaled(const float*, std::int32_t*, int, int);
template void convert_scaled(const double*, std::int32_t*, int, int);
template void convert_scaled(const std::int32_t*, std::int16_t*, int, int);

}  // namespace zelsr::bench::plain
