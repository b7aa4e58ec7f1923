// The sound file that a test program is given: usage: PROGRAM SOUND [GoogleTest options]
#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <vector>

#include "common/mfcc.h"
#include "common/sound.h"

namespace zelsr::examples {

inline std::string given_sound;

// Its first samples, in 16-bit units.
template <class T>
std::vector<T> samples_of_file(std::size_t most)
{
    SoundFile sound(given_sound);
    std::vector<float> part(most);
    part.resize(sound.read(part));
    std::vector<T> samples(part.size());
    to_16_bit_units(part, samples.data());
    return samples;
}

// What main() does.
inline int test_given_sound(int count, char** arguments)
{
    testing::InitGoogleTest(&count, arguments);
    if (count != 2) return 2;
    given_sound = arguments[1];
    return RUN_ALL_TESTS();
}

}  // namespace zelsr::examples
