// Products of 16-bit integers under a scale factor: bits against the rule for one pair.
#include <gtest/gtest.h>

#include "support/environment.h"
#include "support/faults.h"
#include "support/operation.h"
#include "support/reference/multiply.h"
#include "zelsr/core/vector.h"

namespace zelsr::test {
namespace {

using Elements = std::vector<int16_t>;

constexpr int16_t kInteresting[] = {
    0,     1,     -1,    2,     -2,     3,      -3,    4,     5,     -5,    7,      -7,     15,    16,
    127,   -127,  128,   -128,  181,    -181,   182,   255,   256,   -256,  4095,   4096,   -4096, 8191,
    -8192, 11585, 16383, 16384, -16384, -16385, 23170, 23171, 32766, 32767, -32766, -32767, -32768};

// All pairs of the interesting values, first factors and second factors.
std::pair<Elements, Elements> all_pairs()
{
    std::pair<Elements, Elements> pairs;
    for (int16_t first : kInteresting)
        for (int16_t second : kInteresting) {
            pairs.first.push_back(first);
            pairs.second.push_back(second);
        }
    return pairs;
}

Elements products(const Elements& first, const Elements& second, int32_t sf)
{
    Elements results;
    for (std::size_t i = 0; i < first.size(); ++i)
        results.push_back(reference::product_16s(first[i], second[i], sf));
    return results;
}

// Where the product goes: an array of its own or one of the factors'.
enum class Target { Own, First, Second };

template <class How>
testing::AssertionResult multiplies(How how, const Elements& first_values, const Elements& second_values,
                                    int32_t sf, Target target = Target::Own,
                                    const std::array<Placement, 3>& places = {})
{
    Guarded<int16_t> first(first_values, places[0]);
    Guarded<int16_t> second(second_values, places[1]);
    Guarded<int16_t> own(first.size(), places[2]);
    for (GuardedBytes* array : {&first, &second, &own}) array->take_snapshot();
    Guarded<int16_t>& result = target == Target::First ? first : target == Target::Second ? second : own;
    const SrStatus status =
        how(zelsMul_16s_Sfs, first.data(), second.data(), result.data(), static_cast<int32_t>(first.size()), sf);
    if (auto right = status_is(SrOk, status); !right) return right;
    for (GuardedBytes* array : {&first, &second, &own})
        if (array == &result ? !array->intact() : !array->as_snapshot())
            return testing::AssertionFailure() << "a factor or a byte beside an array was written";
    return same_values(products(first_values, second_values, sf), result.values());
}

TEST(Mul_16s_Sfs, AllPairsOfInterestingValuesAtEveryScaleFactor)
{
    const auto [first, second] = all_pairs();
    for (int32_t sf : scale_factors()) ASSERT_TRUE(multiplies(Direct{}, first, second, sf)) << "sf " << sf;
}

TEST(Mul_16s_Sfs, RandomFactorsWhoseProductsLieAroundTheEdgeOf16Bits)
{
    for (int32_t sf = -20; sf <= 33; ++sf) {
        Elements first;
        Elements second;
        for (int i = 0; i < 300; ++i) {
            const int32_t factor = uniform(1, 32767);
            const std::int64_t edge = sf >= 0 ? std::int64_t{32768} << sf : 32768 >> std::min(-sf, 15);
            const auto other = reference::saturate<int16_t>(edge / factor + uniform(-1, 1));
            first.push_back(static_cast<int16_t>(i % 2 == 0 ? factor : -factor));
            second.push_back(i % 4 < 2 ? other : static_cast<int16_t>(-other));
        }
        ASSERT_TRUE(multiplies(Direct{}, first, second, sf)) << "sf " << sf;
    }
}

TEST(Mul_16s_Sfs, EveryLengthAndAddressOnOwnArrayAndOnEitherFactor)
{
    const Elements first = uniform_vector<int16_t>(140, -32768, 32767);
    const Elements second = uniform_vector<int16_t>(140, -32768, 32767);
    for (int32_t sf : {0, 1, 15, 31, -2, -16})
        for (Target target : {Target::Own, Target::First, Target::Second}) {
            if (target != Target::Own && sf != 15 && sf != -2) continue;
            SCOPED_TRACE(sf);
            at_every_place<3>(lengths(32), {2, 2, 2}, [&](int length, const auto& places) {
                return multiplies(Direct{}, window(first, length, length), window(second, length, length), sf,
                                  target, places);
            });
        }
}

TEST(Mul_16s_Sfs, SquaresOntoItself)
{
    const Elements values = uniform_vector<int16_t>(77, -32768, 32767);
    for (int32_t sf : {0, 1, 14, -3, -20}) {
        Guarded<int16_t> array(values, {2, Edge::Back});
        EXPECT_EQ(zelsMul_16s_Sfs(array.data(), array.data(), array.data(), 77, sf), SrOk);
        EXPECT_TRUE(array.intact());
        EXPECT_TRUE(same_values(products(values, values, sf), array.values())) << "sf " << sf;
    }
}

TEST(Mul_16s_Sfs, TiesGoToEvenAndSaturationIsToTheNearerEnd)
{
    const auto one = [](int16_t first, int16_t second, int32_t sf) {
        int16_t result = 99;
        EXPECT_EQ(zelsMul_16s_Sfs(&first, &second, &result, 1, sf), SrOk);
        return result;
    };
    EXPECT_EQ(one(5, 1, 1), 2);
    EXPECT_EQ(one(7, 1, 1), 4);
    EXPECT_EQ(one(-5, 1, 1), -2);
    EXPECT_EQ(one(-7, 1, 1), -4);
    EXPECT_EQ(one(6, 1, 2), 2);
    EXPECT_EQ(one(10, 1, 2), 2);
    EXPECT_EQ(one(-32768, -32768, 0), 32767);
    EXPECT_EQ(one(-32768, 32767, 0), -32768);
    EXPECT_EQ(one(-32768, -32768, 15), 32767);
    EXPECT_EQ(one(-32768, -32768, 16), 16384);
    EXPECT_EQ(one(-32768, -32768, 30), 1);
    EXPECT_EQ(one(-32768, 32767, 30), -1);
    EXPECT_EQ(one(16384, -32768, 30), 0);  // -0.5
    EXPECT_EQ(one(-32768, -32768, 31), 0);
    EXPECT_EQ(one(-32768, 32767, 31), 0);
    EXPECT_EQ(one(3, 5, -4), 240);
    EXPECT_EQ(one(-3, 5, -15), -32768);
    EXPECT_EQ(one(1, 1, -15), 32767);
    EXPECT_EQ(one(-1, -1, -16), 32767);
    EXPECT_EQ(one(1, -1, INT32_MIN), -32768);
    EXPECT_EQ(one(0, -1, -16), 0);
    EXPECT_EQ(one(-1, 0, INT32_MIN), 0);
}

TEST(Mul_16s_Sfs, KeepsAndIgnoresTheEnvironment)
{
    const auto [first, second] = all_pairs();
    for (int32_t sf : {0, 1, 13, 31, -3, -16}) {
        const Elements expected = products(first, second, sf);
        Elements result(first.size());
        under_each_environment(
            [&] {
                zelsMul_16s_Sfs(first.data(), second.data(), result.data(), static_cast<int32_t>(first.size()),
                                sf);
            },
            [&](const std::string& environment) {
                EXPECT_TRUE(same_values(expected, result)) << environment;
                result.assign(result.size(), 99);
            });
    }
}

TEST(Mul_16s_Sfs, ReportsNullBeforeLengthAndWritesNothing)
{
    struct Arguments {
        const int16_t* first;
        const int16_t* second;
        int16_t* dst;
        int32_t len;
    };
    const Guarded<int16_t> factors(Elements(40, 3));
    Guarded<int16_t> result(40);
    for (int32_t sf : {0, 5, 31, -5, -16}) {
        const auto call = [sf](const Arguments& a) {
            return zelsMul_16s_Sfs(a.first, a.second, a.dst, a.len, sf);
        };
        expect_check_order<Arguments>({factors.data(), factors.data(), result.data(), 40},
                                      {{"null first", SrErrNullPtr, [](Arguments& a) { a.first = nullptr; }},
                                       {"null second", SrErrNullPtr, [](Arguments& a) { a.second = nullptr; }},
                                       {"null destination", SrErrNullPtr, [](Arguments& a) { a.dst = nullptr; }},
                                       {"length 0", SrErrSize, [](Arguments& a) { a.len = 0; }},
                                       {"length -1", SrErrSize, [](Arguments& a) { a.len = -1; }},
                                       {"lowest length", SrErrSize, [](Arguments& a) { a.len = INT32_MIN; }}},
                                      call, {&result});
    }
    expect_reads_nothing_below_length_one<int16_t>([&](const int16_t* factor, int32_t length) {
        return zelsMul_16s_Sfs(factor, factor, result.data(), length, 1);
    });
}

#ifdef __i386__
TEST(Mul_16s_Sfs, RunsOnAnyStack)
{
    const auto [first, second] = all_pairs();
    for (int misalign : {0, 4, 8, 12})
        for (int32_t sf : {0, 1, 13, 31, -3, -16})
            EXPECT_TRUE(multiplies(OnOddStack{misalign}, first, second, sf)) << misalign << ", sf " << sf;
}
#endif

}  // namespace
}  // namespace zelsr::test
