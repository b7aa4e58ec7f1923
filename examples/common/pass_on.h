// Sound from a source, through channels that change it, into a sink.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include "common/failure.h"
#include "common/progress.h"

namespace zelsr::examples {

struct Written {
    std::int64_t samples = 0;  // a channel
    std::int64_t limited = 0;  // results of 16 bits at a limit, most of which were beyond it
};

// Blocks of `block` samples, under a name that progress is shown by. Throws Failure if there are none.
template <class Source, class Way, class Sink>
Written pass_on(Source& source, const std::string& name, int block, Way& way, Sink& sink)
{
    Written written;
    const auto hand_on = [&](auto results) {
        if (results.empty()) return;
        sink.write(results);
        written.samples += static_cast<std::int64_t>(results.size()) / source.channels();
        if constexpr (sizeof(results[0]) == sizeof(std::int16_t))
            written.limited += std::count_if(results.begin(), results.end(),
                                             [](std::int16_t x) { return x == INT16_MAX || x == INT16_MIN; });
    };
    {
        Progress progress(name, static_cast<double>(source.expected()) / source.rate());
        while (true) {
            const std::span<const float> samples = source.read_all(static_cast<std::size_t>(block));
            if (samples.empty()) break;
            hand_on(way.add(samples));
            progress.at(static_cast<double>(source.position()) / source.rate());
        }
    }
    if (source.position() == 0) throw Failure("holds no samples");
    hand_on(way.finish());
    return written;
}

}  // namespace zelsr::examples
