// Language-model scaling: the larger of element and floor, times a factor, plus an addend.
#include <gtest/gtest.h>

#include <string>

#include "likelihood/log_domain.h"
#include "support/elementwise.h"
#include "support/faults.h"

namespace zelsr::test {
namespace {

constexpr float kInfinity = std::numeric_limits<float>::infinity();
constexpr float kNan = std::numeric_limits<float>::quiet_NaN();

struct Single {
    float floor, multiplier, addend;
};
struct Integer {
    int16_t floor, multiplier;
    int32_t addend;
};

// float -> float and 16 bits -> 32 bits.
struct Scale_32f {
    using In = float;
    using Out = float;
    using Constants = Single;
    static constexpr const char* kName = "32f";
    static constexpr Single kOrdinary = {-300, 12.5F, -7.25F};
    template <class How = Direct>
    static SrStatus call(const float* src, float* dst, int32_t len, const Single& c, How how = {})
    {
        return how(zelsScaleLM_32f, src, dst, len, c.floor, c.multiplier, c.addend);
    }
};
struct Scale_16s32s {
    using In = int16_t;
    using Out = int32_t;
    using Constants = Integer;
    static constexpr const char* kName = "16s32s";
    static constexpr Integer kOrdinary = {-300, 12, -70000};
    template <class How = Direct>
    static SrStatus call(const int16_t* src, int32_t* dst, int32_t len, const Integer& c, How how = {})
    {
        if constexpr (std::is_same_v<How, Direct>)
            return how(zelsScaleLM_16s32s, src, dst, len, c.floor, c.multiplier, c.addend);
        else  // as the caller lays them on the stack: each in a word of its own
            return how(
                reinterpret_cast<SrStatus (*)(const int16_t*, int32_t*, int32_t, int32_t, int32_t, int32_t)>(
                    zelsScaleLM_16s32s),
                src, dst, len, c.floor, c.multiplier, c.addend);
    }
};

template <class M>
std::vector<typename M::Out> scaled(const std::vector<typename M::In>& values, const typename M::Constants& c)
{
    std::vector<typename M::Out> all;
    for (auto x : values) all.push_back(reference::scale_lm(x, c.floor, c.multiplier, c.addend));
    return all;
}

template <class M>
testing::AssertionResult scales(const std::vector<typename M::In>& values, const typename M::Constants& c,
                                const std::array<Placement, 2>& places = {})
{
    return maps(
        values, scaled<M>(values, c),
        [&](const typename M::In* src, typename M::Out* dst, int32_t len) { return M::call(src, dst, len, c); },
        places[0], places[1]);
}

template <class M>
typename M::Out one(typename M::In x, const typename M::Constants& c)
{
    typename M::Out result{};
    EXPECT_EQ(M::call(&x, &result, 1, c), SrOk);
    return result;
}

template <class M>
class ScaleLM : public testing::Test {};
struct Name {
    template <class M>
    static std::string GetName(int)
    {
        return M::kName;
    }
};
using Members = testing::Types<Scale_32f, Scale_16s32s>;
TYPED_TEST_SUITE(ScaleLM, Members, Name);

TYPED_TEST(ScaleLM, EveryLengthAndPlacement)
{
    using In = typename TypeParam::In;
    using Out = typename TypeParam::Out;
    std::vector<int> swept;
    for (int length = 1; length <= 40; ++length) swept.push_back(length);
    swept.insert(swept.end(), {127, 128, 129, 257});
    at_every_place<2>(swept, {sizeof(In), sizeof(Out)}, [&](int length, const auto& places) {
        return scales<TypeParam>(uniform_vector<In>(length, -1000, 1000), TypeParam::kOrdinary, places);
    });
}

TYPED_TEST(ScaleLM, PointersThenLengthAreChecked)
{
    using In = typename TypeParam::In;
    using Out = typename TypeParam::Out;
    struct Arguments {
        const In* src;
        Out* dst;
        int32_t len;
    };
    Guarded<In> src(std::vector<In>(9, In(3)));
    Guarded<Out> dst(std::vector<Out>(9, Out(4)));
    const auto call = [](const Arguments& a) {
        return TypeParam::call(a.src, a.dst, a.len, TypeParam::kOrdinary);
    };
    for (int32_t length : {0, -1, INT32_MIN})
        expect_check_order<Arguments>({src.data(), dst.data(), 9},
                                      {{"null source", SrErrNullPtr, [](Arguments& a) { a.src = nullptr; }},
                                       {"null destination", SrErrNullPtr, [](Arguments& a) { a.dst = nullptr; }},
                                       {"length", SrErrSize, [=](Arguments& a) { a.len = length; }}},
                                      call, {&src, &dst});
    expect_reads_nothing_below_length_one<In>([&](In* nothing, int32_t len) {
        return call({nothing, reinterpret_cast<Out*>(nothing), len});
    });
}

#ifdef __i386__
TYPED_TEST(ScaleLM, RunsOnAnyStack)
{
    using In = typename TypeParam::In;
    using Out = typename TypeParam::Out;
    for (int misalign : {0, 4, 8, 12}) {
        const std::vector<In> values = uniform_vector<In>(37, -1000, 1000);
        EXPECT_TRUE(maps(values, scaled<TypeParam>(values, TypeParam::kOrdinary),
                         [=](const In* src, Out* dst, int32_t len) {
                             return TypeParam::call(src, dst, len, TypeParam::kOrdinary, OnOddStack{misalign});
                         }))
            << "stack on " << misalign;
    }
}
#endif

TEST(ScaleLM_32f, WorksInPlace)
{
    for (int length : lengths(16))
        for (const Placement& place : placements(sizeof(float))) {
            const std::vector<float> values = uniform_vector(length, -1000.0F, 1000.0F);
            ASSERT_TRUE(maps_onto_itself(
                values, scaled<Scale_32f>(values, Scale_32f::kOrdinary),
                [](float* src, float* dst, int32_t len) {
                    return Scale_32f::call(src, dst, len, Scale_32f::kOrdinary);
                },
                place));
        }
}

TEST(ScaleLM_32f, RoundsProductAndSum)
{
    for (int i = 0; i < 200; ++i)
        EXPECT_TRUE(scales<Scale_32f>(uniform_vector(67, -1000.0F, 1000.0F),
                                      {uniform(-900.0F, 100.0F), uniform(-20.0F, 20.0F), uniform(-50.0F, 50.0F)}));
    EXPECT_EQ(one<Scale_32f>(16777215, {0, 3, -50331644}), 0.0F)
        << "the product 50331645 is rounded before the sum";
}

TEST(ScaleLM_32f, TakesTheFloorForWhatLiesBelowIt)
{
    EXPECT_EQ(one<Scale_32f>(-1e10F, {-4.5e6F, 2, 1}), -9e6F + 1);
    EXPECT_EQ(one<Scale_32f>(-4.5e6F, {-4.5e6F, 2, 1}), -9e6F + 1);
    EXPECT_EQ(one<Scale_32f>(-3, {-4, 2, 1}), -5.0F);
    EXPECT_EQ(one<Scale_32f>(-kInfinity, {-4, 2, 1}), -7.0F);
    EXPECT_EQ(one<Scale_32f>(-5, {-kInfinity, 2, 1}), -9.0F);
    EXPECT_EQ(one<Scale_32f>(-5, {kInfinity, 2, 1}), kInfinity);
}

TEST(ScaleLM_32f, SpecialValues)
{
    const std::vector<float> values = special_values<float>();
    for (float floor : values)
        for (float multiplier : values)
            for (float addend : values)
                ASSERT_TRUE(scales<Scale_32f>(values, {floor, multiplier, addend}))
                    << floor << ", " << multiplier << ", " << addend;
}

TEST(ScaleLM_32f, AnElementThatIsNotANumberCountsAsTheFloor)
{
    EXPECT_EQ(one<Scale_32f>(kNan, {-4, 2, 1}), -7.0F);
    EXPECT_TRUE(std::isnan(one<Scale_32f>(3, {kNan, 2, 1})));
    for (int length : {1, 3, 4, 7, 8, 9, 16, 17})
        for (int position = 0; position < length; ++position) {
            std::vector<float> values = uniform_vector(length, -1000.0F, 1000.0F);
            values[static_cast<std::size_t>(position)] = position % 2 == 0 ? kNan : -kNan;
            ASSERT_TRUE(scales<Scale_32f>(values, Scale_32f::kOrdinary)) << length << ", " << position;
        }
}

TEST(ScaleLM_16s32s, EveryPairOfEnds)
{
    const std::vector<int16_t> ends = special_values<int16_t>();
    for (int16_t floor : ends)
        for (int16_t multiplier : ends)
            for (int32_t addend : special_values<int32_t>())
                ASSERT_TRUE(scales<Scale_16s32s>(ends, {floor, multiplier, addend}))
                    << floor << ", " << multiplier << ", " << addend;
}

TEST(ScaleLM_16s32s, TheProductIsFullAndTheSumWraps)
{
    EXPECT_EQ(one<Scale_16s32s>(-32768, {-32768, -32768, 0}), 1073741824);
    EXPECT_EQ(one<Scale_16s32s>(-32768, {-32768, 32767, 0}), -1073709056);
    EXPECT_EQ(one<Scale_16s32s>(-32768, {-32768, -32768, 1073741824}), INT32_MIN);
    EXPECT_EQ(one<Scale_16s32s>(-32768, {-32768, -32768, INT32_MAX}), -1073741825);
    EXPECT_EQ(one<Scale_16s32s>(-32768, {-32768, 32767, INT32_MIN}), 1073774592);
    EXPECT_EQ(one<Scale_16s32s>(-32768, {5, 100, 7}), 507);
    EXPECT_EQ(one<Scale_16s32s>(6, {5, 100, 7}), 607);
}

TEST(ScaleLM_16s32s, RandomConstants)
{
    for (int i = 0; i < 200; ++i)
        ASSERT_TRUE(
            scales<Scale_16s32s>(uniform_vector<int16_t>(67, INT16_MIN, INT16_MAX),
                                 {uniform<int16_t>(INT16_MIN, INT16_MAX), uniform<int16_t>(INT16_MIN, INT16_MAX),
                                  uniform<int32_t>(INT32_MIN, INT32_MAX)}));
}

}  // namespace
}  // namespace zelsr::test
