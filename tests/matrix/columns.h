// Functions over the columns of a matrix: one call of any of them between guard pages.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <ostream>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "support/arrangements.h"
#include "support/bits.h"
#include "support/effort.h"
#include "support/guarded.h"
#include "support/odd_stack.h"
#include "zelsr/types.h"

namespace zelsr::test::columns {

// Everything that any member takes. T: elements and weights, M: means, V: variances.
template <class T, class M, class V>
struct Arguments {
    const T* block;
    int32_t step;
    const T* const* list;
    const T* weights;
    M* mean;  // a member without mean_out only reads it
    V* variance;
    int32_t width;
    int32_t height;
    int32_t sf;
    int stack = -1;  // the stack pointer modulo 16 at the call, where it is not left to the compiler
};

template <class A, class... Parameter>
SrStatus call_with(const A& a, SrStatus (*function)(Parameter...), std::type_identity_t<Parameter>... arguments)
{
#ifdef __i386__
    if (a.stack >= 0) return call_misaligned(function, a.stack, arguments...);
#endif
    static_cast<void>(a);
    return function(arguments...);
}

// The shapes of argument lists. Sf: int32_t, or none in the forms without a scale factor.
template <class A, class T, class M>
SrStatus shaped(SrStatus (*f)(const T*, int32_t, int32_t, M*, int32_t), const A& a)
{
    return call_with(a, f, a.block, a.height, a.step, a.mean, a.width);
}
template <class A, class T, class M>
SrStatus shaped(SrStatus (*f)(const T* const*, int32_t, M*, int32_t), const A& a)
{
    return call_with(a, f, a.list, a.height, a.mean, a.width);
}
template <class A, class T, class M, class V, class... Sf>
SrStatus shaped(SrStatus (*f)(const T*, int32_t, int32_t, M*, V*, int32_t, Sf...), const A& a)
{
    return call_with(a, f, a.block, a.height, a.step, a.mean, a.variance, a.width, static_cast<Sf>(a.sf)...);
}
template <class A, class T, class M, class V, class... Sf>
SrStatus shaped(SrStatus (*f)(const T* const*, int32_t, M*, V*, int32_t, Sf...), const A& a)
{
    return call_with(a, f, a.list, a.height, a.mean, a.variance, a.width, static_cast<Sf>(a.sf)...);
}
template <class A, class T>
SrStatus shaped(SrStatus (*f)(const T*, int32_t, const T*, int32_t, T*, int32_t), const A& a)
{
    return call_with(a, f, a.block, a.step, a.weights, a.height, a.mean, a.width);
}
template <class A, class T>
SrStatus shaped(SrStatus (*f)(const T* const*, const T*, int32_t, T*, int32_t), const A& a)
{
    return call_with(a, f, a.list, a.weights, a.height, a.mean, a.width);
}
template <class A, class T, class M, class V>
SrStatus shaped(SrStatus (*f)(const T*, int32_t, const T*, int32_t, M*, V*, int32_t), const A& a)
{
    return call_with(a, f, a.block, a.step, a.weights, a.height, a.mean, a.variance, a.width);
}
template <class A, class T, class M, class V>
SrStatus shaped(SrStatus (*f)(const T* const*, const T*, int32_t, M*, V*, int32_t), const A& a)
{
    return call_with(a, f, a.list, a.weights, a.height, a.mean, a.variance, a.width);
}

template <class T, class M = T, class V = T>
struct Problem {
    std::vector<std::vector<T>> rows;
    std::vector<T> weights;  // one a row
    std::vector<M> mean;     // for the members that only read it
    int32_t sf = 0;

    int32_t width() const { return static_cast<int32_t>(rows[0].size()); }
    int32_t height() const { return static_cast<int32_t>(rows.size()); }
    std::vector<T> column(std::size_t c) const
    {
        std::vector<T> values;
        for (const std::vector<T>& row : rows) values.push_back(row[c]);
        return values;
    }
};

// Where a problem's arrays lie. Of a list, row r lies row_misalign[r modulo its size] bytes off 16.
struct Layout {
    Placement block, weights, mean, variance, list;
    int beyond_width = 0;  // step less width
    std::vector<int> row_misalign = {0};
};

inline std::string describe(const Layout& layout)
{
    std::string text = "block " + test::describe(layout.block) + "; weights " + test::describe(layout.weights) +
                       "; mean " + test::describe(layout.mean) + "; variance " + test::describe(layout.variance) +
                       "; list " + test::describe(layout.list) + "; step = width + " +
                       std::to_string(layout.beyond_width) + "; rows off";
    for (int misalign : layout.row_misalign) text += " " + std::to_string(misalign);
    return text;
}

// What is before rows of integers goes between them; floating point has as_block.
template <class T>
std::vector<T> block_of(const std::vector<std::vector<T>>& rows, std::size_t step)
{
    if constexpr (std::is_floating_point_v<T>) {
        return as_block(rows, step);
    } else {
        std::vector<T> block;
        for (const std::vector<T>& row : rows) {
            while (block.size() % step != 0) block.push_back(static_cast<T>(0x5a5a));
            block.insert(block.end(), row.begin(), row.end());
        }
        return block;
    }
}

enum class Checks { NullSizeStride, StrideNullSize, NullStrideSize };

// What a member takes and gives.
struct Traits {
    bool weights = false;
    bool mean_out = false;  // else it is read, or there is none
    bool mean_in = false;
    bool variance = false;
    bool sf = false;
    int min_height = 1;
    Checks checks = Checks::StrideNullSize;
    bool scratch = false;     // on its paths that are not plain
    int scratch_columns = 0;  // how many singles of scratch a column takes
};

template <class T, class M = T, class V = T>
struct Member {
    using Args = Arguments<T, M, V>;
    using Prob = Problem<T, M, V>;
    // One column's mean and variance; rows_on_16: what the list forms on 16-bit data choose their arithmetic by.
    using One = std::function<std::pair<M, V>(const std::vector<T>& column, const std::vector<T>& weights, M mean,
                                              int32_t sf, bool rows_on_16)>;
    std::string name;
    Traits traits;
    SrStatus (*call)(const Args&);
    One one;

