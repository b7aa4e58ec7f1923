// The decomposition of Golub and Reinsch in its four stages.
//
// Rows are contiguous, columns are not: what the method does column by column to all later columns is done here
// row by row, for all later columns at a time, with the same operations on each element in the same order.
#pragma once

#include <algorithm>
#include <cmath>
#include <limits>

#include "core/scratch.h"
#include "matrix/svd_columns.h"
#include "zelsr/core/vector.h"

namespace zelsr {

// sqrt(a^2 + b^2) without overflow or loss below the normal numbers.
inline double _sqrSumSqrt(double a, double b)
{
    constexpr double large = 0x1p510;
    const double x = std::fabs(a), y = std::fabs(b);
    const double larger = x > y ? x : y;
    if (larger >= large) {
        a *= 1 / large;
        b *= 1 / large;
        return std::sqrt(a * a + b * b) * large;
    }
    if (larger > 1 / large) return std::sqrt(a * a + b * b);
    a *= large;
    b *= large;
    return std::sqrt(a * a + b * b) * (1 / large);
}

// True of not-a-number too.
inline bool neither_above_nor_below_zero(double x) { return !(x > 0 || x < 0); }

// A sum of count magnitudes, or 0 for elements so small that the reciprocal of their sum or of their length might
// be infinite. Beside the greatest element, which is above 2^-400, they are nothing.
inline double sum_or_nothing(double sum, int32_t count)
{
    return sum < std::numeric_limits<double>::min() * count ? 0 : sum;
}

// Row operations on the columns from begin to end - 1, two at a time; element(load, c) loads what it needs as load
// takes it.
template <class Element>
void for_columns(double* dst, int32_t begin, int32_t end, Element element)
{
    int32_t c = begin;
    for (; end - c >= 2; c += 2) Unaligned::put(dst + c, element(Unaligned{}, c));
    if (c < end) store_first(dst + c, element(OneLane{}, c), 1);
}

// sum[c] = sum over rows first to last - 1 of factor(r) * row[c], four rows in one expression.
template <class Rows, class Factor>
void sum_multiples_of_rows(Rows rows, int32_t first, int32_t last, Factor factor, int32_t begin, int32_t end,
                           double* sum)
{
    for (int32_t c = begin; c < end; ++c) sum[c] = 0;
    int32_t r = first;
    for (; last - r >= 4; r += 4) {
        const double* const x[4] = {rows[r], rows[r + 1], rows[r + 2], rows[r + 3]};
        const __m128d f[4] = {_mm_set1_pd(factor(r)), _mm_set1_pd(factor(r + 1)), _mm_set1_pd(factor(r + 2)),
                              _mm_set1_pd(factor(r + 3))};
        for_columns(sum, begin, end, [&](auto load, int32_t c) {
            const auto product = [&](int n) { return f[n] * load.lanes(x[n] + c); };
            return load.lanes(sum + c) + (((product(0) + product(1)) + product(2)) + product(3));
        });
    }
    for (; r < last; ++r) {
        const double* const x = rows[r];
        const __m128d f = _mm_set1_pd(factor(r));
        for_columns(sum, begin, end,
                    [&](auto load, int32_t c) { return load.lanes(sum + c) + f * load.lanes(x + c); });
    }
}

// row[c] += multiple[c] * factor(r), for rows first to last - 1.
template <class Rows, class Factor>
void add_multiples(Rows rows, int32_t first, int32_t last, Factor factor, int32_t begin, int32_t end,
                   const double* multiple)
{
    for (int32_t r = first; r < last; ++r) {
        double* const x = rows[r];
        const __m128d f = _mm_set1_pd(factor(r));
        for_columns(x, begin, end,
                    [&](auto load, int32_t c) { return load.lanes(x + c) + load.lanes(multiple + c) * f; });
    }
}

// Plane rotations of columns j + 1 and j, for j from first to last - 1, one after the other.
struct Rotations {
    double *c, *s;

    // Rows are independent: two fill a register, four registers go abreast.
    template <class Rows>
    void apply(Rows rows, int32_t height, int32_t first, int32_t last) const
    {
        int32_t r = 0;
        for (; height - r >= 8; r += 8) rotate_pairs<4>(rows, r, first, last);
        for (; height - r >= 2; r += 2) rotate_pairs<1>(rows, r, first, last);
        if (r < height)
            for (int32_t j = first; j < last; ++j) rotate(rows[r] + j + 1, rows[r] + j, c[j], s[j]);
    }

