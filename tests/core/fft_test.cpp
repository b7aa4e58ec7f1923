// What the transforms compute: against double precision, against the laws of the transform, and by value.
#include <gtest/gtest.h>

#include <tuple>

#include "support/bits.h"
#include "support/effort.h"
#include "support/fft_records.h"
#include "support/reference/fft.h"
#include "zelsr/core/fft.h"

namespace zelsr::test {
namespace {

using reference::Bins;
using reference::Complex;

TEST(FftReference, IsTheDirectSum)
{
    for (int order = 0; order <= 8; ++order) {
        Bins x;
        for (int n = 0; n < 1 << order; ++n) x.emplace_back(uniform(-1.0, 1.0), uniform(-1.0, 1.0));
        const Bins fast = reference::transform(x);
        const Bins direct = reference::direct_transform(x);
        const reference::Circle circle(order);
        for (std::size_t k = 0; k < x.size(); ++k) {
            ASSERT_LE(std::abs(fast[k] - direct[k]), 1e-13) << "order " << order << " bin " << k;
            const double angle = -2 * std::numbers::pi * static_cast<double>(k) / static_cast<double>(x.size());
            ASSERT_LE(std::abs(circle.point(k + 3 * x.size()) - std::polar(1.0, angle)), 1e-15);
        }
    }
}

// The same noise for all tests of an order.
std::vector<float> noise(int order)
{
    static const std::vector<float> longest = uniform_vector(1 << orders_to(20).back(), -1.0F, 1.0F);
    return {longest.begin(), longest.begin() + (1 << order)};
}

// The spectrum of noise, and the signal that noise is the spectrum of; those of the last order are kept.
const Bins& noise_bins(int order)
{
    static int kept = -1;
    static Bins bins;
    if (kept != order) bins = reference::forward(noise(order));
    kept = order;
    return bins;
}
const std::vector<double>& noise_inverse(int order)
{
    static int kept = -1;
    static std::vector<double> signal;
    if (kept != order) signal = reference::inverse(reference::from_pack(noise(order)), std::size_t{1} << order);
    kept = order;
    return signal;
}

class FftForward : public testing::TestWithParam<std::tuple<int, int, Format>> {};

TEST_P(FftForward, IsTheTransformTimesTheFlagsFactor)
{
    const auto& [order, flag, format] = GetParam();
    const Fft fft(order, flag);
    reference::expect_near(format.arrange(noise_bins(order)), run_forward(format, noise(order), fft.get()), order,
                           forward_factor(order, flag));
}

INSTANTIATE_TEST_SUITE_P(Orders, FftForward,
                         testing::Combine(testing::ValuesIn(orders_to(20)), testing::ValuesIn(kFlags),
                                          testing::ValuesIn(kFormats)),
                         [](const auto& given) {
                             return "order" + std::to_string(std::get<0>(given.param)) + "_flag" +
                                    std::to_string(std::get<1>(given.param)) + "_" + std::get<2>(given.param).name;
                         });

class FftOrderAndFlag : public testing::TestWithParam<std::tuple<int, int>> {};

TEST_P(FftOrderAndFlag, InverseIsTheTransformTimesTheFlagsFactor)
{
    const auto [order, flag] = GetParam();
    const Fft fft(order, flag);
    reference::expect_near(noise_inverse(order), run_inverse(noise(order), fft.get()), order,
                           inverse_factor(order, flag));
}

// Flag 8 has no factor in either direction: N times the signal.
TEST_P(FftOrderAndFlag, InverseOfForwardRestoresTheSignalOrNTimesIt)
{
    const auto [order, flag] = GetParam();
    const std::vector<float> x = noise(order);
    const Fft fft(order, flag);
    const std::vector<float> restored = run_inverse(run_forward(kPack, x, fft.get()), fft.get());
    reference::expect_near(std::vector<double>(x.begin(), x.end()), restored, order,
                           flag == 8 ? std::ldexp(1.0, order) : 1, 2);
}

INSTANTIATE_TEST_SUITE_P(Orders, FftOrderAndFlag,
                         testing::Combine(testing::ValuesIn(orders_to(20)), testing::ValuesIn(kFlags)),
                         [](const auto& given) {
                             return "order" + std::to_string(std::get<0>(given.param)) + "_flag" +
                                    std::to_string(std::get<1>(given.param));
                         });

class FftOrder : public testing::TestWithParam<int> {
  protected:
    int order() const { return GetParam(); }
    std::size_t size() const { return std::size_t{1} << GetParam(); }
};

TEST_P(FftOrder, FormatsHoldTheSameBits)
{
    for (int flag : kFlags) {
        const Fft fft(order(), flag);
        const std::vector<float> x = noise(order());
        const std::vector<float> ccs = run_forward(kCcs, x, fft.get());
        std::vector<float> pack{ccs[0]};
        std::vector<float> perm{ccs[0]};
        if (size() > 1) {
            pack.insert(pack.end(), ccs.begin() + 2, ccs.begin() + static_cast<std::ptrdiff_t>(size()) + 1);
            perm.push_back(ccs[size()]);
            perm.insert(perm.end(), ccs.begin() + 2, ccs.begin() + static_cast<std::ptrdiff_t>(size()));
        }
        EXPECT_TRUE(same_values(pack, run_forward(kPack, x, fft.get()))) << "flag " << flag;
        EXPECT_TRUE(same_values(perm, run_forward(kPerm, x, fft.get()))) << "flag " << flag;
    }
}

// By nature zero, and stored as +0: position 1 and, for N above 1, position N + 1.
TEST_P(FftOrder, CcsImaginaryPartsOfZeroAndNyquistArePositiveZero)
{
    for (int flag : kFlags)
        for (float sign : {1.0F, -1.0F}) {
            std::vector<float> x = noise(order());
            for (float& value : x) value *= sign;
            const Fft fft(order(), flag);
            const std::vector<float> ccs = run_forward(kCcs, x, fft.get());
            EXPECT_TRUE(same_value(0.0F, ccs[1])) << "flag " << flag;
            EXPECT_TRUE(same_value(0.0F, ccs.back())) << "flag " << flag;
        }
}

TEST_P(FftOrder, ImpulseTurnsOnceRoundForEverySampleOfItsDelay)
{
    const Fft fft(order(), 8);
    const reference::Circle circle(order());
    const auto delay = uniform<std::uint64_t>(0, size() - 1);
    for (std::uint64_t at : {std::uint64_t{0}, std::uint64_t{size() - 1}, delay}) {
        std::vector<float> x(size());
        x[at] = 1;
        Bins bins(size() / 2 + 1);
        for (std::size_t k = 0; k < bins.size(); ++k) bins[k] = circle.point(at * k);
        SCOPED_TRACE(at);
        reference::expect_near(reference::as_pack(bins), run_forward(kPack, x, fft.get()), order());
    }
}

TEST_P(FftOrder, ShiftTurnsTheBins)
{
    const Fft fft(order(), 8);
    const reference::Circle circle(order());
    const std::vector<float> x = noise(order());
    const auto shift = uniform<std::uint64_t>(0, size() - 1);
    std::vector<float> delayed(size());
    for (std::size_t n = 0; n < size(); ++n) delayed[(n + shift) % size()] = x[n];
    Bins bins = reference::from_pack(run_forward(kPack, x, fft.get()));
    for (std::size_t k = 0; k < bins.size(); ++k) bins[k] *= circle.point(shift * k);
    reference::expect_near(reference::as_pack(bins), run_forward(kPack, delayed, fft.get()), order(), 1, 2);
}

TEST_P(FftOrder, IsLinear)
{
    const Fft fft(order(), 8);
    std::vector<float> x, y, sum;
    for (std::size_t n = 0; n < size(); ++n) {
        x.push_back(static_cast<float>(uniform<int>(-1000, 1000)));
        y.push_back(static_cast<float>(uniform<int>(-1000, 1000)));
        sum.push_back(3 * x.back() - 2 * y.back());  // exact
    }
    std::vector<double> expected;
    const std::vector<float> of_x = run_forward(kPack, x, fft.get());
    const std::vector<float> of_y = run_forward(kPack, y, fft.get());
    for (std::size_t i = 0; i < size(); ++i) expected.push_back(3.0 * of_x[i] - 2.0 * of_y[i]);
    // Where the two sides cancel (a single element can), their errors still are those of the addends.
    const double unit =
        3 * reference::rms({of_x.begin(), of_x.end()}) + 2 * reference::rms({of_y.begin(), of_y.end()});
    const std::vector<float> actual = run_forward(kPack, sum, fft.get());
    for (std::size_t i = 0; i < size(); ++i)
        ASSERT_NEAR(expected[i], actual[i], 2 * reference::max_tolerance(order()) * unit) << i;
}

TEST_P(FftOrder, KeepsTheEnergy)
{
    const Fft fft(order(), 8);
    const std::vector<float> x = noise(order());
    double energy = 0;
    for (float value : x) energy += static_cast<double>(value) * value;
    const Bins bins = reference::from_pack(run_forward(kPack, x, fft.get()));
    double of_bins = 0;
    for (std::size_t k = 0; k < bins.size(); ++k)
        of_bins += std::norm(bins[k]) * (k == 0 || 2 * k == size() ? 1 : 2);
    EXPECT_NEAR(of_bins / (energy * static_cast<double>(size())), 1, 2.1 * reference::rms_tolerance(order()));
}

TEST_P(FftOrder, HintHasNoEffect)
{
    const std::vector<float> x = noise(order());
    const Fft plain(order(), 4, 0);
    const std::vector<float> spectrum = run_forward(kCcs, x, plain.get());
    const std::vector<float> signal = run_inverse(x, plain.get());
    for (int hint : {1, 2, -1}) {
        const Fft fft(order(), 4, hint);
        EXPECT_TRUE(same_values(spectrum, run_forward(kCcs, x, fft.get()))) << hint;
        EXPECT_TRUE(same_values(signal, run_inverse(x, fft.get()))) << hint;
    }
}

INSTANTIATE_TEST_SUITE_P(Orders, FftOrder, testing::ValuesIn(orders_to(20)), testing::PrintToStringParamName());

TEST(FftByValue, OneElementIsItself)
{
    for (int flag : kFlags) {
        const Fft fft(0, flag);
        for (float x : special_values<float>()) {
            EXPECT_TRUE(same_values({x, 0.0F}, run_forward(kCcs, {x}, fft.get()))) << flag;
            EXPECT_TRUE(same_values({x}, run_forward(kPack, {x}, fft.get()))) << flag;
            EXPECT_TRUE(same_values({x}, run_forward(kPerm, {x}, fft.get()))) << flag;
            EXPECT_TRUE(same_values({x}, run_inverse({x}, fft.get()))) << flag;
        }
    }
}

TEST(FftByValue, TwoElementsAreSumAndDifference)
{
    for (int flag : {1, 2, 8}) {
        const Fft fft(1, flag);
        const float forward = static_cast<float>(forward_factor(1, flag));
        const float inverse = static_cast<float>(inverse_factor(1, flag));
        for (int round = 0; round < 100; ++round) {
            const float a = uniform(-1.0F, 1.0F);
            const float b = uniform(-1.0F, 1.0F);
            const float sum = (a + b) * forward;
            const float difference = (a - b) * forward;
            EXPECT_TRUE(same_values({sum, difference}, run_forward(kPack, {a, b}, fft.get())));
            EXPECT_TRUE(same_values({sum, difference}, run_forward(kPerm, {a, b}, fft.get())));
            EXPECT_TRUE(same_values({sum, 0.0F, difference, 0.0F}, run_forward(kCcs, {a, b}, fft.get())));
            EXPECT_TRUE(same_values({(a + b) * inverse, (a - b) * inverse}, run_inverse({a, b}, fft.get())));
        }
    }
}

// x0 + x1 + x2 + x3, x0 + x2 - x1 - x3, x0 - x2, x3 - x1: whole numbers leave nothing to round.
TEST(FftByValue, FourElementsAreTheirSums)
{
    for (int flag : kFlags) {
        const Fft fft(2, flag);
        const float forward = static_cast<float>(forward_factor(2, flag));
        const float inverse = static_cast<float>(inverse_factor(2, flag));
        for (int round = 0; round < 100; ++round) {
            float x[4];
            for (float& value : x) value = static_cast<float>(uniform<int>(-1000000, 1000000));
            const std::vector<float> perm = {(x[0] + x[1] + x[2] + x[3]) * forward,
                                             (x[0] + x[2] - x[1] - x[3]) * forward, (x[0] - x[2]) * forward,
                                             (x[3] - x[1]) * forward};
            EXPECT_TRUE(same_values(perm, run_forward(kPerm, {x, x + 4}, fft.get()))) << flag;
            EXPECT_TRUE(
                same_values({perm[0], perm[2], perm[3], perm[1]}, run_forward(kPack, {x, x + 4}, fft.get())));
            // R[0], R[1], I[1], R[2]
            const std::vector<float> signal = {
                (x[0] + x[3] + 2 * x[1]) * inverse, (x[0] - x[3] - 2 * x[2]) * inverse,
                (x[0] + x[3] - 2 * x[1]) * inverse, (x[0] - x[3] + 2 * x[2]) * inverse};
            EXPECT_TRUE(same_values(signal, run_inverse({x, x + 4}, fft.get()))) << flag;
        }
        for (int round = 0; round < 100; ++round) {
            const std::vector<float> x = uniform_vector(4, -1.0F, 1.0F);
            const std::vector<float> perm = run_forward(kPerm, x, fft.get());
            EXPECT_TRUE(same_value((x[0] - x[2]) * forward, perm[2])) << flag;
            EXPECT_TRUE(same_value((x[3] - x[1]) * forward, perm[3])) << flag;
        }
    }
}

TEST(FftByValue, ImpulseOfFourHasOnesAndNoImaginaryPart)
{
    const Fft fft(2, 8);
    const std::vector<float> ccs = run_forward(kCcs, {1, 0, 0, 0}, fft.get());
    EXPECT_EQ(ccs, (std::vector<float>{1, 0, 1, 0, 1, 0}));
}

// Two-level transforms apply the factor to their sub-transforms: sums of 2^15 values that a single holds become
// small again before the column stages add them up.
TEST(Fft, FactorOfLongTransformsKeepsColumnsFromOverflow)
{
    for (int order : orders_to(20)) {
        if (order <= 18) continue;
        const std::size_t size = std::size_t{1} << order;
        const std::vector<float> level(size, 0x1p111F);
        std::vector<float> impulse(size);
        impulse[0] = 0x1p111F;
        const Fft forward(order, 1);
        EXPECT_TRUE(run_forward(kPack, level, forward.get()) == impulse) << order;

        std::vector<float> flat(size);  // all real parts
        for (std::size_t i = 1; i < size; i += 2) flat[i] = 0x1p111F;
        flat[0] = 0x1p111F;
        const Fft inverse(order, 2);
        EXPECT_TRUE(run_inverse(flat, inverse.get()) == impulse) << order;
    }
}

TEST(Fft, TwoRecordsServeInTurn)
{
    for (const auto& [first_order, second_order] : {std::pair{3, 9}, {9, 12}, {12, 12}, {5, 11}}) {
        const std::vector<float> x = uniform_vector(1 << first_order, -1.0F, 1.0F);
        const std::vector<float> y = uniform_vector(1 << second_order, -1.0F, 1.0F);
        std::vector<float> of_x, of_y;
        {
            const Fft alone(first_order, 1);
            of_x = run_forward(kPack, x, alone.get());
        }
        {
            const Fft alone(second_order, 4);
            of_y = run_forward(kPack, y, alone.get());
        }
        const Fft first(first_order, 1);
        const Fft second(second_order, 4);
        for (int round = 0; round < 3; ++round) {
            EXPECT_TRUE(same_values(of_x, run_forward(kPack, x, first.get())));
            EXPECT_TRUE(same_values(of_y, run_forward(kPack, y, second.get())));
        }
    }
}

// Every shape of the longest transforms: a delayed impulse in all bins, noise in some bins and there and back. The
// thin effort takes orders that are long for it.
TEST(FftLong, ImpulseNoiseAndInverse)
{
    const int last = thin_effort() ? 15 : 23;
    for (int order = last - 2; order <= last; ++order) {
        SCOPED_TRACE(order);
        const std::size_t size = std::size_t{1} << order;
        const Fft fft(order, 2);
        const reference::Circle circle(order);
        const auto delay = uniform<std::uint64_t>(0, size - 1);
        std::vector<float> x(size);
        x[delay] = 1;
        const std::vector<float> turns = run_forward(kPack, x, fft.get());
        double largest = 0;
        for (std::size_t k = 1; k < size / 2; ++k) {
            const Complex expected = circle.point(delay * k);
            largest = std::max(
                {largest, std::abs(expected.real() - turns[2 * k - 1]), std::abs(expected.imag() - turns[2 * k])});
        }
        EXPECT_LE(largest, reference::max_tolerance(order));
        EXPECT_NEAR(turns[0], 1, reference::max_tolerance(order));
        EXPECT_NEAR(turns[size - 1], delay % 2 == 0 ? 1 : -1, reference::max_tolerance(order));

        for (float& value : x) value = static_cast<float>(generator()()) * 0x1p-31F - 1.0F;
        std::vector<float> spectrum(size);
        ASSERT_EQ(zelsFFTFwd_RToPack_32f(x.data(), spectrum.data(), fft.get(), nullptr), SrOk);
        const double unit = std::sqrt(static_cast<double>(size) / 3);
        for (std::uint64_t k :
             {std::uint64_t{1}, uniform<std::uint64_t>(2, size / 2 - 2), std::uint64_t{size / 2 - 1}}) {
            Complex sum;
            for (std::size_t n = 0; n < size; ++n) sum += static_cast<double>(x[n]) * circle.point(n * k);
            EXPECT_NEAR(sum.real(), spectrum[2 * k - 1], reference::max_tolerance(order) * unit) << k;
            EXPECT_NEAR(sum.imag(), spectrum[2 * k], reference::max_tolerance(order) * unit) << k;
        }
        ASSERT_EQ(zelsFFTInv_PackToR_32f(spectrum.data(), spectrum.data(), fft.get(), nullptr), SrOk);
        double squares = 0;
        for (std::size_t n = 0; n < size; ++n) squares += std::pow(static_cast<double>(spectrum[n]) - x[n], 2);
        EXPECT_LE(std::sqrt(squares / static_cast<double>(size)),
                  2 * reference::rms_tolerance(order) * std::sqrt(1.0 / 3));
    }
}

}  // namespace
}  // namespace zelsr::test
