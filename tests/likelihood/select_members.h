// The eight members that score the selected components of a mixture: their calls in one form, and what each must
// do.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "support/arrangements.h"
#include "support/bits.h"
#include "support/effort.h"
#include "support/operation.h"
#include "support/reference/select.h"
#include "zelsr/likelihood/select.h"

namespace zelsr::test::select {

using reference::Bytes;
using reference::bytes_of;

template <class T>
struct Arguments {
    const T *frames, *mean, *inv_var;                                     // D2 members
    int32_t step;                                                         // D2 members
    const T *const *frame_list, *const *mean_list, *const *inv_var_list;  // D2L members
    int32_t width;
    const float* val;
    const uint8_t* table;
    int32_t components;
    float* sum;
    int32_t height;
    float fallback;
    int32_t sf;  // 16-bit members
};

template <class Type, bool List, bool Variances>
struct Member {
    using T = Type;
    static constexpr bool kList = List, kVariances = Variances, kScaled = sizeof(Type) == 2;
    // Blocks with variances have a path of their own for many components and frames.
    static bool fast(int components, int height) { return !List && Variances && components >= 9 && height >= 2; }
    // The part of it that takes work memory.
    static bool short_kernel(int components, int height)
    {
        return fast(components, height) && components <= 20 && height <= (kScaled ? 19 : 20);
    }
};

struct Select_32f_D2 : Member<float, false, true> {
    template <class How = Direct>
    static SrStatus call(const Arguments<T>& a, How how = {})
    {
        return how(zelsLogGaussMixture_Select_32f_D2, a.frames, a.mean, a.inv_var, a.step, a.width, a.val, a.table,
                   a.components, a.sum, a.height, a.fallback);
    }
};
struct Select_32f_D2L : Member<float, true, true> {
    template <class How = Direct>
    static SrStatus call(const Arguments<T>& a, How how = {})
    {
        return how(zelsLogGaussMixture_Select_32f_D2L, a.frame_list, a.mean_list, a.inv_var_list, a.width, a.val,
                   a.table, a.components, a.sum, a.height, a.fallback);
    }
};
struct SelectIdVar_32f_D2 : Member<float, false, false> {
    template <class How = Direct>
    static SrStatus call(const Arguments<T>& a, How how = {})
    {
        return how(zelsLogGaussMixture_SelectIdVar_32f_D2, a.frames, a.mean, a.step, a.width, a.val, a.table,
                   a.components, a.sum, a.height, a.fallback);
    }
};
struct SelectIdVar_32f_D2L : Member<float, true, false> {
    template <class How = Direct>
    static SrStatus call(const Arguments<T>& a, How how = {})
    {
        return how(zelsLogGaussMixture_SelectIdVar_32f_D2L, a.frame_list, a.mean_list, a.width, a.val, a.table,
                   a.components, a.sum, a.height, a.fallback);
    }
};
struct SelectScaled_16s32f_D2 : Member<int16_t, false, true> {
    template <class How = Direct>
    static SrStatus call(const Arguments<T>& a, How how = {})
    {
        return how(zelsLogGaussMixture_SelectScaled_16s32f_D2, a.frames, a.mean, a.inv_var, a.step, a.width, a.val,
                   a.table, a.components, a.sum, a.height, a.fallback, a.sf);
    }
};
struct SelectScaled_16s32f_D2L : Member<int16_t, true, true> {
    template <class How = Direct>
    static SrStatus call(const Arguments<T>& a, How how = {})
    {
        return how(zelsLogGaussMixture_SelectScaled_16s32f_D2L, a.frame_list, a.mean_list, a.inv_var_list, a.width,
                   a.val, a.table, a.components, a.sum, a.height, a.fallback, a.sf);
    }
};
struct SelectIdVarScaled_16s32f_D2 : Member<int16_t, false, false> {
    template <class How = Direct>
    static SrStatus call(const Arguments<T>& a, How how = {})
    {
        return how(zelsLogGaussMixture_SelectIdVarScaled_16s32f_D2, a.frames, a.mean, a.step, a.width, a.val,
                   a.table, a.components, a.sum, a.height, a.fallback, a.sf);
    }
};
struct SelectIdVarScaled_16s32f_D2L : Member<int16_t, true, false> {
    template <class How = Direct>
    static SrStatus call(const Arguments<T>& a, How how = {})
    {
        return how(zelsLogGaussMixture_SelectIdVarScaled_16s32f_D2L, a.frame_list, a.mean_list, a.width, a.val,
                   a.table, a.components, a.sum, a.height, a.fallback, a.sf);
    }
};

using Members =
    testing::Types<Select_32f_D2, Select_32f_D2L, SelectIdVar_32f_D2, SelectIdVar_32f_D2L, SelectScaled_16s32f_D2,
                   SelectScaled_16s32f_D2L, SelectIdVarScaled_16s32f_D2, SelectIdVarScaled_16s32f_D2L>;
struct MemberNames {
    template <class M>
    static std::string GetName(int i)
    {
        static const char* const names[] = {"32f_D2",    "32f_D2L",    "IdVar_32f_D2",    "IdVar_32f_D2L",
                                            "16s32f_D2", "16s32f_D2L", "IdVar_16s32f_D2", "IdVar_16s32f_D2L"};
        return names[i];
    }
};

// --- problems ---

template <class T>
struct Problem {
    std::vector<std::vector<T>> frames, mean, inv_var;
    std::vector<float> val;
    Bytes table;
    float fallback = -1234.5F;
    int32_t sf = 0;

