// The nine members that score one vector against one Gaussian: their calls, and what each must do.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
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

// What a call must do. tolerance 0: to the bit.
template <class Out>
struct Outcome {
    Out score;
    double tolerance = 0;
    SrStatus status = SrOk;
    bool written = true;
};

enum class Variance { Inverse, Unit, Direct };

// A member: its function, its variance array, whether that array's alignment chooses the kernel, its outcome.
template <class InType, class OutType, Variance Kind, bool VarianceCounts = Kind == Variance::Inverse>
struct Member {
    using In = InType;
    using Out = OutType;
    static constexpr Variance kVariance = Kind;
    static constexpr bool kVarianceCounts = VarianceCounts;
};

inline bool any_zero(const std::vector<float>& values)
{
    return std::any_of(values.begin(), values.end(), [](float v) { return v == 0.0F; });
}

// The plain loops: any order of a double-precision sum.
template <class In, class Term>
Outcome<double> in_any_order(const Problem<In, double>& p, const Term& term)
{
    return {reference::score_serial_64f(p.x(), term, p.length(), p.val),
            reference::any_order_tolerance_64f(p.x(), term, p.length(), p.val)};
}

struct Single_32f : Member<float, float, Variance::Inverse> {
    static constexpr auto kFunction = zelsLogGaussSingle_32f;
    static Outcome<Out> outcome(const Problem<In, Out>& p, bool aligned)
    {
        return {reference::score_single_32f(p.x(), p.m(), p.v(), p.length(), p.val, aligned)};
    }
};
struct Single_64f : Member<double, double, Variance::Inverse> {
    static constexpr auto kFunction = zelsLogGaussSingle_64f;
    static Outcome<Out> outcome(const Problem<In, Out>& p, bool)
    {
        return in_any_order(p, InverseVariance{p.m(), p.v()});
    }
};
struct Single_32f64f : Member<float, double, Variance::Inverse> {
    static constexpr auto kFunction = zelsLogGaussSingle_32f64f;
    static Outcome<Out> outcome(const Problem<In, Out>& p, bool)
    {
        return in_any_order(p, InverseVariance<float, double>{p.m(), p.v()});
    }
};
struct IdVar_32f : Member<float, float, Variance::Unit> {
    static constexpr auto kFunction = zelsLogGaussSingle_IdVar_32f;
    static Outcome<Out> outcome(const Problem<In, Out>& p, bool aligned)
    {
        return {reference::score_single_32f(p.x(), p.m(), p.length(), p.val, aligned)};
    }
};
struct IdVar_64f : Member<double, double, Variance::Unit> {
    static constexpr auto kFunction = zelsLogGaussSingle_IdVar_64f;
    static Outcome<Out> outcome(const Problem<In, Out>& p, bool)
    {
        if (p.length() <= 54) return in_any_order(p, UnitVariance{p.m()});
        return {reference::score_even_odd_64f(p.x(), UnitVariance{p.m()}, p.length(), p.val)};
    }
};
struct IdVar_32f64f : Member<float, double, Variance::Unit> {
    static constexpr auto kFunction = zelsLogGaussSingle_IdVar_32f64f;
    static Outcome<Out> outcome(const Problem<In, Out>& p, bool)
    {
        return in_any_order(p, UnitVariance<float, double>{p.m()});
    }
};
struct DirectVar_32f : Member<float, float, Variance::Direct> {
    static constexpr auto kFunction = zelsLogGaussSingle_DirectVar_32f;
    static Outcome<Out> outcome(const Problem<In, Out>& p, bool aligned)
    {
        std::vector<float> inv_var;
        for (float v : p.var) inv_var.push_back(1.0F / v);
        return {reference::score_single_32f(p.x(), p.m(), inv_var.data(), p.length(), p.val, aligned), 0,
                any_zero(p.var) ? SrWarnDivByZero : SrOk};
    }
};
struct DirectVar_64f : Member<double, double, Variance::Direct, true> {
    static constexpr auto kFunction = zelsLogGaussSingle_DirectVar_64f;
    static Outcome<Out> outcome(const Problem<In, Out>& p, bool)
    {
        return {reference::score_even_odd_64f(p.x(), DirectVariance{p.m(), p.v()}, p.length(), p.val)};
    }
};
struct DirectVar_32f64f : Member<float, double, Variance::Direct> {
    static constexpr auto kFunction = zelsLogGaussSingle_DirectVar_32f64f;
    static Outcome<Out> outcome(const Problem<In, Out>& p, bool)
    {
        if (any_zero(p.var)) return {0, 0, SrWarnDivByZero, false};
        const DirectVariance<float, double> term{p.m(), p.v()};
        return {reference::score_serial_64f(p.x(), term, p.length(), p.val)};
    }
};

