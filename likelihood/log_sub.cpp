// Subtraction in the log domain, by the C library's exp and log.
#include <cmath>

#include "core/contract.h"
#include "core/scale.h"
#include "likelihood/log_add.h"
#include "zelsr/likelihood/log_add.h"

namespace zelsr {
namespace {

constexpr double kSmallestArgument_32f = 1.0057e-37;
constexpr double kSmallestArgument_64f = 2.45e-308;

// Whether the second operand is not below the first. Integer differences wrap at 32 bits, which is wanted; a NaN
// difference is in range.
bool out_of_range(float first, float second) { return second - first >= 0; }
bool out_of_range(double first, double second) { return second - first >= 0; }
bool out_of_range(int32_t first, int32_t second)
{
    return static_cast<int32_t>(static_cast<uint32_t>(second) - static_cast<uint32_t>(first)) >= 0;
}

template <class T>
SrStatus all_in_range(const T* first, const T* second, int32_t len)
{
    for (int32_t i = 0; i < len; ++i)
        if (out_of_range(load_one(first + i), load_one(second + i))) return SrErrRange;
    return SrOk;
}

// s + ln(1 - e^t) for a t between the cut and 0; the floor where the argument of the logarithm vanishes.
double log_of_difference(double s, double t, double smallest_argument, double floor)
{
    const double v = 1 - std::exp(t);
    return v > smallest_argument ? s + std::log(v) : floor;
}

float subtract_logs(float s, float y)
{
    const auto t = static_cast<double>(y - s);
    if (!(t >= kLogCut_32f)) return s < kLogZero_32f ? kLogZero_32f : s;
    return static_cast<float>(
        log_of_difference(static_cast<double>(s), t, kSmallestArgument_32f, double{kLogZero_32f}));
}

double subtract_logs(double s, double y)
{
    const double t = y - s;
    if (!(t >= kLogCut_64f)) return s < kLogZeroTest_64f ? kLogZero_64f : s;
    return log_of_difference(s, t, kSmallestArgument_64f, kLogZero_64f);
}

// Only the difference is scaled: the logarithm and the floor are in the integer's own units, which is wanted.
int32_t subtract_scaled_logs(int32_t s, int32_t y, float scale)
{
    const auto t = static_cast<double>((static_cast<float>(y) - static_cast<float>(s)) * scale);
    const auto exact = static_cast<double>(s);
    double result = exact < double{kLogZero_32f} ? double{kLogZero_32f} : exact;
    if (t >= kLogCut_32f) result = log_of_difference(exact, t, kSmallestArgument_32f, double{kLogZero_32f});
    return static_cast<int32_t>(std::clamp(result, -2147483648.0, 2147483647.0));
}

template <class T>
void subtract_all(const T* src, T* srcdst, int32_t len)
{
    for (int32_t i = 0; i < len; ++i)
        store_one(srcdst + i, subtract_logs(load_one(src + i), load_one(srcdst + i)));
}

// A 16-bit result keeps the low 16 bits, so that the floor wraps: this is wanted.
template <class T>
void subtract_all_scaled(const T* src, T* srcdst, int32_t len, int32_t sf)
{
    const float scale = GetScale_32s32f(sf);
    for (int32_t i = 0; i < len; ++i)
        store_one(srcdst + i,
                  static_cast<T>(subtract_scaled_logs(load_one(src + i), load_one(srcdst + i), scale)));
}

}  // namespace
}  // namespace zelsr

using namespace zelsr;

SrStatus zelsLogSub_32f(const float* src, float* srcdst, int32_t len)
{
    const auto in_range = [=] { return all_in_range(src, srcdst, len); };
    if (SrStatus failed = first_failure(positive(len), non_null(src, srcdst), in_range)) return failed;
    subtract_all(src, srcdst, len);
    return SrOk;
}

SrStatus zelsLogSub_64f(const double* src, double* srcdst, int32_t len)
{
    const auto in_range = [=] { return all_in_range(src, srcdst, len); };
    if (SrStatus failed = first_failure(positive(len), non_null(src, srcdst), in_range)) return failed;
    subtract_all(src, srcdst, len);
    return SrOk;
}

SrStatus zelsLogSub_32s_Sfs(const int32_t* src, int32_t* srcdst, int32_t len, int32_t sf)
{
    const auto in_range = [=] { return all_in_range(src, srcdst, len); };
    if (SrStatus failed = first_failure(positive(len), non_null(src, srcdst), in_range)) return failed;
    subtract_all_scaled(src, srcdst, len, sf);
    return SrOk;
}

SrStatus zelsLogSub_16s_Sfs(const int16_t* src, int16_t* srcdst, int32_t len, int32_t sf)
{
    const auto in_range = [=] { return all_in_range(src, srcdst, len); };
    if (SrStatus failed = first_failure(positive(len), non_null(src, srcdst), in_range)) return failed;
    subtract_all_scaled(src, srcdst, len, sf);
    return SrOk;
}
