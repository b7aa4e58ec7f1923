// Linear prediction from autocorrelation and from samples, step by step in single precision as it is stated; the
// covariance method in extended precision.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "zelsr/types.h"

namespace zelsr::test::reference {

// start and the products in turn, up to 11 of them. More are added eight abreast from the last one on; what is
// left of them joins start.
inline float add_products(float start, std::vector<float> products)
{
    if (products.size() <= 11) {
        for (float product : products) start = start + product;
        return start;
    }
    std::reverse(products.begin(), products.end());
    const std::size_t whole = products.size() / 8 * 8;
    float p[8] = {};
    for (std::size_t n = 0; n < whole; ++n) p[n % 8] = p[n % 8] + products[n];
    for (std::size_t n = whole; n < products.size(); ++n) start = start + products[n];
    return start + (((p[0] + p[4]) + (p[1] + p[5])) + ((p[2] + p[6]) + (p[3] + p[7])));
}

struct Prediction {
    SrStatus status = SrOk;
    std::vector<float> a;   // as the caller's array is left: what it held at first where nothing was written
    float error = 0;        // meaningful with SrOk
    float least_error = 0;  // the smallest prediction error met
};

// autocorrelation: order + 1 values. Orders 9 to 12 store the last coefficient of the steps 2 to 4 before these
// look at the error.
inline Prediction durbin(const std::vector<float>& autocorrelation, std::vector<float> held)
{
    const std::vector<float>& r = autocorrelation;
    const std::size_t order = held.size();
    Prediction result{SrErrDurbin, std::move(held), 0};
    if (!(r[0] > 0)) return result;
    float k = r[1] / r[0];
    float error = r[0] * (1 - k * k);
    if (!(error > 0)) return result;
    result.a[0] = -k;
    const bool early = order >= 9 && order <= 12;
    for (std::size_t i = 2; i <= order; ++i) {
        std::vector<float> products;
        for (std::size_t j = 1; j < i; ++j) products.push_back(r[i - j] * result.a[j - 1]);
        k = add_products(r[i], products) / error;
        error = error * (1 - k * k);
        std::vector<float> next = result.a;
        next[i - 1] = -k;
        if (early && i <= 4) result.a[i - 1] = -k;
        if (!(error > 0)) return result;
        for (std::size_t j = 1; j < i; ++j) next[j - 1] = result.a[j - 1] - result.a[i - j - 1] * k;
        result.a = next;
    }
    result.status = SrOk;
    result.error = error;
    return result;
}

struct Reflection {
    std::vector<float> k;
    float error;
};
inline Reflection schur(const std::vector<float>& r, std::size_t order)
{
    std::vector<float> u(order + 1), v(order + 1), k(order + 1);
    u[1] = r[0];
    for (std::size_t j = 1; j < order; ++j) {
        u[j + 1] = r[j];
        v[j] = r[j];
    }
    v[order] = r[order];
    for (std::size_t m = 1; m <= order; ++m) {
        k[m] = (0 - v[m]) / u[m];
        for (std::size_t j = order; j > m; --j) {
            v[j] = k[m] * u[j] + v[j];
            u[j] = k[m] * v[j - 1] + u[j - 1];
        }
    }
    return {{k.begin() + 1, k.end()}, k[order] * v[order] + u[order]};
}

// phi(i, c) for c from 1 to i, i from 1 on: the sum of x[n] x[n + i - c] over the first length - i samples, stored
// in single precision.
inline float covariance(const std::vector<float>& x, std::size_t i, std::size_t c)
{
    double sum = 0;
    for (std::size_t n = 0; n + i < x.size(); ++n) sum += static_cast<double>(x[n]) * x[n + i - c];
    return static_cast<float>(sum);
}

// The same factors and substitutions in single precision, each sum formed on its own in rising index; p: the right
// side from lag 1 on. Up to order 12: longer sums are formed otherwise.
inline std::vector<float> covariance_in_singles(const std::vector<float>& x, const std::vector<float>& p)
{
    const std::size_t order = p.size();
    using Row = std::vector<float>;
    std::vector<Row> lower(order + 1, Row(order + 1));
    Row d(order + 1), w(order + 1), y(order + 1), a(order);
    for (std::size_t r = 1; r <= order; ++r) {
        for (std::size_t c = 1; c < r; ++c) {
            float sum = 0;
            for (std::size_t k = 1; k < c; ++k) sum = sum + w[k] * lower[c][k];
            lower[r][c] = (covariance(x, r, c) - sum) / d[c];
            w[c] = lower[r][c] * d[c];
        }
        float sum = 0, known = 0;
        for (std::size_t k = 1; k < r; ++k) {
            sum = sum + w[k] * lower[r][k];
            known = known + lower[r][k] * y[k];
        }
        d[r] = covariance(x, r, r) - sum;
        y[r] = p[r - 1] - known;
    }
    for (std::size_t i = order; i >= 1; --i) {
        float known = 0;
        for (std::size_t j = i + 1; j <= order; ++j) known = known + lower[j][i] * a[j - 1];
        a[i - 1] = y[i] / d[i] - known;
    }
    return a;
}

// The right side: the sum of x[n] x[n + k], in extended precision.
inline long double lagged_product(const std::vector<float>& x, std::size_t k)
{
    long double sum = 0;
    for (std::size_t n = 0; n + k < x.size(); ++n) sum += static_cast<long double>(x[n]) * x[n + k];
    return sum;
}

// The solution of sum over j of phi(i, j) a[j] = p[i], phi symmetric, by the same factors in extended precision.
// growth: how much the pivots shrink against the diagonal, which is what rounding errors grow with.
struct CovarianceSolution {
    std::vector<long double> a;
    long double growth = 1;
};
inline CovarianceSolution solve_covariance(const std::vector<float>& x, std::size_t order)
{
    using Row = std::vector<long double>;
    std::vector<Row> lower(order + 1, Row(order + 1));
    Row d(order + 1), y(order + 1);
    CovarianceSolution result{Row(order), 1};
    for (std::size_t r = 1; r <= order; ++r) {
        d[r] = covariance(x, r, r);
        const long double diagonal = d[r];
        for (std::size_t c = 1; c < r; ++c) {
            long double t = covariance(x, r, c);
            for (std::size_t k = 1; k < c; ++k) t -= lower[r][k] * d[k] * lower[c][k];
            lower[r][c] = t / d[c];
            d[r] -= lower[r][c] * lower[r][c] * d[c];
        }
        if (diagonal / d[r] > result.growth) result.growth = diagonal / d[r];
        y[r] = lagged_product(x, r);
        for (std::size_t j = 1; j < r; ++j) y[r] -= lower[r][j] * y[j];
    }
    for (std::size_t i = order; i >= 1; --i) {
        long double value = y[i] / d[i];
        for (std::size_t j = i + 1; j <= order; ++j) value -= lower[j][i] * result.a[j - 1];
        result.a[i - 1] = value;
    }
    return result;
}

}  // namespace zelsr::test::reference
