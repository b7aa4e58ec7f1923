#include "common/sound_writer.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cmath>

#include "common/failure.h"

namespace zelsr::examples {
namespace {

struct Named {
    const char* name;
    int code;
};
constexpr std::array<Named, 9> kContainers{{{"wav", SF_FORMAT_WAV},
                                            {"flac", SF_FORMAT_FLAC},
                                            {"ogg", SF_FORMAT_OGG},
                                            {"aiff", SF_FORMAT_AIFF},
                                            {"au", SF_FORMAT_AU},
                                            {"caf", SF_FORMAT_CAF},
                                            {"w64", SF_FORMAT_W64},
                                            {"rf64", SF_FORMAT_RF64},
                                            {"mp3", SF_FORMAT_MPEG}}};
constexpr std::array<Named, 10> kEndings{{{"wav", SF_FORMAT_WAV},
                                          {"flac", SF_FORMAT_FLAC},
                                          {"ogg", SF_FORMAT_OGG},
                                          {"opus", SF_FORMAT_OGG},
                                          {"aiff", SF_FORMAT_AIFF},
                                          {"aif", SF_FORMAT_AIFF},
                                          {"au", SF_FORMAT_AU},
                                          {"caf", SF_FORMAT_CAF},
                                          {"w64", SF_FORMAT_W64},
                                          {"mp3", SF_FORMAT_MPEG}}};
constexpr std::array<Named, 11> kSampleFormats{{{"s8", SF_FORMAT_PCM_S8},
                                                {"u8", SF_FORMAT_PCM_U8},
                                                {"s16", SF_FORMAT_PCM_16},
                                                {"s24", SF_FORMAT_PCM_24},
                                                {"s32", SF_FORMAT_PCM_32},
                                                {"float", SF_FORMAT_FLOAT},
                                                {"double", SF_FORMAT_DOUBLE},
                                                {"ulaw", SF_FORMAT_ULAW},
                                                {"alaw", SF_FORMAT_ALAW},
                                                {"vorbis", SF_FORMAT_VORBIS},
                                                {"opus", SF_FORMAT_OPUS}}};

template <class Table>
std::vector<std::string> names_of(const Table& table)
{
    std::vector<std::string> names;
    for (const Named& one : table) names.push_back(one.name);
    return names;
}

// libsndfile's name of one part of a format.
std::string name_of_part(int code)
{
    SF_FORMAT_INFO info{};
    info.format = code;
    const int failed = sf_command(nullptr, SFC_GET_FORMAT_INFO, &info, sizeof(info));
    return failed != 0 || info.name == nullptr ? "format " + std::to_string(code) : info.name;
}

}  // namespace

std::optional<int> container_of_ending(const std::string& path)
{
    const std::size_t dot = path.rfind('.');
    if (dot == std::string::npos) return std::nullopt;
    std::string ending = path.substr(dot + 1);
    for (char& letter : ending) letter = static_cast<char>(std::tolower(static_cast<unsigned char>(letter)));
    for (const Named& one : kEndings)
        if (ending == one.name) return one.code;
    return std::nullopt;
}

const std::vector<std::string>& container_names()
{
    static const std::vector<std::string> names = names_of(kContainers);
    return names;
}
int container_of_name(std::size_t position) { return kContainers[position].code; }

const std::vector<std::string>& sample_format_names()
{
    static const std::vector<std::string> names = names_of(kSampleFormats);
    return names;
}
int sample_format_of_name(std::size_t position) { return kSampleFormats[position].code; }

int changed_format(int format, std::optional<int> container, std::optional<int> samples, int rate, int channels)
{
    if (container && (format & SF_FORMAT_TYPEMASK) != *container &&
        !(*container == SF_FORMAT_WAV && (format & SF_FORMAT_TYPEMASK) == SF_FORMAT_WAVEX)) {
        const int kept = format & SF_FORMAT_SUBMASK;
        format = *container | kept;
        for (const int coding :
             {kept, int{SF_FORMAT_PCM_16}, int{SF_FORMAT_VORBIS}, int{SF_FORMAT_MPEG_LAYER_III}}) {
            SF_INFO info{};
            info.samplerate = rate;
            info.channels = channels;
            info.format = *container | coding;
            if (!sf_format_check(&info)) continue;
            format = info.format;
            break;
        }
    }
    if (samples) format = (format & ~SF_FORMAT_SUBMASK) | *samples;
    return format;
}

std::string format_text(int format)
{
    return name_of_part(format & SF_FORMAT_TYPEMASK) + ", " + name_of_part(format & SF_FORMAT_SUBMASK);
}

int integer_bits(int format)
{
    switch (format & SF_FORMAT_SUBMASK) {
        case SF_FORMAT_FLOAT:
        case SF_FORMAT_DOUBLE:
        case SF_FORMAT_VORBIS:
        case SF_FORMAT_OPUS:
        case SF_FORMAT_MPEG_LAYER_I:
        case SF_FORMAT_MPEG_LAYER_II:
        case SF_FORMAT_MPEG_LAYER_III:
            return 0;
        case SF_FORMAT_PCM_S8:
        case SF_FORMAT_PCM_U8:
        case SF_FORMAT_DPCM_8:
            return 8;
        case SF_FORMAT_DWVW_12:
            return 12;
        case SF_FORMAT_ALAC_20:
            return 20;
        case SF_FORMAT_PCM_24:
        case SF_FORMAT_DWVW_24:
        case SF_FORMAT_ALAC_24:
            return 24;
        case SF_FORMAT_PCM_32:
        case SF_FORMAT_ALAC_32:
            return 32;
        default:
            return 16;
    }
}

namespace {

// Of a sample; 0 if it varies.
int bytes_of(int format)
{
    switch (format & SF_FORMAT_SUBMASK) {
        case SF_FORMAT_PCM_S8:
        case SF_FORMAT_PCM_U8:
        case SF_FORMAT_ULAW:
        case SF_FORMAT_ALAW:
            return 1;
        case SF_FORMAT_PCM_16:
            return 2;
        case SF_FORMAT_PCM_24:
            return 3;
        case SF_FORMAT_PCM_32:
        case SF_FORMAT_FLOAT:
            return 4;
        case SF_FORMAT_DOUBLE:
            return 8;
        default:
            return 0;
    }
}

}  // namespace

sf_count_t SoundWriter::put(const void* from, sf_count_t bytes, void* self)
{
    auto& writer = *static_cast<SoundWriter*>(self);
    const std::size_t done = std::fwrite(from, 1, static_cast<std::size_t>(bytes), writer.file_.stream());
    if (done != static_cast<std::size_t>(bytes) && writer.system_error_.empty())
        writer.system_error_ = system_error_text();
    return static_cast<sf_count_t>(done);
}

SoundWriter::SoundWriter(const std::string& path, int rate, int channels, int format, std::int64_t samples)
    : file_(path), format_(format), bits_(integer_bits(format))
{
    SF_INFO info{};
    info.samplerate = rate;
    info.channels = channels;
    info.format = format;
    const std::string what = format_text(format) + ", with " + std::to_string(channels) +
                             (channels == 1 ? " channel of " : " channels of ") + std::to_string(rate) + " Hz";
    if (file_.direct()) file_.fail("is not a regular file");
    if (!sf_format_check(&info)) file_.fail("there are no such files: " + what);

    check_length(samples * channels * bytes_of(format));

    SF_VIRTUAL_IO io{};
    io.get_filelen = [](void* self) -> sf_count_t {
        std::FILE* file = static_cast<SoundWriter*>(self)->file_.stream();
        const off_t at = ftello(file);
        fseeko(file, 0, SEEK_END);
        const off_t length = ftello(file);
        fseeko(file, at, SEEK_SET);
        return length;
    };
    io.seek = [](sf_count_t offset, int whence, void* self) -> sf_count_t {
        std::FILE* file = static_cast<SoundWriter*>(self)->file_.stream();
        return fseeko(file, offset, whence) == 0 ? ftello(file) : -1;
    };
    io.read = [](void*, sf_count_t, void*) -> sf_count_t { return 0; };
    io.write = &SoundWriter::put;
    io.tell = [](void* self) -> sf_count_t { return ftello(static_cast<SoundWriter*>(self)->file_.stream()); };
    sound_.reset(sf_open_virtual(&io, SFM_WRITE, &info, this));
    if (!sound_) file_.fail(system_error_.empty() ? what + ": " + sf_strerror(nullptr) : system_error_);
    // Formats of floating point keep what is beyond full scale; coders limit it.
    sf_command(sound_.get(), SFC_SET_CLIPPING, nullptr, SF_TRUE);
}

// Sizes in 32 bits, with some room for headers.
void SoundWriter::check_length(std::int64_t bytes) const
{
    const int container = format_ & SF_FORMAT_TYPEMASK;
    const bool bounded = container == SF_FORMAT_WAV || container == SF_FORMAT_WAVEX || container == SF_FORMAT_AIFF;
    if (bounded && bytes > 0xFFFF0000)
        file_.fail("a file of this container has 4 GB at most: rf64, w64 and caf have more");
}

void SoundWriter::check(bool good)
{
    if (!system_error_.empty()) file_.fail(system_error_);
    if (!good) file_.fail(sf_strerror(sound_.get()));
    check_length(ftello(file_.stream()));
}

void SoundWriter::write(std::span<const float> interleaved)
{
    const auto count = static_cast<sf_count_t>(interleaved.size());
    if (bits_ == 0) return check(sf_write_float(sound_.get(), interleaved.data(), count) == count);
    // libsndfile takes integers of 32 bits and cuts off what the format does not hold: rounding comes first.
    const double units = std::ldexp(1.0, bits_ - 1);
    const int shift = 32 - bits_;
    integers_.resize(interleaved.size());
    for (std::size_t i = 0; i < interleaved.size(); ++i) {
        const double value = std::nearbyint(double{interleaved[i]} * units);
        const double held = std::clamp(value, -units, units - 1);
        if (held != value) ++limited_;
        integers_[i] = static_cast<int>(static_cast<std::int64_t>(held) * (std::int64_t{1} << shift));
    }
    check(sf_write_int(sound_.get(), integers_.data(), count) == count);
}

void SoundWriter::write(std::span<const std::int16_t> interleaved)
{
    if (bits_ < 16) {
        floats_.resize(interleaved.size());
        std::transform(interleaved.begin(), interleaved.end(), floats_.begin(),
                       [](std::int16_t sample) { return static_cast<float>(sample) / 32768; });
        return write(std::span<const float>(floats_));
    }
    const auto count = static_cast<sf_count_t>(interleaved.size());
    check(sf_write_short(sound_.get(), interleaved.data(), count) == count);
}

void SoundWriter::commit()
{
    SNDFILE* const sound = sound_.release();
    const int failed = sf_close(sound);
    if (!system_error_.empty()) file_.fail(system_error_);
    if (failed != 0) file_.fail(sf_error_number(failed));
    if (std::fflush(file_.stream()) != 0) file_.fail(system_error_text());
    file_.commit();
}

}  // namespace zelsr::examples
