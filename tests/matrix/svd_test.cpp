// The singular value decomposition: its steps bit by bit, and what every call promises.
#include <cfenv>
#include <memory>

#include "matrix/svd_calls.h"
#include "support/faults.h"
#include "support/hooks.h"

namespace zelsr::test::svd {
namespace {

std::vector<int> sizes()
{
    if (thin_effort()) return {1, 2, 3, 5, 8};
    return {1, 2, 3, 4, 5, 6, 7, 8, 9, 11, 16, 18};
}

TEST(Svd, EveryHeightAndWidth)
{
    for (const Member& m : members())
        for (int height : sizes())
            for (int width : sizes())
                ASSERT_TRUE(decomposes(m, random_matrix(height, width), 1000, random_layout()));
}

TEST(Svd, LargerMatrices)
{
    const std::vector<std::pair<int, int>> shapes = {{64, 64}, {120, 23}, {23, 90}, {300, 3}, {3, 100}, {41, 40}};
    for (const Member& m : members())
        for (const auto& [height, width] : shapes) {
            if (thin_effort() && height * width > 1000) continue;
            ASSERT_TRUE(decomposes(m, random_matrix(height, width), 1000, random_layout()));
        }
}

TEST(Svd, EveryPlacement)
{
    Cycle some_heights(std::vector<int>{1, 3, 4, 6, 9, 10}), some_widths(std::vector<int>{5, 2, 1, 7, 4});
    for (const Member& m : members())
        for (const Arrangement& where : arrangements(4, sizeof(double)))
            for (int beyond : {0, 1, 2}) {
                const Layout layout{where[0], where[1], where[2], where[3], beyond, {where[0].misalign}};
                ASSERT_TRUE(decomposes(m, random_matrix(some_heights.next(), some_widths.next()), 1000, layout));
            }
}

// Small integers make zeros on the way: columns that are cleared, cancellations, hypotenuses of nothing.
TEST(Svd, MatricesOfFewRanksAndManyZeros)
{
    int cancellations = 0;
    for (int i = 0; i < (thin_effort() ? 40 : 400); ++i) {
        const int height = uniform(1, 9), width = uniform(1, 9), rank = uniform(1, 3);
        Matrix left(static_cast<std::size_t>(height), std::vector<double>(static_cast<std::size_t>(rank)));
        Matrix right(static_cast<std::size_t>(rank), std::vector<double>(static_cast<std::size_t>(width)));
        for (Matrix* factor : {&left, &right})
            for (std::vector<double>& row : *factor)
                for (double& x : row) x = uniform(-1, 1);
        const Matrix source = product(left, right);
        cancellations += reference::svd::decompose(source).cancellations;
        ASSERT_TRUE(decomposes(any_of(members()), source, 1000, random_layout()));
    }
    for (std::size_t zero : {0U, 1U, 2U, 3U, 4U}) {
        Matrix bidiagonal(6, std::vector<double>(5));
        for (std::size_t k = 0; k < 5; ++k) {
            bidiagonal[k][k] = k == zero ? 0 : 1.5 + static_cast<double>(k);
            if (k < 4) bidiagonal[k][k + 1] = 1;
        }
        cancellations += reference::svd::decompose(bidiagonal).cancellations;
        for (const Member& m : members()) ASSERT_TRUE(decomposes(m, bidiagonal));
        for (const Member& m : members()) ASSERT_TRUE(decomposes(m, transposed(bidiagonal)));
    }
    EXPECT_GT(cancellations, 5);
}

TEST(Svd, OneByOne)
{
    for (const auto& [source, u, v] : {std::array{5.0, -1.0, -1.0}, {-5, -1, 1}, {0, 1, 1}, {0x1p500, -1, -1}})
        for (const Member& m : members()) {
            const Trial trial(m, {{source}}, 1);
            ASSERT_EQ(trial.call(), SrOk);
            EXPECT_TRUE(trial.holds({{{u}}, {std::abs(source)}, {{v}}})) << source;
        }
}

TEST(Svd, ZerosNeedNoSweep)
{
    for (const Member& m : members())
        for (const auto& [height, width] : {std::pair<std::size_t, std::size_t>{1, 1}, {4, 4}, {5, 2}, {2, 5}}) {
            const Trial trial(m, Matrix(height, std::vector<double>(width)), 1);
            ASSERT_EQ(trial.call(), SrOk);
            const auto unit = [&](std::size_t rows) {
                Matrix a(rows, std::vector<double>(width));
                for (std::size_t i = 0; i < std::min(rows, width); ++i) a[i][i] = 1;
                return a;
            };
            EXPECT_TRUE(trial.holds({unit(height), std::vector<double>(width), unit(width)}));
        }
}

TEST(Svd, StopsAtTheLimitWithTheStateReached)
{
    const Matrix three = {{1, 2, 3}, {4, 5, 6}, {7, 8, 10}};
    for (const Member& m : members()) {
        EXPECT_EQ(Trial(m, three, 1).call(), SrErrSvdConverge);
        int failed = 0;
        for (int limit = 1; limit < 9; ++limit)
            for (int size : {3, 6}) {
                const Matrix source = random_matrix(size, size);
                failed += !reference::svd::decompose(source, limit).converged;
                ASSERT_TRUE(decomposes(m, source, limit));
            }
        EXPECT_GE(failed, 4);
        ASSERT_TRUE(decomposes(m, three, INT32_MAX));
        // Each value has the limit to itself: 12 values take more sweeps in all than one may.
        const Matrix source = random_matrix(12, 12);
        EXPECT_GT(reference::svd::decompose(source).sweeps, 12);
        EXPECT_TRUE(decomposes(m, source, 12));
    }
}

// Powers of two change no digit, up to the largest numbers and down to where numbers lose digits.
TEST(Svd, PowersOfTwoOnlyScaleTheValues)
{
    std::vector<int> exponents = {0, 1, 200, -200, 389, -389, -1030, -1073, -1074};
    for (int e = 390; e <= 1010; e += thin_effort() ? 62 : 10) exponents.insert(exponents.end(), {e, -e});
    for (const auto& [height, width] : {std::pair{1, 1}, {2, 2}, {5, 5}, {7, 3}, {3, 6}})
        for (int exponent : exponents) {
            Matrix source(static_cast<std::size_t>(height), std::vector<double>(static_cast<std::size_t>(width)));
            for (std::vector<double>& row : source)
                for (double& x : row) x = uniform(-999, 999);
            const Member& m = any_of(members());
            Decomposition expected = reference::svd::decompose(source);
            if (m.sorted) expected = reference::svd::sorted(expected);
            for (double& w : expected.w) w = std::ldexp(w, exponent);
            const Trial trial(m, scaled(source, exponent), 1000, random_layout());
            ASSERT_EQ(trial.call(), SrOk) << "2^" << exponent;
            ASSERT_TRUE(trial.holds(expected)) << "2^" << exponent;
        }
}

// The bounds themselves, where only the arithmetic's scale changes: what stands is the same on both sides.
TEST(Svd, TheGreatestElementAroundTheBoundsOfScaling)
{
    for (double greatest :
         {0x1p399, std::nextafter(0x1p400, 0.0), 0x1p400, 0x1p401, 0x1p-399, 0x1p-400,
          std::nextafter(0x1p-400, 1.0), 0x1p-401, 0x1p1023, 0x1.fffffffffffffp1023, 0x1p-1022, 0x1p-1074})
        for (const Member& m : members()) {
            const Trial trial(m, {{greatest, 0}, {0, greatest}, {0, 0}}, 30);
            ASSERT_EQ(trial.call(), SrOk);
            EXPECT_TRUE(same_values({greatest, greatest}, trial.result().w)) << greatest;
        }
}

TEST(SvdSort, EqualValuesKeepTheirOrderAsExchangesPermit)
{
    // 1, 3, 3, 2, 1 become 3, 3, 1, 2, 1; the 1 that was first goes behind one that was last only by an exchange.
    Matrix source(5, std::vector<double>(5));
    const std::vector<double> values = {1, 3, 3, 2, 1};
    for (std::size_t k = 0; k < 5; ++k) source[k][k] = values[k];
    for (const Member& m : members()) {
        const Trial trial(m, source, 30);
        ASSERT_EQ(trial.call(), SrOk);
        const Decomposition d = trial.result();
        const std::vector<std::size_t> order =
            m.sorted ? std::vector<std::size_t>{1, 2, 3, 0, 4} : std::vector<std::size_t>{0, 1, 2, 3, 4};
        for (std::size_t k = 0; k < 5; ++k) {
            EXPECT_EQ(d.w[k], values[order[k]]) << m.name;
            for (std::size_t r = 0; r < 5; ++r) {
                EXPECT_EQ(std::abs(d.u[r][k]), r == order[k]) << m.name << ", column " << k;
                EXPECT_EQ(std::abs(d.v[r][k]), r == order[k]) << m.name << ", column " << k;
            }
        }
    }
}

TEST(Svd, NotNumbersSpreadAsTheStepsSay)
{
    for (int i = 0; i < (thin_effort() ? 40 : 400); ++i) {
        Matrix source = random_matrix(uniform(1, 7), uniform(1, 7));
        source[generator()() % source.size()][generator()() % source[0].size()] = NAN;
        const Member& m = members()[static_cast<std::size_t>(i) % 4];
        ASSERT_TRUE(decomposes(m, source, 20, random_layout()));
    }
}

TEST(Svd, NotNumbersAndInfinitiesEndAtTheLatestAtTheLimit)
{
    Cycle specials(std::vector<double>{NAN, INFINITY, -INFINITY, 0x1.fffffffffffffp1023, 0x1p-1074, -0.0});
    for (int i = 0; i < (thin_effort() ? 40 : 400); ++i) {
        Matrix source = random_matrix(uniform(1, 7), uniform(1, 7));
        for (int count = 1 + i % 3; count > 0; --count)
            source[generator()() % source.size()][generator()() % source[0].size()] = specials.next();
        const Trial trial(any_of(members()), source, 20, random_layout());
        const SrStatus status = trial.call();
        EXPECT_TRUE(status == SrOk || status == SrErrSvdConverge) << status;
        ASSERT_TRUE(trial.clean());
    }
}

TEST(Svd, TheFirstFailedCheckDecides)
{
    for (const Member& m : members()) {
        Trial trial(m, random_matrix(4, 3), 30, {{}, {}, {}, {}, 1, {0}});
        for (int32_t bad : {0, -1, INT32_MIN}) {
            std::vector<Fault<Arguments>> faults = {
                {"u", SrErrNullPtr, [](Arguments& a) { a.u = nullptr, a.u_list = nullptr; }},
                {"w", SrErrNullPtr, [](Arguments& a) { a.w = nullptr; }},
                {"v", SrErrNullPtr, [](Arguments& a) { a.v = nullptr, a.v_list = nullptr; }},
                {"height", SrErrSize, [bad](Arguments& a) { a.height = bad; }},
                {"width", SrErrSize, [bad](Arguments& a) { a.width = bad; }},
                {"iterations", SrErrSize, [bad](Arguments& a) { a.iterations = bad; }}};
            if (!m.in_place)
                faults.insert(faults.begin(), {"source", SrErrNullPtr,
                                               [](Arguments& a) { a.src = nullptr, a.src_list = nullptr; }});
            if (!m.list)
                for (int32_t step : {2, bad})
                    faults.push_back({"step", SrErrSize, [step](Arguments& a) { a.step = step; }});
            expect_check_order<Arguments>(trial.arguments(), faults, m.call, trial.blocks());
        }
        const Guarded<double> nothing(0);  // its address is a forbidden page's
        const Guarded<double*> no_list(0);
        for (const auto& [height, width, iterations] : {std::array{0, 3, 9}, {3, 0, 9}, {3, 3, 0}})
            EXPECT_EQ(m.call({nothing.data(), no_list.data(), nothing.data(), no_list.data(), height,
                              nothing.data(), nothing.data(), no_list.data(), width, 3, iterations}),
                      SrErrSize);
    }
}

// Of work memory that cannot be had: first that of the decomposition, then that of sorting.
TEST(Svd, SurvivesARefusedBlock)
{
    for (const Member& m : members())
        for (const auto& [height, width] : {std::pair{1, 1}, {4, 3}, {3, 40}, {60, 50}}) {
            const Matrix source = random_matrix(height, width);
            int blocks = 0;
            {
                const AllocatorWatch watch;
                EXPECT_EQ(Trial(m, source).call(), SrOk);
                EXPECT_EQ(watch.live(), 0);
                blocks = watch.requests();
            }
            EXPECT_GE(blocks, 1);
            for (int refused = 1; refused <= blocks; ++refused) {
                const Trial trial(m, source);
                const AllocatorWatch watch(refused);
                EXPECT_EQ(trial.call(), SrErrMemAlloc);
                EXPECT_EQ(watch.live(), 0);
                EXPECT_TRUE(trial.clean());
                if (refused > 1) continue;
                EXPECT_TRUE(same_rows(source, trial.result().u));
                EXPECT_TRUE(
                    same_values(std::vector<double>(source[0].size(), Trial::kUnwritten), trial.result().w));
                EXPECT_TRUE(
                    same_values(std::vector<double>(source[0].size(), Trial::kUnwritten), trial.result().v[0]));
            }
            const AllocatorWatch watch;
            Trial(m, source, 1).call();
            EXPECT_EQ(watch.live(), 0) << "after a limit used up";
        }
}

TEST(Svd, TakesTheRoundingMode)
{
    for (int mode : {FE_DOWNWARD, FE_UPWARD, FE_TOWARDZERO})
        for (const Member& m : members()) {
            const Matrix source = random_matrix(6, 5);
            std::fesetround(mode);
            const testing::AssertionResult right = decomposes(m, source);
            const int after = std::fegetround();
            std::fesetround(FE_TONEAREST);
            ASSERT_TRUE(right) << "rounding mode " << mode;
            ASSERT_EQ(after, mode);
        }
}

// Blocks of the exact size, for the address sanitizer and valgrind: an aligned load beyond the last element
// touches no forbidden page.
TEST(Svd, ReadsNothingBesideTheArrays)
{
    const auto exact = [](const std::vector<double>& values) {
        std::unique_ptr<double[]> block(new double[values.size()]);
        std::copy(values.begin(), values.end(), block.get());
        return block;
    };
    for (int height = 1; height <= 9; ++height)
        for (int width = 1; width <= 9; ++width) {
            const Matrix source = random_matrix(height, width);
            const auto a = exact(as_block(source, width, 0, false)), b = exact(as_block(source, width, 0, false));
            const auto size = static_cast<std::size_t>(width);
            const auto w = exact(std::vector<double>(size)), v = exact(std::vector<double>(size * size));
            ASSERT_EQ(zelsSVDSort_64f_D2(a.get(), b.get(), height, w.get(), v.get(), width, width, 50), SrOk);
            std::vector<std::unique_ptr<double[]>> kept;
            std::vector<double*> u_list, v_list;
            for (const std::vector<double>& row : source) u_list.push_back(kept.emplace_back(exact(row)).get());
            for (int r = 0; r < width; ++r)
                v_list.push_back(kept.emplace_back(exact(std::vector<double>(size))).get());
            ASSERT_EQ(zelsSVDSort_64f_D2L_I(u_list.data(), height, w.get(), v_list.data(), width, 50), SrOk);
        }
}

#ifdef __x86_64__
TEST(Svd, RowsLieBeyond32BitsOfElements)
{
    if (thin_effort()) return;
    matrix::SparseBlock<double> u, v;
    const Matrix source = random_matrix(u.kHeight, 5);
    u.fill(source);
    std::vector<double> w(5);
    ASSERT_EQ(zelsSVDSort_64f_D2_I(u.row(0), u.kHeight, w.data(), v.row(0), 5, u.kStep, 50), SrOk);
    const Decomposition expected = reference::svd::sorted(reference::svd::decompose(source));
    EXPECT_TRUE(same_rows(expected.u, u.rows(5)));
    EXPECT_TRUE(same_values(expected.w, w));
    EXPECT_TRUE(same_rows(expected.v, v.rows(5)));
}
#endif

#ifdef __i386__
TEST(Svd, TakesACallWithTheStackOn4Bytes)
{
    for (const Member& m : members())
        for (int stack : {0, 4, 8, 12}) {
            const Matrix source = random_matrix(5, 4);
            matrix::stack_misalign = stack;
            const testing::AssertionResult right = decomposes(m, source);
            matrix::stack_misalign = -1;
            ASSERT_TRUE(right) << "stack " << stack;
        }
}
#endif

}  // namespace
}  // namespace zelsr::test::svd
