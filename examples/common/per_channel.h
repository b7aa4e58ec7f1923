// Sound of several channels, each through a state of its own.
#pragma once

#include <zelsr/core/convert.h>

#include <cstdint>
#include <span>
#include <utility>
#include <vector>

#include "common/failure.h"

namespace zelsr::examples {

// Sound in the form that is computed in: itself, or rounded to 16 bits, in memory of `rounded`.
inline std::span<const float> in_form(std::span<const float> sound, std::vector<float>&) { return sound; }
inline std::span<const std::int16_t> in_form(std::span<const float> sound, std::vector<std::int16_t>& rounded)
{
    rounded.resize(sound.size());
    if (!sound.empty())
        require(
            zelsConvert_32f16s_Sfs(sound.data(), rounded.data(), static_cast<std::int32_t>(sound.size()), 1, -15),
            "zelsConvert_32f16s_Sfs");
    return rounded;
}

// State has add(std::span<const T>, std::vector<T>& results) and finish(std::vector<T>& results), which append
// what is complete: as much for every channel.
template <class T, class State>
class PerChannel {
  public:
    // make(): the state with which a channel starts.
    template <class Make>
    PerChannel(int channels, Make make) : results_(static_cast<std::size_t>(channels))
    {
        while (channels_.size() < results_.size()) channels_.push_back(make());
    }

    State& channel(std::size_t c) { return channels_[c]; }

    // The results, channel after channel, until the next call.
    std::span<const T> add(std::span<const float> sound)
    {
        const std::span<const T> interleaved = in_form(sound, formed_);
        const std::size_t channels = channels_.size();
        samples_.resize(interleaved.size() / channels);
        for (std::size_t c = 0; c < channels; ++c) {
            for (std::size_t i = 0; i < samples_.size(); ++i) samples_[i] = interleaved[i * channels + c];
            results_[c].clear();
            channels_[c].add(samples_, results_[c]);
        }
        return woven();
    }
    std::span<const T> finish()
    {
        for (std::size_t c = 0; c < channels_.size(); ++c) {
            results_[c].clear();
            channels_[c].finish(results_[c]);
        }
        return woven();
    }

  private:
    std::span<const T> woven()
    {
        const std::size_t channels = channels_.size();
        interleaved_.resize(results_[0].size() * channels);
        for (std::size_t c = 0; c < channels; ++c)
            for (std::size_t i = 0; i < results_[c].size(); ++i) interleaved_[i * channels + c] = results_[c][i];
        return interleaved_;
    }

    std::vector<State> channels_;
    std::vector<std::vector<T>> results_;
    std::vector<T> formed_, samples_, interleaved_;
};

}  // namespace zelsr::examples
