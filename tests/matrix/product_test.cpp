// Products of a matrix and a vector in single precision and of 32-bit integers.
#include "support/reference/product.h"
#include "matrix/matrix_suite.h"
#include "zelsr/matrix.h"

namespace zelsr::test::matrix {
namespace {

float expected_in_row(const Problem<float>& p, std::size_t row)
{
    return reference::row_product(p.rows[row], p.vector);
}
float expected_in_column(const Problem<float>& p, std::size_t column)
{
    return reference::sequential_product<float>(column_of(p.rows, column), p.vector);
}
int32_t expected_in_row(const Problem<int32_t>& p, std::size_t row)
{
    return reference::scaled_to<int32_t>(reference::row_product(p.rows[row], p.vector), p.sf);
}
int32_t expected_in_column(const Problem<int32_t>& p, std::size_t column)
{
    const double sum = reference::sequential_product<double>(column_of(p.rows, column), p.vector);
    return reference::scaled_to<int32_t>(sum, p.sf);
}

struct Product32f {
    static constexpr const char* kName = "32f";
    using Source = float;
    using Result = float;
    static std::vector<Member<Source, Result>> members()
    {
        return {
            {"zelsMatVecMul_32f_D2", matrix_by_vector<zelsMatVecMul_32f_D2>, false, true, expected_in_row},
            {"zelsMatVecMul_32f_D2L", list_by_vector<zelsMatVecMul_32f_D2L>, false, true, expected_in_row},
            {"zelsVecMatMul_32f_D2", vector_by_matrix<zelsVecMatMul_32f_D2>, true, true, expected_in_column},
            {"zelsVecMatMul_32f_D2L", vector_by_list<zelsVecMatMul_32f_D2L>, true, true, expected_in_column},
        };
    }
};
struct Product32s {
    static constexpr const char* kName = "32s";
    using Source = int32_t;
    using Result = int32_t;
    static std::vector<Member<Source, Result>> members()
    {
        return {
            {"zelsMatVecMul_32s_D2Sfs", matrix_by_vector<zelsMatVecMul_32s_D2Sfs>, false, true, expected_in_row},
            {"zelsMatVecMul_32s_D2LSfs", list_by_vector<zelsMatVecMul_32s_D2LSfs>, false, true, expected_in_row},
            {"zelsVecMatMul_32s_D2Sfs", vector_by_matrix<zelsVecMatMul_32s_D2Sfs>, true, true, expected_in_column},
            {"zelsVecMatMul_32s_D2LSfs", vector_by_list<zelsVecMatMul_32s_D2LSfs>, true, true, expected_in_column},
        };
    }
};
using Families = testing::Types<Product32f, Product32s>;
INSTANTIATE_TYPED_TEST_SUITE_P(Products, MatrixFamily, Families, FamilyNames);

TEST(MatVecMul, IsTheDotProductOfEachRow)
{
    const float matrix[] = {1, 2, 3, 99, 4, 5, 6}, vector[] = {10, 100, 1000};
    float product[2];
    ASSERT_EQ(zelsMatVecMul_32f_D2(matrix, 4, vector, 3, product, 2), SrOk);
    EXPECT_EQ(product[0], 3210);
    EXPECT_EQ(product[1], 6540);
    ASSERT_EQ(zelsVecMatMul_32f_D2(vector, matrix, 4, 2, product, 2), SrOk);
    EXPECT_EQ(product[0], 410);
    EXPECT_EQ(product[1], 520);
}

// A product of 2^31 by 2^31 takes 63 bits; in double the small ones beside it are rounded away.
TEST(ProductOf32BitIntegers, SumsAreInDoublePrecision)
{
    const int32_t matrix[] = {INT32_MIN, 3, INT32_MIN}, vector[] = {INT32_MIN, 1, INT32_MAX};
    int32_t product = 0;
    // 2^62 + 3 - 2^62 + 2^31
    ASSERT_EQ(zelsVecMatMul_32s_D2Sfs(vector, matrix, 1, 3, &product, 1, 1), SrOk);
    EXPECT_EQ(product, 0x40000000);
    // 2^62 * 2^-62
    ASSERT_EQ(zelsVecMatMul_32s_D2Sfs(vector, matrix, 1, 1, &product, 1, 62), SrOk);
    EXPECT_EQ(product, 1);
    ASSERT_EQ(zelsMatVecMul_32s_D2Sfs(matrix, 1, vector, 1, &product, 1, 62), SrOk);
    EXPECT_EQ(product, 1);
}

TEST(ProductOf32BitIntegers, TiesGoToTheEvenInteger)
{
    const int32_t two = 2;
    for (const auto& [value, expected] :
         {std::pair<int32_t, int32_t>{1, 0}, {3, 2}, {5, 2}, {7, 4}, {-1, 0}, {-3, -2}, {-5, -2}}) {
        int32_t product = 99;
        ASSERT_EQ(zelsMatVecMul_32s_D2Sfs(&value, 1, &two, 1, &product, 1, 2), SrOk);
        EXPECT_EQ(product, expected) << value;
        ASSERT_EQ(zelsVecMatMul_32s_D2Sfs(&two, &value, 1, 1, &product, 1, 2), SrOk);
        EXPECT_EQ(product, expected) << value;
    }
}

TEST(ProductOf32BitIntegers, Saturates)
{
    const int32_t one = 1;
    for (int32_t value : {3, -3})
        for (int32_t sf : {-30, -31, -62, -1023, -1024, -2000, INT32_MIN}) {
            const int32_t expected = value > 0 ? INT32_MAX : INT32_MIN;
            int32_t product = 99;
            ASSERT_EQ(zelsMatVecMul_32s_D2Sfs(&value, 1, &one, 1, &product, 1, sf), SrOk);
            EXPECT_EQ(product, expected) << value << ", sf " << sf;
            ASSERT_EQ(zelsVecMatMul_32s_D2Sfs(&one, &value, 1, 1, &product, 1, sf), SrOk);
            EXPECT_EQ(product, expected) << value << ", sf " << sf;
        }
}

}  // namespace
}  // namespace zelsr::test::matrix
