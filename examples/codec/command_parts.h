// What the commands share.
#pragma once

#include <algorithm>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "codec/book.h"
#include "codec/encoder.h"
#include "codec/input.h"
#include "codec/stream.h"
#include "common/arguments.h"
#include "common/progress.h"
#include "common/text.h"

namespace zelsr::examples {

EnvelopeBook book_of(const Arguments& arguments);
int block_of(const Arguments& arguments);
// One at least.
std::vector<std::string> some_words(const Arguments& arguments);
// Of -o.
std::string output_of(const Arguments& arguments);
// Of an input, for messages.
std::string shown_name(const std::string& file);
void print_remarks(const std::string& path, const SpeechInput& input);

// With the file's name in front of what goes wrong. Damage stays Damage.
template <class Work>
auto about(const std::string& file, Work work)
{
    const std::string name = shown_name(file);
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

// Shows how far work on files is: on one by its seconds, on more by their number.
class FileProgress {
  public:
    explicit FileProgress(std::size_t files)
    {
        if (files > 1) all_.emplace("sound", static_cast<double>(files), "files");
    }
    void begin(const std::string& path, const SpeechInput& input)
    {
        if (!all_) one_.emplace(file_name(path), input.seconds());
    }
    void at(const SpeechInput& input)
    {
        const double part = input.seconds() > 0 ? std::min(input.position() / input.seconds(), 1.0) : 0;
        all_ ? all_->at(static_cast<double>(done_) + part) : one_->at(input.position());
    }
    void end() { ++done_; }

  private:
    std::optional<Progress> all_, one_;
    std::int64_t done_ = 0;
};

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
