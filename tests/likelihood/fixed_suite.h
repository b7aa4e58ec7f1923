// What every score on 16-bit data promises, as a suite over a table of members.
#pragma once

#include <cfenv>
#include <memory>

#include "likelihood/fixed_members.h"
#include "support/environment.h"
#include "support/faults.h"
#include "support/hooks.h"

namespace zelsr::test::fixed {

class FixedScores : public testing::TestWithParam<Member> {
  public:
    const Member m = GetParam();

    // Data for which a member's results are fixed by its contract. Of an integer maximum this leaves out scores
    // of 2^31 and more.
    std::vector<Values> all_values() const
    {
        const bool integer_maximum = m.integer() && m.has("GaussMax");
        return {Values::Small, Values::Extreme, integer_maximum ? Values::Positive : Values::Wide};
    }
    std::vector<int> heights() const
    {
        if (m.single_vector()) return {1};
        if (thin_effort()) return {1, 2, 5};
        return {1, 2, 3, 4, 5, 6, 7, 8, 9};
    }
    Problem problem(Values values, int width, int height, int32_t sf) const
    {
        Problem p = random_problem(m, values, width, height, sf);
        if (values == Values::Extreme && m.integer() && m.has("GaussMax"))
            for (int16_t& v : p.variance) v = static_cast<int16_t>(std::abs(v));
        return p;
    }
};

inline std::vector<int> widths()
{
    if (thin_effort()) return {1, 2, 3, 4, 5, 7, 8, 9, 12, 15, 16, 17, 23, 24, 31, 33, 40};
    std::vector<int> all;
    for (int width = 1; width <= 50; ++width) all.push_back(width);
    return all;
}

// Those of 16-bit formats with their neighbours, where shifts are counted modulo 32 (by 31: at 30 and -32), and
// the ends of the type.
inline std::vector<int32_t> scale_factors_16s()
{
    std::vector<int32_t> all;
    for (int32_t sf = -5; sf <= 20; ++sf) all.push_back(sf);
    all.insert(all.end(), {-33, -32, 30, 31, 32, 40, INT32_MIN, INT32_MAX});
    return all;
}

// Every array on 16 bytes, or each anywhere; steps of all kinds.
inline Layout random_layout(int width)
{
    Layout layout;
    const int to_eight = (8 - width % 8) % 8;
    layout.beyond_width = any_of<int>({to_eight, to_eight, to_eight + 8, 0, to_eight + 4, to_eight + 1});
    if (generator()() % 2 == 0) return layout;
    static const std::vector<Placement> places = placements(2);
    for (Placement* place :
         {&layout.rows, &layout.row_variances, &layout.vector, &layout.variance, &layout.vals, &layout.result})
        if (generator()() % 2 == 0) *place = any_of(places);
    if (generator()() % 2 == 0) layout.row_misalign = {any_of(places).misalign, 0, any_of(places).misalign};
    if (generator()() % 2 == 0) layout.variance_misalign = {0, any_of(places).misalign};
    return layout;
}

TEST_P(FixedScores, EveryWidthAndHeight)
{
    for (int width : widths())
        for (int height : heights())
            for (Values values : all_values())
                ASSERT_TRUE(
                    runs(m, problem(values, width, height, any_of(scale_factors_16s())), random_layout(width)));
}

TEST_P(FixedScores, EveryScaleFactor)
{
    for (int32_t sf : scale_factors_16s())
        for (int width : {1, 4, 7, 8, 15, 22})
            for (Values values : all_values())
                ASSERT_TRUE(runs(m, problem(values, width, m.single_vector() ? 1 : 3, sf), random_layout(width)));
}

TEST_P(FixedScores, EveryPlacement)
{
    for (int width : {7, 24})
        for (const Arrangement& where : arrangements(6, sizeof(int16_t))) {
            const Layout layout{where[0],
                                where[1],
                                where[2],
                                where[3],
                                where[4],
                                where[5],
                                (8 - width % 8) % 8,
                                {where[0].misalign},
                                {where[1].misalign}};
            ASSERT_TRUE(runs(m, problem(any_of(all_values()), width, m.single_vector() ? 1 : 3, 3), layout));
        }
}

TEST_P(FixedScores, OneRowOff16Bytes)
{
    const std::size_t height = m.single_vector() ? 1 : 5;
    for (int width : {4, 8, 13, 24})
        for (std::size_t off = 0; off < height; ++off)
            for (int misalign : {1, 2, 8}) {
                Layout rows_off, variances_off;
                rows_off.row_misalign.assign(height, 0);
                rows_off.row_misalign[off] = misalign;
                variances_off.variance_misalign.assign(height, 0);
                variances_off.variance_misalign[off] = misalign;
                for (const Layout& layout : {rows_off, variances_off})
                    ASSERT_TRUE(runs(m, problem(Values::Small, width, static_cast<int>(height), 2), layout));
            }
}

// Around the blocks of 100 components and 128 frames, and their second blocks.
TEST_P(FixedScores, ManyRows)
{
    if (m.single_vector()) return;
    std::vector<int> heights = {99, 100, 101, 127, 128, 129, 200, 201, 256, 257};
    if (thin_effort()) heights = {100, 101, 128, 129};
    for (int height : heights)
        for (int misalign : {0, 2})
            for (int width : {3, 8, 12}) {
                Layout layout;
                layout.rows.misalign = misalign;
                layout.beyond_width = (8 - width % 8) % 8;
                ASSERT_TRUE(
                    runs(m, problem(any_of(all_values()), width, height, any_of<int32_t>({-2, 1, 6})), layout));
            }
}

TEST_P(FixedScores, AnyConstant)
{
    std::vector<double> constants;
    if (m.integer()) {
        for (int32_t special : special_values<int32_t>()) constants.push_back(special);
        constants.insert(constants.end(), {16777217, -16777217, 2147483520, -2147483520});
    } else {
        for (float special : special_values<float>()) constants.push_back(special);
        constants.insert(constants.end(), {-4.5e6, -5e6, -6e6, -16});  // about the floor of log additions
    }
    const int height = m.single_vector() ? 1 : m.running() ? static_cast<int>(constants.size()) : 3;
    const bool integer_maximum = m.integer() && m.has("GaussMax");
    for (double val : constants)
        for (int32_t sf : {-1, 0, 4}) {
            // An integer maximum has no stated result for a plain score of 2^31.
            if (integer_maximum && !(m.low() && sf >= 0) && val > 2147483520) continue;
            Problem p = problem(Values::Small, any_of<int>({1, 8, 11}), height, sf);
            p.vals.assign(p.vals.size(), val);
            if (p.vals.size() > 1) p.vals[1] = 5;
            if (m.running()) p.before = constants;
            ASSERT_TRUE(runs(m, p)) << "val " << val;
        }
}

TEST_P(FixedScores, IsValWhereFeatureAndMeanAreTheSame)
{
    if (m.running() || m.mixture()) return;
    for (int width : widths())
        for (int32_t sf : scale_factors_16s()) {
            if (sf == INT32_MIN && !m.integer() && !m.low()) continue;  // zero times an infinite scale
            Problem p = problem(Values::Extreme, width, m.single_vector() ? 1 : 3, sf);
            p.rows.assign(p.rows.size(), p.vector);
            const Trial trial(m, p);
            ASSERT_EQ(m.call(trial.arguments()), SrOk);
            for (std::size_t r = 0; r < p.rows.size(); ++r)
                ASSERT_EQ(from_word(m, trial.result.get(r)), p.val(r)) << "width " << width << ", sf " << sf;
        }
}

TEST_P(FixedScores, TheFirstFailedCheckDecides)
{
    const Problem p = problem(Values::Small, 5, m.single_vector() ? 1 : 3, 2);
    Layout layout;
    layout.beyond_width = 1;
    Trial trial(m, p, layout);
    const bool d2 = !m.list() && !m.single_vector();
    const bool stride_last = m.name == "zelsLogGaussMaxMultiMix_Scaled_16s32f_D2" ||
                             m.name == "zelsLogGaussMaxMultiMix_LowScaled_16s32f_D2";
    for (int32_t size : {0, -1, INT32_MIN}) {
        std::vector<Fault<Arguments>> faults;
        const Fault<Arguments> stride = {
            "step", SrErrStride, [](Arguments& a) { a.step = a.width == INT32_MIN ? INT32_MIN : a.width - 1; }};
        // A width of INT32_MIN is above no step.
        const bool has_stride = d2 && (size != INT32_MIN || stride_last);
        if (has_stride && !stride_last) faults.push_back(stride);
        faults.push_back({"rows", SrErrNullPtr, [](Arguments& a) {
                              a.rows = nullptr;
                              a.list = nullptr;
                          }});
        faults.push_back({"vector", SrErrNullPtr, [](Arguments& a) { a.vector = nullptr; }});
        faults.push_back({"result", SrErrNullPtr, [](Arguments& a) { a.result = nullptr; }});
        if (!m.unit() && m.rows_are_gaussians())
            faults.push_back({"row variances", SrErrNullPtr, [](Arguments& a) {
                                  a.row_variances = nullptr;
                                  a.variance_list = nullptr;
                              }});
        if (!m.unit() && !m.rows_are_gaussians())
            faults.push_back({"variance", SrErrNullPtr, [](Arguments& a) { a.variance = nullptr; }});
        if (m.rows_are_gaussians() && !m.constants_in_result())
            faults.push_back({"constants", SrErrNullPtr, [](Arguments& a) { a.vals = nullptr; }});
        faults.push_back({"width", SrErrSize, [size](Arguments& a) { a.width = size; }});
        if (!m.single_vector()) faults.push_back({"height", SrErrSize, [size](Arguments& a) { a.height = size; }});
        if (has_stride && stride_last) faults.push_back(stride);
        expect_check_order<Arguments>(trial.arguments(), faults, m.call, {&trial.result});
    }
    Arguments arguments = trial.arguments();
    if (m.single_vector()) return;
    arguments.height = 1;
    arguments.step = INT32_MAX;
    EXPECT_EQ(m.call(arguments), SrOk);
    arguments.step = INT32_MIN;
    EXPECT_EQ(m.call(arguments), d2 ? SrErrStride : SrOk);
    arguments.step = arguments.width;
    EXPECT_EQ(m.call(arguments), SrOk);
}

// Integer results do not depend on the caller's rounding mode or masks.
TEST_P(FixedScores, IntegerResultsAreTheSameInEachEnvironment)
{
    if (!m.integer()) return;
    for (int32_t sf : {-3, 3, 17})
        for (int width : {5, 16, 39})
            for (Values values : {Values::Small, Values::Positive}) {
                const Problem p = problem(values, width, m.single_vector() ? 1 : 5, sf);
                Trial trial(m, p);
                ASSERT_EQ(m.call(trial.arguments()), SrOk);
                const std::vector<uint32_t> words = trial.result.values();
                const Arguments arguments = trial.arguments();
                SrStatus status = SrErrUnknown;
                trial.refill();
                under_each_environment([&] { status = m.call(arguments); },
                                       [&](const std::string& setting) {
                                           EXPECT_EQ(status, SrOk);
                                           EXPECT_EQ(trial.result.values(), words)
                                               << setting << ", sf " << sf << ", width " << width;
                                           trial.refill();
                                       });
            }
}

// Where nothing is rounded the rounding mode cannot be seen, and it is left as it was.
TEST_P(FixedScores, ExactScoresAreTheSameInEachRoundingMode)
{
    if (m.integer() || m.has("GaussAdd") || m.mixture()) return;
    for (int width : {5, 16, 39}) {
        const Problem p = problem(Values::Small, width, m.single_vector() ? 1 : 5, 2);
        auto expected = expected_results(m, p, [](std::size_t) { return false; });
        for (Score& score : expected) score.not_fixed = 1e-30;  // rounding down, 1 - 1 is minus zero
        for (int mode : {FE_DOWNWARD, FE_UPWARD, FE_TOWARDZERO}) {
            const Trial trial(m, p);
            const Arguments arguments = trial.arguments();
            std::fesetround(mode);
            const SrStatus status = m.call(arguments);
            const int after = std::fegetround();
            std::fesetround(FE_TONEAREST);
            EXPECT_EQ(after, mode);
            EXPECT_TRUE(trial.holds(status, expected)) << "mode " << mode;
        }
    }
}

TEST_P(FixedScores, AsksForNoMemory)
{
    const Problem p = problem(Values::Wide, 300, m.single_vector() ? 1 : 300, 2);
    const Trial trial(m, p);
    const AllocatorWatch watch;
    EXPECT_EQ(m.call(trial.arguments()), SrOk);
    EXPECT_EQ(watch.requests(), 0);
}

// Blocks of the exact size, for the address sanitizer and valgrind: an aligned load beyond the last element
// touches no forbidden page.
TEST_P(FixedScores, ReadsNothingBesideTheArrays)
{
    const auto exact = [](const auto& values) {
        using T = typename std::decay_t<decltype(values)>::value_type;
        std::unique_ptr<T[]> block(new T[values.size()]);
        std::copy(values.begin(), values.end(), block.get());
        return block;
    };
    for (int width = 1; width <= 25; ++width)
        for (int height : m.single_vector() ? std::vector<int>{1} : std::vector<int>{1, 2, 3}) {
            const Problem p = problem(Values::Small, width, height, 2);
            const int step = (width + 7) / 8 * 8;
            const auto rows = exact(as_block(p.rows, static_cast<std::size_t>(step)));
            const auto variances = exact(as_block(p.row_variances, static_cast<std::size_t>(step)));
            const auto vector = exact(p.vector), variance = exact(p.variance);
            std::vector<std::unique_ptr<int16_t[]>> kept;
            std::vector<const int16_t*> list, variance_list;
            for (const Vector& row : p.rows) list.push_back(kept.emplace_back(exact(row)).get());
            for (const Vector& row : p.row_variances) variance_list.push_back(kept.emplace_back(exact(row)).get());
            std::vector<uint32_t> vals, before;
            for (double val : p.vals) vals.push_back(to_word(m, val));
            for (double value : p.before) before.push_back(to_word(m, value));
            const auto constants = exact(vals);
            const auto result = exact(m.constants_in_result() ? vals : before);
            ASSERT_EQ(m.call({rows.get(), variances.get(), step, list.data(), variance_list.data(), vector.get(),
                              variance.get(), width, result.get(), height, p.vals[0], constants.get(), p.sf}),
                      SrOk);
        }
}

#ifdef __i386__
TEST_P(FixedScores, TakesACallWithTheStackOn4Bytes)
{
    for (int stack : {0, 4, 8, 12})
        for (int width : {3, 8, 39})
            for (int height : m.single_vector() ? std::vector<int>{1} : std::vector<int>{1, 5, 131})
                for (Values values : {Values::Small, Values::Positive})
                    ASSERT_TRUE(runs(m, problem(values, width, height, 3), {}, stack));
}
#endif

}  // namespace zelsr::test::fixed