    int width() const { return static_cast<int>(frames[0].size()); }
    int height() const { return static_cast<int>(frames.size()); }
    int components() const { return static_cast<int>(val.size()); }
    bool selected(int i, int j) const { return reference::bit(bits_of(i), j); }
    void select(int i, int j) { reference::set_bit(table.data() + offset_of(i), j); }

  private:
    std::size_t offset_of(int i) const { return static_cast<std::size_t>(i) * bytes_of(components()); }
    const std::uint8_t* bits_of(int i) const { return table.data() + offset_of(i); }
};

// Densities of the table, in 256ths: none, 5 %, half, all.
inline constexpr int kDensities[] = {0, 13, 128, 256};

// The bits behind the last component are always set.
inline Bytes random_table(int components, int height, int density)
{
    Bytes table;
    for (int i = 0; i < height; ++i) {
        Bytes row(bytes_of(components), 0);
        for (int j = 0; j < static_cast<int>(8 * row.size()); ++j)
            if (j >= components || uniform(0, 255) < density) reference::set_bit(row.data(), j);
        table.insert(table.end(), row.begin(), row.end());
    }
    return table;
}

// Scores some ten apart at every width. 16-bit sums are exact in any order.
template <class T>
Problem<T> random_problem(int width, int components, int height, int density)
{
    Problem<T> p;
    const auto rows = [width](int count, T low, T high) {
        std::vector<std::vector<T>> all;
        for (int r = 0; r < count; ++r) all.push_back(uniform_vector<T>(width, low, high));
        return all;
    };
    constexpr bool fixed = sizeof(T) == 2;
    p.frames = rows(height, fixed ? T(-30) : T(-3), fixed ? T(30) : T(3));
    p.mean = rows(components, fixed ? T(-30) : T(-3), fixed ? T(30) : T(3));
    p.inv_var = rows(components, fixed ? T(0) : T(0.1F / static_cast<float>(width)),
                     fixed ? T(9) : T(8 / static_cast<float>(width)));
    p.val = uniform_vector<float>(components, -1, 1);
    p.table = random_table(components, height, density);
    p.sf = 7;
    for (int w = width; w > 1; w /= 2) ++p.sf;
    return p;
}

// Where a problem's arrays lie. Of a list, row r lies misalign[r modulo its size] bytes off 16.
struct Layout {
    Placement frames, mean, inv_var, val, sum, table;
    int beyond_width = 0;  // step less width
    std::vector<int> frame_misalign = {0}, mean_misalign = {0}, inv_var_misalign = {0};
};

// The arrays that no kernel asks an alignment of end on the forbidden page.
template <class T>
Layout flush(const Problem<T>& p)
{
    const auto behind = [](std::size_t bytes) { return Placement{static_cast<int>((16 - bytes % 16) % 16)}; };
    Layout layout;
    layout.val = behind(4 * p.val.size());
    layout.sum = behind(4 * p.frames.size());
    layout.table = behind(p.table.size());
    return layout;
}

inline std::string describe(const Layout& layout)
{
    std::string text = "frames " + test::describe(layout.frames) + "; mean " + test::describe(layout.mean) +
                       "; inv_var " + test::describe(layout.inv_var) + "; val " + test::describe(layout.val) +
                       "; sum " + test::describe(layout.sum) + "; table " + test::describe(layout.table) +
                       "; step = width + " + std::to_string(layout.beyond_width);
    for (const auto* rows : {&layout.frame_misalign, &layout.mean_misalign, &layout.inv_var_misalign}) {
        text += "; rows off";
        for (int misalign : *rows) text += " " + std::to_string(misalign);
    }
    return text;
}

// A matrix between guard pages, in the member's layout. The rows of a list have pages of their own if they are
// few; else the list points into a block.
template <class T, bool List>
class GuardedMatrix {
  public:
    GuardedMatrix(const std::vector<std::vector<T>>& rows, int step, Placement place,
                  const std::vector<int>& misalign)
        : source_(rows), list_(List ? rows.size() : 1)
    {
        const auto block_step = static_cast<std::size_t>(step);
        if (List && rows.size() <= 8)
            rows_ = std::make_unique<GuardedRows<T>>(rows, misalign, place.edge);
        else
            block_ = std::make_unique<Guarded<T>>(as_block(rows, block_step),
                                                  List ? Placement{misalign[0], place.edge} : place);
        for (std::size_t r = 0; r < rows.size(); ++r)
            addresses_.push_back(rows_ ? rows_->list()[r] : block_->data() + r * block_step);
        for (std::size_t r = 0; List && r < rows.size(); ++r) list_.set(r, addresses_[r]);
        list_.take_snapshot();
    }
    const T* block() const { return List ? nullptr : block_->data(); }
    const T* const* list() const { return List ? list_.data() : nullptr; }
    bool row_on_16_bytes(int r) const
    {
        return reinterpret_cast<std::uintptr_t>(addresses_[static_cast<std::size_t>(r)]) % 16 == 0;
    }
    bool as_before() const
    {
        for (std::size_t r = 0; r < source_.size(); ++r)
            if (std::memcmp(addresses_[r], source_[r].data(), source_[r].size() * sizeof(T)) != 0) return false;
        return (!rows_ || rows_->intact()) && (!block_ || block_->intact()) && list_.as_snapshot();
    }