  private:
    template <int Pairs, class Rows>
    void rotate_pairs(Rows rows, int32_t r, int32_t first, int32_t last) const
    {
        double* x[2 * Pairs];
        __m128d y[Pairs];
        const auto pair = [&](auto n, int32_t column) {
            return _mm_set_pd(load_one(x[2 * n + 1] + column), load_one(x[2 * n] + column));
        };
        const auto put = [&](auto n, int32_t column, __m128d v) {
            store_one<double>(x[2 * n] + column, v[0]);
            store_one<double>(x[2 * n + 1] + column, v[1]);
        };
        for_each_index<2 * Pairs>([&](auto n) { x[n] = rows[r + n]; });
        for_each_index<Pairs>([&](auto n) { y[n] = pair(n, first); });
        for (int32_t j = first; j < last; ++j) {
            const __m128d cosine = _mm_set1_pd(c[j]), sine = _mm_set1_pd(s[j]);
            for_each_index<Pairs>([&](auto n) {
                const __m128d z = pair(n, j + 1);
                put(n, j, cosine * y[n] + sine * z);
                y[n] = z * cosine - y[n] * sine;
            });
        }
        for_each_index<Pairs>([&](auto n) { put(n, last, y[n]); });
    }
};

template <class Rows>
class Decomposition {
  public:
    // a: height rows, A in, U out; v: width rows. Test it before use: false means that work memory was refused.
    Decomposition(Rows a, int32_t height, Rows v, int32_t width)
        : u_(a), v_(v), height_(height), width_(width), work_(int64_t{kWorkRows} * width)
    {
        if (!work_) return;
        double* row = work_.data();
        for (double** start : {&w_, &e_, &t_, &of_u_.c, &of_u_.s, &of_v_.c, &of_v_.s}) {
            *start = row;
            row += width;
        }
    }
    explicit operator bool() const { return static_cast<bool>(work_); }

    SrStatus run(int32_t iterations, double* w)
    {
        const double unit = safe_unit();
        if (unit != 1) multiply(1 / unit);
        const double g = reduce_to_bidiagonal();
        accumulate_right(g);
        accumulate_left();
        const SrStatus status = diagonalise(iterations);
        zelsMulC_64f(w_, unit, w, width_);
        return status;
    }

  private:
    static constexpr int32_t kWorkRows = 7;

    Rows u_, v_;
    int32_t height_, width_;
    Scratch<double> work_;
    double *w_, *e_, *t_;
    Rotations of_u_, of_v_;
    double norm_ = 0;

    double at(Rows rows, int32_t r, int32_t c) const { return load_one(rows[r] + c); }
    auto column_of(Rows rows, int32_t c) const
    {
        return [=, this](int32_t r) { return at(rows, r, c); };
    }
    bool changes_norm(double x) const { return std::fabs(x) + norm_ != norm_; }

    // Shifts are quotients of products of two elements, which must not leave the range of doubles: elements as
    // large as 2^400, or none above 2^-400, are taken in units of a power of two. This changes no bit elsewhere.
    double safe_unit() const
    {
        double greatest = 0;
        for (int32_t r = 0; r < height_; ++r)
            for (int32_t c = 0; c < width_; ++c)
                if (const double x = std::fabs(at(u_, r, c)); x > greatest) greatest = x;
        if (greatest == 0 || (greatest > 0x1p-400 && greatest < 0x1p400)) return 1;
        return std::ldexp(1, std::clamp(std::ilogb(greatest), -1000, 1000));
    }
    void multiply(double factor)
    {
        for (int32_t r = 0; r < height_; ++r) scale(Contiguous{u_[r]}, width_, factor);
    }

    double reduce_to_bidiagonal()
    {
        double g = 0, scaled_by = 0;
        for (int32_t i = 0; i < width_; ++i) {
            e_[i] = scaled_by * g;
            reflect_column(i, g, scaled_by);
            w_[i] = scaled_by * g;
            reflect_row(i, g, scaled_by);
            const double sum = std::fabs(w_[i]) + std::fabs(e_[i]);
            if (sum > norm_) norm_ = sum;
        }
        return g;
    }

    // g = -sign(f) sqrt(s), h = f g - s.
    static double opposite_root(double s, double f) { return f >= 0 ? -std::sqrt(s) : std::sqrt(s); }

