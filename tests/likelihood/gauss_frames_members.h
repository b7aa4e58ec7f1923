// The eight members that score many frames against one Gaussian: their calls in one form, and what each must do.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include "support/arrangements.h"
#include "support/bits.h"
#include "support/effort.h"
#include "support/reference/gauss.h"
#include "zelsr/likelihood/gauss.h"

namespace zelsr::test::frames {

template <class T>
struct Arguments {
    const T* block;        // D2 members
    int32_t step;          // D2 members
    const T* const* list;  // D2L members
    const T* mean;
    const T* inv_var;  // but for IdVar
    int32_t width;
    T* score;
    int32_t height;
    T val;
};

template <class T>
struct Member {
    const char* name;
    bool list, variance;
    bool narrow_loop;  // widths below 4 take a loop of their own
    SrStatus (*call)(const Arguments<T>&);
};

inline std::vector<Member<float>> members(float)
{
    using A = Arguments<float>;
    return {
        {"32f_D2", false, true, true,
         [](const A& a) {
             return zelsLogGauss_32f_D2(a.block, a.step, a.mean, a.inv_var, a.width, a.score, a.height, a.val);
         }},
        {"32f_D2L", true, true, true,
         [](const A& a) {
             return zelsLogGauss_32f_D2L(a.list, a.mean, a.inv_var, a.width, a.score, a.height, a.val);
         }},
        {"IdVar_32f_D2", false, false, true,
         [](const A& a) {
             return zelsLogGauss_IdVar_32f_D2(a.block, a.step, a.mean, a.width, a.score, a.height, a.val);
         }},
        {"IdVar_32f_D2L", true, false, false,
         [](const A& a) { return zelsLogGauss_IdVar_32f_D2L(a.list, a.mean, a.width, a.score, a.height, a.val); }},
    };
}
inline std::vector<Member<double>> members(double)
{
    using A = Arguments<double>;
    return {
        {"64f_D2", false, true, false,
         [](const A& a) {
             return zelsLogGauss_64f_D2(a.block, a.step, a.mean, a.inv_var, a.width, a.score, a.height, a.val);
         }},
        {"64f_D2L", true, true, false,
         [](const A& a) {
             return zelsLogGauss_64f_D2L(a.list, a.mean, a.inv_var, a.width, a.score, a.height, a.val);
         }},
        {"IdVar_64f_D2", false, false, false,
         [](const A& a) {
             return zelsLogGauss_IdVar_64f_D2(a.block, a.step, a.mean, a.width, a.score, a.height, a.val);
         }},
        {"IdVar_64f_D2L", true, false, false,
         [](const A& a) { return zelsLogGauss_IdVar_64f_D2L(a.list, a.mean, a.width, a.score, a.height, a.val); }},
    };
}
template <class T>
Member<T> member_named(std::string_view name)
{
    for (const Member<T>& member : members(T()))
        if (member.name == name) return member;
    return {};
}

template <class T>
struct Problem {
    std::vector<std::vector<T>> rows;
    std::vector<T> mean, inv_var;
    T val;

    int width() const { return static_cast<int>(mean.size()); }
    int height() const { return static_cast<int>(rows.size()); }
};

template <class T>
Problem<T> random_problem(int width, int height)
{
    Problem<T> problem{
        {}, uniform_vector<T>(width, -3, 3), uniform_vector<T>(width, T(0.1), 4), uniform<T>(-1, 1)};
    for (int r = 0; r < height; ++r) problem.rows.push_back(uniform_vector<T>(width, -3, 3));
    return problem;
}

template <class T>
std::vector<T> expected_scores(const Member<T>& member, const Problem<T>& p, bool aligned)
{
    const auto by = [&](const T* x, const auto& term) {
        if constexpr (std::is_same_v<T, double>)
            return reference::frame_score_64f(x, term, p.width(), p.val);
        else if (member.narrow_loop && p.width() < 4)
            return reference::narrow_frame_score_32f(x, term, p.width(), p.val);
        else
            return reference::frame_score_32f(x, term, p.width(), p.val, aligned);
    };
    std::vector<T> scores;
    for (const std::vector<T>& row : p.rows)
        scores.push_back(member.variance
                             ? by(row.data(), reference::InverseVariance{p.mean.data(), p.inv_var.data()})
                             : by(row.data(), reference::UnitVariance{p.mean.data()}));
    return scores;
}

// Where a problem's arrays lie. Of a list, row r lies row_misalign[r modulo its size] bytes off 16.
struct Layout {
    Placement block, mean, inv_var, score;
    int beyond_width = 0;  // step less width
    std::vector<int> row_misalign = {0};
    Placement list;

