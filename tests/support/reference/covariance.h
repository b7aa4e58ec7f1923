// Covariance over frames, element by element, in the order of the statements.
#pragma once

#include <cstddef>
#include <vector>

namespace zelsr::test::reference {

// dst: the rows of a square matrix. Both differences are from the mean of column j.
template <class T>
void add_covariance(const std::vector<std::vector<T>>& frames, const std::vector<T>& mean,
                    std::vector<std::vector<double>>& dst, double factor)
{
    for (std::size_t i = 0; i < mean.size(); ++i)
        for (std::size_t j = i; j < mean.size(); ++j) {
            const double m = mean[j];
            double sum = 0;
            for (const std::vector<T>& x : frames) sum += (x[i] - m) * (x[j] - m);
            dst[i][j] = sum * factor + dst[i][j];
            dst[j][i] = dst[i][j];
        }
}

// The order of large jobs: each frame is subtracted by itself.
template <class T>
void add_covariance_by_frames(const std::vector<std::vector<T>>& frames, const std::vector<T>& mean,
                              std::vector<std::vector<double>>& dst, double factor)
{
    for (const std::vector<T>& x : frames)
        for (std::size_t i = 0; i < mean.size(); ++i)
            for (std::size_t j = i; j < mean.size(); ++j) {
                const double m = mean[j];
                dst[i][j] -= ((m - x[i]) * (x[j] - m)) * factor;
            }
    for (std::size_t i = 0; i < mean.size(); ++i)
        for (std::size_t j = i; j < mean.size(); ++j) dst[j][i] = dst[i][j];
}

}  // namespace zelsr::test::reference
