#include "plain/aurora_bands.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <vector>

namespace zelsr::bench::plain {

void split_bands(const float* src, float* low, float* high, int len, const float* taps, int tap_count)
{
    for (int m = 0; m < len / 2; ++m) {
        float sum = 0, alternating = 0, sign = m % 2 == 0 ? -1.0F : 1.0F;
        for (int k = 0; k < tap_count; ++k, sign = -sign) {
            sum += taps[k] * src[2 * m + k];
            alternating += sign * taps[k] * src[2 * m + k];
        }
        low[m] = sum;
        high[m] = alternating;
    }
}

namespace {
std::int16_t to_16s(std::int64_t sum, int sf)
{
    return static_cast<std::int16_t>(
        std::lrint(std::clamp(std::ldexp(static_cast<double>(sum), -sf), -32768.0, 32767.0)));
}
}  // namespace

void split_bands(const std::int16_t* src, std::int16_t* low, std::int16_t* high, int len, const std::int16_t* taps,
                 int tap_count, int sf)
{
    for (int m = 0; m < len / 2; ++m) {
        std::int64_t sum = 0, alternating = 0;
        int sign = m % 2 == 0 ? -1 : 1;
        for (int k = 0; k < tap_count; ++k, sign = -sign) {
            sum += taps[k] * src[2 * m + k];
            alternating += sign * taps[k] * src[2 * m + k];
        }
        low[m] = to_16s(sum, sf);
        high[m] = to_16s(alternating, sf);
    }
}

void residual(const float* src, float* dst, const float* taps)
{
    for (int n = 0; n < 80; ++n) dst[n] = std::inner_product(taps, taps + 17, src + n, 0.0F);
}

void residual(const std::int16_t* src, std::int16_t* dst, const std::int16_t* taps, int sf)
{
    for (int n = 0; n < 80; ++n)
        dst[n] = to_16s(std::inner_product(taps, taps + 17, src + n, std::int64_t{0}), sf);
}

void wave_processing(const float* src, float* dst)
{
    float e[200], s[200], w[200];
    for (int i = 0; i < 200; ++i)
        e[i] = std::fabs(src[i] * src[i] - src[std::max(i - 1, 0)] * src[std::min(i + 1, 199)]);
    for (int i = 0; i < 200; ++i) {
        s[i] = 0;
        for (int j = i - 4; j <= i + 4; ++j) s[i] += e[std::clamp(j, 0, 199)];
    }
    const auto largest = [&](int from, int to) {
        return static_cast<int>(std::max_element(s + from, s + to) - s);
    };
    const int main = largest(0, 200);
    std::vector<int> peaks{main};
    for (int c = main; c < 175;) peaks.push_back(c = largest(c + 25, std::min(c + 80, 200)));
    for (int c = main; c > 25;) peaks.push_back(c = largest(std::max(c - 79, 0), c - 24));
    std::sort(peaks.begin(), peaks.end());
    std::fill(w, w + 200, 0.8F);
    for (std::size_t k = 0; k < peaks.size(); ++k) {
        const int period = k + 1 < peaks.size() ? peaks[k + 1] - peaks[k] : peaks[k] - peaks[k - 1];
        const int a = std::max(peaks[k] - 4, 0), b = std::min(peaks[k] + static_cast<int>(period * 0.8) - 4, 200);
        std::fill(w + a, w + b, 1.2F);
        if (a > 0) w[a - 1] = w[a] = 1;
        if (b < 200) w[b - 1] = w[b] = 1;
    }
    for (int i = 0; i < 200; ++i) dst[i] = src[i] * w[i];
}

void blind_equalization(const float* reference, float* cepstrum, float* bias, int len, float log_energy)
{
    const float step = std::clamp(log_energy - 3.296875F, 0.0F, 1.0F) * 0.0087890625F;
    for (int i = 0; i < len; ++i) {
        cepstrum[i] -= bias[i];
        bias[i] += (cepstrum[i] - reference[i]) * step;
    }
}

void high_band(const float* a, const float* p, const float* q, float* dst)
{
    const auto f = [](float v) { return v > std::exp(-10.0F) ? std::log(v) : -10.0F; };
    const auto sum = [](const float* x, int from, int to) { return std::accumulate(x + from, x + to + 1, 0.0F); };
    const float low[3] = {f(sum(p, 33, 38)), f(sum(p, 39, 48)), f(sum(p, 49, 64))};
    const float high[3] = {f(sum(q, 66, 76) / 2), f(sum(q, 78, 96) / 2), f(sum(q, 98, 128) / 2)};
    const float weight[3] = {0.1F, 0.2F, 0.7F};
    for (int j = 0; j < 3; ++j) {
        dst[j] = 0;
        for (int k = 0; k < 3; ++k) dst[j] += weight[k] * (high[k] - (low[k] - f(a[j])));
    }
}

}  // namespace zelsr::bench::plain
