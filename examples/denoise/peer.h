// SpeexDSP's preprocessor, for comparison, where the program was built with it.
#pragma once

#include <span>
#include <vector>

namespace zelsr::examples {

bool peer_there();

enum class Start { Cold, Warm };

// Its noise suppression alone, in frames of 20 ms, with least_gain as its limit. Its delay of a frame is taken
// back. Warm: it has heard the same sound once before, since its noise estimate takes some seconds.
std::vector<float> cleaned_by_peer(std::span<const float> sound, int rate, double least_gain, Start start);

}  // namespace zelsr::examples
