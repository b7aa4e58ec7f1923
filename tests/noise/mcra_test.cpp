// The noise estimator: every bit of its set-up and of each frame.
#include <gtest/gtest.h>

#include <limits>

#include "noise/mcra_members.h"
#include "support/arrangements.h"
#include "support/effort.h"
#include "support/environment.h"
#include "support/faults.h"
#include "support/odd_stack.h"

namespace zelsr::test {
namespace {

template <class Member>
class Mcra : public testing::Test {};
TYPED_TEST_SUITE(Mcra, McraMembers, McraNames);

constexpr int kRates[] = {8000, 8001, 11025, 16000, 22050, 32000, 44100, 47999, 48000};

// Noise with bursts that stand far above its minimum, in some bins for some frames.
template <class T>
std::vector<T> power_spectrum(std::size_t bins)
{
    const T loud = T(generator()() % 4 == 0 ? 1000000 : 1000);
    std::vector<T> power = uniform_vector<T>(static_cast<int>(bins), T(1), T(1000));
    for (T& p : power)
        if (generator()() % 4 == 0) p = uniform(T(0), loud);
    return power;
}

template <class Member>
testing::AssertionResult tracks(int rate, int length, int shift, int frames, const Arrangement& at)
{
    using T = typename Member::T;
    McraBlock<Member> block(length, at[0]);
    if (block.init(rate, length, shift) != SrOk) return testing::AssertionFailure() << "refused";
    reference::Mcra<T> expected = reference::mcra<T>(rate, length, shift);
    Guarded<T> power(expected.bins(), at[1]), noise(std::vector<T>(expected.bins(), T(77)), at[2]);
    std::vector<T> expected_noise = noise.values();
    for (int frame = 0; frame < frames; ++frame) {
        const std::vector<T> p = power_spectrum<T>(expected.bins());
        power.fill(p);
        power.take_snapshot();
        reference::update(expected, p, expected_noise);
        const SrStatus status = Member::kUpdate(power.data(), block.state(), noise.data());
        testing::AssertionResult right = block.is(expected);
        if (right) right = same_values(expected_noise, noise.values()) << " (noise)";
        if (status != SrOk) right = testing::AssertionFailure() << "status " << status;
        if (!(power.as_snapshot() && noise.intact()))
            right = testing::AssertionFailure() << "written beside the noise";
        if (!right)
            return testing::AssertionFailure()
                   << "frame " << frame << " at " << rate << ", length " << length << ", shift " << shift << ", "
                   << describe(at) << ": " << right.message();
    }
    return testing::AssertionSuccess();
}

TYPED_TEST(Mcra, EveryLengthAndAddress)
{
    Cycle<int> rates({8000, 16000, 44100});
    for (int length : {8, 9, 10, 12, 14, 15, 16, 18, 20, 22, 24, 26, 28, 30, 32, 46, 64}) {
        const auto all = arrangements(3, sizeof(typename TypeParam::T));
        for (const Arrangement& at : all) ASSERT_TRUE((tracks<TypeParam>(rates.next(), length, 0, 4, at)));
    }
    for (int length : {129, 200, 256, 1001, 1024, 8192})
        ASSERT_TRUE((tracks<TypeParam>(16000, length, 16 + length % 3, 4, Arrangement(3))));
}

// Windows of few frames: the minimum search starts again and again.
TYPED_TEST(Mcra, MinimumSearchRestarts)
{
    for (const auto& [rate, length, shift] : {std::tuple{8000, 256, 128},
                                              {8000, 512, 0},
                                              {11025, 512, 250},
                                              {48000, 2048, 1000},
                                              {16000, 1024, 512},
                                              {8000, 8192, 4096}}) {
        const int window = reference::mcra<typename TypeParam::T>(rate, length, shift).window;
        const int frames = thin_effort() && window > 20 ? window + 2 : 3 * window + 2;
        ASSERT_TRUE((tracks<TypeParam>(rate, length, shift, frames, Arrangement(3))));
        if (window >= 20) continue;
        ASSERT_TRUE((tracks<TypeParam>(rate, length, shift, frames, Arrangement(3, {4}))));
    }
}

// Factors of fixed point wrap for long shifts: all of it must be as it wraps.
TYPED_TEST(Mcra, LongShifts)
{
    for (int rate : kRates)
        for (int length : {1024, 2048, 4095, 8192}) {
            if (thin_effort() && length > 2048) continue;
            for (int shift : {0, length / 2, length / 3}) {
                const int window = reference::mcra<typename TypeParam::T>(rate, length, shift).window;
                ASSERT_TRUE((tracks<TypeParam>(rate, length, shift, std::min(2 * window + 2, 8), Arrangement(3))));
            }
        }
}

TYPED_TEST(Mcra, SetUpForEveryLength)
{
    using T = typename TypeParam::T;
    McraBlock<TypeParam> block(8192);
    for (int length = 8; length <= 8192; length += length < 300 ? 1 : 97)
        for (int rate : kRates) {
            ASSERT_EQ(block.init(rate, length), SrOk);
            ASSERT_TRUE(block.is_set_up_as(reference::mcra<T>(rate, length))) << rate << ", " << length;
        }
    for (int length : {8, 255, 256, 4096, 8191, 8192})
        for (int rate : kRates) {
            ASSERT_EQ(block.init(rate, length), SrOk);
            ASSERT_TRUE(block.is_set_up_as(reference::mcra<T>(rate, length))) << rate << ", " << length;
        }
}

TYPED_TEST(Mcra, SetUpForEveryShift)
{
    using T = typename TypeParam::T;
    McraBlock<TypeParam> block(8192);
    for (int shift = 1; shift <= 4096; shift += thin_effort() ? 101 : 5)
        for (int rate : kRates) {
            ASSERT_EQ(block.init(rate, 8192, shift), SrOk);
            ASSERT_TRUE(block.is_set_up_as(reference::mcra<T>(rate, 8192, shift))) << rate << ", " << shift;
        }
    for (int rate = 8000; rate <= 48000; rate += thin_effort() ? 997 : 11) {
        const int shift = 1 + rate % 128;
        ASSERT_EQ(block.init(rate, 257, shift), SrOk);
        ASSERT_TRUE(block.is_set_up_as(reference::mcra<T>(rate, 257, shift))) << rate << ", " << shift;
        ASSERT_EQ(block.init(rate, 257), SrOk);
        ASSERT_TRUE(block.is_set_up_as(reference::mcra<T>(rate, 257))) << rate;
    }
}

TYPED_TEST(Mcra, ArraysFollowTheRecord)
{
    for (int misalign : {0, 1, 4, 8, 15})
        for (int length : {8, 11, 256}) {
            McraBlock<TypeParam> block(length, {misalign});
            ASSERT_EQ(block.init(8000, length), SrOk);
            EXPECT_EQ(reinterpret_cast<std::uintptr_t>(block.record().presence),
                      reinterpret_cast<std::uintptr_t>(block.bytes().data()) + sizeof(block.record()));
        }
}

// Init leaves the reserved field as it was, and the arrays to the first frame.
TYPED_TEST(Mcra, SetUpWritesTheOtherFieldsOfTheRecord)
{
    for (int shift : {0, 3}) {
        McraBlock<TypeParam> block(16);
        ASSERT_EQ(block.init(8000, 16, shift), SrOk);
        EXPECT_EQ(block.record().reserved, static_cast<int32_t>(0xA5A5A5A5));
        EXPECT_EQ(block.record().count, 0);
        EXPECT_EQ(block.record().first, 1);
    }
}

TYPED_TEST(Mcra, SizeOfEveryLength)
{
    for (int length = 8; length <= 8192; ++length) {
        int32_t size = -1;
        ASSERT_EQ(TypeParam::kGetSize(length, &size), SrOk);
        ASSERT_EQ(size, mcra_size(length)) << length;
    }
#ifdef __i386__
    EXPECT_EQ(mcra_size(256), 68 + 4 * 516);
#endif
}

TYPED_TEST(Mcra, FirstFrameIsTheInput)
{
    using T = typename TypeParam::T;
    McraBlock<TypeParam> block(8);
    ASSERT_EQ(block.init(8000, 8), SrOk);
    const std::vector<T> power = {T(0), T(5), T(-3), std::numeric_limits<T>::max(), T(7)};
    std::vector<T> noise(5, T(99));
    if constexpr (std::is_same_v<T, float>) noise.assign(5, std::numeric_limits<float>::quiet_NaN());
    ASSERT_EQ(TypeParam::kUpdate(power.data(), block.state(), noise.data()), SrOk);
    EXPECT_TRUE(same_values(power, noise));
    const auto record = block.record();
    EXPECT_TRUE(same_values(std::vector<T>(5), block.array(record.presence, 5)));
    for (const T* array : {record.smoothed, record.minimum, record.temporary})
        EXPECT_TRUE(same_values(power, block.array(array, 5)));
    EXPECT_EQ(record.count, 1) << "the first frame counts";
    EXPECT_EQ(record.first, 0);
}

// After the restart in frame L + 1 the count is 1.
TYPED_TEST(Mcra, RestartCountsAsAFrame)
{
    using T = typename TypeParam::T;
    McraBlock<TypeParam> block(8192);
    ASSERT_EQ(block.init(48000, 8192, 4096), SrOk);
    const int window = block.record().window;
    ASSERT_EQ(window, 11);
    const std::vector<T> power(4097, T(100));
    std::vector<T> noise(4097);
    for (int frame = 1; frame <= 3 * window + 1; ++frame) {
        ASSERT_EQ(TypeParam::kUpdate(power.data(), block.state(), noise.data()), SrOk);
        ASSERT_EQ(block.record().count, (frame - 1) % window + 1) << frame;
    }
}

TYPED_TEST(Mcra, SetUpAgainRestarts)
{
    using T = typename TypeParam::T;
    McraBlock<TypeParam> block(16);
    std::vector<T> noise(9), power(9, T(1000)), other(9, T(3));
    ASSERT_EQ(block.init(8000, 16), SrOk);
    for (int frame = 0; frame < 5; ++frame) TypeParam::kUpdate(power.data(), block.state(), noise.data());
    ASSERT_EQ(block.init(16000, 16, 8), SrOk);
    EXPECT_TRUE(block.is_set_up_as(reference::mcra<T>(16000, 16, 8)));
    ASSERT_EQ(TypeParam::kUpdate(other.data(), block.state(), noise.data()), SrOk);
    EXPECT_TRUE(same_values(other, noise));
}

TYPED_TEST(Mcra, PowerMayBeNoise)
{
    using T = typename TypeParam::T;
    McraBlock<TypeParam> block(50);
    ASSERT_EQ(block.init(8000, 50), SrOk);
    auto expected = reference::mcra<T>(8000, 50);
    std::vector<T> noise(26);
    for (int frame = 0; frame < 4; ++frame) {
        const std::vector<T> power = power_spectrum<T>(26);
        noise = power;
        std::vector<T> expected_noise = power;
        reference::update(expected, power, expected_noise);
        ASSERT_EQ(TypeParam::kUpdate(noise.data(), block.state(), noise.data()), SrOk);
        ASSERT_TRUE(same_values(expected_noise, noise));
        ASSERT_TRUE(block.is(expected));
    }
}

TYPED_TEST(Mcra, TakesNoMemory)
{
    using T = typename TypeParam::T;
    McraBlock<TypeParam> block(8192);
    std::vector<T> noise(4097), power(4097, T(1000));
    int32_t size;
    const AllocatorWatch watch;
    EXPECT_EQ(TypeParam::kGetSize(8192, &size), SrOk);
    EXPECT_EQ(block.init(8000, 8192), SrOk);
    for (int frame = 0; frame < 3; ++frame)
        EXPECT_EQ(TypeParam::kUpdate(power.data(), block.state(), noise.data()), SrOk);
    EXPECT_EQ(watch.requests(), 0);
}

// --- checks ---

TYPED_TEST(Mcra, GetSizeChecksNullThenLength)
{
    struct Arguments {
        int32_t length;
        int32_t* size;
    };
    Guarded<int32_t> size(1);
    std::vector<Fault<Arguments>> faults = {{"null size", SrErrNullPtr, [](Arguments& a) { a.size = nullptr; }}};
    for (int32_t bad : {7, 8193, 0, -8, INT32_MIN, INT32_MAX})
        faults.push_back({"length", SrErrSize, [=](Arguments& a) { a.length = bad; }});
    expect_check_order<Arguments>({256, size.data()}, faults,
                                  [](const Arguments& a) { return TypeParam::kGetSize(a.length, a.size); },
                                  {&size});
}

TYPED_TEST(Mcra, InitChecksNullThenRateThenLength)
{
    struct Arguments {
        int32_t rate, length;
        typename TypeParam::State* state;
    };
    McraBlock<TypeParam> block(8192);
    std::vector<Fault<Arguments>> faults = {{"null state", SrErrNullPtr, [](Arguments& a) { a.state = nullptr; }}};
    for (int32_t bad : {7999, 48001, 0, INT32_MIN, INT32_MAX})
        faults.push_back({"rate", SrErrRange, [=](Arguments& a) { a.rate = bad; }});
    for (int32_t bad : {7, 8193, 0, INT32_MIN, INT32_MAX})
        faults.push_back({"length", SrErrSize, [=](Arguments& a) { a.length = bad; }});
    expect_check_order<Arguments>({8000, 256, block.state()}, faults,
                                  [](const Arguments& a) { return TypeParam::kInit(a.rate, a.length, a.state); },
                                  {&block.bytes()});
    for (int rate : {8000, 48000})
        for (int length : {8, 8192}) EXPECT_EQ(block.init(rate, length), SrOk);
}

// A shift is held against half the length before the length itself is looked at.
TYPED_TEST(Mcra, AltInitChecksNullThenRateAndShiftThenLength)
{
    struct Arguments {
        int32_t rate, length, shift;
        typename TypeParam::State* state;
    };
    McraBlock<TypeParam> block(8192);
    std::vector<Fault<Arguments>> faults = {
        {"null state", SrErrNullPtr, [](Arguments& a) { a.state = nullptr; }},
        {"rate below", SrErrRange, [](Arguments& a) { a.rate = 7999; }},
        {"rate above", SrErrRange, [](Arguments& a) { a.rate = 48001; }},
        {"shift 0", SrErrRange, [](Arguments& a) { a.shift = 0; }},
        {"lowest shift", SrErrRange, [](Arguments& a) { a.shift = INT32_MIN; }},
        {"shift above half", SrErrRange, [](Arguments& a) { a.shift = a.length / 2 + 1; }},
        {"length above", SrErrSize, [](Arguments& a) { a.length = 8193; }},
        {"length below", SrErrSize, [](Arguments& a) { a.length = 7; }},
    };
    const auto call = [](const Arguments& a) { return TypeParam::kAltInit(a.rate, a.length, a.shift, a.state); };
    expect_check_order<Arguments>({8000, 256, 3, block.state()}, faults, call, {&block.bytes()});
    const auto init = [&](int32_t length, int32_t shift) { return call({8000, length, shift, block.state()}); };
    EXPECT_EQ(init(7, 4), SrErrRange);
    EXPECT_EQ(init(7, 3), SrErrSize);
    EXPECT_EQ(init(0, 1), SrErrRange);
    EXPECT_EQ(init(-100, 1), SrErrRange);
    EXPECT_EQ(init(INT32_MIN, 1), SrErrRange);
    EXPECT_EQ(init(INT32_MAX, INT32_MAX / 2), SrErrSize);
    EXPECT_EQ(init(8193, 4097), SrErrRange);
    EXPECT_EQ(init(8193, 4096), SrErrSize);
    EXPECT_EQ(init(9, 5), SrErrRange);
    EXPECT_EQ(init(9, 4), SrOk);
    EXPECT_EQ(init(8192, 4096), SrOk);
}

TYPED_TEST(Mcra, UpdateChecksNull)
{
    using T = typename TypeParam::T;
    McraBlock<TypeParam> block(16);
    ASSERT_EQ(block.init(8000, 16), SrOk);
    struct Arguments {
        const T* power;
        typename TypeParam::State* state;
        T* noise;
    };
    const Guarded<T> power(9);
    Guarded<T> noise(9);
    expect_check_order<Arguments>({power.data(), block.state(), noise.data()},
                                  {{"power", SrErrNullPtr, [](Arguments& a) { a.power = nullptr; }},
                                   {"state", SrErrNullPtr, [](Arguments& a) { a.state = nullptr; }},
                                   {"noise", SrErrNullPtr, [](Arguments& a) { a.noise = nullptr; }}},
                                  [](const Arguments& a) { return TypeParam::kUpdate(a.power, a.state, a.noise); },
                                  {&block.bytes(), &noise});
}

// --- surroundings ---

TYPED_TEST(Mcra, SetUpIsTheSameInEachEnvironment)
{
    using T = typename TypeParam::T;
    McraBlock<TypeParam> block(1000);
    for (int shift : {0, 37}) {
        SrStatus status = SrErrUnknown;
        under_each_environment([&] { status = block.init(11025, 1000, shift); },
                               [&](const std::string& setting) {
                                   EXPECT_EQ(status, SrOk);
                                   EXPECT_TRUE(block.is_set_up_as(reference::mcra<T>(11025, 1000, shift)))
                                       << setting;
                                   block.bytes().fill(std::vector<uint8_t>(block.bytes().bytes(), 0x5A));
                               });
    }
}

#ifdef __i386__
TYPED_TEST(Mcra, RunsOnAnyStack)
{
    using T = typename TypeParam::T;
    for (int misalign : {0, 4, 8, 12})
        for (int shift : {0, 16}) {
            int32_t size = 0;
            ASSERT_EQ(call_misaligned(TypeParam::kGetSize, misalign, 64, &size), SrOk);
            EXPECT_EQ(size, mcra_size(64));
            McraBlock<TypeParam> block(64);
            auto* state = block.state();
            ASSERT_EQ(shift == 0 ? call_misaligned(TypeParam::kInit, misalign, 8000, 64, state)
                                 : call_misaligned(TypeParam::kAltInit, misalign, 8000, 64, shift, state),
                      SrOk);
            auto expected = reference::mcra<T>(8000, 64, shift);
            std::vector<T> noise(33), expected_noise(33);
            for (int frame = 0; frame < 5; ++frame) {
                const std::vector<T> power = power_spectrum<T>(33);
                reference::update(expected, power, expected_noise);
                ASSERT_EQ(call_misaligned(TypeParam::kUpdate, misalign, power.data(), state, noise.data()), SrOk);
                ASSERT_TRUE(same_values(expected_noise, noise));
                ASSERT_TRUE(block.is(expected));
            }
        }
}
#endif

}  // namespace
}  // namespace zelsr::test
