// Running log additions over frames, 16-bit data.
#include "likelihood/fixed_suite.h"

namespace zelsr::test::fixed {
namespace {

const Member kMembers[] = {
    {"zelsLogGaussAdd_Scaled_16s32f_D2", call<zelsLogGaussAdd_Scaled_16s32f_D2>},
    {"zelsLogGaussAdd_Scaled_16s32f_D2L", call<zelsLogGaussAdd_Scaled_16s32f_D2L>},
    {"zelsLogGaussAdd_IdVarScaled_16s32f_D2", call<zelsLogGaussAdd_IdVarScaled_16s32f_D2>},
    {"zelsLogGaussAdd_IdVarScaled_16s32f_D2L", call<zelsLogGaussAdd_IdVarScaled_16s32f_D2L>},
    {"zelsLogGaussAdd_LowScaled_16s32f_D2", call<zelsLogGaussAdd_LowScaled_16s32f_D2>},
    {"zelsLogGaussAdd_LowScaled_16s32f_D2L", call<zelsLogGaussAdd_LowScaled_16s32f_D2L>},
    {"zelsLogGaussAdd_IdVarLowScaled_16s32f_D2", call<zelsLogGaussAdd_IdVarLowScaled_16s32f_D2>},
    {"zelsLogGaussAdd_IdVarLowScaled_16s32f_D2L", call<zelsLogGaussAdd_IdVarLowScaled_16s32f_D2L>},
};
INSTANTIATE_TEST_SUITE_P(FrameSums, FixedScores, testing::ValuesIn(kMembers), member_name);

// The list member decides block by block of 128 frames whether one kernel scores and adds, by the fast arithmetic.
TEST(FixedSums, EachBlockOfAListChoosesItsAddition)
{
    const Member m{"zelsLogGaussAdd_Scaled_16s32f_D2L", call<zelsLogGaussAdd_Scaled_16s32f_D2L>};
    for (std::size_t off : {0u, 127u, 128u, 200u, 255u, 256u, 299u}) {
        const Problem p = random_problem(m, Values::Small, 12, 300, 16);
        Layout layout;
        layout.beyond_width = 4;
        const Trial trial(m, p, layout);
        const Guarded<int16_t> odd(p.rows[off], {2});
        std::vector<const int16_t*> list(trial.rows.list(), trial.rows.list() + 300);
        list[off] = odd.data();
        Arguments arguments = trial.arguments();
        arguments.list = list.data();
        EXPECT_TRUE(trial.holds(m.call(arguments),
                                expected_results(m, p, [off](std::size_t row) { return row / 128 != off / 128; })))
            << "row " << off << " off 16 bytes";
    }
}

TEST(FixedSums, TheTwoAdditionsCanBeToldApart)
{
    const Member& m = kMembers[0];
    const Problem p = random_problem(m, Values::Small, 12, 300, 16);
    const auto accurate = expected_results(m, p, [](std::size_t) { return false; }),
               fast = expected_results(m, p, [](std::size_t) { return true; });
    int different = 0;
    for (std::size_t r = 0; r < 300; ++r) different += accurate[r].value != fast[r].value;
    EXPECT_GT(different, 4);
}

// Width 4 is the first that the fused kernel of a block takes.
TEST(FixedSums, NarrowBlocksAddAccurately)
{
    const Member m{"zelsLogGaussAdd_IdVarScaled_16s32f_D2", call<zelsLogGaussAdd_IdVarScaled_16s32f_D2>};
    for (int width = 1; width <= 9; ++width)
        for (int beyond_width : {8 - width % 8, 4 - width % 4})
            for (int misalign : {0, 2}) {
                Layout layout;
                layout.beyond_width = beyond_width;
                layout.vector.misalign = misalign;
                EXPECT_TRUE(runs(m, random_problem(m, Values::Small, width, 150, 16), layout));
            }
}

TEST(FixedSums, AFarTermIsIgnored)
{
    for (const Member& m : kMembers)
        for (int width : {3, 8}) {
            Problem p = random_problem(m, Values::Small, width, 3, 2);
            p.rows.assign(3, p.vector);
            p.vals = {0.5};
            p.before = {-4.5e6, -20, 30};
            const Trial trial(m, p);
            ASSERT_EQ(m.call(trial.arguments()), SrOk);
            EXPECT_EQ(from_word(m, trial.result.get(0)), 0.5) << m.name;
            EXPECT_EQ(from_word(m, trial.result.get(1)), 0.5) << m.name;
            EXPECT_EQ(from_word(m, trial.result.get(2)), 30) << m.name;
        }
}

}  // namespace
}  // namespace zelsr::test::fixed
