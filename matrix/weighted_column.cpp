// Weighted means and variances of columns.
#include "core/contract.h"
#include "core/rows.h"
#include "matrix/columns.h"
#include "zelsr/matrix/statistics.h"

namespace zelsr {
namespace {

inline __m128 in_every_lane(const float* x) { return EveryLane::lanes(x); }
inline __m128d in_every_lane(const double* x) { return EveryLane::lanes(x); }

// What one register of columns keeps of the weighted rows; kSums registers.
template <class T>
struct WeightedSum {
    static constexpr int kSums = 1;
    LanesOf<T> sum{};

    void take(LanesOf<T> w, LanesOf<T> x) { sum += w * x; }
    void join(const WeightedSum& other) { sum += other.sum; }
};
template <class T>
struct WeightedSquares {
    static constexpr int kSums = 1;
    LanesOf<T> sum{};

    void take(LanesOf<T> w, LanesOf<T> x) { sum += w * (x * x); }
    void join(const WeightedSquares& other) { sum += other.sum; }
};
template <class T>
struct WeightedMoments {
    static constexpr int kSums = 2;
    WeightedSum<T> first;
    WeightedSquares<T> second;

    void take(LanesOf<T> w, LanesOf<T> x)
    {
        first.take(w, x);
        second.take(w, x);
    }
    void join(const WeightedMoments& other)
    {
        first.join(other.first);
        second.join(other.second);
    }
};

// finish(group, n, kept) for every register of columns.
template <class Kept, class Rows, class Finish>
[[gnu::always_inline]] inline void weigh_columns(const Rows& rows, const typename Rows::Element* weights,
                                                 int32_t height, int32_t width, const Finish& finish)
{
    using T = typename Rows::Element;
    for_column_groups<T, 2 * Kept::kSums>(width, [&](auto group) {
        constexpr int registers = group.kCount;
        Kept even[registers], odd[registers];
        const auto take_row = [&](int32_t r, Kept(&kept)[registers]) __attribute__((always_inline))
        {
            const T* row = rows[r];
            const LanesOf<T> w = in_every_lane(weights + r);
            for_each_index<registers>([&](auto n) { kept[n].take(w, group.lanes(row, n)); });
        };
        int32_t r = 0;
        for (; r <= height - 4; r += 4) {
            take_row(r, even);
            take_row(r + 1, odd);
            take_row(r + 2, even);
            take_row(r + 3, odd);
        }
        for_each_index<registers>([&](auto n) { even[n].join(odd[n]); });
        for (; r < height; ++r) take_row(r, even);
        for_each_index<registers>([&](auto n) { finish(group, n, even[n]); });
    });
}

template <class Rows, class T>
SrStatus weighted_mean(const Rows& rows, const T* weights, int32_t height, T* mean, int32_t width)
{
    weigh_columns<WeightedSum<T>>(rows, weights, height, width, [=](const auto& group, auto n, const auto& kept) {
        group.put(mean, kept.sum, n);
    });
    return SrOk;
}

template <class Rows, class T>
SrStatus weighted_var(const Rows& rows, const T* weights, int32_t height, const T* mean, T* var, int32_t width)
{
    weigh_columns<WeightedSquares<T>>(rows, weights, height, width,
                                      [=](const auto& group, auto n, const auto& kept) {
                                          const LanesOf<T> m = group.lanes(mean, n);
                                          group.put(var, kept.sum - m * m, n);
                                      });
    return SrOk;
}

template <class Rows, class T>
SrStatus weighted_mean_var(const Rows& rows, const T* weights, int32_t height, T* mean, T* var, int32_t width)
{
    weigh_columns<WeightedMoments<T>>(rows, weights, height, width,
                                      [=](const auto& group, auto n, const auto& kept) {
                                          const LanesOf<T> m = kept.first.sum;
                                          group.put(mean, m, n);
                                          group.put(var, kept.second.sum - m * m, n);
                                      });
    return SrOk;
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
