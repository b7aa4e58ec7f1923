// Sums, dot products and extremes.
#include <cblas.h>
#include <zelsr/core/vector.h>

#include "plain/plain.h"
#include "support/eigen.h"
#include "support/peers.h"
#include "support/row.h"

namespace zelsr::bench {
namespace {

constexpr char avx_kernels[] =
    "OpenBLAS Haswell: 32 bytes at a time, multiplication and addition fused (level under --sse)";
constexpr char lane_join[] = "set-up and the join of the lanes, which weigh up to some 256 elements";
constexpr char environment[] =
    "the caller's rounding mode is looked at, and the total passes through extended precision: 7 ns a call";

void dot_32f(Row& row)
{
    const int len = row.len;
    const float* first = row.input(len, -1.0F, 1.0F);
    const float* second = row.input(len, -1.0F, 1.0F);
    row.registers(len / 4.0, {.loads = 2, .multiplies = 1, .adds = 1});
    row.reason(avx_kernels);
    auto answer = row.answer<float>(1, 1e-3);
    answer.library([=](float* sum) { zelsDotProd_32f(first, second, len, sum); });
    answer.plain([=](float* sum) { *sum = plain::dot<float, float>(first, second, len); });
    answer.peer(openblas_name(), [=](float* sum) { *sum = cblas_sdot(len, first, 1, second, 1); });
    answer.peer("Eigen", [=](float* sum) { *sum = (array(first, len) * array(second, len)).sum(); });
}

void dot_64f(Row& row)
{
    const int len = row.len;
    const double* first = row.input(len, -1.0, 1.0);
    const double* second = row.input(len, -1.0, 1.0);
    row.registers(len / 2.0, {.loads = 2, .multiplies = 1, .adds = 1});
    row.reason(avx_kernels);
    auto answer = row.answer<double>(1, 1e-10);
    answer.library([=](double* sum) { zelsDotProd_64f(first, second, len, sum); });
    answer.plain([=](double* sum) { *sum = plain::dot<double, double>(first, second, len); });
    answer.peer(openblas_name(), [=](double* sum) { *sum = cblas_ddot(len, first, 1, second, 1); });
    answer.peer("Eigen", [=](double* sum) { *sum = (array(first, len) * array(second, len)).sum(); });
}

void dot_32f64f(Row& row)
{
    const int len = row.len;
    const float* first = row.input(len, -1.0F, 1.0F);
    const float* second = row.input(len, -1.0F, 1.0F);
    row.registers(len / 2.0, {.loads = 1, .multiplies = 1, .adds = 1});
    row.reason("OpenBLAS multiplies in single precision, here every product is exact");
    // OpenBLAS sums blocks in single precision.
    auto answer = row.answer<double>(1, 1e-5);
    answer.library([=](double* sum) { zelsDotProd_32f64f(first, second, len, sum); });
    answer.plain([=](double* sum) { *sum = plain::dot<float, double>(first, second, len); });
    answer.peer(openblas_name(), [=](double* sum) { *sum = cblas_dsdot(len, first, 1, second, 1); });
    answer.peer("Eigen", [=](double* sum) {
        *sum = (array(first, len).cast<double>() * array(second, len).cast<double>()).sum();
    });
}

void dot_16s64s(Row& row)
{
    const int len = row.len;
    const auto* first = row.input<std::int16_t>(len, -32768, 32767);
    const auto* second = row.input<std::int16_t>(len, -32768, 32767);
    row.registers(len / 8.0, {.loads = 2, .multiplies = 1});
    row.reason(lane_join);
    auto answer = row.answer<std::int64_t>(1);
    answer.library([=](std::int64_t* sum) { zelsDotProd_16s64s(first, second, len, sum); });
    answer.plain([=](std::int64_t* sum) { *sum = plain::dot<std::int16_t, std::int64_t>(first, second, len); });
    answer.peer("Eigen", [=](std::int64_t* sum) {
        *sum = (array(first, len).cast<std::int64_t>() * array(second, len).cast<std::int64_t>()).sum();
    });
}

void dot_16s32f(Row& row)
{
    const int len = row.len;
    const auto* first = row.input<std::int16_t>(len, -32768, 32767);
    const auto* second = row.input<std::int16_t>(len, -32768, 32767);
    row.registers(len / 8.0, {.loads = 2, .multiplies = 1});
    row.reason(lane_join);
    auto answer = row.answer<float>(1);
    answer.library([=](float* sum) { zelsDotProd_16s32f(first, second, len, sum); });
    answer.plain([=](float* sum) {
        *sum = static_cast<float>(plain::dot<std::int16_t, std::int64_t>(first, second, len));
    });
}

void sum_fast(Row& row)
{
    const int len = row.len;
    const float* src = row.input(len, 0.0F, 1.0F);
    row.registers(len / 4.0, {.loads = 1, .adds = 1});
    row.reason_at_every_size(environment);
    auto answer = row.answer<float>(1, 1e-4);
    answer.library([=](float* sum) { zelsSum_32f(src, len, sum, 1); });
    answer.plain([=](float* sum) { *sum = plain::sum(src, len); });
    answer.peer("Eigen", [=](float* sum) { *sum = array(src, len).sum(); });
}

void sum_accurate(Row& row)
{
    const int len = row.len;
    const float* src = row.input(len, 0.0F, 1.0F);
    row.reason_at_every_size("extended precision is the contract, its unit adds one element at a time");
    auto answer = row.answer<float>(1, 1e-6);
    answer.library([=](float* sum) { zelsSum_32f(src, len, sum, 2); });
    answer.plain([=](float* sum) { *sum = plain::accurate_sum(src, len); });
    answer.peer("Eigen double",
                [=](float* sum) { *sum = static_cast<float>(array(src, len).cast<double>().sum()); });
}

void sum_16s(Row& row)
{
    const int len = row.len;
    const auto* src = row.input<std::int16_t>(len, -32768, 32767);
    row.registers(len / 8.0, {.loads = 1});
    auto answer = row.answer<std::int32_t>(1);
    answer.library([=](std::int32_t* sum) { zelsSum_16s32s_Sfs(src, len, sum, 1); });
    answer.plain([=](std::int32_t* sum) { *sum = plain::sum(src, len, 1); });
}

void sum_32s(Row& row)
{
    const int len = row.len;
    const auto* src = row.input<std::int32_t>(len, -100000, 100000);
    row.registers(len / 4.0, {.loads = 1});
    auto answer = row.answer<std::int32_t>(1);
    answer.library([=](std::int32_t* sum) { zelsSum_32s_Sfs(src, len, sum, 1); });
    answer.plain([=](std::int32_t* sum) { *sum = plain::sum(src, len, 1); });
}

template <class T, SrStatus Max(const T*, int32_t, T*)>
void max_row(Row& row)
{
    const int len = row.len;
    const T* src = row.input<T>(len, -1, 1);
    row.registers(len * static_cast<double>(sizeof(T)) / 16, {.loads = 1, .adds = 1});
    row.reason(lane_join);
    auto answer = row.answer<T>(1);
    answer.library([=](T* value) { Max(src, len, value); });
    answer.plain([=](T* value) { *value = plain::greatest(src, len); });
    answer.peer("Eigen", [=](T* value) { *value = array(src, len).maxCoeff(); });
}

template <class T, SrStatus Min(const T*, int32_t, T*)>
void min_row(Row& row)
{
    const int len = row.len;
    const T* src = row.input<T>(len, -1, 1);
    row.registers(len * static_cast<double>(sizeof(T)) / 16, {.loads = 1, .adds = 1});
    row.reason(lane_join);
    auto answer = row.answer<T>(1);
    answer.library([=](T* value) { Min(src, len, value); });
    answer.plain([=](T* value) { *value = plain::least(src, len); });
    answer.peer("Eigen", [=](T* value) { *value = array(src, len).minCoeff(); });
}

void min_max_32f(Row& row)
{
    const int len = row.len;
    const float* src = row.input(len, -1.0F, 1.0F);
    row.registers(len / 4.0, {.loads = 1, .adds = 2});
    row.reason(lane_join);
    auto answer = row.answer<float>(2);
    answer.library([=](float* both) { zelsMinMax_32f(src, len, both, both + 1); });
    answer.plain([=](float* both) { plain::least_and_greatest(src, len, both, both + 1); });
    answer.peer("Eigen", [=](float* both) {
        both[0] = array(src, len).minCoeff();
        both[1] = array(src, len).maxCoeff();
    });
}

// The answer is the index; the value goes along.
template <class T, SrStatus MaxIndx(const T*, int32_t, T*, int32_t*)>
void max_index_row(Row& row)
{
    const int len = row.len;
    const T* src = row.input<T>(len, -1, 1);
    T* value = row.array<T>(1);
    row.registers(len * static_cast<double>(sizeof(T)) / 16, {.loads = 1, .adds = 1});
    auto answer = row.answer<std::int32_t>(1);
    answer.library([=](std::int32_t* index) { MaxIndx(src, len, value, index); });
    answer.plain([=](std::int32_t* index) { *value = plain::greatest(src, len, index); });
    answer.peer("Eigen", [=](std::int32_t* index) { *value = array(src, len).maxCoeff(index); });
}

void min_index_32f(Row& row)
{
    const int len = row.len;
    const float* src = row.input(len, -1.0F, 1.0F);
    float* value = row.array<float>(1);
    row.registers(len / 4.0, {.loads = 1, .adds = 1});
    auto answer = row.answer<std::int32_t>(1);
    answer.library([=](std::int32_t* index) { zelsMinIndx_32f(src, len, value, index); });
    answer.plain([=](std::int32_t* index) { *value = plain::least(src, len, index); });
    answer.peer("Eigen", [=](std::int32_t* index) { *value = array(src, len).minCoeff(index); });
}

void max_every_32f(Row& row)
{
    const int len = row.len;
    const float* src = row.input(len, -1.0F, 1.0F);
    row.registers(len / 4.0, {.loads = 2, .stores = 1, .adds = 1});
    auto answer = row.answer<float>(len);
    answer.library([=](float* srcdst) { zelsMaxEvery_32f_I(src, srcdst, len); });
    answer.plain([=](float* srcdst) { plain::greater_of_each(src, srcdst, len); });
    answer.peer("Eigen", [=](float* srcdst) { array(srcdst, len) = array(srcdst, len).max(array(src, len)); });
}

void min_every_32s(Row& row)
{
    const int len = row.len;
    const auto* src = row.input<std::int32_t>(len, -100000, 100000);
    row.registers(len / 4.0, {.loads = 2, .stores = 1, .adds = 1});
    auto answer = row.answer<std::int32_t>(len);
    answer.library([=](std::int32_t* srcdst) { zelsMinEvery_32s_I(src, srcdst, len); });
    answer.plain([=](std::int32_t* srcdst) { plain::lesser_of_each(src, srcdst, len); });
    answer.peer("Eigen",
                [=](std::int32_t* srcdst) { array(srcdst, len) = array(srcdst, len).min(array(src, len)); });
}

const Table dot_products{"core/dot_product",
                         {{"zelsDotProd_32f", dot_32f},
                          {"zelsDotProd_64f", dot_64f},
                          {"zelsDotProd_32f64f", dot_32f64f},
                          {"zelsDotProd_16s64s", dot_16s64s},
                          {"zelsDotProd_16s32f", dot_16s32f}},
                         vector_sizes};

const Table sums{"core/sum",
                 {{"zelsSum_32f (fast)", sum_fast},
                  {"zelsSum_32f (accurate)", sum_accurate},
                  {"zelsSum_16s32s_Sfs", sum_16s},
                  {"zelsSum_32s_Sfs", sum_32s}},
                 vector_sizes};

const Table extremes{"core/extreme",
                     {{"zelsMax_32f", max_row<float, zelsMax_32f>},
                      {"zelsMax_64f", max_row<double, zelsMax_64f>},
                      {"zelsMin_32f", min_row<float, zelsMin_32f>},
                      {"zelsMinMax_32f", min_max_32f},
                      {"zelsMaxIndx_32f", max_index_row<float, zelsMaxIndx_32f>},
                      {"zelsMaxIndx_64f", max_index_row<double, zelsMaxIndx_64f>},
                      {"zelsMinIndx_32f", min_index_32f},
                      {"zelsMaxEvery_32f_I", max_every_32f},
                      {"zelsMinEvery_32s_I", min_every_32s}},
                     vector_sizes};

}  // namespace
}  // namespace zelsr::bench
