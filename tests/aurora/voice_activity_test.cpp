// Voice activity: every field of the record and every decision against the plain form.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "aurora/voice_activity_members.h"
#include "support/arrangements.h"
#include "support/effort.h"
#include "support/environment.h"
#include "support/faults.h"
#include "support/odd_stack.h"

namespace zelsr::test {
namespace {

template <class Member>
class VoiceActivity : public testing::Test {
  public:
    using T = typename Member::T;
    using Level = typename Member::Level;
    using Record = reference::VadRecord<Level>;

    static constexpr std::size_t kBands = 25, kSamples = 64;

    // Around a loudness that moves by thirds or jumps, so that the trackers follow, hold and fire.
    struct Source {
        double loudness = 100;
        void next()
        {
            const int what = uniform(0, 9);
            if (what == 0) loudness = uniform(0.0, 1.0) < 0.3 ? uniform(0.0, 32000.0) : uniform(5.0, 500.0);
            if (what < 4) loudness *= uniform(0.8, 1.25);
            loudness = std::min(loudness, 32000.0);
        }
        std::vector<T> values(std::size_t count, bool around_zero) const
        {
            std::vector<T> some(count);
            for (T& x : some)
                x = static_cast<T>((around_zero ? 2 * uniform(0.0, 1.0) - 1 : uniform(0.9, 1.0)) * loudness);
            return some;
        }
        std::vector<T> bands() const { return values(kBands, false); }
        std::vector<T> samples() const { return values(kSamples, true); }
    };

    // One call on a state that holds this record.
    static testing::AssertionResult decides(const Record& before, const std::vector<T>& bands,
                                            const std::vector<T>& samples, int32_t votes,
                                            const Arrangement& at = Arrangement(4))
    {
        VadBlock<Member> block(at[0]);
        block.set(before);
        Record expected = before;
        const uint32_t decision = reference::decide(expected, bands, samples, votes);
        Guarded<T> e(bands, at[1]), x(samples, at[2]);
        Guarded<uint32_t> result(1, at[3]);
        e.take_snapshot();
        x.take_snapshot();
        const SrStatus status = Member::kDecision(e.data(), x.data(), votes, result.data(), block.state());
        if (status != SrOk) return testing::AssertionFailure() << "status " << status;
        if (!e.as_snapshot() || !x.as_snapshot() || !result.intact())
            return testing::AssertionFailure() << "written beside the decision";
        if (auto right = same_value(decision, result.get(0)); !right) return right << " (decision)";
        return block.is(expected);
    }

    static testing::AssertionResult flushes(const Record& before, const Arrangement& at = Arrangement(2))
    {
        VadBlock<Member> block(at[0]);
        block.set(before);
        Record expected = before;
        const uint32_t decision = reference::flush(expected);
        Guarded<uint32_t> result(1, at[1]);
        const SrStatus status = Member::kFlush(result.data(), block.state());
        if (status != SrOk) return testing::AssertionFailure() << "status " << status;
        if (!result.intact()) return testing::AssertionFailure() << "written beside the decision";
        if (auto right = same_value(decision, result.get(0)); !right) return right << " (decision)";
        return block.is(expected);
    }

    static Record fresh()
    {
        Record record{};
        reference::init(record);
        return record;
    }

