#include "plain/noise.h"

#include <algorithm>
#include <cmath>

namespace zelsr::bench::plain {

void track(const float* power, const Mcra& state, float* noise, int bins, bool new_window)
{
    constexpr float ad = 0.7F, ap = 0.2F, as = 0.8F;
    for (int k = 0; k < bins; ++k) {
        const float s = state.smoothed[k] = state.smoothed[k] * as + (1 - as) * power[k];
        state.minimum[k] = std::min(s, new_window ? state.next_minimum[k] : state.minimum[k]);
        state.next_minimum[k] = new_window ? s : std::min(s, state.next_minimum[k]);
        state.presence[k] = ap * state.presence[k] + (s > state.minimum[k] * 5 ? 1 - ap : 0.0F);
        const float a = ad + (1 - ad) * state.presence[k];
        noise[k] = a * noise[k] + (1 - a) * power[k];
    }
}

void track(const std::int32_t* power, const McraQ31& state, std::int32_t* noise, int bins, bool new_window)
{
    constexpr double one = 2147483647.0, unit = 1 / 2147483648.0;
    for (int k = 0; k < bins; ++k) {
        const auto s = static_cast<std::int32_t>(
            (std::int64_t{state.smoothed[k]} * state.as + std::int64_t{power[k]} * (0x7fffffff - state.as)) >> 31);
        state.smoothed[k] = s;
        state.minimum[k] = std::min(s, new_window ? state.next_minimum[k] : state.minimum[k]);
        state.next_minimum[k] = new_window ? s : std::min(s, state.next_minimum[k]);
        const double q = state.presence[k] * unit * state.ap + (state.minimum[k] * 5.0 < s ? one - state.ap : 0.0);
        const double a = state.ad + q * (one - state.ad) * unit;
        state.presence[k] = static_cast<std::int32_t>(std::lrint(q));
        noise[k] = static_cast<std::int32_t>(std::lrint(a * noise[k] * unit + (one - a) * power[k] * unit));
    }
}

void ephraim_malah(const float* gain, const float* snr, float* filter, int len)
{
    for (int i = 0; i < len; ++i) {
        const double v = gain[i] * std::clamp(snr[i], 3.1e-05F, 100.0F), half = v / 2;
        const double g = 0.886226925452758 / std::sqrt(v) * std::exp(-half) *
                         ((1 + v) * std::cyl_bessel_i(0, half) + v * std::cyl_bessel_i(1, half));
        filter[i] = static_cast<float>(gain[i] * g);
    }
}

void wiener(const float* snr, float* filter, int len)
{
    for (int i = 0; i < len; ++i) filter[i] = snr[i] / (1 + snr[i]);
}

void wiener(const std::int32_t* snr, std::int32_t* filter, int len)
{
    for (int i = 0; i < len; ++i)
        filter[i] = static_cast<std::int32_t>((std::int64_t{snr[i]} << 31) / (std::int64_t{snr[i]} + 32768));
}

float least_squares(const float* src, int len, int greatest, int least)
{
    double energy = 0, best = 0;
    for (int i = 0; i < len; ++i) energy += double{src[i]} * src[i];
    for (int p = least; p <= greatest; ++p) {
        double a = 0, b = 0;
        for (int k = 0; k < p; ++k) {
            double sum = 0, squares = 0;
            int count = 0;
            for (int i = k; i < len; i += p, ++count) {
                sum += src[i];
                squares += double{src[i]} * src[i];
            }
            a += sum * sum / count;
            b += squares / count;
        }
        if (energy - b > 0) best = std::max(best, (a - b) / (energy - b));
    }
    return static_cast<float>(best);
}

float best_comb(const float* src, int len, int greatest, int least)
{
    double total = 0;
    float best = 0, best_sum = 0;
    for (int i = 0; i < len; ++i) total += src[i];
    for (int p = least; p <= greatest; ++p)
        for (int k = 0; k < p; ++k) {
            float sum = 0;
            int count = 0;
            for (int i = k; i < len && count < 6; i += p, ++count) sum += src[i];
            if (const float mean = sum / static_cast<float>(count); mean > best) {
                best = mean;
                best_sum = sum;
            }
        }
    return static_cast<float>(best_sum / total);
}

void peaks(const float* src, std::uint8_t* flags, int len, int run)
{
    for (int i = 0; i < len; ++i) {
        int rise = 0, fall = 0;
        while (rise < run && i - rise > 0 && src[i - rise - 1] < src[i - rise]) ++rise;
        while (fall < run && i + fall < len - 1 && src[i + fall + 1] < src[i + fall]) ++fall;
        flags[i] = rise >= std::min(i, run) && fall >= std::min(len - 1 - i, run);
    }
}

}  // namespace zelsr::bench::plain
