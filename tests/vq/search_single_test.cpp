// The nearest few codewords of one vector, and all within a factor of the best.
#include <cfenv>

#include "support/environment.h"
#include "support/faults.h"
#include "support/odd_stack.h"
#include "vq/search_members.h"

namespace zelsr::test {
namespace {

using reference::Ranking;

template <class Family>
class Single : public testing::Test {
  public:
    using T = typename Family::Element;
    using D = typename Family::Distance;

    // One form's results between guard pages: as many places as it may fill.
    struct Places {
        Guarded<int32_t> index;
        Guarded<D> distance;
        explicit Places(std::size_t count, Placement place = {}) : index(count, place), distance(count, place) {}
        bool intact() const { return index.intact() && distance.intact(); }
    };
    // The first places, and nothing behind them.
    template <class V>
    static testing::AssertionResult fills(const std::vector<V>& expected, const Guarded<V>& places)
    {
        std::vector<V> all = Guarded<V>(places.size()).values();  // its pattern
        std::copy(expected.begin(), expected.end(), all.begin());
        return same_values(all, places.values());
    }

    static testing::AssertionResult sorts(const Quantiser<Family>& q, const std::vector<T>& x, int wanted,
                                          int32_t sf = 0, Placement from = {}, Placement to = {})
    {
        const auto expected = reference::nearest_few<D>(q.book, x, wanted, sf);
        Guarded<T> src(x, from);
        src.take_snapshot();
        Places plain(at(wanted), to), both(at(wanted), to);
        if (const SrStatus s = Family::kSort(src.data(), plain.index.data(), q.get(), wanted); s != SrOk)
            return testing::AssertionFailure() << "status " << s;
        if (auto right = workspace_is_left(q, expected.index); !right) return right;
        if (auto s = Family::sort_dist(src.data(), both.index.data(), both.distance.data(), q.get(), wanted, sf);
            s != SrOk)
            return testing::AssertionFailure() << "status with distances " << s;
        if (auto right = workspace_is_left(q, expected.index); !right) return right;
        if (!src.as_snapshot() || !plain.intact() || !both.intact() || !q.intact())
            return testing::AssertionFailure() << "bytes were written that should not";
        for (const auto& index : {plain.index.values(), both.index.values()})
            if (auto right = same_values(expected.index, index); !right)
                return testing::AssertionFailure() << q.describe() << ": index " << right.message();
        return same_values(expected.distance, both.distance.values());
    }

    // Codewords taken are left at the largest single, the others at their distance.
    static testing::AssertionResult workspace_is_left(const Quantiser<Family>& q,
                                                      const std::vector<int32_t>& taken)
    {
        for (int32_t k : taken)
            if (q.view().workspace[k] != FLT_MAX)
                return testing::AssertionFailure() << "workspace " << k << ": " << q.view().workspace[k];
        return testing::AssertionSuccess();
    }

