// Sums of two vectors of logarithms.
#include <gtest/gtest.h>

#include "likelihood/log_add_members.h"
#include "support/elementwise.h"
#include "support/environment.h"
#include "support/faults.h"

namespace zelsr::test::log_add {
namespace {

template <class M>
class LogAdd : public testing::Test {};
template <class M>
class LogAddFloat : public testing::Test {};
using Members = testing::Types<Add_32f, Add_64f, Add_32s_Sfs, Add_16s_Sfs>;
using FloatMembers = testing::Types<Add_32f, Add_64f>;
TYPED_TEST_SUITE(LogAdd, Members, MemberName);
TYPED_TEST_SUITE(LogAddFloat, FloatMembers, MemberName);

// --- every member ---

std::vector<int> swept_lengths()
{
    std::vector<int> all;
    for (int length = 1; length <= 40; ++length)
        if (!thin_effort() || length < 10 || length % 8 < 2) all.push_back(length);
    all.insert(all.end(), {127, 128, 129, 130, 131});
    if (!thin_effort()) all.insert(all.end(), {132, 133, 255, 256, 257, 259, 384, 385});
    return all;
}

TYPED_TEST(LogAdd, EveryLengthAndPlacement)
{
    using T = typename TypeParam::T;
    const Operands<T> all = operands<T>(400, 4, true);
    for (int32_t hint : kHints)
        at_every_place<2>(swept_lengths(), {sizeof(T), sizeof(T)}, [&](int length, const auto& places) {
            return adds<TypeParam>(first_of(all, length), 4, hint, places);
        });
}

TYPED_TEST(LogAdd, ASourceMayBeTheDestination)
{
    using T = typename TypeParam::T;
    const std::vector<T> all = operands<T>(400, 4, true).src;
    for (int32_t hint : kHints)
        at_every_place<1>(swept_lengths(), {sizeof(T)}, [&](int length, const auto& places) {
            const std::vector<T> values = window(all, 0, length);
            const Operands<T> same{values, values};
            return maps_onto_itself(
                values, element_by_element(same, [=](T x, T y) { return TypeParam::sum(x, y, 4, hint); }),
                [=](T* array, T* also, int32_t len) { return TypeParam::call(array, also, len, 4, hint); },
                places[0]);
        });
}

// Floating point: not a bit changes, that of a signalling NaN neither. Integers make their way to single precision
// and back, which those above 24 bits do not come through as they were.
TYPED_TEST(LogAdd, OtherHintsAddNothing)
{
    using T = typename TypeParam::T;
    for (int32_t hint : kOtherHints)
        for (int length : {1, 2, 3, 4, 5, 7, 8, 31, 128, 129, 257})
            for (int32_t sf : {0, 4, -4}) {
                Guarded<T> src(random_bits<T>(length)), srcdst(random_bits<T>(length));
                srcdst.take_snapshot();
                src.take_snapshot();
                const std::vector<T> before = srcdst.values();
                ASSERT_EQ(TypeParam::call(src.data(), srcdst.data(), length, sf, hint), SrOk);
                EXPECT_TRUE(src.as_snapshot() && srcdst.intact());
                if constexpr (std::is_floating_point_v<T>) {
                    EXPECT_TRUE(srcdst.as_snapshot()) << "hint " << hint;
                } else {
                    const Operands<T> pairs{src.values(), before};
                    EXPECT_TRUE(same_values(
                        element_by_element(pairs, [=](T x, T y) { return TypeParam::sum(x, y, sf, hint); }),
                        srcdst.values()))
                        << "hint " << hint << ", sf " << sf;
                }
            }
}

TYPED_TEST(LogAdd, LengthThenPointersAreChecked)
{
    using T = typename TypeParam::T;
    struct Arguments {
        const T* src;
        T* srcdst;
        int32_t len;
    };
    Guarded<T> src(std::vector<T>(9, T(3))), srcdst(std::vector<T>(9, T(4)));
    for (int32_t hint : {0, 1, 2, -1, 3})
        for (int32_t length : {0, -1, INT32_MIN})
            expect_check_order<Arguments>(
                {src.data(), srcdst.data(), 9},
                {{"length", SrErrSize, [=](Arguments& a) { a.len = length; }},
                 {"null source", SrErrNullPtr, [](Arguments& a) { a.src = nullptr; }},
                 {"null destination", SrErrNullPtr, [](Arguments& a) { a.srcdst = nullptr; }}},
                [=](const Arguments& a) { return TypeParam::call(a.src, a.srcdst, a.len, 4, hint); },
                {&src, &srcdst});
}

TYPED_TEST(LogAdd, ALengthBelowOneReadsNothing)
{
    using T = typename TypeParam::T;
    for (int32_t hint : {0, 1, 2, 3})
        expect_reads_nothing_below_length_one<T>(
            [=](T* nothing, int32_t len) { return TypeParam::call(nothing, nothing, len, 4, hint); });
}

#ifdef __i386__
TYPED_TEST(LogAdd, RunsOnAnyStack)
{
    using T = typename TypeParam::T;
    for (int misalign : {0, 4, 8, 12})
        for (int32_t hint : {0, 1, 2, 3})
            for (int length : {1, 7, 131}) {
                const Operands<T> all = operands<T>(length, 4, true);
                EXPECT_TRUE(
                    updates(all, element_by_element(all, [=](T x, T y) { return TypeParam::sum(x, y, 4, hint); }),
                            [=](const T* src, T* srcdst, int32_t len) {
                                return TypeParam::call(src, srcdst, len, 4, hint, OnOddStack{misalign});
                            }))
                    << "stack on " << misalign << ", hint " << hint;
            }
}
#endif

// --- floating point ---

// A lane's difference is in one of three intervals or below the cut; each group of lanes takes every combination,
// whole and cut short.
TYPED_TEST(LogAddFloat, EveryLaneHasItsOwnInterval)
{
    using T = typename TypeParam::T;
    using Domain = DomainOf<T>;
    constexpr int kLanes = 16 / sizeof(T);
    const double ends[] = {0, Domain::kBounds[0], Domain::kBounds[1], Domain::kCut, 1.5 * Domain::kCut};
    Operands<T> together;
    for (int combination = 0; combination < 1 << (2 * kLanes); ++combination) {
        Operands<T> group;
        for (int lane = 0; lane < kLanes; ++lane) {
            const int kind = combination >> (2 * lane) & 3;
            const T hi = uniform(T(-50), T(50));
            const T lo = hi + static_cast<T>(uniform(ends[kind + 1] + 0.001, ends[kind] - 0.001));
            const bool swapped = generator()() % 2 == 0;
            group.src.push_back(swapped ? lo : hi);
            group.srcdst.push_back(swapped ? hi : lo);
        }
        together.src.insert(together.src.end(), group.src.begin(), group.src.end());
        together.srcdst.insert(together.srcdst.end(), group.srcdst.begin(), group.srcdst.end());
        for (int32_t hint : kHints)
            for (int length = 1; length <= kLanes; ++length)
                ASSERT_TRUE(adds<TypeParam>(first_of(group, length), 0, hint))
                    << "combination " << combination << ", hint " << hint << ", length " << length;
    }
    for (int32_t hint : kHints) EXPECT_TRUE(adds<TypeParam>(together, 0, hint)) << "hint " << hint;
}

// Every bound with its neighbours, the spaces between them, larger terms of all sizes: where the larger term and
// the polynomial nearly cancel, the polynomial's own bits show.
TYPED_TEST(LogAddFloat, EveryDifference)
{
    using T = typename TypeParam::T;
    using Domain = DomainOf<T>;
    std::vector<T> differences;
    for (double d : {0.0, Domain::kBounds[0], Domain::kBounds[1], Domain::kCut})
        for (T near : around(static_cast<T>(d), 20)) differences.push_back(near);
    for (int i = 0; i < (thin_effort() ? 500 : 4000); ++i)
        differences.push_back(static_cast<T>(uniform(1.1 * Domain::kCut, 0.0)));
    std::vector<T> larger = {T(0),        T(-0.0),        T(1),          T(-0.6931472), T(-0.0751832),
                             T(-0.02975), T(-0.00111315), T(-0.0001234), T(12.25),      T(-300.7),
                             T(65536),    T(-4.4e6),      T(-4.5e6),     T(-1e10)};
    for (const Domain domain{}; double floor : {domain.kLogZero, domain.kFloorBelow, 1.1 * domain.kLogZero})
        for (T near : around(static_cast<T>(floor), 2)) larger.push_back(near);
    Operands<T> all;
    for (std::size_t i = 0; i < differences.size(); ++i)
        for (std::size_t k = 0; k < larger.size(); ++k) {
            if (i >= 200 && (i + k) % 8 != 0) continue;
            all.src.push_back(larger[k]);
            all.srcdst.push_back(larger[k] + differences[i]);
        }
    const Operands<T> swapped{all.srcdst, all.src};
    for (int32_t hint : kHints) {
        EXPECT_TRUE(adds<TypeParam>(all, 0, hint)) << "hint " << hint;
        EXPECT_TRUE(adds<TypeParam>(swapped, 0, hint)) << "hint " << hint;
    }
}

TYPED_TEST(LogAddFloat, EveryPairOfSpecialValues)
{
    using T = typename TypeParam::T;
    std::vector<T> values = special_values<T>();
    for (double x : {-4.5e6, -5e6, -9e9, -1e10, -2e10, 700.0, -700.0}) values.push_back(static_cast<T>(x));
    Operands<T> all;
    for (T x : values)
        for (T y : values) {
            all.src.push_back(x);
            all.srcdst.push_back(y);
        }
    for (int32_t hint : kHints)
        for (int misalign : {0, static_cast<int>(sizeof(T)), 3})
            EXPECT_TRUE(adds<TypeParam>(all, 0, hint, {Placement{misalign}, Placement{0}})) << "hint " << hint;
}

TYPED_TEST(LogAddFloat, NotANumberWithAnythingGivesNotANumber)
{
    using T = typename TypeParam::T;
    const T nan = std::numeric_limits<T>::quiet_NaN();
    for (int32_t hint : kHints)
        for (int length = 1; length <= 9; ++length)
            for (int position = 0; position < length; ++position)
                for (T other : special_values<T>())
                    for (bool in_source : {false, true}) {
                        const std::size_t at = static_cast<std::size_t>(position);
                        Operands<T> all = operands<T>(length, 0, true);
                        all.src[at] = in_source ? nan : other;
                        all.srcdst[at] = in_source ? other : nan;
                        Guarded<T> srcdst(all.srcdst);
                        TypeParam::call(all.src.data(), srcdst.data(), length, 0, hint);
                        ASSERT_TRUE(std::isnan(srcdst.get(at))) << "hint " << hint << ", with " << other;
                        ASSERT_TRUE(adds<TypeParam>(all, 0, hint)) << "hint " << hint << ", with " << other;
                    }
}

TYPED_TEST(LogAddFloat, InfiniteOperands)
{
    using T = typename TypeParam::T;
    const T infinity = std::numeric_limits<T>::infinity(), floor = static_cast<T>(DomainOf<T>::kLogZero);
    for (int32_t hint : kHints) {
        EXPECT_TRUE(std::isnan(one<TypeParam>(infinity, infinity, hint)));
        EXPECT_TRUE(std::isnan(one<TypeParam>(-infinity, -infinity, hint)));
        for (T x : {T(0), T(-20), std::numeric_limits<T>::max(), std::numeric_limits<T>::lowest(), -infinity}) {
            EXPECT_EQ(one<TypeParam>(infinity, x, hint), infinity);
            EXPECT_EQ(one<TypeParam>(x, infinity, hint), infinity);
            if (std::isinf(x)) continue;
            EXPECT_EQ(one<TypeParam>(-infinity, x, hint), std::max(x, floor));
            EXPECT_EQ(one<TypeParam>(x, -infinity, hint), std::max(x, floor));
        }
    }
}

// ln(1 + e^d) and its approximation: the polynomials' own errors are 4.6e-9 and 3.2e-15, to which a first bound
// that is rounded to single adds 3.5e-9. Their evaluation in single precision brings 1.6e-7, in double 5e-14.
// Below the cut the whole of e^d is missing, up to 1 / 4.5e6 and 1e-10. Differences are multiples of 2^-10, so
// that they are exact.
TYPED_TEST(LogAddFloat, IsTheLogarithmOfTheSum)
{
    using T = typename TypeParam::T;
    using Domain = DomainOf<T>;
    for (int32_t hint : kHints) {
        constexpr long double kSingle[] = {7.3e-9L, 1.6e-7L, 4.7e-9L};
        const long double approximation = sizeof(T) == 8 ? 5e-14L : kSingle[hint];
        for (T hi : {T(0), T(-100.25), T(1000)}) {
            Operands<T> all;
            for (int i = 0; i >= -24 * 1024; i -= thin_effort() ? 11 : 1) {
                all.src.push_back(hi + static_cast<T>(i) / 1024);
                all.srcdst.push_back(hi);
            }
            Guarded<T> srcdst(all.srcdst);
            ASSERT_EQ(
                TypeParam::call(all.src.data(), srcdst.data(), static_cast<int32_t>(all.src.size()), 0, hint),
                SrOk);
            for (std::size_t i = 0; i < all.src.size(); ++i) {
                const auto d = static_cast<long double>(all.src[i] - hi);
                const long double exact = static_cast<long double>(hi) + std::log1p(std::exp(d));
                const long double unit = std::abs(exact) * std::numeric_limits<T>::epsilon();
                const long double tolerance =
                    d < static_cast<long double>(Domain::kCut) ? std::exp(d) : approximation;
                ASSERT_NEAR(static_cast<long double>(srcdst.get(i)), exact, tolerance + unit)
                    << "d " << d << ", hi " << hi << ", hint " << hint;
            }
        }
    }
}

TEST(LogAdd_32f, ValuesAtTheEdges)
{
    for (int32_t hint : kHints) {
        const auto sum = [&](float x, float y) { return one<Add_32f>(x, y, hint); };
        EXPECT_EQ(sum(0, 0), 0.6931471827215062F) << "the polynomial's ln 2";
        EXPECT_EQ(sum(-4.5e6F, -4.5e6F), -4499999.5F) << "above the floor by ln 2";
        EXPECT_EQ(sum(-5e6F, -5e6F), -4999999.5F) << "no floor for terms near each other";
        EXPECT_EQ(sum(0, -16), 0.0F);
        EXPECT_EQ(sum(-16, 0), 0.0F);
        EXPECT_EQ(sum(-5e6F, -6e6F), -4.5e6F);
        EXPECT_EQ(sum(-6e6F, -5e6F), -4.5e6F);
        EXPECT_EQ(sum(-4.5e6F, -6e6F), -4.5e6F);
        EXPECT_EQ(sum(-4499999.5F, -6e6F), -4499999.5F);
        EXPECT_EQ(sum(-3.4e38F, 3.4e38F), 3.4e38F);
        EXPECT_EQ(sum(3e38F, 3e38F), 3e38F);
        EXPECT_EQ(sum(-3e38F, -3e38F), -3e38F);
        const float cut = -15.3195879547406F;
        EXPECT_GT(sum(0, cut), 2e-7F) << "the cut itself counts";
        EXPECT_EQ(sum(0, std::nextafter(cut, -20.0F)), 0.0F);
    }
}

// A difference that is a bound to the bit belongs to the interval below it, where t is 0 and the constant stands
// alone. The single that is nearest to -2.55 lies above it, that nearest to -6.8 below: hint 2 sees that.
TEST(LogAdd_32f, ADifferenceAtABoundBelongsToTheIntervalBelow)
{
    for (int32_t hint : {0, 1}) {
        EXPECT_EQ(one<Add_32f>(0, -2.55F, hint), 0.07518323027822499F);
        EXPECT_EQ(one<Add_32f>(0, -6.8F, hint), 0.0011131507706311817F);
    }
    const auto& table = reference::kFast;
    const auto extended = [&](int interval, long double t) {
        return static_cast<float>(reference::horner(table[static_cast<std::size_t>(interval)], t, 0, 10, 1));
    };
    EXPECT_FLOAT_EQ(one<Add_32f>(0, -2.55F, 2), extended(0, static_cast<long double>(-2.55F)));
    EXPECT_FLOAT_EQ(one<Add_32f>(0, -6.8F, 2), extended(2, static_cast<long double>(-6.8F) + 6.8));
}

// Hint 2 goes from the last element to the first, which arrays that overlap show.
TEST(LogAdd_32f, HintTwoBeginsAtTheLastElement)
{
    for (int length : {2, 3, 4, 5, 8, 9, 21})
        for (int source : {0, 2}) {
            std::vector<float> values = uniform_vector(length + 2, -4.0F, 4.0F);
            std::vector<float> expected = values;
            for (int i = length - 1; i >= 0; --i) {
                float& y = expected[static_cast<std::size_t>(1 + i)];
                y = reference::log_add_extended(expected[static_cast<std::size_t>(source + i)], y);
            }
            EXPECT_EQ(zelsLogAdd_32f(&values[static_cast<std::size_t>(source)], &values[1], length, 2), SrOk);
            EXPECT_TRUE(same_values(expected, values)) << "length " << length << ", source from " << source;
        }
}

TEST(LogAdd_32f, HintTwoKeepsAndIgnoresTheEnvironment)
{
    const Operands<float> all = operands<float>(67, 0, true);
    const std::vector<float> expected = element_by_element(all, reference::log_add_extended);
    std::vector<float> srcdst = all.srcdst;
    SrStatus status = SrErrUnknown;
    under_each_environment([&] { status = zelsLogAdd_32f(all.src.data(), srcdst.data(), 67, 2); },
                           [&](const std::string& setting) {
                               EXPECT_EQ(status, SrOk);
                               EXPECT_TRUE(same_values(expected, srcdst)) << setting;
                               srcdst = all.srcdst;
                           });
}

TEST(LogAdd_32f, TheHintsRoundDifferently)
{
    const Operands<float> all = operands<float>(1000, 0, true);
    int differ[3] = {0, 0, 0};
    for (std::size_t i = 0; i < all.src.size(); ++i) {
        const auto sum = [&](int hint) { return one<Add_32f>(all.src[i] / 100, all.srcdst[i] / 100, hint); };
        differ[0] += sum(0) != sum(1);
        differ[1] += sum(1) != sum(2);
        differ[2] += std::abs(sum(0) - sum(1)) > 1e-5F * std::max(1.0F, std::abs(sum(0)));
    }
    EXPECT_GT(differ[0], 10);
    EXPECT_GT(differ[1], 10);
    EXPECT_EQ(differ[2], 0);
}

TEST(LogAdd_64f, ValuesAtTheEdges)
{
    for (int32_t hint : kHints) {
        const auto sum = [&](double x, double y) { return one<Add_64f>(x, y, hint); };
        EXPECT_EQ(sum(0, 0), 0.6931471805599475) << "the polynomial's ln 2";
        EXPECT_EQ(sum(0, -3.5), 0.02975041827262059);
        EXPECT_EQ(sum(0, -9.0), 0.00012340218972425103);
        EXPECT_GT(sum(0, -23.0258509299405), 9e-11) << "the cut itself counts";
        EXPECT_EQ(sum(0, std::nextafter(-23.0258509299405, -24.0)), 0.0);
        EXPECT_EQ(sum(0, -24), 0.0);
        EXPECT_EQ(sum(-9.5e9, -9.6e9), -1e10);
        EXPECT_EQ(sum(-9.6e9, -9.5e9), -1e10);
        EXPECT_EQ(sum(-8.5e9, -9.6e9), -8.5e9);
        EXPECT_EQ(sum(-9e9, -9.6e9), -9e9);
        EXPECT_EQ(sum(std::nextafter(-9e9, -1e10), -9.6e9), -1e10);
        EXPECT_EQ(sum(-2e10, -3e10), -1e10) << "raised";
        EXPECT_EQ(sum(-1e10, -1e10), -1e10 + 0.6931471805599475);
        EXPECT_EQ(sum(-2e10, -2e10), -2e10 + 0.6931471805599475) << "no floor for terms near each other";
        EXPECT_EQ(sum(1e308, 1e308), 1e308);
        EXPECT_EQ(sum(-1.7e308, 1.7e308), 1.7e308);
    }
}

}  // namespace
}  // namespace zelsr::test::log_add
