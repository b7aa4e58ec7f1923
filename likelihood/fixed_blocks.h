// Scores on 16-bit data by blocks: functions that write the scores of rows first to first + count - 1.
#pragma once

#include "likelihood/fixed_scores.h"

namespace zelsr {

inline CommonVal_32f constant_from(float val, int32_t /*first*/) { return constant(val); }
inline ValOfRow_32f constant_from(const float* val, int32_t first) { return constant(val + first); }

// val: one constant for all rows, or an array.
template <class Scored, class Val>
auto scaled_scores(Scored scored, int32_t width, Val val, int32_t sf)
{
    return [=](int32_t first, int32_t count, float* to) {
        score_scaled(scored.from(first), width, count, constant_from(val, first), sf, store(to));
    };
}
template <class Scored, class Val>
auto low_scores(Scored scored, int32_t width, Val val, int32_t sf)
{
    return [=](int32_t first, int32_t count, float* to) {
        score_low_scaled(scored.from(first), width, count, constant_from(val, first), sf, store(to));
    };
}

}  // namespace zelsr
