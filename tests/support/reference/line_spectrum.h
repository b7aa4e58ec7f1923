// Line spectral pairs from prediction coefficients and back, as they are stated, in single precision; the same
// polynomials in extended precision.
#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "zelsr/types.h"

namespace zelsr::test::reference {

// The two polynomials, [0] being 1.
template <class T>
struct Palindromes {
    std::vector<T> first, second;
};

template <class T>
Palindromes<T> palindromes(const std::vector<float>& a)
{
    const std::size_t order = a.size();
    const std::size_t m1 = (order + 1) / 2, m2 = order / 2;
    Palindromes<T> g{std::vector<T>(m1 + 1), std::vector<T>(m2 + 1)};
    g.first[0] = g.second[0] = 1;
    if (order % 2 == 0) {
        for (std::size_t i = 1; i <= m1; ++i) {
            g.first[i] = T(a[i - 1]) - g.first[i - 1] + T(a[order - i]);
            g.second[i] = T(a[i - 1]) + g.second[i - 1] - T(a[order - i]);
        }
        return g;
    }
    for (std::size_t i = 1; i < m1; ++i) g.first[i] = 0 - T(a[i - 1]) - T(a[order - i]);
    g.first[m1] = -2 * T(a[m1 - 1]);
    if (m2 >= 1) g.second[1] = T(a[order - 1]) - T(a[0]);
    for (std::size_t i = 2; i <= m2; ++i) g.second[i] = g.second[i - 2] + T(a[order - i]) - T(a[i - 1]);
    return g;
}

// The polynomial c at x = cos(w).
template <class T>
T chebyshev(const std::vector<T>& c, T x)
{
    const std::size_t m = c.size() - 1;
    if (m == 0) return 0;
    const T y = x + x;
    if (m == 1) return y + c[1];
    T previous = 1, current = c[1] + y;
    for (std::size_t j = 2; j < m; ++j) {
        const T next = y * current - previous + c[j];
        previous = current;
        current = next;
    }
    return c[m] * T(0.5) - previous + current * x;
}

struct Bracket {
    float xa, fa, xb, fb;
};

inline Bracket bisect(const std::vector<float>& c, Bracket b, int divisions)
{
    for (int n = 0; n < divisions; ++n) {
        const float middle = (b.xa + b.xb) * 0.5F;
        const float f = chebyshev(c, middle);
        if (b.fb * f > 0) {
            b.xb = middle;
            b.fb = f;
        } else {
            b.xa = middle;
            b.fa = f;
        }
    }
    return b;
}

inline Bracket quadrisect(const std::vector<float>& c, Bracket b, int divisions)
{
    float step = (b.xa - b.xb) / 4;
    for (int n = 0; n < (divisions + 1) / 2; ++n) {
        const float xa = b.xa, fa = b.fa;
        for (int q = 1; q <= 3; ++q) {
            const float x = xa - static_cast<float>(q) * step;
            const float f = chebyshev(c, x);
            if (fa * f > 0) {
                b.xa = x;
                b.fa = f;
            } else {
                b.xb = x;
                b.fb = f;
                break;
            }
        }
        step = step / 4;
    }
    return b;
}

struct LineSpectrum {
    SrStatus status = SrOk;
    std::vector<float> roots;
    std::vector<bool> by_four;  // whether the root was found in a group of four nodes
};

inline LineSpectrum lp_to_lsp(const std::vector<float>& a, int intervals, int divisions)
{
    const Palindromes<float> g = palindromes<float>(a);
    const float distance = 2.0F / static_cast<float>(intervals);
    std::vector<float> node;
    for (int i = 0; i <= intervals; ++i)
        node.push_back(i < 4 ? 1.0F - static_cast<float>(i) * distance
                             : node[static_cast<std::size_t>(i - 4)] - 4.0F * distance);
    node.back() = -1;
    LineSpectrum result;
    const std::vector<float>* c = &g.first;
    float xa = 1, fa = chebyshev(*c, xa);
    int group_end = 0;  // the last node of the group under way
    for (int i = 0; i < intervals && result.roots.size() < a.size();) {
        if (i >= group_end && i + 5 < intervals) group_end = i + 4;
        const float xb = node[static_cast<std::size_t>(i + 1)], fb = chebyshev(*c, xb);
        if (fa * fb > 0) {
            xa = xb;
            fa = fb;
            ++i;
            continue;
        }
        const bool by_four = i < group_end;
        const Bracket b =
            by_four ? quadrisect(*c, {xa, fa, xb, fb}, divisions) : bisect(*c, {xa, fa, xb, fb}, divisions);
        xa = b.xb - (b.xa - b.xb) * b.fb / (b.fa - b.fb);
        result.roots.push_back(xa);
        result.by_four.push_back(by_four);
        c = c == &g.first ? &g.second : &g.first;
        fa = chebyshev(*c, xa);
        group_end = 0;  // the group is begun anew
    }
    if (result.roots.size() < a.size()) result.status = SrErrLpToLsp;
    return result;
}

// The product of the factors of every other value, from the first-th on.
inline std::vector<float> lsp_polynomial(const std::vector<float>& lsp, std::size_t first, std::size_t padded)
{
    std::vector<float> p(padded);
    p[0] = 1;
    std::size_t k = 1;
    for (std::size_t i = first; i < lsp.size(); i += 2, ++k) {
        const float b = -2 * lsp[i];
        if (k == 1) {
            p[1] = b;
            continue;
        }
        p[k] = p[k - 1] * b + p[k - 2] * 2;
        for (std::size_t j = k - 1; j >= 2; --j) p[j] = p[j - 1] * b + p[j] + p[j - 2];
        p[1] = p[1] + b;
    }
    return p;
}

inline std::vector<float> lsp_to_lp(const std::vector<float>& lsp)
{
    const std::size_t order = lsp.size();
    const std::size_t m = (order + 1) / 2, m2 = order / 2;
    std::vector<float> g1 = lsp_polynomial(lsp, 0, m + 2), g2 = lsp_polynomial(lsp, 1, m + 2), a(order);
    if (order % 2 == 0) {
        for (std::size_t i = m; i >= 1; --i) {
            g1[i] = g1[i] + g1[i - 1];
            g2[i] = g2[i] - g2[i - 1];
        }
        for (std::size_t i = 1; i <= m; ++i) {
            a[i - 1] = (g1[i] + g2[i]) * 0.5F;
            a[order - i] = (g1[i] - g2[i]) * 0.5F;
        }
        return a;
    }
    a[0] = (g1[1] + g2[1]) * -0.5F;
    for (std::size_t j = 0; j + 3 <= m; ++j) a[j + 1] = (g1[j + 2] + g2[j + 2] - g2[j]) * -0.5F;
    if (order > 1) a[m - 1] = g1[m] * -0.5F;
    for (std::size_t j = 0; j + 3 <= m2; ++j) a[order - 3 - j] = (g1[j + 3] - g2[j + 3] + g2[j + 1]) * -0.5F;
    if (order >= 2) a[order - 1] = (g1[1] - g2[1]) * -0.5F;
    if (order >= 4) a[order - 2] = (1 + g1[2] - g2[2]) * -0.5F;
    return a;
}

}  // namespace zelsr::test::reference
