#include "codec/report.h"

#include <cmath>

#include "common/text.h"

namespace zelsr::examples {
namespace {

std::string share(std::int64_t part, std::int64_t all)
{
    return all > 0 ? fixed(100.0 * static_cast<double>(part) / static_cast<double>(all), 1) : "-";
}

}  // namespace

void CodingLoss::add(const Frame& frame, const Measured& measured, const EnvelopeBook& book)
{
    ++frames_;
    ++pitches_[static_cast<std::size_t>(frame.pitch)];
    if (frame.level == 0 || !measured.sound) return;
    ++compared_;
    if (frame.pitch > 0) ++voiced_;
    const double error = distortion(measured.predictor, predictor_of(book.lines_of(frame.envelope)));
    distortion_ += error;
    if (error > 2) ++above_2_;
    if (error > 4) ++above_4_;
    const Levels levels = levels_of(frame);
    level_error_ += std::fabs(levels.end - measured.levels.end);
}

void CodingLoss::add(const CodingLoss& more)
{
    frames_ += more.frames_;
    bytes_ += more.bytes_;
    samples_ += more.samples_;
    voiced_ += more.voiced_;
    above_2_ += more.above_2_;
    above_4_ += more.above_4_;
    compared_ += more.compared_;
    distortion_ += more.distortion_;
    level_error_ += more.level_error_;
    for (std::size_t i = 0; i < pitches_.size(); ++i) pitches_[i] += more.pitches_[i];
}

void CodingLoss::add_bytes(std::int64_t bytes, std::int64_t samples)
{
    bytes_ += bytes;
    samples_ += samples;
}

std::string CodingLoss::heading()
{
    return "       s   bit/s  distortion  > 2 dB  > 4 dB   level  voiced   pitch\n"
           "                          dB       %       %      dB       %      Hz  file\n";
}

std::string CodingLoss::line(const std::string& name) const
{
    // The middle one of the voiced frames' pitches.
    std::int64_t voiced = 0, passed = 0;
    for (std::size_t code = 1; code < pitches_.size(); ++code) voiced += pitches_[code];
    std::size_t middle = 0;
    while (voiced > 0 && 2 * passed < voiced) passed += pitches_[++middle];

    const double seconds = static_cast<double>(samples_) / kRate;
    const auto mean = [&](double sum) {
        return compared_ > 0 ? fixed(sum / static_cast<double>(compared_), 2) : "-";
    };
    return padded(fixed(seconds, 2), 8) + padded(fixed(8 * static_cast<double>(bytes_) / seconds, 0), 8) +
           padded(mean(distortion_), 12) + padded(share(above_2_, compared_), 8) +
           padded(share(above_4_, compared_), 8) + padded(mean(level_error_), 8) +
           padded(share(voiced_, compared_), 8) +
           padded(voiced > 0 ? fixed(kRate / lag_of(static_cast<int>(middle)), 1) : "-", 8) + "  " + name + "\n";
}

}  // namespace zelsr::examples
