// Codebooks grown as trees: every node, every neighbour, beside plainly written training.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>

#include "support/environment.h"
#include "support/odd_stack.h"
#include "vq/codebook_members.h"

namespace zelsr::test {
namespace {

using reference::Tree;

template <class Family>
class CodebookTree : public testing::Test {};
TYPED_TEST_SUITE(CodebookTree, Families, FamilyNames);

template <class T>
void collect_leaves(const ClusterView<T>* node, std::map<int32_t, const ClusterView<T>*>& leaves)
{
    if (node->leaf == 0) {
        collect_leaves(node->left, leaves);
        collect_leaves(node->right, leaves);
        return;
    }
    EXPECT_TRUE(leaves.emplace(node->index, node).second) << "two leaves of index " << node->index;
}

// The two vectors of a child in its parent's block.
template <class T>
std::vector<T> grandchildren(const reference::Cluster<T>& child)
{
    std::vector<T> pair = child.leaf() ? child.centroid : child.left->centroid;
    const std::vector<T>& second = child.leaf() ? child.centroid : child.right->centroid;
    pair.insert(pair.end(), second.begin(), second.end());
    return pair;
}

template <class T>
class NodeCheck {
  public:
    explicit NodeCheck(const CodebookView<T>& view)
        : width_(static_cast<std::size_t>(view.width)),
          aided_(view.width == 1 || view.width == 2 || view.width == 4 || view.width == 8)
    {
        collect_leaves(view.root, leaves_);
    }

    void operator()(const reference::Cluster<T>& expected, const ClusterView<T>* node) const
    {
        ASSERT_EQ(node->leaf, expected.leaf() ? 1 : 0);
        EXPECT_TRUE(same_value(expected.radius, node->radius));
        EXPECT_TRUE(same_values(expected.centroid, elements(node->centroid, width_)));
        EXPECT_EQ(node->population, expected.population);
        EXPECT_EQ(node->depth, expected.depth);
        EXPECT_EQ(node->aid != nullptr, aided_);
        if (testing::Test::HasFailure()) return;
        expected.leaf() ? check_leaf(expected, node) : check_inner(expected, node);
    }

  private:
    void check_leaf(const reference::Cluster<T>& expected, const ClusterView<T>* node) const
    {
        EXPECT_EQ(node->index, expected.index);
        EXPECT_EQ(node->left, nullptr);
        EXPECT_EQ(node->right, nullptr);
        ASSERT_EQ(node->neighbour_count, static_cast<int32_t>(expected.neighbours.size()));
        std::vector<T> centroids;
        for (std::size_t m = 0; m < expected.neighbours.size(); ++m) {
            const reference::Cluster<T>& neighbour = *expected.neighbours[m];
            EXPECT_EQ(node->neighbours[m], leaves_.at(neighbour.index))
                << "neighbour " << m << " of leaf " << node->index << " is " << node->neighbours[m]->index
                << " instead of " << neighbour.index;
            if (aided_) {
                EXPECT_EQ(node->aid->neighbours[m], node->neighbours[m]);
            }
            centroids.insert(centroids.end(), neighbour.centroid.begin(), neighbour.centroid.end());
        }
        if (!aided_) return;
        EXPECT_EQ(node->aid->children, nullptr);
        if (centroids.empty()) {
            EXPECT_EQ(node->aid->centroids, nullptr);
            EXPECT_EQ(node->aid->neighbours, nullptr);
        } else {
            EXPECT_TRUE(same_values(centroids, elements(node->aid->centroids, centroids.size())));
        }
    }

    void check_inner(const reference::Cluster<T>& expected, const ClusterView<T>* node) const
    {
        if (aided_) {
            std::vector<T> four = grandchildren(*expected.left);
            const std::vector<T> last_two = grandchildren(*expected.right);
            four.insert(four.end(), last_two.begin(), last_two.end());
            EXPECT_TRUE(same_values(four, elements(node->aid->children, four.size())));
        }
        (*this)(*expected.left, node->left);
        (*this)(*expected.right, node->right);
    }

