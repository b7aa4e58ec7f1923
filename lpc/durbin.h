// The recursion of Levinson and Durbin.
#pragma once

#include "zelsr/types.h"

namespace zelsr {

// Below this order no memory is allocated.
constexpr int32_t kDurbinOnStack = 64;

// The coefficients from the lags 0 to order. work holds order elements.
SrStatus durbin(const float* acorr, float* a, int32_t order, float* error, float* work);

}  // namespace zelsr