    static testing::AssertionResult lists(const Quantiser<Family>& q, const std::vector<T>& x, float factor,
                                          int32_t sf = 0, Placement from = {}, Placement to = {})
    {
        // r of the form without distances is a single in both families.
        const auto plain = reference::within<float>(q.book, x, factor, std::is_same_v<T, float>, sf);
        const auto both = reference::within<D>(q.book, x, factor, true, sf);
        Guarded<T> src(x, from);
        src.take_snapshot();
        Places plain_places(q.book.codewords.size(), to), both_places(q.book.codewords.size(), to);
        Guarded<int32_t> found(1, to);
        if (auto s = Family::kThresh(src.data(), plain_places.index.data(), q.get(), factor, found.data());
            s != SrOk)
            return testing::AssertionFailure() << "status " << s;
        if (found.get(0) != static_cast<int32_t>(plain.index.size()))
            return testing::AssertionFailure() << q.describe() << ", factor " << factor << ":" << describe(x)
                                               << ": expected " << plain.index.size() << ", got " << found.get(0);
        if (auto right = fills(plain.index, plain_places.index); !right)
            return testing::AssertionFailure() << q.describe() << ", factor " << factor << ": " << right.message();
        found.set(0, -1);
        if (auto s = Family::thresh_dist(src.data(), both_places.index.data(), both_places.distance.data(),
                                         q.get(), factor, found.data(), sf);
            s != SrOk)
            return testing::AssertionFailure() << "status with distances " << s;
        if (found.get(0) != static_cast<int32_t>(both.index.size()))
            return testing::AssertionFailure()
                   << q.describe() << ", factor " << factor << ", sf " << sf << ":" << describe(x)
                   << ", with distances: expected " << both.index.size() << ", got " << found.get(0);
        if (auto right = fills(both.index, both_places.index); !right)
            return testing::AssertionFailure() << q.describe() << ", with distances: " << right.message();
        if (!src.as_snapshot() || !plain_places.intact() || !both_places.intact() || !found.intact() ||
            !q.intact())
            return testing::AssertionFailure() << "bytes were written that should not";
        return fills(both.distance, both_places.distance);
    }
};
TYPED_TEST_SUITE(Single, Searches, SearchNames);

std::vector<int> some_widths()
{
    return thin_effort() ? std::vector<int>{1, 2, 4, 8, 13}
                         : std::vector<int>{1, 2, 3, 4, 5, 7, 8, 9, 10, 11, 12, 16, 17, 39, 130};
}

int some_count(Path path, int width)
{
    const bool table = path == Path::Table || path == Path::WeightedTable;
    return !table ? uniform(1, 30) : width == 1 ? uniform(20, 60) : uniform(100, 130);
}

TYPED_TEST(Single, SortedAtEveryWidthOnEveryPath)
{
    Cycle values(std::vector<Values>{Values::Spread, Values::Lattice, Values::Speech});
    Cycle scales(std::vector<int32_t>{0, 4, -3, 9});
    for (int width : some_widths())
        for (Path path : kPaths)
            for (int round = 0; round < (thin_effort() ? 1 : 3) && has_path(path, width); ++round) {
                const Quantiser<TypeParam> q(path, values.next(), width, some_count(path, width));
                for (const auto& x : queries(q.book, 8)) {
                    const int count = q.book.count();
                    for (int wanted : {1, std::min(2, count), uniform(1, count), count})
                        ASSERT_TRUE(this->sorts(q, x, wanted, scales.next())) << wanted;
                }
            }
}

TYPED_TEST(Single, ListedAtEveryWidthOnEveryPath)
{
    Cycle values(std::vector<Values>{Values::Spread, Values::Lattice, Values::Speech});
    Cycle scales(std::vector<int32_t>{0, 4, -3, 9});
    Cycle factors(std::vector<float>{1, 1.0000001F, 1.000001F, 1.1F, 1.5F, 2, 10, 1e6F});
    for (int width : some_widths())
        for (Path path : kPaths)
            for (int round = 0; round < (thin_effort() ? 1 : 3) && has_path(path, width); ++round) {
                const Quantiser<TypeParam> q(path, values.next(), width, some_count(path, width));
                for (const auto& x : queries(q.book, 12))
                    for (int i = 0; i < 3; ++i) ASSERT_TRUE(this->lists(q, x, factors.next(), scales.next()));
            }
}

TYPED_TEST(Single, EveryAddress)
{
    using T = typename TypeParam::Element;
    for (int width : {1, 4, 5, 20})
        for (Path path : {Path::Plain, Path::Weighted, Path::PlainTree, Path::WeightedTree}) {
            const Quantiser<TypeParam> q(path, Values::Spread, width, 11);
            const std::vector<T> x = queries(q.book, 2)[1];
            for (const Placement& from : placements(sizeof(T))) {
                ASSERT_TRUE(this->sorts(q, x, std::min(5, q.book.count()), 0, from)) << describe(from);
                ASSERT_TRUE(this->lists(q, x, 1.5F, 0, from)) << describe(from);
            }
            for (const Placement& to : placements(4)) {
                ASSERT_TRUE(this->sorts(q, x, std::min(5, q.book.count()), 0, {}, to)) << describe(to);
                ASSERT_TRUE(this->lists(q, x, 1.5F, 0, {}, to)) << describe(to);
            }
        }
}

TYPED_TEST(Single, CodebooksOnEveryAddress)
{
    using T = typename TypeParam::Element;
    for (const Placement& place : placements(1)) {
        const Quantiser<TypeParam> q(training_for<T>(Path::Plain, Values::Lattice, 3, 12), true, place);
        ASSERT_TRUE(this->sorts(q, q.book.codewords[3], 12)) << describe(place);
        ASSERT_TRUE(this->lists(q, q.book.codewords[3], 3)) << describe(place);
    }
}

// The true ranking, whatever a tree's search would say; equal distances by index.
TYPED_TEST(Single, RanksByDistanceThenIndex)
{
    using T = typename TypeParam::Element;
    const Quantiser<TypeParam> q({{{T(5)}, {T(-2)}, {T(9)}, {T(2)}, {T(-2)}, {T(0)}}, {}, 6, SrCdbkFull});
    const T x = 0;
    int32_t index[6];
    EXPECT_EQ(TypeParam::kSort(&x, index, q.get(), 6), SrOk);
    EXPECT_EQ(std::vector<int32_t>(index, index + 6), (std::vector<int32_t>{5, 1, 3, 4, 0, 2}));
    for (int32_t k = 0; k < 6; ++k) EXPECT_EQ(q.view().workspace[k], FLT_MAX);
    typename TypeParam::Distance distance[6];
    EXPECT_EQ(TypeParam::sort_dist(&x, index, distance, q.get(), 3, 0), SrOk);
    EXPECT_EQ(distance[0], 0);
    EXPECT_EQ(distance[1], 2);
    EXPECT_EQ(distance[2], 2);
}

TYPED_TEST(Single, ListsWithinTheFactorByValue)
{
    using T = typename TypeParam::Element;
    const Quantiser<TypeParam> q({{{T(30)}, {T(-10)}, {T(21)}, {T(20)}, {T(10)}, {T(-300)}}, {}, 6, SrCdbkFull});
    const T x = 0;
    const auto listed = [&](float factor) {
        int32_t index[6], found = -1;
        EXPECT_EQ(TypeParam::kThresh(&x, index, q.get(), factor, &found), SrOk);
        int32_t index_too[6], found_too = -1;
        typename TypeParam::Distance distance[6];
        EXPECT_EQ(TypeParam::thresh_dist(&x, index_too, distance, q.get(), factor, &found_too, 0), SrOk);
        EXPECT_EQ(std::vector<int32_t>(index, index + found),
                  std::vector<int32_t>(index_too, index_too + found_too));
        for (int32_t i = 0; i < found; ++i) EXPECT_EQ(distance[i], std::abs(q.book.codewords[at(index[i])][0]));
        return std::vector<int32_t>(index, index + found);
    };
    EXPECT_EQ(listed(1), (std::vector<int32_t>{1, 4}));
    EXPECT_EQ(listed(1.99F), (std::vector<int32_t>{1, 4}));
    EXPECT_EQ(listed(2), (std::vector<int32_t>{1, 4, 3}));
    EXPECT_EQ(listed(2.1F), (std::vector<int32_t>{1, 4, 3, 2}));
    EXPECT_EQ(listed(3), (std::vector<int32_t>{1, 4, 3, 2, 0}));
    EXPECT_EQ(listed(30), (std::vector<int32_t>{1, 4, 3, 2, 0, 5}));
    EXPECT_EQ(listed(3e38F).size(), 6u);
}

// A codeword itself: the bound is zero, and only codewords at no distance are within it.
TYPED_TEST(Single, AtADistanceOfZero)
{
    using T = typename TypeParam::Element;
    const Quantiser<TypeParam> q({{{T(7)}, {T(3)}, {T(7)}, {T(8)}}, {}, 4, SrCdbkFull});
    for (float factor : {1.0F, 100.0F}) {
        ASSERT_TRUE(this->lists(q, {T(7)}, factor));
        const T x = 7;
        int32_t index[4], found = -1;
        EXPECT_EQ(TypeParam::kThresh(&x, index, q.get(), factor, &found), SrOk);
        ASSERT_EQ(found, 2);
        EXPECT_EQ(index[0], 0);
        EXPECT_EQ(index[1], 2);
    }
}

// The reference is the tree's answer: codewords below it are listed first.
TYPED_TEST(Single, ATreesAnswerNeedNotBeTheNearest)
{
    int below = 0;
    for (int round = 0; round < 40; ++round) {
        const Quantiser<TypeParam> q(round % 2 == 0 ? Path::PlainTree : Path::WeightedTree, Values::Spread, 8, 60);
        for (const auto& x : queries(q.book, 20)) {
            const auto plain =
                reference::within<float>(q.book, x, 1, std::is_same_v<typename TypeParam::Element, float>, 0);
            ASSERT_TRUE(this->lists(q, x, 1));
            below += plain.index.size() > 1;
        }
        if (below > 3) return;
    }
    FAIL() << "no tree was wrong";
}

// Integer distances of the form with distances bound and are listed rounded.
TEST(SingleThresh16s, RoundedDistancesAndTruncatedBound)
{
    const Quantiser<Search_16s> q(
        {{{0, 0, 10}, {0, 7, 7}, {0, 0, 14}, {0, 0, 15}, {0, 0, 16}}, {}, 5, SrCdbkFull});
    const int16_t x[3] = {};
    const auto listed = [&](float factor, int32_t sf) {
        int32_t index[5], distance[5], found = -1;
        EXPECT_EQ(zelsVQDistSingle_Thresh_16s32s_Sfs(x, index, distance, q.get(), factor, &found, sf), SrOk);
        std::vector<std::pair<int32_t, int32_t>> all;
        for (int32_t i = 0; i < found; ++i) all.emplace_back(index[i], distance[i]);
        return all;
    };
    using List = std::vector<std::pair<int32_t, int32_t>>;
    // The nearest is codeword 1 at sqrt(98) = 9.8995, in integers 10: all up to 10 are as near.
    EXPECT_EQ(listed(1, 0), (List{{1, 10}, {0, 10}}));
    EXPECT_EQ(listed(1.49F, 0), (List{{1, 10}, {0, 10}, {2, 14}}));
    // A quarter of 9.8995 becomes 2, and r = 8: the nearest lies beyond it, yet is listed with its 2 before the
    // list ends.
    EXPECT_EQ(listed(1, 2), (List{{1, 2}}));
    EXPECT_EQ(listed(1.5F, 2), (List{{1, 2}, {0, 2}}));   // up to 12 and 3; 10 / 4 rounds to 2
    EXPECT_EQ(listed(1.75F, 2), (List{{1, 2}, {0, 2}}));  // up to 14, but 14 / 4 rounds to 4, above 3.5
    EXPECT_EQ(listed(2, 2), (List{{1, 2}, {0, 2}, {2, 4}, {3, 4}, {4, 4}}));
}

TEST(SingleThresh16s, EveryScaleFactor)
{
    for (Path path : {Path::Plain, Path::Weighted, Path::PlainTree, Path::WeightedTree})
        for (Values values : {Values::Spread, Values::Lattice}) {
            const Quantiser<Search_16s> q(path, values, 3, 20);
            for (const auto& x : queries(q.book, 4)) {
                for (int32_t sf = -160; sf <= 160; ++sf)
                    for (float factor : {1.0F, 1.5F}) {
                        ASSERT_TRUE(Single<Search_16s>::lists(q, x, factor, sf)) << sf;
                        ASSERT_TRUE(Single<Search_16s>::sorts(q, x, 20 < q.book.count() ? 20 : 1, sf)) << sf;
                    }
            }
        }
}

// Whatever the scale factor, a list ends, and stays within its arrays.
TEST(SingleThresh16s, ListsEndAtEveryScaleFactor)
{
    const Quantiser<Search_16s> q(Path::Plain, Values::Spread, 3, 20);
    for (const auto& x : queries(q.book, 6))
        for (int32_t sf : {INT32_MIN, INT32_MIN + 1, -1000, -200, -150, -129, -128, -127, -64, -32,      -31,
                           -30,       -24,           -20,   -16,  127,  128,  149,  150,  200, INT32_MAX})
            for (float factor : {1.0F, 2.0F, 1e30F, FLT_MAX, std::numeric_limits<float>::infinity()}) {
                Guarded<int32_t> index(at(q.book.count())), distance(at(q.book.count()));
                int32_t found = -1;
                EXPECT_EQ(zelsVQDistSingle_Thresh_16s32s_Sfs(x.data(), index.data(), distance.data(), q.get(),
                                                             factor, &found, sf),
                          SrOk);
                EXPECT_GE(found, 0);
                EXPECT_LE(found, q.book.count());
                EXPECT_TRUE(index.intact() && distance.intact());
            }
}

TEST(Single32f, Infinities)
{
    constexpr float kInf = std::numeric_limits<float>::infinity();
    for (int width : {1, 3, 4})
        for (Path path : {Path::Plain, Path::Weighted, Path::PlainTree, Path::WeightedTree}) {
            const Quantiser<Search_32f> q(path, Values::Lattice, width, 7);
            for (float value : {kInf, -kInf, 1e30F, 3e19F, 1e18F, 1e-40F}) {
                std::vector<float> x(at(width), 0.5F);
                x.back() = value;
                EXPECT_TRUE(Single<Search_32f>::sorts(q, x, q.book.count())) << value;
                for (float factor : {1.0F, 2.0F, kInf})
                    EXPECT_TRUE(Single<Search_32f>::lists(q, x, factor)) << value << ", " << factor;
            }
        }
}

// No order is promised among distances that are no numbers, but indices are those of codewords.
TEST(Single32f, NotANumber)
{
    constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
    for (int count : {5, 128, 129, 257, 1000})
        for (int first : {0, 1, 128, 256, 5000}) {
            Training<float> t{some_rows<float>(Values::Spread, count, 3), {}, count, SrCdbkFull};
            for (int i = first; i < count; i += first == 1 ? 7 : 128) t.rows[at(i)][1] = kNan;
            const Quantiser<Search_32f> q(t);
            for (const auto& x : {std::vector<float>{0.1F, 0.2F, 0.3F}, {0.1F, kNan, 0.3F}}) {
                Guarded<int32_t> index(at(count));
                Guarded<float> distance(at(count));
                int32_t found = 0;
                EXPECT_EQ(zelsVQDistSingle_Sort_32f(x.data(), index.data(), distance.data(), q.get(), count),
                          SrOk);
                for (int32_t i : index.values()) ASSERT_TRUE(i >= 0 && i < count) << i;
                EXPECT_EQ(zelsVQDistSingle_Thresh_32f(x.data(), index.data(), distance.data(), q.get(), 5, &found),
                          SrOk);
                ASSERT_TRUE(found >= 0 && found <= count);
                for (int32_t i = 0; i < found; ++i) ASSERT_TRUE(index.get(at(i)) >= 0 && index.get(at(i)) < count);
                ASSERT_TRUE(index.intact() && distance.intact());
            }
        }
}

// Long lists are ranked in pieces.
TYPED_TEST(Single, LongRankings)
{
    for (int count : {127, 128, 129, 256, 300, thin_effort() ? 600 : 3000}) {
        const Quantiser<TypeParam> q(Path::Plain, count % 2 == 0 ? Values::Spread : Values::Lattice, 3, count);
        const auto x = queries(q.book, 4)[3];
        ASSERT_TRUE(this->sorts(q, x, count)) << count;
        ASSERT_TRUE(this->lists(q, x, 3)) << count;
    }
}

template <class Family>
struct Arguments {
    const typename Family::Element* src;
    int32_t* index;
    typename Family::Distance* distance;
    typename Family::State* state;
    int32_t wanted;
    float factor;
    int32_t* found;
};

TYPED_TEST(Single, ChecksPointersThenNumbers)
{
    using T = typename TypeParam::Element;
    using A = Arguments<TypeParam>;
    constexpr float kInf = std::numeric_limits<float>::infinity(), kNan = std::numeric_limits<float>::quiet_NaN();
    const Quantiser<TypeParam> q(Path::Plain, Values::Spread, 5, 6);
    const Guarded<T> src(std::vector<T>(5, T(1)));
    Guarded<int32_t> index(6), found(1);
    Guarded<typename TypeParam::Distance> distance(6);
    const A good{src.data(), index.data(), distance.data(), q.get(), 6, 1, found.data()};
    const std::vector<Fault<A>> nulls = {{"source", SrErrNullPtr, [](A& a) { a.src = nullptr; }},
                                         {"index", SrErrNullPtr, [](A& a) { a.index = nullptr; }},
                                         {"state", SrErrNullPtr, [](A& a) { a.state = nullptr; }}};
    const Fault<A> no_distance{"distance", SrErrNullPtr, [](A& a) { a.distance = nullptr; }};
    const Fault<A> no_found{"found", SrErrNullPtr, [](A& a) { a.found = nullptr; }};
    const std::vector<GuardedBytes*> outputs = {&index, &distance, &found};
    for (int32_t bad : {0, -1, 7, INT32_MIN, INT32_MAX}) {
        std::vector<Fault<A>> faults = nulls;
        faults.push_back({"wanted", SrErrSize, [&](A& a) { a.wanted = bad; }});
        expect_check_order<A>(
            good, faults, [](const A& a) { return TypeParam::kSort(a.src, a.index, a.state, a.wanted); }, outputs);
        faults.insert(faults.begin(), no_distance);
        expect_check_order<A>(
            good, faults,
            [](const A& a) { return TypeParam::sort_dist(a.src, a.index, a.distance, a.state, a.wanted, 0); },
            outputs);
    }
    for (float bad : {0.99999994F, 0.0F, -1.0F, -2.0F, kNan, -kNan, -kInf}) {
        std::vector<Fault<A>> faults = nulls;
        faults.push_back(no_found);
        faults.push_back({"factor", SrErrBadArg, [&](A& a) { a.factor = bad; }});
        expect_check_order<A>(
            good, faults,
            [](const A& a) { return TypeParam::kThresh(a.src, a.index, a.state, a.factor, a.found); }, outputs);
        faults.insert(faults.begin(), no_distance);
        expect_check_order<A>(
            good, faults,
            [](const A& a) {
                return TypeParam::thresh_dist(a.src, a.index, a.distance, a.state, a.factor, a.found, 0);
            },
            outputs);
    }
}

TYPED_TEST(Single, AnUnknownKindSortsButListsNothing)
{
    using T = typename TypeParam::Element;
    for (int width : {1, 5, 130}) {
        const Quantiser<TypeParam> q({some_rows<T>(Values::Spread, 12, width), {}, 12, kUnknownKind}, true);
        const std::vector<T> x = queries(q.book, 2)[1];
        EXPECT_TRUE(this->sorts(q, x, 12));
        EXPECT_TRUE(this->lists(q, x, 2));
    }
}

TYPED_TEST(Single, RefusedMemoryLeavesTheResultsAsTheyWere)
{
    using T = typename TypeParam::Element;
    using D = typename TypeParam::Distance;
    for (int width : {1, 128, 129, 200})
        for (Path path : {Path::Plain, Path::Weighted, Path::PlainTree, Path::WeightedTree}) {
            const Quantiser<TypeParam> q(path, Values::Spread, width, 9);
            const Guarded<T> src(queries(q.book, 2)[1]);
            Guarded<int32_t> index(9), found(1);
            Guarded<D> distance(9);
            const std::vector<std::function<SrStatus()>> calls = {
                [&] { return TypeParam::kSort(src.data(), index.data(), q.get(), 1); },
                [&] { return TypeParam::sort_dist(src.data(), index.data(), distance.data(), q.get(), 1, 0); },
                [&] { return TypeParam::kThresh(src.data(), index.data(), q.get(), 2, found.data()); },
                [&] {
                    return TypeParam::thresh_dist(src.data(), index.data(), distance.data(), q.get(), 2,
                                                  found.data(), 0);
                }};
            for (const auto& call : calls) {
                int requests = 0;
                {
                    const AllocatorWatch watch;
                    EXPECT_EQ(call(), SrOk);
                    EXPECT_EQ(watch.live(), 0);
                    requests = watch.requests();
                }
                EXPECT_LE(requests, width <= 128 ? 0 : 1) << q.describe();
                if (requests > 0) expect_survives_refusals(call, {&index, &distance, &found});
            }
        }
}

#ifdef __i386__
TYPED_TEST(Single, RunsOnAnyStack)
{
    using T = typename TypeParam::Element;
    for (int width : {1, 4, 9, 130}) {
        const Quantiser<TypeParam> q(Path::WeightedTree, Values::Spread, width, 9);
        const std::vector<T> row = queries(q.book, 2)[1];
        const T* x = row.data();
        const int count = q.book.count();
        const auto few = reference::nearest_few<float>(q.book, row, count, 0);
        const auto near = reference::within<float>(q.book, row, 2.0F, std::is_same_v<T, float>, 0);
        std::vector<int32_t> index(at(count)), integers(at(count));
        std::vector<float> singles(at(count));
        int32_t found = 0;
        for (int misalign : {0, 4, 8, 12}) {
            EXPECT_EQ(call_misaligned(TypeParam::kSort, misalign, x, index.data(), q.get(), count), SrOk);
            EXPECT_TRUE(same_values(few.index, index));
            EXPECT_EQ(call_misaligned(TypeParam::kThresh, misalign, x, index.data(), q.get(), 2.0F, &found), SrOk);
            EXPECT_EQ(at(found), near.index.size());
            if constexpr (std::is_same_v<T, float>) {
                EXPECT_EQ(call_misaligned(zelsVQDistSingle_Sort_32f, misalign, x, index.data(), singles.data(),
                                          q.get(), count),
                          SrOk);
                EXPECT_TRUE(same_values(few.distance, singles));
                EXPECT_EQ(call_misaligned(zelsVQDistSingle_Thresh_32f, misalign, x, index.data(), singles.data(),
                                          q.get(), 2.0F, &found),
                          SrOk);
            } else {
                EXPECT_EQ(call_misaligned(zelsVQDistSingle_Sort_16s32s_Sfs, misalign, x, index.data(),
                                          integers.data(), q.get(), count, 0),
                          SrOk);
                EXPECT_TRUE(same_values(few.index, index));
                EXPECT_EQ(call_misaligned(zelsVQDistSingle_Thresh_16s32s_Sfs, misalign, x, index.data(),
                                          integers.data(), q.get(), 2.0F, &found, 0),
                          SrOk);
            }
        }
    }
}
#endif

}  // namespace
}  // namespace zelsr::test
