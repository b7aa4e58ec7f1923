// Products of a matrix and a vector of 16-bit integers: the two families round in two ways.
#include "matrix/matrix_suite.h"
#include "support/reference/product.h"
#include "zelsr/matrix.h"

namespace zelsr::test::matrix {
namespace {

template <class Result>
Result expected_in_row(const Problem<int16_t>& p, std::size_t row)
{
    return reference::floored<Result>(reference::exact_product(p.rows[row], p.vector), p.sf);
}
template <class Result>
Result expected_in_column(const Problem<int16_t>& p, std::size_t column)
{
    const std::int64_t sum = reference::exact_product(column_of(p.rows, column), p.vector);
    return reference::scaled_to<Result>(static_cast<double>(sum), p.sf);
}

struct Product16s {
    static constexpr const char* kName = "16s";
    using Source = int16_t;
    using Result = int16_t;
    static std::vector<Member<Source, Result>> members()
    {
        return {
            {"zelsMatVecMul_16s_D2Sfs", matrix_by_vector<zelsMatVecMul_16s_D2Sfs>, false, true, expected_in_row},
            {"zelsMatVecMul_16s_D2LSfs", list_by_vector<zelsMatVecMul_16s_D2LSfs>, false, true, expected_in_row},
            {"zelsVecMatMul_16s_D2Sfs", vector_by_matrix<zelsVecMatMul_16s_D2Sfs>, true, true, expected_in_column},
            {"zelsVecMatMul_16s_D2LSfs", vector_by_list<zelsVecMatMul_16s_D2LSfs>, true, true, expected_in_column},
        };
    }
};
struct Product16s32s {
    static constexpr const char* kName = "16s32s";
    using Source = int16_t;
    using Result = int32_t;
    static std::vector<Member<Source, Result>> members()
    {
        return {
            {"zelsMatVecMul_16s32s_D2Sfs", matrix_by_vector<zelsMatVecMul_16s32s_D2Sfs>, false, true,
             expected_in_row},
            {"zelsMatVecMul_16s32s_D2LSfs", list_by_vector<zelsMatVecMul_16s32s_D2LSfs>, false, true,
             expected_in_row},
            {"zelsVecMatMul_16s32s_D2Sfs", vector_by_matrix<zelsVecMatMul_16s32s_D2Sfs>, true, true,
             expected_in_column},
            {"zelsVecMatMul_16s32s_D2LSfs", vector_by_list<zelsVecMatMul_16s32s_D2LSfs>, true, true,
             expected_in_column},
        };
    }
};
using Families = testing::Types<Product16s, Product16s32s>;
INSTANTIATE_TYPED_TEST_SUITE_P(Products, MatrixFamily, Families, FamilyNames);

// Wanted: the matrix by a vector rounds toward minus infinity, the vector by a matrix to nearest with ties to
// even.
TEST(ProductOf16BitIntegers, TheTwoFamiliesRoundDifferently)
{
    struct Case {
        int16_t value;
        int32_t sf;
        int16_t floor, nearest;
    };
    for (const Case& c : {Case{-1, 1, -1, 0},
                          {1, 1, 0, 0},
                          {3, 1, 1, 2},
                          {5, 1, 2, 2},
                          {-3, 1, -2, -2},
                          {-5, 1, -3, -2},
                          {7, 2, 1, 2},
                          {-7, 2, -2, -2},
                          {-1, 31, -1, 0},
                          {-1, 32, -1, 0},
                          {-1, 63, -1, 0},
                          {-1, 64, -1, 0},
                          {-1, 65, -1, 0},
                          {-1, INT32_MAX, -1, 0},
                          {1, 64, 0, 0},
                          {1, INT32_MAX, 0, 0}}) {
        const int16_t one = 1;
        int16_t product = 99;
        int32_t wide = 99;
        ASSERT_EQ(zelsMatVecMul_16s_D2Sfs(&c.value, 1, &one, 1, &product, 1, c.sf), SrOk);
        EXPECT_EQ(product, c.floor) << c.value << ", sf " << c.sf;
        ASSERT_EQ(zelsMatVecMul_16s32s_D2Sfs(&c.value, 1, &one, 1, &wide, 1, c.sf), SrOk);
        EXPECT_EQ(wide, c.floor) << c.value << ", sf " << c.sf;
        ASSERT_EQ(zelsVecMatMul_16s_D2Sfs(&one, &c.value, 1, 1, &product, 1, c.sf), SrOk);
        EXPECT_EQ(product, c.nearest) << c.value << ", sf " << c.sf;
        ASSERT_EQ(zelsVecMatMul_16s32s_D2Sfs(&one, &c.value, 1, 1, &wide, 1, c.sf), SrOk);
        EXPECT_EQ(wide, c.nearest) << c.value << ", sf " << c.sf;
    }
}

// Rows whose sums pass 2^31, 2^32 and more: no lane may wrap.
TEST(ProductOf16BitIntegers, SumsOfExtremesAreExact)
{
    for (int count : {1, 2, 3, 4, 7, 8, 9, 15, 16, 17, 32, 64, 100, 1000, 4099, 65536 + 17}) {
        if (thin_effort() && count > 4099) continue;
        const auto n = static_cast<std::size_t>(count);
        for (int16_t factor : {INT16_MIN, INT16_MAX}) {
            const std::vector<int16_t> lowest(n, INT16_MIN), factors(n, factor);
            for (int32_t sf : {14, 15, 16, 20, 30}) {
                const std::int64_t sum = std::int64_t{count} * INT16_MIN * factor;
                int32_t product = 0;
                ASSERT_EQ(zelsMatVecMul_16s32s_D2Sfs(lowest.data(), count, factors.data(), count, &product, 1, sf),
                          SrOk);
                EXPECT_EQ(product, reference::saturate<int32_t>(sum >> sf)) << count << " by " << factor;
                ASSERT_EQ(zelsVecMatMul_16s32s_D2Sfs(factors.data(), lowest.data(), 1, count, &product, 1, sf),
                          SrOk);
                EXPECT_EQ(product, reference::scaled_to<int32_t>(static_cast<double>(sum), sf)) << count;
            }
        }
    }
}

// A zero stays zero in the integer family however large the scale; everything else reaches its end.
TEST(MatVecMul_16s, NegativeScaleFactorsSaturateWhateverTheirSize)
{
    const int16_t one = 1;
    for (int32_t sf : {-1, -15, -16, -31, -32, -33, -63, -64, -65, -1024, INT32_MIN})
        for (int16_t value : {0, 1, -1, 100, -100}) {
            int16_t product = 99;
            int32_t wide = 99;
            ASSERT_EQ(zelsMatVecMul_16s_D2Sfs(&value, 1, &one, 1, &product, 1, sf), SrOk);
            ASSERT_EQ(zelsMatVecMul_16s32s_D2Sfs(&value, 1, &one, 1, &wide, 1, sf), SrOk);
            const double exact = value == 0 ? 0 : std::ldexp(value * 1.0, sf < -2000 ? 2000 : -sf);
            EXPECT_EQ(product, std::clamp(exact, -32768.0, 32767.0)) << value << ", sf " << sf;
            EXPECT_EQ(wide, std::clamp(exact, -2147483648.0, 2147483647.0)) << value << ", sf " << sf;
        }
}

}  // namespace
}  // namespace zelsr::test::matrix
