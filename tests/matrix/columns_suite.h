// What every statistic of columns promises, as a suite over a table of members.
#pragma once

#include <limits>

#include "matrix/columns.h"
#include "support/environment.h"
#include "support/faults.h"
#include "support/hooks.h"

namespace zelsr::test::columns {

inline std::vector<int> widths()
{
    if (thin_effort()) return {1, 3, 4, 5, 8, 11, 16, 19, 25, 50};
    std::vector<int> all;
    for (int width = 1; width <= 21; ++width) all.push_back(width);
    all.insert(all.end(), {24, 25, 31, 32, 33, 36, 39, 40, 47, 48, 49, 53, 64, 70});
    return all;
}

inline std::vector<int> heights(int from)
{
    std::vector<int> all;
    for (int height = from; height <= (thin_effort() ? 6 : 10); ++height) all.push_back(height);
    if (!thin_effort()) all.insert(all.end(), {16, 17, 33});
    return all;
}

// How wide the values are: such that single precision holds every sum, of the type's whole range, with special
// values among them (floating point only).
enum class Values { Small, Wide, Special };

template <class T>
std::vector<T> random_values(Values kind, int count)
{
    if constexpr (std::is_floating_point_v<T>) {
        if (kind == Values::Small) {
            std::vector<T> whole;
            for (int i = 0; i < count; ++i) whole.push_back(T(uniform(-16, 16)));
            return whole;
        }
        std::vector<T> values = uniform_vector<T>(count, -3, 5);
        static const std::vector<T> special = special_values<T>();
        if (kind == Values::Special)
            for (T& v : values)
                if (generator()() % 7 == 0) v = special[generator()() % special.size()];
        return values;
    } else {
        if (kind == Values::Small) return uniform_vector<T>(count, T(-50), T(70));
        std::vector<T> values =
            uniform_vector<T>(count, std::numeric_limits<T>::min(), std::numeric_limits<T>::max());
        if (kind == Values::Special)
            for (T& v : values)
                v = generator()() % 2 == 0 ? std::numeric_limits<T>::min() : std::numeric_limits<T>::max();
        return values;
    }
}

template <class T, class M, class V>
Problem<T, M, V> random_problem(const Member<T, M, V>& m, Values kind, int width, int height, int32_t sf = 0)
{
    Problem<T, M, V> p;
    for (int r = 0; r < height; ++r) p.rows.push_back(random_values<T>(kind, width));
    if (m.traits.weights && kind != Values::Small)
        p.weights = uniform_vector<T>(height, T(0), T(1));
    else
        p.weights = random_values<T>(kind, height);
    p.mean = random_values<M>(kind, width);
    p.sf = m.traits.sf ? sf : 0;
    return p;
}

template <class T, class M, class V>
class Columns : public testing::TestWithParam<Member<T, M, V>> {
  public:
    const Member<T, M, V> m = this->GetParam();
    Layout random_layout(int width)
    {
        constexpr int per_register = 16 / static_cast<int>(sizeof(T));
        const int whole = (per_register - width % per_register) % per_register;
        Layout layout;
        layout.beyond_width = whole;
        if (generator()() % 2 == 0) return layout;
        static const std::vector<Placement> places = placements(sizeof(T)),
                                            list_places = placements(sizeof(void*));
        const auto any = [](const std::vector<Placement>& from) { return from[generator()() % from.size()]; };
        for (Placement* place : {&layout.block, &layout.weights, &layout.mean, &layout.variance})
            if (generator()() % 2 == 0) *place = any(places);
        if (generator()() % 2 == 0) layout.list = any(list_places);
        if (generator()() % 2 == 0) layout.row_misalign = {0, any(places).misalign, any(places).misalign};
        const std::vector<int> beyond = {whole, 0, 1, 2, whole + 4};
        layout.beyond_width = beyond[generator()() % beyond.size()];
        return layout;
    }
    std::vector<int32_t> scale_factors() const
    {
        return m.traits.sf ? std::vector<int32_t>{0, 3, 14, -2, -20} : std::vector<int32_t>{0};
    }

