// Updates, merging and covariance of Gaussians. Sizes of covariances are width x height.
#include <zelsr/estimation.h>

#include "plain/estimation.h"
#include "support/eigen.h"
#include "support/row.h"

namespace zelsr::bench {
namespace {

constexpr char same_traffic[] = "all are bound by loads and stores alike";
constexpr char one_division[] = "all are bound by the division of each element";
constexpr char mean_of_each_pair[] =
    "a mean is subtracted for every pair of elements, where Eigen multiplies and adds only";

template <class T, SrStatus UpdateMean(const T*, T*, int32_t, T)>
void update_mean(Row& row)
{
    const int len = row.len;
    const T* acc = row.input<T>(len, -1, 1);
    row.registers(len * static_cast<double>(sizeof(T)) / 16, {.loads = 2, .stores = 1, .adds = 1});
    row.reason(sizeof(T) == 8 ? one_division : same_traffic);
    auto answer = row.answer<T>(len, 1e-6);
    answer.library([=](T* mean) { UpdateMean(acc, mean, len, T(3)); });
    answer.plain([=](T* mean) { plain::update_mean(acc, mean, len, T(3)); });
    answer.peer("Eigen", [=](T* mean) { array(mean, len) += array(acc, len) / T(3); });
}

void update_var(Row& row)
{
    const int len = row.len;
    const float *acc = row.input(len, -1.0F, 1.0F), *squares = row.input(len, 0.0F, 1.0F);
    const float* floor = row.input(len, 0.0F, 0.1F);
    row.registers(len / 4.0, {.loads = 3, .stores = 1, .multiplies = 3, .adds = 1});
    row.reason("Eigen does not look whether all were floored");
    auto answer = row.answer<float>(len);
    answer.library([=](float* var) { zelsUpdateVar_32f(acc, squares, floor, var, len, 3, 3); });
    answer.plain([=](float* var) { plain::update_var(acc, squares, floor, var, len, 3); });
    answer.peer("Eigen", [=](float* var) {
        const float r = 1.0F / 3;
        array(var, len) = (array(squares, len) * r - (array(acc, len) * r).square()).max(array(floor, len));
    });
}

void update_weight(Row& row)
{
    const int len = row.len;
    const float* acc = row.input(len, 0.0F, 1.0F);
    row.registers(len / 4.0, {.loads = 1, .stores = 1, .multiplies = 1, .adds = 1});
    row.reason("four partial sums, one addition after the other");
    auto answer = row.answer<float>(len + 1, 1e-4);
    answer.library([=](float* dst) { zelsUpdateWeight_32f(acc, dst, len, dst + len, 3, 0.1F); });
    answer.plain([=](float* dst) { plain::update_weight(acc, dst, len, dst + len, 3, 0.1F); });
}

void gaussian_constant(Row& row)
{
    const int len = row.len;
    const float* inv_var = row.input(len, 0.1F, 10.0F);
    auto answer = row.answer<float>(1, 1e-5);
    answer.library([=](float* gconst) { zelsUpdateGConst_32f(inv_var, len, gconst); });
    answer.plain([=](float* gconst) { *gconst = static_cast<float>(plain::gaussian_constant(inv_var, len)); });
}

void weighted_sum_16s(Row& row)
{
    const int len = row.len;
    const auto *first = row.input<int16_t>(len, -32768, 32767), *second = row.input<int16_t>(len, -32768, 32767);
    auto answer = row.answer<int16_t>(len);
    answer.library([=](int16_t* dst) { zelsWeightedSum_16s(first, second, dst, len, 2, 1); });
    answer.plain([=](int16_t* dst) { plain::weighted_sum(first, second, dst, len, 2, 1); });
}

void new_var_32s(Row& row)
{
    const int len = row.len;
    const auto *mean = row.input<int32_t>(len, -1000, 1000), *square = row.input<int32_t>(len, 0, 100000000);
    auto answer = row.answer<int32_t>(len);
    answer.library([=](int32_t* dst) { zelsNewVar_32s_Sfs(mean, square, dst, len, 0.3F, 1.7F, 2); });
    answer.plain([=](int32_t* dst) { plain::new_var(mean, square, dst, len, 0.3F, 1.7F, 2); });
}

void split(Row& row)
{
    const int len = row.len;
    const float* var = row.input(len, 0.1F, 10.0F);
    row.registers(len / 4.0, {.loads = 2, .stores = 3, .multiplies = 1, .adds = 2});
    row.reason(same_traffic);
    auto answer = row.answer<float>(3 * len);
    answer.library([=](float* dst) { zelsGaussianSplit_32f(dst, var, dst + len, dst + 2 * len, len, 0.2F); });
    answer.plain([=](float* dst) { plain::split(dst, var, dst + len, dst + 2 * len, len, 0.2F); });
}

void merge_distance(Row& row)
{
    const int len = row.len;
    const float *mean1 = row.input(len, -1.0F, 1.0F), *mean2 = row.input(len, -1.0F, 1.0F);
    const float *var1 = row.input(len, 0.1F, 10.0F), *var2 = row.input(len, 0.1F, 10.0F);
    auto answer = row.answer<float>(1, 1e-5);
    answer.library(
        [=](float* distance) { zelsGaussianDist_32f(mean1, var1, mean2, var2, len, distance, 2, 10, 3, 20); });
    answer.plain([=](float* distance) {
        *distance = static_cast<float>(plain::merge_distance(mean1, var1, mean2, var2, len, 2, 10, 3, 20));
    });
}

void cluster_likelihood(Row& row)
{
    const int len = row.len;
    const float *s = row.input(len, -1.0F, 1.0F), *q = row.input(len, 1.0F, 10.0F);
    auto answer = row.answer<double>(1, 1e-10);
    answer.library([=](double* result) { zelsDcsClustLCompute_32f64f(s, q, len, result, 3); });
    answer.plain([=](double* result) { *result = plain::cluster_likelihood(s, q, len, 3); });
}

// Around a mean of zero, where the means of both columns are alike, so that Eigen's product has the same value.
template <class T, SrStatus Accumulate(const T*, int32_t, int32_t, const T*, double*, int32_t, int32_t, double)>
void covariance(Row& row)
{
    const auto [width, height] = row.size;
    const int step = (width + 7) / 8 * 8, w = width, h = height;
    const T *frames = row.input<T>(step * h, -100, 100), *mean = row.input<T>(w, 0, 0);
    const double pairs = w * (w + 1.0) / 2;
    row.registers(h * pairs / 2, {.multiplies = 1, .adds = 2});
    row.reason_at_every_size(mean_of_each_pair);
    auto answer = row.answer<double>(w * w, 1e-12);
    answer.library([=](double* dst) { Accumulate(frames, step, h, mean, dst, w, w, 0.01); });
    answer.plain([=](double* dst) { plain::covariance(frames, step, h, mean, dst, w, 0.01); });
    answer.peer("Eigen", [=](double* dst) {
        using Steps = Eigen::Map<const Eigen::Matrix<T, Eigen::Dynamic, Eigen::Dynamic>, 0, Eigen::OuterStride<>>;
        Eigen::Map<Eigen::MatrixXd> to(dst, w, w);
        const Eigen::MatrixXd x = Steps(frames, w, h, Eigen::OuterStride<>(step)).template cast<double>();
        to.template selfadjointView<Eigen::Lower>().rankUpdate(x, 0.01);
        to.template triangularView<Eigen::StrictlyUpper>() = to.transpose();
    });
}

const Table updates{"estimation/updates",
                    {{"zelsUpdateMean_32f", update_mean<float, zelsUpdateMean_32f>},
                     {"zelsUpdateMean_64f", update_mean<double, zelsUpdateMean_64f>},
                     {"zelsUpdateVar_32f", update_var},
                     {"zelsUpdateWeight_32f", update_weight},
                     {"zelsUpdateGConst_32f", gaussian_constant},
                     {"zelsWeightedSum_16s", weighted_sum_16s},
                     {"zelsNewVar_32s_Sfs", new_var_32s},
                     {"zelsGaussianSplit_32f", split},
                     {"zelsGaussianDist_32f", merge_distance},
                     {"zelsDcsClustLCompute_32f64f", cluster_likelihood}},
                    {{12}, {39}, {256}, {4096}}};

const Table covariances{
    "estimation/covariance",
    {{"zelsAccCovarianceMatrix_32f64f_D2", covariance<float, zelsAccCovarianceMatrix_32f64f_D2>},
     {"zelsAccCovarianceMatrix_16s64f_D2", covariance<int16_t, zelsAccCovarianceMatrix_16s64f_D2>}},
    {{13, 100}, {39, 100}, {39, 1000}, {40, 10000}}};

}  // namespace
}  // namespace zelsr::bench
