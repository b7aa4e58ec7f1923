// Re-estimation, element by element, in the order of the statements. Each takes what the public function takes,
// but for null pointers and lengths, which it does not check.
#pragma once

#include <cstdint>
#include <limits>
#include <type_traits>

#include "support/reference/overlap.h"
#include "zelsr/core/vector.h"
#include "zelsr/types.h"

namespace zelsr::test::reference {

constexpr double kLogTwoPi = 1.8378770664093;  // as it stands: not the nearest double

template <class T>
SrStatus status_of_counts(T one, T other)
{
    if (!(one >= 0 && other >= 0)) return SrErrNegValue;
    const T smallest = std::numeric_limits<T>::min();
    return one > smallest && other > smallest ? SrOk : SrWarnZeroCount;
}

template <class T>
SrStatus update_mean(const T* acc, T* mean, std::int32_t len, T occupancy)
{
    if (SrStatus status = status_of_counts(occupancy, occupancy)) return status;
    const T reciprocal = 1 / occupancy;
    for (std::int32_t i = 0; i < len; ++i)
        if constexpr (std::is_same_v<T, float>)
            mean[i] = mean[i] + acc[i] * reciprocal;
        else
            mean[i] = acc[i] / occupancy + mean[i];
    return SrOk;
}

template <class T>
SrStatus update_var(const T* mean_acc, const T* square_acc, const T* floor, T* var, std::int32_t len,
                    T mean_occupancy, T square_occupancy)
{
    if (SrStatus status = status_of_counts(mean_occupancy, square_occupancy)) return status;
    const T mean_factor = 1 / mean_occupancy, square_factor = 1 / square_occupancy;
    std::int32_t floored = 0;
    for (std::int32_t i = 0; i < len; ++i) {
        T m, v;
        if constexpr (std::is_same_v<T, float>) {
            m = mean_acc[i] * mean_factor;
            v = square_acc[i] * square_factor - m * m;
        } else {
            m = mean_acc[i] / mean_occupancy;
            v = square_acc[i] / square_occupancy - m * m;
        }
        if (floor[i] < v) {
            var[i] = v;
        } else {
            var[i] = floor[i];
            ++floored;
        }
    }
    return floored == len ? SrWarnAllFloored : SrOk;
}

// As many partial sums as a register has lanes; what lies behind the last whole register goes to the first. One
// sum in order where the result overlaps elements to come.
template <class T>
SrStatus update_weight(const T* acc, T* weight, std::int32_t len, T* sum, T occupancy, T floor)
{
    if (SrStatus status = status_of_counts(occupancy, occupancy)) return status;
    constexpr std::int32_t kLanes = 16 / sizeof(T);
    const std::int32_t whole = begins_inside(weight, acc, len) ? 0 : len - len % kLanes;
    const T reciprocal = 1 / occupancy;
    T part[4] = {};
    std::int32_t floored = 0;
    for (std::int32_t i = 0; i < len; ++i) {
        const T w = acc[i] * reciprocal;
        if (!(floor < w)) ++floored;
        weight[i] = floor < w ? w : floor;
        part[i < whole ? i % kLanes : 0] += weight[i];
    }
    if constexpr (kLanes == 4)
        *sum = (part[0] + part[1]) + (part[2] + part[3]);
    else
        *sum = part[0] + part[1];
    return floored == len ? SrWarnAllFloored : SrOk;
}

inline SrStatus sum_of_logs(const float* x, std::int32_t len, float* sum) { return zelsSumLn_32f(x, len, sum); }
inline SrStatus sum_of_logs(const double* x, std::int32_t len, double* sum) { return zelsSumLn_64f(x, len, sum); }

// Sign: -1 for reciprocal variances, 1 for variances.
template <class T, int Sign>
SrStatus update_gconst(const T* var, std::int32_t len, T* gconst)
{
    const T constant = static_cast<T>(len * kLogTwoPi);
    T sum = 0;
    const SrStatus status = sum_of_logs(var, len, &sum);
    if (status == SrWarnLnZeroArg)
        *gconst = std::numeric_limits<T>::infinity();
    else if (status == SrWarnLnNegArg)
        *gconst = std::numeric_limits<T>::quiet_NaN();
    else
        *gconst = Sign < 0 ? constant - sum : constant + sum;
    return status;
}

template <class T>
SrStatus out_prob_pre_calc(const T* log_weight, const T* gconst, T* dst, std::int32_t len)
{
    for (std::int32_t i = 0; i < len; ++i)
        if constexpr (std::is_floating_point_v<T>)
            dst[i] = log_weight[i] - gconst[i] * T(0.5);
        else
            dst[i] = static_cast<T>(static_cast<std::uint32_t>(log_weight[i]) -
                                    static_cast<std::uint32_t>(gconst[i] >> 1));
    return SrOk;
}

template <class T>
SrStatus out_prob_pre_calc_in_place(const T* log_weight, T* gconst, std::int32_t len)
{
    return out_prob_pre_calc(log_weight, gconst, gconst, len);
}

}  // namespace zelsr::test::reference