    void every_width_and_height()
    {
        Cycle sfs(scale_factors());
        for (int width : widths())
            for (int height : heights(m.traits.min_height))
                for (Values kind : {Values::Small, Values::Wide, Values::Special})
                    ASSERT_TRUE(runs(m, random_problem(m, kind, width, height, sfs.next()), random_layout(width)));
    }

    // Beyond the columns whose sums wait on the stack, and beyond the rows that stay in the first cache.
    void wide_and_long()
    {
        Cycle sfs(scale_factors()), heights(std::vector<int>{16, 63, 64, 65, 66, 67, 17, 128, 131, 259});
        std::vector<int> widths = {63, 127, 128, 129, 131, 255, 256, 257, 261};
        if (thin_effort()) widths = {129, 257};
        for (int width : widths)
            for (int i = 0; i < (thin_effort() ? 1 : 4); ++i)
                ASSERT_TRUE(runs(m, random_problem(m, Values::Wide, width, heights.next(), sfs.next()),
                                 random_layout(width)));
        Cycle narrow(std::vector<int>{1, 5});
        for (int height : thin_effort() ? std::vector<int>{2049} : std::vector<int>{2047, 2048, 2049, 2051, 4099})
            ASSERT_TRUE(runs(m, random_problem(m, Values::Wide, narrow.next(), height, sfs.next()), {}));
    }

    void every_placement()
    {
        Cycle widths(std::vector<int>{3, 4, 8, 13, 16, 23}), heights(std::vector<int>{2, 3, 4, 5, 9});
        Cycle sfs(scale_factors());
        for (const Arrangement& where : arrangements(5, sizeof(T))) {
            const int width = widths.next();
            const Layout layout{where[0],           where[1], where[2], where[3], where[4], (8 - width % 8) % 8,
                                {where[0].misalign}};
            ASSERT_TRUE(runs(m, random_problem(m, Values::Wide, width, heights.next(), sfs.next()), layout));
        }
    }

    void every_step()
    {
        for (int width : {1, 4, 7, 8, 12})
            for (int beyond = 0; beyond <= 9; ++beyond)
                for (int misalign : {0, static_cast<int>(sizeof(T)), 3}) {
                    Layout layout;
                    layout.beyond_width = beyond;
                    layout.block.misalign = misalign;
                    ASSERT_TRUE(runs(m, random_problem(m, Values::Wide, width, 5, 2), layout));
                }
    }

    void one_row_off_16_bytes()
    {
        if (!m.list()) return;
        for (int width : {3, 8, 13})
            for (std::size_t height : {2u, 5u, 8u})
                for (std::size_t off = 0; off < height; ++off)
                    for (int misalign : {1, static_cast<int>(sizeof(T)), 8}) {
                        Layout layout;
                        layout.row_misalign.assign(height, 0);
                        layout.row_misalign[off] = misalign;
                        ASSERT_TRUE(
                            runs(m, random_problem(m, Values::Wide, width, static_cast<int>(height), -1), layout));
                    }
    }

