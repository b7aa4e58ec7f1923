// What the suppressor does to speech in noise, beside a known one.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "common/file_names.h"
#include "common/noise.h"
#include "denoise/settings.h"

namespace zelsr::examples {

// How far the clean speech is above what differs from it, in dB: the mean over the frames of 20 ms in which
// somebody speaks (within 30 dB of the loudest one), each limited to -10 ... 35 dB. What is beyond says nothing to
// an ear.
double segmental_snr(std::span<const float> clean, std::span<const float> other, int rate);

// By how many dB all frames together in which nobody speaks are quieter than they were.
double quieter_by(std::span<const float> clean, std::span<const float> before, std::span<const float> after,
                  int rate);

// The ways that are measured, by name: both gains in floating point and in 16 bits, and SpeexDSP's preprocessor
// where there is one.
const std::vector<std::string>& measured_ways();

struct Measured {
    NoiseKind noise;
    double snr;                  // at which the noise was mixed in, dB
    double before;               // segmental SNR, means over the files
    std::vector<double> after;   // the same, by the ways
    std::vector<double> pauses;  // by how many dB they are quieter
};

// The files as one rate, that of the first one; the noise made of them where it is babble. least_gain: as in
// Settings, for all ways. Throws Failure.
std::vector<Measured> measure(const FileNames& files, double least_gain);

std::string table_of(const std::vector<Measured>& measured);
std::string csv_of(const std::vector<Measured>& measured);

}  // namespace zelsr::examples
