// Voice activity: three detectors with levels that follow the background, their votes and the hangovers.
#include "zelsr/aurora/voice_activity.h"

#include <algorithm>
#include <cstdint>
#include <limits>

#include "core/contract.h"
#include "core/rounding.h"
#include "core/simd.h"
#include "zelsr/core/vector.h"

namespace zelsr {
namespace {

constexpr int32_t kBands = 25, kSamples = 64;
constexpr int32_t kStartFrames = 15;      // below it levels take the maximum
constexpr int32_t kFirstVote = 11;        // frames below it are not decided
constexpr int32_t kLongHangoverEnd = 36;  // from it on the long hangover keeps its value
constexpr int32_t kVotes = 7;

struct History {
    int32_t position;
    int32_t flush_start;  // -1 before the first flush
    int32_t long_hangover;
    int32_t speech_hangover;
    int32_t short_hangover;
    uint8_t votes[kVotes];
    uint8_t spare;
    int32_t frames;
};

// Level is float or int32_t.
template <class Level>
struct Record {
    int16_t energy_vote, low_band_vote, variance_vote;
    int16_t high_start;  // the energy level takes the maximum no longer
    Level energy_mean;
    Level low_band_level, energy_level, variance_level;
    Level previous_mean, current_mean;  // of the low bands
    History history;
};
static_assert(sizeof(Record<float>) == 64 && sizeof(Record<int32_t>) == 64);

// A caller may put a state on any byte address: it is worked on in a copy.
template <class Level>
Record<Level> load_record(const ZelVadState_Aurora* state)
{
    return load_one(reinterpret_cast<const Record<Level>*>(state));
}
template <class Level>
void store_record(ZelVadState_Aurora* state, const Record<Level>& record)
{
    store_one(reinterpret_cast<Record<Level>*>(state), record);
}

// The low 32 bits.
int32_t wrapped(int64_t x) { return static_cast<int32_t>(x); }
// x * times * 2^-shift: the product wraps, the shift rounds down.
int32_t part(int32_t x, int32_t times, int shift) { return wrapped(int64_t{x} * times) >> shift; }

// Detectors in single precision. Each brings its level up to date, step by step, and returns its vote.

bool variance_votes(const float* samples, Record<float>& r)
{
    float squares, sum;
    zelsDotProd_32f(samples, samples, kSamples, &squares);
    zelsSum_32f(samples, kSamples, &sum, 2);
    const float x = squares * 0.015625f - sum * sum * 0.00024414063f;
    float& level = r.variance_level;
    if (r.history.frames < kStartFrames) level = std::max(level, x);
    if (x < 1.5f * level && x > 0.85f * level) level = 0.8f * level + 0.2f * x;
    if (x < 0.25f * level) level = 0.97f * level + 0.03f * x;
    return x > 1.65f * level;
}

bool energy_votes(const float* bands, Record<float>& r)
{
    float sum;
    zelsSum_32f(bands, kBands, &sum, 2);
    const float x = sum * sum - 3.0f;
    const int32_t n = r.history.frames;
    float& level = r.energy_level;
    if (n == 1) level = x;
    if (n < kStartFrames) {
        const float mean = (static_cast<float>(n - 1) * r.energy_mean + x) * 1.1f / static_cast<float>(n);
        r.energy_mean = mean;
        if (mean != 0 && x / mean > 2.5f) r.high_start = 1;
        if (r.high_start == 0) level = std::max(level, x);
    }
    if (x < 1.5f * level && x > 0.75f * level) level = 0.8f * level + 0.2f * x;
    if (x <= 0.5f * level) level = 0.97f * level + 0.03f * x;
    return x > 1.65f * level;
}

bool low_band_votes(const float* bands, Record<float>& r)
{
    const float mean = (load_one(bands + 1) + load_one(bands + 2) + load_one(bands + 3)) / 3.0f;
    const float x = 0.75f * mean + 0.25f * r.previous_mean;
    r.previous_mean = r.current_mean = mean;
    float& level = r.low_band_level;
    if (r.history.frames < kStartFrames) level = std::max(level, x);
    if (x < 1.5f * level && x > 0.75f * level) level = 0.8f * level + 0.2f * x;
    if (x <= 0.5f * level) level = 0.97f * level + 0.03f * x;
    return x > 3.25f * level;
}

// The same in integers, with factors of 2^-5 and 2^-7.

bool variance_votes(const int16_t* samples, Record<int32_t>& r)
{
    int64_t squares;
    int32_t sum;
    zelsDotProd_16s64s(samples, samples, kSamples, &squares);
    zelsSum_16s32s_Sfs(samples, kSamples, &sum, 0);
    const int64_t x = squares * 64 - wrapped(int64_t{sum} * sum);
    int32_t& level = r.variance_level;
    if (r.history.frames < kStartFrames && x >= level) level = wrapped(x);
    if (x < part(level, 48, 5) && x > part(level, 27, 5)) level = wrapped(part(level, 26, 5) + ((6 * x) >> 5));
    if (x < part(level, 8, 5)) level = wrapped(part(level, 31, 5) + x);  // the whole of x: wanted
    return x > part(level, 53, 5);
}

bool energy_votes(const int16_t* bands, Record<int32_t>& r)
{
    int32_t sum;
    zelsSum_16s32s_Sfs(bands, kBands, &sum, 0);
    const int32_t x = wrapped(int64_t{sum} * sum - 3);
    const int32_t n = r.history.frames;
    int32_t& level = r.energy_level;
    if (n == 1) level = x;
    if (n < kStartFrames) {
        const int32_t mean = wrapped(141 * (int64_t{n - 1} * r.energy_mean + x) / n >> 7);
        r.energy_mean = mean;
        if (mean != 0 && int64_t{wrapped(int64_t{x} << 7)} / mean > 320) r.high_start = 1;  // x << 7 wraps: wanted
        if (r.high_start == 0) level = std::max(level, x);
    }
    if (x < part(level, 192, 7) && x > part(level, 96, 7))
        level = wrapped(int64_t{part(level, 102, 7)} + part(x, 26, 7));
    if (x <= part(level, 64, 7)) level = wrapped(int64_t{part(level, 124, 7)} + (x >> 5));
    return x > part(level, 211, 7);
}

bool low_band_votes(const int16_t* bands, Record<int32_t>& r)
{
    const int32_t mean = (load_one(bands + 1) + load_one(bands + 2) + load_one(bands + 3)) * 341;  // third in Q10
    const int32_t x = wrapped(int64_t{part(mean, 24, 5)} + part(r.previous_mean, 8, 5));
    r.previous_mean = r.current_mean = mean;
    int32_t& level = r.low_band_level;
    if (r.history.frames < kStartFrames) level = std::max(level, x);
    if (x < part(level, 48, 5) && x > part(level, 24, 5))
        level = wrapped(int64_t{part(level, 102, 7)} + part(x, 26, 7));
    if (x <= part(level, 16, 5)) level = wrapped(int64_t{part(level, 124, 7)} + part(x, 4, 7));
    return x > part(level, 416, 7);
}

// Votes and hangovers: integers in both forms.

// The greatest count stays, so that a stream without end does not start anew.
int32_t count_frame(History& h)
{
    return h.frames = std::min(h.frames, std::numeric_limits<int32_t>::max() - 1) + 1;
}

int32_t next_position(int32_t position) { return position >= kVotes - 1 ? 0 : position + 1; }

// From the oldest vote to the newest, which stands at the position.
int32_t longest_run(const History& h)
{
    int32_t run = 0, longest = 0, at = h.position;
    for (int i = 0; i < kVotes; ++i) {
        at = next_position(at);
        run = h.votes[at] != 0 ? run + 1 : 0;
        longest = std::max(longest, run);
    }
    return longest;
}

// The value as it is; the early frames leave a longer one for the runs to come.
int32_t take_long_hangover(History& h)
{
    const int32_t value = h.long_hangover;
    if (h.frames < kLongHangoverEnd) h.long_hangover = 40;
    return value;
}

uint32_t decide(History& h, bool vote)
{
    if (h.frames < kFirstVote) return SrVadUnknown;
    h.position = next_position(h.position);
    h.votes[h.position] = vote;
    const int32_t run = longest_run(h);
    if (run >= 4) h.speech_hangover = take_long_hangover(h);
    // A negative hangover, which flushes leave behind, stands, and means speech: wanted.
    if (h.speech_hangover >= 0) {
        if (run >= 3) {
            h.short_hangover = 5;
        } else {
            if (h.speech_hangover > 0) --h.speech_hangover;
            if (h.short_hangover > 0) --h.short_hangover;
        }
    }
    return h.short_hangover == 0 && h.speech_hangover == 0 && run < 3 ? SrVadNoSpeech : SrVadSpeech;
}

uint32_t decide_behind_end(History& h)
{
    count_frame(h);
    if (h.flush_start == -1) h.flush_start = h.position;
    h.position = next_position(h.position);
    if (h.position == h.flush_start || h.frames < kFirstVote) return SrVadUnknown;
    const int32_t run = longest_run(h);
    // Both fall below zero here: wanted.
    h.speech_hangover = wrapped(int64_t{run >= 4 ? take_long_hangover(h) : h.speech_hangover} - 1);
    h.short_hangover = wrapped(int64_t{run >= 3 ? 5 : h.short_hangover} - 1);
    return h.short_hangover < 1 && h.speech_hangover < 1 && run < 3 ? SrVadNoSpeech : SrVadSpeech;
}

// Out of line: the arithmetic of single precision happens while the default environment is set.
template <class Level, class T>
[[gnu::noinline]] void decide_frame(const T* bands, const T* samples, int32_t extra_votes, uint32_t* decision,
                                    ZelVadState_Aurora* state)
{
    auto record = load_record<Level>(state);
    count_frame(record.history);
    record.variance_vote = variance_votes(samples, record);
    record.energy_vote = energy_votes(bands, record);
    record.low_band_vote = low_band_votes(bands, record);
    const bool any = (record.energy_vote | record.low_band_vote | record.variance_vote) != 0;
    store_one(decision, decide(record.history, any || extra_votes >= 5));
    store_record(state, record);
}

template <class Level>
SrStatus flush(uint32_t* decision, ZelVadState_Aurora* state)
{
    auto record = load_record<Level>(state);
    store_one(decision, decide_behind_end(record.history));
    store_record(state, record);
    return SrOk;
}

template <class Level>
SrStatus init(ZelVadState_Aurora* state)
{
    auto record = load_record<Level>(state);  // for what stays as it is
    record.energy_vote = record.high_start = 0;
    record.energy_mean = record.low_band_level = record.energy_level = record.variance_level = 0;
    record.previous_mean = 0;
    record.history = {.position = 0,
                      .flush_start = -1,
                      .long_hangover = 23,
                      .speech_hangover = 0,
                      .short_hangover = 0,
                      .votes = {},
                      .spare = record.history.spare,
                      .frames = 0};
    store_record(state, record);
    return SrOk;
}

SrStatus store_size(int32_t* size)
{
    store_one(size, static_cast<int32_t>(sizeof(Record<float>)));
    return SrOk;
}

}  // namespace
}  // namespace zelsr

