// Gaussians that are split, merged and compared, element by element, in the order of the statements.
#pragma once

#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

#include "support/reference/update.h"
#include "zelsr/core/vector.h"
#include "zelsr/types.h"

namespace zelsr::test::reference {

template <class T>
SrStatus gaussian_split(T* mean1, const T* var1, T* mean2, T* var2, std::int32_t len, T factor)
{
    for (std::int32_t i = 0; i < len; ++i) {
        const T m = mean1[i], v = var1[i];
        const T t = factor * std::sqrt(v);
        var2[i] = v;
        mean1[i] = m + t;
        mean2[i] = m - t;
    }
    return SrOk;
}

struct MergedElement {
    double m, v;
};

inline MergedElement merged(double m1, double v1, double m2, double v2, double w1, double w2)
{
    const double weight = w1 + w2;
    const double m = (w1 * m1 + w2 * m2) / weight;
    return {m, ((m1 * m1 + v1) * w1 + (m2 * m2 + v2) * w2) / weight - m * m};
}

// The first element whose variance has no logarithm is the last one that is written.
inline SrStatus gaussian_merge_32f(const float* mean1, const float* var1, const float* mean2, const float* var2,
                                   float* mean, float* var, std::int32_t len, float* gconst, float weight1,
                                   float weight2)
{
    double sum = 0;
    for (std::int32_t i = 0; i < len; ++i) {
        const MergedElement x = merged(mean1[i], var1[i], mean2[i], var2[i], weight1, weight2);
        mean[i] = static_cast<float>(x.m);
        var[i] = static_cast<float>(x.v);
        if (!(x.v < 0) && !(x.v > 0)) {
            *gconst = std::numeric_limits<float>::infinity();
            return SrWarnLnZeroArg;
        }
        if (!(x.v >= 0)) {
            *gconst = std::numeric_limits<float>::quiet_NaN();
            return SrWarnLnNegArg;
        }
        sum += std::log(x.v);
    }
    *gconst = static_cast<float>(len * kLogTwoPi - sum);
    return SrOk;
}

inline SrStatus gaussian_merge_64f(const double* mean1, const double* var1, const double* mean2,
                                   const double* var2, double* mean, double* var, std::int32_t len, double* gconst,
                                   double weight1, double weight2)
{
    std::vector<double> merged_variances;
    for (std::int32_t i = 0; i < len; ++i) {
        const MergedElement x = merged(mean1[i], var1[i], mean2[i], var2[i], weight1, weight2);
        mean[i] = x.m;
        var[i] = x.v;
        merged_variances.push_back(x.v);
    }
    double sum = 0;
    const SrStatus status = zelsSumLn_64f(merged_variances.data(), len, &sum);
    *gconst = status == SrOk ? len * kLogTwoPi - sum : sum;
    return status;
}

// Below 13 elements one logarithm at a time, from 13 on the sum of the public function.
template <class T>
SrStatus gaussian_dist(const T* mean1, const T* var1, const T* mean2, const T* var2, std::int32_t len, T* distance,
                       T weight1, T gconst1, T weight2, T gconst2)
{
    std::vector<double> variances;
    for (std::int32_t i = 0; i < len; ++i)
        variances.push_back(merged(mean1[i], var1[i], mean2[i], var2[i], weight1, weight2).v);
    SrStatus status = SrOk;
    double sum = 0;
    if (len >= 13) {
        status = zelsSumLn_64f(variances.data(), len, &sum);
    } else {
        for (double v : variances) {
            if (v == 0 || v < 0) {
                status = v == 0 ? SrWarnLnZeroArg : SrWarnLnNegArg;
                break;
            }
            sum += std::log(v);
        }
    }
    if (status == SrWarnLnZeroArg) {
        *distance = std::numeric_limits<T>::infinity();
    } else if (status == SrWarnLnNegArg) {
        *distance = std::numeric_limits<T>::quiet_NaN();
    } else {
        const double w1 = weight1, w2 = weight2;
        *distance = static_cast<T>((w1 * gconst1 + w2 * gconst2) - (w1 + w2) * (len * kLogTwoPi - sum));
    }
    return status;
}

}  // namespace zelsr::test::reference
