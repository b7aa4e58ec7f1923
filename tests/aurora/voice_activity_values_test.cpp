// Voice activity by value: how votes become decisions, in frames and behind them.
#include "aurora/voice_activity_steps.h"

namespace zelsr::test {
namespace {

template <class Member>
class VoiceActivityValues : public VoiceActivitySteps<Member> {};
TYPED_TEST_SUITE(VoiceActivityValues, VadMembers, VadNames);

TEST(VoiceActivityConstants, Decisions)
{
    EXPECT_EQ(SrVadSpeech, 1);
    EXPECT_EQ(SrVadNoSpeech, 2);
    EXPECT_EQ(SrVadUnknown, 4);
}

// --- votes and decisions ---

TYPED_TEST(VoiceActivityValues, TenFramesAreNotDecided)
{
    auto record = this->adapted(0);
    for (int frame = 1; frame <= 10; ++frame) {
        EXPECT_EQ(this->quiet(record, 9), 4u) << frame;
        EXPECT_EQ(record.position, 0);
        EXPECT_EQ(reference::longest_run(record), 0);
    }
    record.energy_level = 100000;  // silence of the first frame is loud beside its own level
    EXPECT_EQ(this->quiet(record), 2u);
    EXPECT_EQ(record.frames, 11);
    EXPECT_EQ(record.position, 1);
    EXPECT_EQ(this->quiet(record, 5), 2u);
    EXPECT_EQ(record.ring[2], 1);
}

TYPED_TEST(VoiceActivityValues, FiveVotesOfTheCallersAreOne)
{
    for (int32_t votes : {INT32_MIN, -5, 0, 1, 4, 5, 6, INT32_MAX}) {
        auto record = this->adapted(20);
        this->quiet(record, votes);
        EXPECT_EQ(record.ring[1], votes >= 5) << votes;
    }
}

TYPED_TEST(VoiceActivityValues, ThreeVotesHoldForEightFrames)
{
    auto record = this->adapted(40);
    EXPECT_EQ(this->quiet(record, 5), 2u);
    EXPECT_EQ(this->quiet(record, 5), 2u);
    EXPECT_EQ(this->quiet(record, 5), 1u);
    EXPECT_EQ(record.short_hangover, 5);
    for (int frame = 1; frame <= 8; ++frame) {
        EXPECT_EQ(this->quiet(record), 1u) << frame;
        EXPECT_EQ(record.short_hangover, frame <= 4 ? 5 : 9 - frame) << frame;
    }
    EXPECT_EQ(this->quiet(record), 2u);
    EXPECT_EQ(record.speech_hangover, 0);
    EXPECT_EQ(record.long_hangover, 23);
}

// The first frame of a run loads 23 in the first 35 frames and leaves 40 for the run's next frame.
TYPED_TEST(VoiceActivityValues, FourVotesLoadTheLongHangover)
{
    for (int start : {31, 32}) {
        auto record = this->adapted(start);
        for (int frame = 1; frame <= 4; ++frame) EXPECT_EQ(this->quiet(record, 5), frame < 3 ? 2u : 1u);
        EXPECT_EQ(record.speech_hangover, 23);
        const int hangover = start == 31 ? 40 : 23;
        EXPECT_EQ(record.long_hangover, hangover);
        for (int frame = 1; frame < 4 + hangover; ++frame) {
            EXPECT_EQ(this->quiet(record), 1u) << frame;
            EXPECT_EQ(record.speech_hangover, frame <= 4 ? hangover : hangover + 4 - frame) << frame;
        }
        EXPECT_EQ(this->quiet(record), 2u);
    }
}

// A run that wraps round the ring is one; a run whose ends meet over its newest and oldest entry is two.
TYPED_TEST(VoiceActivityValues, RunsAreCountedFromTheOldestVote)
{
    auto record = this->adapted(50);
    record.ring = {1, 1, 0, 0, 0, 0, 1};
    record.position = 1;
    EXPECT_EQ(this->quiet(record), 1u);  // 0 0 0 1 1 1 0
    record = this->adapted(50);
    record.ring = {1, 1, 1, 0, 0, 0, 1};
    record.position = 6;
    EXPECT_EQ(this->quiet(record), 2u);  // 1 1 0 0 0 1 0
    record = this->adapted(50);
    record.ring = {1, 1, 0, 0, 0, 0, 0};
    record.position = 6;
    EXPECT_EQ(this->quiet(record, 5), 2u);  // 1 0 0 0 0 0 1
}

// --- flush ---

TYPED_TEST(VoiceActivityValues, FlushWalksRoundTheRing)
{
    auto record = this->adapted(50);
    record.ring = {0, 1, 1, 1, 1, 0, 0};
    record.position = 4;
    record.speech_hangover = 23;
    record.short_hangover = 5;
    const struct {
        uint32_t decision;
        int32_t position, speech, brief;
    } calls[] = {{1, 5, 22, 4}, {1, 6, 22, 4}, {1, 0, 22, 4}, {1, 1, 21, 4},
                 {1, 2, 20, 3}, {1, 3, 19, 4}, {4, 4, 19, 4}, {1, 5, 22, 4}};
    for (const auto& call : calls) {
        EXPECT_EQ(this->flush(record), call.decision);
        EXPECT_EQ(record.position, call.position);
        EXPECT_EQ(record.speech_hangover, call.speech);
        EXPECT_EQ(record.short_hangover, call.brief);
        EXPECT_EQ(record.flush_start, 4);
        EXPECT_EQ(record.ring, (std::array<uint8_t, 7>{0, 1, 1, 1, 1, 0, 0}));
    }
    EXPECT_EQ(record.frames, 58);
    EXPECT_EQ(record.long_hangover, 23);
}

TYPED_TEST(VoiceActivityValues, FlushCountsAsAFrame)
{
    auto record = this->adapted(8);
    EXPECT_EQ(this->flush(record), 4u);
    EXPECT_EQ(this->flush(record), 4u);
    EXPECT_EQ(record.frames, 10);
    EXPECT_EQ(record.speech_hangover, 0);
    EXPECT_EQ(this->flush(record), 2u);
    for (int frames : {34, 35}) {
        record = this->adapted(frames);
        record.ring.fill(1);
        EXPECT_EQ(this->flush(record), 1u);
        EXPECT_EQ(record.long_hangover, frames == 34 ? 40 : 23);
        EXPECT_EQ(record.speech_hangover, 22);
    }
}

// The counters fall below zero, and a frame after that counts as speech until a run loads them: wanted.
TYPED_TEST(VoiceActivityValues, FlushGoesBelowZero)
{
    auto record = this->adapted(50);
    record.speech_hangover = 2;
    EXPECT_EQ(this->flush(record), 1u);
    EXPECT_EQ(record.short_hangover, -1);
    EXPECT_EQ(this->flush(record), 2u);
    EXPECT_EQ(this->flush(record), 2u);
    EXPECT_EQ(record.speech_hangover, -1);
    EXPECT_EQ(record.short_hangover, -3);
    for (int frame = 0; frame < 3; ++frame) {
        EXPECT_EQ(this->quiet(record), 1u);
        EXPECT_EQ(record.speech_hangover, -1);
        EXPECT_EQ(record.short_hangover, -3);
    }
    for (int frame = 0; frame < 3; ++frame) EXPECT_EQ(this->quiet(record, 5), 1u);
    EXPECT_EQ(record.short_hangover, -3);
    EXPECT_EQ(this->quiet(record, 5), 1u);
    EXPECT_EQ(record.speech_hangover, 23);
    EXPECT_EQ(record.short_hangover, 5);
}

TYPED_TEST(VoiceActivityValues, TheCountOfFramesEnds)
{
    auto record = this->adapted(INT32_MAX - 1);
    for (int frame = 0; frame < 3; ++frame) {
        EXPECT_EQ(this->quiet(record), 2u);
        EXPECT_EQ(record.frames, INT32_MAX);
    }
    EXPECT_EQ(this->flush(record), 2u);
    EXPECT_EQ(record.frames, INT32_MAX);
}

}  // namespace
}  // namespace zelsr::test
