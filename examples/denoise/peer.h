// SpeexDSP's preprocessor, for comparison, where the program was built with it.
#pragma once

#include <span>
#include <vector>

namespace zelsr::examples {

bool peer_there();

// Its noise suppression alone, in frames of 20 ms, never below least_gain. Its delay of a frame is taken back.
std::vector<float> cleaned_by_peer(std::span<const float> sound, int rate, double least_gain);

}  // namespace zelsr::examples
