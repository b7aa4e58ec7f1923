// The coefficients of a filter whose order rises step by step.
#pragma once

#include <algorithm>
#include <cstring>

#include "core/simd.h"

namespace zelsr {

// A step takes a[j] = a[j] - a[order-1-j] k and appends a coefficient. The coefficients are kept twice, forwards
// and backwards, so that both factors of a step lie in registers' order. The backward ones end at a fixed place
// and grow downwards, so that a step moves none of them; behind either array lie zeros, so that a step takes whole
// registers.
class StepUp {
  public:
    // Elements of the work memory.
    static constexpr int64_t work_size(int64_t highest_order) { return 2 * (highest_order + 4); }

    StepUp(float* work, int32_t highest_order)
        : forward_(work), backward_end_(work + 2 * std::int64_t{highest_order} + 4)
    {
        std::fill_n(work, work_size(highest_order), 0.0F);
    }

    void step(float k, float last)
    {
        const __m128 factor = _mm_set1_ps(k);
        float* reversed = backward_end_ - order_;
        for (int32_t j = 0; j < order_; j += 4) {
            const __m128 a = Unaligned::four(forward_ + j), b = Unaligned::four(reversed + j);
            Unaligned::put(forward_ + j, a - b * factor);
            Unaligned::put(reversed + j, b - a * factor);
        }
        append(last);
    }
    void append(float last)
    {
        forward_[order_] = last;
        *(backward_end_ - ++order_) = last;
    }

    int32_t order() const { return order_; }
    const float* coefficients() const { return forward_; }
    const float* reversed() const { return backward_end_ - order_; }
    void copy_to(float* a) const { std::memcpy(a, forward_, sizeof(float) * static_cast<std::size_t>(order_)); }

  private:
    float *forward_, *backward_end_;
    int32_t order_ = 0;
};

}  // namespace zelsr
