// What a picture shows of a frame.
#pragma once

#include <vector>

namespace zelsr::examples {

// By bins. Powers are those of samples in parts of full scale, under the window.
struct SeenFrame {
    std::vector<float> power, noise, gain;
};

}  // namespace zelsr::examples
