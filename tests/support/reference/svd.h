// The singular value decomposition, one element at a time, in the order of its steps; and an independent one for
// the values alone. They run in the caller's rounding mode.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <numeric>
#include <utility>
#include <vector>

#include "zelsr/core/vector.h"

namespace zelsr::test::reference::svd {

using Matrix = std::vector<std::vector<double>>;

// term(0) + ... + term(count - 1), four to an expression, those left over one by one.
template <class Term>
double sum_of(std::size_t count, Term term)
{
    double sum = 0;
    std::size_t i = 0;
    for (; i + 4 <= count; i += 4) {
        const double pair = term(i) + term(i + 1);
        const double three = pair + term(i + 2);
        const double four = three + term(i + 3);
        sum += four;
    }
    for (; i < count; ++i) sum += term(i);
    return sum;
}

inline double hypotenuse(double a, double b)
{
    constexpr double kHuge = 0x1p510;
    const double larger = std::max(std::abs(a), std::abs(b));
    const auto root = [](double x, double y) {
        const double xx = x * x, yy = y * y;
        return std::sqrt(xx + yy);
    };
    if (larger >= kHuge) return root(a * (1 / kHuge), b * (1 / kHuge)) * kHuge;
    if (larger > 1 / kHuge) return root(a, b);
    return root(a * kHuge, b * kHuge) * (1 / kHuge);
}

struct Decomposition {
    Matrix u;  // the source at first
    std::vector<double> w;
    Matrix v;
    bool converged = false;
    int cancellations = 0, sweeps = 0;

