// What every function of a matrix with a row or a column as its result promises, as a suite over families of
// members of the same types.
#pragma once

#include <cfenv>
#include <memory>

#include "matrix/matrix_calls.h"
#include "support/environment.h"
#include "support/faults.h"
#include "support/hooks.h"

namespace zelsr::test::matrix {

// Where scales of single and double precision and shifts of 32 and 64 bits end, with their neighbours.
inline const std::vector<int32_t>& scale_factors()
{
    static const std::vector<int32_t> all = [] {
        std::vector<int32_t> some;
        for (int32_t sf = -20; sf <= 34; ++sf) some.push_back(sf);
        for (int32_t end : {-1087, -1024, -149, -128, -64, -32, 48, 64, 128, 150, 1023, 1075, 1087})
            some.insert(some.end(), {end - 1, end, end + 1});
        some.insert(some.end(), {INT32_MIN, INT32_MIN + 1, INT32_MAX - 1, INT32_MAX});
        return some;
    }();
    return all;
}

template <class Source, class Result>
Problem<Source> random_problem(const Member<Source, Result>& m, Values values, int width, int height,
                               int32_t sf = 0)
{
    Problem<Source> p;
    p.rows = random_rows<Source>(values, width, height);
    if (m.takes_vector) p.vector = random_values<Source>(values, m.vector_size(width, height));
    if (m.scaled()) p.sf = sf;
    return p;
}

template <class Family>
class MatrixFamily : public testing::Test {
  public:
    using Source = typename Family::Source;
    using Result = typename Family::Result;
    const std::vector<Member<Source, Result>> all = Family::members();

