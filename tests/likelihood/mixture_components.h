// Members that score one vector against many Gaussians, each with a constant of its own, and join each score with
// a running value or all of them with each other: their calls in one form, what each must do, and their sweeps.
#pragma once

#include "likelihood/mixture_calls.h"
#include "support/faults.h"

namespace zelsr::test::mixture {

template <class T>
struct ComponentArguments {
    const T *mean_block, *inv_var_block;              // D2 members; inv_var but for IdVar
    int32_t step;                                     // D2 members
    const T *const *mean_list, *const *inv_var_list;  // D2L members
    const T* feature;
    int32_t width;
    const T* val;
    T* out;  // one entry a component, or the result
    int32_t height;
    int stack = kCompilersStack;
};

enum class Join { Max, Add, Mixture };

template <class T>
struct ComponentMember {
    const char* name;
    SrStatus (*call)(const ComponentArguments<T>&);
    Join join;
    bool list = false;
    bool variance = true;
    bool plain_from_1000 = false;  // components: additions by the plain loops' arithmetic
    bool serial = false;           // mixtures: one component after the other
};

template <class T>
struct ComponentProblem {
    std::vector<std::vector<T>> mean, inv_var;  // a row for each component
    std::vector<T> feature, val, old;
    bool exact = false;  // every order of the sums gives the same score

