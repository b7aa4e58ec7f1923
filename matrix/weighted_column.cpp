// Weighted means and variances of columns.
#include "core/contract.h"
#include "core/rows.h"
#include "matrix/column_groups.h"
#include "zelsr/matrix/statistics.h"

namespace zelsr {
namespace {

// Two sums of what one register of columns keeps of the weighted rows, which join before the last 0 to 3 rows.
template <class T>
struct WeightedSum {
    static constexpr int kSums = 2;
    LanesOf<T> even, odd;

    static LanesOf<T> term(LanesOf<T> w, LanesOf<T> x) { return w * x; }
    void take_even(LanesOf<T> w, LanesOf<T> x) { even += term(w, x); }
    void take_odd(LanesOf<T> w, LanesOf<T> x) { odd += term(w, x); }
    void join() { even += odd; }
    LanesOf<T> sum() const { return even; }
};
template <class T>
struct WeightedSquares {
    static constexpr int kSums = 2;
    LanesOf<T> even, odd;

    static LanesOf<T> term(LanesOf<T> w, LanesOf<T> x) { return w * (x * x); }
    void take_even(LanesOf<T> w, LanesOf<T> x) { even += term(w, x); }
    void take_odd(LanesOf<T> w, LanesOf<T> x) { odd += term(w, x); }
    void join() { even += odd; }
    LanesOf<T> sum() const { return even; }
};
template <class T>
struct WeightedMoments {
    static constexpr int kSums = 4;
    WeightedSum<T> first;
    WeightedSquares<T> second;

    void take_even(LanesOf<T> w, LanesOf<T> x)
    {
        first.take_even(w, x);
        second.take_even(w, x);
    }
    void take_odd(LanesOf<T> w, LanesOf<T> x)
    {
        first.take_odd(w, x);
        second.take_odd(w, x);
    }
    void join()
    {
        first.join();
        second.join();
    }
};

// Rows by fours, whose even and odd ones go to sums of their own; a block of rows that is not the last is whole
// fours.
template <class T>
struct WeightedRows {
    const T* weights;

    template <class Group, class Rows, class Kept>
    [[gnu::always_inline]] void take(const Group& group, const Rows& rows, int32_t r, int32_t end, int32_t height,
                                     Kept (&kept)[Group::kCount]) const
    {
        const auto even = [&](int32_t i) __attribute__((always_inline))
        {
            const T* row = rows[i];
            const LanesOf<T> w = EveryLane::lanes(weights + i);
            for_each_index<Group::kCount>([&](auto n) { kept[n].take_even(w, group.lanes(row, n)); });
        };
        const auto odd = [&](int32_t i) __attribute__((always_inline))
        {
            const T* row = rows[i];
            const LanesOf<T> w = EveryLane::lanes(weights + i);
            for_each_index<Group::kCount>([&](auto n) { kept[n].take_odd(w, group.lanes(row, n)); });
        };
        for (; r <= end - 4; r += 4) {
            even(r);
            odd(r + 1);
            even(r + 2);
            odd(r + 3);
        }
        if (end < height) return;
        for_each_index<Group::kCount>([&](auto n) { kept[n].join(); });
        for (; r < end; ++r) even(r);
    }
};

template <class Kept, class Rows, class T, class Finish>
[[gnu::always_inline]] inline SrStatus weigh_down(const Rows& rows, const T* weights, int32_t height,
                                                  int32_t width, const Finish& finish)
{
    sum_down<Kept, T>(rows, height, width, FromZero<Kept>{}, finish, WeightedRows<T>{weights});
    return SrOk;
}

template <class Rows, class T>
SrStatus weighted_mean(const Rows& rows, const T* weights, int32_t height, T* mean, int32_t width)
{
    const auto finish = [=](const auto& columns, const auto& kept) { columns.put(mean, kept.sum()); };
    return weigh_down<WeightedSum<T>>(rows, weights, height, width, finish);
}

template <class Rows, class T>
SrStatus weighted_var(const Rows& rows, const T* weights, int32_t height, const T* mean, T* var, int32_t width)
{
    const auto finish = [=](const auto& columns, const auto& kept) {
        const LanesOf<T> m = columns.lanes(mean);
        columns.put(var, kept.sum() - m * m);
    };
    return weigh_down<WeightedSquares<T>>(rows, weights, height, width, finish);
}

template <class Rows, class T>
SrStatus weighted_mean_var(const Rows& rows, const T* weights, int32_t height, T* mean, T* var, int32_t width)
{
    const auto finish = [=](const auto& columns, const auto& kept) {
        const LanesOf<T> m = kept.first.sum();
        columns.put(mean, m);
        columns.put(var, kept.second.sum() - m * m);
    };
    return weigh_down<WeightedMoments<T>>(rows, weights, height, width, finish);
}

}  // namespace
}  // namespace zelsr