    void first_failed_check_decides()
    {
        using Args = Arguments<T, M, V>;
        const auto p = random_problem(m, Values::Small, 5, 4, 1);
        for (int misalign : {0, static_cast<int>(sizeof(T))}) {
            Layout layout;
            layout.beyond_width = 3;
            layout.block.misalign = misalign;
            layout.row_misalign = {misalign};
            Trial trial(m, p, layout);
            for (int32_t size : {0, -1, INT32_MIN}) {
                const std::vector<Fault<Args>> stride = {{"step", SrErrStride, [](Args& a) {
                                                              a.step =
                                                                  a.width == INT32_MIN ? INT32_MIN : a.width - 1;
                                                          }}};
                std::vector<Fault<Args>> null = {{"source", SrErrNullPtr, [](Args& a) {
                                                      a.block = nullptr;
                                                      a.list = nullptr;
                                                  }}};
                if (m.traits.weights)
                    null.push_back({"weights", SrErrNullPtr, [](Args& a) { a.weights = nullptr; }});
                if (m.traits.mean_in || m.traits.mean_out)
                    null.push_back({"mean", SrErrNullPtr, [](Args& a) { a.mean = nullptr; }});
                if (m.traits.variance)
                    null.push_back({"variance", SrErrNullPtr, [](Args& a) { a.variance = nullptr; }});
                const std::vector<Fault<Args>> sizes = {{"width", SrErrSize, [=](Args& a) { a.width = size; }},
                                                        {"height", SrErrSize, [=, this](Args& a) {
                                                             a.height = size == 0 ? m.traits.min_height - 1 : size;
                                                         }}};
                // A width of INT32_MIN is above no step.
                const bool has_stride =
                    !m.list() && (size != INT32_MIN || m.traits.checks == Checks::NullSizeStride);
                std::vector<Fault<Args>> faults;
                const auto append = [&](const auto& more) {
                    faults.insert(faults.end(), more.begin(), more.end());
                };
                if (has_stride && m.traits.checks == Checks::StrideNullSize) append(stride);
                append(null);
                if (has_stride && m.traits.checks == Checks::NullStrideSize) append(stride);
                append(sizes);
                if (has_stride && m.traits.checks == Checks::NullSizeStride) append(stride);
                expect_check_order<Args>(trial.arguments(), faults, m.call, trial.arrays());
            }
            Args arguments = trial.arguments();
            arguments.height = m.traits.min_height;
            EXPECT_EQ(m.call(arguments), SrOk);
            if (arguments.height > 1) return;
            arguments.step = INT32_MAX;
            EXPECT_EQ(m.call(arguments), SrOk);
            arguments.step = INT32_MIN;
            EXPECT_EQ(m.call(arguments), m.list() ? SrOk : SrErrStride);
        }
    }

    void sizes_below_their_bounds_read_nothing()
    {
        const auto p = random_problem(m, Values::Small, 1, 1, 0);
        Trial trial(m, p, {});
        const Guarded<T> nothing(0);  // its address is the forbidden page's
        const Guarded<const T*> no_list(0);
        for (int32_t size : {0, -1, INT32_MIN}) {
            auto a = trial.arguments();
            a.block = nothing.data();
            a.list = no_list.data();
            a.height = size;
            EXPECT_EQ(m.call(a), SrErrSize);
            a.height = 2;
            a.width = size;
            EXPECT_EQ(m.call(a), SrErrSize);
        }
    }

    void keeps_the_environment()
    {
        for (int width : {5, 16})
            for (int misalign : {0, static_cast<int>(sizeof(T))}) {
                // Two rows of small numbers are exact throughout, so that no unmasked exception fires in the
                // members that take the caller's environment.
                const bool floating = std::is_floating_point_v<V>;
                const auto p =
                    random_problem(m, floating ? Values::Small : Values::Wide, width, floating ? 2 : 6, 15);
                Layout layout;
                layout.row_misalign = {misalign};
                layout.block.misalign = misalign;
                Trial trial(m, p, layout);
                const auto arguments = trial.arguments();
                SrStatus status = SrErrUnknown;
                under_each_environment(
                    [&] { status = m.call(arguments); },
                    [&](const std::string& setting) {
                        if (floating && setting != "default")  // a zero's sign follows the rounding mode
                            EXPECT_EQ(status, SrOk) << setting;
                        else
                            EXPECT_TRUE(trial.right(status)) << setting;
                    });
            }
    }