using Members = testing::Types<Single_32f, Single_64f, Single_32f64f, IdVar_32f, IdVar_64f, IdVar_32f64f,
                               DirectVar_32f, DirectVar_64f, DirectVar_32f64f>;
struct MemberNames {
    template <class M>
    static std::string GetName(int i)
    {
        static const char* const names[] = {"32f",           "64f",           "32f64f",
                                            "IdVar_32f",     "IdVar_64f",     "IdVar_32f64f",
                                            "DirectVar_32f", "DirectVar_64f", "DirectVar_32f64f"};
        return names[i];
    }
};
template <class M>
SrStatus call(const typename M::In* feature, const typename M::In* mean, const typename M::In* var, int32_t len,
              typename M::Out* result, typename M::Out val)
{
    if constexpr (M::kVariance == Variance::Unit)
        return M::kFunction(feature, mean, len, result, val);
    else
        return M::kFunction(feature, mean, var, len, result, val);
}

template <class M>
using ProblemOf = Problem<typename M::In, typename M::Out>;

template <class M>
ProblemOf<M> random_problem(int len)
{
    using In = typename M::In;
    return {uniform_vector<In>(len, -3, 3), uniform_vector<In>(len, -3, 3), uniform_vector<In>(len, In(0.1), 4),
            uniform<typename M::Out>(-1, 1)};
}

template <class Out>
inline constexpr Out kUnwritten = Out(-12345.5);

template <class Out>
testing::AssertionResult as_expected(const Outcome<Out>& expected, SrStatus status, Out result)
{
    if (status != expected.status)
        return testing::AssertionFailure() << "status " << status << " instead of " << expected.status;
    if (!expected.written) return same_value(kUnwritten<Out>, result);
    if (expected.tolerance == 0) return same_value(expected.score, result);
    return near_values(std::vector<Out>{expected.score}, std::vector<Out>{result}, expected.tolerance);
}

// The call between guard pages; where: feature, mean, variance, result.
template <class M>
testing::AssertionResult scores(const ProblemOf<M>& problem, const Arrangement& where)
{
    using In = typename M::In;
    using Out = typename M::Out;
    Guarded<In> feature(problem.feature, where[0]), mean(problem.mean, where[1]), var(problem.var, where[2]);
    Guarded<Out> result(std::vector<Out>{kUnwritten<Out>}, where[3]);
    for (GuardedBytes* input : std::initializer_list<GuardedBytes*>{&feature, &mean, &var}) input->take_snapshot();
    const SrStatus status =
        call<M>(feature.data(), mean.data(), var.data(), problem.length(), result.data(), problem.val);
    const bool aligned =
        where[0].misalign == 0 && where[1].misalign == 0 && (!M::kVarianceCounts || where[2].misalign == 0);
    if (!result.intact()) return testing::AssertionFailure() << "written beside the result";
    if (!feature.as_snapshot() || !mean.as_snapshot() || !var.as_snapshot())
        return testing::AssertionFailure() << "an input was written";
    return as_expected(M::outcome(problem, aligned), status, result.get(0));
}

// Both kernels at both edges.
inline const std::vector<Arrangement>& few_arrangements()
{
    static const std::vector<Arrangement> few = {
        {{0}, {0}, {0}, {0}},
        {{8}, {8}, {8}, {8}},
        {{0, Edge::Front}, {0, Edge::Front}, {0, Edge::Front}, {0, Edge::Front}},
        {{7, Edge::Front}, {7, Edge::Front}, {7, Edge::Front}, {7, Edge::Front}}};
    return few;
}

}  // namespace zelsr::test::single
