#include "plain/svd.h"

#include <algorithm>
#include <cmath>

namespace zelsr::bench::plain {

// One-sided Jacobi: pairs of columns of U and V are rotated until U's are orthogonal; their lengths are the
// singular values.
void singular_values(double* u, double* w, double* v, int height, int width)
{
    for (int r = 0; r < width; ++r)
        for (int c = 0; c < width; ++c) v[r * width + c] = r == c;
    for (bool rotated = true; rotated;) {
        rotated = false;
        for (int p = 0; p < width; ++p)
            for (int q = p + 1; q < width; ++q) {
                double pp = 0, qq = 0, pq = 0;
                for (int r = 0; r < height; ++r) {
                    pp += u[r * width + p] * u[r * width + p];
                    qq += u[r * width + q] * u[r * width + q];
                    pq += u[r * width + p] * u[r * width + q];
                }
                if (std::abs(pq) <= 1e-14 * std::sqrt(pp * qq)) continue;
                rotated = true;
                const double zeta = (qq - pp) / (2 * pq);
                const double t = std::copysign(1 / (std::abs(zeta) + std::sqrt(1 + zeta * zeta)), zeta);
                const double c = 1 / std::sqrt(1 + t * t), s = c * t;
                const auto rotate = [=](double* m, int rows) {
                    for (int r = 0; r < rows; ++r) {
                        const double y = m[r * width + p], z = m[r * width + q];
                        m[r * width + p] = c * y - s * z;
                        m[r * width + q] = s * y + c * z;
                    }
                };
                rotate(u, height);
                rotate(v, width);
            }
    }
    for (int c = 0; c < width; ++c) {
        double sum = 0;
        for (int r = 0; r < height; ++r) sum += u[r * width + c] * u[r * width + c];
        w[c] = std::sqrt(sum);
        for (int r = 0; r < height; ++r) u[r * width + c] /= w[c];
    }
    std::sort(w, w + width, [](double a, double b) { return a > b; });
}

}  // namespace zelsr::bench::plain
