// Searches of values that are no number, have no distance or are as large as they can be; scale factors.
#include "vq/search_check.h"

namespace zelsr::test {
namespace {

TEST(SearchValues, NotANumberAndInfinities)
{
    constexpr float kInf = std::numeric_limits<float>::infinity(), kNan = std::numeric_limits<float>::quiet_NaN();
    for (int width : {1, 2, 3, 4, 8, 11})
        for (Path path : kPaths) {
            if (!has_path(path, width)) continue;
            const Quantiser<Search_32f> q(path, Values::Lattice, width, width <= 2 ? 120 : 13);
            for (float value : {kInf, -kInf, kNan, 1e30F, -1e30F, 3e19F, 1e18F, FLT_MAX, -FLT_MAX, 1e-40F, -0.0F})
                for (std::size_t k : {std::size_t{0}, at(width - 1)}) {
                    std::vector<float> x(at(width), 0.5F);
                    x[k] = value;
                    ASSERT_TRUE(finds(q, {x, std::vector<float>(at(width), 1.0F), x}));
                }
        }
}

TEST(SearchValues, WithoutADistanceBelowTheLargestSingleThereIsNoIndex)
{
    const float far = 1e30F;
    for (int width : {3, 4, 8}) {
        const std::vector<float> x(at(width), far);
        Training<float> t{
            {std::vector<float>(at(width), 1.0F), std::vector<float>(at(width), 2.0F)}, {}, 2, SrCdbkFull};
        int32_t index = 5;
        float distance = 0;
        const Quantiser<Search_32f> plain(t);
        EXPECT_EQ(zelsVQDist_32f(x.data(), width, &index, &distance, 1, plain.get()), SrOk);
        EXPECT_EQ(index, 0);
        EXPECT_EQ(distance, std::numeric_limits<float>::infinity());
        t.weights.assign(at(width), 2.0F);
        const Quantiser<Search_32f> weighted(t);
        EXPECT_EQ(zelsVQDist_32f(x.data(), width, &index, &distance, 1, weighted.get()), SrOk);
        EXPECT_EQ(index, -1);
        EXPECT_EQ(distance, std::sqrt(FLT_MAX));
        EXPECT_EQ(zelsVQ_32f(x.data(), width, &index, 1, weighted.get()), SrOk);
        EXPECT_EQ(index, -1);
    }
}

TEST(SearchValues, ExtremesOf16Bits)
{
    for (int width : {1, 2, 3, 4, 7, 8, 9, 16, 33, 128}) {
        const auto extreme = [&] {
            std::vector<int16_t> row(at(width));
            for (int16_t& x : row)
                x = static_cast<int16_t>(uniform(0, 1) == 0 ? -32768 + uniform(0, 1) : 32767 - uniform(0, 1));
            return row;
        };
        for (int round = 0; round < 6; ++round) {
            Training<int16_t> t{{}, {}, 9, round % 3 == 2 ? SrCdbkTreeRadius : SrCdbkFull};
            for (int i = 0; i < 9; ++i) t.rows.push_back(extreme());
            if (round % 2 == 0) t.weights = std::vector<int16_t>(at(width), 32767);
            const Quantiser<Search_16s> q(t);
            Rows<int16_t> rows;
            for (int i = 0; i < 20; ++i) rows.push_back(extreme());
            ASSERT_TRUE(finds(q, rows, 0, round - 3));
        }
    }
}

TEST(SearchValues, EveryScaleFactor)
{
    for (Path path : kPaths) {
        const Quantiser<Search_16s> q(path, Values::Spread, 2, 120);
        const Rows<int16_t> rows = queries(q.book, 5);
        for (int32_t sf = -160; sf <= 160; ++sf) ASSERT_TRUE(finds(q, rows, 0, sf)) << sf;
        for (int32_t sf : {INT32_MIN, INT32_MIN + 1, INT32_MAX}) ASSERT_TRUE(finds(q, rows, 0, sf)) << sf;
    }
}

}  // namespace
}  // namespace zelsr::test