using namespace zelsr;

SrStatus zelsWeightedMeanColumn_32f_D2(const float* src, int32_t step, const float* weights, int32_t height,
                                       float* mean, int32_t width)
{
    if (SrStatus failed =
            first_failure(non_null(src, weights, mean), stride(width, step), positive(width, height)))
        return failed;
    return weighted_mean(Block{src, step}, weights, height, mean, width);
}

SrStatus zelsWeightedMeanColumn_32f_D2L(const float* const* rows, const float* weights, int32_t height,
                                        float* mean, int32_t width)
{
    if (SrStatus failed = first_failure(non_null(rows, weights, mean), positive(width, height))) return failed;
    return weighted_mean(RowList{rows}, weights, height, mean, width);
}

SrStatus zelsWeightedMeanColumn_64f_D2(const double* src, int32_t step, const double* weights, int32_t height,
                                       double* mean, int32_t width)
{
    if (SrStatus failed =
            first_failure(non_null(src, weights, mean), stride(width, step), positive(width, height)))
        return failed;
    return weighted_mean(Block{src, step}, weights, height, mean, width);
}

SrStatus zelsWeightedMeanColumn_64f_D2L(const double* const* rows, const double* weights, int32_t height,
                                        double* mean, int32_t width)
{
    if (SrStatus failed = first_failure(non_null(rows, weights, mean), positive(width, height))) return failed;
    return weighted_mean(RowList{rows}, weights, height, mean, width);
}

SrStatus zelsWeightedVarColumn_32f_D2(const float* src, int32_t step, const float* weights, int32_t height,
                                      const float* mean, float* var, int32_t width)
{
    if (SrStatus failed =
            first_failure(non_null(src, weights, mean, var), stride(width, step), positive(width, height)))
        return failed;
    return weighted_var(Block{src, step}, weights, height, mean, var, width);
}

SrStatus zelsWeightedVarColumn_32f_D2L(const float* const* rows, const float* weights, int32_t height,
                                       const float* mean, float* var, int32_t width)
{
    if (SrStatus failed = first_failure(non_null(rows, weights, mean, var), positive(width, height)))
        return failed;
    return weighted_var(RowList{rows}, weights, height, mean, var, width);
}

SrStatus zelsWeightedVarColumn_64f_D2(const double* src, int32_t step, const double* weights, int32_t height,
                                      const double* mean, double* var, int32_t width)
{
    if (SrStatus failed =
            first_failure(non_null(src, weights, mean, var), stride(width, step), positive(width, height)))
        return failed;
    return weighted_var(Block{src, step}, weights, height, mean, var, width);
}

SrStatus zelsWeightedVarColumn_64f_D2L(const double* const* rows, const double* weights, int32_t height,
                                       const double* mean, double* var, int32_t width)
{
    if (SrStatus failed = first_failure(non_null(rows, weights, mean, var), positive(width, height)))
        return failed;
    return weighted_var(RowList{rows}, weights, height, mean, var, width);
}

SrStatus zelsWeightedMeanVarColumn_32f_D2(const float* src, int32_t step, const float* weights, int32_t height,
                                          float* mean, float* var, int32_t width)
{
    if (SrStatus failed =
            first_failure(non_null(src, weights, mean, var), stride(width, step), positive(width, height)))
        return failed;
    return weighted_mean_var(Block{src, step}, weights, height, mean, var, width);
}

SrStatus zelsWeightedMeanVarColumn_32f_D2L(const float* const* rows, const float* weights, int32_t height,
                                           float* mean, float* var, int32_t width)
{
    if (SrStatus failed = first_failure(non_null(rows, weights, mean, var), positive(width, height)))
        return failed;
    return weighted_mean_var(RowList{rows}, weights, height, mean, var, width);
}

SrStatus zelsWeightedMeanVarColumn_64f_D2(const double* src, int32_t step, const double* weights, int32_t height,
                                          double* mean, double* var, int32_t width)
{
    if (SrStatus failed =
            first_failure(non_null(src, weights, mean, var), stride(width, step), positive(width, height)))
        return failed;
    return weighted_mean_var(Block{src, step}, weights, height, mean, var, width);
}

SrStatus zelsWeightedMeanVarColumn_64f_D2L(const double* const* rows, const double* weights, int32_t height,
                                           double* mean, double* var, int32_t width)
{
    if (SrStatus failed = first_failure(non_null(rows, weights, mean, var), positive(width, height)))
        return failed;
    return weighted_mean_var(RowList{rows}, weights, height, mean, var, width);
}
