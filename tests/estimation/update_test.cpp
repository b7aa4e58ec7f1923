// Re-estimation: bits equal to the statement's, the two limits of an occupancy, and the warning where all is
// floored.
#include <gtest/gtest.h>
#include <sys/mman.h>

#include <limits>

#include "estimation/vector_suite.h"
#include "support/reference/update.h"
#include "zelsr/estimation/update.h"

namespace zelsr::test::estimation {
namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNan = std::numeric_limits<double>::quiet_NaN();

// ---- The table --------------------------------------------------------------------------------------------

// Occupancies that the functions take, some they refuse.
template <class T>
std::vector<Scalars> occupancies()
{
    const double smallest = std::numeric_limits<T>::min();
    std::vector<Scalars> all;
    for (double x :
         {3.7, 0.01, 1.0, 1e6, kInfinity, 1.5 * smallest, smallest, 0.5 * smallest, 0.0, -0.0, -1.0, kNan})
        all.push_back({x, 7.3, 0, 0});
    for (double x : {2.0, 1e4, 2 * smallest, smallest, 0.0, -1e-3, -kInfinity}) all.push_back({5.1, x, 0, 0});
    all.push_back({0, -1, 0, 0});
    all.push_back({-1, 0, 0, 0});
    all.push_back({0, kNan, 0, 0});
    return all;
}

template <class T>
std::vector<Scalars> weights()
{
    std::vector<Scalars> all = occupancies<T>();
    for (std::size_t i = 0; i < all.size(); ++i) all[i][1] = i % 2 == 0 ? 0.5 : -0.5;
    for (double floor : {-kInfinity, kInfinity, kNan, 0.0, -0.0, 1e-3, 5.0}) all.push_back({3.3, floor, 0, 0});
    return all;
}

template <class T>
Member<T> in_order(Member<T> m)
{
    m.overlap = Overlap::InOrder;
    return m;
}
template <class T>
Member<T> with_own_rounding(Member<T> m)
{
    m.rounding = Rounding::Own;
    return m;
}

std::vector<Tested> members()
{
    using namespace reference;
    std::vector<Tested> all;
    append(all, member<float>("zelsUpdateMean_32f", "ib", zelsUpdateMean_32f, update_mean, occupancies<float>()));
    append(all, in_order(member<double>("zelsUpdateMean_64f", "ib", zelsUpdateMean_64f, update_mean,
                                        occupancies<double>())));
    append(all, member<float>("zelsUpdateVar_32f", "iiio", zelsUpdateVar_32f, update_var, occupancies<float>()));
    append(all, in_order(member<double>("zelsUpdateVar_64f", "iiio", zelsUpdateVar_64f, update_var,
                                        occupancies<double>())));
    append(all,
           member<float>("zelsUpdateWeight_32f", "ior", zelsUpdateWeight_32f, update_weight, weights<float>()));
    append(all, in_order(member<double>("zelsUpdateWeight_64f", "ior", zelsUpdateWeight_64f, update_weight,
                                        weights<double>())));
    append(all,
           in_order(member<float>("zelsOutProbPreCalc_32f", "iio", zelsOutProbPreCalc_32f, out_prob_pre_calc)));
    append(all,
           in_order(member<double>("zelsOutProbPreCalc_64f", "iio", zelsOutProbPreCalc_64f, out_prob_pre_calc)));
    append(all, with_own_rounding(in_order(
                    member<int32_t>("zelsOutProbPreCalc_32s", "iio", zelsOutProbPreCalc_32s, out_prob_pre_calc))));
    append(all, in_order(member<float>("zelsOutProbPreCalc_32f_I", "ib", zelsOutProbPreCalc_32f_I,
                                       out_prob_pre_calc_in_place)));
    append(all, in_order(member<double>("zelsOutProbPreCalc_64f_I", "ib", zelsOutProbPreCalc_64f_I,
                                        out_prob_pre_calc_in_place)));
    append(all, with_own_rounding(in_order(member<int32_t>(
                    "zelsOutProbPreCalc_32s_I", "ib", zelsOutProbPreCalc_32s_I, out_prob_pre_calc_in_place))));
    return all;
}
INSTANTIATE_TEST_SUITE_P(Update, OnVectors, testing::ValuesIn(members()), tested_name);

// ---- Occupancies ------------------------------------------------------------------------------------------

template <class T>
struct Update {};
template <>
struct Update<float> {
    static constexpr auto mean = zelsUpdateMean_32f;
    static constexpr auto var = zelsUpdateVar_32f;
    static constexpr auto weight = zelsUpdateWeight_32f;
};
template <>
struct Update<double> {
    static constexpr auto mean = zelsUpdateMean_64f;
    static constexpr auto var = zelsUpdateVar_64f;
    static constexpr auto weight = zelsUpdateWeight_64f;
};

template <class T>
class UpdateTest : public testing::Test {
  public:
    static constexpr T kSmallest = std::numeric_limits<T>::min();
    static constexpr T kInfinity = std::numeric_limits<T>::infinity();
    static constexpr T kNan = std::numeric_limits<T>::quiet_NaN();
};
struct TypeName {
    template <class T>
    static std::string GetName(int)
    {
        return sizeof(T) == 4 ? "32f" : "64f";
    }
};
TYPED_TEST_SUITE(UpdateTest, decltype(testing::Types<float, double>{}), TypeName);

template <class T>
struct Counts {
    const T* a;
    T* dst;
    T* sum;
    int32_t len;
    T first, second;
};

// The checks behind null and length: below zero or NaN comes before zero, of either count.
TYPED_TEST(UpdateTest, NegativeCountsComeBeforeZeroCountsAndNothingIsWritten)
{
    using T = TypeParam;
    using C = Counts<T>;
    using F = Fault<C>;
    const Guarded<T> a(std::vector<T>(9, 3));
    Guarded<T> dst(9), sum(1);
    const C good{a.data(), dst.data(), sum.data(), 9, 2, 2};
    const T nan = this->kNan, tiny = this->kSmallest;
    const std::vector<F> null = {{"null source", SrErrNullPtr, [](C& c) { c.a = nullptr; }},
                                 {"null destination", SrErrNullPtr, [](C& c) { c.dst = nullptr; }},
                                 {"length", SrErrSize, [](C& c) { c.len = 0; }}};
    // Of one count the faults exclude each other: in turn.
    for (T negative : {T(-1), nan, -nan, -std::numeric_limits<T>::denorm_min(), -this->kInfinity})
        for (T zero : {T(0), -T(0), tiny, tiny / 2, std::numeric_limits<T>::denorm_min()}) {
            std::vector<F> one = null;
            one.push_back({"negative", SrErrNegValue, [=](C& c) { c.first = negative; }});
            std::vector<F> both = one;
            both.push_back({"second negative", SrErrNegValue, [=](C& c) { c.second = negative; }});
            std::vector<F> zeros = null;
            zeros.push_back({"second negative", SrErrNegValue, [=](C& c) { c.second = negative; }});
            zeros.push_back({"zero", SrWarnZeroCount, [=](C& c) { c.first = zero; }});
            std::vector<F> second = null;
            second.push_back({"negative", SrErrNegValue, [=](C& c) { c.first = negative; }});
            second.push_back({"second zero", SrWarnZeroCount, [=](C& c) { c.second = zero; }});
            std::vector<F> one_zero = null;
            one_zero.push_back({"zero", SrWarnZeroCount, [=](C& c) { c.first = zero; }});
            const auto mean = [](const C& c) { return Update<T>::mean(c.a, c.dst, c.len, c.first); };
            const auto var = [](const C& c) {
                return Update<T>::var(c.a, c.a, c.a, c.dst, c.len, c.first, c.second);
            };
            const auto weight = [](const C& c) {
                return Update<T>::weight(c.a, c.dst, c.len, c.sum, c.first, T(0));
            };
            for (const auto& faults : {one, one_zero}) {
                expect_check_order<C>(good, faults, mean, {&dst});
                expect_check_order<C>(good, faults, weight, {&dst, &sum});
            }
            for (const auto& faults : {both, zeros, second}) expect_check_order<C>(good, faults, var, {&dst});
        }
}

TYPED_TEST(UpdateTest, TheLeastCountThatIsNotZero)
{
    using T = TypeParam;
    const T least = std::nextafter(this->kSmallest, T(1));
    T acc = this->kSmallest, mean = 0, sum = 0, weight = 0;
    EXPECT_EQ(Update<T>::mean(&acc, &mean, 1, least), SrOk);
    EXPECT_NEAR(mean, 1, 1e-6);
    EXPECT_EQ(Update<T>::weight(&acc, &weight, 1, &sum, least, T(0)), SrOk);
    EXPECT_NEAR(weight, 1, 1e-6);
    EXPECT_EQ(sum, weight);
}

// ---- Means, variances, weights by value ---------------------------------------------------------------------

TEST(UpdateMean, SingleMultipliesByTheReciprocalAndDoubleDivides)
{
    const float acc = 5;
    float mean = 0;
    EXPECT_EQ(zelsUpdateMean_32f(&acc, &mean, 1, 3), SrOk);
    EXPECT_EQ(mean, 5.0F * (1.0F / 3.0F));
    EXPECT_NE(mean, 5.0F / 3.0F);
    const double acc_64f = 5;
    double mean_64f = 0;
    EXPECT_EQ(zelsUpdateMean_64f(&acc_64f, &mean_64f, 1, 49), SrOk);
    EXPECT_EQ(mean_64f, 5.0 / 49.0);
    EXPECT_NE(mean_64f, 5.0 * (1.0 / 49.0));
}

TYPED_TEST(UpdateTest, VarianceByValue)
{
    using T = TypeParam;
    // Means 2, 3 and 2, second moments 5, 9 and 8.
    const std::vector<T> mean_acc = {4, 6, 4}, square_acc = {20, 36, 32}, floor = {T(0.5), T(0.25), 4};
    std::vector<T> var(3);
    EXPECT_EQ(Update<T>::var(mean_acc.data(), square_acc.data(), floor.data(), var.data(), 3, 2, 4), SrOk);
    EXPECT_EQ(var, (std::vector<T>{1, T(0.25), 4}));
}

TYPED_TEST(UpdateTest, WarnsOnlyWhereEveryVarianceIsFloored)
{
    using T = TypeParam;
    for (int len : lengths(16))
        for (int above = -1; above < len; ++above)
            for (int misalign : {0, 4}) {
                const auto count = static_cast<std::size_t>(len);
                std::vector<T> square(count, 8), floor(count, 1);  // v = 2 - 1, equal to its floor
                if (above >= 0) square[static_cast<std::size_t>(above)] = 9;
                const Guarded<T> m({std::vector<T>(count, 2)}, {misalign}), q(square, {misalign}),
                    f(floor, {misalign});
                Guarded<T> var(count, {misalign});
                EXPECT_EQ(Update<T>::var(m.data(), q.data(), f.data(), var.data(), len, 2, 4),
                          above < 0 ? SrWarnAllFloored : SrOk);
                std::vector<T> expected = floor;
                if (above >= 0) expected[static_cast<std::size_t>(above)] = T(1.25);
                EXPECT_TRUE(same_values(expected, var.values()));

                std::vector<T> acc(count, 4);
                if (above >= 0) acc[static_cast<std::size_t>(above)] = 5;
                const Guarded<T> a(acc, {misalign});
                Guarded<T> sum(1);
                EXPECT_EQ(Update<T>::weight(a.data(), var.data(), len, sum.data(), 4, 1),
                          above < 0 ? SrWarnAllFloored : SrOk);
                EXPECT_EQ(sum.get(0), T(len) + (above < 0 ? T(0) : T(0.25)));
            }
}

TYPED_TEST(UpdateTest, ANotANumberEndsUpAtTheFloor)
{
    using T = TypeParam;
    const std::vector<T> acc = {this->kNan, this->kInfinity, 1}, floor = {3, 5, this->kNan};
    std::vector<T> dst(3);
    T sum = 0;
    EXPECT_EQ(Update<T>::var(acc.data(), acc.data(), floor.data(), dst.data(), 3, 1, 1), SrWarnAllFloored);
    EXPECT_TRUE(same_values(floor, dst));
    EXPECT_EQ(Update<T>::weight(acc.data(), dst.data(), 1, &sum, 1, T(0.5)), SrWarnAllFloored);
    EXPECT_EQ(dst[0], T(0.5));
    EXPECT_EQ(sum, T(0.5));
}

// Singles hold the count of floored variances: one that they cannot hold is not the length.
TEST(UpdateVar, SinglesThatCannotHoldTheLengthDoNotWarn)
{
    if (thin_effort()) return;
    constexpr int32_t kLen = (1 << 24) + 1;
    const std::size_t bytes = std::size_t{kLen} * sizeof(float);
    void* map = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(map, MAP_FAILED);
    auto* zeros = static_cast<float*>(map);
    EXPECT_EQ(zelsUpdateVar_32f(zeros, zeros, zeros, zeros, kLen, 1, 1), SrOk);
    EXPECT_EQ(zelsUpdateVar_32f(zeros, zeros, zeros, zeros, kLen - 1, 1, 1), SrWarnAllFloored);
    float sum;
    EXPECT_EQ(zelsUpdateWeight_32f(zeros, zeros, kLen, &sum, 1, 0), SrWarnAllFloored);
    munmap(map, bytes);
}

// ---- Constant term of a score -------------------------------------------------------------------------------

TEST(OutProbPreCalc, IntegersHalveDownAndWrap)
{
    const std::vector<int32_t> weight = {0, 0, 10, INT32_MIN, INT32_MAX, 0}, gconst = {-3, 3, 7, 2, -2, INT32_MIN};
    const std::vector<int32_t> expected = {2, -1, 7, INT32_MAX, INT32_MIN, 1 << 30};
    std::vector<int32_t> dst(6), in_place = gconst;
    EXPECT_EQ(zelsOutProbPreCalc_32s(weight.data(), gconst.data(), dst.data(), 6), SrOk);
    EXPECT_EQ(dst, expected);
    EXPECT_EQ(zelsOutProbPreCalc_32s_I(weight.data(), in_place.data(), 6), SrOk);
    EXPECT_EQ(in_place, expected);
}

TEST(OutProbPreCalc, TakesHalfOfTheConstantFromTheWeight)
{
    const std::vector<double> weight = {-1, -2, kInfinity}, gconst = {3, kInfinity, kInfinity};
    std::vector<double> dst(3);
    EXPECT_EQ(zelsOutProbPreCalc_64f(weight.data(), gconst.data(), dst.data(), 3), SrOk);
    EXPECT_TRUE(same_values(std::vector<double>{-2.5, -kInfinity, kNan}, dst));
}

}  // namespace
}  // namespace zelsr::test::estimation
