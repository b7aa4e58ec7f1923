// Reads sound files of every format that libsndfile knows, as floats: all channels, or one that stands for them.
#pragma once

#include <sndfile.h>

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace zelsr::examples {

enum class Channels { Mean, First };

class SoundFile {
  public:
    // Throws Failure with the reason: missing, a directory, empty, unreadable, not a sound file.
    explicit SoundFile(const std::string& path, Channels taken = Channels::Mean);

    int rate() const { return rate_; }  // samples a second
    int channels() const { return channels_; }
    int format() const { return format_; }  // container, sample format and byte order, in libsndfile's codes
    // Samples a channel as the file's header has it: 0 if it does not say. For progress only, the file may end
    // early.
    std::int64_t expected() const { return expected_; }

    // The next samples of all channels, channel after channel, `samples` a channel at most: nothing at the end of
    // the file. Samples that are no numbers or beyond 10^6 read as 0, so that sums stay finite.
    std::span<const float> read_all(std::size_t samples);
    // Fills the start of block with the mean of the channels or the first one, returns how many samples there
    // were.
    std::size_t read(std::span<float> block);

    std::int64_t position() const { return position_; }  // samples a channel read so far
    std::int64_t mended() const { return mended_; }      // samples that were no numbers or beyond 10^6
    std::int64_t clipped() const { return clipped_; }    // samples on the limits of the file's integer format
    bool ended_early() const { return ended_early_; }    // fewer samples than the header promised

  private:
    struct Close {
        void operator()(SNDFILE* file) const { sf_close(file); }
    };

    std::unique_ptr<SNDFILE, Close> file_;
    Channels taken_;
    int rate_ = 0;
    int channels_ = 0;
    int format_ = 0;
    std::int64_t expected_ = 0;
    std::int64_t position_ = 0;
    std::int64_t mended_ = 0;
    std::int64_t clipped_ = 0;
    bool integer_samples_ = false;
    bool ended_early_ = false;
    std::vector<float> interleaved_;
};

// What the user should know about a file that was read to its end, a line each.
std::vector<std::string> remarks_on(const SoundFile& sound);

}  // namespace zelsr::examples
