// The accumulators of weighted deviations.
#include <gtest/gtest.h>

#include "matrix/columns.h"
#include "support/environment.h"
#include "support/faults.h"
#include "support/operation.h"
#include "zelsr/matrix/statistics.h"

namespace zelsr::test {
namespace {

template <class T>
SrStatus accumulate(const T* src, const T* mean, T* mean_acc, T* var_acc, int32_t len, T weight, int stack = -1)
{
    struct {
        int stack;
    } a{stack};
    if constexpr (sizeof(T) == 4)
        return columns::call_with(a, zelsMeanVarAcc_32f, src, mean, mean_acc, var_acc, len, weight);
    else
        return columns::call_with(a, zelsMeanVarAcc_64f, src, mean, mean_acc, var_acc, len, weight);
}

template <class T>
class MeanVarAcc : public testing::Test {};
using FloatTypes = testing::Types<float, double>;
TYPED_TEST_SUITE(MeanVarAcc, FloatTypes);

template <class T>
testing::AssertionResult accumulates(const std::vector<T>& src, const std::vector<T>& mean, T weight,
                                     const std::array<Placement, 4>& places, int stack = -1)
{
    const int len = static_cast<int>(src.size());
    const std::vector<T> old_mean = uniform_vector<T>(len, -10, 10), old_var = uniform_vector<T>(len, -10, 10);
    Guarded<T> x(src, places[0]), m(mean, places[1]), mean_acc(old_mean, places[2]), var_acc(old_var, places[3]);
    x.take_snapshot();
    m.take_snapshot();
    const SrStatus status = accumulate(x.data(), m.data(), mean_acc.data(), var_acc.data(), len, weight, stack);
    if (auto right = status_is(SrOk, status); !right) return right;
    if (!x.as_snapshot() || !m.as_snapshot() || !mean_acc.intact() || !var_acc.intact())
        return testing::AssertionFailure() << "written where nothing is to be written";
    std::vector<T> new_mean = old_mean, new_var = old_var;
    for (std::size_t i = 0; i < src.size(); ++i) {
        const T d = src[i] - mean[i];
        const T e = d * weight;
        new_mean[i] += e;
        new_var[i] += d * e;
    }
    if (auto right = same_values(new_mean, mean_acc.values()); !right) return right << " (means)";
    return same_values(new_var, var_acc.values());
}

TYPED_TEST(MeanVarAcc, EveryLengthAndPlacement)
{
    using T = TypeParam;
    at_every_place<4>(lengths(16), {sizeof(T), sizeof(T), sizeof(T), sizeof(T)}, [](int len, const auto& places) {
        return accumulates<T>(uniform_vector<T>(len, -5, 5), uniform_vector<T>(len, -5, 5), uniform<T>(0, 2),
                              places);
    });
    for (int len : {1, 2, 3, 4, 7, 8, 19, 100})
        EXPECT_TRUE(accumulates<T>(uniform_vector<T>(len, -5, 5), uniform_vector<T>(len, -5, 5), T(0.7), {}));
}

TYPED_TEST(MeanVarAcc, SpecialValues)
{
    using T = TypeParam;
    std::vector<T> src, mean;
    for (T x : special_values<T>())
        for (T m : special_values<T>()) {
            src.push_back(x);
            mean.push_back(m);
        }
    for (T weight : special_values<T>())
        for (int misalign : {0, 8, 3})
            EXPECT_TRUE(accumulates<T>(src, mean, weight, {Placement{misalign}})) << weight;
}

TYPED_TEST(MeanVarAcc, PointersThenLengthAreChecked)
{
    using T = TypeParam;
    struct A {
        const T *src, *mean;
        T *mean_acc, *var_acc;
        int32_t len;
    };
    Guarded<T> src(std::vector<T>(9, T(3))), mean(std::vector<T>(9, T(4))), mean_acc(9), var_acc(9);
    const auto call = [](const A& a) { return accumulate<T>(a.src, a.mean, a.mean_acc, a.var_acc, a.len, T(2)); };
    for (int32_t length : {0, -1, INT32_MIN})
        expect_check_order<A>({src.data(), mean.data(), mean_acc.data(), var_acc.data(), 9},
                              {{"source", SrErrNullPtr, [](A& a) { a.src = nullptr; }},
                               {"mean", SrErrNullPtr, [](A& a) { a.mean = nullptr; }},
                               {"means", SrErrNullPtr, [](A& a) { a.mean_acc = nullptr; }},
                               {"variances", SrErrNullPtr, [](A& a) { a.var_acc = nullptr; }},
                               {"length", SrErrSize, [=](A& a) { a.len = length; }}},
                              call, {&mean_acc, &var_acc});
    expect_reads_nothing_below_length_one<T>([&](const T* nothing, int32_t len) {
        return accumulate<T>(nothing, nothing, mean_acc.data(), var_acc.data(), len, T(1));
    });
}

TYPED_TEST(MeanVarAcc, KeepsTheEnvironment)
{
    using T = TypeParam;
    const std::vector<T> src(9, T(3)), mean(9, T(1));
    std::vector<T> mean_acc(9, T(10)), var_acc(9, T(20));
    under_each_environment(
        [&] { accumulate<T>(src.data(), mean.data(), mean_acc.data(), var_acc.data(), 9, T(0.5)); },
        [&](const std::string& setting) {
            EXPECT_EQ(mean_acc, std::vector<T>(9, T(11))) << setting;
            EXPECT_EQ(var_acc, std::vector<T>(9, T(22))) << setting;
            mean_acc.assign(9, T(10));
            var_acc.assign(9, T(20));
        });
}

#ifdef __i386__
TYPED_TEST(MeanVarAcc, RunsOnAnyStack)
{
    using T = TypeParam;
    for (int stack : {0, 4, 8, 12})
        for (int misalign : {0, 8})
            EXPECT_TRUE(accumulates<T>(uniform_vector<T>(19, -5, 5), uniform_vector<T>(19, -5, 5), T(0.3),
                                       {Placement{misalign}}, stack));
}
#endif

}  // namespace
}  // namespace zelsr::test