    bool list() const { return name.find("D2L") != std::string::npos; }
    bool rows_on_16(const Prob& p, const Layout& layout) const
    {
        if (!list()) return true;
        for (std::size_t r = 0; r < p.rows.size(); ++r)
            if (layout.row_misalign[r % layout.row_misalign.size()] != 0) return false;
        return true;
    }
};

template <class T, class M, class V>
std::ostream& operator<<(std::ostream& out, const Member<T, M, V>& m)
{
    return out << m.name;
}

// The arrays of one call, and what it must leave in them.
template <class T, class M = T, class V = T>
class Trial {
  public:
    Trial(const Member<T, M, V>& member, const Problem<T, M, V>& problem, const Layout& layout)
        : member_(member),
          problem_(problem),
          layout_(layout),
          step_(problem.width() + layout.beyond_width),
          block_(member.list() ? std::vector<T>{T(0)} : block_of(problem.rows, static_cast<std::size_t>(step_)),
                 layout.block),
          rows_(member.list() ? problem.rows : std::vector<std::vector<T>>(), layout.row_misalign,
                layout.block.edge),
          list_(member.list() ? problem.rows.size() : 1, layout.list),
          weights_(problem.weights, layout.weights),
          mean_(problem.mean, layout.mean),
          variance_(problem.rows[0].size(), layout.variance)
    {
        for (std::size_t r = 0; member.list() && r < problem.rows.size(); ++r) list_.set(r, rows_.list()[r]);
        for (GuardedBytes* array : arrays()) array->take_snapshot();
    }

    Arguments<T, M, V> arguments() const
    {
        return {block_.data(),    step_,
                list_.data(),     weights_.data(),
                mean_.data(),     variance_.data(),
                problem_.width(), problem_.height(),
                problem_.sf};
    }
    std::vector<GuardedBytes*> arrays() { return {&block_, &list_, &weights_, &mean_, &variance_}; }
    std::vector<M> mean() const { return mean_.values(); }
    std::vector<V> variance() const { return variance_.values(); }

    testing::AssertionResult right(SrStatus status) const
    {
        testing::AssertionResult result =
            status == SrOk ? values_right() : testing::AssertionFailure() << "status " << status;
        if (!mean_.intact() || !variance_.intact())
            result = testing::AssertionFailure() << "written beside a result";
        if (!block_.as_snapshot() || !list_.as_snapshot() || !weights_.as_snapshot() ||
            (!member_.traits.mean_out && !mean_.as_snapshot()) ||
            (!member_.traits.variance && !variance_.as_snapshot()))
            result = testing::AssertionFailure() << "an input was written";
        if (!rows_.intact()) result = testing::AssertionFailure() << "written beside a row";
        for (std::size_t r = 0; member_.list() && r < problem_.rows.size(); ++r)
            if (std::memcmp(rows_.list()[r], problem_.rows[r].data(), problem_.rows[r].size() * sizeof(T)) != 0)
                result = testing::AssertionFailure() << "row " << r << " was written";
        if (result) return result;
        return testing::AssertionFailure()
               << member_.name << ", width " << problem_.width() << ", height " << problem_.height() << ", sf "
               << problem_.sf << ": " << result.message() << "; " << describe(layout_);
    }

  private:
    testing::AssertionResult values_right() const
    {
        const bool on_16 = member_.rows_on_16(problem_, layout_);
        for (std::size_t c = 0; c < problem_.rows[0].size(); ++c) {
            const std::vector<T> column = problem_.column(c);
            const auto [mean, variance] =
                member_.one(column, problem_.weights, problem_.mean[c], problem_.sf, on_16);
            if (member_.traits.mean_out)
                if (auto right = same_value(mean, mean_.get(c)); !right)
                    return right << " (mean of column " << c << ")";
            if (member_.traits.variance)
                if (auto right = same_value(variance, variance_.get(c)); !right)
                    return right << " (variance of column " << c << ")";
        }
        return testing::AssertionSuccess();
    }

    const Member<T, M, V>& member_;
    const Problem<T, M, V>& problem_;
    Layout layout_;
    int32_t step_;
    Guarded<T> block_;
    GuardedRows<T> rows_;
    Guarded<const T*> list_;
    Guarded<T> weights_;
    Guarded<M> mean_;
    Guarded<V> variance_;
};

template <class T, class M, class V>
testing::AssertionResult runs(const Member<T, M, V>& m, const Problem<T, M, V>& p, const Layout& layout = {})
{
    Trial<T, M, V> trial(m, p, layout);
    return trial.right(m.call(trial.arguments()));
}

}  // namespace zelsr::test::columns
