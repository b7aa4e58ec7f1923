// Statistics of decision-tree clustering, element by element, in the order of the statements.
#pragma once

#include <cmath>
#include <cstdint>
#include <limits>

#include "zelsr/types.h"

namespace zelsr::test::reference {

template <class T, bool DirectVar>
SrStatus accumulate(const T* mean, const T* var, T* s, T* q, std::int32_t len, T occupancy)
{
    for (std::int32_t i = 0; i < len; ++i) {
        const T m = mean[i], p = var[i];
        const T variance = DirectVar ? p : 1 / p;
        s[i] = m * occupancy;
        q[i] = (variance + m * m) * occupancy;
    }
    return SrOk;
}

// The constant is the double of ln(2 pi), unlike that of the other functions.
template <class T>
SrStatus cluster_likelihood(const T* s, const T* q, std::int32_t len, double* result, T occupancy)
{
    if (!(occupancy >= 0)) return SrErrNegValue;
    if (occupancy == 0) {
        *result = -1e10;
        return SrWarnZeroCount;
    }
    const double g = occupancy, log_g = std::log(g);
    const double constant = len * ((log_g - 1.0 - 1.8378770664093456) + log_g);
    double sum = 0;
    bool zero = false;
    for (std::int32_t i = 0; i < len; ++i) {
        const double s_i = s[i], q_i = q[i];
        const double t = q_i * g - s_i * s_i;
        if (t < 0) {
            *result = std::numeric_limits<double>::quiet_NaN();
            return SrWarnLnNegArg;
        }
        if (t == 0)
            zero = true;
        else
            sum += std::log(t);
    }
    *result = zero ? -std::numeric_limits<double>::infinity() : (0.5 * g) * (constant - sum);
    return zero ? SrWarnLnZeroArg : SrOk;
}

}  // namespace zelsr::test::reference
