// Writes sound files of every format that libsndfile knows, whole or not at all.
#pragma once

#include <sndfile.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "common/output_file.h"

namespace zelsr::examples {

// What libsndfile calls formats: the container of a file name's ending, and what the user may choose among.
std::optional<int> container_of_ending(const std::string& path);
const std::vector<std::string>& container_names();
int container_of_name(std::size_t position);
const std::vector<std::string>& sample_format_names();
int sample_format_of_name(std::size_t position);
// A sound's format in another container, with other samples, or both. A byte order belongs to its container.
// Sample formats that another container does not know become 16 bits there, or what its coder makes.
int changed_format(int format, std::optional<int> container, std::optional<int> samples, int rate, int channels);
// The names of a format's two parts, in libsndfile's words.
std::string format_text(int format);

// Bits of the integers in which the format keeps samples; 0 for formats of floating point and for coders that take
// it.
int integer_bits(int format);

// The file appears with commit(). Every member throws Failure. Pipes and devices are refused: headers are
// completed at the end.
class SoundWriter {
  public:
    // samples: how many a channel are to come, as far as is known, otherwise 0. A file too long for its container
    // is refused at once then, otherwise when it gets too long.
    SoundWriter(const std::string& path, int rate, int channels, int format, std::int64_t samples = 0);

    // Channel after channel. Floats count in parts of full scale, integers in 16-bit units; what is beyond full
    // scale in a format of integers is limited and counted.
    void write(std::span<const float> interleaved);
    void write(std::span<const std::int16_t> interleaved);
    void commit();

    std::int64_t limited() const { return limited_; }

  private:
    struct Close {
        void operator()(SNDFILE* file) const { sf_close(file); }
    };
    void check(bool good);
    void check_length(std::int64_t bytes) const;
    static sf_count_t put(const void* from, sf_count_t bytes, void* self);

    OutputFile file_;
    std::string system_error_;               // the first one
    std::unique_ptr<SNDFILE, Close> sound_;  // closed before what it writes to
    int format_, bits_;
    std::int64_t limited_ = 0;
    std::vector<int> integers_;
    std::vector<float> floats_;
};

}  // namespace zelsr::examples
