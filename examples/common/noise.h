// Noises that disturb speech, and speech with noise at a stated distance: what programs are tried on.
//
// The same arguments give the same samples, in every run and from every standard library: the numbers come from a
// generator of integers.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "common/file_names.h"

namespace zelsr::examples {

enum class NoiseKind { White, Pink, Babble, Tone };

// "white", "pink", "babble", "tone", in the order of NoiseKind: choices of a command line.
const std::vector<std::string>& noise_names();
std::string noise_name(NoiseKind kind);
// Throws WrongUse for other names.
NoiseKind noise_of_name(std::string_view name);

// People who talk, each in samples at the rate of the noise that is to be made of them.
using Voices = std::vector<std::vector<float>>;
// From sound files of any rate. Throws Failure, which begins with the file's name.
Voices read_voices(const FileNames& files, int rate);

// Noise of mean power 1.
// - White: normally distributed, near enough (sums of twelve uniform numbers), each sample independent.
// - Pink: white noise through a filter that falls by 3 dB an octave from 20 Hz on; a little less at both ends.
// - Babble: the voices at one loudness, eight at least, each going round from a place of its own. Throws Failure
// if
//   there are no voices that can be heard.
// - Tone: 400, 1000 and 2300 Hz, as far as they lie below half the rate, of equal power.
std::vector<float> make_noise(NoiseKind kind, std::size_t samples, int rate, std::uint32_t seed,
                              const Voices& voices = {});

// The mean power of the frames of 20 ms in which somebody speaks: those within 30 dB of the loudest one. What is
// left behind the last whole frame does not count, unless there is no whole one. 0 for silence.
double speech_power(std::span<const float> speech, int rate);

// The speech and so much of the noise, from its start on, that speech_power() is snr_db above the mean power of
// the noise beside it. Silence, in either, adds no noise. Throws Failure if the noise is shorter than the speech.
std::vector<float> mix(std::span<const float> speech, int rate, std::span<const float> noise, double snr_db);

}  // namespace zelsr::examples
