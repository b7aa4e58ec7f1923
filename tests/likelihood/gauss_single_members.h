// The nine members that score one vector against one Gaussian: their calls, and what each must do.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "support/arrangements.h"
#include "support/bits.h"
#include "support/effort.h"
#include "support/reference/gauss.h"
#include "zelsr/likelihood/gauss.h"

namespace zelsr::test::single {

using reference::DirectVariance;
using reference::InverseVariance;
using reference::UnitVariance;

template <class In, class Out>
struct Problem {
    std::vector<In> feature, mean, var;  // var: whatever the member's third array holds
    Out val;

    int length() const { return static_cast<int>(feature.size()); }
    const In* x() const { return feature.data(); }
    const In* m() const { return mean.data(); }
    const In* v() const { return var.data(); }
};

template <class In, class Out>
Problem<In, Out> random_problem(int len)
{
    return {uniform_vector<In>(len, -3, 3), uniform_vector<In>(len, -3, 3), uniform_vector<In>(len, In(0.1), 4),
            uniform<Out>(-1, 1)};
}

// What a call must do, to the bit.
template <class Out>
struct Outcome {
    Out score;
    SrStatus status = SrOk;
    bool written = true;
};

enum class Variance { Inverse, Unit, Direct };

template <class In, class Out>
struct Member {
    using With = SrStatus (*)(const In*, const In*, const In*, int32_t, Out*, Out);
    using Without = SrStatus (*)(const In*, const In*, int32_t, Out*, Out);

    const char* name;
    Variance variance;
    bool variance_counts;  // its array's alignment, too, chooses the kernel
    With with_variance;
    Without without_variance;
    Outcome<Out> (*outcome)(const Problem<In, Out>&, bool aligned);

    SrStatus call(const In* x, const In* m, const In* v, int32_t len, Out* result, Out val) const
    {
        return variance == Variance::Unit ? without_variance(x, m, len, result, val)
                                          : with_variance(x, m, v, len, result, val);
    }
};

inline bool any_zero(const std::vector<float>& values)
{
    return std::any_of(values.begin(), values.end(), [](float v) { return v == 0.0F; });
}

// The members of each pair of types.

inline std::vector<Member<float, float>> members(float, float)
{
    using P = Problem<float, float>;
    using Result = Outcome<float>;
    return {
        {"32f", Variance::Inverse, true, zelsLogGaussSingle_32f, nullptr,
         [](const P& p, bool aligned) -> Result {
             return {reference::score_single_32f(p.x(), p.m(), p.v(), p.length(), p.val, aligned)};
         }},
        {"IdVar_32f", Variance::Unit, false, nullptr, zelsLogGaussSingle_IdVar_32f,
         [](const P& p, bool aligned) -> Result {
             return {reference::score_single_32f(p.x(), p.m(), p.length(), p.val, aligned)};
         }},
        {"DirectVar_32f", Variance::Direct, false, zelsLogGaussSingle_DirectVar_32f, nullptr,
         [](const P& p, bool aligned) -> Result {
             std::vector<float> inv_var;
             for (float v : p.var) inv_var.push_back(1.0F / v);
             return {reference::score_single_32f(p.x(), p.m(), inv_var.data(), p.length(), p.val, aligned),
                     any_zero(p.var) ? SrWarnDivByZero : SrOk};
         }},
    };
}

inline std::vector<Member<double, double>> members(double, double)
{
    using P = Problem<double, double>;
    using Result = Outcome<double>;
    return {
        {"64f", Variance::Inverse, true, zelsLogGaussSingle_64f, nullptr,
         [](const P& p, bool) -> Result {
             return {reference::score_four_sums_64f(p.x(), InverseVariance{p.m(), p.v()}, p.length(), p.val)};
         }},
        {"IdVar_64f", Variance::Unit, false, nullptr, zelsLogGaussSingle_IdVar_64f,
         [](const P& p, bool) -> Result {
             const UnitVariance term{p.m()};
             return {p.length() <= 54 ? reference::score_four_sums_64f(p.x(), term, p.length(), p.val)
                                      : reference::score_even_odd_64f(p.x(), term, p.length(), p.val)};
         }},
        {"DirectVar_64f", Variance::Direct, true, zelsLogGaussSingle_DirectVar_64f, nullptr,
         [](const P& p, bool) -> Result {
             return {reference::score_even_odd_64f(p.x(), DirectVariance{p.m(), p.v()}, p.length(), p.val)};
         }},
    };
}

inline std::vector<Member<float, double>> members(float, double)
{
    using P = Problem<float, double>;
    using Result = Outcome<double>;
    return {
        {"32f64f", Variance::Inverse, true, zelsLogGaussSingle_32f64f, nullptr,
         [](const P& p, bool) -> Result {
             const InverseVariance<float, double> term{p.m(), p.v()};
             return {reference::score_four_sums_64f(p.x(), term, p.length(), p.val)};
         }},
        {"IdVar_32f64f", Variance::Unit, false, nullptr, zelsLogGaussSingle_IdVar_32f64f,
         [](const P& p, bool) -> Result {
             const UnitVariance<float, double> term{p.m()};
             return {reference::score_four_sums_64f(p.x(), term, p.length(), p.val)};
         }},
        {"DirectVar_32f64f", Variance::Direct, false, zelsLogGaussSingle_DirectVar_32f64f, nullptr,
         [](const P& p, bool) -> Result {
             if (any_zero(p.var)) return {0, SrWarnDivByZero, false};
             const DirectVariance<float, double> term{p.m(), p.v()};
             return {reference::score_serial_64f(p.x(), term, p.length(), p.val)};
         }},
    };
}

template <class Out>
inline constexpr Out kUnwritten = Out(-12345.5);

template <class Out>
testing::AssertionResult as_expected(const Outcome<Out>& expected, SrStatus status, Out result)
{
    if (status != expected.status)
        return testing::AssertionFailure() << "status " << status << " instead of " << expected.status;
    return same_value(expected.written ? expected.score : kUnwritten<Out>, result);
}

// The call between guard pages; where: feature, mean, variance, result.
template <class In, class Out>
testing::AssertionResult scores(const Member<In, Out>& member, const Problem<In, Out>& problem,
                                const Arrangement& where = Arrangement(4))
{
    Guarded<In> feature(problem.feature, where[0]), mean(problem.mean, where[1]), var(problem.var, where[2]);
    Guarded<Out> result(std::vector<Out>{kUnwritten<Out>}, where[3]);
    for (GuardedBytes* input : std::initializer_list<GuardedBytes*>{&feature, &mean, &var}) input->take_snapshot();
    const SrStatus status =
        member.call(feature.data(), mean.data(), var.data(), problem.length(), result.data(), problem.val);
    const bool aligned =
        where[0].misalign == 0 && where[1].misalign == 0 && (!member.variance_counts || where[2].misalign == 0);
    testing::AssertionResult right = as_expected(member.outcome(problem, aligned), status, result.get(0));
    if (!result.intact()) right = testing::AssertionFailure() << "written beside the result";
    if (!feature.as_snapshot() || !mean.as_snapshot() || !var.as_snapshot())
        right = testing::AssertionFailure() << "an input was written";
    if (right) return right;
    return testing::AssertionFailure() << member.name << ", length " << problem.length() << ": " << right.message()
                                       << "; feature, mean, variance, result: " << describe(where);
}

// Both kernels at both edges.
inline std::vector<Arrangement> few_arrangements()
{
    return {Arrangement(4), Arrangement(4, {8}), Arrangement(4, {0, Edge::Front}),
            Arrangement(4, {7, Edge::Front})};
}

}  // namespace zelsr::test::single
