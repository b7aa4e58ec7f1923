// Coded speech as bytes: a head, frames, an end. README.md has the layout.
#pragma once

#include <array>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>

#include "codec/frame.h"
#include "common/failure.h"
#include "common/fields.h"
#include "common/output_file.h"

namespace zelsr::examples {

constexpr int kHeadBytes = 16, kEndBytes = kFrameBytes + 4;  // of a stream, around its frames

class StreamWriter {
  public:
    // book: the identity of the codebook. The caller commits the file.
    StreamWriter(OutputFile& file, std::uint64_t book);

    void write(const Frame& frame);
    void finish(std::int64_t samples);

    std::int64_t bytes() const { return bytes_; }

  private:
    void put(std::string_view bytes);

    OutputFile& file_;
    Hash hash_;
    std::int64_t bytes_ = 0;
};

// What is wrong with a stream behind its head: the frames before it are good.
class Damage : public Failure {
  public:
    using Failure::Failure;
};

class StreamReader {
  public:
    // "-" is the standard input. Throws Failure if there is no such file or it is no coded speech.
    explicit StreamReader(const std::string& path);

    std::uint64_t book() const { return book_; }
    // Nothing at the end; then samples() is known. Throws Damage if the stream is cut, or not as it was written.
    std::optional<Frame> next();

    std::int64_t frames() const { return frames_; }                                // read so far
    std::int64_t samples() const { return samples_; }                              // of the whole stream
    double seconds() const { return size_ / kFrameBytes * kFrameLength / kRate; }  // about; 0 if unknown

  private:
    struct Close {
        void operator()(std::FILE* file) const
        {
            if (file != stdin) std::fclose(file);
        }
    };
    std::size_t take(std::uint8_t* bytes, std::size_t count);
    [[noreturn]] void fail_cut() const;
    void read_end(const FrameBytes& bytes);

    std::unique_ptr<std::FILE, Close> file_;
    Hash hash_;
    std::uint64_t book_ = 0;
    std::int64_t frames_ = 0, samples_ = 0;
    double size_ = 0;
};

}  // namespace zelsr::examples