    // Any record that calls could leave, and some that they could not: levels within a factor of the measures.
    static Record random_record(double scale)
    {
        Record s{};
        s.energy_flag = uniform<int16_t>(0, 1);
        s.low_flag = uniform<int16_t>(0, 1);
        s.variance_flag = uniform<int16_t>(0, 1);
        s.latch = uniform<int16_t>(0, 1);
        for (Level* level :
             {&s.energy_mean, &s.low_level, &s.energy_level, &s.variance_level, &s.previous_mean, &s.current_mean})
            *level = static_cast<Level>(uniform(-0.2, 1.0) * scale);
        s.position = uniform(0, 6);
        s.flush_start = uniform(-1, 6);
        s.long_hangover = uniform(0, 1) != 0 ? 23 : 40;
        s.speech_hangover = uniform(-3, 6);
        s.short_hangover = uniform(-3, 5);
        for (uint8_t& vote : s.ring) vote = uniform(0, 2) != 0;
        s.frames = uniform(0, 40);
        return s;
    }
};
TYPED_TEST_SUITE(VoiceActivity, VadMembers, VadNames);

TYPED_TEST(VoiceActivity, StreamsAtEveryAddress)
{
    using Fixture = VoiceActivity<TypeParam>;
    const auto all = arrangements(4, sizeof(typename TypeParam::T));
    for (const Arrangement& at : all) {
        auto record = Fixture::fresh();
        typename Fixture::Source source;
        for (int frame = 0; frame < 16; ++frame) {
            source.next();
            const auto bands = source.bands();
            const auto samples = source.samples();
            ASSERT_TRUE(Fixture::decides(record, bands, samples, frame % 7, at))
                << "frame " << frame << ", " << describe(at);
            reference::decide(record, bands, samples, frame % 7);
        }
        for (int frame = 0; frame < 8; ++frame) {
            ASSERT_TRUE(Fixture::flushes(record, {at[0], at[3]})) << "flush " << frame << ", " << describe(at);
            reference::flush(record);
        }
    }
}

// Long streams in one state, flushed at the end, used on without a set-up and set up again.
TYPED_TEST(VoiceActivity, LongStreams)
{
    using Fixture = VoiceActivity<TypeParam>;
    VadBlock<TypeParam> block;
    auto expected = block.record();
    int counts[5] = {};
    for (int stream = 0; stream < (thin_effort() ? 4 : 60); ++stream) {
        if (stream % 3 != 2) {
            ASSERT_EQ(TypeParam::kInit(block.state()), SrOk);
            reference::init(expected);
            ASSERT_TRUE(block.is(expected));
        }
        typename Fixture::Source source;
        for (int frame = 0; frame < 150; ++frame) {
            if (frame % (1 + stream % 5) == 0 && (frame < 60 || stream % 2 != 0)) source.next();
            const auto bands = source.bands();
            const auto samples = source.samples();
            const int32_t votes = uniform(0, 20) == 0 ? 5 : uniform(0, 4);
            const uint32_t wanted = reference::decide(expected, bands, samples, votes);
            uint32_t decision = 0;
            ASSERT_EQ(TypeParam::kDecision(bands.data(), samples.data(), votes, &decision, block.state()), SrOk);
            ASSERT_EQ(decision, wanted) << "stream " << stream << ", frame " << frame;
            ASSERT_TRUE(block.is(expected)) << "stream " << stream << ", frame " << frame;
            ++counts[wanted];
        }
        for (int frame = 0; frame < stream % 20; ++frame) {
            const uint32_t wanted = reference::flush(expected);
            uint32_t decision = 0;
            ASSERT_EQ(TypeParam::kFlush(&decision, block.state()), SrOk);
            ASSERT_EQ(decision, wanted) << "stream " << stream << ", flush " << frame;
            ASSERT_TRUE(block.is(expected)) << "stream " << stream << ", flush " << frame;
        }
    }
    if (thin_effort()) return;
    for (uint32_t decision : {SrVadSpeech, SrVadNoSpeech, SrVadUnknown})
        EXPECT_GT(counts[decision], 50) << decision;
}

// One step from any record: levels of the size that the measures of the frame have, so that each comparison goes
// both ways, and next to thresholds.
TYPED_TEST(VoiceActivity, OneStepFromAnyRecord)
{
    using Fixture = VoiceActivity<TypeParam>;
    using Level = typename TypeParam::Level;
    for (int trial = 0; trial < (thin_effort() ? 500 : 20000); ++trial) {
        typename Fixture::Source source;
        source.loudness = std::exp(uniform(0.0, 6.0));
        const auto bands = source.bands();
        const auto samples = source.samples();
        auto record = Fixture::random_record(1e4);
        auto measures = Fixture::fresh();
        reference::decide(measures, bands, samples, 0);
        const auto near = [](Level measure) {
            static constexpr double factors[] = {0.2, 0.3, 0.5, 0.6, 0.66, 0.7, 1, 1.2, 1.3, 1.4, 2, 3, 4, 5};
            const double x = factors[uniform(0, 13)] * static_cast<double>(measure) * uniform(0.9, 1.1);
            return static_cast<Level>(std::clamp(x, -2e9, 2e9));
        };
        record.variance_level = near(measures.variance_level);
        record.energy_level = near(measures.energy_level);
        record.low_level = near(measures.low_level);
        record.energy_mean = near(measures.energy_mean);
        record.previous_mean = near(measures.previous_mean);
        if (trial % 2 != 0) {  // within a few of the smallest steps of a threshold
            const auto at = [](Level measure, const std::vector<double>& thresholds) {
                const std::size_t which = static_cast<std::size_t>(uniform<int>(0, int(thresholds.size()) - 1));
                const int steps = uniform(-3, 3);
                auto level = static_cast<Level>(std::min(static_cast<double>(measure) / thresholds[which], 2e9));
                for (int step = 0; step < std::abs(steps); ++step)
                    if constexpr (std::is_same_v<Level, float>)
                        level = std::nextafter(level, steps < 0 ? -INFINITY : INFINITY);
                    else
                        level += steps < 0 ? -1 : 1;
                return level;
            };
            record.variance_level = at(measures.variance_level, {1.5, 0.85, 0.25, 1.65});
            record.energy_level = at(measures.energy_level, {1.5, 0.75, 0.5, 1.65});
            record.low_level = at(measures.low_level, {1.5, 0.75, 0.5, 3.25});
            record.previous_mean = 0;
            // A mean that makes the ratio about 2.5.
            const double l = static_cast<double>(measures.energy_level), n = record.frames + 1;
            const double exact = (n * l / (2.5 * 1.1) - l) / std::max(n - 1, 1.0);
            record.energy_mean = static_cast<Level>(std::clamp(exact * uniform(0.995, 1.005), -2e9, 2e9));
            if (trial % 4 == 1) record.energy_mean = static_cast<Level>(std::clamp(exact, -2e9, 2e9));
        }
        ASSERT_TRUE(Fixture::decides(record, bands, samples, uniform(0, 6)));
        ASSERT_TRUE(Fixture::flushes(record));
    }
}

TYPED_TEST(VoiceActivity, EveryRingOfVotes)
{
    using Fixture = VoiceActivity<TypeParam>;
    using T = typename TypeParam::T;
    const std::vector<T> bands(25, T(3)), samples(64, T(0));
    auto record = Fixture::fresh();
    record.energy_level = record.low_level = record.variance_level = 100000;
    for (unsigned votes = 0; votes < 128; votes += thin_effort() ? 5 : 1)
        for (int position = 0; position < 7; ++position)
            for (int32_t speech : thin_effort() ? std::vector{-1, 0} : std::vector{-1, 0, 1, 23})
                for (int32_t brief : {-1, 0, 1}) {
                    for (unsigned i = 0; i < 7; ++i) record.ring[i] = votes >> i & 1;
                    record.position = position;
                    record.speech_hangover = speech;
                    record.short_hangover = brief;
                    record.frames = votes % 2 != 0 ? 34 : 35;
                    record.flush_start = static_cast<int32_t>(votes % 8) - 1;
                    ASSERT_TRUE(Fixture::decides(record, bands, samples, position));
                    ASSERT_TRUE(Fixture::flushes(record));
                }
}

// Products and sums that wrap, levels and inputs of every size and sign; in single precision infinities and NaN.
TYPED_TEST(VoiceActivity, ExtremesOfLevelsAndInputs)
{
    using Fixture = VoiceActivity<TypeParam>;
    using T = typename TypeParam::T;
    using Level = typename TypeParam::Level;
    const std::vector<Level> levels = special_values<Level>();
    const std::vector<T> extremes = special_values<T>();
    Cycle<int32_t> votes({0, 4, 5, INT32_MIN, INT32_MAX});
    for (int trial = 0; trial < (thin_effort() ? 1000 : 30000); ++trial) {
        auto record = Fixture::random_record(1.0);
        const auto level = [&] {
            if (trial % 2 != 0) return levels[static_cast<std::size_t>(uniform<int>(0, int(levels.size()) - 1))];
            return static_cast<Level>(uniform(-2147483000.0, 2147483000.0));
        };
        record.energy_mean = level();
        record.energy_level = level();
        record.low_level = level();
        record.variance_level = level();
        record.previous_mean = level();
        std::vector<T> bands = uniform_vector<T>(25, T(-32768), T(32767));
        std::vector<T> samples = uniform_vector<T>(64, T(-32768), T(32767));
        const auto extreme = [&] {
            return extremes[static_cast<std::size_t>(uniform<int>(0, int(extremes.size()) - 1))];
        };
        if (trial % 3 == 0) bands.assign(25, extreme());
        if (trial % 3 == 1) bands[static_cast<std::size_t>(uniform(0, 24))] = extreme();
        if (trial % 5 == 0) samples.assign(64, extreme());
        if (trial % 5 == 1) samples[static_cast<std::size_t>(uniform(0, 63))] = extreme();
        ASSERT_TRUE(Fixture::decides(record, bands, samples, votes.next())) << trial;
    }
}

// --- set-up and checks ---

TYPED_TEST(VoiceActivity, SizeOfAState)
{
    for (const Placement& place : placements(4)) {
        Guarded<int32_t> size(1, place);
        EXPECT_EQ(TypeParam::kGetBufSize(size.data()), SrOk);
        EXPECT_EQ(size.get(0), 64);
        EXPECT_TRUE(size.intact());
    }
    EXPECT_EQ(TypeParam::kGetBufSize(nullptr), SrErrNullPtr);
}

// Two flags and the current mean stay as they were.
TYPED_TEST(VoiceActivity, InitAtEveryAddress)
{
    for (const Placement& place : placements(1)) {
        VadBlock<TypeParam> block(place);
        auto expected = block.record();
        ASSERT_EQ(TypeParam::kInit(block.state()), SrOk);
        reference::init(expected);
        EXPECT_TRUE(block.is(expected)) << describe(place);
        EXPECT_EQ(block.record().low_flag, static_cast<int16_t>(0xA5A5));
        EXPECT_EQ(block.record().variance_flag, static_cast<int16_t>(0xA5A5));
        int32_t mean;
        const auto current = block.record().current_mean;
        std::memcpy(&mean, &current, sizeof mean);
        EXPECT_EQ(mean, static_cast<int32_t>(0xA5A5A5A5));
        EXPECT_EQ(block.bytes().get(59), 0xA5);  // nobody's
        EXPECT_EQ(block.record().long_hangover, 23);
        EXPECT_EQ(block.record().flush_start, -1);
    }
    EXPECT_EQ(TypeParam::kInit(nullptr), SrErrNullPtr);
}

TYPED_TEST(VoiceActivity, DecisionChecksNull)
{
    using T = typename TypeParam::T;
    struct Arguments {
        const T* bands;
        const T* samples;
        uint32_t* decision;
        ZelVadState_Aurora* state;
    };
    VadBlock<TypeParam> block;
    block.set(VoiceActivity<TypeParam>::fresh());
    Guarded<T> bands(25), samples(64);
    Guarded<uint32_t> decision(1);
    expect_check_order<Arguments>(
        {bands.data(), samples.data(), decision.data(), block.state()},
        {{"state", SrErrNullPtr, [](Arguments& a) { a.state = nullptr; }},
         {"bands", SrErrNullPtr, [](Arguments& a) { a.bands = nullptr; }},
         {"samples", SrErrNullPtr, [](Arguments& a) { a.samples = nullptr; }},
         {"decision", SrErrNullPtr, [](Arguments& a) { a.decision = nullptr; }}},
        [](const Arguments& a) { return TypeParam::kDecision(a.bands, a.samples, 5, a.decision, a.state); },
        {&block.bytes(), &decision, &bands, &samples});
}

TYPED_TEST(VoiceActivity, FlushChecksNull)
{
    struct Arguments {
        uint32_t* decision;
        ZelVadState_Aurora* state;
    };
    VadBlock<TypeParam> block;
    block.set(VoiceActivity<TypeParam>::fresh());
    Guarded<uint32_t> decision(1);
    expect_check_order<Arguments>({decision.data(), block.state()},
                                  {{"decision", SrErrNullPtr, [](Arguments& a) { a.decision = nullptr; }},
                                   {"state", SrErrNullPtr, [](Arguments& a) { a.state = nullptr; }}},
                                  [](const Arguments& a) { return TypeParam::kFlush(a.decision, a.state); },
                                  {&block.bytes(), &decision});
}

// --- surroundings ---

TYPED_TEST(VoiceActivity, IsTheSameInEachEnvironment)
{
    using Fixture = VoiceActivity<TypeParam>;
    const typename Fixture::Source source;
    const auto bands = source.bands();
    const auto samples = source.samples();
    VadBlock<TypeParam> block;
    uint32_t decision = 0;
    auto record = Fixture::fresh();
    for (int frame = 0; frame < 12; ++frame) reference::decide(record, bands, samples, 0);
    auto expected = record;
    const uint32_t wanted = reference::decide(expected, bands, samples, 0);
    block.set(record);
    under_each_environment(
        [&] { TypeParam::kDecision(bands.data(), samples.data(), 0, &decision, block.state()); },
        [&](const std::string& setting) {
            EXPECT_TRUE(block.is(expected)) << setting;
            EXPECT_EQ(decision, wanted) << setting;
            block.set(record);
            decision = 0;
        });
    expected = record;
    reference::flush(expected);
    under_each_environment([&] { TypeParam::kFlush(&decision, block.state()); },
                           [&](const std::string& setting) {
                               EXPECT_TRUE(block.is(expected)) << setting;
                               block.set(record);
                           });
}

#ifdef __i386__
TYPED_TEST(VoiceActivity, RunsOnAnyStack)
{
    using Fixture = VoiceActivity<TypeParam>;
    for (int misalign : {0, 4, 8, 12}) {
        int32_t size = 0;
        ASSERT_EQ(call_misaligned(TypeParam::kGetBufSize, misalign, &size), SrOk);
        EXPECT_EQ(size, 64);
        VadBlock<TypeParam> block;
        auto expected = block.record();
        ASSERT_EQ(call_misaligned(TypeParam::kInit, misalign, block.state()), SrOk);
        reference::init(expected);
        typename Fixture::Source source;
        for (int frame = 0; frame < 20; ++frame) {
            source.next();
            const auto bands = source.bands();
            const auto samples = source.samples();
            uint32_t decision = 0;
            const uint32_t wanted = reference::decide(expected, bands, samples, frame % 6);
            ASSERT_EQ(call_misaligned(TypeParam::kDecision, misalign, bands.data(), samples.data(), frame % 6,
                                      &decision, block.state()),
                      SrOk);
            ASSERT_EQ(decision, wanted);
            ASSERT_TRUE(block.is(expected));
        }
        uint32_t decision = 0;
        const uint32_t wanted = reference::flush(expected);
        ASSERT_EQ(call_misaligned(TypeParam::kFlush, misalign, &decision, block.state()), SrOk);
        ASSERT_EQ(decision, wanted);
        ASSERT_TRUE(block.is(expected));
    }
}
#endif

}  // namespace
}  // namespace zelsr::test
