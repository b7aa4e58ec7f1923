#include "plain/spectrum.h"

#include <algorithm>
#include <cmath>

namespace zelsr::bench::plain {

void smooth(const float* src, float* dst, int n)
{
    dst[0] = (src[0] * src[0] + src[2] * src[2] + src[3] * src[3]) * 0.5F;
    for (int i = 1; i < n / 4; ++i) {
        const float* x = src + 4 * i;
        dst[i] = ((x[0] * x[0] + x[1] * x[1]) + (x[2] * x[2] + x[3] * x[3])) * 0.5F;
    }
    dst[n / 4] = src[1] * src[1];
}

void smooth(const std::int16_t* src, std::int16_t* dst, int n)
{
    const auto half = [](std::int16_t x) { return (x * x) >> 1; };
    const auto limited = [](int x) { return static_cast<std::int16_t>(std::min(x, 32767)); };
    dst[0] = limited(half(src[0]) + half(src[2]) + half(src[3]));
    for (int i = 1; i < n / 4; ++i) {
        const std::int16_t* x = src + 4 * i;
        dst[i] = limited(half(x[0]) + half(x[1]) + half(x[2]) + half(x[3]));
    }
    dst[n / 4] = limited(src[1] * src[1]);
}

void smooth(const std::int32_t* src, std::int32_t* dst, int n, int sf)
{
    const double scale = std::ldexp(0.5, -sf);
    const auto square = [](std::int32_t x) { return static_cast<double>(x) * x; };
    dst[0] = static_cast<std::int32_t>(std::floor((square(src[0]) + square(src[2]) + square(src[3])) * scale));
    for (int i = 1; i < n / 4; ++i) {
        const std::int32_t* x = src + 4 * i;
        dst[i] = static_cast<std::int32_t>(
            std::lrint(((square(x[0]) + square(x[1])) + (square(x[2]) + square(x[3]))) * scale));
    }
    dst[n / 4] = (src[1] * src[1]) >> sf;
}

void smooth(const std::int32_t* src, std::int64_t* dst, int n, int sf)
{
    const auto half = [](std::int64_t x) { return (x * x) >> 1; };
    dst[0] = (half(src[0]) + half(src[2]) + half(src[3])) >> sf;
    for (int i = 1; i < n / 4; ++i) {
        const std::int32_t* x = src + 4 * i;
        dst[i] = (half(x[0]) + half(x[1]) + half(x[2]) + half(x[3])) >> sf;
    }
    dst[n / 4] = (src[1] * src[1]) >> sf;
}

namespace {

float updated(float a, float b) { return b * (0.1F * (a / (a + b)) * (b / (0.1F * a + b) + 1) + 0.9F); }

}  // namespace

void update_noise(const float* a, const float* b, float* dst, int len)
{
    for (int i = 0; i < len; ++i) dst[i] = a[i] + b[i] == 0 ? 0 : updated(a[i], b[i]);
}

void update_noise(const std::int16_t* a, const std::int16_t* b, std::int16_t* dst, int len, float scale)
{
    for (int i = 0; i < len; ++i)
        dst[i] = static_cast<std::int16_t>(a[i] + b[i] == 0 ? 0 : std::min(updated(a[i], b[i]) * scale, 32767.0F));
}

void update_noise(const std::int32_t* a, const std::int32_t* b, std::int32_t* dst, int len, float scale)
{
    for (int i = 0; i < len; ++i)
        dst[i] =
            a[i] + b[i] == 0
                ? 0
                : static_cast<std::int32_t>(updated(static_cast<float>(a[i]), static_cast<float>(b[i])) * scale);
}

void wiener_gain(const float* power, const float* noise, const float* denoised, float* gain, int len)
{
    for (int i = 0; i < len; ++i) {
        const float e = (0.98F * denoised[i] + 0.02F * std::max(power[i] - noise[i], 0.0F)) / noise[i];
        const float f = std::max(e / (e + 1) * (power[i] / noise[i]), 0.07943282F);
        gain[i] = f / (f + 1);
    }
}

void wiener_gain(const std::int16_t* power, const std::int16_t* noise, const std::int16_t* denoised,
                 std::int16_t* gain, int len)
{
    for (int i = 0; i < len; ++i) {
        if (noise[i] == 0) {
            gain[i] = 1206;
            continue;
        }
        const int r = 16384 / noise[i];
        const std::int64_t t =
            ((82 * std::max(power[i] - noise[i], 0) + std::int64_t{4014} * denoised[i]) * r) >> 14;
        const std::int64_t g = (t << 14) / (t + 4096);
        const std::int64_t x = std::max<std::int64_t>(((power[i] * g) >> 14) * r, 1301);
        gain[i] = static_cast<std::int16_t>((x << 7) / ((x >> 7) + 128));
    }
}

}  // namespace zelsr::bench::plain