using namespace zelsr;

SrStatus zelsVADGetBufSize_Aurora_32f(int32_t* size)
{
    if (SrStatus failed = non_null(size)) return failed;
    return store_size(size);
}

SrStatus zelsVADGetBufSize_Aurora_16s(int32_t* size)
{
    if (SrStatus failed = non_null(size)) return failed;
    return store_size(size);
}

SrStatus zelsVADInit_Aurora_32f(ZelVadState_Aurora* state)
{
    if (SrStatus failed = non_null(state)) return failed;
    return init<float>(state);
}

SrStatus zelsVADInit_Aurora_16s(ZelVadState_Aurora* state)
{
    if (SrStatus failed = non_null(state)) return failed;
    return init<int32_t>(state);
}

SrStatus zelsVADDecision_Aurora_32f(const float* bands, const float* samples, int32_t extra_votes,
                                    uint32_t* decision, ZelVadState_Aurora* state)
{
    if (SrStatus failed = non_null(state, bands, samples, decision)) return failed;
    const DefaultFloatEnvironment environment;
    decide_frame<float>(bands, samples, extra_votes, decision, state);
    return SrOk;
}

SrStatus zelsVADDecision_Aurora_16s(const int16_t* bands, const int16_t* samples, int32_t extra_votes,
                                    uint32_t* decision, ZelVadState_Aurora* state)
{
    if (SrStatus failed = non_null(state, bands, samples, decision)) return failed;
    decide_frame<int32_t>(bands, samples, extra_votes, decision, state);
    return SrOk;
}

SrStatus zelsVADFlush_Aurora_32f(uint32_t* decision, ZelVadState_Aurora* state)
{
    if (SrStatus failed = non_null(decision, state)) return failed;
    return flush<float>(decision, state);
}

SrStatus zelsVADFlush_Aurora_16s(uint32_t* decision, ZelVadState_Aurora* state)
{
    if (SrStatus failed = non_null(decision, state)) return failed;
    return flush<int32_t>(decision, state);
}
