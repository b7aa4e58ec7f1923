// Gaussian constants: the library's own sums of logarithms, and the first element that has none.
#include <gtest/gtest.h>

#include <limits>

#include "estimation/vector_suite.h"
#include "support/reference/logarithm.h"
#include "support/reference/update.h"
#include "zelsr/estimation/update.h"

namespace zelsr::test::estimation {
namespace {

template <class T, class R>
void append_constant(std::vector<Tested>& all, Member<T, R> m)
{
    m.rounding = Rounding::Own;
    append(all, std::move(m));
}

std::vector<Tested> members()
{
    using reference::update_gconst;
    std::vector<Tested> all;
    append_constant(all,
                    member<float>("zelsUpdateGConst_32f", "vr", zelsUpdateGConst_32f, update_gconst<float, -1>));
    append_constant(all,
                    member<double>("zelsUpdateGConst_64f", "vr", zelsUpdateGConst_64f, update_gconst<double, -1>));
    append_constant(all, member<float>("zelsUpdateGConst_DirectVar_32f", "vr", zelsUpdateGConst_DirectVar_32f,
                                       update_gconst<float, 1>));
    append_constant(all, member<double>("zelsUpdateGConst_DirectVar_64f", "vr", zelsUpdateGConst_DirectVar_64f,
                                        update_gconst<double, 1>));
    return all;
}
INSTANTIATE_TEST_SUITE_P(Constant, OnVectors, testing::ValuesIn(members()), tested_name);

template <class T>
class ConstantTest : public testing::Test {
  public:
    static constexpr T kInfinity = std::numeric_limits<T>::infinity();
    static constexpr T kNan = std::numeric_limits<T>::quiet_NaN();
    static SrStatus gconst(const float* var, int32_t len, float* result)
    {
        return zelsUpdateGConst_32f(var, len, result);
    }
    static SrStatus gconst(const double* var, int32_t len, double* result)
    {
        return zelsUpdateGConst_64f(var, len, result);
    }
    static SrStatus gconst_direct(const float* var, int32_t len, float* result)
    {
        return zelsUpdateGConst_DirectVar_32f(var, len, result);
    }
    static SrStatus gconst_direct(const double* var, int32_t len, double* result)
    {
        return zelsUpdateGConst_DirectVar_64f(var, len, result);
    }
};
struct TypeName {
    template <class T>
    static std::string GetName(int)
    {
        return sizeof(T) == 4 ? "32f" : "64f";
    }
};
TYPED_TEST_SUITE(ConstantTest, decltype(testing::Types<float, double>{}), TypeName);

TYPED_TEST(ConstantTest, ConstantsAreNearTheirTrueValue)
{
    using T = TypeParam;
    for (int len : {1, 2, 5, 13, 39, 600}) {
        std::vector<T> var = uniform_vector<T>(len, T(0.01), T(20));
        const reference::SumOfLogarithms logs = reference::sum_of_logarithms(var);
        const long double constant = len * 1.8378770664093L;
        const long double tolerance =
            (sizeof(T) == 4 ? 0x1p-22L : 0x1p-49L) * (constant + logs.magnitude);  // two roundings, and the sum's
        T gconst;
        EXPECT_EQ(this->gconst(var.data(), len, &gconst), SrOk);
        EXPECT_NEAR(static_cast<double>(gconst), static_cast<double>(constant - logs.sum),
                    static_cast<double>(tolerance));
        EXPECT_EQ(this->gconst_direct(var.data(), len, &gconst), SrOk);
        EXPECT_NEAR(static_cast<double>(gconst), static_cast<double>(constant + logs.sum),
                    static_cast<double>(tolerance));
    }
}

TYPED_TEST(ConstantTest, TheLiteralOfTheConstant)
{
    using T = TypeParam;
    const std::vector<T> ones(100000, T(1));
    for (int len : {1, 3, 7, 1000, 99999}) {
        T gconst;
        EXPECT_EQ(this->gconst(ones.data(), len, &gconst), SrOk);
        EXPECT_EQ(gconst, static_cast<T>(len * 1.8378770664093));
        EXPECT_EQ(this->gconst_direct(ones.data(), len, &gconst), SrOk);
        EXPECT_EQ(gconst, static_cast<T>(len * 1.8378770664093));
    }
}

TYPED_TEST(ConstantTest, TheFirstElementWithoutALogarithmDecides)
{
    using T = TypeParam;
    const T infinity = this->kInfinity, nan = this->kNan;
    const auto expect = [this](const std::vector<T>& var, T inverse, T direct, SrStatus status) {
        const auto len = static_cast<int32_t>(var.size());
        T gconst = -99;
        EXPECT_EQ(this->gconst(var.data(), len, &gconst), status);
        EXPECT_TRUE(same_value(inverse, gconst));
        EXPECT_EQ(this->gconst_direct(var.data(), len, &gconst), status);
        EXPECT_TRUE(same_value(direct, gconst));
    };
    expect({1, 0, 3}, infinity, infinity, SrWarnLnZeroArg);
    expect({1, -2, 3}, nan, nan, SrWarnLnNegArg);
    expect({1, -T(0)}, nan, nan, SrWarnLnNegArg);
    expect({0, -1}, infinity, infinity, SrWarnLnZeroArg);
    expect({-1, 0}, nan, nan, SrWarnLnNegArg);
    expect({nan, 0}, nan, nan, SrOk);
    expect({infinity, 1}, -infinity, infinity, SrOk);
}

}  // namespace
}  // namespace zelsr::test::estimation
