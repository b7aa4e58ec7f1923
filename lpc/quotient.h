// Quotients by the processor's reciprocal estimate, and what becomes of zero denominators.
#pragma once

#include <emmintrin.h>

#include <cstdint>

#include "core/simd.h"
#include "zelsr/types.h"

namespace zelsr {

// 1 / d: the estimate r (relative error up to 1.5 * 2^-12) and one Newton step. The step does not converge where
// the estimate is 0 or infinite, and what it gives there stands: wanted.
inline __m128 reciprocal(__m128 d)
{
    const __m128 r = _mm_rcp_ps(d);
    return r * (_mm_set1_ps(2.0F) - d * r);
}

// Zero denominators among those that were looked at.
class ZeroDenominators {
  public:
    __m128 find(__m128 d)
    {
        const __m128 zero = _mm_cmpeq_ps(d, _mm_setzero_ps());
        any_ = _mm_or_ps(any_, zero);
        return zero;
    }
    SrStatus status() const { return _mm_movemask_ps(any_) != 0 ? SrWarnDivByZero : SrOk; }

  private:
    __m128 any_ = _mm_setzero_ps();
};

// A zero denominator clears the thread's status flags: wanted. To be called with the caller's environment back in
// place.
inline SrStatus clear_flags_on_warning(SrStatus status)
{
    if (status == SrWarnDivByZero) {
        constexpr unsigned kSseFlags = 0x3f;
        _mm_setcsr(_mm_getcsr() & ~kSseFlags);
        asm volatile("fnclex");
    }
    return status;
}

}  // namespace zelsr