    int width() const { return static_cast<int>(feature.size()); }
    int height() const { return static_cast<int>(val.size()); }
};

// Where a problem's arrays lie. Of a list, row j lies misalign[j modulo its size] bytes off 16.
struct ComponentLayout {
    Placement mean, inv_var, feature, val, out;
    int beyond_width = 0;  // step less width
    std::vector<int> mean_misalign = {0}, inv_var_misalign = {0};
};

inline std::string describe(const ComponentLayout& layout)
{
    std::string text = "mean " + test::describe(layout.mean) + "; inv_var " + test::describe(layout.inv_var) +
                       "; feature " + test::describe(layout.feature) + "; val " + test::describe(layout.val) +
                       "; out " + test::describe(layout.out) + "; step = width + " +
                       std::to_string(layout.beyond_width);
    for (const auto* rows : {&layout.mean_misalign, &layout.inv_var_misalign}) {
        text += rows == &layout.mean_misalign ? "; mean rows off" : "; inv_var rows off";
        for (std::size_t j = 0; j < rows->size(); ++j)
            if (rows->size() < 16 || (*rows)[j] != 0)
                text += " [" + std::to_string(j) + "] " + std::to_string((*rows)[j]);
    }
    return text;
}

// Scores of some units, so that additions see all their intervals.
template <class T>
ComponentProblem<T> random_components(int width, int height)
{
    const std::size_t n = static_cast<std::size_t>(height);
    ComponentProblem<T> p{
        {}, {}, uniform_vector<T>(width, -3, 3), uniform_vector<T>(height, -4, 4), std::vector<T>(n)};
    const T a = static_cast<T>(deviation(width));
    for (int j = 0; j < height; ++j) {
        p.mean.push_back(uniform_vector<T>(width, -a, a));
        for (std::size_t k = 0; k < p.feature.size(); ++k) p.mean.back()[k] += p.feature[k];
        p.inv_var.push_back(uniform_vector<T>(width, T(0.1), 4));
    }
    return p;
}

// The same with few bits in every number: no step of the sums rounds.
template <class T>
ComponentProblem<T> exact_components(int width, int height)
{
    ComponentProblem<T> p = random_components<T>(width, height);
    p.exact = true;
    for (T& x : p.feature) x = T(uniform(-3, 3));
    for (std::size_t j = 0; j < p.val.size(); ++j) {
        p.val[j] = T(uniform(-64, 64)) / 8;
        p.mean[j] = p.feature;
        for (int i = 0; i < 6; ++i)
            p.mean[j][static_cast<std::size_t>(uniform(0, width - 1))] += T(uniform(-2, 2)) / 2;
        for (T& v : p.inv_var[j]) v = std::ldexp(T(1), uniform(-2, 1));
    }
    return p;
}

template <class T>
Expected<T> component_score(const ComponentMember<T>& m, const ComponentProblem<T>& p, std::size_t j)
{
    const T *x = p.feature.data(), *mean = p.mean[j].data();
    const reference::InverseVariance weighed{mean, p.inv_var[j].data()};
    const reference::UnitVariance unit{mean};
    const int width = p.width();
    if constexpr (std::is_same_v<T, float>) {
        if (m.variance) return {reference::component_score_32f(x, weighed, width, p.val[j])};
        if (m.serial) return {reference::narrow_frame_score_32f(x, unit, width, p.val[j])};
        return {reference::score_single_32f(x, unit, width, p.val[j], false)};
    } else {
        // The kernels for 64-bit components have no stated order of the sum, single vectors one above 54 elements.
        if (m.variance)
            return {reference::score_even_odd_64f(x, weighed, width, p.val[j]),
                    p.exact ? 0 : reference::any_order_tolerance_64f(x, weighed, width, p.val[j])};
        return {reference::score_even_odd_64f(x, unit, width, p.val[j]),
                p.exact || width > 54 ? 0 : reference::any_order_tolerance_64f(x, unit, width, p.val[j])};
    }
}

template <class T>
std::vector<Expected<T>> component_scores(const ComponentMember<T>& m, const ComponentProblem<T>& p)
{
    std::vector<Expected<T>> scores;
    for (std::size_t j = 0; j < p.val.size(); ++j) scores.push_back(component_score(m, p, j));
    return scores;
}

// ln(e^a + e^b) moves by no more than its terms do; each addition's polynomial rounds some units in 1 + |r|.
template <class T>
double joined_tolerance(double of_scores, T r, double additions)
{
    if (of_scores == 0) return 0;
    return of_scores + additions * 64 * std::numeric_limits<T>::epsilon() * (1 + std::abs(static_cast<double>(r)));
}

template <class T>
std::vector<Expected<T>> expected_out(const ComponentMember<T>& m, const ComponentProblem<T>& p)
{
    std::vector<Expected<T>> all = component_scores(m, p);
    if (m.join == Join::Mixture) {
        std::vector<T> scores;
        double widest = 0;
        for (const Expected<T>& score : all) {
            scores.push_back(score.value);
            widest = std::max(widest, score.tolerance);
        }
        T sum;
        if constexpr (std::is_same_v<T, float>)
            sum = m.serial ? reference::serial_log_sum(scores) : reference::mixture_log_sum(scores);
        else
            sum = reference::mixture_log_sum(scores);
        return {{sum, joined_tolerance(widest, sum, p.height())}};
    }
    for (std::size_t j = 0; j < all.size(); ++j) {
        Expected<T>& entry = all[j];
        if (m.join == Join::Max) {
            entry.value = reference::keep_larger(p.old[j], entry.value);
        } else {
            entry.value = m.plain_from_1000 && p.height() >= 1000 ? reference::log_add_plain(p.old[j], entry.value)
                                                                  : reference::log_add(entry.value, p.old[j], 0);
            entry.tolerance = joined_tolerance(entry.tolerance, entry.value, 1);
        }
    }
    return all;
}

template <class T>
void set_old(const ComponentMember<T>& m, ComponentProblem<T>& p)
{
    p.old.assign(m.join == Join::Mixture ? 1 : p.val.size(), T(-12345.5));
    if (m.join == Join::Mixture) return;
    unsigned turn = uniform(0u, 15u);
    const auto scores = component_scores(m, p);
    for (std::size_t j = 0; j < scores.size(); ++j) p.old[j] = old_value_beside(scores[j].value, turn++);
}

// The call between guard pages, its inputs and the words between them untouched.
template <class T>
testing::AssertionResult runs(const ComponentMember<T>& m, const ComponentProblem<T>& p,
                              const ComponentLayout& layout, int stack = kCompilersStack)
{
    const int step = p.width() + layout.beyond_width;
    const std::vector<std::vector<T>> no_rows;
    const GuardedMatrix<T> mean(p.mean, m.list, step, layout.mean, layout.mean_misalign);
    const GuardedMatrix<T> inv_var(m.variance ? p.inv_var : no_rows, m.list, step, layout.inv_var,
                                   layout.inv_var_misalign);
    Guarded<T> feature(p.feature, layout.feature), val(p.val, layout.val), out(p.old, layout.out);
    feature.take_snapshot();
    val.take_snapshot();
    const SrStatus status = m.call({mean.block(), inv_var.block(), step, mean.list(), inv_var.list(),
                                    feature.data(), p.width(), val.data(), out.data(), p.height(), stack});
    if (status != SrOk) return testing::AssertionFailure() << m.name << ": status " << status;
    if (!out.intact()) return testing::AssertionFailure() << m.name << ": written beside the results";
    if (!mean.as_before() || !inv_var.as_before() || !feature.as_snapshot() || !val.as_snapshot())
        return testing::AssertionFailure() << m.name << ": an input was written";
    const testing::AssertionResult result = as_expected(expected_out(m, p), out.values());
    if (result) return result;
    return testing::AssertionFailure() << m.name << ", width " << p.width() << ", height " << p.height() << "; "
                                       << describe(layout) << "; " << result.message();
}

// --- sweeps over a member ---

template <class T>
void expect_every_width_and_height(const ComponentMember<T>& m)
{
    for (int width : widths())
        for (int height : heights()) {
            std::vector<ComponentLayout> layouts;
            if (m.list) {
                const std::vector<std::vector<int>> rows = {{0}, {8}, {7}, {0, 8}};
                for (std::size_t i = 0; i < 4; ++i)
                    for (const auto& inv_var : {rows[i], rows[0]})
                        layouts.push_back({{}, {}, {}, {}, {}, 0, rows[i], inv_var});
            } else {
                // Dense, rows on 16 bytes, a step that is a multiple of 2 only, an odd step.
                for (int beyond_width :
                     {0, to_four(width), to_four(width) + 8, to_four(width) + 2, to_four(width) + 1})
                    for (int misalign : {0, 8, 7}) layouts.push_back({{misalign}, {}, {}, {}, {}, beyond_width});
            }
            ComponentProblem<T> random = random_components<T>(width, height);
            ComponentProblem<T> exact = exact_components<T>(width, height);
            for (const ComponentLayout& layout : layouts)
                for (ComponentProblem<T>* problem : {&random, &exact}) {
                    set_old(m, *problem);
                    ASSERT_TRUE(runs(m, *problem, layout));
                }
        }
}

template <class T>
void expect_many_components(const ComponentMember<T>& m)
{
    for (int height : large_heights())
        for (int width : thin_effort() ? std::vector<int>{3} : std::vector<int>{1, 3, 4, 7, 13}) {
            ComponentProblem<T> random = random_components<T>(width, height);
            ComponentProblem<T> exact = exact_components<T>(width, height);
            set_old(m, random);
            set_old(m, exact);
            for (const ComponentLayout& layout :
                 {ComponentLayout{{}, {}, {}, {}, {}, to_four(width)},
                  ComponentLayout{{8}, {}, {}, {}, {8}, to_four(width), {8, 0, 0, 1}, {0, 8}},
                  ComponentLayout{{}, {}, {4}, {}, {7}, to_four(width) + 1, {0}, {7}}}) {
                ASSERT_TRUE(runs(m, random, layout));
                ASSERT_TRUE(runs(m, exact, layout)) << "exact scores";
            }
        }
}

template <class T>
void expect_every_placement(const ComponentMember<T>& m)
{
    for (int width : thin_effort() ? std::vector<int>{3, 7, 40} : std::vector<int>{1, 4, 7, 11, 39})
        for (int height : thin_effort() ? std::vector<int>{7} : std::vector<int>{1, 2, 7}) {
            ComponentProblem<T> problem = random_components<T>(width, height);
            set_old(m, problem);
            for (const Arrangement& where : arrangements(5, sizeof(T))) {
                const ComponentLayout layout{where[0],
                                             where[1],
                                             where[2],
                                             where[3],
                                             where[4],
                                             to_four(width),
                                             {where[0].misalign},
                                             {where[1].misalign}};
                ASSERT_TRUE(runs(m, problem, layout));
            }
        }
}

// One misaligned row at each position of a short list, and at the ends of the blocks of a long one.
template <class T>
void expect_one_row_off_16_bytes(const ComponentMember<T>& m)
{
    const auto one_off = [&](int width, int height, int off, int misalign, bool in_mean) {
        ComponentProblem<T> problem = random_components<T>(width, height);
        set_old(m, problem);
        ComponentLayout layout;
        auto& rows = in_mean ? layout.mean_misalign : layout.inv_var_misalign;
        rows.assign(static_cast<std::size_t>(height), 0);
        rows[static_cast<std::size_t>(off)] = misalign;
        return runs(m, problem, layout);
    };
    const std::vector<int> misaligns = {1, static_cast<int>(sizeof(T)), 12};
    for (bool in_mean : {true, false}) {
        if (!in_mean && !m.variance) continue;
        for (int width : {2, 4, 7, 13, 39})
            for (int height : heights())
                for (int off = 0; off < height; ++off)
                    for (int misalign : misaligns) ASSERT_TRUE(one_off(width, height, off, misalign, in_mean));
        for (int height : thin_effort() ? std::vector<int>{101} : std::vector<int>{100, 101, 200, 201, 300})
            for (int off : {0, 1, 99, 100, 101, 199, 200, 299})
                if (off < height) {
                    ASSERT_TRUE(one_off(7, height, off, 8, in_mean));
                }
    }
}

// Infinities, NaN and extremes in the feature, the model, the constants and the running values.
template <class T>
void expect_special_values_in_their_own_component(const ComponentMember<T>& m)
{
    for (int width : thin_effort() ? std::vector<int>{7} : std::vector<int>{1, 3, 4, 7, 11, 39})
        for (int height : thin_effort() ? std::vector<int>{9} : std::vector<int>{1, 9}) {
            ComponentProblem<T> plain = random_components<T>(width, height);
            set_old(m, plain);
            for (int misalign : {0, 8}) {
                const ComponentLayout layout{{misalign}, {}, {}, {}, {}, to_four(width), {misalign}};
                for (T special : special_values<T>()) {
                    for (std::size_t k : ends_and_middle(plain.feature.size())) {
                        const std::size_t j = k % plain.val.size();
                        ComponentProblem<T> in_feature = plain, in_mean = plain, in_variance = plain,
                                            in_val = plain;
                        in_feature.feature[k] = special;
                        in_mean.mean[j][k] = special;
                        in_variance.inv_var[j][k] = special;
                        in_val.val[j] = special;
                        for (const ComponentProblem<T>& problem : {in_feature, in_mean, in_variance, in_val})
                            ASSERT_TRUE(runs(m, problem, layout)) << special << " at " << k;
                    }
                    ComponentProblem<T> in_old = plain, in_all = plain;
                    in_old.old.assign(plain.old.size(), special);
                    in_all.val.assign(plain.val.size(), special);
                    ASSERT_TRUE(runs(m, in_old, layout)) << "old " << special;
                    ASSERT_TRUE(runs(m, in_all, layout)) << "val " << special;
                }
            }
        }
}

// Blocks of the exact size, for the address sanitizer and valgrind: an aligned load beyond the last element
// touches no forbidden page.
template <class T>
void expect_nothing_read_beside_the_arrays(const ComponentMember<T>& m)
{
    const auto exact = [](const std::vector<T>& values) {
        std::unique_ptr<T[]> block(new T[values.size()]);
        std::copy(values.begin(), values.end(), block.get());
        return block;
    };
    for (int width : widths())
        for (int height : {1, 2, 3, 4, 7}) {
            ComponentProblem<T> p = random_components<T>(width, height);
            set_old(m, p);
            const int step = width + to_four(width);
            const auto mean = exact(as_block(p.mean, static_cast<std::size_t>(step)));
            const auto inv_var = exact(as_block(p.inv_var, static_cast<std::size_t>(step)));
            const auto feature = exact(p.feature), val = exact(p.val), out = exact(p.old);
            std::vector<std::unique_ptr<T[]>> rows;
            std::vector<const T*> mean_list, inv_var_list;
            for (const auto& row : p.mean) mean_list.push_back(rows.emplace_back(exact(row)).get());
            for (const auto& row : p.inv_var) inv_var_list.push_back(rows.emplace_back(exact(row)).get());
            ASSERT_EQ(m.call({mean.get(), inv_var.get(), step, mean_list.data(), inv_var_list.data(),
                              feature.get(), width, val.get(), out.get(), height}),
                      SrOk);
            ASSERT_TRUE(as_expected(expected_out(m, p), std::vector<T>(out.get(), out.get() + p.old.size())))
                << m.name << ", width " << width << ", height " << height;
        }
}

// The running families check the step first, the mixtures the pointers.
template <class T>
void expect_checks_in_order(const ComponentMember<T>& m)
{
    using Args = ComponentArguments<T>;
    ComponentProblem<T> p = random_components<T>(5, 3);
    set_old(m, p);
    const std::vector<T> mean = as_block(p.mean, 6), inv_var = as_block(p.inv_var, 6);
    std::vector<const T*> mean_list, inv_var_list;
    for (const auto& row : p.mean) mean_list.push_back(row.data());
    for (const auto& row : p.inv_var) inv_var_list.push_back(row.data());
    Guarded<T> out(p.old);
    const Args good{mean.data(),  inv_var.data(), 6, mean_list.data(), inv_var_list.data(), p.feature.data(), 5,
                    p.val.data(), out.data(),     3};
    for (int32_t size : {0, -1, INT32_MIN + 2}) {
        std::vector<Fault<Args>> faults;
        faults.push_back({"feature", SrErrNullPtr, [](Args& a) { a.feature = nullptr; }});
        faults.push_back({"mean", SrErrNullPtr, [](Args& a) {
                              a.mean_block = nullptr;
                              a.mean_list = nullptr;
                          }});
        if (m.variance)
            faults.push_back({"variance", SrErrNullPtr, [](Args& a) {
                                  a.inv_var_block = nullptr;
                                  a.inv_var_list = nullptr;
                              }});
        faults.push_back({"val", SrErrNullPtr, [](Args& a) { a.val = nullptr; }});
        faults.push_back({"out", SrErrNullPtr, [](Args& a) { a.out = nullptr; }});
        const Fault<Args> step{"step", SrErrStride, [](Args& a) { a.step = a.width - 1; }};
        if (!m.list) faults.insert(m.join == Join::Mixture ? faults.end() : faults.begin(), step);
        faults.push_back({"width", SrErrSize, [size](Args& a) { a.width = size; }});
        faults.push_back({"height", SrErrSize, [size](Args& a) { a.height = size; }});
        expect_check_order<Args>(good, faults, m.call, {&out});
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
void expect_same_with_the_stack_on_4_bytes([[maybe_unused]] const ComponentMember<T>& m)
{
#ifdef __i386__
    for (int stack : {0, 4, 8, 12})
        for (int width : {3, 7, 40})
            for (int height : {1, 7, 101, 1001}) {
                ComponentProblem<T> problem = random_components<T>(width, height);
                set_old(m, problem);
                ASSERT_TRUE(runs(m, problem, {{}, {}, {}, {}, {}, to_four(width)}, stack)) << "stack " << stack;
            }
#endif
}

// The results of a call on plain arrays.
template <class T>
std::vector<T> plain_call(const ComponentMember<T>& m, const ComponentProblem<T>& p)
{
    const std::vector<T> mean = as_block(p.mean, p.feature.size()),
                         inv_var = as_block(p.inv_var, p.feature.size());
    std::vector<const T*> mean_list, inv_var_list;
    for (const auto& row : p.mean) mean_list.push_back(row.data());
    for (const auto& row : p.inv_var) inv_var_list.push_back(row.data());
    std::vector<T> out = p.old;
    EXPECT_EQ(m.call({mean.data(), inv_var.data(), p.width(), mean_list.data(), inv_var_list.data(),
                      p.feature.data(), p.width(), p.val.data(), out.data(), p.height()}),
              SrOk)
        << m.name;
    return out;
}

// Components whose mean is the feature: every score is its constant.
template <class T>
ComponentProblem<T> components_at_the_feature(int width, const std::vector<T>& val, const std::vector<T>& old)
{
    const std::vector<T> feature = uniform_vector<T>(width, -3, 3), inv_var = uniform_vector<T>(width, T(0.1), 4);
    return {std::vector(val.size(), feature), std::vector(val.size(), inv_var), feature, val, old};
}

}  // namespace zelsr::test::mixture