  private:
    const std::vector<std::vector<T>>& source_;
    std::unique_ptr<Guarded<T>> block_;
    std::unique_ptr<GuardedRows<T>> rows_;
    std::vector<const T*> addresses_;
    Guarded<const T*> list_;
};

// --- what is expected ---

// aligned: whether all rows that a score takes lie on 16 bytes.
template <class M>
float expected_score(const Problem<float>& p, int i, int j, bool aligned)
{
    const float *x = p.frames[static_cast<std::size_t>(i)].data(), *m = p.mean[static_cast<std::size_t>(j)].data(),
                *v = p.inv_var[static_cast<std::size_t>(j)].data(), val = p.val[static_cast<std::size_t>(j)];
    if (M::fast(p.components(), p.height()))
        return reference::component_score_32f(x, reference::InverseVariance{m, v}, p.width(), val);
    return M::kVariances ? reference::score_single_32f(x, m, v, p.width(), val, aligned)
                         : reference::score_single_32f(x, m, p.width(), val, aligned);
}
// The sums of these problems' rows are exact in any order, unless open.
template <class M>
float expected_score(const Problem<int16_t>& p, int i, int j, bool /*aligned*/)
{
    using namespace reference::fixed;
    const Operands operands{p.frames[static_cast<std::size_t>(i)].data(),
                            p.mean[static_cast<std::size_t>(j)].data(),
                            M::kVariances ? p.inv_var[static_cast<std::size_t>(j)].data() : nullptr, p.width()};
    const Kernel kernel = M::fast(p.components(), p.height()) ? Kernel::Rows : Kernel::Vector;
    const Score expected =
        score({Arithmetic::Plain, kernel, false}, operands, p.val[static_cast<std::size_t>(j)], p.sf);
    EXPECT_EQ(expected.not_fixed, 0) << "this problem has no exact sums";
    return static_cast<float>(expected.value);
}

// aligned(i, j) of frame i and component j.
template <class M, class Aligned>
std::vector<float> expected_sums(const Problem<typename M::T>& p, Aligned aligned)
{
    std::vector<float> sums;
    for (int i = 0; i < p.height(); ++i) {
        const auto selected = [&](int j) { return p.selected(i, j); };
        const auto score = [&](int j) { return expected_score<M>(p, i, j, aligned(i, j)); };
        if (M::fast(p.components(), p.height()))
            sums.push_back(reference::selected_sum<int>(p.components(), selected, score, p.fallback,
                                                        reference::log_add_fast));
        else
            sums.push_back(reference::selected_sum<uint16_t>(p.components(), selected, score, p.fallback,
                                                             reference::log_add_accurate));
    }
    return sums;
}

// One call between guard pages: its status, the arguments as they were, no byte beside the sums written, and
// accept(sums, aligned).
template <class M, class Accept>
testing::AssertionResult sums_accepted(const Problem<typename M::T>& p, const Layout& layout, Accept accept)
{
    using T = typename M::T;
    const int step = p.width() + layout.beyond_width;
    const GuardedMatrix<T, M::kList> frames(p.frames, step, layout.frames, layout.frame_misalign),
        mean(p.mean, step, layout.mean, layout.mean_misalign),
        inv_var(p.inv_var, step, layout.inv_var, layout.inv_var_misalign);
    Guarded<float> val(p.val, layout.val), sum(static_cast<std::size_t>(p.height()), layout.sum);
    Guarded<uint8_t> table(p.table, layout.table);
    val.take_snapshot();
    table.take_snapshot();
    const SrStatus status =
        M::call({frames.block(), mean.block(), inv_var.block(), step, frames.list(), mean.list(), inv_var.list(),
                 p.width(), val.data(), table.data(), p.components(), sum.data(), p.height(), p.fallback, p.sf});
    if (auto right = status_is(SrOk, status); !right) return right;
    if (!frames.as_before() || !mean.as_before() || !inv_var.as_before() || !val.as_snapshot() ||
        !table.as_snapshot())
        return testing::AssertionFailure() << "an argument or a byte beside it was written";
    if (!sum.intact()) return testing::AssertionFailure() << "a byte beside the sums was written";
    return accept(sum.values(), [&](int i, int j) {
        return frames.row_on_16_bytes(i) && mean.row_on_16_bytes(j) && inv_var.row_on_16_bytes(j);
    });
}

// To the bit.
template <class M>
testing::AssertionResult sums(const Problem<typename M::T>& p, const Layout& layout = {})
{
    return sums_accepted<M>(p, layout, [&p](const std::vector<float>& sums, auto aligned) {
        return same_values(expected_sums<M>(p, aligned), sums);
    });
}

// The sums of a call on plain arrays.
template <class M>
std::vector<float> plain_call(const Problem<typename M::T>& p)
{
    std::vector<float> result;
    EXPECT_TRUE(sums_accepted<M>(p, {}, [&result](const std::vector<float>& sums, auto) {
        result = sums;
        return testing::AssertionSuccess();
    }));
    return result;
}

}  // namespace zelsr::test::select
