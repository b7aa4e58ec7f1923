// What a singular value decomposition is: two orthogonal matrices, the values of other methods between them.
#include "matrix/svd_calls.h"

namespace zelsr::test::svd {

#ifdef ZELSR_TEST_LAPACK
extern "C" void dgesvd_(const char* job_u, const char* job_v, const int* height, const int* width, double* a,
                        const int* a_step, double* w, double* u, const int* u_step, double* v, const int* v_step,
                        double* work, const int* work_size, int* info);
#endif

namespace {

constexpr double kTolerance = 1e-12;

double norm_of(const Matrix& a)
{
    double norm = 0;
    for (const std::vector<double>& row : a)
        for (double x : row) norm = std::hypot(norm, x);
    return norm;
}
double distance(const Matrix& a, const Matrix& b)
{
    double greatest = 0;
    for (std::size_t r = 0; r < a.size(); ++r)
        for (std::size_t c = 0; c < a[0].size(); ++c) {
            if (std::isnan(a[r][c] - b[r][c])) return INFINITY;
            greatest = std::max(greatest, std::abs(a[r][c] - b[r][c]));
        }
    return greatest;
}
Matrix unit(std::size_t size)
{
    Matrix a(size, std::vector<double>(size));
    for (std::size_t i = 0; i < size; ++i) a[i][i] = 1;
    return a;
}

struct Case {
    std::string name;
    Matrix matrix;
};

std::vector<Case> cases()
{
    const auto filled = [](int height, int width, auto element) {
        Matrix a(static_cast<std::size_t>(height), std::vector<double>(static_cast<std::size_t>(width)));
        for (int r = 0; r < height; ++r)
            for (int c = 0; c < width; ++c)
                a[static_cast<std::size_t>(r)][static_cast<std::size_t>(c)] = element(r, c);
        return a;
    };
    const auto random = [](int, int) { return uniform(-1.0, 1.0); };
    std::vector<Case> all = {
        {"square", filled(20, 20, random)},
        {"tall", filled(60, 9, random)},
        {"very tall", filled(300, 2, random)},
        {"wide", filled(9, 33, random)},
        {"one row", filled(1, 12, random)},
        {"one column", filled(12, 1, random)},
        {"rank 4 of 16", product(filled(24, 4, random), filled(4, 16, random))},
        {"rank 1", product(filled(9, 1, random), filled(1, 9, random))},
        {"rank 3, wide", product(filled(6, 3, random), filled(3, 14, random))},
        {"all ones", filled(10, 10, [](int, int) { return 1.0; })},
        {"graded rows", filled(14, 10, [](int r, int) { return uniform(-1.0, 1.0) * std::pow(10.0, -2 * r); })},
        {"graded columns", filled(14, 10, [](int, int c) { return uniform(-1.0, 1.0) * std::pow(10.0, 2 * c); })},
        {"graded upwards", filled(9, 9, [](int r, int c) { return uniform(0.5, 1.0) * std::pow(10.0, r + c); })},
        {"reciprocals", filled(12, 12, [](int r, int c) { return 1.0 / (r + c + 1); })},
        {"triangular", filled(15, 15, [](int r, int c) { return r > c    ? 0.0
                                                                : r == c ? 1.0
                                                                         : -1.0; })},
        {"nilpotent", filled(8, 8, [](int r, int c) { return c == r + 1 ? 2.0 : 0.0; })},
        {"diagonal", filled(8, 8, [](int r, int c) { return r == c ? r - 3.5 : 0.0; })},
        {"a zero column", filled(9, 6, [](int, int c) { return c == 2 ? 0.0 : uniform(-1.0, 1.0); })},
        {"a zero row", filled(9, 6, [](int r, int) { return r == 0 ? 0.0 : uniform(-1.0, 1.0); })},
        {"zeros", filled(5, 4, [](int, int) { return 0.0; })},
        {"wide and diagonal", filled(4, 9, [](int r, int c) { return r == c ? 1.0 + r : 0.0; })},
        {"wide ones", filled(3, 8, [](int, int) { return 1.0; })},
        {"near 1e300", filled(12, 9, [](int, int) { return uniform(-1e300, 1e300); })},
        {"near 1e-300", filled(12, 9, [](int, int) { return uniform(-1e-300, 1e-300); })},
        {"near the largest", filled(4, 3, [](int, int) { return uniform(-4e307, 4e307); })},
        {"1e300 beside 1e-300", filled(8, 8, [](int r, int c) { return (r + c) % 2 ? 1e300 * (1 + r) : 1e-300; })},
        {"a subnormal column", filled(4, 4, [](int, int c) { return uniform(0.5, 1.0) * (c == 2 ? 1e-310 : 1); })},
        {"subnormal columns", filled(40, 9, [](int, int c) { return c < 2 ? uniform(-1.0, 1.0) : 0x1p-1074; })},
        {"a subnormal diagonal", filled(5, 4, [](int r, int c) { return r != c   ? 0
                                                                        : r == 0 ? 1
                                                                                 : 3e-309; })},
        {"a subnormal diagonal above",
         filled(5, 5, [](int r, int c) { return c == r       ? 1
                                                : c == r + 1 ? 1e-312
                                                             : 0; })},
        {"graded to nothing",
         filled(9, 9, [](int r, int c) { return uniform(0.5, 1.0) * std::pow(10.0, -20 * (r + c)); })},
        {"1e150 beside 1e-150",
         filled(8, 8, [](int r, int c) { return uniform(0.5, 1.0) * (r == c ? 1e150 : 1e-150); })},
    };
    return all;
}

// Each matrix scaled into the middle of the range, so that the tests' own arithmetic cannot overflow: the
// decomposition of the original with its values scaled the same is to be one of the scaled matrix.
struct Problem {
    Matrix scaled_source;
    Decomposition d;
};
Problem solve(const Member& m, const Matrix& source)
{
    double greatest = 0;
    for (const std::vector<double>& row : source)
        for (double x : row) greatest = std::max(greatest, std::abs(x));
    const int exponent = greatest == 0 ? 0 : -std::ilogb(greatest);
    const Trial trial(m, source, 30, random_layout());
    EXPECT_EQ(trial.call(), SrOk) << m.name;
    EXPECT_TRUE(trial.clean());
    Problem p{scaled(source, exponent), trial.result()};
    for (double& w : p.d.w) w = std::ldexp(w, exponent);
    return p;
}

TEST(SvdOfEveryKind, IsADecomposition)
{
    for (const Case& c : cases())
        for (const Member& m : members()) {
            const auto [source, d] = solve(m, c.matrix);
            const std::string name = c.name + ", " + m.name;
            EXPECT_LE(distance(unit(d.width()), product(transposed(d.v), d.v)), kTolerance) << name;
            EXPECT_LE(distance(unit(d.width()), product(d.v, transposed(d.v))), kTolerance) << name;
            if (d.height() >= d.width())
                EXPECT_LE(distance(unit(d.width()), product(transposed(d.u), d.u)), kTolerance) << name;
            else
                EXPECT_LE(distance(unit(d.height()), product(d.u, transposed(d.u))), kTolerance) << name;
            Matrix weighted = d.u;
            for (std::vector<double>& row : weighted)
                for (std::size_t k = 0; k < d.width(); ++k) row[k] *= d.w[k];
            EXPECT_LE(distance(source, product(weighted, transposed(d.v))), kTolerance * norm_of(source)) << name;
            for (std::size_t k = 0; k < d.width(); ++k) {
                EXPECT_GE(d.w[k], 0) << name;
                EXPECT_TRUE(!m.sorted || k == 0 || d.w[k] <= d.w[k - 1]) << name;
            }
        }
}

TEST(SvdOfEveryKind, HasTheValuesOfAnotherMethod)
{
    for (const Case& c : cases()) {
        const auto [source, d] = solve(any_of(members()), c.matrix);
        std::vector<double> values = d.w;
        std::sort(values.rbegin(), values.rend());
        EXPECT_TRUE(near_values(reference::svd::values_by_jacobi(source), values, kTolerance * norm_of(source)))
            << c.name;
    }
}

// As many values as columns are too many are zero, and so are their columns of U.
TEST(SvdOfEveryKind, WideMatricesHaveValuesOfZero)
{
    const std::vector<std::pair<int, int>> shapes = {{1, 2}, {3, 4}, {5, 9}, {2, 20}, {9, 10}};
    for (const auto& [height, width] : shapes)
        for (int i = 0; i < 10; ++i)
            for (const Member& m : members()) {
                const auto [source, d] = solve(m, random_matrix(height, width));
                int zeros = 0;
                for (std::size_t k = 0; k < d.width(); ++k) {
                    if (d.w[k] > kTolerance) continue;
                    ++zeros;
                    for (const std::vector<double>& row : d.u) EXPECT_LE(std::abs(row[k]), 1e-9);
                    EXPECT_TRUE(!m.sorted || k >= d.height());
                }
                EXPECT_EQ(zeros, width - height);
            }
}

#ifdef ZELSR_TEST_LAPACK
TEST(SvdOfEveryKind, HasTheValuesOfLapack)
{
    for (const Case& c : cases()) {
        const auto [source, d] = solve(any_of(members()), c.matrix);
        std::vector<double> values = d.w;
        std::sort(values.rbegin(), values.rend());
        // Its matrices lie by columns: it is given the transposed one.
        const int height = static_cast<int>(d.width()), width = static_cast<int>(d.height()), work_size = 4096;
        int info = -1;
        std::vector<double> a = as_block(source, height, 0, false), work(work_size);
        std::vector<double> expected(std::min(d.width(), d.height()));
        dgesvd_("N", "N", &height, &width, a.data(), &height, expected.data(), nullptr, &height, nullptr, &width,
                work.data(), &work_size, &info);
        ASSERT_EQ(info, 0) << c.name;
        expected.resize(d.width());
        EXPECT_TRUE(near_values(expected, values, kTolerance * norm_of(source))) << c.name;
    }
}
#endif

}  // namespace
}  // namespace zelsr::test::svd
