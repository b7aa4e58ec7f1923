// Arithmetic on elements: bits equal to the plain loop's.
#include <gtest/gtest.h>

#include <limits>

#include "support/elementwise.h"
#include "support/odd_stack.h"
#include "support/reference/vector.h"
#include "zelsr/core/vector.h"

namespace zelsr::test {
namespace {

constexpr float kInfinity_32f = std::numeric_limits<float>::infinity();
constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr float kNan_32f = std::numeric_limits<float>::quiet_NaN();
constexpr double kNan = std::numeric_limits<double>::quiet_NaN();

// ---- The table --------------------------------------------------------------------------------------------

struct Constant {
    const char* name;
    double value;
};

// src * constant or src / constant, and the same in place.
template <class T>
using WithConstant = SrStatus (*)(const T*, T, T*, int32_t);
template <class T>
using WithConstantInPlace = SrStatus (*)(T, T*, int32_t);
template <class T>
using ConstantReference = SrStatus (*)(const std::vector<T>&, T, std::vector<T>&);

template <class T>
Member constant_member(const std::string& name, WithConstant<T> call, ConstantReference<T> reference,
                       const Constant& constant, Compare compare = Compare::Values)
{
    const T value = static_cast<T>(constant.value);
    return map<T>(
        name + "_" + constant.name, [=](const T* src, T* dst, int32_t len) { return call(src, value, dst, len); },
        [=](const auto& src, auto& dst) { return reference(src, value, dst); }, compare);
}

template <class T>
Member constant_member(const std::string& name, WithConstantInPlace<T> call, ConstantReference<T> reference,
                       const Constant& constant, Compare compare = Compare::Values)
{
    const T value = static_cast<T>(constant.value);
    return map_in_place<T>(
        name + "_" + constant.name, [=](T* srcdst, int32_t len) { return call(value, srcdst, len); },
        [=](const auto& src, auto& dst) { return reference(src, value, dst); }, compare);
}

void append_constants(std::vector<Member>& all)
{
    const Constant zero{"Zero", 0.0}, minus_zero{"MinusZero", -0.0}, one{"One", 1},
        not_a_number{"NotANumber", kNan};
    const Constant infinity{"Infinity", kInfinity};
    for (const Constant& value : {Constant{"Third", 1.0 / 3}, Constant{"MinusOne", -1}, infinity})
        all.push_back(constant_member("zelsAddC_32f", zelsAddC_32f, reference::add_c<float>, value));
    for (const Constant& value : {zero, minus_zero, not_a_number})
        all.push_back(
            constant_member("zelsAddC_32f", zelsAddC_32f, reference::add_c<float>, value, Compare::Bits));

    for (const Constant& value : {Constant{"MinusThird", -1.0 / 3}, Constant{"MinusOne", -1}, infinity,
                                  not_a_number, Constant{"Subnormal", 0x1p-140}, zero, minus_zero}) {
        all.push_back(constant_member("zelsMulC_32f", zelsMulC_32f, reference::mul_c<float>, value));
        all.push_back(constant_member("zelsMulC_64f", zelsMulC_64f, reference::mul_c<double>, value));
        all.push_back(constant_member("zelsMulC_32f_I", zelsMulC_32f_I, reference::mul_c<float>, value));
        all.push_back(constant_member("zelsMulC_64f_I", zelsMulC_64f_I, reference::mul_c<double>, value));
    }
    all.push_back(constant_member("zelsMulC_32f", zelsMulC_32f, reference::mul_c<float>, one, Compare::Bits));
    all.push_back(constant_member("zelsMulC_64f", zelsMulC_64f, reference::mul_c<double>, one, Compare::Bits));
    all.push_back(constant_member("zelsMulC_32f_I", zelsMulC_32f_I, reference::mul_c<float>, one, Compare::Bits));
    all.push_back(constant_member("zelsMulC_64f_I", zelsMulC_64f_I, reference::mul_c<double>, one, Compare::Bits));

    for (const Constant& value : {Constant{"Three", 3}, Constant{"MinusTenth", -0.1}, infinity,
                                  Constant{"MinusInfinity", -kInfinity}, Constant{"Subnormal", 0x1p-140}}) {
        all.push_back(constant_member("zelsDivC_32f", zelsDivC_32f, reference::div_c<float>, value));
        all.push_back(constant_member("zelsDivC_64f", zelsDivC_64f, reference::div_c<double>, value));
        all.push_back(constant_member("zelsDivC_32f_I", zelsDivC_32f_I, reference::div_c<float>, value));
        all.push_back(constant_member("zelsDivC_64f_I", zelsDivC_64f_I, reference::div_c<double>, value));
    }
    all.push_back(constant_member("zelsDivC_32f", zelsDivC_32f, reference::div_c<float>, one, Compare::Bits));
    all.push_back(constant_member("zelsDivC_64f", zelsDivC_64f, reference::div_c<double>, one, Compare::Bits));
    all.push_back(constant_member("zelsDivC_32f_I", zelsDivC_32f_I, reference::div_c<float>, one, Compare::Bits));
    all.push_back(constant_member("zelsDivC_64f_I", zelsDivC_64f_I, reference::div_c<double>, one, Compare::Bits));
}

std::vector<Member> floating_members()
{
    std::vector<Member> all = {
        combine_in_place<float>("zelsAdd_32f_I", zelsAdd_32f_I, reference::add<float>),
        combine_in_place<double>("zelsAdd_64f_I", zelsAdd_64f_I, reference::add<double>),
        combine_in_place<float>("zelsSub_32f_I", zelsSub_32f_I, reference::sub<float>),
        combine_in_place<double>("zelsSub_64f_I", zelsSub_64f_I, reference::sub<double>),
        combine<float>("zelsMul_32f", zelsMul_32f, reference::mul<float>),
        combine<float>("zelsDiv_32f", zelsDiv_32f, reference::div<float>),
        combine<double>("zelsDiv_64f", zelsDiv_64f, reference::div<double>),
        combine_in_place<float>("zelsDiv_32f_I", zelsDiv_32f_I, reference::div<float>),
        map_in_place<double>("zelsSqrt_64f_I", zelsSqrt_64f_I, reference::sqrt),
    };
    append_constants(all);
    return all;
}

// For the limits: no NaN, for which they are not defined, and one zero only, since either may be the larger.
std::vector<float> ordered_values()
{
    std::vector<float> values;
    for (float value : special_values<float>())
        if (!std::isnan(value) && !(value == 0 && std::signbit(value))) values.push_back(value);
    return values;
}

std::vector<Member> other_members()
{
    return {
        map<double>("zelsAbs_64f", zelsAbs_64f, reference::abs, Compare::Bits),
        combine_in_place<float>("zelsMaxEvery_32f_I", zelsMaxEvery_32f_I, reference::max_every<float>,
                                ordered_values()),
        combine_in_place<float>("zelsMinEvery_32f_I", zelsMinEvery_32f_I, reference::min_every<float>,
                                ordered_values()),
        combine_in_place<int32_t>("zelsMinEvery_32s_I", zelsMinEvery_32s_I, reference::min_every<int32_t>),
    };
}

// ---- What every member keeps ------------------------------------------------------------------------------

class Arithmetic : public testing::TestWithParam<Member> {};
INSTANTIATE_TEST_SUITE_P(Floating, Arithmetic, testing::ValuesIn(floating_members()), member_name);
INSTANTIATE_TEST_SUITE_P(Other, Arithmetic, testing::ValuesIn(other_members()), member_name);

TEST_P(Arithmetic, IsThePlainLoopAtEveryLengthAndPlacement)
{
    GetParam()->expect_reference_at_every_length_and_placement();
}
TEST_P(Arithmetic, IsThePlainLoopForEveryPairOfSpecialValues)
{
    GetParam()->expect_reference_for_every_pair_of_special_values();
}
TEST_P(Arithmetic, TakesASourceAsItsDestination) { GetParam()->expect_works_in_place(); }
TEST_P(Arithmetic, IsThePlainLoopForLongArrays)
{
    GetParam()->expect_reference_for_length((1 << (thin_effort() ? 11 : 18)) + 5);
}
TEST_P(Arithmetic, ChecksNullBeforeSizeAndWritesNothing) { GetParam()->expect_null_is_checked_before_size(); }

class CallersRounding : public testing::TestWithParam<Member> {};
INSTANTIATE_TEST_SUITE_P(, CallersRounding, testing::ValuesIn(floating_members()), member_name);

TEST_P(CallersRounding, IsTaken) { GetParam()->expect_takes_the_rounding_mode(); }

// ---- Division by a constant: a value check behind the others ------------------------------------------------

template <class T>
struct DivisionByConstant {
    const T* src;
    T value;
    T* dst;
    int32_t len;
};

template <class T>
void expect_null_size_value(const std::function<SrStatus(const DivisionByConstant<T>&)>& call, bool has_source)
{
    using Fault = Fault<DivisionByConstant<T>>;
    std::vector<Fault> faults;
    if (has_source) faults.push_back({"null source", SrErrNullPtr, [](auto& a) { a.src = nullptr; }});
    faults.push_back({"null destination", SrErrNullPtr, [](auto& a) { a.dst = nullptr; }});
    faults.push_back({"length 0", SrErrSize, [](auto& a) { a.len = 0; }});
    faults.push_back({"length -1", SrErrSize, [](auto& a) { a.len = -1; }});
    faults.push_back({"constant 0", SrErrDivByZero, [](auto& a) { a.value = 0; }});
    faults.push_back({"constant -0", SrErrDivByZero, [](auto& a) { a.value = -T(0); }});
    faults.push_back(
        {"constant NaN", SrErrDivByZero, [](auto& a) { a.value = std::numeric_limits<T>::quiet_NaN(); }});
    faults.push_back(
        {"constant -NaN", SrErrDivByZero, [](auto& a) { a.value = -std::numeric_limits<T>::quiet_NaN(); }});
    Guarded<T> src(std::vector<T>(9, T(3))), dst(std::vector<T>(9, T(5)));
    expect_check_order<DivisionByConstant<T>>({src.data(), T(2), dst.data(), 9}, faults, call, {&src, &dst});
}

TEST(DivC, ChecksNullThenSizeThenTheConstantAndWritesNothing)
{
    expect_null_size_value<float>([](const auto& a) { return zelsDivC_32f(a.src, a.value, a.dst, a.len); }, true);
    expect_null_size_value<double>([](const auto& a) { return zelsDivC_64f(a.src, a.value, a.dst, a.len); }, true);
    expect_null_size_value<float>([](const auto& a) { return zelsDivC_32f_I(a.value, a.dst, a.len); }, false);
    expect_null_size_value<double>([](const auto& a) { return zelsDivC_64f_I(a.value, a.dst, a.len); }, false);
}

// Not a division: 1/3 is rounded first.
TEST(DivC, MultipliesByTheRoundedReciprocal)
{
    float five[1] = {5.0F};
    ASSERT_NE(five[0] * (1.0F / 3.0F), 5.0F / 3.0F);
    EXPECT_EQ(zelsDivC_32f_I(3.0F, five, 1), SrOk);
    EXPECT_EQ(five[0], 5.0F * (1.0F / 3.0F));
}

TEST(DivC, InfiniteConstantZeroesWhateverTheSourceHolds)
{
    const std::vector<float> src = {1, -1, kInfinity_32f, -kInfinity_32f, kNan_32f, -0.0F};
    for (float value : {kInfinity_32f, -kInfinity_32f}) {
        std::vector<float> dst(6, 7.0F);
        EXPECT_EQ(zelsDivC_32f(src.data(), value, dst.data(), 6), SrOk);
        EXPECT_TRUE(same_values(std::vector<float>(6, 0.0F), dst));
        dst = src;
        EXPECT_EQ(zelsDivC_32f_I(value, dst.data(), 6), SrOk);
        EXPECT_TRUE(same_values(std::vector<float>(6, 0.0F), dst));
    }
}

// ---- Constants that are not computed with -------------------------------------------------------------------

TEST(MulC, ZeroZeroesAnInfiniteOrNotANumberSource)
{
    for (float zero : {0.0F, -0.0F}) {
        const std::vector<float> src = {kInfinity_32f, -kInfinity_32f, kNan_32f, -1, -0.0F, 1, 2};
        std::vector<float> dst(7, 7.0F);
        EXPECT_EQ(zelsMulC_32f(src.data(), zero, dst.data(), 7), SrOk);
        EXPECT_TRUE(same_values(std::vector<float>(7, 0.0F), dst));
        std::vector<double> in_place = {kInfinity, -kInfinity, kNan, -1, -0.0, 1, 2};
        EXPECT_EQ(zelsMulC_64f_I(zero, in_place.data(), 7), SrOk);
        EXPECT_TRUE(same_values(std::vector<double>(7, 0.0), in_place));
    }
}

TEST(MulC, NotANumberMultiplies)
{
    const std::vector<double> src = {0, 1, -1, kInfinity, 5};
    std::vector<double> dst(5, 7.0);
    EXPECT_EQ(zelsMulC_64f(src.data(), kNan, dst.data(), 5), SrOk);
    EXPECT_TRUE(same_values(std::vector<double>(5, kNan), dst));
}

TEST(AddC, ZeroKeepsMinusZeroAndNotANumberCopies)
{
    const std::vector<float> src = {-0.0F, 1, -kInfinity_32f, 2, 3};
    for (float value : {0.0F, -0.0F, kNan_32f, -kNan_32f}) {
        std::vector<float> dst(5, 7.0F);
        EXPECT_EQ(zelsAddC_32f(src.data(), value, dst.data(), 5), SrOk);
        EXPECT_TRUE(same_values(src, dst)) << value;
    }
}

// ---- Warnings -----------------------------------------------------------------------------------------------

// One zero divisor at each position of each length.
template <class T, class Call>
void expect_division_warning(Call divide)
{
    for (int len : lengths(16))
        for (int at = 0; at < len; ++at) {
            const auto zero_at = static_cast<std::size_t>(at);
            std::vector<T> divisor = uniform_vector<T>(len, T(1), T(9));
            std::vector<T> dividend = uniform_vector<T>(len, T(1), T(9));
            std::vector<T> expected(divisor.size());
            divisor[zero_at] = at % 2 == 0 ? T(0) : -T(0);
            EXPECT_EQ(reference::div(divisor, dividend, expected), SrWarnDivByZero);
            EXPECT_EQ(std::abs(expected[zero_at]), std::numeric_limits<T>::infinity());
            Guarded<T> lower(divisor), upper(dividend), dst(divisor.size());
            const std::vector<T> quotient = divide(lower.data(), upper, dst, len, SrWarnDivByZero);
            EXPECT_TRUE(same_values(expected, quotient)) << len << " elements, zero at " << at;
            divisor[zero_at] = kInfinity;  // no zero: no warning
            lower.fill(divisor);
            upper.fill(dividend);
            EXPECT_EQ(reference::div(divisor, dividend, expected), SrOk);
            EXPECT_TRUE(same_values(expected, divide(lower.data(), upper, dst, len, SrOk)));
        }
}

TEST(Div, OneZeroDivisorWarnsAndLeavesTheOtherQuotientsComplete)
{
    expect_division_warning<float>(
        [](const float* lower, Guarded<float>& upper, Guarded<float>& dst, int len, SrStatus expected) {
            EXPECT_EQ(zelsDiv_32f(lower, upper.data(), dst.data(), len), expected);
            return dst.values();
        });
    expect_division_warning<float>(
        [](const float* lower, Guarded<float>& upper, Guarded<float>&, int len, SrStatus expected) {
            EXPECT_EQ(zelsDiv_32f_I(lower, upper.data(), len), expected);
            return upper.values();
        });
    expect_division_warning<double>(
        [](const double* lower, Guarded<double>& upper, Guarded<double>& dst, int len, SrStatus expected) {
            EXPECT_EQ(zelsDiv_64f(lower, upper.data(), dst.data(), len), expected);
            return dst.values();
        });
}

TEST(Div, NotANumberAndSubnormalDivisorsDoNotWarn)
{
    const std::vector<float> divisor = {kNan_32f, 0x1p-149F, -0x1p-149F, 1, kInfinity_32f};
    const std::vector<float> dividend = {1, 1, 1, kNan_32f, kInfinity_32f};
    std::vector<float> dst(5);
    EXPECT_EQ(zelsDiv_32f(divisor.data(), dividend.data(), dst.data(), 5), SrOk);
    EXPECT_TRUE(same_values(std::vector<float>{kNan_32f, kInfinity_32f, -kInfinity_32f, kNan_32f, kNan_32f}, dst));
}

TEST(Div, ZeroByZeroIsNotANumberAndWarns)
{
    const std::vector<double> divisor = {0, 2, -0.0}, dividend = {0, 1, 4};
    std::vector<double> dst(3);
    EXPECT_EQ(zelsDiv_64f(divisor.data(), dividend.data(), dst.data(), 3), SrWarnDivByZero);
    EXPECT_TRUE(same_values(std::vector<double>{kNan, 0.5, -kInfinity}, dst));
}

TEST(Sqrt, OneNegativeElementWarnsAndLeavesTheOtherRootsComplete)
{
    for (int len : lengths(8))
        for (int at = 0; at < len; ++at)
            for (double negative : {-1.0, -0x1p-1074, -kInfinity}) {
                std::vector<double> values = uniform_vector<double>(len, 0.0, 9.0);
                values[static_cast<std::size_t>(at)] = negative;
                std::vector<double> expected(values.size());
                EXPECT_EQ(reference::sqrt(values, expected), SrWarnSqrtNegArg);
                Guarded<double> array(values);
                EXPECT_EQ(zelsSqrt_64f_I(array.data(), len), SrWarnSqrtNegArg);
                EXPECT_TRUE(same_values(expected, array.values())) << len << " elements, negative at " << at;
            }
}

TEST(Sqrt, MinusZeroAndNotANumberAreNotNegativeAndStay)
{
    std::vector<double> values = {-0.0, kNan, 0.0, 4, -kNan, kInfinity, 0x1p-1074};
    EXPECT_EQ(zelsSqrt_64f_I(values.data(), 7), SrOk);
    EXPECT_TRUE(same_values(std::vector<double>{-0.0, kNan, 0.0, 2, kNan, kInfinity, 0x1p-537}, values));
}

// ---- Limits -------------------------------------------------------------------------------------------------

TEST(Every, IntegersDoNotDependOnTheEnvironment)
{
    combine_in_place<int32_t>("zelsMinEvery_32s_I", zelsMinEvery_32s_I, reference::min_every<int32_t>)
        ->expect_same_in_each_environment();
}

TEST(Every, ZerosOfBothSignsAreEqualInValue)
{
    for (float a : {0.0F, -0.0F})
        for (float b : {0.0F, -0.0F}) {
            const std::vector<float> src(7, a);
            std::vector<float> larger(7, b), smaller(7, b);
            EXPECT_EQ(zelsMaxEvery_32f_I(src.data(), larger.data(), 7), SrOk);
            EXPECT_EQ(zelsMinEvery_32f_I(src.data(), smaller.data(), 7), SrOk);
            EXPECT_EQ(larger, std::vector<float>(7, 0.0F));
            EXPECT_EQ(smaller, std::vector<float>(7, 0.0F));
        }
}

#ifdef __i386__
TEST(OddStack, ArithmeticWorksFromEveryStack)
{
    for (int misalign : {0, 4, 8, 12}) {
        Guarded<double> src(std::vector<double>(67, 1.5)), dst(67);
        EXPECT_EQ(
            call_misaligned(zelsMulC_64f, misalign, static_cast<const double*>(src.data()), 3.0, dst.data(), 67),
            SrOk);
        EXPECT_TRUE(same_values(std::vector<double>(67, 4.5), dst.values()));
        EXPECT_EQ(call_misaligned(zelsDivC_64f_I, misalign, 2.0, dst.data(), 67), SrOk);
        EXPECT_TRUE(same_values(std::vector<double>(67, 2.25), dst.values()));
        EXPECT_EQ(call_misaligned(zelsSqrt_64f_I, misalign, dst.data(), 67), SrOk);
        EXPECT_TRUE(same_values(std::vector<double>(67, 1.5), dst.values()));
    }
}
#endif

}  // namespace
}  // namespace zelsr::test
