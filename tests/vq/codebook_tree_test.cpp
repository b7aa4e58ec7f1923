// Codebooks grown as trees, by value: what becomes of small sets, oddities, failures.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>

#include "vq/tree_check.h"

namespace zelsr::test {
namespace {

template <class Family>
class CodebookTree : public testing::Test {};
TYPED_TEST_SUITE(CodebookTree, Families, FamilyNames);

// The halves of 0, 10, 100, 110 by distance from their mean 55 are 10, 100 and 0, 110: both centroids are 55. The
// new one is pushed towards the first row and takes the lower two; its place in the list is the second.
TYPED_TEST(CodebookTree, FallenCentroidsArePushedApart)
{
    using T = typename TypeParam::Element;
    const Trained<TypeParam> trained({{{T(0)}, {T(10)}, {T(100)}, {T(110)}}, {}, 2, SrCdbkTreeRadius});
    ASSERT_EQ(trained.status, SrOk);
    const CodebookView<T> view = trained.view();
    EXPECT_EQ(view.depth, 2);
    EXPECT_EQ(view.codewords[0], T(105));
    EXPECT_EQ(view.codewords[view.row_step], T(5));
    EXPECT_EQ(view.root->left->index, 1);
    EXPECT_EQ(view.root->right->index, 0);
    EXPECT_EQ(view.root->population, 4);
    EXPECT_EQ(view.root->centroid[0], T(55));
    EXPECT_EQ(view.root->left->radius, 50);  // twice the square of 5
    EXPECT_EQ(view.root->radius, 2 * 55 * 55);
}

// Of three codewords each has its two true neighbours, nearest first, and then the first codeword twice, be it
// itself.
TYPED_TEST(CodebookTree, ThreeCodewordsListTheFirstOneAgain)
{
    using T = typename TypeParam::Element;
    const Trained<TypeParam> trained(
        {{{T(0), T(0), T(0)}, {T(10), T(0), T(0)}, {T(30), T(0), T(0)}}, {}, 3, SrCdbkTreeRadius});
    ASSERT_EQ(trained.status, SrOk);
    std::map<int32_t, const ClusterView<T>*> leaves;
    collect_leaves(trained.view().root, leaves);
    ASSERT_EQ(leaves.size(), 3u);
    for (const auto& [index, leaf] : leaves) {
        ASSERT_EQ(leaf->neighbour_count, 4);
        EXPECT_EQ(leaf->aid, nullptr);
        const float x = static_cast<float>(leaf->centroid[0]);
        EXPECT_EQ(leaf->neighbours[0]->centroid[0], T(x == 10 ? 0 : 10));
        EXPECT_EQ(leaf->neighbours[1]->centroid[0], T(x == 30 ? 0 : 30));
        EXPECT_EQ(leaf->neighbours[2], leaves[0]);
        EXPECT_EQ(leaf->neighbours[3], leaves[0]);
    }
}

TYPED_TEST(CodebookTree, NeighboursAreFourToSixteenCodewordsAndOneMoreBeyondAPowerOfTwo)
{
    using T = typename TypeParam::Element;
    const std::map<int32_t, int32_t> counts = {{1, 0},  {2, 0},  {3, 4},  {4, 4},  {15, 4}, {16, 4},  {17, 5},
                                               {31, 5}, {32, 5}, {33, 6}, {64, 6}, {65, 7}, {128, 7}, {129, 8}};
    for (const auto& [size, expected] : counts) {
        if (thin_effort() && size > 33) continue;
        Training<T> training{{}, {}, size, SrCdbkTreePopulation};
        for (int32_t r = 0; r < size; ++r) training.rows.push_back({T(r * r)});
        const Trained<TypeParam> trained(training);
        ASSERT_EQ(trained.status, SrOk) << size;
        std::map<int32_t, const ClusterView<T>*> leaves;
        collect_leaves(trained.view().root, leaves);
        ASSERT_EQ(static_cast<int32_t>(leaves.size()), size);
        for (const auto& [index, leaf] : leaves) EXPECT_EQ(leaf->neighbour_count, expected) << size;
        EXPECT_EQ(trained.view().index_bits, reference::index_bits(size)) << size;
    }
}

// An inner child weighs what it held when it was split, though rows have left it since: wanted as it stands.
TYPED_TEST(CodebookTree, PopulationsOfInnerNodesAreOld)
{
    using T = typename TypeParam::Element;
    bool old = false;
    Training<T> training{speech_rows<T>(2), {}, 24, SrCdbkTreeRadius};
    const Trained<TypeParam> trained(training);
    ASSERT_EQ(trained.status, SrOk);
    const auto sum = [&](auto&& self, const ClusterView<T>* node) -> int32_t {
        if (node->leaf != 0) return node->population;
        const int32_t now = self(self, node->left) + self(self, node->right);
        old |= now != node->population;
        return now;
    };
    EXPECT_EQ(sum(sum, trained.view().root), training.height());
    EXPECT_TRUE(old);
}

TYPED_TEST(CodebookTree, EqualRowsAreOneCodeword)
{
    using T = typename TypeParam::Element;
    for (SrCdbkKind kind : kTrees)
        for (int32_t width : {1, 3, 8})
            for (int32_t size : {1, 2, 7}) {
                const Trained<TypeParam> trained({Rows<T>(9, std::vector<T>(at(width), T(37))), {}, size, kind});
                ASSERT_EQ(trained.status, size == 1 ? SrOk : SrWarnCdbkSize);
                const CodebookView<T> view = trained.view();
                EXPECT_EQ(view.count, 1);
                EXPECT_EQ(view.depth, 1);
                EXPECT_EQ(view.index_bits, 0);
                EXPECT_EQ(view.codewords[0], T(37));
                EXPECT_EQ(view.root->radius, 0);
                EXPECT_EQ(view.root->population, 9);
                EXPECT_EQ(view.root->leaf, 1);
                EXPECT_EQ(view.root->neighbour_count, 0);
                int32_t count = 0;
                EXPECT_EQ(TypeParam::kCount(trained.get(), &count), SrOk);
                EXPECT_EQ(count, 1);
            }
}

TYPED_TEST(CodebookTree, OneRowOrTwoValues)
{
    using T = typename TypeParam::Element;
    for (SrCdbkKind kind : kTrees) {
        expect_tree<TypeParam>({{{T(-5), T(7)}}, {}, 1, kind});
        expect_tree<TypeParam>({{{T(-5)}, {T(-5)}, {T(9)}, {T(-5)}, {T(9)}}, {}, 5, kind});
        expect_tree<TypeParam>({{{T(-5)}, {T(9)}}, {}, 2, kind});
        // Without weight there is no distance.
        expect_tree<TypeParam>({{{T(-5)}, {T(9)}}, {T(0)}, 2, kind});
    }
}

// The largest radius, or the largest population with a radius.
TYPED_TEST(CodebookTree, KindsSplitDifferentClusters)
{
    using T = typename TypeParam::Element;
    // Six rows close together around 0, two far apart around 1000, five equal ones at -1000.
    Training<T> training{{{T(-3)}, {T(-2)}, {T(-1)}, {T(1)}, {T(2)}, {T(3)}, {T(960)}, {T(1040)}}, {}, 4, 0};
    for (int r = 0; r < 7; ++r) training.rows.push_back({T(-1000)});
    const auto codewords = [&](SrCdbkKind kind) {
        training.kind = kind;
        expect_tree<TypeParam>(training);
        const Trained<TypeParam> trained(training);
        std::vector<T> all;
        for (int32_t i = 0; i < trained.view().count; ++i)
            all.push_back(trained.view().codewords[i * trained.view().row_step]);
        std::sort(all.begin(), all.end());
        return all;
    };
    EXPECT_EQ(codewords(SrCdbkTreeRadius), (std::vector<T>{T(-1000), T(0), T(960), T(1040)}));
    EXPECT_EQ(codewords(SrCdbkTreePopulation), (std::vector<T>{T(-1000), T(-2), T(2), T(1000)}));
}

template <class Family>
SrStatus status_of(const Training<typename Family::Element>& training)
{
    const Trained<Family> trained(training);
    EXPECT_EQ(trained.get() == nullptr, trained.status < 0);
    return trained.status;
}

// Nothing is handed out, nothing left, though the first split succeeded.
TEST(CodebookTree_32f, ASplitThatCannotPartItsHalvesIsABadArgument)
{
    for (int32_t width : {1, 2, 3, 8}) {
        Training<float> training{{}, {}, 2, SrCdbkTreeRadius};
        for (float x : {0.0F, 1e-4F, 2e-4F, 4e-4F}) training.rows.push_back(std::vector<float>(at(width), x));
        EXPECT_EQ(status_of<Family_32f>(training), SrErrBadArg);
        for (float x : {1.0F, 1.0002F, 1.0004F, 1.0008F})
            training.rows.push_back(std::vector<float>(at(width), x));
        EXPECT_EQ(status_of<Family_32f>(training), SrOk);
        training.size = 4;
        EXPECT_EQ(status_of<Family_32f>(training), SrErrBadArg);
    }
}

TEST(CodebookTree_16s, ASplitThatCannotPartItsHalvesIsABadArgument)
{
    const std::vector<int16_t> column = {1, 0, 3, 3, 0, 0, -1, -2, 3};
    Training<int16_t> training{{}, {}, 6, SrCdbkTreeRadius};
    for (int16_t x : column) training.rows.push_back({x});
    int refused = 0;
    for (SrCdbkKind kind : kTrees)
        for (int32_t size = 2; size <= 6; ++size) {
            training.kind = kind;
            training.size = size;
            refused += status_of<Family_16s>(training) == SrErrBadArg;
            expect_tree<Family_16s>(training);
        }
    EXPECT_GE(refused, 1);
}

// The weighted builder with ones is the plain builder.
TYPED_TEST(CodebookTree, WeightsOfOneAreNoWeights)
{
    using T = typename TypeParam::Element;
    const auto flags = [](const std::vector<T>& weights) {
        const Training<T> training{speech_rows<T>(3), weights, 7, SrCdbkTreeRadius};
        expect_tree<TypeParam>(training);
        const Trained<TypeParam> trained(training);
        EXPECT_EQ(trained.status, SrOk);
        return int32_t{trained.view().flags};
    };
    EXPECT_EQ(flags({}), 0);
    EXPECT_EQ(flags({T(1), T(1), T(1)}), 0);
    EXPECT_EQ(flags({T(1), T(1), T(2)}), 2);
    EXPECT_EQ(flags({T(0), T(1), T(1)}), 2);
}

}  // namespace
}  // namespace zelsr::test