    std::size_t height() const { return u.size(); }
    std::size_t width() const { return w.size(); }
};

// Columns a and b of each row: b = c b + s a, a = c a - s b.
inline void rotate(Matrix& rows, std::size_t a, std::size_t b, double c, double s)
{
    for (std::vector<double>& row : rows) {
        const double y = row[b], z = row[a];
        const double cy = c * y, sz = s * z, zc = z * c, ys = y * s;
        row[b] = cy + sz;
        row[a] = zc - ys;
    }
}

// To bidiagonal form: diagonal w, above it e, and the largest sum of the two.
inline double reduce(Decomposition& d, std::vector<double>& e)
{
    Matrix& a = d.u;
    const std::size_t height = d.height(), width = d.width();
    double g = 0, scale = 0, norm = 0;
    for (std::size_t i = 0; i < width; ++i) {
        e[i] = scale * g;
        g = scale = 0;
        if (i < height) {
            scale = sum_of(height - i, [&](std::size_t k) { return std::abs(a[i + k][i]); });
            if (scale > 0 || scale < 0) {
                const double factor = 1 / scale;
                for (std::size_t k = i; k < height; ++k) a[k][i] *= factor;
                const double s = sum_of(height - i, [&](std::size_t k) { return a[i + k][i] * a[i + k][i]; });
                const double f = a[i][i];
                g = f >= 0 ? -std::sqrt(s) : std::sqrt(s);
                const double h = f * g - s;
                a[i][i] = f - g;
                for (std::size_t j = i + 1; j < width; ++j) {
                    const double t = sum_of(height - i, [&](std::size_t k) { return a[i + k][i] * a[i + k][j]; });
                    const double q = t / h;
                    for (std::size_t k = i; k < height; ++k) a[k][j] += q * a[k][i];
                }
                for (std::size_t k = i; k < height; ++k) a[k][i] *= scale;
            }
        }
        d.w[i] = scale * g;
        g = scale = 0;
        if (i < height && i + 1 != width) {
            const std::size_t l = i + 1;
            scale = sum_of(width - l, [&](std::size_t k) { return std::abs(a[i][l + k]); });
            if (scale > 0 || scale < 0) {
                const double factor = 1 / scale;
                for (std::size_t k = l; k < width; ++k) a[i][k] *= factor;
                const double s = sum_of(width - l, [&](std::size_t k) { return a[i][l + k] * a[i][l + k]; });
                const double f = a[i][l];
                g = f >= 0 ? -std::sqrt(s) : std::sqrt(s);
                const double h = f * g - s;
                a[i][l] = f - g;
                for (std::size_t k = l; k < width; ++k) e[k] = a[i][k] / h;
                for (std::size_t j = l; j < height; ++j) {
                    double t = 0;
                    zelsDotProd_64f(&a[j][l], &a[i][l], static_cast<std::int32_t>(width - l), &t);
                    for (std::size_t k = l; k < width; ++k) a[j][k] += t * e[k];
                }
                for (std::size_t k = l; k < width; ++k) a[i][k] *= scale;
            }
        }
        norm = std::max(norm, std::abs(d.w[i]) + std::abs(e[i]));
    }
    return norm;
}

inline void accumulate_right(Decomposition& d, const std::vector<double>& e)
{
    const Matrix& a = d.u;
    Matrix& v = d.v;
    const std::size_t width = d.width();
    double g = 0;
    for (std::size_t i = width; i-- > 0;) {
        const std::size_t l = i + 1;
        if (l < width) {
            if (g != 0) {
                for (std::size_t j = l; j < width; ++j) v[j][i] = (a[i][j] / a[i][l]) / g;
                for (std::size_t j = l; j < width; ++j) {
                    const double t = sum_of(width - l, [&](std::size_t k) { return a[i][l + k] * v[l + k][j]; });
                    for (std::size_t k = l; k < width; ++k) v[k][j] += t * v[k][i];
                }
            }
            for (std::size_t j = l; j < width; ++j) v[i][j] = v[j][i] = 0;
        }
        v[i][i] = 1;
        g = e[i];
    }
}

inline void accumulate_left(Decomposition& d)
{
    Matrix& a = d.u;
    const std::size_t height = d.height(), width = d.width();
    for (std::size_t i = std::min(height, width); i-- > 0;) {
        const std::size_t l = i + 1;
        double g = d.w[i];
        for (std::size_t j = l; j < width; ++j) a[i][j] = 0;
        if (g != 0) {
            g = 1 / g;
            for (std::size_t j = l; j < width; ++j) {
                const double t = sum_of(height - l, [&](std::size_t k) { return a[l + k][i] * a[l + k][j]; });
                const double f = (t / a[i][i]) * g;
                for (std::size_t k = i; k < height; ++k) a[k][j] += f * a[k][i];
            }
            for (std::size_t k = i; k < height; ++k) a[k][i] *= g;
        } else {
            for (std::size_t k = i; k < height; ++k) a[k][i] = 0;
        }
        a[i][i] += 1;
    }
}

// False where a value uses up the limit.
inline bool diagonalise(Decomposition& d, std::vector<double>& e, double norm, std::int64_t limit)
{
    std::vector<double>& w = d.w;
    for (std::size_t k = d.width(); k-- > 0;) {
        for (std::int64_t counter = 1;; ++counter) {
            std::size_t l = k;
            bool cancel = false;
            for (; l > 0; --l) {
                if (std::abs(e[l]) + norm == norm) break;
                if (std::abs(w[l - 1]) + norm == norm) {
                    cancel = true;
                    break;
                }
            }
            if (cancel) {
                ++d.cancellations;
                double c = 0, s = 1;
                for (std::size_t i = l; i <= k; ++i) {
                    const double f = s * e[i];
                    e[i] = c * e[i];
                    if (std::abs(f) + norm == norm) break;
                    const double g = w[i], h = hypotenuse(f, g);
                    w[i] = h;
                    c = g / h;
                    s = -f / h;
                    rotate(d.u, i, l - 1, c, s);
                }
            }
            const double z = w[k];
            if (l == k) {
                if (z < 0) {
                    w[k] = -z;
                    for (std::vector<double>& row : d.v) row[k] *= -1.0;
                }
                break;
            }
            if (counter == limit) return false;
            ++d.sweeps;
            double x = w[l], y = w[k - 1], g = e[k - 1], h = e[k];
            const double numerator = (y - z) * (y + z) + (g - h) * (g + h);
            double f = numerator / (2 * h * y);
            g = hypotenuse(f, 1.0);
            const double shift = h * (y / (f + (f >= 0 ? g : -g)) - h);
            f = ((x - z) * (x + z) + shift) / x;
            double c = 1, s = 1;
            for (std::size_t j = l; j < k; ++j) {
                const std::size_t i = j + 1;
                g = e[i];
                y = w[i];
                h = s * g;
                g = c * g;
                double length = hypotenuse(f, h);
                e[j] = length;
                if (length > 0 || length < 0) {
                    c = f / length;
                    s = h / length;
                }
                const double xc = x * c, gs = g * s, gc = g * c, xs = x * s;
                f = xc + gs;
                g = gc - xs;
                h = y * s;
                y = y * c;
                rotate(d.v, i, j, c, s);
                length = hypotenuse(f, h);
                w[j] = length;
                if (length > 0 || length < 0) {
                    const double reciprocal = 1 / length;
                    c = f * reciprocal;
                    s = h * reciprocal;
                }
                const double cg = c * g, sy = s * y, cy = c * y, sg = s * g;
                f = cg + sy;
                x = cy - sg;
                rotate(d.u, i, j, c, s);
            }
            e[l] = 0;
            e[k] = f;
            w[k] = x;
        }
    }
    return true;
}

inline Decomposition decompose(const Matrix& source, std::int64_t limit = 1000)
{
    const std::size_t width = source[0].size();
    Decomposition d{source, std::vector<double>(width), Matrix(width, std::vector<double>(width))};
    std::vector<double> e(width);
    const double norm = reduce(d, e);
    accumulate_right(d, e);
    accumulate_left(d);
    d.converged = diagonalise(d, e, norm, limit);
    return d;
}

// Values in decreasing order, each time by exchange with the first largest of those left.
inline Decomposition sorted(const Decomposition& d)
{
    Decomposition result = d;
    std::vector<std::size_t> index(d.width());
    std::iota(index.begin(), index.end(), std::size_t{0});
    for (std::size_t i = 0; i < d.width(); ++i) {
        const auto first = result.w.begin() + static_cast<std::ptrdiff_t>(i);
        const auto largest = static_cast<std::size_t>(std::max_element(first, result.w.end()) - result.w.begin());
        std::swap(result.w[i], result.w[largest]);
        std::swap(index[i], index[largest]);
    }
    const auto permute = [&](const Matrix& from, Matrix& to) {
        for (std::size_t r = 0; r < from.size(); ++r)
            for (std::size_t j = 0; j < index.size(); ++j) to[r][j] = from[r][index[j]];
    };
    permute(d.u, result.u);
    permute(d.v, result.v);
    return result;
}

// The singular values alone, in decreasing order, by one-sided Jacobi rotations of the columns in extended
// precision: another method altogether.
inline std::vector<double> values_by_jacobi(const Matrix& a)
{
    using Real = long double;
    const std::size_t width = a[0].size();
    std::vector<std::vector<Real>> columns(width);
    for (std::size_t j = 0; j < width; ++j)
        for (const std::vector<double>& row : a) columns[j].push_back(row[j]);
    const auto dot = [](const std::vector<Real>& x, const std::vector<Real>& y) {
        return std::inner_product(x.begin(), x.end(), y.begin(), Real(0));
    };
    bool rotated = true;
    for (int pass = 0; rotated && pass < 60; ++pass) {
        rotated = false;
        for (std::size_t p = 0; p + 1 < width; ++p)
            for (std::size_t q = p + 1; q < width; ++q) {
                const Real pp = dot(columns[p], columns[p]), qq = dot(columns[q], columns[q]),
                           pq = dot(columns[p], columns[q]);
                if (std::abs(pq) <= 1e-18L * std::sqrt(pp) * std::sqrt(qq)) continue;
                rotated = true;
                const Real zeta = (qq - pp) / (2 * pq);
                const Real t = (zeta >= 0 ? 1 : -1) / (std::abs(zeta) + std::hypot(Real(1), zeta));
                const Real c = 1 / std::hypot(Real(1), t), s = c * t;
                for (std::size_t r = 0; r < a.size(); ++r) {
                    const Real x = columns[p][r], y = columns[q][r];
                    columns[p][r] = c * x - s * y;
                    columns[q][r] = s * x + c * y;
                }
            }
    }
    std::vector<double> values;
    for (const std::vector<Real>& column : columns) values.push_back(double(std::sqrt(dot(column, column))));
    std::sort(values.rbegin(), values.rend());
    return values;
}

}  // namespace zelsr::test::reference::svd
