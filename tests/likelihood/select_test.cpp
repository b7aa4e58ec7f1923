// Mixtures of selected components: their values.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "likelihood/select_members.h"

namespace zelsr::test::select {
namespace {

template <class M>
class LogGaussMixtureSelect : public testing::Test {
  public:
    using T = typename M::T;
};
TYPED_TEST_SUITE(LogGaussMixtureSelect, Members, MemberNames);

template <class T>
std::string shape(const Problem<T>& p)
{
    return std::to_string(p.components()) + " components, " + std::to_string(p.height()) + " frames of " +
           std::to_string(p.width()) + "; ";
}

std::vector<int> up_to_21_and(std::vector<int> more)
{
    std::vector<int> all;
    for (int n = 1; n <= 21; ++n)
        if (!thin_effort() || n < 3 || n == 8 || n == 9 || n > 18) all.push_back(n);
    all.insert(all.end(), more.begin(), more.end());
    return all;
}

// Shapes on both sides of every bound between the paths: components, frames.
struct Shape {
    int components, height;
};
std::vector<Shape> shapes()
{
    if (thin_effort()) return {{1, 1}, {3, 4}, {8, 2}, {9, 2}, {20, 20}, {21, 3}};
    return {{1, 1},   {3, 4},   {8, 3},   {8, 40},  {9, 1},   {9, 2}, {20, 19},
            {20, 20}, {20, 21}, {21, 19}, {21, 20}, {21, 21}, {40, 2}};
}

TYPED_TEST(LogGaussMixtureSelect, EveryNumberOfComponentsAndFrames)
{
    int round = 0;
    for (int components : up_to_21_and({40, 300}))
        for (int height : up_to_21_and({40})) {
            const int width = ++round % 11 + 1;
            const auto p =
                random_problem<typename TestFixture::T>(width, components, height, kDensities[round % 4]);
            Layout layout = flush(p);
            if (round % 3 != 0) layout.beyond_width = (16 - width) % 8;
            ASSERT_TRUE(sums<TypeParam>(p, layout)) << shape(p) << describe(layout);
        }
}

TYPED_TEST(LogGaussMixtureSelect, EveryDensityOnBothSidesOfEachBound)
{
    for (int components : {8, 9, 20, 21})
        for (int height : {1, 2, 19, 20, 21})
            for (int density : kDensities)
                for (int beyond_width : {0, 3}) {
                    const auto p = random_problem<typename TestFixture::T>(5, components, height, density);
                    Layout layout = flush(p);
                    layout.beyond_width = beyond_width;
                    ASSERT_TRUE(sums<TypeParam>(p, layout)) << shape(p) << "density " << density;
                }
}

// Dense rows, rows on 16 bytes, a step that is a multiple of 4 or 2 only, an odd step.
TYPED_TEST(LogGaussMixtureSelect, EveryWidthAndStep)
{
    std::vector<int> widths = {64, 67, 100};
    for (int width = 1; width <= 42; ++width) widths.push_back(width);
    for (int width : widths) {
        if (thin_effort() && width % 8 > 1 && width % 8 < 7) continue;
        for (Shape s : {Shape{3, 3}, Shape{9, 5}, Shape{11, 21}}) {
            const auto p = random_problem<typename TestFixture::T>(width, s.components, s.height, 128);
            const int to_eight = (8 - width % 8) % 8;
            for (int beyond_width : {0, to_eight, to_eight + 4, to_eight + 2, to_eight + 9})
                for (int misalign : {0, 8}) {
                    Layout layout = flush(p);
                    layout.beyond_width = beyond_width;
                    layout.frames = layout.mean = layout.inv_var = {misalign};
                    layout.frame_misalign = {misalign, 0};
                    layout.inv_var_misalign = {0, misalign, misalign};
                    ASSERT_TRUE(sums<TypeParam>(p, layout)) << shape(p) << describe(layout);
                    if (TypeParam::kList && beyond_width == to_eight) break;
                }
        }
    }
}

TYPED_TEST(LogGaussMixtureSelect, EveryPlacement)
{
    using T = typename TestFixture::T;
    const auto all = arrangements(6, sizeof(T));
    for (Shape s : {Shape{4, 3}, Shape{9, 6}, Shape{10, 21}}) {
        const auto p = random_problem<T>(13, s.components, s.height, 128);
        for (std::size_t n = 0; n < all.size(); n += thin_effort() ? 5 : 1) {
            const Arrangement& a = all[n];
            const Layout layout{a[0],           a[1], a[2], a[3], a[4], a[5], 3, {a[0].misalign}, {a[1].misalign},
                                {a[2].misalign}};
            ASSERT_TRUE(sums<TypeParam>(p, layout)) << shape(p) << describe(layout);
        }
    }
}

// In a list every row has an address of its own, which decides that row's kernel.
TYPED_TEST(LogGaussMixtureSelect, EveryMixtureOfRowAddresses)
{
    for (int width : thin_effort() ? std::vector<int>{3, 22} : std::vector<int>{1, 3, 5, 8, 15, 22, 27})
        for (const std::vector<int>& frames : {std::vector<int>{0}, {0, 4}, {8, 0, 1}})
            for (const std::vector<int>& mean : {std::vector<int>{0}, {4, 0, 0}, {0, 7}})
                for (const std::vector<int>& inv_var : {std::vector<int>{0}, {0, 0, 0, 12}, {1, 0}}) {
                    const auto p = random_problem<typename TestFixture::T>(width, 6, 5, 128);
                    Layout layout = flush(p);
                    layout.frame_misalign = frames;
                    layout.mean_misalign = mean;
                    layout.inv_var_misalign = inv_var;
                    ASSERT_TRUE(sums<TypeParam>(p, layout)) << shape(p) << describe(layout);
                }
}

// --- what is counted ---

TYPED_TEST(LogGaussMixtureSelect, AFrameWithoutAComponentReceivesTheFallback)
{
    using T = typename TestFixture::T;
    for (Shape s : shapes())
        for (float fallback : special_values<float>()) {
            auto p = random_problem<T>(5, s.components, s.height, 128);
            p.fallback = fallback;
            const std::size_t row_bytes = bytes_of(s.components);
            const Bytes none = random_table(s.components, 1, 0);  // its last bits are set
            for (int i = 0; i < s.height; i += 2)
                std::copy(none.begin(), none.end(), p.table.begin() + i * static_cast<int>(row_bytes));
            const std::vector<float> result = plain_call<TypeParam>(p);
            for (std::size_t i = 0; i < result.size(); i += 2)
                ASSERT_TRUE(same_value(fallback, result[i])) << shape(p) << "frame " << i;
            ASSERT_TRUE(sums<TypeParam>(p)) << shape(p);
        }
}

TYPED_TEST(LogGaussMixtureSelect, BitsBehindTheLastComponentDoNotCount)
{
    for (Shape s : shapes()) {
        auto p = random_problem<typename TestFixture::T>(5, s.components, s.height, 100);
        const std::vector<float> result = plain_call<TypeParam>(p);
        for (std::size_t i = bytes_of(s.components) - 1; i < p.table.size(); i += bytes_of(s.components))
            p.table[i] = static_cast<uint8_t>(
                p.table[i] & ~((1 << (8 * bytes_of(s.components) - static_cast<std::size_t>(s.components))) - 1));
        ASSERT_TRUE(same_values(result, plain_call<TypeParam>(p))) << shape(p);
    }
}

// Small whole numbers: the score has the same bits in any order of its sum.
template <class T>
Problem<T> whole_numbers(int width, Shape s)
{
    auto p = random_problem<T>(width, s.components, s.height, 0);
    for (auto* rows : {&p.frames, &p.mean, &p.inv_var})
        for (auto& row : *rows)
            for (T& x : row)
                x = static_cast<T>(uniform(rows == &p.inv_var ? 0 : -20, rows == &p.inv_var ? 5 : 20));
    for (float& val : p.val) val = static_cast<float>(uniform(-1000, 1000)) / 2;
    p.sf = 0;
    return p;
}

TYPED_TEST(LogGaussMixtureSelect, OneComponentIsItsScore)
{
    for (Shape s : shapes())
        for (int width : {1, 3, 4, 8, 11, 24, 39}) {
            auto p = whole_numbers<typename TestFixture::T>(width, s);
            std::vector<float> expected;
            for (int i = 0; i < s.height; ++i) {
                const int j = uniform(0, s.components - 1);
                p.select(i, j);
                int twice = static_cast<int>(2 * p.val[static_cast<std::size_t>(j)]);
                for (std::size_t k = 0; k < p.frames[0].size(); ++k) {
                    const int d = static_cast<int>(p.frames[static_cast<std::size_t>(i)][k]) -
                                  static_cast<int>(p.mean[static_cast<std::size_t>(j)][k]);
                    twice -=
                        d * d *
                        (TypeParam::kVariances ? static_cast<int>(p.inv_var[static_cast<std::size_t>(j)][k]) : 1);
                }
                expected.push_back(static_cast<float>(twice) / 2);
            }
            ASSERT_TRUE(same_values(expected, plain_call<TypeParam>(p))) << shape(p);
        }
}

// Features on the mean: scores are the constants. No floor is put under a single one, no sum is begun at log zero.
template <class T>
Problem<T> constants(Shape s, const std::vector<float>& vals)
{
    auto p = random_problem<T>(4, s.components, s.height, 0);
    p.frames.assign(p.frames.size(), std::vector<T>(4, T(7)));
    p.mean.assign(p.mean.size(), p.frames[0]);
    for (std::size_t j = 0; j < p.val.size(); ++j) p.val[j] = vals[j % vals.size()];
    return p;
}

TYPED_TEST(LogGaussMixtureSelect, OneComponentHasNoFloor)
{
    using Limits = std::numeric_limits<float>;
    for (Shape s : shapes())
        for (float val : {-5e6F, -4.5e6F, -1e30F, 0.0F, 12.25F, 1e30F, Limits::infinity(), -Limits::infinity(),
                          Limits::quiet_NaN()})
            for (int j : {0, s.components / 2, s.components - 1}) {
                auto p = constants<typename TestFixture::T>(s, {3.0F});
                p.val[static_cast<std::size_t>(j)] = val;
                for (int i = 0; i < s.height; ++i) p.select(i, j);
                const std::vector<float> expected(static_cast<std::size_t>(s.height), val);
                ASSERT_TRUE(same_values(expected, plain_call<TypeParam>(p))) << shape(p) << val;
            }
}

// The logarithm's own cases; both hints give them the same bits.
TYPED_TEST(LogGaussMixtureSelect, TwoComponentsByValue)
{
    struct Case {
        float first, second, sum;
    };
    for (Shape s : shapes()) {
        if (s.components < 2) continue;
        for (Case c :
             {Case{0, 0, 0.6931471827215062F}, Case{0, -16, 0}, Case{-16, 0, 0}, Case{-5e6F, -6e6F, -4.5e6F},
              Case{-5e6F, -5e6F, -4999999.5F}, Case{-4.5e6F, -4.5e6F, -4499999.5F}, Case{-4.5e6F, -1, -1},
              Case{100, 100, 100.6931471827215062F}})
            for (int distance : {1, s.components - 1}) {
                auto p = constants<typename TestFixture::T>(s, {50.0F});
                p.val[0] = c.first;
                p.val[static_cast<std::size_t>(distance)] = c.second;
                for (int i = 0; i < s.height; ++i) {
                    p.select(i, 0);
                    p.select(i, distance);
                }
                const std::vector<float> expected(static_cast<std::size_t>(s.height), c.sum);
                ASSERT_TRUE(same_values(expected, plain_call<TypeParam>(p)))
                    << shape(p) << c.first << ", " << c.second;
            }
    }
}

TYPED_TEST(LogGaussMixtureSelect, UnselectedComponentsHaveNoInfluence)
{
    using T = typename TestFixture::T;
    for (Shape s : shapes())
        for (float special : special_values<float>()) {
            auto p = random_problem<T>(5, s.components, s.height, 128);
            auto changed = p;
            for (int j = 0; j < s.components; j += 2) {
                const auto n = static_cast<std::size_t>(j);
                changed.val[n] = special;
                if (sizeof(T) == 4)
                    changed.mean[n][n % 5] = changed.inv_var[n][(n + 1) % 5] =
                        static_cast<T>(sizeof(T) == 4 ? special : 0);
                for (std::size_t i = 0; i < p.frames.size(); ++i)  // unselects j
                    for (auto* problem : {&p, &changed}) {
                        uint8_t& byte = problem->table[i * bytes_of(s.components) + n / 8];
                        byte = static_cast<uint8_t>(byte & ~reference::mask_of(j));
                    }
            }
            ASSERT_TRUE(same_values(plain_call<TypeParam>(p), plain_call<TypeParam>(changed)))
                << shape(p) << special;
        }
}

TYPED_TEST(LogGaussMixtureSelect, InfinitiesAndNotNumbersFlowThroughTheirOwnFrame)
{
    using T = typename TestFixture::T;
    for (Shape s : shapes())
        for (float special : special_values<float>())
            for (int density : {40, 256}) {
                if (thin_effort() && density == 256 && s.components > 8) continue;
                const auto plain = random_problem<T>(5, s.components, s.height, density);
                auto in_val = plain;
                in_val.val[static_cast<std::size_t>(s.components) / 2] = special;
                ASSERT_TRUE(sums<TypeParam>(in_val)) << shape(plain) << special;
                if constexpr (sizeof(T) == 4) {
                    auto in_frame = plain, in_mean = plain, in_variance = plain;
                    in_frame.frames[static_cast<std::size_t>(s.height) / 2][4] = special;
                    in_mean.mean[static_cast<std::size_t>(s.components) / 3][1] = special;
                    in_variance.inv_var[static_cast<std::size_t>(s.components) / 3][2] = special;
                    for (const auto& p : {in_frame, in_mean, in_variance})
                        ASSERT_TRUE(sums<TypeParam>(p)) << shape(p) << special;
                }
            }
}

// --- accuracy ---

// Beside the logarithm of the sum, on both paths, for scores that differ by nothing to hundreds.
TYPED_TEST(LogGaussMixtureSelect, IsTheLogarithmOfTheSum)
{
    using T = typename TestFixture::T;
    const std::vector<T> ones(200, T(1));
    for (Shape s : shapes())
        for (int width : thin_effort() ? std::vector<int>{5, 40} : std::vector<int>{1, 5, 13, 40, 200})
            for (float spread : {0.1F, 1.0F, 30.0F}) {
                auto p = random_problem<T>(width, s.components, s.height, 180);
                for (auto* rows : {&p.frames, &p.mean})
                    for (auto& row : *rows)
                        for (T& x : row) x = static_cast<T>(static_cast<float>(x) * spread);
                const std::vector<float> result = plain_call<TypeParam>(p);
                for (int i = 0; i < s.height; ++i) {
                    std::vector<reference::RealScore> scores;
                    for (int j = 0; j < s.components; ++j) {
                        if (!p.selected(i, j)) continue;
                        const auto n = static_cast<std::size_t>(j);
                        const T *x = p.frames[static_cast<std::size_t>(i)].data(), *m = p.mean[n].data(),
                                *v = TypeParam::kVariances ? p.inv_var[n].data() : ones.data();
                        if constexpr (sizeof(T) == 4)
                            scores.push_back(reference::real_score(x, m, v, width, p.val[n]));
                        else
                            scores.push_back(reference::real_score(x, m, v, width, p.val[n], p.sf));
                    }
                    if (scores.empty()) continue;
                    const reference::RealScore sum = reference::real_sum(scores);
                    ASSERT_NEAR(sum.value, result[static_cast<std::size_t>(i)], sum.tolerance)
                        << shape(p) << "frame " << i << ", spread " << spread;
                }
            }
}

}  // namespace
}  // namespace zelsr::test::select