    void reflect_column(int32_t i, double& g, double& scaled_by)
    {
        g = scaled_by = 0;
        if (i >= height_) return;
        const Column below{u_, i, i};
        scaled_by = sum_or_nothing(sum_of_magnitudes(below, height_ - i), height_ - i);
        if (neither_above_nor_below_zero(scaled_by)) return;
        const double s = scale_and_sum_squares(below, height_ - i, 1 / scaled_by);
        const double f = at(u_, i, i);
        g = opposite_root(s, f);
        const double h = f * g - s;
        store_one(u_[i] + i, f - g);
        sum_multiples_of_rows(u_, i, height_, column_of(u_, i), i + 1, width_, t_);
        for (int32_t j = i + 1; j < width_; ++j) t_[j] = t_[j] / h;
        add_multiples(u_, i, height_, column_of(u_, i), i + 1, width_, t_);
        scale(below, height_ - i, scaled_by);
    }

    void reflect_row(int32_t i, double& g, double& scaled_by)
    {
        g = scaled_by = 0;
        if (i >= height_ || i == width_ - 1) return;
        const int32_t l = i + 1, count = width_ - l;
        double* const row = u_[i];
        const Contiguous beyond{row + l};
        scaled_by = sum_or_nothing(sum_of_magnitudes(beyond, count), count);
        if (neither_above_nor_below_zero(scaled_by)) return;
        const double s = scale_and_sum_squares(beyond, count, 1 / scaled_by);
        const double f = load_one(row + l);
        g = opposite_root(s, f);
        const double h = f * g - s;
        store_one(row + l, f - g);
        for (int32_t k = l; k < width_; ++k) e_[k] = load_one(row + k) / h;
        for (int32_t j = l; j < height_; ++j) {
            double t;
            zelsDotProd_64f(u_[j] + l, row + l, count, &t);
            add_multiple(e_ + l, u_[j] + l, count, t);
        }
        scale(beyond, count, scaled_by);
    }

    // g: what the reduction of the last row left. For a row beyond the height g is 0, so that none is read.
    void accumulate_right(double g)
    {
        for (int32_t i = width_ - 1; i >= 0; --i) {
            const int32_t l = i + 1;
            double* const row = v_[i];
            if (l < width_) {
                if (g != 0) {
                    const double* const reduced = u_[i];
                    const double next = load_one(reduced + l);
                    // Two divisions: their product might underflow.
                    for (int32_t j = l; j < width_; ++j) store_one(v_[j] + i, load_one(reduced + j) / next / g);
                    sum_multiples_of_rows(
                        v_, l, width_, [=](int32_t k) { return load_one(reduced + k); }, l, width_, t_);
                    add_multiples(v_, l, width_, column_of(v_, i), l, width_, t_);
                }
                for (int32_t j = l; j < width_; ++j) {
                    store_one(row + j, 0.0);
                    store_one(v_[j] + i, 0.0);
                }
            }
            store_one(row + i, 1.0);
            g = e_[i];
        }
    }

    void accumulate_left()
    {
        for (int32_t i = (height_ < width_ ? height_ : width_) - 1; i >= 0; --i) {
            const int32_t l = i + 1;
            double* const row = u_[i];
            for (int32_t j = l; j < width_; ++j) store_one(row + j, 0.0);
            const Column below{u_, i, i};
            if (w_[i] != 0) {
                const double g = 1 / w_[i];
                const double diagonal = load_one(row + i);
                sum_multiples_of_rows(u_, l, height_, column_of(u_, i), l, width_, t_);
                for (int32_t j = l; j < width_; ++j) t_[j] = t_[j] / diagonal * g;
                add_multiples(u_, i, height_, column_of(u_, i), l, width_, t_);
                scale(below, height_ - i, g);
            } else {
                for (int32_t r = i; r < height_; ++r) store_one(u_[r] + i, 0.0);
            }
            store_one(row + i, load_one(row + i) + 1);
        }
    }

    SrStatus diagonalise(int32_t iterations)
    {
        for (int32_t k = width_ - 1; k >= 0; --k)
            for (int32_t counter = 1;; ++counter) {
                const int32_t l = split(k);
                if (l == k) {
                    make_positive(k);
                    break;
                }
                if (counter == iterations) return SrErrSvdConverge;
                sweep(l, k);
            }
        return SrOk;
    }