    template <class Check>
    void expect_in_each_rounding_mode(Check check)
    {
        for (int mode : {FE_DOWNWARD, FE_UPWARD, FE_TOWARDZERO}) {
            std::fesetround(mode);
            const testing::AssertionResult right = check();
            const int after = std::fegetround();
            std::fesetround(FE_TONEAREST);
            ASSERT_TRUE(right) << "rounding mode " << mode;
            ASSERT_EQ(after, mode);
        }
    }
};
struct FamilyNames {
    template <class Family>
    static std::string GetName(int)
    {
        return Family::kName;
    }
};
TYPED_TEST_SUITE_P(MatrixFamily);

// Up to beyond two stretches of 16, in groups of up to four rows.
inline std::vector<int> widths() { return lengths(16); }
inline std::vector<int> heights()
{
    if (thin_effort()) return {1, 2, 3, 5, 8};
    return {1, 2, 3, 4, 5, 6, 7, 8, 9, 16, 17};
}

TYPED_TEST_P(MatrixFamily, EveryWidthAndHeight)
{
    using T = typename TestFixture::Source;
    for (const auto& m : this->all)
        for (int width : widths())
            for (int height : heights()) {
                const auto p = random_problem(m, any_of(all_values()), width, height, any_of(scale_factors()));
                ASSERT_TRUE(runs(m, p, aligned_layout<T>(width)));
                ASSERT_TRUE(runs(m, p, random_layout<T>(width)));
            }
}

TYPED_TEST_P(MatrixFamily, EveryPlacement)
{
    using T = typename TestFixture::Source;
    Cycle some_widths(std::vector<int>{3, 4, 7, 8, 15, 16, 24, 39});
    Cycle some_heights(std::vector<int>{1, 2, 3, 4, 5, 7, 8});
    Cycle scale(std::vector<int32_t>{0, 3, -2, 10});
    for (const auto& m : this->all)
        for (const Arrangement& where : arrangements(4, sizeof(T))) {
            const int width = some_widths.next();
            Layout layout = aligned_layout<T>(width);
            layout.block = where[0];
            layout.vector = where[1];
            layout.result = where[2];
            layout.list = where[3];
            layout.row_misalign = {where[0].misalign};
            const auto p = random_problem(m, any_of(all_values()), width, some_heights.next(), scale.next());
            ASSERT_TRUE(runs(m, p, layout));
        }
}

TYPED_TEST_P(MatrixFamily, EveryStep)
{
    for (const auto& m : this->all)
        for (int width : {1, 4, 8, 16, 19})
            for (int beyond = 0; beyond <= 16 && !m.list(); ++beyond) {
                Layout layout;
                layout.beyond_width = beyond;
                ASSERT_TRUE(runs(m, random_problem(m, Values::Wide, width, 5, 3), layout));
            }
}

TYPED_TEST_P(MatrixFamily, OneRowOff16Bytes)
{
    using T = typename TestFixture::Source;
    for (const auto& m : this->all)
        for (int width : {4, 8, 16, 19, 40})
            for (std::size_t off = 0; off < 6 && m.list(); ++off)
                for (int misalign : {1, static_cast<int>(sizeof(T)), 8}) {
                    Layout layout;
                    layout.row_misalign.assign(6, 0);
                    layout.row_misalign[off] = misalign;
                    ASSERT_TRUE(runs(m, random_problem(m, Values::Wide, width, 6, 2), layout));
                }
}

TYPED_TEST_P(MatrixFamily, LongRowsAndColumns)
{
    using T = typename TestFixture::Source;
    const std::vector<std::pair<int, int>> sizes = {{64, 3},  {127, 2}, {257, 5},  {1024, 2}, {3001, 3},
                                                    {3, 129}, {9, 257}, {2, 1024}, {5, 3001}, {100, 100}};
    for (const auto& m : this->all)
        for (const auto& [width, height] : sizes)
            for (Values values : all_values()) {
                if (thin_effort() && (width > 1024 || height > 1024)) continue;
                const auto p = random_problem(m, values, width, height, any_of<int32_t>({-1, 0, 4, 31}));
                ASSERT_TRUE(runs(m, p, aligned_layout<T>(width)));
                ASSERT_TRUE(runs(m, p, random_layout<T>(width)));
            }
}

TYPED_TEST_P(MatrixFamily, EveryScaleFactor)
{
    using T = typename TestFixture::Source;
    for (const auto& m : this->all)
        for (int32_t sf : scale_factors())
            for (int width : {1, 4, 7, 8, 22})
                for (Values values : all_values()) {
                    if (!m.scaled()) continue;
                    const auto p = random_problem(m, values, width, any_of<int>({1, 3, 4}), sf);
                    ASSERT_TRUE(runs(m, p, random_layout<T>(width)));
                }
}

// Sums start from plus zero; times an infinite scale, zero has no value of its own.
TYPED_TEST_P(MatrixFamily, NothingButZeros)
{
    using T = typename TestFixture::Source;
    for (const auto& m : this->all)
        for (int32_t sf : scale_factors())
            for (int width : {1, 3, 8, 17})
                for (T zero : {T(0), T(-T(0))}) {
                    auto p = random_problem(m, Values::Small, width, 3, sf);
                    p.rows.assign(3, std::vector<T>(static_cast<std::size_t>(width), zero));
                    for (T& x : p.vector) x = std::abs(x);
                    ASSERT_TRUE(runs(m, p, random_layout<T>(width)));
                }
}

TYPED_TEST_P(MatrixFamily, InfinitiesAndNotNumbersStayInTheirRowOrColumn)
{
    using T = typename TestFixture::Source;
    if constexpr (std::is_floating_point_v<T>) {
        using Limits = std::numeric_limits<T>;
        Cycle specials(std::vector<T>{Limits::infinity(), -Limits::infinity(), Limits::quiet_NaN(),
                                      -Limits::quiet_NaN(), Limits::denorm_min(), Limits::min(), -T(0)});
        for (const auto& m : this->all)
            for (int width : {1, 2, 4, 7, 8, 13, 17, 36})
                for (int height : {1, 2, 3, 4, 7})
                    for (int i = 0; i < (thin_effort() ? 2 : 10); ++i) {
                        auto p = random_problem(m, Values::Whole, width, height);
                        const auto somewhere = [](auto& values) -> auto&
                        {
                            return values[generator()() % values.size()];
                        };
                        somewhere(somewhere(p.rows)) = specials.next();
                        if (i % 3 == 0) somewhere(somewhere(p.rows)) = specials.next();
                        if (i % 3 == 1 && m.takes_vector) somewhere(p.vector) = specials.next();
                        if (i % 5 == 4 && m.takes_vector) somewhere(p.vector) = T(0);
                        ASSERT_TRUE(runs(m, p, random_layout<T>(width)));
                    }
    }
}

TYPED_TEST_P(MatrixFamily, TheFirstFailedCheckDecides)
{
    using Source = typename TestFixture::Source;
    using A = Arguments<Source, typename TestFixture::Result>;
    for (const auto& m : this->all) {
        const auto p = random_problem(m, Values::Small, 5, 3, 2);
        Layout layout;
        layout.beyond_width = 1;
        Trial trial(m, p, layout);
        for (int32_t size : {0, -1, INT32_MIN}) {
            std::vector<Fault<A>> faults = {{"matrix", SrErrNullPtr,
                                             [](A& a) {
                                                 a.block = nullptr;
                                                 a.list = nullptr;
                                             }},
                                            {"result", SrErrNullPtr, [](A& a) { a.result = nullptr; }},
                                            {"width", SrErrSize, [size](A& a) { a.width = size; }},
                                            {"height", SrErrSize, [size](A& a) { a.height = size; }}};
            if (m.takes_vector)
                faults.insert(faults.begin(), {"vector", SrErrNullPtr, [](A& a) { a.vector = nullptr; }});
            if (!m.list()) {
                faults.push_back({"step below the width", SrErrStride, [](A& a) { a.step = 4; }});
                faults.push_back({"negative step", SrErrStride, [](A& a) { a.step = INT32_MIN; }});
            }
            expect_check_order<A>(trial.arguments(), faults, m.call, {&trial.result});
        }
        A arguments = trial.arguments();
        arguments.height = 1;
        arguments.step = INT32_MAX;
        EXPECT_EQ(m.call(arguments), SrOk) << m.name;
        arguments.step = arguments.width;
        EXPECT_EQ(m.call(arguments), SrOk) << m.name;

        // Arrays of no bytes begin with the forbidden page.
        const Guarded<Source> nothing(0);
        const Guarded<const Source*> no_list(0);
        const Guarded<typename TestFixture::Result> no_result(0);
        for (const auto& [width, height] : {std::pair{0, 3}, {3, 0}, {-1, 3}, {3, INT32_MIN}})
            EXPECT_EQ(
                m.call({nothing.data(), 3, no_list.data(), nothing.data(), width, height, no_result.data(), 0}),
                SrErrSize);
    }
}

// Integer results do not depend on the caller's environment; floating-point ones take his rounding mode.
TYPED_TEST_P(MatrixFamily, Environment)
{
    using T = typename TestFixture::Source;
    using Result = typename TestFixture::Result;
    for (const auto& m : this->all)
        for (const auto& [width, height] : {std::pair{5, 5}, {16, 5}, {39, 5}, {1501, 3}, {3, 1501}})
            for (Values values : all_values()) {
                const auto p = random_problem(m, values, width, height, any_of<int32_t>({0, 4, 31, 34}));
                Trial trial(m, p, aligned_layout<T>(width));
                const auto arguments = trial.arguments();
                if constexpr (std::is_integral_v<Result>) {
                    const auto expected = plain_result(m, p);
                    SrStatus status = SrErrUnknown;
                    under_each_environment([&] { status = m.call(arguments); },
                                           [&](const std::string& setting) {
                                               EXPECT_TRUE(trial.right(status)) << setting;
                                               EXPECT_TRUE(same_values(expected, trial.result.values()))
                                                   << setting;
                                               trial.result.fill(std::vector<Result>(expected.size(), Result(77)));
                                           });
                } else {
                    this->expect_in_each_rounding_mode([&] { return trial.right(m.call(arguments)); });
                }
            }
}

TYPED_TEST_P(MatrixFamily, AsksForNoMemory)
{
    for (const auto& m : this->all) {
        const auto p = random_problem(m, Values::Small, 300, 300, 2);
        const Trial trial(m, p);
        const AllocatorWatch watch;
        EXPECT_EQ(m.call(trial.arguments()), SrOk);
        EXPECT_EQ(watch.requests(), 0) << m.name;
    }
}

// Blocks of the exact size, for the address sanitizer and valgrind: an aligned load beyond the last element
// touches no forbidden page.
TYPED_TEST_P(MatrixFamily, ReadsNothingBesideTheArrays)
{
    const auto exact = [](const auto& values) {
        using T = typename std::decay_t<decltype(values)>::value_type;
        std::unique_ptr<T[]> block(new T[values.size()]);
        std::copy(values.begin(), values.end(), block.get());
        return block;
    };
    using Source = typename TestFixture::Source;
    for (const auto& m : this->all)
        for (int width = 1; width <= 35; ++width)
            for (int height : {1, 2, 3, 4, 5}) {
                const auto p = random_problem(m, Values::Small, width, height, 2);
                const int step = width + aligned_layout<Source>(width).beyond_width;
                const auto block = exact(as_block(p.rows, static_cast<std::size_t>(step)));
                const auto vector = exact(p.vector);
                const auto result = exact(std::vector<typename TestFixture::Result>(m.result_size(width, height)));
                std::vector<std::unique_ptr<Source[]>> kept;
                std::vector<const Source*> rows;
                for (const auto& row : p.rows) rows.push_back(kept.emplace_back(exact(row)).get());
                const auto list = exact(rows);
                ASSERT_EQ(m.call({block.get(), step, list.get(), vector.get(), width, height, result.get(), p.sf}),
                          SrOk);
            }
}

#ifdef __x86_64__
TYPED_TEST_P(MatrixFamily, RowsLieBeyond32BitsOfElements)
{
    using T = typename TestFixture::Source;
    if (thin_effort()) return;
    SparseBlock<T> block;
    for (const auto& m : this->all)
        for (int width : {5, 33}) {
            if (m.list()) continue;
            const auto p = random_problem(m, Values::Whole, width, block.kHeight, 3);
            block.fill(p.rows);
            std::vector<typename TestFixture::Result> result(m.result_size(width, block.kHeight));
            ASSERT_EQ(m.call({block.row(0), block.kStep, nullptr, p.vector.data(), width, block.kHeight,
                              result.data(), p.sf}),
                      SrOk);
            ASSERT_TRUE(same_values(expected_result(m, p), result)) << m.name;
        }
}
#else
TYPED_TEST_P(MatrixFamily, RowsLieBeyond32BitsOfElements) {}
#endif

#ifdef __i386__
TYPED_TEST_P(MatrixFamily, TakesACallWithTheStackOn4Bytes)
{
    using T = typename TestFixture::Source;
    for (const auto& m : this->all)
        for (int stack : {0, 4, 8, 12})
            for (int width : {3, 8, 39}) {
                const auto p = random_problem(m, Values::Small, width, 5, 3);
                const Trial trial(m, p, random_layout<T>(width));
                stack_misalign = stack;
                const SrStatus status = m.call(trial.arguments());
                stack_misalign = -1;
                ASSERT_TRUE(trial.right(status)) << "stack " << stack;
            }
}
#else
TYPED_TEST_P(MatrixFamily, TakesACallWithTheStackOn4Bytes) {}
#endif

REGISTER_TYPED_TEST_SUITE_P(MatrixFamily, EveryWidthAndHeight, EveryPlacement, EveryStep, OneRowOff16Bytes,
                            LongRowsAndColumns, EveryScaleFactor, NothingButZeros,
                            InfinitiesAndNotNumbersStayInTheirRowOrColumn, TheFirstFailedCheckDecides, Environment,
                            AsksForNoMemory, ReadsNothingBesideTheArrays, RowsLieBeyond32BitsOfElements,
                            TakesACallWithTheStackOn4Bytes);

}  // namespace zelsr::test::matrix
