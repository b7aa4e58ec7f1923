// Scores of diagonal-covariance Gaussians and their reductions, element by element: running maximum, running log
// addition, whole mixtures. The scores are gauss.h's, the additions log_add.h's; what joins them stands here.
#pragma once

#include <cstddef>
#include <vector>

#include "support/reference/gauss.h"
#include "support/reference/log_add.h"

namespace zelsr::test::reference {

// The running maximum: the old value stays unless the score is greater, on equality and beside NaN too.
template <class T>
T keep_larger(T old, T score)
{
    return score > old ? score : old;
}

// A frame's score in double precision with the constant doubled beforehand, which a large one does not survive.
template <class Term>
double frame_score_of_doubled_64f(const double* x, const Term& term, int width, double val)
{
    double lanes[2] = {0, 0};
    for (int k = 0; k < width; ++k) lanes[k % 2] -= term(x, k);
    return (2.0 * val + (lanes[0] + lanes[1])) * 0.5;
}

// Whole mixtures: blocks of 100 scores, from the second one on behind the running value.
template <class T>
T mixture_log_sum(const std::vector<T>& scores)
{
    std::vector<T> block;
    for (std::size_t j = 0; j < scores.size(); ++j) {
        if (j > 0 && j % 100 == 0) block = {log_sum(block)};
        block.push_back(scores[j]);
    }
    return log_sum(block);
}

// One component after the other by the plain loops' addition, rounded after each.
inline float serial_log_sum(const std::vector<float>& scores)
{
    float sum = scores[0];
    for (std::size_t j = 1; j < scores.size(); ++j) sum = log_add_plain(sum, scores[j]);
    return sum;
}

}  // namespace zelsr::test::reference
