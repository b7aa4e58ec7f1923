// Both families of voice activity under one set of names, and a state between guard pages.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <type_traits>
#include <vector>

#include "support/bits.h"
#include "support/guarded.h"
#include "support/reference/voice_activity.h"
#include "zelsr/aurora/voice_activity.h"

namespace zelsr::test {

struct Vad_32f {
    using T = float;
    using Level = float;
    static constexpr auto kGetBufSize = zelsVADGetBufSize_Aurora_32f;
    static constexpr auto kInit = zelsVADInit_Aurora_32f;
    static constexpr auto kDecision = zelsVADDecision_Aurora_32f;
    static constexpr auto kFlush = zelsVADFlush_Aurora_32f;
};
struct Vad_16s {
    using T = int16_t;
    using Level = int32_t;
    static constexpr auto kGetBufSize = zelsVADGetBufSize_Aurora_16s;
    static constexpr auto kInit = zelsVADInit_Aurora_16s;
    static constexpr auto kDecision = zelsVADDecision_Aurora_16s;
    static constexpr auto kFlush = zelsVADFlush_Aurora_16s;
};
using VadMembers = testing::Types<Vad_32f, Vad_16s>;
struct VadNames {
    template <class Member>
    static std::string GetName(int)
    {
        return std::is_same_v<Member, Vad_32f> ? "32f" : "16s";
    }
};

// All fields; the byte behind the ring is nobody's.
template <class Level>
testing::AssertionResult same_records(const reference::VadRecord<Level>& expected,
                                      const reference::VadRecord<Level>& actual)
{
    struct Field {
        const char* name;
        Level expected, actual;
    };
    const auto& e = expected;
    const auto& a = actual;
    for (const Field& f : {Field{"mean of the energy", e.energy_mean, a.energy_mean},
                           {"level of the low bands", e.low_level, a.low_level},
                           {"level of the energy", e.energy_level, a.energy_level},
                           {"level of the variance", e.variance_level, a.variance_level},
                           {"previous mean", e.previous_mean, a.previous_mean},
                           {"current mean", e.current_mean, a.current_mean}})
        if (auto right = same_value(f.expected, f.actual); !right) return right << " (" << f.name << ")";
    struct Count {
        const char* name;
        int32_t expected, actual;
    };
    for (const Count& c : {Count{"flag of the energy", e.energy_flag, a.energy_flag},
                           {"flag of the low bands", e.low_flag, a.low_flag},
                           {"flag of the variance", e.variance_flag, a.variance_flag},
                           {"latch", e.latch, a.latch},
                           {"position", e.position, a.position},
                           {"start of the flush", e.flush_start, a.flush_start},
                           {"long hangover", e.long_hangover, a.long_hangover},
                           {"speech hangover", e.speech_hangover, a.speech_hangover},
                           {"short hangover", e.short_hangover, a.short_hangover},
                           {"frames", e.frames, a.frames}})
        if (auto right = same_value(c.expected, c.actual); !right) return right << " (" << c.name << ")";
    return same_values(std::vector<uint8_t>(e.ring.begin(), e.ring.end()),
                       std::vector<uint8_t>(a.ring.begin(), a.ring.end()))
           << " (votes)";
}

// A state in memory of exactly its size, filled with a pattern at first.
template <class Member>
class VadBlock {
  public:
    using Record = reference::VadRecord<typename Member::Level>;

    explicit VadBlock(Placement place = {}) : bytes_(std::vector<uint8_t>(64, 0xA5), place) {}
    ZelVadState_Aurora* state() { return reinterpret_cast<ZelVadState_Aurora*>(bytes_.data()); }
    Guarded<uint8_t>& bytes() { return bytes_; }
    Record record() const
    {
        Record copy;
        std::memcpy(&copy, bytes_.data(), sizeof copy);
        return copy;
    }
    void set(const Record& record) { std::memcpy(bytes_.data(), &record, sizeof record); }
    testing::AssertionResult is(const Record& expected) const
    {
        if (!bytes_.intact()) return testing::AssertionFailure() << "written beside the state";
        return same_records(expected, record());
    }

  private:
    Guarded<uint8_t> bytes_;
};

}  // namespace zelsr::test
