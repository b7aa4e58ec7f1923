// What the commands share.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "codec/book.h"
#include "codec/encoder.h"
#include "codec/input.h"
#include "codec/stream.h"
#include "common/arguments.h"

namespace zelsr::examples {

EnvelopeBook book_of(const Arguments& arguments);
int block_of(const Arguments& arguments);
// One at least.
std::vector<std::string> some_words(const Arguments& arguments);
// Of -o.
std::string output_of(const Arguments& arguments);
void print_remarks(const std::string& path, const SpeechInput& input);

// With the file's name in front of what goes wrong. Damage stays Damage.
template <class Work>
auto about(const std::string& file, Work work)
{
    const std::string name = file == "-" ? "standard input" : file;
    try {
        return work();
    } catch (const WrongUse&) {
        throw;
    } catch (const Damage& damage) {
        throw Damage(name + ": " + damage.what());
    } catch (const Failure& failure) {
        throw Failure(name + ": " + failure.what());
    }
}

// All samples of a file through an encoder. step: called after each part.
template <class Step>
void encode_all(SpeechInput& input, Encoder& encoder, Step step)
{
    for (std::span<const float> samples = input.read(); !samples.empty(); samples = input.read()) {
        encoder.add(samples);
        step();
    }
    encoder.finish();
}

}  // namespace zelsr::examples
