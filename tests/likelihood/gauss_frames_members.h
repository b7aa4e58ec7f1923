// The eight members that score many frames against one Gaussian: their calls in one form, and what each must do.
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

// narrow_loop: widths below 4 take a loop of their own.
template <class Type, bool List, bool Variance, bool NarrowLoop>
struct Member {
    using T = Type;
    static constexpr bool kList = List;
    static constexpr bool kVariance = Variance;
    static constexpr bool kNarrowLoop = NarrowLoop;
};

struct Frames_32f_D2 : Member<float, false, true, true> {
    static SrStatus call(const Arguments<T>& a)
    {
        return zelsLogGauss_32f_D2(a.block, a.step, a.mean, a.inv_var, a.width, a.score, a.height, a.val);
    }
};
struct Frames_32f_D2L : Member<float, true, true, true> {
    static SrStatus call(const Arguments<T>& a)
    {
        return zelsLogGauss_32f_D2L(a.list, a.mean, a.inv_var, a.width, a.score, a.height, a.val);
    }
};
struct Frames_64f_D2 : Member<double, false, true, false> {
    static SrStatus call(const Arguments<T>& a)
    {
        return zelsLogGauss_64f_D2(a.block, a.step, a.mean, a.inv_var, a.width, a.score, a.height, a.val);
    }
};
struct Frames_64f_D2L : Member<double, true, true, false> {
    static SrStatus call(const Arguments<T>& a)
    {
        return zelsLogGauss_64f_D2L(a.list, a.mean, a.inv_var, a.width, a.score, a.height, a.val);
    }
};
struct Frames_IdVar_32f_D2 : Member<float, false, false, true> {
    static SrStatus call(const Arguments<T>& a)
    {
        return zelsLogGauss_IdVar_32f_D2(a.block, a.step, a.mean, a.width, a.score, a.height, a.val);
    }
};
struct Frames_IdVar_32f_D2L : Member<float, true, false, false> {
    static SrStatus call(const Arguments<T>& a)
    {
        return zelsLogGauss_IdVar_32f_D2L(a.list, a.mean, a.width, a.score, a.height, a.val);
    }
};
struct Frames_IdVar_64f_D2 : Member<double, false, false, false> {
    static SrStatus call(const Arguments<T>& a)
    {
        return zelsLogGauss_IdVar_64f_D2(a.block, a.step, a.mean, a.width, a.score, a.height, a.val);
    }
};
struct Frames_IdVar_64f_D2L : Member<double, true, false, false> {
    static SrStatus call(const Arguments<T>& a)
    {
        return zelsLogGauss_IdVar_64f_D2L(a.list, a.mean, a.width, a.score, a.height, a.val);
    }
};

using Members = testing::Types<Frames_32f_D2, Frames_32f_D2L, Frames_64f_D2, Frames_64f_D2L, Frames_IdVar_32f_D2,
                               Frames_IdVar_32f_D2L, Frames_IdVar_64f_D2, Frames_IdVar_64f_D2L>;
struct MemberNames {
    template <class M>
    static std::string GetName(int i)
    {
        static const char* const names[] = {"32f_D2",       "32f_D2L",       "64f_D2",       "64f_D2L",
                                            "IdVar_32f_D2", "IdVar_32f_D2L", "IdVar_64f_D2", "IdVar_64f_D2L"};
        return names[i];
    }
};

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

template <class M>
std::vector<typename M::T> expected_scores(const Problem<typename M::T>& p, bool aligned)
{
    using T = typename M::T;
    const auto by = [&](const T* x, const auto& term) {
        if constexpr (std::is_same_v<T, double>)
            return reference::frame_score_64f(x, term, p.width(), p.val);
        else if (M::kNarrowLoop && p.width() < 4)
            return reference::narrow_frame_score_32f(x, term, p.width(), p.val);
        else
            return reference::frame_score_32f(x, term, p.width(), p.val, aligned);
    };
    std::vector<T> scores;
    for (const std::vector<T>& row : p.rows) {
        if constexpr (M::kVariance)
            scores.push_back(by(row.data(), reference::InverseVariance{p.mean.data(), p.inv_var.data()}));
        else
            scores.push_back(by(row.data(), reference::UnitVariance{p.mean.data()}));
    }
    return scores;
}

// Where a problem's arrays lie. Of a list, row r lies row_misalign[r modulo its size] bytes off 16.
struct Layout {
    Placement block, mean, inv_var, score;
    int beyond_width = 0;  // step less width
    std::vector<int> row_misalign = {0};
};

inline std::string describe(const Layout& layout)
{
    std::string text = "block " + test::describe(layout.block) + "; mean " + test::describe(layout.mean) +
                       "; inv_var " + test::describe(layout.inv_var) + "; score " + test::describe(layout.score) +
                       "; step = width + " + std::to_string(layout.beyond_width) + "; rows off";
    for (int misalign : layout.row_misalign) text += " " + std::to_string(misalign);
    return text;
}

// The aligned kernel's condition, the same multiple of 4 in single and double precision.
template <class M>
bool takes_aligned_kernel(const Problem<typename M::T>& p, const Layout& layout)
{
    bool rows_aligned = layout.block.misalign == 0 && (p.width() + layout.beyond_width) % 4 == 0;
    if (M::kList) {
        rows_aligned = true;
        for (std::size_t r = 0; r < p.rows.size(); ++r)
            rows_aligned = rows_aligned && layout.row_misalign[r % layout.row_misalign.size()] == 0;
    }
    return rows_aligned && layout.mean.misalign == 0 && (!M::kVariance || layout.inv_var.misalign == 0);
}

// The call between guard pages, its scores to the bit, its inputs and the words between them untouched.
template <class M>
testing::AssertionResult scores(const Problem<typename M::T>& p, const Layout& layout)
{
    using T = typename M::T;
    const int step = p.width() + layout.beyond_width;
    const bool list = M::kList;
    const std::vector<std::vector<T>> no_rows;
    Guarded<T> block(list ? std::vector<T>{T(0)} : as_block(p.rows, static_cast<std::size_t>(step)), layout.block);
    GuardedRows<T> rows(list ? p.rows : no_rows, layout.row_misalign, layout.block.edge);
    Guarded<const T*> row_list(list ? p.rows.size() : 1);
    for (std::size_t r = 0; list && r < p.rows.size(); ++r) row_list.set(r, rows.list()[r]);
    Guarded<T> mean(p.mean, layout.mean), inv_var(p.inv_var, layout.inv_var);
    Guarded<T> score(p.rows.size(), layout.score);
    const std::initializer_list<GuardedBytes*> inputs = {&block, &row_list, &mean, &inv_var};
    for (GuardedBytes* input : inputs) input->take_snapshot();

    const SrStatus status = M::call({block.data(), step, row_list.data(), mean.data(), inv_var.data(), p.width(),
                                     score.data(), p.height(), p.val});
    if (status != SrOk) return testing::AssertionFailure() << "status " << status;
    if (!score.intact()) return testing::AssertionFailure() << "written beside the scores";
    for (GuardedBytes* input : inputs)
        if (!input->as_snapshot()) return testing::AssertionFailure() << "an input was written";
    if (!rows.intact()) return testing::AssertionFailure() << "written beside a row";
    for (std::size_t r = 0; list && r < p.rows.size(); ++r)
        if (std::memcmp(rows.list()[r], p.rows[r].data(), p.rows[r].size() * sizeof(T)) != 0)
            return testing::AssertionFailure() << "row " << r << " was written";
    return same_values(expected_scores<M>(p, takes_aligned_kernel<M>(p, layout)), score.values());
}

}  // namespace zelsr::test::frames
