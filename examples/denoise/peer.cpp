#include "denoise/peer.h"

#ifdef DENOISE_SPEEXDSP

#    include <speex/speex_preprocess.h>

#    include <algorithm>
#    include <cmath>
#    include <cstdint>
#    include <memory>
#    include <new>

#    include "common/per_channel.h"

namespace zelsr::examples {

bool peer_there() { return true; }

std::vector<float> cleaned_by_peer(std::span<const float> sound, int rate, double least_gain, Start start)
{
    const int length = rate / 50;
    const std::unique_ptr<SpeexPreprocessState, void (*)(SpeexPreprocessState*)> state(
        speex_preprocess_state_init(length, rate), speex_preprocess_state_destroy);
    if (!state) throw std::bad_alloc();
    int on = 1, off = 0, floor_db = static_cast<int>(std::lround(20 * std::log10(least_gain)));
    speex_preprocess_ctl(state.get(), SPEEX_PREPROCESS_SET_DENOISE, &on);
    speex_preprocess_ctl(state.get(), SPEEX_PREPROCESS_SET_AGC, &off);
    speex_preprocess_ctl(state.get(), SPEEX_PREPROCESS_SET_DEREVERB, &off);
    speex_preprocess_ctl(state.get(), SPEEX_PREPROCESS_SET_NOISE_SUPPRESS, &floor_db);

    std::vector<std::int16_t> samples;
    in_form(sound, samples);
    const auto frame = static_cast<std::size_t>(length);
    const auto run = [&](std::vector<std::int16_t>& all) {
        for (std::size_t i = 0; i + frame <= all.size(); i += frame) speex_preprocess_run(state.get(), &all[i]);
    };
    // Whole frames alone: silence behind them would be its new estimate of the noise.
    std::vector<std::int16_t> heard = samples;
    if (start == Start::Warm) run(heard);
    samples.resize((samples.size() / frame + 2) * frame);
    run(samples);
    std::vector<float> cleaned(sound.size());
    std::transform(samples.begin() + length, samples.begin() + length + static_cast<std::ptrdiff_t>(sound.size()),
                   cleaned.begin(), [](std::int16_t sample) { return static_cast<float>(sample) / 32768; });
    return cleaned;
}

}  // namespace zelsr::examples

#else

namespace zelsr::examples {

bool peer_there() { return false; }
std::vector<float> cleaned_by_peer(std::span<const float>, int, double, Start) { return {}; }

}  // namespace zelsr::examples

#endif