    // All rows on 16 bytes, or off them.
    Layout(int width, Arrangement where)
        : block(where[0]),
          mean(where[1]),
          inv_var(where[2]),
          score(where[3]),
          beyond_width((4 - width % 4) % 4),
          row_misalign{where[0].misalign}
    {}
    explicit Layout(int width, int rows_off_16 = 0) : Layout(width, {{rows_off_16}, {}, {}, {}}) {}
};

inline std::string describe(const Layout& layout)
{
    std::string text = "block " + test::describe(layout.block) + "; mean " + test::describe(layout.mean) +
                       "; inv_var " + test::describe(layout.inv_var) + "; score " + test::describe(layout.score) +
                       "; list " + test::describe(layout.list) + "; step = width + " +
                       std::to_string(layout.beyond_width) + "; rows off";
    for (int misalign : layout.row_misalign) text += " " + std::to_string(misalign);
    return text;
}

// The aligned kernel's condition, the same multiple of 4 in single and double precision.
template <class T>
bool takes_aligned_kernel(const Member<T>& member, const Problem<T>& p, const Layout& layout)
{
    bool rows_aligned = layout.block.misalign == 0 && (p.width() + layout.beyond_width) % 4 == 0;
    if (member.list) {
        rows_aligned = true;
        for (std::size_t r = 0; r < p.rows.size(); ++r)
            rows_aligned = rows_aligned && layout.row_misalign[r % layout.row_misalign.size()] == 0;
    }
    return rows_aligned && layout.mean.misalign == 0 && (!member.variance || layout.inv_var.misalign == 0);
}

// The call between guard pages, its scores to the bit, its inputs and the words between them untouched.
template <class T>
testing::AssertionResult scores(const Member<T>& member, const Problem<T>& p, const Layout& layout)
{
    const int step = p.width() + layout.beyond_width;
    const bool list = member.list;
    const std::vector<std::vector<T>> no_rows;
    Guarded<T> block(list ? std::vector<T>{T(0)} : as_block(p.rows, static_cast<std::size_t>(step)), layout.block);
    GuardedRows<T> rows(list ? p.rows : no_rows, layout.row_misalign, layout.block.edge);
    Guarded<const T*> row_list(list ? p.rows.size() : 1, layout.list);
    for (std::size_t r = 0; list && r < p.rows.size(); ++r) row_list.set(r, rows.list()[r]);
    Guarded<T> mean(p.mean, layout.mean), inv_var(p.inv_var, layout.inv_var);
    Guarded<T> score(p.rows.size(), layout.score);
    const std::initializer_list<GuardedBytes*> inputs = {&block, &row_list, &mean, &inv_var};
    for (GuardedBytes* input : inputs) input->take_snapshot();

    const SrStatus status = member.call({block.data(), step, row_list.data(), mean.data(), inv_var.data(),
                                         p.width(), score.data(), p.height(), p.val});
    testing::AssertionResult right =
        same_values(expected_scores(member, p, takes_aligned_kernel(member, p, layout)), score.values());
    if (status != SrOk) right = testing::AssertionFailure() << "status " << status;
    if (!score.intact()) right = testing::AssertionFailure() << "written beside the scores";
    for (GuardedBytes* input : inputs)
        if (!input->as_snapshot()) right = testing::AssertionFailure() << "an input was written";
    if (!rows.intact()) right = testing::AssertionFailure() << "written beside a row";
    for (std::size_t r = 0; list && r < p.rows.size(); ++r)
        if (std::memcmp(rows.list()[r], p.rows[r].data(), p.rows[r].size() * sizeof(T)) != 0)
            right = testing::AssertionFailure() << "row " << r << " was written";
    if (right) return right;
    return testing::AssertionFailure() << member.name << ", width " << p.width() << ", height " << p.height()
                                       << ": " << right.message() << "; " << describe(layout);
}

}  // namespace zelsr::test::frames
