// Single calls of voice activity on records of a test's choice.
#pragma once

#include <gtest/gtest.h>

#include "aurora/voice_activity_members.h"

namespace zelsr::test {

template <class Member>
class VoiceActivitySteps : public testing::Test {
  public:
    using T = typename Member::T;
    using Record = reference::VadRecord<typename Member::Level>;

    // Behind the first frames, levels high above a quiet frame.
    static Record adapted(int frames)
    {
        Record record{};
        reference::init(record);
        record.energy_level = record.low_level = record.variance_level = 100000;
        record.frames = frames;
        return record;
    }
    static uint32_t decide(Record& record, const std::vector<T>& bands, const std::vector<T>& samples,
                           int32_t votes = 0)
    {
        VadBlock<Member> block;
        block.set(record);
        uint32_t decision = 77;
        EXPECT_EQ(Member::kDecision(bands.data(), samples.data(), votes, &decision, block.state()), SrOk);
        record = block.record();
        return decision;
    }
    static uint32_t quiet(Record& record, int32_t votes = 0)
    {
        return decide(record, std::vector<T>(25), std::vector<T>(64), votes);
    }
    static uint32_t flush(Record& record)
    {
        VadBlock<Member> block;
        block.set(record);
        uint32_t decision = 77;
        EXPECT_EQ(Member::kFlush(&decision, block.state()), SrOk);
        record = block.record();
        return decision;
    }
    // Samples of no sum, bands of which one is not zero or which have the same three low ones.
    static std::vector<T> alternating(T a)
    {
        std::vector<T> samples(64, a);
        for (std::size_t i = 0; i < 64; i += 2) samples[i] = static_cast<T>(-a);
        return samples;
    }
    static std::vector<T> one_band(T e)
    {
        std::vector<T> bands(25);
        bands[24] = e;
        return bands;
    }
    static std::vector<T> low_bands(T e)
    {
        std::vector<T> bands(25);
        bands[1] = bands[2] = bands[3] = e;
        return bands;
    }
};

}  // namespace zelsr::test