    // Blocks of the exact size, for the address sanitizer and valgrind: an aligned load beyond the last element
    // touches no forbidden page.
    void reads_nothing_beside_the_arrays()
    {
        const auto exact = [](const auto& values) {
            using U = std::remove_cvref_t<decltype(values[0])>;
            std::unique_ptr<U[]> block(new U[values.size()]);
            std::copy(values.begin(), values.end(), block.get());
            return block;
        };
        for (int width = 1; width <= 19; ++width)
            for (int height : {m.traits.min_height, 4, 7}) {
                const auto p = random_problem(m, Values::Small, width, height, 1);
                const int step = (width + 7) / 8 * 8;
                const auto block = exact(block_of(p.rows, static_cast<std::size_t>(step)));
                const auto weights = exact(p.weights);
                const auto mean = exact(p.mean);
                const auto variance = exact(std::vector<V>(p.rows[0].size()));
                std::vector<std::unique_ptr<T[]>> rows;
                std::vector<const T*> list;
                for (const auto& row : p.rows) list.push_back(rows.emplace_back(exact(row)).get());
                ASSERT_EQ(m.call({block.get(), step, list.data(), weights.get(), mean.get(), variance.get(), width,
                                  height, p.sf}),
                          SrOk);
            }
    }

    void refused_memory_changes_nothing()
    {
        for (int width : {1, 8, 13, 500}) {
            const auto p = random_problem(m, Values::Small, width, 3, 0);
            for (int misalign : {0, 2}) {
                Layout layout;
                layout.row_misalign = {0, misalign};
                layout.block.misalign = misalign;
                layout.beyond_width = (8 - width % 8) % 8;
                Trial trial(m, p, layout);
                const bool plain = m.list() && misalign != 0;
                if (m.traits.scratch && !plain) {
                    expect_survives_refusals([&] { return m.call(trial.arguments()); }, trial.arrays());
                    AllocatorWatch watch;
                    EXPECT_EQ(m.call(trial.arguments()), SrOk);
                    const auto singles = static_cast<std::size_t>(m.traits.scratch_columns * (width + 8));
                    EXPECT_EQ(watch.sizes(),
                              std::vector<std::size_t>{singles * sizeof(float) + 32 + sizeof(void*)});
                } else {
                    AllocatorWatch watch;
                    EXPECT_EQ(m.call(trial.arguments()), SrOk);
                    EXPECT_EQ(watch.requests(), 0);
                }
            }
        }
    }

    void runs_on_any_stack()
    {
#ifdef __i386__
        for (int stack : {0, 4, 8, 12})
            for (int misalign : {0, 4}) {
                const auto p = random_problem(m, Values::Wide, 13, 5, 3);
                Layout layout;
                layout.row_misalign = {misalign};
                layout.block.misalign = misalign;
                layout.beyond_width = 3;
                Trial trial(m, p, layout);
                auto arguments = trial.arguments();
                arguments.stack = stack;
                ASSERT_TRUE(trial.right(m.call(arguments))) << "stack on " << stack;
            }
#endif
    }
};

template <class ParamInfo>
std::string member_name(const ParamInfo& info)
{
    return info.param.name;
}

// The suite's tests for one fixture, which a family derives from Columns.
#define ZELSR_TEST_COLUMNS(Fixture)                                                                \
    TEST_P(Fixture, EveryWidthAndHeight) { every_width_and_height(); }                             \
    TEST_P(Fixture, WideAndLong) { wide_and_long(); }                                              \
    TEST_P(Fixture, EveryPlacement) { every_placement(); }                                         \
    TEST_P(Fixture, EveryStep) { every_step(); }                                                   \
    TEST_P(Fixture, OneRowOff16Bytes) { one_row_off_16_bytes(); }                                  \
    TEST_P(Fixture, TheFirstFailedCheckDecides) { first_failed_check_decides(); }                  \
    TEST_P(Fixture, SizesBelowTheirBoundsReadNothing) { sizes_below_their_bounds_read_nothing(); } \
    TEST_P(Fixture, KeepsTheEnvironment) { keeps_the_environment(); }                              \
    TEST_P(Fixture, ReadsNothingBesideTheArrays) { reads_nothing_beside_the_arrays(); }            \
    TEST_P(Fixture, RefusedMemoryChangesNothing) { refused_memory_changes_nothing(); }             \
    TEST_P(Fixture, RunsOnAnyStack) { runs_on_any_stack(); }                                       \
    static_assert(true)

}  // namespace zelsr::test::columns
