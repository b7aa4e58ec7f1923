// What tells two codewords apart: ties, the margins of tolerant comparisons, the borders of cells.
#include <array>

#include "vq/search_check.h"

namespace zelsr::test {
namespace {

template <class Family>
class SearchTies : public testing::Test {};
TYPED_TEST_SUITE(SearchTies, Searches, SearchNames);

// The nearer half of the rows becomes the left child and the second codeword.
TYPED_TEST(SearchTies, ATieInATreeGoesToTheLeftInAWeightedOneToTheRight)
{
    using T = typename TypeParam::Element;
    for (int width : {1, 2, 3, 4, 5, 8, 9, 16, 17}) {
        const std::vector<T> low(at(width), T(-100)), high(at(width), T(100)), middle(at(width), T(0));
        for (SrCdbkKind kind : {SrCdbkTreeRadius, SrCdbkTreePopulation}) {
            const Quantiser<TypeParam> plain({{low, high}, {}, 2, kind});
            ASSERT_EQ(plain.book.root->left->index, 1);
            EXPECT_EQ(reference::nearest(plain.book, middle, false).index, 1);
            EXPECT_TRUE(finds(plain, {middle}));
            const Quantiser<TypeParam> weighted({{low, high}, std::vector<T>(at(width), T(2)), 2, kind});
            ASSERT_EQ(weighted.book.root->left->index, 1);
            EXPECT_EQ(reference::nearest(weighted.book, middle, false).index, 0);
            EXPECT_TRUE(finds(weighted, {middle}));
        }
    }
}

TYPED_TEST(SearchTies, TiesGoToTheLowestIndex)
{
    using T = typename TypeParam::Element;
    for (int width : {1, 2, 3, 4, 5, 8, 9, 16})
        for (int count : {2, 3, 4, 5, 6, 7, 8, 9, 13})
            for (int first = 0; first < count; ++first)
                for (int second = first + 1; second < count; ++second) {
                    Training<T> t{Rows<T>(at(count), std::vector<T>(at(width), T(50))), {}, count, SrCdbkFull};
                    t.rows[at(first)] = std::vector<T>(at(width), T(3));
                    t.rows[at(second)] = std::vector<T>(at(width), T(-3));
                    const std::vector<T> middle(at(width), T(0));
                    const Quantiser<TypeParam> plain(t, true);
                    int32_t index = -1;
                    EXPECT_EQ(TypeParam::kNearest(middle.data(), width, &index, 1, plain.get()), SrOk);
                    ASSERT_EQ(index, first) << "width " << width << ", " << count << " codewords, " << second;
                }
}

// One that is nearer by less than a millionth does not replace an earlier one, but in a plain full codebook.
TEST(SearchMargins, OfAMillionthInWeightedCodebooksAndTables)
{
    using Family = Search_32f;
    const auto index_in = [](const Quantiser<Family>& q, const std::vector<float>& x) {
        int32_t index = -1;
        EXPECT_EQ(zelsVQ_32f(x.data(), q.book.width(), &index, 1, q.get()), SrOk);
        return index;
    };
    for (const auto& [closer, replaces] :
         {std::pair{0.9999999F, false}, {0.9999996F, false}, {0.9999992F, true}}) {
        // d = 1 and closer^2, which is about 1 - 2 (1 - closer).
        for (int width : {3, 4, 8}) {
            Training<float> t{{std::vector<float>(at(width)), std::vector<float>(at(width))}, {}, 2, SrCdbkFull};
            t.rows[0][1] = 1;
            t.rows[1][1] = -closer;
            const std::vector<float> zero(at(width));
            EXPECT_EQ(index_in(Quantiser<Family>(t), zero), 1);
            t.weights.assign(at(width), 2.0F);
            EXPECT_EQ(index_in(Quantiser<Family>(t), zero), replaces ? 1 : 0) << closer;
        }
        // The same in a table of the cells of one dimension.
        Training<float> t{{{1}, {-closer}}, {}, 0, SrCdbkFull};
        for (int i = 2; i < 40; ++i) t.rows.push_back({static_cast<float>(i % 2 == 0 ? i + 1 : -i)});
        t.size = t.height();
        const Quantiser<Family> table(t), plain(t, true);
        ASSERT_TRUE(table.book.linear.has_value());
        EXPECT_EQ(index_in(plain, {0}), 1);
        EXPECT_EQ(index_in(table, {0}), replaces ? 1 : 0) << closer;
    }
}

// Leaves at 0, 100 and 1000. From 50, a walk that starts at 100 with its own score unscaled finds 0 nearer, of
// which only half is left; scaled alike they tie.
TEST(SearchMargins, InIntegersWithDistancesTheFirstLeafOfAWalkIsUnscaled)
{
    const Quantiser<Search_16s> q({{{0}, {100}, {1000}}, {2}, 3, SrCdbkTreeRadius});
    ASSERT_EQ(q.book.codewords, (Rows<int16_t>{{1000}, {100}, {0}}));
    const int16_t x = 50;
    int32_t index = -1, distance = -1;
    EXPECT_EQ(zelsVQ_16s(&x, 1, &index, 1, q.get()), SrOk);
    EXPECT_EQ(index, 1);
    EXPECT_EQ(zelsVQDist_16s32s_Sfs(&x, 1, &index, &distance, 1, q.get(), 0), SrOk);
    EXPECT_EQ(index, 2);
    EXPECT_EQ(distance, 71);  // sqrt(2 50^2)
    // Of the other forms, none has this.
    const ZelCdbkState_16s* state = q.get();
    int16_t split = -1;
    EXPECT_EQ(zelsSplitVQ_16s16s(&x, 1, &split, 1, 1, &state, 1), SrOk);
    EXPECT_EQ(split, 1);
}

// Leaves at 0, 100 and 1000 again, in single precision: past the border the walk moves only where it gains a
// ten-thousandth of the score.
TEST(SearchMargins, AWeightedWalkMovesPastATenThousandth)
{
    const Quantiser<Search_32f> q({{{0}, {100}, {1000}}, {2}, 3, SrCdbkTreeRadius});
    ASSERT_EQ(q.book.codewords, (Rows<float>{{1000}, {100}, {0}}));
    const auto index_of = [&](float x) {
        int32_t index = -1;
        EXPECT_EQ(zelsVQ_32f(&x, 1, &index, 1, q.get()), SrOk);
        return index;
    };
    EXPECT_EQ(index_of(50), 1);
    EXPECT_EQ(index_of(49.9999F), 2);   // the node itself: nearer by four millionths of 50^2
    EXPECT_EQ(index_of(49.99999F), 1);  // by less than one
    EXPECT_EQ(index_of(50.00001F), 1);
    EXPECT_EQ(index_of(50.01F), 1);
}

// Rounds until walks have gone somewhere, and margins of the second size have held some back.
TEST(SearchMargins, WalksOfWeightedTreesAreTheReferences)
{
    using Family = Search_32f;
    int walked = 0, held = 0;
    for (int round = 0; round < (thin_effort() ? 4 : 40); ++round) {
        const int width = uniform(1, 6);
        const Quantiser<Family> q(Path::WeightedTree, Values::Spread, width, 24);
        const auto d = [&](const std::vector<float>& x, const std::vector<float>& c) {
            return reference::weighted_distance(x, c, q.book.weights);
        };
        // Beside the border of two neighbours.
        for (const auto& node : q.nodes())
            for (const auto* other : node.neighbours) {
                std::vector<float> x;
                const float between = 0.5F + uniform(-4e-5F, 4e-5F);
                for (std::size_t k = 0; k < node.centroid.size(); ++k)
                    x.push_back(node.centroid[k] + (other->centroid[k] - node.centroid[k]) * between);
                const int expected = reference::nearest(q.book, x, false).index;
                int32_t index = -1;
                ASSERT_EQ(zelsVQ_32f(x.data(), width, &index, 1, q.get()), SrOk);
                ASSERT_EQ(index, expected) << describe(x);
                const float best = d(x, q.book.codewords[at(index)]);
                const float theirs = std::min(d(x, node.centroid), d(x, other->centroid));
                held += theirs < best && theirs > best * 0.9999F;
                ++walked;
            }
    }
    EXPECT_GT(walked, 100);
    EXPECT_GT(held, 0);
}

// 16-bit rows count as 0.001 of a cell further up: some take the next cell's candidates.
TEST(SearchTables, SixteenBitRowsCloseBelowACellBelongToIt)
{
    int different = 0, nearer = 0;
    for (int round = 0; round < (thin_effort() ? 10 : 60); ++round) {
        Training<int16_t> t{{}, {}, 0, SrCdbkFull};
        const int count = uniform(20, 60), unit = uniform(40, 400);
        for (int i = 0; i < count; ++i) t.rows.push_back({static_cast<int16_t>((2 * i - count + 1) * unit)});
        t.size = count;
        const Quantiser<Search_16s> q(t);
        if (!q.book.linear) continue;
        const auto& f = *q.book.linear;
        for (int x = -count * unit; x < count * unit; ++x) {
            const float v = (static_cast<float>(x) - f.range.low_edge) / f.width;
            if (v < 0 || std::trunc(double{v} + 0.001) == std::trunc(double{v})) continue;
            ++different;
            const std::vector<int16_t> row = {static_cast<int16_t>(x)};
            int32_t index = -1;
            ASSERT_EQ(zelsVQ_16s(row.data(), 1, &index, 1, q.get()), SrOk);
            ASSERT_EQ(index, reference::nearest(q.book, row, false).index);
            // What the lower cell would give
            const auto below =
                reference::clearly_nearest(q.book, row, f.lists[static_cast<std::size_t>(std::trunc(v)) + 1]);
            nearer += below.index != index;
        }
    }
    EXPECT_GT(different, 0);
    RecordProperty("other_answers", nearer);
}

}  // namespace
}  // namespace zelsr::test
