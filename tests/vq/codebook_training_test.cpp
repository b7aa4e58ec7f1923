// Codebooks grown as trees: every node, every neighbour, beside plainly written training.
#include <gtest/gtest.h>

#include <cmath>

#include "support/environment.h"
#include "support/operation.h"
#include "vq/tree_check.h"

namespace zelsr::test {
namespace {

template <class Family>
class CodebookTraining : public testing::Test {};
TYPED_TEST_SUITE(CodebookTraining, Families, FamilyNames);

// Speech, from the smallest codebooks on, around the limits of the neighbour count.
TYPED_TEST(CodebookTraining, OfSpeechIsTheReferencesNodeByNode)
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

TYPED_TEST(CodebookTraining, OfRandomRowsIsTheReferencesAtEveryWidth)
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
TYPED_TEST(CodebookTraining, OfManySmallSetsIsTheReferences)
{
    using T = typename TypeParam::Element;
    Seen seen;
    for (int round = 0; round < (thin_effort() ? 200 : 5000); ++round) {
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
TEST(CodebookTraining_32f, OfSetsAtEveryScaleIsTheReferences)
{
    Seen seen;
    for (int round = 0; round < (thin_effort() ? 200 : 3000); ++round) {
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

// Far from zero, distances within a millionth of the centroid's largest element count as none in the first
// cluster: such rows go to the new one in their order, not by distance.
TEST(CodebookTraining_32f, OfRowsFarFromZeroIsTheReferences)
{
    Training<float> one{{}, {}, 2, SrCdbkTreeRadius};
    for (int step : {-2, -1, -1, 1, 0, -1, -4}) one.rows.push_back({402 + 0x1p-7F * static_cast<float>(step)});
    expect_tree<Family_32f>(one);
    for (int round = 0; round < (thin_effort() ? 100 : 1000); ++round) {
        const float offset = uniform(100.0F, 1000.0F) * (round % 2 == 0 ? 1.0F : -1.0F);
        const float scale = std::exp2(static_cast<float>(-uniform(0, 28)) / 2);
        Training<float> training{{}, {}, uniform(2, 4), uniform(2, 3)};
        for (int count = uniform(4, 14), width = uniform(1, 2); count > 0; --count) {
            training.rows.emplace_back();
            for (int k = 0; k < width; ++k)
                training.rows.back().push_back(offset + scale * static_cast<float>(uniform(-4, 4)));
        }
        expect_tree<Family_32f>(training);
        if (testing::Test::HasFailure()) return;
    }
}

TEST(CodebookTraining_16s, OfTheWholeRangeIsTheReferences)
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
TYPED_TEST(CodebookTraining, OfManyRowsIsTheReferences)
{
    using T = typename TypeParam::Element;
    if (thin_effort()) return;
    for (SrCdbkKind kind : kTrees)
        expect_tree<TypeParam>({random_rows<T>(5000, 2, T(-3000), T(30000)), {}, 6, kind, 1});
}

// Rows that no distance orders: a status, nothing left or written beside, and the tree that the comparisons make
// of them.
TEST(CodebookTraining_32f, RowsThatAreNoNumbersOrOverflowEndInAStatus)
{
    std::vector<float> special = special_values<float>();
    special.insert(special.end(), {3e19F, -3e19F, 1e18F, 2e19F});
    for (int round = 0; round < (thin_effort() ? 100 : 1500); ++round) {
        const int width = uniform(1, 9), count = uniform(2, 14);
        Training<float> training{random_rows<float>(count, width, -9, 9), {}, uniform(2, count), uniform(1, 3)};
        for (int n = uniform(1, 6); n > 0; --n)
            training.rows[generator()() % training.rows.size()][generator()() % at(width)] =
                special[generator()() % special.size()];
        if (round % 4 == 0) training.weights = uniform_vector<float>(width, 0, 1e30F);
        if (round % 8 == 0) training.weights[0] = INFINITY;
        if (training.kind != SrCdbkFull) expect_tree<Family_32f>(training);
        if (testing::Test::HasFailure()) return;
        const Trained<Family_32f> trained(training);
        EXPECT_TRUE(trained.status == SrOk || trained.status == SrWarnCdbkSize || trained.status == SrErrBadArg ||
                    trained.status == SrErrSize)
            << trained.status;
    }
}

TYPED_TEST(CodebookTraining, IsTheSameUnderEachEnvironment)
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
TYPED_TEST(CodebookTraining, IsGrownOnAnyStack)
{
    using T = typename TypeParam::Element;
    const Training<T> training{speech_rows<T>(8), std::vector<T>(8, T(2)), 9, SrCdbkTreeRadius};
    const Tree<T> expected(training.rows, training.weights, training.size, training.kind);
    const std::vector<T> block = as_block(training.rows, 8);
    for (int misalign : {0, 4, 8, 12}) {
        typename TypeParam::State* state = nullptr;
        ASSERT_EQ(OnOddStack{misalign}(+TypeParam::kInitAllocWeighted, &state, block.data(),
                                       training.weights.data(), 8, 8, training.height(), 9, SrCdbkTreeRadius),
                  SrOk);
        NodeCheck<T> check(view_of(state));
        check(*expected.root, view_of(state).root);
        EXPECT_EQ(OnOddStack{misalign}(+TypeParam::kFree, state), SrOk);
        ASSERT_EQ(OnOddStack{misalign}(+TypeParam::kInitAlloc, &state, block.data(), 8, 8, training.height(), 9,
                                       SrCdbkTreeRadius),
                  SrOk);
        EXPECT_EQ(OnOddStack{misalign}(+TypeParam::kFree, state), SrOk);
    }
}
#endif

}  // namespace
}  // namespace zelsr::test