    // The first row of the part that ends with row k and stands apart from what is above it. A diagonal element
    // of nothing above it is cancelled. The first element of e is always 0.
    int32_t split(int32_t k)
    {
        for (int32_t l = k; l > 0; --l) {
            if (!changes_norm(e_[l])) return l;
            if (!changes_norm(w_[l - 1])) {
                cancel(l, k);
                return l;
            }
        }
        return 0;
    }

    void cancel(int32_t l, int32_t k)
    {
        double c = 0, s = 1;
        for (int32_t i = l; i <= k; ++i) {
            const double f = s * e_[i];
            e_[i] = c * e_[i];
            if (!changes_norm(f)) return;
            const double g = w_[i];
            const double h = _sqrSumSqrt(f, g);
            w_[i] = h;
            c = g / h;
            s = -f / h;
            rotate_columns(u_, height_, i, l - 1, c, s);
        }
    }

    void make_positive(int32_t k)
    {
        if (!(w_[k] < 0)) return;
        w_[k] = -w_[k];
        scale(Column{v_, k, 0}, width_, -1.0);
    }

    // One QR sweep over rows l to k, with the shift from the bottom two by two minor.
    void sweep(int32_t l, int32_t k)
    {
        double x = w_[l];
        const double z_k = w_[k], y_k = w_[k - 1], h_k = e_[k];
        double g = e_[k - 1];
        double f = ((y_k - z_k) * (y_k + z_k) + (g - h_k) * (g + h_k)) / (2 * h_k * y_k);
        g = _sqrSumSqrt(f, 1);
        const double sign = f >= 0 ? g : -g;
        f = ((x - z_k) * (x + z_k) + h_k * (y_k / (f + sign) - h_k)) / x;
        double c = 1, s = 1;
        for (int32_t j = l; j < k; ++j) {
            const int32_t i = j + 1;
            g = e_[i];
            double y = w_[i];
            double h = s * g;
            g = c * g;
            double z = _sqrSumSqrt(f, h);
            e_[j] = z;
            if (!neither_above_nor_below_zero(z)) {
                c = f / z;
                s = h / z;
            }
            f = x * c + g * s;
            g = g * c - x * s;
            h = y * s;
            y = y * c;
            of_v_.c[j] = c;
            of_v_.s[j] = s;
            z = _sqrSumSqrt(f, h);
            w_[j] = z;
            if (!neither_above_nor_below_zero(z)) {
                z = 1 / z;
                c = f * z;
                s = h * z;
            }
            f = c * g + s * y;
            x = c * y - s * g;
            of_u_.c[j] = c;
            of_u_.s[j] = s;
        }
        of_v_.apply(v_, width_, l, k);
        of_u_.apply(u_, height_, l, k);
        e_[l] = 0;
        e_[k] = f;
        w_[k] = x;
    }
};

// Columns in the new order old[r][index[c]], through a work row.
template <class Rows>
void reorder_columns(Rows rows, int32_t height, int32_t width, const int32_t* index, double* work)
{
    for (int32_t r = 0; r < height; ++r) {
        double* const row = rows[r];
        for (int32_t c = 0; c < width; ++c) work[c] = load_one(row + index[c]);
        zelsCopy_64f(work, row, width);
    }
}

// Singular values downward: each place in turn is exchanged with the first greatest value from it on.
template <class Rows>
SrStatus sort_decomposition(Rows u, int32_t height, double* w, Rows v, int32_t width)
{
    const Scratch<std::uint8_t> block(int64_t{width} * static_cast<int64_t>(sizeof(double) + sizeof(int32_t)));
    if (!block) return SrErrMemAlloc;
    auto* const row = reinterpret_cast<double*>(block.data());
    auto* const index = reinterpret_cast<int32_t*>(row + width);
    for (int32_t i = 0; i < width; ++i) index[i] = i;
    for (int32_t i = 0; i < width; ++i) {
        double greatest;
        int32_t at;
        zelsMaxIndx_64f(w + i, width - i, &greatest, &at);
        store_one(w + i + at, load_one(w + i));
        store_one(w + i, greatest);
        const int32_t moved = index[i + at];
        index[i + at] = index[i];
        index[i] = moved;
    }
    reorder_columns(u, height, width, index, row);
    reorder_columns(v, width, width, index, row);
    return SrOk;
}

}  // namespace zelsr
