// Members that score many frames against one Gaussian and join each score with the frame's running value: their
// calls in one form, what each must do, and the sweeps that the running maximum and addition share.
#pragma once

#include "likelihood/mixture_calls.h"
#include "support/faults.h"

namespace zelsr::test::mixture {

template <class T>
struct FrameArguments {
    const T* block;        // D2 members
    int32_t step;          // D2 members
    const T* const* list;  // D2L members
    const T* mean;
    const T* inv_var;  // but for IdVar
    int32_t width;
    T* running;
    int32_t height;
    T val;
    int stack = kCompilersStack;
};

enum class Reduction { Max, Add };

template <class T>
struct FrameMember {
    const char* name;
    SrStatus (*call)(const FrameArguments<T>&);
    Reduction reduction;
    bool list = false;
    bool variance = true;
    bool narrow = false;           // widths below 4 never take the aligned kernel; additions take a plain loop
    bool doubled = false;          // double precision with the constant doubled beforehand
    bool plain_from_1000 = false;  // frames, in any order of the sum
    int block = 0;                 // rows whose alignment is tested together; 0: all
};

template <class T>
struct FrameProblem {
    std::vector<std::vector<T>> rows;
    std::vector<T> mean, inv_var;
    T val;
    std::vector<T> old;

    int width() const { return static_cast<int>(mean.size()); }
    int height() const { return static_cast<int>(rows.size()); }
};

// Where a problem's arrays lie. Of a list, row r lies row_misalign[r modulo its size] bytes off 16.
struct FrameLayout {
    Placement rows, mean, inv_var, running;
    int beyond_width = 0;  // step less width
    std::vector<int> row_misalign = {0};
};

inline std::string describe(const FrameLayout& layout)
{
    std::string text = "rows " + test::describe(layout.rows) + "; mean " + test::describe(layout.mean) +
                       "; inv_var " + test::describe(layout.inv_var) + "; running " +
                       test::describe(layout.running) + "; step = width + " + std::to_string(layout.beyond_width) +
                       "; rows off";
    for (std::size_t r = 0; r < layout.row_misalign.size(); ++r)
        if (layout.row_misalign.size() < 16 || layout.row_misalign[r] != 0)
            text += " [" + std::to_string(r) + "] " + std::to_string(layout.row_misalign[r]);
    return text;
}

// Scores of some units, so that additions see all their intervals.
template <class T>
FrameProblem<T> random_frames(int width, int height)
{
    FrameProblem<T> p{{},
                      uniform_vector<T>(width, -3, 3),
                      uniform_vector<T>(width, T(0.1), 4),
                      uniform<T>(-1, 1),
                      std::vector<T>(static_cast<std::size_t>(height))};
    const T a = static_cast<T>(deviation(width));
    for (int r = 0; r < height; ++r) {
        p.rows.push_back(uniform_vector<T>(width, -a, a));
        for (std::size_t k = 0; k < p.mean.size(); ++k) p.rows.back()[k] += p.mean[k];
    }
    return p;
}

// Whether the aligned kernel's condition holds for frame r: the model, and the block or all rows tested together.
template <class T>
bool on_16_bytes(const FrameMember<T>& m, const FrameProblem<T>& p, const FrameLayout& layout, int r)
{
    bool rows = layout.rows.misalign == 0 && (p.width() + layout.beyond_width) % 4 == 0;
    if (m.list) {
        rows = true;
        const int first = m.block == 0 ? 0 : r / m.block * m.block;
        const int last = m.block == 0 ? p.height() : std::min(p.height(), first + m.block);
        for (int i = first; i < last; ++i)
            rows = rows && layout.row_misalign[static_cast<std::size_t>(i) % layout.row_misalign.size()] == 0;
    }
    return rows && layout.mean.misalign == 0 && (!m.variance || layout.inv_var.misalign == 0);
}

template <class T, class Term>
Expected<T> frame_score(const FrameMember<T>& m, const FrameProblem<T>& p, const T* x, const Term& term,
                        [[maybe_unused]] bool aligned)
{
    if constexpr (std::is_same_v<T, double>) {
        if (m.plain_from_1000 && p.height() >= 1000)
            return {reference::score_serial_64f(x, term, p.width(), p.val),
                    reference::any_order_tolerance_64f(x, term, p.width(), p.val)};
        if (m.doubled) return {reference::frame_score_of_doubled_64f(x, term, p.width(), p.val)};
        return {reference::frame_score_64f(x, term, p.width(), p.val)};
    } else {
        const bool narrow = m.narrow && p.width() < 4;
        if (narrow && m.reduction == Reduction::Add)
            return {reference::narrow_frame_score_32f(x, term, p.width(), p.val)};
        return {reference::frame_score_32f(x, term, p.width(), p.val, aligned && !narrow)};
    }
}

template <class T>
std::vector<Expected<T>> expected_scores(const FrameMember<T>& m, const FrameProblem<T>& p,
                                         const FrameLayout& layout)
{
    std::vector<Expected<T>> scores;
    bool aligned = false;
    for (int r = 0; r < p.height(); ++r) {
        if (r == 0 || (m.block != 0 && r % m.block == 0)) aligned = on_16_bytes(m, p, layout, r);
        const T* x = p.rows[static_cast<std::size_t>(r)].data();
        if (m.variance)
            scores.push_back(
                frame_score(m, p, x, reference::InverseVariance{p.mean.data(), p.inv_var.data()}, aligned));
        else
            scores.push_back(frame_score(m, p, x, reference::UnitVariance{p.mean.data()}, aligned));
    }
    return scores;
}

template <class T>
T joined(const FrameMember<T>& m, int width, T old, T score)
{
    if (m.reduction == Reduction::Max) return reference::keep_larger(old, score);
    if (std::is_same_v<T, float> && m.narrow && width < 4) return reference::log_add_plain(old, score);
    return reference::log_add(score, old, 0);
}

template <class T>
std::vector<Expected<T>> expected_running(const FrameMember<T>& m, const FrameProblem<T>& p,
                                          const FrameLayout& layout)
{
    std::vector<Expected<T>> all = expected_scores(m, p, layout);
    for (std::size_t r = 0; r < all.size(); ++r) all[r].value = joined(m, p.width(), p.old[r], all[r].value);
    return all;
}

// Old values beside the scores of this layout.
template <class T>
void set_old(const FrameMember<T>& m, FrameProblem<T>& p, const FrameLayout& layout)
{
    unsigned turn = uniform(0u, 15u);
    const auto scores = expected_scores(m, p, layout);
    for (std::size_t r = 0; r < scores.size(); ++r) p.old[r] = old_value_beside(scores[r].value, turn++);
}

// The call between guard pages, its inputs and the words between them untouched.
template <class T>
testing::AssertionResult runs(const FrameMember<T>& m, const FrameProblem<T>& p, const FrameLayout& layout,
                              int stack = kCompilersStack)
{
    const int step = p.width() + layout.beyond_width;
    const GuardedMatrix<T> rows(p.rows, m.list, step, layout.rows, layout.row_misalign);
    Guarded<T> mean(p.mean, layout.mean), inv_var(p.inv_var, layout.inv_var), running(p.old, layout.running);
    mean.take_snapshot();
    inv_var.take_snapshot();
    const SrStatus status =
        m.call({rows.block(), step, rows.list(), mean.data(), m.variance ? inv_var.data() : nullptr, p.width(),
                running.data(), p.height(), p.val, stack});
    if (status != SrOk) return testing::AssertionFailure() << m.name << ": status " << status;
    if (!running.intact()) return testing::AssertionFailure() << m.name << ": written beside the running values";
    if (!rows.as_before() || !mean.as_snapshot() || !inv_var.as_snapshot())
        return testing::AssertionFailure() << m.name << ": an input was written";
    const testing::AssertionResult result = as_expected(expected_running(m, p, layout), running.values());
    if (result) return result;
    return testing::AssertionFailure() << m.name << ", width " << p.width() << ", height " << p.height() << "; "
                                       << describe(layout) << "; " << result.message();
}

// --- sweeps over a member ---

template <class T>
void expect_every_width_and_height(const FrameMember<T>& m)
{
    for (int width : widths())
        for (int height : heights()) {
            FrameProblem<T> problem = random_frames<T>(width, height);
            std::vector<FrameLayout> layouts;
            if (m.list) {
                for (const std::vector<int>& row_misalign :
                     std::vector<std::vector<int>>{{0}, {8}, {7}, {0, 8}, {1, 8, 15}})
                    layouts.push_back({{}, {}, {}, {}, 0, row_misalign});
            } else {
                // Dense, rows on 16 bytes, a step that is a multiple of 2 only, an odd step.
                for (int beyond_width :
                     {0, to_four(width), to_four(width) + 8, to_four(width) + 2, to_four(width) + 1})
                    for (int misalign : {0, 8, 7}) layouts.push_back({{misalign}, {}, {}, {}, beyond_width});
            }
            for (const FrameLayout& layout : layouts) {
                set_old(m, problem, layout);
                ASSERT_TRUE(runs(m, problem, layout));
            }
        }
}

template <class T>
void expect_many_frames(const FrameMember<T>& m)
{
    for (int height : large_heights())
        for (int width : thin_effort() ? std::vector<int>{3, 7} : std::vector<int>{1, 3, 4, 7, 13}) {
            FrameProblem<T> problem = random_frames<T>(width, height);
            for (const FrameLayout& layout : {FrameLayout{{}, {}, {}, {}, to_four(width), {0}},
                                              FrameLayout{{8}, {}, {}, {8}, to_four(width), {8, 0, 0, 1}},
                                              FrameLayout{{}, {}, {}, {7}, to_four(width) + 1, {7}}}) {
                set_old(m, problem, layout);
                ASSERT_TRUE(runs(m, problem, layout));
            }
        }
}

template <class T>
void expect_every_placement(const FrameMember<T>& m)
{
    for (int width : thin_effort() ? std::vector<int>{3, 7, 40} : std::vector<int>{1, 4, 7, 11, 39})
        for (int height : thin_effort() ? std::vector<int>{7} : std::vector<int>{1, 2, 7}) {
            FrameProblem<T> problem = random_frames<T>(width, height);
            for (const Arrangement& where : arrangements(4, sizeof(T))) {
                const FrameLayout layout{where[0], where[1],       where[2],
                                         where[3], to_four(width), {where[0].misalign}};
                set_old(m, problem, layout);
                ASSERT_TRUE(runs(m, problem, layout));
            }
        }
}

// One misaligned row at each position of a short list, and at the ends of the blocks of a long one.
template <class T>
void expect_one_row_off_16_bytes(const FrameMember<T>& m)
{
    const auto one_off = [&](int width, int height, int off, int misalign) {
        FrameProblem<T> problem = random_frames<T>(width, height);
        FrameLayout layout;
        layout.row_misalign.assign(static_cast<std::size_t>(height), 0);
        layout.row_misalign[static_cast<std::size_t>(off)] = misalign;
        set_old(m, problem, layout);
        return runs(m, problem, layout);
    };
    const std::vector<int> misaligns = {1, static_cast<int>(sizeof(T)), 12};
    for (int width : {2, 3, 4, 5, 7, 13, 39})
        for (int height : heights())
            for (int off = 0; off < height; ++off)
                for (int misalign : misaligns) ASSERT_TRUE(one_off(width, height, off, misalign));
    for (int height : thin_effort() ? std::vector<int>{129} : std::vector<int>{128, 129, 256, 257, 300})
        for (int off : {0, 1, 127, 128, 129, 255, 256, 299})
            if (off < height) {
                ASSERT_TRUE(one_off(7, height, off, 8));
            }
}

// The two single-precision kernels' tails join the sum at different places: which arrays choose, and that
// nothing else does, shows in the bits.
inline void expect_kernel_by_the_named_arrays(const FrameMember<float>& m)
{
    const FrameLayout general{{8}, {8}, {8}, {}, 0, {8}};
    for (int width : {6, 7, 11, 38, 39}) {
        const FrameLayout aligned{{}, {}, {}, {}, to_four(width), {0}};
        FrameProblem<float> problem = random_frames<float>(width, 5);
        problem.old.assign(5, kLogZero<float>);
        while (as_expected(expected_scores(m, problem, general), [&] {
            std::vector<float> scores;
            for (const auto& s : expected_scores(m, problem, aligned)) scores.push_back(s.value);
            return scores;
        }())) {
            const std::vector<float> old = problem.old;
            problem = random_frames<float>(width, 5);
            problem.old = old;
        }
        for (int off : {1, 4, 8, 15})
            for (unsigned moved = 0; moved < 1u << 4; ++moved)
                for (int beyond_width = 0; beyond_width < 8; beyond_width += thin_effort() ? 3 : 1) {
                    const auto at = [&](int bit) { return (moved >> bit & 1) != 0 ? off : 0; };
                    const FrameLayout layout{{at(0)}, {at(1)}, {at(2)}, {at(3)}, beyond_width, {at(0)}};
                    ASSERT_TRUE(runs(m, problem, layout));
                }
    }
}

// Infinities, NaN and extremes in the frames, the model, the constant and the running values.
template <class T>
void expect_special_values_in_their_own_frame(const FrameMember<T>& m)
{
    for (int width : thin_effort() ? std::vector<int>{7} : std::vector<int>{1, 3, 4, 7, 11, 39}) {
        FrameProblem<T> plain = random_frames<T>(width, 7);
        for (int misalign : {0, 8}) {
            const FrameLayout layout{{misalign}, {}, {}, {}, to_four(width), {misalign}};
            set_old(m, plain, layout);
            for (T special : special_values<T>()) {
                for (std::size_t k : ends_and_middle(plain.mean.size())) {
                    FrameProblem<T> in_frames = plain, in_mean = plain, in_variance = plain;
                    in_frames.rows[k % 7][k] = special;
                    in_mean.mean[k] = special;
                    in_variance.inv_var[k] = special;
                    for (const FrameProblem<T>& problem : {in_frames, in_mean, in_variance})
                        ASSERT_TRUE(runs(m, problem, layout)) << special << " at " << k;
                }
                FrameProblem<T> in_val = plain, in_old = plain;
                in_val.val = special;
                in_old.old.assign(7, special);
                ASSERT_TRUE(runs(m, in_val, layout)) << "val " << special;
                ASSERT_TRUE(runs(m, in_old, layout)) << "old " << special;
            }
        }
    }
}

// Blocks of the exact size, for the address sanitizer and valgrind: an aligned load beyond the last element
// touches no forbidden page.
template <class T>
void expect_nothing_read_beside_the_arrays(const FrameMember<T>& m)
{
    const auto exact = [](const std::vector<T>& values) {
        std::unique_ptr<T[]> block(new T[values.size()]);
        std::copy(values.begin(), values.end(), block.get());
        return block;
    };
    for (int width : widths())
        for (int height : {1, 2, 3, 4, 7}) {
            FrameProblem<T> p = random_frames<T>(width, height);
            const int step = width + to_four(width);
            const auto block = exact(as_block(p.rows, static_cast<std::size_t>(step)));
            const auto mean = exact(p.mean), inv_var = exact(p.inv_var), running = exact(p.old);
            std::vector<std::unique_ptr<T[]>> rows;
            std::vector<const T*> list;
            for (const auto& row : p.rows) list.push_back(rows.emplace_back(exact(row)).get());
            const auto off = [](const T* at) {
                return Placement{static_cast<int>(reinterpret_cast<std::uintptr_t>(at) % 16)};
            };
            FrameLayout layout{off(block.get()), off(mean.get()), off(inv_var.get()), {}, to_four(width), {}};
            for (const T* row : list) layout.row_misalign.push_back(off(row).misalign);
            ASSERT_EQ(m.call({block.get(), step, list.data(), mean.get(), inv_var.get(), width, running.get(),
                              height, p.val}),
                      SrOk);
            ASSERT_TRUE(
                as_expected(expected_running(m, p, layout), std::vector<T>(running.get(), running.get() + height)))
                << m.name << ", width " << width << ", height " << height;
        }
}

template <class T>
void expect_step_then_pointers_then_sizes(const FrameMember<T>& m)
{
    using Args = FrameArguments<T>;
    const FrameProblem<T> p = random_frames<T>(5, 3);
    const std::vector<T> block = as_block(p.rows, 6);
    std::vector<const T*> list;
    for (const auto& row : p.rows) list.push_back(row.data());
    Guarded<T> running(p.old);
    const Args good{block.data(), 6, list.data(), p.mean.data(), p.inv_var.data(), 5, running.data(), 3, 1};
    for (int32_t size : {0, -1, INT32_MIN + 2}) {
        std::vector<Fault<Args>> faults;
        if (!m.list) faults.push_back({"step", SrErrStride, [](Args& a) { a.step = a.width - 1; }});
        faults.push_back({"frames", SrErrNullPtr, [](Args& a) {
                              a.block = nullptr;
                              a.list = nullptr;
                          }});
        faults.push_back({"mean", SrErrNullPtr, [](Args& a) { a.mean = nullptr; }});
        if (m.variance) faults.push_back({"variance", SrErrNullPtr, [](Args& a) { a.inv_var = nullptr; }});
        faults.push_back({"running", SrErrNullPtr, [](Args& a) { a.running = nullptr; }});
        faults.push_back({"width", SrErrSize, [size](Args& a) { a.width = size; }});
        faults.push_back({"height", SrErrSize, [size](Args& a) { a.height = size; }});
        expect_check_order<Args>(good, faults, m.call, {&running});
    }
    Args args = good;
    args.step = INT32_MIN;
    EXPECT_EQ(m.call(args), m.list ? SrOk : SrErrStride) << m.name;
    args.width = INT32_MIN;
    EXPECT_EQ(m.call(args), SrErrSize) << m.name;
    args = good;
    args.step = 5;
    EXPECT_EQ(m.call(args), SrOk) << m.name;
    args.height = 1;
    args.step = INT32_MAX;
    EXPECT_EQ(m.call(args), SrOk) << m.name;
}

template <class T>
void expect_same_with_the_stack_on_4_bytes([[maybe_unused]] const FrameMember<T>& m)
{
#ifdef __i386__
    for (int stack : {0, 4, 8, 12})
        for (int width : {3, 7, 40})
            for (int height : {1, 7, 129}) {
                FrameProblem<T> problem = random_frames<T>(width, height);
                const FrameLayout layout{{}, {}, {}, {}, to_four(width), {0}};
                set_old(m, problem, layout);
                ASSERT_TRUE(runs(m, problem, layout, stack)) << "stack " << stack;
            }
#endif
}

// The running values after a call on plain arrays.
template <class T>
std::vector<T> plain_call(const FrameMember<T>& m, const FrameProblem<T>& p)
{
    const std::vector<T> block = as_block(p.rows, p.mean.size());
    std::vector<const T*> list;
    for (const auto& row : p.rows) list.push_back(row.data());
    std::vector<T> running = p.old;
    EXPECT_EQ(m.call({block.data(), p.width(), list.data(), p.mean.data(), p.inv_var.data(), p.width(),
                      running.data(), p.height(), p.val}),
              SrOk)
        << m.name;
    return running;
}

// Frames that are the mean: every score is val. One frame an old value.
template <class T>
FrameProblem<T> frames_at_the_mean(int width, T val, const std::vector<T>& old)
{
    const std::vector<T> mean = uniform_vector<T>(width, -3, 3);
    return {std::vector(old.size(), mean), mean, uniform_vector<T>(width, T(0.1), 4), val, old};
}

}  // namespace zelsr::test::mixture
