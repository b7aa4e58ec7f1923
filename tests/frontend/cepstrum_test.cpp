// The transforms against their plain reference.
#include "zelsr/frontend/cepstrum.h"

#include <cfenv>
#include <cmath>
#include <type_traits>

#include "frontend/cepstrum_members.h"
#include "support/arrangements.h"
#include "support/bits.h"
#include "support/environment.h"
#include "support/faults.h"
#include "support/guarded.h"
#include "support/hooks.h"
#include "support/odd_stack.h"

namespace zelsr::test::cepstrum {
namespace {

template <class Transform>
class Cepstrum : public testing::Test {};
struct TransformNames {
    template <class Transform>
    static std::string GetName(int)
    {
        return std::is_same_v<Transform, Single> ? "32f" : std::is_same_v<Transform, Fixed16s> ? "16s" : "32s16s";
    }
};
using Transforms = testing::Types<Single, Fixed16s, Fixed32s>;
TYPED_TEST_SUITE(Cepstrum, Transforms, TransformNames);

// Logarithms of filter-bank outputs, as large as the type makes them.
template <class Source>
std::vector<Source> random_source(int count)
{
    if constexpr (std::is_same_v<Source, float>)
        return uniform_vector(count, -3.0F, 20.0F);
    else if constexpr (std::is_same_v<Source, int16_t>)
        return uniform_vector<int16_t>(count, INT16_MIN, INT16_MAX);
    else
        return uniform_vector<int32_t>(count, INT32_MIN, INT32_MAX);
}
template <class Transform>
int32_t random_sf()
{
    return std::is_same_v<Transform, Fixed32s> ? uniform(14, 20) : uniform(0, 5);
}

template <class Transform, class State>
testing::AssertionResult transforms(const State* state, const Recipe& s,
                                    const std::vector<typename Transform::Source>& x, int32_t sf,
                                    const Arrangement& where = Arrangement(2))
{
    Guarded<typename Transform::Source> src(x, where[0]);
    Guarded<typename Transform::Result> dst(s.results(), where[1]);
    src.take_snapshot();
    const SrStatus status = Transform::call(src.data(), dst.data(), state, sf);
    testing::AssertionResult right = same_values(Transform::expected(x, s, sf), dst.values());
    if (status != SrOk) right = testing::AssertionFailure() << "status " << status;
    if (!dst.intact()) right = testing::AssertionFailure() << "written beside the destination";
    if (!src.as_snapshot()) right = testing::AssertionFailure() << "the source was written";
    if (right) return right;
    return testing::AssertionFailure() << describe(s) << ", sf " << sf << ", " << test::describe(where) << ": "
                                       << right.message();
}

std::vector<int> input_lengths()
{
    if (thin_effort()) return {1, 4, 7, 8, 23};
    return {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 15, 16, 17, 20, 23, 24, 26, 31, 32, 33, 40};
}

// Coefficients in groups of four and left over, inputs in steps of four and of eight and the rests of both.
TYPED_TEST(Cepstrum, EveryShape)
{
    using Source = typename TypeParam::Source;
    Cycle<Form> form({Form::Plain, Form::C0, Form::Mul, Form::MulC0, Form::C0});
    for (int len_dct : input_lengths())
        for (int len_cep = 1; len_cep <= std::min(len_dct, 14); ++len_cep) {
            const Recipe s = random_recipe(form.next(), len_dct, len_cep);
            const Owned<typename TypeParam::Kind> record(s);
            ASSERT_TRUE(
                transforms<TypeParam>(record.get(), s, random_source<Source>(len_dct), random_sf<TypeParam>()));
        }
    for (int len : {24, 37}) {
        const Recipe s = random_recipe(form.next(), len, len);
        const Owned<typename TypeParam::Kind> record(s);
        ASSERT_TRUE(transforms<TypeParam>(record.get(), s, random_source<Source>(len), random_sf<TypeParam>()));
    }
}

TYPED_TEST(Cepstrum, EveryAlignment)
{
    using Source = typename TypeParam::Source;
    for (const auto& [len_dct, len_cep] : {std::pair{23, 13}, {24, 12}, {8, 3}, {6, 5}}) {
        const Recipe s = random_recipe(Form::C0, len_dct, len_cep);
        const Owned<typename TypeParam::Kind> record(s);
        for (std::size_t element : {sizeof(Source), sizeof(typename TypeParam::Result)})
            for (const Arrangement& where : arrangements(2, element))
                ASSERT_TRUE(transforms<TypeParam>(record.get(), s, random_source<Source>(len_dct),
                                                  random_sf<TypeParam>(), where));
    }
}

TYPED_TEST(Cepstrum, SpecialValues)
{
    using Source = typename TypeParam::Source;
    const std::vector<Source> special = special_values<Source>();
    const Recipe s = random_recipe(Form::MulC0, 11, 6);
    const Owned<typename TypeParam::Kind> record(s);
    for (int turn = 0; turn < 200; ++turn) {
        std::vector<Source> x = random_source<Source>(11);
        for (int i = 0; i < turn % 11; ++i) x[generator()() % x.size()] = special[generator()() % special.size()];
        ASSERT_TRUE(transforms<TypeParam>(record.get(), s, x, random_sf<TypeParam>()));
    }
    for (Source value : special)
        ASSERT_TRUE(transforms<TypeParam>(record.get(), s, std::vector<Source>(11, value), 3));
}

TYPED_TEST(Cepstrum, ChecksPointersOnly)
{
    using Source = typename TypeParam::Source;
    using Result = typename TypeParam::Result;
    struct Arguments {
        const Source* src;
        Result* dst;
        const typename TypeParam::Kind::State* state;
    };
    const Recipe s = random_recipe(Form::C0, 8, 3);
    const Owned<typename TypeParam::Kind> record(s);
    Guarded<Source> src(random_source<Source>(8));
    Guarded<Result> dst(4);
    expect_check_order<Arguments>({src.data(), dst.data(), record.get()},
                                  {{"null record", SrErrNullPtr, [](Arguments& a) { a.state = nullptr; }},
                                   {"null source", SrErrNullPtr, [](Arguments& a) { a.src = nullptr; }},
                                   {"null destination", SrErrNullPtr, [](Arguments& a) { a.dst = nullptr; }}},
                                  [](const Arguments& a) { return TypeParam::call(a.src, a.dst, a.state, 0); },
                                  {&src, &dst});
}

TYPED_TEST(Cepstrum, NothingIsAllocated)
{
    using Source = typename TypeParam::Source;
    const Recipe s = random_recipe(Form::C0, 300, 200);
    const Owned<typename TypeParam::Kind> record(s);
    const AllocatorWatch watch(1);
    EXPECT_TRUE(transforms<TypeParam>(record.get(), s, random_source<Source>(300), random_sf<TypeParam>()));
    EXPECT_EQ(watch.requests(), 0);
}

// A constant input x gives len_dct * x under a multiplier of 1, behind the other coefficients.
TYPED_TEST(Cepstrum, C0StandsLast)
{
    using Source = typename TypeParam::Source;
    const Recipe s{Form::C0, 20, 3, 22, 1, 1, {}};
    const Owned<typename TypeParam::Kind> record(s);
    const std::vector<Source> x(20, Source(7));
    std::vector<typename TypeParam::Result> dst(4);
    ASSERT_EQ(TypeParam::call(x.data(), dst.data(), record.get(), 0), SrOk);
    EXPECT_EQ(dst[3], 140);
    for (int k = 0; k < 3; ++k) EXPECT_NEAR(dst[static_cast<std::size_t>(k)], 0, 1e-3);
}

// In sequence from the first input on: what is lost in 2^24 + 1 shows the order.
TEST(CepstrumSingle, C0IsSummedInSequence)
{
    const Recipe s{Form::C0, 10, 1, 1, 1, 1, {}};
    const Owned<Kind_32f> record(s);
    const std::vector<float> x = {1, 0x1p24F, 1, 1, 1, -0x1p24F, 1, 1, 1, 1};
    float dst[2];
    ASSERT_EQ(zelsDCTLifter_32f(x.data(), dst, record.get()), SrOk);
    EXPECT_EQ(dst[1], 4.0F);
}

TEST(CepstrumSingle, IsTheCosineTransform)
{
    for (const auto& [len_dct, len_cep] : {std::pair{23, 12}, {24, 13}, {8, 8}, {40, 15}}) {
        const Recipe s = random_recipe(Form::MulC0, len_dct, len_cep);
        const Owned<Kind_32f> record(s);
        const std::vector<float> x = uniform_vector(len_dct, -10.0F, 10.0F);
        std::vector<float> dst(s.results());
        ASSERT_EQ(zelsDCTLifter_32f(x.data(), dst.data(), record.get()), SrOk);
        for (int k = 1; k <= len_cep; ++k) {
            long double sum = 0;
            for (int j = 0; j < len_dct; ++j)
                sum += static_cast<long double>(x[static_cast<std::size_t>(j)]) *
                       std::cos(3.14159265358979323846L * k * (j + 0.5L) / len_dct);
            const double exact =
                static_cast<double>(sum) * static_cast<double>(s.mul[static_cast<std::size_t>(k - 1)]);
            EXPECT_NEAR(dst[static_cast<std::size_t>(k - 1)], exact, 40 * 10 * 3 * 2e-7 * 3);
        }
    }
}

// 1 + 2^-24 lies halfway between two singles.
TEST(CepstrumSingle, TakesTheRoundingMode)
{
    if (under_valgrind()) return;  // knows one rounding mode
    const Recipe s{Form::MulC0, 2, 1, 1, 1, 1, {1}};
    const Owned<Kind_32f> record(s);
    const float x[] = {1, 0x1p-24F};
    for (const auto& [mode, expected] :
         {std::pair{FE_TONEAREST, 1.0F}, {FE_DOWNWARD, 1.0F}, {FE_UPWARD, 1 + 0x1p-23F}}) {
        float dst[2];
        std::fesetround(mode);
        const SrStatus status = zelsDCTLifter_32f(x, dst, record.get());
        std::fesetround(FE_TONEAREST);
        EXPECT_EQ(status, SrOk);
        EXPECT_EQ(dst[1], expected) << "rounding mode " << mode;
    }
    const Recipe many = random_recipe(Form::Mul, 23, 13);
    const Owned<Kind_32f> large(many);
    const std::vector<float> y = random_source<float>(23);
    std::vector<float> nearest(13), down(13);
    EXPECT_EQ(zelsDCTLifter_32f(y.data(), nearest.data(), large.get()), SrOk);
    std::fesetround(FE_DOWNWARD);
    const SrStatus status = zelsDCTLifter_32f(y.data(), down.data(), large.get());
    std::fesetround(FE_TONEAREST);
    EXPECT_EQ(status, SrOk);
    EXPECT_FALSE(same_values(nearest, down));
    EXPECT_TRUE(near_values(nearest, down, 1e-2));
}

// --- fixed point ---

template <class Transform>
class FixedCepstrum : public testing::Test {};
using FixedTransforms = testing::Types<Fixed16s, Fixed32s>;
TYPED_TEST_SUITE(FixedCepstrum, FixedTransforms, TransformNames);

TYPED_TEST(FixedCepstrum, EveryScaleFactor)
{
    using Source = typename TypeParam::Source;
    const Recipe s = random_recipe(Form::C0, 23, 13);
    const Owned<Kind_16s> record(s);
    for (int32_t sf : {-200, -128, -127, -31, -15, -5,  -1,  0,   1,         2,        7,
                       15,   20,   31,   126, 127, 149, 150, 200, INT32_MIN, INT32_MAX})
        for (Source limit : {Source(3), Source(30000)}) {
            std::vector<Source> x;
            for (int j = 0; j < 23; ++j) x.push_back(static_cast<Source>(uniform<int32_t>(-limit, limit)));
            ASSERT_TRUE(transforms<TypeParam>(record.get(), s, x, sf));
        }
}

// Halves go to the even neighbour, and 32768 is too large.
TYPED_TEST(FixedCepstrum, RoundsToNearestEvenAndSaturates)
{
    using Source = typename TypeParam::Source;
    const Recipe s{Form::C0, 2, 1, 1, 1, 1, {}};
    const Owned<Kind_16s> record(s);
    const auto sum = [&](int a, int b, int32_t sf) {
        const Source x[] = {Source(a), Source(b)};
        int16_t dst[2];
        EXPECT_EQ(TypeParam::call(x, dst, record.get(), sf), SrOk);
        return dst[1];
    };
    EXPECT_EQ(sum(1, 0, 1), 0);
    EXPECT_EQ(sum(1, 2, 1), 2);
    EXPECT_EQ(sum(2, 3, 1), 2);
    EXPECT_EQ(sum(-1, -2, 1), -2);
    EXPECT_EQ(sum(-1, -4, 1), -2);
    EXPECT_EQ(sum(32767, 1, 0), 32767);
    EXPECT_EQ(sum(-32768, -1, 0), -32768);
    EXPECT_EQ(sum(100, 0, -9), 32767);
    EXPECT_EQ(sum(-100, 0, -9), -32768);
    EXPECT_EQ(sum(5, -2, -3), 24);
}

TYPED_TEST(FixedCepstrum, IsTheSameInEachEnvironment)
{
    using Source = typename TypeParam::Source;
    const Recipe s = random_recipe(Form::C0, 23, 13);
    const Owned<Kind_16s> record(s);
    const std::vector<Source> x = random_source<Source>(23);
    const int32_t sf = random_sf<TypeParam>();
    std::vector<int16_t> dst(14);
    SrStatus status = SrErrUnknown;
    under_each_environment([&] { status = TypeParam::call(x.data(), dst.data(), record.get(), sf); },
                           [&](const std::string& setting) {
                               EXPECT_EQ(status, SrOk);
                               EXPECT_TRUE(same_values(TypeParam::expected(x, s, sf), dst)) << setting;
                               std::fill(dst.begin(), dst.end(), int16_t{0});
                           });
}

TEST(CepstrumFixed, WorksInPlace)
{
    for (int len_cep : {3, 12, 13}) {
        const Recipe s = random_recipe(Form::Mul, 13, len_cep);
        const Owned<Kind_16s> record(s);
        std::vector<int16_t> x = random_source<int16_t>(13);
        std::vector<int16_t> expected = Fixed16s::expected(x, s, 4);
        expected.insert(expected.end(), x.begin() + len_cep, x.end());
        ASSERT_EQ(zelsDCTLifter_16s_Sfs(x.data(), x.data(), record.get(), 4), SrOk);
        EXPECT_TRUE(same_values(expected, x)) << len_cep;
    }
}

// The transform stands in the record before it is converted, C0 too.
TYPED_TEST(FixedCepstrum, LeavesTheTransformInTheRecord)
{
    using Source = typename TypeParam::Source;
    const Recipe s = random_recipe(Form::C0, 23, 13);
    const Owned<Kind_16s> record(s);
    const std::vector<Source> x = random_source<Source>(23);
    std::vector<int16_t> dst(14);
    ASSERT_EQ(TypeParam::call(x.data(), dst.data(), record.get(), 5), SrOk);
    std::vector<float> scratch(14);
    std::memcpy(scratch.data(), fields<Kind_16s>(record.get()).scratch, 14 * sizeof(float));
    std::vector<float> single;
    for (Source value : x) single.push_back(static_cast<float>(value));
    EXPECT_TRUE(same_values(reference::cepstrum(single, lifter_of(s)), scratch));
}

#ifdef __i386__
TEST(CepstrumStack, RunsOnAnyStack)
{
    const Recipe s = random_recipe(Form::C0, 23, 13);
    const Owned<Kind_32f> single(s);
    const Owned<Kind_16s> fixed(s);
    const std::vector<float> x = random_source<float>(23);
    const std::vector<int16_t> y = random_source<int16_t>(23);
    const std::vector<int32_t> z = random_source<int32_t>(23);
    for (int misalign : {0, 4, 8, 12}) {
        std::vector<float> dst(14);
        EXPECT_EQ(call_misaligned(zelsDCTLifter_32f, misalign, x.data(), dst.data(), single.get()), SrOk);
        EXPECT_TRUE(same_values(Single::expected(x, s, 0), dst)) << misalign;
        std::vector<int16_t> whole(14);
        EXPECT_EQ(call_misaligned(zelsDCTLifter_16s_Sfs, misalign, y.data(), whole.data(), fixed.get(), 5), SrOk);
        EXPECT_TRUE(same_values(Fixed16s::expected(y, s, 5), whole)) << misalign;
        EXPECT_EQ(call_misaligned(zelsDCTLifter_32s16s_Sfs, misalign, z.data(), whole.data(), fixed.get(), 18),
                  SrOk);
        EXPECT_TRUE(same_values(Fixed32s::expected(z, s, 18), whole)) << misalign;
    }
}
#endif

}  // namespace
}  // namespace zelsr::test::cepstrum
