// Voice activity: a stream of frames from a fresh state on, so many a call.
#include <zelsr/aurora/voice_activity.h>

#include "plain/voice_activity.h"
#include "support/row.h"

namespace zelsr::bench {
namespace {

constexpr int bands_a_frame = 25, samples_a_frame = 64;
constexpr double frame_shift = 0.010;

// Noise, and every hundred frames twenty of speech; small enough for the integer form not to wrap.
template <class T>
T* stream(Row& row, int a_frame, T low, T high)
{
    T* values = row.input(row.len * a_frame, low, high);
    for (int i = 0; i < row.len * a_frame; ++i)
        if (i / a_frame % 100 >= 80) values[i] = static_cast<T>(values[i] * 16);
    return values;
}

template <auto Init, auto Decide, class T>
void decide(Row& row)
{
    const int frames = row.len;
    const T* bands = stream<T>(row, bands_a_frame, 100, 120);
    const T* samples = stream<T>(row, samples_a_frame, -100, 100);
    auto* state = reinterpret_cast<ZelVadState_Aurora*>(row.array<std::uint8_t>(64));
    row.sound(frames * frame_shift);
    auto answer = row.answer<std::int32_t>(frames);
    answer.library([=](std::int32_t* decisions) {
        Init(state);
        for (int i = 0; i < frames; ++i) {
            std::uint32_t decision;
            Decide(bands + i * bands_a_frame, samples + i * samples_a_frame, 0, &decision, state);
            decisions[i] = static_cast<std::int32_t>(decision);
        }
    });
    answer.plain([=](std::int32_t* decisions) { plain::voice_activity(bands, samples, decisions, frames); });
}

const Table voice_activity{
    "aurora/voice_activity",
    {{"zelsVADDecision_Aurora_32f", decide<zelsVADInit_Aurora_32f, zelsVADDecision_Aurora_32f, float>},
     {"zelsVADDecision_Aurora_16s", decide<zelsVADInit_Aurora_16s, zelsVADDecision_Aurora_16s, std::int16_t>}},
    {{200}, {1000}}};

}  // namespace
}  // namespace zelsr::bench
