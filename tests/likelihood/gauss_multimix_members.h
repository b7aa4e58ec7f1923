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

template <class Type, bool List>
struct Member {
    using T = Type;
    static constexpr bool kList = List;
};

struct MultiMix_32f_D2 : Member<float, false> {
    static SrStatus call(const Arguments<T>& a)
    {
        return zelsLogGaussMultiMix_32f_D2(a.mean_block, a.inv_var_block, a.step, a.feature, a.width, a.value,
                                           a.height);
    }
};
struct MultiMix_32f_D2L : Member<float, true> {
    static SrStatus call(const Arguments<T>& a)
    {
        return zelsLogGaussMultiMix_32f_D2L(a.mean_list, a.inv_var_list, a.feature, a.width, a.value, a.height);
    }
};
struct MultiMix_64f_D2 : Member<double, false> {
    static SrStatus call(const Arguments<T>& a)
    {
        return zelsLogGaussMultiMix_64f_D2(a.mean_block, a.inv_var_block, a.step, a.feature, a.width, a.value,
                                           a.height);
    }
};
struct MultiMix_64f_D2L : Member<double, true> {
    static SrStatus call(const Arguments<T>& a)
    {
        return zelsLogGaussMultiMix_64f_D2L(a.mean_list, a.inv_var_list, a.feature, a.width, a.value, a.height);
    }
};

using Members = testing::Types<MultiMix_32f_D2, MultiMix_32f_D2L, MultiMix_64f_D2, MultiMix_64f_D2L>;
struct MemberNames {
    template <class M>
    static std::string GetName(int i)
    {
        static const char* const names[] = {"32f_D2", "32f_D2L", "64f_D2", "64f_D2L"};
        return names[i];
    }
};
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

// Single precision to the bit, in both kernels alike. Double precision in any order of the sum: its kernels and
// the loop for 1000 components and more associate it differently.
template <class T>
testing::AssertionResult as_expected(const Problem<T>& p, const std::vector<T>& scores)
{
    for (std::size_t j = 0; j < p.value.size(); ++j) {
        const reference::InverseVariance term{p.mean[j].data(), p.inv_var[j].data()};
        testing::AssertionResult agrees = testing::AssertionSuccess();
        if constexpr (std::is_same_v<T, float>)
            agrees = same_value(reference::component_score_32f(p.feature.data(), term, p.width(), p.value[j]),
                                scores[j]);
        else
            agrees = near_values(
                std::vector<T>{reference::score_even_odd_64f(p.feature.data(), term, p.width(), p.value[j])},
                std::vector<T>{scores[j]},
                reference::any_order_tolerance_64f(p.feature.data(), term, p.width(), p.value[j]));
        if (!agrees) return testing::AssertionFailure() << "component " << j << ": " << agrees.message();
    }
    return testing::AssertionSuccess();
}

// Where a problem's arrays lie. Of a list, row j lies misalign[j modulo its size] bytes off 16.
struct Layout {
    Placement mean, inv_var, feature, value;
    int beyond_width = 0;  // step less width
    std::vector<int> mean_misalign = {0}, inv_var_misalign = {0};
};

inline std::string describe(const Layout& layout)
{
    std::string text = "mean " + test::describe(layout.mean) + "; inv_var " + test::describe(layout.inv_var) +
                       "; feature " + test::describe(layout.feature) + "; value " + test::describe(layout.value) +
                       "; step = width + " + std::to_string(layout.beyond_width) + "; mean rows off";
    for (int misalign : layout.mean_misalign) text += " " + std::to_string(misalign);
    text += "; inv_var rows off";
    for (int misalign : layout.inv_var_misalign) text += " " + std::to_string(misalign);
    return text;
}

// One of the two models between guard pages, in the member's layout.
template <class T, bool List>
class GuardedModel {
  public:
    GuardedModel(const std::vector<std::vector<T>>& rows, int step, Placement placement,
                 const std::vector<int>& misalign)
        : source_(rows),
          block_(List ? std::vector<T>{T(0)} : as_block(rows, static_cast<std::size_t>(step)), placement),
          rows_(List ? rows : std::vector<std::vector<T>>{}, misalign, placement.edge),
          list_(List ? rows.size() : 1)
    {
        for (std::size_t j = 0; List && j < rows.size(); ++j) list_.set(j, rows_.list()[j]);
        block_.take_snapshot();
        list_.take_snapshot();
    }
    const T* block() const { return block_.data(); }
    const T* const* list() const { return list_.data(); }
    bool as_before() const
    {
        for (std::size_t j = 0; List && j < source_.size(); ++j)
            if (std::memcmp(rows_.list()[j], source_[j].data(), source_[j].size() * sizeof(T)) != 0) return false;
        return block_.as_snapshot() && rows_.intact() && list_.as_snapshot();
    }

  private:
    const std::vector<std::vector<T>>& source_;
    Guarded<T> block_;
    GuardedRows<T> rows_;
    Guarded<const T*> list_;
};

// The call between guard pages, its inputs and the words between them untouched.
template <class M>
testing::AssertionResult scores(const Problem<typename M::T>& p, const Layout& layout)
{
    using T = typename M::T;
    const int step = p.width() + layout.beyond_width;
    const GuardedModel<T, M::kList> mean(p.mean, step, layout.mean, layout.mean_misalign);
    const GuardedModel<T, M::kList> inv_var(p.inv_var, step, layout.inv_var, layout.inv_var_misalign);
    Guarded<T> feature(p.feature, layout.feature), value(p.value, layout.value);
    feature.take_snapshot();
    const SrStatus status = M::call({mean.block(), inv_var.block(), step, mean.list(), inv_var.list(),
                                     feature.data(), p.width(), value.data(), p.height()});
    if (status != SrOk) return testing::AssertionFailure() << "status " << status;
    if (!value.intact()) return testing::AssertionFailure() << "written beside the values";
    if (!mean.as_before() || !inv_var.as_before() || !feature.as_snapshot())
        return testing::AssertionFailure() << "an input was written";
    return as_expected(p, value.values());
}

}  // namespace zelsr::test::multimix
