// Evaluation of the all-integer bank: every bit of its sums.
#include <gtest/gtest.h>

#include "frontend/integer_bank_members.h"
#include "support/bits.h"
#include "support/effort.h"
#include "support/faults.h"

namespace zelsr::test {
namespace {

const IntegerArguments kShape{256, 8000, 64, 4000, 23, kMelMul, kMelDiv};

TEST(EvalFBank32s, EveryScaleFactorAndAddress)
{
    const Block block(kShape);
    const auto expected = reference::integer_bank(kShape);
    const std::vector<Placement> all = placements(4);
    std::size_t step = 0;
    for (int32_t sf = -31; sf <= 31; ++sf)
        for (int32_t limit : {3, 70000, INT32_MAX})
            for (int round = 0; round < 3; ++round) {
                const std::vector<int32_t> x =
                    uniform_vector<int32_t>(129, round == 0 ? 0 : -limit, round == 2 ? 0 : limit);
                const Guarded<int32_t> src(x, all[++step % all.size()]);
                Guarded<int32_t> dst(23, all[7 * step % all.size()]);
                ASSERT_EQ(zelsEvalFBank_32s_Sfs(src.data(), dst.data(), block.get(), sf), SrOk);
                ASSERT_TRUE(dst.intact());
                ASSERT_TRUE(same_values(results(expected, x, sf), dst.values()))
                    << "sf " << sf << ", limit " << limit;
            }
}

TEST(EvalFBank32s, TheLargestSpectraSaturateAboveAndWrapBelow)
{
    const Block block(kShape);
    const auto expected = reference::integer_bank(kShape);
    std::vector<int32_t> y(23);
    bool limited = false, wrapped = false;
    for (int32_t value : {INT32_MAX, INT32_MIN, INT32_MIN + 1, 1, -1, 0})
        for (int32_t sf = -31; sf <= 31; ++sf) {
            const std::vector<int32_t> x(129, value);
            EXPECT_EQ(zelsEvalFBank_32s_Sfs(x.data(), y.data(), block.get(), sf), SrOk);
            ASSERT_TRUE(same_values(results(expected, x, sf), y)) << value << ", sf " << sf;
            limited |= value > 0 && y[22] == INT32_MAX;
            wrapped |= value < 0 && y[22] > 0;
        }
    EXPECT_TRUE(limited);
    EXPECT_TRUE(wrapped) << "there is no lower limit";
}

// Single bins: weight 1 at a peak.
TEST(EvalFBank32s, ByValue)
{
    const Block block(kShape);
    const auto expected = reference::integer_bank(kShape);
    const int peak = expected.c[10];
    std::vector<int32_t> x(129), y(23);
    const auto value = [&](int32_t at_peak, int32_t sf) {
        x[at(peak)] = at_peak;
        EXPECT_EQ(zelsEvalFBank_32s_Sfs(x.data(), y.data(), block.get(), sf), SrOk);
        return y[9];
    };
    EXPECT_EQ(value(5, 0), 5);
    EXPECT_EQ(value(-5, 0), -5);
    EXPECT_EQ(value(5, 1), 3);    // 2.5: halves go up
    EXPECT_EQ(value(-5, 1), -2);  // -2.5 too
    EXPECT_EQ(value(5, 2), 1);
    EXPECT_EQ(value(5, -3), 40);
    EXPECT_EQ(value(-5, -3), -40);
    EXPECT_EQ(value(INT32_MAX, 0), INT32_MAX);
    EXPECT_EQ(value(INT32_MAX, -1), INT32_MAX);
    EXPECT_EQ(value(INT32_MIN, 0), INT32_MIN);
    EXPECT_EQ(value(INT32_MIN, -1), 0);  // -2^32, of which the low 32 bits
    EXPECT_EQ(value(INT32_MIN + 3, -1), 6);
    EXPECT_EQ(value(INT32_MAX, 31), 1);
    EXPECT_EQ(value(INT32_MIN, 31), -1);
}

// Products lose their low 8 bits one by one, downwards, before they are added.
TEST(EvalFBank32s, ProductsAreCutBeforeTheyAreAdded)
{
    const Block block(kShape);
    const auto expected = reference::integer_bank(kShape);
    const std::vector<int32_t> x(129, -1);
    std::vector<int32_t> y(23);
    EXPECT_EQ(zelsEvalFBank_32s_Sfs(x.data(), y.data(), block.get(), -22), SrOk);
    EXPECT_TRUE(same_values(results(expected, x, -22), y));
    int64_t exact = 0;
    for (int32_t weight : expected.left[22]) exact -= weight;
    for (int32_t weight : expected.right[22]) exact -= weight;
    EXPECT_LT(y[22], exact >> 8);
}

struct EvalCall {
    const int32_t* src;
    int32_t* dst;
    const ZelFBankState_32s* bank;
    int32_t sf;
};

TEST(EvalFBank32s, PointersAreCheckedBeforeTheScaleFactor)
{
    const Block block(kShape);
    const std::vector<int32_t> x(129, 1);
    Guarded<int32_t> dst(23);
    for (int32_t sf : {32, -32, INT32_MAX, INT32_MIN})
        expect_check_order<EvalCall>(
            {x.data(), dst.data(), block.get(), 0},
            {{"null source", SrErrNullPtr, [](EvalCall& c) { c.src = nullptr; }},
             {"null destination", SrErrNullPtr, [](EvalCall& c) { c.dst = nullptr; }},
             {"null bank", SrErrNullPtr, [](EvalCall& c) { c.bank = nullptr; }},
             {"scale factor", SrErrBadArg, [&](EvalCall& c) { c.sf = sf; }}},
            [](const EvalCall& c) { return zelsEvalFBank_32s_Sfs(c.src, c.dst, c.bank, c.sf); }, {&dst});
}

}  // namespace
}  // namespace zelsr::test
