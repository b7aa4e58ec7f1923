// Cepstra freed from a slowly learning bias.
#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <type_traits>
#include <vector>

#include "support/arrangements.h"
#include "support/environment.h"
#include "support/hooks.h"
#include "support/operation.h"
#include "support/reference/aurora_bands.h"
#include "zelsr/aurora/bands.h"

namespace zelsr::test {
namespace {

constexpr float kInfinity = std::numeric_limits<float>::infinity();

template <class How>
SrStatus equalize(How how, const float* reference, float* cepstrum, float* bias, int32_t len, float log_energy)
{
    return how(zelsBlindEqualization_Aurora_32f, reference, cepstrum, bias, len, log_energy);
}
template <class How>
SrStatus equalize(How how, const int16_t* reference, int16_t* cepstrum, int16_t* bias, int32_t len,
                  int32_t log_energy)
{
    return how(zelsBlindEqualization_Aurora_16s, reference, cepstrum, bias, len, log_energy);
}

template <class T>
using Energy = std::conditional_t<std::is_same_v<T, float>, float, int32_t>;

template <class T>
class BlindEqualization : public testing::Test {};
struct Names {
    template <class T>
    static std::string GetName(int)
    {
        return std::is_same_v<T, float> ? "32f" : "16s";
    }
};
using Types = testing::Types<float, int16_t>;
TYPED_TEST_SUITE(BlindEqualization, Types, Names);

template <class T>
struct Frame {
    std::vector<T> reference, cepstrum, bias;
};

template <class T>
Frame<T> random_frame(int len)
{
    return {uniform_vector<T>(len, T(-9999), T(9999)), uniform_vector<T>(len, T(-20000), T(20000)),
            uniform_vector<T>(len, T(-20000), T(20000))};
}

template <class T>
testing::AssertionResult equalizes(const Frame<T>& frame, Energy<T> log_energy,
                                   const Arrangement& at = Arrangement(3))
{
    Guarded<T> reference(frame.reference, at[0]), cepstrum(frame.cepstrum, at[1]), bias(frame.bias, at[2]);
    reference.take_snapshot();
    if (auto ok = status_is(SrOk, equalize(Direct{}, reference.data(), cepstrum.data(), bias.data(),
                                           static_cast<int32_t>(frame.reference.size()), log_energy));
        !ok)
        return ok;
    if (!(reference.as_snapshot() && cepstrum.intact() && bias.intact()))
        return testing::AssertionFailure() << "written beside cepstrum and bias";
    Frame<T> expected = frame;
    for (std::size_t i = 0; i < frame.reference.size(); ++i)
        reference::equalize(expected.reference[i], expected.cepstrum[i], expected.bias[i], log_energy);
    if (auto ok = same_values(expected.cepstrum, cepstrum.values()); !ok) return ok << ", cepstrum";
    if (auto ok = same_values(expected.bias, bias.values()); !ok) return ok << ", bias";
    return testing::AssertionSuccess();
}

// Around both ends of the step and far beyond.
template <class T>
std::vector<Energy<T>> energies()
{
    if constexpr (std::is_same_v<T, float>) {
        std::vector<float> all = {0, -0.0F, 1, -1, 3.5F, 4, 10, -1e30F, 1e30F, kInfinity, -kInfinity, 1e-45F};
        for (float end : {3.296875F, 4.296875F})
            for (float v : {end, std::nextafter(end, 0.0F), std::nextafter(end, 9.0F)}) all.push_back(v);
        return all;
    } else {
        std::vector<int32_t> all = {
            INT32_MIN,     INT32_MIN + 1, INT32_MIN + 210, INT32_MIN + 211, INT32_MIN + 212, -1, 0, 1, INT32_MAX,
            INT32_MAX - 1, 1000};
        for (int32_t v = 205; v <= 280; ++v) all.push_back(v);
        return all;
    }
}

TYPED_TEST(BlindEqualization, EveryLengthAndAddress)
{
    using T = TypeParam;
    Cycle<Energy<T>> energy(energies<T>());
    at_every_place<3>(lengths(16), {sizeof(T), sizeof(T), sizeof(T)},
                      [&](int len, const std::array<Placement, 3>& at) {
                          return equalizes(random_frame<T>(len), energy.next(), {at[0], at[1], at[2]});
                      });
}

TYPED_TEST(BlindEqualization, EverySetOfMisalignedArrays)
{
    using T = TypeParam;
    for (const Arrangement& at : arrangements(3, sizeof(T)))
        for (int len : {12, 13, 32})
            ASSERT_TRUE(equalizes(random_frame<T>(len), energies<T>().back(), at)) << describe(at) << ", " << len;
}

TYPED_TEST(BlindEqualization, EveryEnergy)
{
    using T = TypeParam;
    for (Energy<T> energy : energies<T>()) ASSERT_TRUE(equalizes(random_frame<T>(37), energy)) << energy;
}

TYPED_TEST(BlindEqualization, ExtremesAndSpecialValues)
{
    using T = TypeParam;
    Frame<T> frame;
    for (T reference : special_values<T>())
        for (T cepstrum : special_values<T>())
            for (T bias : special_values<T>()) {
                frame.reference.push_back(reference);
                frame.cepstrum.push_back(cepstrum);
                frame.bias.push_back(bias);
            }
    for (Energy<T> energy : {Energy<T>(0), Energy<T>(4), Energy<T>(240), Energy<T>(300)}) {
        ASSERT_TRUE(equalizes(frame, energy));
        frame.reference.push_back(T(1));  // and in other lanes
        frame.cepstrum.insert(frame.cepstrum.begin(), T(2));
        frame.bias.push_back(T(3));
    }
}

TYPED_TEST(BlindEqualization, BiasStaysInQuietFrames)
{
    using T = TypeParam;
    const Frame<T> frame = random_frame<T>(13);
    for (Energy<T> quiet : energies<T>()) {
        if (quiet > (std::is_same_v<T, float> ? Energy<T>(3.296875) : Energy<T>(211))) continue;
        Frame<T> to = frame;
        ASSERT_EQ(equalize(Direct{}, to.reference.data(), to.cepstrum.data(), to.bias.data(), 13, quiet), SrOk);
        ASSERT_EQ(to.bias, frame.bias) << quiet;
        ASSERT_NE(to.cepstrum, frame.cepstrum);
    }
}

TEST(BlindEqualizationValues, Singles)
{
    for (float energy : {4.296875F, 5.0F, 1e30F, kInfinity}) {
        float reference = 100, cepstrum = 1132, bias = 8;
        ASSERT_EQ(equalize(Direct{}, &reference, &cepstrum, &bias, 1, energy), SrOk);
        EXPECT_EQ(cepstrum, 1124.0F);
        EXPECT_EQ(bias, 17.0F) << "8 + 1024 * 9 / 1024";
    }
    float reference = 0, cepstrum = 1024, bias = 0;
    ASSERT_EQ(equalize(Direct{}, &reference, &cepstrum, &bias, 1, 3.796875F), SrOk);
    EXPECT_EQ(bias, 4.5F) << "half of the step";
}

TEST(BlindEqualizationValues, LogEnergyThatIsNoNumberIsQuiet)
{
    const Frame<float> frame = random_frame<float>(19);
    for (float nan : {std::numeric_limits<float>::quiet_NaN(), -std::numeric_limits<float>::quiet_NaN()}) {
        Frame<float> to = frame;
        ASSERT_EQ(equalize(Direct{}, to.reference.data(), to.cepstrum.data(), to.bias.data(), 19, nan), SrOk);
        EXPECT_EQ(to.bias, frame.bias);
        for (std::size_t i = 0; i < 19; ++i) EXPECT_EQ(to.cepstrum[i], frame.cepstrum[i] - frame.bias[i]);
    }
}

TEST(BlindEqualizationValues, Integers)
{
    const auto of = [](int16_t reference, int16_t cepstrum, int16_t bias, int32_t energy) {
        EXPECT_EQ(equalize(Direct{}, &reference, &cepstrum, &bias, 1, energy), SrOk);
        return std::array<int, 2>{cepstrum, bias};
    };
    using Pair = std::array<int, 2>;
    EXPECT_EQ(of(0, 8192, 0, 275), (Pair{8192, 72})) << "576 * 8192 / 2^16";
    EXPECT_EQ(of(0, 8192, 0, INT32_MAX), (Pair{8192, 72}));
    EXPECT_EQ(of(0, 8192, 0, 212), (Pair{8192, 1})) << "9 * 8192 / 2^16 = 1.125";
    EXPECT_EQ(of(0, -8192, 0, 212), (Pair{-8192, -2})) << "-1.125 downward";
    EXPECT_EQ(of(0, -1, 0, 212), (Pair{-1, -1}));
    EXPECT_EQ(of(0, -1, 0, 211), (Pair{-1, 0}));
    EXPECT_EQ(of(0, -1, 0, INT32_MIN), (Pair{-1, 0}));
    EXPECT_EQ(of(1, 7, 7, 300), (Pair{0, 6})) << "-576 / 2^16 downward";
    // The difference is 65535, the cepstrum saturated; the bias takes 576 * 65535 / 2^16 = 575.99 of it.
    EXPECT_EQ(of(0, 32767, -32768, 275), (Pair{32767, -32768 + 575}));
    EXPECT_EQ(of(-32768, 32767, -32768, 275), (Pair{32767, -32768 + 863})) << "576 * 98303 / 2^16 = 863.99";
    EXPECT_EQ(of(0, -32768, 32767, 275), (Pair{-32768, 32767 - 576}));
    EXPECT_EQ(of(32767, -32768, 32767, 275), (Pair{-32768, 32767 - 864}));
}

// The bias at both of its ends and near them.
TEST(BlindEqualizationValues, BiasSaturates)
{
    for (int energy : {212, 243, 275})
        for (int16_t bias : {int16_t(32767), int16_t(-32768), int16_t(32500), int16_t(-32500)})
            for (int16_t reference : {int16_t(-32768), int16_t(0), int16_t(32767)}) {
                Frame<int16_t> frame;
                for (int c = -32768; c <= 32767; c += 97) {
                    frame.reference.push_back(reference);
                    frame.cepstrum.push_back(static_cast<int16_t>(c));
                    frame.bias.push_back(bias);
                }
                ASSERT_TRUE(equalizes(frame, energy)) << bias << ", " << reference;
            }
    int16_t reference = -32768, cepstrum = 32767, bias = 32767;
    ASSERT_EQ(equalize(Direct{}, &reference, &cepstrum, &bias, 1, 275), SrOk);
    EXPECT_EQ(cepstrum, 0);
    EXPECT_EQ(bias, 32767) << "32767 + 288";
    reference = 32767, cepstrum = -32768, bias = -32768;
    ASSERT_EQ(equalize(Direct{}, &reference, &cepstrum, &bias, 1, 275), SrOk);
    EXPECT_EQ(bias, -32768);
}

TEST(BlindEqualizationValues, RandomIntegersOfTheWholeRange)
{
    for (int turn = 0; turn < (thin_effort() ? 5 : 100); ++turn)
        ASSERT_TRUE(equalizes(Frame<int16_t>{uniform_vector<int16_t>(1001, -32768, 32767),
                                             uniform_vector<int16_t>(1001, -32768, 32767),
                                             uniform_vector<int16_t>(1001, -32768, 32767)},
                              uniform(200, 290)));
}

// --- checks, memory, environment, stack ---

TYPED_TEST(BlindEqualization, ChecksNullThenLength)
{
    using T = TypeParam;
    struct Arguments {
        const T* reference;
        T *cepstrum, *bias;
        int32_t len;
    };
    const Guarded<T> reference(std::vector<T>(12, T(1)));
    Guarded<T> cepstrum(std::vector<T>(12, T(2))), bias(std::vector<T>(12, T(3)));
    expect_check_order<Arguments>({reference.data(), cepstrum.data(), bias.data(), 12},
                                  {{"null reference", SrErrNullPtr, [](Arguments& a) { a.reference = nullptr; }},
                                   {"null cepstrum", SrErrNullPtr, [](Arguments& a) { a.cepstrum = nullptr; }},
                                   {"null bias", SrErrNullPtr, [](Arguments& a) { a.bias = nullptr; }},
                                   {"length 0", SrErrSize, [](Arguments& a) { a.len = 0; }},
                                   {"length -1", SrErrSize, [](Arguments& a) { a.len = -1; }},
                                   {"least length", SrErrSize, [](Arguments& a) { a.len = INT32_MIN; }}},
                                  [](const Arguments& a) {
                                      return equalize(Direct{}, a.reference, a.cepstrum, a.bias, a.len,
                                                      energies<T>().back());
                                  },
                                  {&cepstrum, &bias});
}

TYPED_TEST(BlindEqualization, TakesNoMemory)
{
    Frame<TypeParam> frame = random_frame<TypeParam>(1000);
    const AllocatorWatch watch;
    EXPECT_EQ(equalize(Direct{}, frame.reference.data(), frame.cepstrum.data(), frame.bias.data(), 1000, 240),
              SrOk);
    EXPECT_EQ(watch.requests(), 0);
}

TEST(BlindEqualizationValues, IntegersAreTheSameInEachEnvironment)
{
    const Frame<int16_t> frame = random_frame<int16_t>(39);
    Frame<int16_t> expected = frame, now = frame;
    for (std::size_t i = 0; i < 39; ++i)
        reference::equalize(expected.reference[i], expected.cepstrum[i], expected.bias[i], 250);
    under_each_environment(
        [&] { equalize(Direct{}, now.reference.data(), now.cepstrum.data(), now.bias.data(), 39, 250); },
        [&](const std::string& setting) {
            EXPECT_TRUE(same_values(expected.cepstrum, now.cepstrum)) << setting;
            EXPECT_TRUE(same_values(expected.bias, now.bias)) << setting;
            now = frame;
        });
}

#ifdef __i386__
TYPED_TEST(BlindEqualization, RunsOnAnyStack)
{
    using T = TypeParam;
    const Frame<T> frame = random_frame<T>(19);
    for (int misalign : {0, 4, 8, 12}) {
        Frame<T> to = frame, expected = frame;
        const Energy<T> energy = std::is_same_v<T, float> ? Energy<T>(3.75) : Energy<T>(240);
        EXPECT_EQ(
            equalize(OnOddStack{misalign}, to.reference.data(), to.cepstrum.data(), to.bias.data(), 19, energy),
            SrOk);
        for (std::size_t i = 0; i < 19; ++i)
            reference::equalize(expected.reference[i], expected.cepstrum[i], expected.bias[i], energy);
        EXPECT_TRUE(same_values(expected.cepstrum, to.cepstrum));
        EXPECT_TRUE(same_values(expected.bias, to.bias));
    }
}
#endif

}  // namespace
}  // namespace zelsr::test
