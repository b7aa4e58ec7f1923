// The nearest codeword of each row: every kind of codebook on every width, index by index and bit by bit beside
// plain searches.
#include <array>
#include <cfenv>

#include "support/faults.h"
#include "support/odd_stack.h"
#include "vq/search_members.h"

namespace zelsr::test {
namespace {

template <class Family>
class Search : public testing::Test {
  public:
    using T = typename Family::Element;
    using D = typename Family::Distance;

    // The rows, in one call of each form, against the reference.
    static testing::AssertionResult finds(const Quantiser<Family>& q, const Rows<T>& rows, int beyond = 0,
                                          int32_t sf = 0, Placement from = {}, Placement to = {})
    {
        const auto& book = q.book;
        const int step = book.width() + beyond, height = static_cast<int>(rows.size());
        Guarded<T> src(as_block(rows, at(step)), from);
        src.take_snapshot();
        Guarded<int32_t> index(rows.size(), to), index_too(rows.size(), to);
        Guarded<D> distance(rows.size(), to);
        const SrStatus status = Family::kNearest(src.data(), step, index.data(), height, q.get());
        const SrStatus status_too =
            Family::nearest_dist(src.data(), step, index_too.data(), distance.data(), height, q.get(), sf);
        if (status != SrOk || status_too != SrOk)
            return testing::AssertionFailure() << "status " << status << ", " << status_too;
        if (!src.as_snapshot()) return testing::AssertionFailure() << "the rows were written";
        if (!index.intact() || !index_too.intact() || !distance.intact())
            return testing::AssertionFailure() << "a byte beside the results was written";
        for (std::size_t r = 0; r < rows.size(); ++r) {
            const auto plain = reference::nearest(book, rows[r], false);
            const auto with_distance = reference::nearest(book, rows[r], true);
            if (index.get(r) != plain.index || index_too.get(r) != with_distance.index)
                return testing::AssertionFailure()
                       << q.describe() << ", row " << r << " (" << describe(rows[r]) << "): expected "
                       << plain.index << " and with distances " << with_distance.index << ", got " << index.get(r)
                       << " and " << index_too.get(r);
            if (const auto right = same_value(reference::reported<D>(with_distance.squared, sf), distance.get(r));
                !right)
                return testing::AssertionFailure() << q.describe() << ", row " << r << " (" << describe(rows[r])
                                                   << "), distance: " << right.message();
        }
        return testing::AssertionSuccess();
    }
};
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
                ASSERT_TRUE(this->finds(q, queries(q.book, thin_effort() ? 30 : 60), round % 3, scales.next()));
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
                ASSERT_TRUE(this->finds(q, queries(q.book, 25)));
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
                for (int beyond : {0, 1}) ASSERT_TRUE(this->finds(q, rows, beyond, 0, from)) << describe(from);
            for (const Placement& to : placements(4))
                ASSERT_TRUE(this->finds(q, rows, 0, 2, {}, to)) << describe(to);
        }
}

TYPED_TEST(Search, CodebooksOnEveryAddress)
{
    using T = typename TypeParam::Element;
    for (int width : {1, 2, 3, 4, 8, 9})
        for (const Placement& place : placements(1)) {
            const Quantiser<TypeParam> q(training_for<T>(Path::Plain, Values::Spread, width, 13), true, place);
            ASSERT_TRUE(this->finds(q, queries(q.book, 12))) << describe(place);
            ASSERT_TRUE(q.intact());
        }
}

TYPED_TEST(Search, ManyCodewords)
{
    for (int width : {1, 2, 4, 8, 16})
        for (Path path : {Path::Plain, Path::Weighted}) {
            const Quantiser<TypeParam> q(path, Values::Spread, width, thin_effort() ? 90 : 1023);
            ASSERT_TRUE(this->finds(q, queries(q.book, 50)));
        }
}

// --- ties and margins ---

// The nearer half of the rows becomes the left child and the second codeword.
TYPED_TEST(Search, ATieInATreeGoesToTheLeftInAWeightedOneToTheRight)
{
    using T = typename TypeParam::Element;
    for (int width : {1, 2, 3, 4, 5, 8, 9, 16, 17}) {
        const std::vector<T> low(at(width), T(-100)), high(at(width), T(100)), middle(at(width), T(0));
        for (SrCdbkKind kind : {SrCdbkTreeRadius, SrCdbkTreePopulation}) {
            const Quantiser<TypeParam> plain({{low, high}, {}, 2, kind});
            ASSERT_EQ(plain.book.root->left->index, 1);
            EXPECT_EQ(reference::nearest(plain.book, middle, false).index, 1);
            EXPECT_TRUE(this->finds(plain, {middle}));
            const Quantiser<TypeParam> weighted({{low, high}, std::vector<T>(at(width), T(2)), 2, kind});
            ASSERT_EQ(weighted.book.root->left->index, 1);
            EXPECT_EQ(reference::nearest(weighted.book, middle, false).index, 0);
            EXPECT_TRUE(this->finds(weighted, {middle}));
        }
    }
}

TYPED_TEST(Search, TiesGoToTheLowestIndex)
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

// --- values that are no distance ---

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
                    ASSERT_TRUE(Search<Search_32f>::finds(q, {x, std::vector<float>(at(width), 1.0F), x}));
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
            ASSERT_TRUE(Search<Search_16s>::finds(q, rows, 0, round - 3));
        }
    }
}

TEST(SearchValues, EveryScaleFactor)
{
    for (Path path : kPaths) {
        const Quantiser<Search_16s> q(path, Values::Spread, 2, 120);
        const Rows<int16_t> rows = queries(q.book, 5);
        for (int32_t sf = -160; sf <= 160; ++sf) ASSERT_TRUE(Search<Search_16s>::finds(q, rows, 0, sf)) << sf;
        for (int32_t sf : {INT32_MIN, INT32_MIN + 1, INT32_MAX})
            ASSERT_TRUE(Search<Search_16s>::finds(q, rows, 0, sf)) << sf;
    }
}

// --- the contract ---

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
            ASSERT_TRUE(this->finds(q, rows, 1));
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
