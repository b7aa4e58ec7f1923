// Log additions and their sum. The plain loops call the C library's exp, log1p and log.
#include <zelsr/likelihood/log_add.h>

#include <cstring>

#include "plain/plain.h"
#include "support/eigen.h"
#include "support/row.h"

namespace zelsr::bench {
namespace {

constexpr char extended[] = "hint 2: extended precision is the contract, its unit adds one element at a time";
constexpr char running_sums[] =
    "four running sums by contract, where every addition waits for the one before; beside it, exponentials are "
    "summed and one logarithm is taken";

// In place, hence each contender copies the addend first.
template <class T, SrStatus Add(const T*, T*, int32_t, int32_t), int32_t Hint>
void log_add_row(Row& row)
{
    const int len = row.len;
    const T* src = row.input<T>(len, -20, 0);
    const T* addend = row.input<T>(len, -20, 0);
    const auto bytes = static_cast<std::size_t>(len) * sizeof(T);
    auto answer = row.answer<T>(len, sizeof(T) == sizeof(float) ? 1e-6 : 1e-11);
    row.reason(sizeof(T) == sizeof(float) && Hint == 2 ? extended : "");
    answer.library([=](T* srcdst) {
        std::memcpy(srcdst, addend, bytes);
        Add(src, srcdst, len, Hint);
    });
    answer.plain([=](T* srcdst) {
        std::memcpy(srcdst, addend, bytes);
        plain::log_add(src, srcdst, len);
    });
    answer.peer("Eigen", [=](T* srcdst) {
        std::memcpy(srcdst, addend, bytes);
        array(srcdst, len) = array(src, len).max(array(srcdst, len)) +
                             (-(array(src, len) - array(srcdst, len)).abs()).exp().log1p();
    });
}

// Plain and peer do without additions: the greatest element, exponentials beside it, one logarithm.
void log_sum(Row& row)
{
    const int len = row.len;
    const float* src = row.input(len, -20.0F, 0.0F);
    row.reason(running_sums);
    auto answer = row.answer<float>(1, 1e-5);
    answer.library([=](float* sum) { zelsLogSum_32f(src, sum, len); });
    answer.plain([=](float* sum) { *sum = plain::log_sum(src, len); });
    answer.peer("Eigen", [=](float* sum) {
        const float greatest = array(src, len).maxCoeff();
        *sum = greatest + std::log((array(src, len) - greatest).exp().sum());
    });
}

const Table log_domain{"likelihood/log_add",
                       {{"zelsLogAdd_32f (hint 0)", log_add_row<float, zelsLogAdd_32f, 0>},
                        {"zelsLogAdd_32f (hint 1)", log_add_row<float, zelsLogAdd_32f, 1>},
                        {"zelsLogAdd_32f (hint 2)", log_add_row<float, zelsLogAdd_32f, 2>},
                        {"zelsLogAdd_64f", log_add_row<double, zelsLogAdd_64f, 0>},
                        {"zelsLogSum_32f", log_sum}},
                       {{128}, {4096}}};

}  // namespace
}  // namespace zelsr::bench
