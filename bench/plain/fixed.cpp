#include <cmath>

#include "plain/log_add.h"
#include "plain/plain.h"

namespace zelsr::bench::plain {
namespace {

struct Fixed {
    float half_scale;
    explicit Fixed(int sf) : half_scale(std::ldexp(1.0F, -sf - 1)) {}
    float operator()(const std::int16_t* x, const std::int16_t* mean, const std::int16_t* inv_var, int len,
                     float val) const
    {
        float sum = 0;
        for (int k = 0; k < len; ++k) {
            const int difference = x[k] - mean[k];
            sum += static_cast<float>(difference * difference) * static_cast<float>(inv_var[k]);
        }
        return val - sum * half_scale;
    }
};

// The sum fits 32 bits.
struct Low {
    int sf;
    explicit Low(int factor) : sf(factor) {}
    float operator()(const std::int16_t* x, const std::int16_t* mean, const std::int16_t* inv_var, int len,
                     float val) const
    {
        int sum = 0;
        for (int k = 0; k < len; ++k) {
            const int difference = x[k] - mean[k];
            sum += difference * difference * inv_var[k];
        }
        return val - static_cast<float>(sum >> (sf + 1));
    }
};

template <class Score>
void frames_by(const Score& score_of, const std::int16_t* frames, int step, const std::int16_t* mean,
               const std::int16_t* inv_var, int width, float* score, int height, float val)
{
    for (int r = 0; r < height; ++r)
        score[r] = score_of(frames + static_cast<std::ptrdiff_t>(r) * step, mean, inv_var, width, val);
}

template <class Score>
void components_by(const Score& score_of, const std::int16_t* mean, const std::int16_t* inv_var, int step,
                   const std::int16_t* feature, int width, float* value, int height)
{
    for (int j = 0; j < height; ++j) {
        const std::ptrdiff_t first = static_cast<std::ptrdiff_t>(j) * step;
        value[j] = score_of(feature, mean + first, inv_var + first, width, value[j]);
    }
}

template <class Score>
float mixture_by(const Score& score_of, const std::int16_t* feature, const std::int16_t* mean,
                 const std::int16_t* inv_var, int components, int step, int width, const float* val)
{
    float sum = score_of(feature, mean, inv_var, width, val[0]);
    for (int j = 1; j < components; ++j) {
        const std::ptrdiff_t first = static_cast<std::ptrdiff_t>(j) * step;
        sum = log_added(sum, score_of(feature, mean + first, inv_var + first, width, val[j]));
    }
    return sum;
}

}  // namespace

void fixed_frames(const std::int16_t* frames, int step, const std::int16_t* mean, const std::int16_t* inv_var,
                  int width, float* score, int height, float val, int sf)
{
    frames_by(Fixed(sf), frames, step, mean, inv_var, width, score, height, val);
}

void fixed_components(const std::int16_t* mean, const std::int16_t* inv_var, int step, const std::int16_t* feature,
                      int width, float* value, int height, int sf)
{
    components_by(Fixed(sf), mean, inv_var, step, feature, width, value, height);
}

float fixed_mixture(const std::int16_t* feature, const std::int16_t* mean, const std::int16_t* inv_var,
                    int components, int step, int width, const float* val, int sf)
{
    return mixture_by(Fixed(sf), feature, mean, inv_var, components, step, width, val);
}

void low_frames(const std::int16_t* frames, int step, const std::int16_t* mean, const std::int16_t* inv_var,
                int width, float* score, int height, float val, int sf)
{
    frames_by(Low(sf), frames, step, mean, inv_var, width, score, height, val);
}

void low_components(const std::int16_t* mean, const std::int16_t* inv_var, int step, const std::int16_t* feature,
                    int width, float* value, int height, int sf)
{
    components_by(Low(sf), mean, inv_var, step, feature, width, value, height);
}

float low_mixture(const std::int16_t* feature, const std::int16_t* mean, const std::int16_t* inv_var,
                  int components, int step, int width, const float* val, int sf)
{
    return mixture_by(Low(sf), feature, mean, inv_var, components, step, width, val);
}

}  // namespace zelsr::bench::plain
