// The nearest codeword of each row: every kind of codebook on every width, index by index and bit by bit beside
// plain searches.
#include <array>
#include <cfenv>

#include "support/faults.h"
#include "support/odd_stack.h"
#include "vq/search_check.h"

namespace zelsr::test {
namespace {

template <class Family>
class Search : public testing::Test {};
TYPED_TEST_SUITE(Search, Searches, SearchNames);

std::vector<int> some_widths()
{
    return thin_effort() ? std::vector<int>{1, 2, 3, 4, 8, 13}
                         : std::vector<int>{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 15, 16, 17, 24, 39};
}

TYPED_TEST(Search, EveryPathAtEveryWidth)
{
    Cycle counts(std::vector<int>{1, 2, 3, 4, 5, 7, 8, 12, 17, 33, 64});
    Cycle values(std::vector<Values>{Values::Spread, Values::Lattice, Values::Spread, Values::Speech});
    Cycle scales(std::vector<int32_t>{0, 3, -2, 8, -12});
    for (int width : some_widths())
        for (Path path : kPaths) {
            const bool table = path == Path::Table || path == Path::WeightedTable;
            for (int round = 0; round < (thin_effort() ? 2 : table ? 3 : 6) && has_path(path, width); ++round) {
                const int count = !table ? counts.next() : width == 1 ? uniform(20, 300) : uniform(100, 160);
                const Quantiser<TypeParam> q(path, values.next(), width, count,
                                             path == Path::Plain && round % 2 == 0);
                ASSERT_TRUE(finds(q, queries(q.book, thin_effort() ? 30 : 60), round % 3, scales.next()));
            }
        }
}

// Around multiples of the codewords that a kernel takes at a time.
TYPED_TEST(Search, EveryNumberOfCodewords)
{
    for (int width : {1, 2, 3, 4, 7, 8, 13})
        for (int count = 1; count <= (thin_effort() ? 6 : 20); ++count)
            for (Path path : {Path::Plain, Path::Weighted, Path::PlainTree, Path::WeightedTree}) {
                const Values values = count % 2 == 0 ? Values::Lattice : Values::Spread;
                const Quantiser<TypeParam> q(path, values, width, count, path == Path::Plain && width <= 2);
                ASSERT_TRUE(finds(q, queries(q.book, 25)));
            }
}

// In a plain full codebook each codeword is the nearest at each place of the list.
TYPED_TEST(Search, TheNearestAtEveryPlace)
{
    using T = typename TypeParam::Element;
    for (int width : {1, 2, 4, 5, 8, 16, 19})
        for (int count : {1, 3, 4, 5, 8, 11, 30}) {
            Training<T> training{{}, {}, count, SrCdbkFull};
            for (int i = 0; i < count; ++i) training.rows.push_back(std::vector<T>(at(width), T(100 * i)));
            const Quantiser<TypeParam> q(training, true);
            std::vector<int32_t> index(at(count));
            const std::vector<T> rows = as_block(training.rows, at(width));
            EXPECT_EQ(TypeParam::kNearest(rows.data(), width, index.data(), count, q.get()), SrOk);
            for (int i = 0; i < count; ++i) ASSERT_EQ(index[at(i)], i) << width << ", " << count;
        }
}

TYPED_TEST(Search, EveryAddress)
{
    using T = typename TypeParam::Element;
    for (int width : {1, 2, 3, 4, 8, 11, 20})
        for (Path path : kPaths) {
            if (!has_path(path, width)) continue;
            const Quantiser<TypeParam> q(path, Values::Spread, width, width <= 2 ? 130 : 21);
            const Rows<T> rows = queries(q.book, 9);
            for (const Placement& from : placements(sizeof(T)))
                for (int beyond : {0, 1}) ASSERT_TRUE(finds(q, rows, beyond, 0, from)) << describe(from);
            for (const Placement& to : placements(4)) ASSERT_TRUE(finds(q, rows, 0, 2, {}, to)) << describe(to);
        }
}

TYPED_TEST(Search, CodebooksOnEveryAddress)
{
    using T = typename TypeParam::Element;
    for (int width : {1, 2, 3, 4, 8, 9})
        for (const Placement& place : placements(1)) {
            const Quantiser<TypeParam> q(training_for<T>(Path::Plain, Values::Spread, width, 13), true, place);
            ASSERT_TRUE(finds(q, queries(q.book, 12))) << describe(place);
            ASSERT_TRUE(q.intact());
        }
}

TYPED_TEST(Search, ManyCodewords)
{
    for (int width : {1, 2, 4, 8, 16})
        for (Path path : {Path::Plain, Path::Weighted}) {
            const Quantiser<TypeParam> q(path, Values::Spread, width, thin_effort() ? 90 : 1023);
            ASSERT_TRUE(finds(q, queries(q.book, 50)));
        }
}

template <class Family>
struct Arguments {
    const typename Family::Element* src;
    int32_t step;
    int32_t* index;
    typename Family::Distance* distance;
    int32_t height;
    const typename Family::State* state;
};

TYPED_TEST(Search, ChecksPointersThenSizesThenTheStepAgainstTheWidth)
{
    using T = typename TypeParam::Element;
    using A = Arguments<TypeParam>;
    for (Path path : {Path::Plain, Path::Weighted, Path::PlainTree, Path::WeightedTree}) {
        const Quantiser<TypeParam> q(path, Values::Spread, 5, 12);
        const Guarded<T> src(std::vector<T>(10, T(1)));
        Guarded<int32_t> index(2);
        Guarded<typename TypeParam::Distance> distance(2);
        const A good{src.data(), 5, index.data(), distance.data(), 2, q.get()};
        for (int32_t bad : {0, -1, INT32_MIN}) {
            std::vector<Fault<A>> faults = {{"source", SrErrNullPtr, [](A& a) { a.src = nullptr; }},
                                            {"index", SrErrNullPtr, [](A& a) { a.index = nullptr; }},
                                            {"state", SrErrNullPtr, [](A& a) { a.state = nullptr; }},
                                            {"height", SrErrSize, [&](A& a) { a.height = bad; }},
                                            {"step", SrErrSize, [&](A& a) { a.step = bad; }},
                                            {"step below the width", SrErrSize, [](A& a) { a.step = 4; }}};
            expect_check_order<A>(
                good, faults,
                [](const A& a) { return TypeParam::kNearest(a.src, a.step, a.index, a.height, a.state); },
                {&index, &distance});
            faults.insert(faults.begin(), {"distance", SrErrNullPtr, [](A& a) { a.distance = nullptr; }});
            expect_check_order<A>(good, faults,
                                  [](const A& a) {
                                      return TypeParam::nearest_dist(a.src, a.step, a.index, a.distance, a.height,
                                                                     a.state, 0);
                                  },
                                  {&index, &distance});
        }
        EXPECT_EQ(TypeParam::kNearest(src.data(), INT32_MAX, index.data(), 1, q.get()), SrOk);
    }
}

TYPED_TEST(Search, AnUnknownKindYieldsNothing)
{
    using T = typename TypeParam::Element;
    for (SrCdbkKind kind : {kUnknownKind, 0, -1, INT32_MIN, INT32_MAX})
        for (int width : {1, 4, 5, 130}) {
            const Quantiser<TypeParam> q({some_rows<T>(Values::Spread, 12, width), {}, 12, kind}, true);
            const Guarded<T> src(std::vector<T>(at(3 * width), T(1)));
            Guarded<int32_t> index(3);
            Guarded<typename TypeParam::Distance> distance(3);
            index.take_snapshot();
            distance.take_snapshot();
            EXPECT_EQ(TypeParam::kNearest(src.data(), width, index.data(), 3, q.get()), SrOk);
            EXPECT_EQ(TypeParam::nearest_dist(src.data(), width, index.data(), distance.data(), 3, q.get(), 5),
                      SrOk);
            EXPECT_TRUE(index.as_snapshot());
            EXPECT_TRUE(distance.as_snapshot());
        }
}

TYPED_TEST(Search, AsksForMemoryBeyondWidth128Only)
{
    using T = typename TypeParam::Element;
    for (int width : {1, 8, 127, 128, 129, 200})
        for (Path path : {Path::Plain, Path::Weighted, Path::PlainTree, Path::WeightedTree}) {
            const Quantiser<TypeParam> q(path, Values::Spread, width, 9);
            const Rows<T> rows = queries(q.book, 7);
            ASSERT_TRUE(finds(q, rows, 1));
            const Guarded<T> src(as_block(rows, at(width)));
            Guarded<int32_t> index(7);
            Guarded<typename TypeParam::Distance> distance(7);
            const auto plain = [&] { return TypeParam::kNearest(src.data(), width, index.data(), 7, q.get()); };
            const auto with_distance = [&] {
                return TypeParam::nearest_dist(src.data(), width, index.data(), distance.data(), 7, q.get(), 0);
            };
            for (const std::function<SrStatus()>& call : {std::function<SrStatus()>(plain), {with_distance}}) {
                {
                    const AllocatorWatch watch;
                    EXPECT_EQ(call(), SrOk);
                    EXPECT_LE(watch.requests(), width <= 128 ? 0 : 1) << width << ", " << name_of(path);
                    EXPECT_EQ(watch.live(), 0);
                    if (watch.requests() == 0) continue;
                }
                expect_survives_refusals(call, {&index, &distance});
            }
        }
}

// Distances of small whole numbers are exact in every rounding mode: so are the indices. Integer distances are
// rounded to nearest, up to the root, which the caller's mode rounds.
TYPED_TEST(Search, AnswersAlikeInEveryRoundingMode)
{
    using T = typename TypeParam::Element;
    for (int width : {1, 2, 4, 5, 8})
        for (Path path : kPaths) {
            const bool scan = path == Path::Plain || path == Path::Weighted;
            if (!has_path(path, width) || (scan && width <= 2)) continue;  // whose rows lie too far apart
            const Quantiser<TypeParam> q(path, Values::Lattice, width, width <= 2 ? 130 : 14);
            Rows<T> rows = queries(q.book, 20);
            for (auto& row : rows)
                for (T& x : row) x = static_cast<T>(std::nearbyint(x));
            const std::vector<T> src = as_block(rows, at(width));
            for (int mode : {FE_TONEAREST, FE_DOWNWARD, FE_UPWARD, FE_TOWARDZERO}) {
                std::vector<int32_t> index(20), index_too(20);
                std::vector<typename TypeParam::Distance> distance(20);
                std::fesetround(mode);
                TypeParam::kNearest(src.data(), width, index.data(), 20, q.get());
                TypeParam::nearest_dist(src.data(), width, index_too.data(), distance.data(), 20, q.get(), 0);
                const int after = std::fegetround();
                std::fesetround(FE_TONEAREST);
                EXPECT_EQ(after, mode);
                for (std::size_t r = 0; r < rows.size(); ++r) {
                    const auto expected = reference::nearest(q.book, rows[r], true);
                    // The centroids of trees are not whole. On the border of two cells the mode decides between
                    // codewords at the same distance.
                    ASSERT_TRUE(index[r] >= 0 && index[r] < q.book.count());
                    if (q.book.root != nullptr) continue;
                    if (q.book.linear || q.book.square) {
                        const auto& codeword = q.book.codewords[at(index[r])];
                        EXPECT_EQ(reference::weighted_distance(rows[r], codeword, q.book.weights),
                                  expected.squared);
                    } else {
                        EXPECT_EQ(index[r], reference::nearest(q.book, rows[r], false).index);
                        EXPECT_EQ(index_too[r], expected.index);
                    }
                    EXPECT_NEAR(distance[r],
                                reference::reported<typename TypeParam::Distance>(expected.squared, 0),
                                1e-6 * static_cast<double>(distance[r]));
                }
                ASSERT_FALSE(testing::Test::HasFailure())
                    << name_of(path) << ", width " << width << ", mode " << mode;
            }
        }
}

#ifdef __i386__
TYPED_TEST(Search, RunsOnAnyStack)
{
    using T = typename TypeParam::Element;
    for (int width : {1, 2, 4, 8, 9, 130})
        for (Path path : kPaths) {
            if (!has_path(path, width)) continue;
            const Quantiser<TypeParam> q(path, Values::Spread, width, width <= 2 ? 130 : 9);
            const Rows<T> rows = queries(q.book, 4);
            const std::vector<T> src = as_block(rows, at(width));
            for (int misalign : {0, 4, 8, 12}) {
                int32_t index[4] = {-7, -7, -7, -7};
                typename TypeParam::Distance distance[4];
                const typename TypeParam::State* state = q.get();
                EXPECT_EQ(call_misaligned(TypeParam::kNearest, misalign, src.data(), width,
                                          static_cast<int32_t*>(index), 4, state),
                          SrOk);
                for (std::size_t r = 0; r < 4; ++r)
                    EXPECT_EQ(index[r], reference::nearest(q.book, rows[r], false).index);
                if constexpr (std::is_same_v<T, float>) {
                    EXPECT_EQ(
                        call_misaligned(zelsVQDist_32f, misalign, src.data(), width, static_cast<int32_t*>(index),
                                        static_cast<float*>(distance), 4, state),
                        SrOk);
                } else {
                    EXPECT_EQ(call_misaligned(zelsVQDist_16s32s_Sfs, misalign, src.data(), width,
                                              static_cast<int32_t*>(index), static_cast<int32_t*>(distance), 4,
                                              state, 0),
                              SrOk);
                }
                for (std::size_t r = 0; r < 4; ++r)
                    EXPECT_EQ(index[r], reference::nearest(q.book, rows[r], true).index);
            }
        }
}
#endif

}  // namespace
}  // namespace zelsr::test
