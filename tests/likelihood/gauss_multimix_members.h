// The four members that score one vector against many Gaussians: their calls in one form, and what each must do.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/arrangements.h"
#include "support/bits.h"
#include "support/effort.h"
#include "support/reference/gauss.h"
#include "zelsr/likelihood/gauss.h"

namespace zelsr::test::multimix {

template <class T>
struct Arguments {
    const T *mean_block, *inv_var_block;              // D2 members
    int32_t step;                                     // D2 members
    const T *const *mean_list, *const *inv_var_list;  // D2L members
    const T* feature;
    int32_t width;
    T* value;
    int32_t height;
};

template <class T>
struct Member {
    const char* name;
    bool list;
    SrStatus (*call)(const Arguments<T>&);
};

inline std::vector<Member<float>> members(float)
{
    using A = Arguments<float>;
    return {
        {"32f_D2", false,
         [](const A& a) {
             return zelsLogGaussMultiMix_32f_D2(a.mean_block, a.inv_var_block, a.step, a.feature, a.width, a.value,
                                                a.height);
         }},
        {"32f_D2L", true,
         [](const A& a) {
             return zelsLogGaussMultiMix_32f_D2L(a.mean_list, a.inv_var_list, a.feature, a.width, a.value,
                                                 a.height);
         }},
    };
}
inline std::vector<Member<double>> members(double)
{
    using A = Arguments<double>;
    return {
        {"64f_D2", false,
         [](const A& a) {
             return zelsLogGaussMultiMix_64f_D2(a.mean_block, a.inv_var_block, a.step, a.feature, a.width, a.value,
                                                a.height);
         }},
        {"64f_D2L", true,
         [](const A& a) {
             return zelsLogGaussMultiMix_64f_D2L(a.mean_list, a.inv_var_list, a.feature, a.width, a.value,
                                                 a.height);
         }},
    };
}

template <class T>
struct Problem {
    std::vector<std::vector<T>> mean, inv_var;  // a row for each component
    std::vector<T> feature, value;

    int width() const { return static_cast<int>(feature.size()); }
    int height() const { return static_cast<int>(value.size()); }
};

template <class T>
Problem<T> random_problem(int width, int height)
{
    Problem<T> p{{}, {}, uniform_vector<T>(width, -3, 3), uniform_vector<T>(height, -1, 1)};
    for (int j = 0; j < height; ++j) {
        p.mean.push_back(uniform_vector<T>(width, -3, 3));
        p.inv_var.push_back(uniform_vector<T>(width, T(0.1), 4));
    }
    return p;
}

// How far two scores of a component may lie apart. Single precision: to the bit, in both kernels alike. Double:
// any two orders of the sum.
template <class T>
double tolerance(const Problem<T>& p, std::size_t j)
{
    if (sizeof(T) == 4) return 0;
    return reference::any_order_tolerance_64f(p.feature.data(),
                                              reference::InverseVariance{p.mean[j].data(), p.inv_var[j].data()},
                                              p.width(), p.value[j]);
}

template <class T>
testing::AssertionResult as_expected(const Problem<T>& p, const std::vector<T>& scores)
{
    for (std::size_t j = 0; j < p.value.size(); ++j) {
        const reference::InverseVariance term{p.mean[j].data(), p.inv_var[j].data()};
        T score;
        if constexpr (std::is_same_v<T, float>)
            score = reference::component_score_32f(p.feature.data(), term, p.width(), p.value[j]);
        else
            score = reference::score_even_odd_64f(p.feature.data(), term, p.width(), p.value[j]);
        if (same(score, scores[j])) continue;
        const auto near =
            near_values(std::vector<T>{score}, std::vector<T>{scores[j]}, sizeof(T) == 4 ? -1 : tolerance(p, j));
        if (!near) return testing::AssertionFailure() << "component " << j << ": " << near.message();
    }
    return testing::AssertionSuccess();
}

// Where a problem's arrays lie. Of a list, row j lies misalign[j modulo its size] bytes off 16.
struct Layout {
    Placement mean, inv_var, feature, value;
    int beyond_width = 0;  // step less width
    std::vector<int> mean_misalign = {0}, inv_var_misalign = {0};
    Placement list;

