// Means, variances and weights from occupancies and weighted sums.
#include "zelsr/estimation/update.h"
#include "core/contract.h"
#include "estimation/element_loops.h"
#include "estimation/occupancy.h"

namespace zelsr {
namespace {

// What an accumulator becomes under its occupancy: singles are multiplied by the reciprocal, doubles divided.
struct TimesReciprocal {
    __m128 reciprocal;

    explicit TimesReciprocal(float occupancy) : reciprocal(repeat(1.0F / occupancy)) {}
    __m128 operator()(__m128 acc) const { return acc * reciprocal; }
};
struct DividedBy {
    __m128d occupancy;

    explicit DividedBy(double occupancy_) : occupancy(repeat(occupancy_)) {}
    __m128d operator()(__m128d acc) const { return acc / occupancy; }
};

template <class T, class PerOccupancy>
SrStatus update_mean(const T* acc, T* mean, int32_t len, PerOccupancy average)
{
    auto op = [=](auto a, auto m) { return m + average(a); };
    elementwise_in_order(op, mean, len, acc, mean);
    return SrOk;
}

// The variances; true if none was above its floor.
template <class T, class PerOccupancy>
bool update_var(const T* mean_acc, const T* square_acc, const T* floor, T* var, int32_t len, PerOccupancy mean,
                PerOccupancy mean_square)
{
    auto above = repeat(T(0));
    auto op = [&](auto a, auto q, auto f) {
        const auto m = mean(a);
        const auto v = mean_square(q) - m * m;
        above = either(above, less(f, v));
        return floored(v, f);
    };
    elementwise_in_order(op, var, len, mean_acc, square_acc, floor);
    return !any(above);
}

// Whether a count in four single lanes, joined in single precision, can come to n: a lane sticks at 2^24.
bool singles_count_to(int32_t n) { return n <= 1 << 26 && static_cast<int32_t>(static_cast<float>(n)) == n; }

inline void add(FullRegister, __m128& sums, __m128 x) { sums += x; }
inline void add(FullRegister, __m128d& sums, __m128d x) { sums += x; }
inline void add(OneElement, __m128& sums, __m128 x) { sums = _mm_add_ss(sums, x); }
inline void add(OneElement, __m128d& sums, __m128d x) { sums = _mm_add_sd(sums, x); }
inline float joined(__m128 sums) { return join_pairs(sums); }
inline double joined(__m128d sums) { return join(sums); }

template <class T>
SrStatus update_weight(const T* acc, T* weight, int32_t len, T* sum, T occupancy, T floor)
{
    const auto reciprocal = repeat(T(1) / occupancy), least = repeat(floor);
    auto above = repeat(T(0)), sums = repeat(T(0));
    const auto step = [&](auto width, std::ptrdiff_t i) __attribute__((always_inline))
    {
        const auto w = width.of(acc + i) * reciprocal;
        above = either(above, less(least, w));
        const auto result = floored(w, least);
        width.put(weight + i, result);
        add(width, sums, result);
    };
    if (begins_inside(weight, acc, len)) [[unlikely]]
        each_element(len, step);
    else
        each_register<T>(len, step);
    store_one(sum, joined(sums));
    return any(above) ? SrOk : SrWarnAllFloored;
}

}  // namespace
}  // namespace zelsr

using namespace zelsr;

SrStatus zelsUpdateMean_32f(const float* acc, float* mean, int32_t len, float occupancy)
{
    if (SrStatus failed = first_failure(non_null(acc, mean), positive(len), not_negative(occupancy),
                                        above_zero_count(occupancy)))
        return failed;
    return update_mean(acc, mean, len, TimesReciprocal(occupancy));
}

SrStatus zelsUpdateMean_64f(const double* acc, double* mean, int32_t len, double occupancy)
{
    if (SrStatus failed = first_failure(non_null(acc, mean), positive(len), not_negative(occupancy),
                                        above_zero_count(occupancy)))
        return failed;
    return update_mean(acc, mean, len, DividedBy(occupancy));
}

SrStatus zelsUpdateVar_32f(const float* mean_acc, const float* square_acc, const float* floor, float* var,
                           int32_t len, float mean_occupancy, float square_occupancy)
{
    if (SrStatus failed = first_failure(non_null(mean_acc, square_acc, floor, var), positive(len),
                                        not_negative(mean_occupancy, square_occupancy),
                                        above_zero_count(mean_occupancy, square_occupancy)))
        return failed;
    const bool all_floored = update_var(mean_acc, square_acc, floor, var, len, TimesReciprocal(mean_occupancy),
                                        TimesReciprocal(square_occupancy));
    // The count is one of singles: a length that it misses gives no warning. Wanted.
    return all_floored && singles_count_to(len) ? SrWarnAllFloored : SrOk;
}

SrStatus zelsUpdateVar_64f(const double* mean_acc, const double* square_acc, const double* floor, double* var,
                           int32_t len, double mean_occupancy, double square_occupancy)
{
    if (SrStatus failed = first_failure(non_null(mean_acc, square_acc, floor, var), positive(len),
                                        not_negative(mean_occupancy, square_occupancy),
                                        above_zero_count(mean_occupancy, square_occupancy)))
        return failed;
    const bool all_floored =
        update_var(mean_acc, square_acc, floor, var, len, DividedBy(mean_occupancy), DividedBy(square_occupancy));
    return all_floored ? SrWarnAllFloored : SrOk;
}

SrStatus zelsUpdateWeight_32f(const float* acc, float* weight, int32_t len, float* sum, float occupancy,
                              float floor)
{
    if (SrStatus failed = first_failure(non_null(acc, weight, sum), positive(len), not_negative(occupancy),
                                        above_zero_count(occupancy)))
        return failed;
    return update_weight(acc, weight, len, sum, occupancy, floor);
}

SrStatus zelsUpdateWeight_64f(const double* acc, double* weight, int32_t len, double* sum, double occupancy,
                              double floor)
{
    if (SrStatus failed = first_failure(non_null(acc, weight, sum), positive(len), not_negative(occupancy),
                                        above_zero_count(occupancy)))
        return failed;
    return update_weight(acc, weight, len, sum, occupancy, floor);
}