    std::size_t width_;
    bool aided_;
    std::map<int32_t, const ClusterView<T>*> leaves_;
};

// What training made of the data is told through seen.
struct Seen {
    int repairs = 0, refused = 0, early_ends = 0;
};
template <class Family>
void expect_tree(const Training<typename Family::Element>& training, Seen* seen = nullptr)
{
    using T = typename Family::Element;
    const std::vector<T> weights = training.all_weights();
    const Tree<T> expected(training.rows, weights, training.size, training.kind);
    const Trained<Family> trained(training);
    if (seen != nullptr) {
        seen->repairs += expected.repairs;
        seen->refused += expected.status < 0;
        seen->early_ends += expected.status > 0;
    }
    ASSERT_EQ(trained.status, expected.status) << training.describe();
    if (expected.status < 0) {
        EXPECT_EQ(trained.get(), nullptr);
        return;
    }
    const CodebookView<T> view = trained.view();
    ASSERT_NO_FATAL_FAILURE(expect_record(view, training, static_cast<int32_t>(expected.leaves.size()),
                                          rounded_up(training.step(), Family::kRowMultiple)));
    EXPECT_EQ(view.depth, expected.depth);
    EXPECT_EQ(view.field, nullptr);
    for (const auto* leaf : expected.leaves)
        EXPECT_TRUE(same_values(leaf->centroid,
                                elements(view.codewords + leaf->index * view.row_step, leaf->centroid.size())))
            << "codeword " << leaf->index;
    NodeCheck<T> check(view);
    check(*expected.root, view.root);
    ASSERT_FALSE(testing::Test::HasFailure()) << training.describe();
}

const std::vector<SrCdbkKind> kTrees = {SrCdbkTreeRadius, SrCdbkTreePopulation};

// Speech, from the smallest codebooks on, around the limits of the neighbour count.
TYPED_TEST(CodebookTree, OfSpeechIsTheReferencesNodeByNode)
{
    using T = typename TypeParam::Element;
    Cycle<Placement> placements_of_rows(placements(sizeof(T)));
    for (int32_t width : {1, 2, 3, 4, 5, 7, 8})
        for (SrCdbkKind kind : kTrees)
            for (int32_t size : {1, 2, 3, 4, 5, 16, 17, 32, 33}) {
                if (thin_effort() && size > 5) continue;
                Training<T> training{speech_rows<T>(width), {}, size, kind, size % 3};
                training.placement = placements_of_rows.next();
                if (size % 2 == 0) training.weights = uniform_vector(width, T(0), T(4));
                expect_tree<TypeParam>(training);
                if (testing::Test::HasFailure()) return;
            }
}

TYPED_TEST(CodebookTree, OfRandomRowsIsTheReferencesAtEveryWidth)
{
    using T = typename TypeParam::Element;
    Cycle<Placement> placements_of_rows(placements(sizeof(T)));
    for (int32_t width = 1; width <= (thin_effort() ? 9 : 36); ++width) {
        Training<T> training{random_rows<T>(60, width, T(-900), T(900)), {}, 9, 2 + width % 2, width % 5};
        training.placement = placements_of_rows.next();
        if (width % 3 == 0) training.weights = uniform_vector(width, T(0), T(9));
        expect_tree<TypeParam>(training);
        if (testing::Test::HasFailure()) return;
    }
}

// Few small integers: ties, equal rows, fallen centroids, rows without weight, clusters that cannot be parted.
TYPED_TEST(CodebookTree, OfManySmallSetsIsTheReferences)
{
    using T = typename TypeParam::Element;
    Seen seen;
    for (int round = 0; round < (thin_effort() ? 200 : 8000); ++round) {
        const int width = uniform(1, 3), count = uniform(1, 12), reach = uniform(1, 6);
        Training<T> training{{}, {}, uniform(1, count), uniform(2, 3), uniform(0, 1)};
        for (int r = 0; r < count; ++r) {
            training.rows.emplace_back();
            for (int k = 0; k < width; ++k) training.rows.back().push_back(static_cast<T>(uniform(-reach, reach)));
        }
        if (round % 2 == 0)
            for (int k = 0; k < width; ++k) training.weights.push_back(static_cast<T>(uniform(0, 3)));
        expect_tree<TypeParam>(training, &seen);
        if (testing::Test::HasFailure()) return;
    }
    EXPECT_GT(seen.repairs, 10);
    EXPECT_GT(seen.early_ends, 10);
}

// The same at ever smaller scale, down to where centroids count as fallen together although they are not, and
// where no row is far enough from them.
TEST(CodebookTree_32f, OfSetsAtEveryScaleIsTheReferences)
{
    Seen seen;
    for (int round = 0; round < (thin_effort() ? 200 : 4000); ++round) {
        const int width = uniform(1, 3), count = uniform(2, 14);
        const float scale = std::exp2(static_cast<float>(-uniform(0, 80)) / 4);
        const float offset = round % 3 == 0 ? uniform(-4.0F, 4.0F) : 0;
        Training<float> training{{}, {}, uniform(2, count), uniform(2, 3)};
        for (int r = 0; r < count; ++r) {
            training.rows.emplace_back();
            const float lift = r % 3 == 0 ? 1.0F : 0.0F;  // two far clusters of close rows
            for (int k = 0; k < width; ++k)
                training.rows.back().push_back(offset + lift + scale * static_cast<float>(uniform(-3, 3)));
        }
        expect_tree<Family_32f>(training, &seen);
        if (testing::Test::HasFailure()) return;
    }
    EXPECT_GT(seen.repairs, 10);
    EXPECT_GT(seen.refused, 10);
}

TEST(CodebookTree_16s, OfTheWholeRangeIsTheReferences)
{
    for (int round = 0; round < (thin_effort() ? 10 : 60); ++round) {
        const int width = uniform(1, 12);
        Training<int16_t> training{
            random_rows<int16_t>(40, width, -32768, 32767), {}, uniform(2, 12), uniform(2, 3)};
        for (int r = 0; r < 10; ++r)
            training.rows[static_cast<std::size_t>(r)][0] = r % 2 == 0 ? int16_t{-32768} : int16_t{32767};
        if (round % 2 == 0) training.weights = uniform_vector<int16_t>(width, 0, 32767);
        expect_tree<Family_16s>(training);
        if (testing::Test::HasFailure()) return;
    }
}

// Enough rows that sums of many, one by one, round as they stand, also in the centroids of inner nodes.
TYPED_TEST(CodebookTree, OfManyRowsIsTheReferences)
{
    using T = typename TypeParam::Element;
    if (thin_effort()) return;
    for (SrCdbkKind kind : kTrees)
        expect_tree<TypeParam>({random_rows<T>(5000, 2, T(-3000), T(30000)), {}, 6, kind, 1});
}

// The halves of 0, 1, 10, 11 by distance from their mean 5.5 are 1, 10 and 0, 11: both centroids are 5.5. The new
// one is pushed towards the first row and takes the lower two; its place in the list is the second.
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

// Rows that no distance orders: no promise but a status, and that nothing is left or written beside.
TEST(CodebookTree_32f, RowsThatAreNoNumbersOrOverflowEndInAStatus)
{
    std::vector<float> special = special_values<float>();
    special.insert(special.end(), {3e19F, -3e19F, 1e18F, 2e19F});
    for (int round = 0; round < (thin_effort() ? 100 : 2000); ++round) {
        const int width = uniform(1, 9), count = uniform(2, 14);
        Training<float> training{random_rows<float>(count, width, -9, 9), {}, uniform(2, count), uniform(1, 3)};
        for (int n = uniform(1, 6); n > 0; --n)
            training.rows[generator()() % training.rows.size()][generator()() % at(width)] =
                special[generator()() % special.size()];
        if (round % 4 == 0) training.weights = uniform_vector<float>(width, 0, 1e30F);
        if (round % 8 == 0) training.weights[0] = INFINITY;
        const Trained<Family_32f> trained(training);
        EXPECT_TRUE(trained.status == SrOk || trained.status == SrWarnCdbkSize || trained.status == SrErrBadArg ||
                    trained.status == SrErrSize)
            << trained.status;
    }
}

TYPED_TEST(CodebookTree, IsTheSameUnderEachEnvironment)
{
    using T = typename TypeParam::Element;
    const Training<T> training{speech_rows<T>(4), {T(3), T(1), T(2), T(1)}, 9, SrCdbkTreeRadius};
    const Tree<T> expected(training.rows, training.weights, training.size, training.kind);
    typename TypeParam::State* state = nullptr;
    SrStatus status = SrErrUnknown;
    under_each_environment([&] { status = train<TypeParam>(training, &state); },
                           [&](const std::string& setting) {
                               SCOPED_TRACE(setting);
                               ASSERT_EQ(status, SrOk);
                               NodeCheck<T> check(view_of(state));
                               check(*expected.root, view_of(state).root);
                               EXPECT_EQ(TypeParam::kFree(state), SrOk);
                           });
}

#ifdef __i386__
TYPED_TEST(CodebookTree, IsGrownOnAnyStack)
{
    using T = typename TypeParam::Element;
    const Training<T> training{speech_rows<T>(8), std::vector<T>(8, T(2)), 9, SrCdbkTreeRadius};
    const Tree<T> expected(training.rows, training.weights, training.size, training.kind);
    const std::vector<T> block = as_block(training.rows, 8);
    for (int misalign : {0, 4, 8, 12}) {
        typename TypeParam::State* state = nullptr;
        ASSERT_EQ(call_misaligned(+TypeParam::kInitAllocWeighted, misalign, &state, block.data(),
                                  training.weights.data(), 8, 8, training.height(), 9, SrCdbkTreeRadius),
                  SrOk);
        NodeCheck<T> check(view_of(state));
        check(*expected.root, view_of(state).root);
        EXPECT_EQ(call_misaligned(+TypeParam::kFree, misalign, state), SrOk);
        ASSERT_EQ(call_misaligned(+TypeParam::kInitAlloc, misalign, &state, block.data(), 8, 8, training.height(),
                                  9, SrCdbkTreeRadius),
                  SrOk);
        EXPECT_EQ(call_misaligned(+TypeParam::kFree, misalign, state), SrOk);
    }
}
#endif

}  // namespace
}  // namespace zelsr::test