    // All rows on 16 bytes, or off them.
    Layout(int width, Arrangement where)
        : mean(where[0]),
          inv_var(where[1]),
          feature(where[2]),
          value(where[3]),
          beyond_width((4 - width % 4) % 4),
          mean_misalign{where[0].misalign},
          inv_var_misalign{where[1].misalign}
    {}
    explicit Layout(int width, int means_off_16 = 0) : Layout(width, {{means_off_16}, {}, {}, {}}) {}
};

inline std::string describe(const Layout& layout)
{
    std::string text = "mean " + test::describe(layout.mean) + "; inv_var " + test::describe(layout.inv_var) +
                       "; feature " + test::describe(layout.feature) + "; value " + test::describe(layout.value) +
                       "; lists " + test::describe(layout.list) + "; step = width + " +
                       std::to_string(layout.beyond_width) + "; mean rows off";
    for (int misalign : layout.mean_misalign) text += " " + std::to_string(misalign);
    text += "; inv_var rows off";
    for (int misalign : layout.inv_var_misalign) text += " " + std::to_string(misalign);
    return text;
}

// One of the two models between guard pages, in the member's layout.
template <class T>
class GuardedModel {
  public:
    GuardedModel(bool list, const std::vector<std::vector<T>>& rows, int step, Placement placement,
                 const std::vector<int>& misalign, Placement list_placement)
        : source_(list ? rows : std::vector<std::vector<T>>{}),
          block_(list ? std::vector<T>{T(0)} : as_block(rows, static_cast<std::size_t>(step)), placement),
          rows_(source_, misalign, placement.edge),
          list_(list ? rows.size() : 1, list_placement)
    {
        for (std::size_t j = 0; j < source_.size(); ++j) list_.set(j, rows_.list()[j]);
        block_.take_snapshot();
        list_.take_snapshot();
    }
    const T* block() const { return block_.data(); }
    const T* const* list() const { return list_.data(); }
    bool as_before() const
    {
        for (std::size_t j = 0; j < source_.size(); ++j)
            if (std::memcmp(rows_.list()[j], source_[j].data(), source_[j].size() * sizeof(T)) != 0) return false;
        return block_.as_snapshot() && rows_.intact() && list_.as_snapshot();
    }

  private:
    std::vector<std::vector<T>> source_;
    Guarded<T> block_;
    GuardedRows<T> rows_;
    Guarded<const T*> list_;
};

// The call between guard pages, its inputs and the words between them untouched.
template <class T>
testing::AssertionResult scores(const Member<T>& member, const Problem<T>& p, const Layout& layout)
{
    const int step = p.width() + layout.beyond_width;
    const GuardedModel<T> mean(member.list, p.mean, step, layout.mean, layout.mean_misalign, layout.list);
    const GuardedModel<T> inv_var(member.list, p.inv_var, step, layout.inv_var, layout.inv_var_misalign,
                                  layout.list);
    Guarded<T> feature(p.feature, layout.feature), value(p.value, layout.value);
    feature.take_snapshot();
    const SrStatus status = member.call({mean.block(), inv_var.block(), step, mean.list(), inv_var.list(),
                                         feature.data(), p.width(), value.data(), p.height()});
    testing::AssertionResult right = as_expected(p, value.values());
    if (status != SrOk) right = testing::AssertionFailure() << "status " << status;
    if (!value.intact()) right = testing::AssertionFailure() << "written beside the values";
    if (!mean.as_before() || !inv_var.as_before() || !feature.as_snapshot())
        right = testing::AssertionFailure() << "an input was written";
    if (right) return right;
    return testing::AssertionFailure() << member.name << ", width " << p.width() << ", height " << p.height()
                                       << ": " << right.message() << "; " << describe(layout);
}

// The call on plain arrays; the scores.
template <class T>
std::vector<T> plain_call(const Member<T>& member, const Problem<T>& p)
{
    const std::vector<T> mean = as_block(p.mean, p.feature.size()),
                         inv_var = as_block(p.inv_var, p.feature.size());
    std::vector<const T*> mean_list, inv_var_list;
    for (const auto& row : p.mean) mean_list.push_back(row.data());
    for (const auto& row : p.inv_var) inv_var_list.push_back(row.data());
    std::vector<T> value = p.value;
    EXPECT_EQ(member.call({mean.data(), inv_var.data(), p.width(), mean_list.data(), inv_var_list.data(),
                           p.feature.data(), p.width(), value.data(), p.height()}),
              SrOk);
    return value;
}

}  // namespace zelsr::test::multimix
