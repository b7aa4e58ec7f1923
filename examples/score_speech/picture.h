// The picture of a scored file: waveform, spectrogram and scores over time.
#pragma once

#include <string>

#include "score_speech/features.h"
#include "score_speech/segments.h"

namespace zelsr::examples {

// SVG that stands alone.
std::string draw(const std::string& title, const std::string& summary, const Analysis& analysis,
                 const Scoring& scoring);

}  // namespace zelsr::examples
