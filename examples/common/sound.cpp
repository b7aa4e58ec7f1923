#include "common/sound.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>

#include "common/failure.h"
#include "common/text.h"

namespace zelsr::examples {
namespace {

constexpr float kLargestSample = 1e6f;
constexpr float kFullScale = 0.9999f;  // 16-bit and wider formats reach 1 - 2^-15 at least

// What libsndfile's own messages leave unclear.
void check_file(const std::string& path)
{
    struct stat info {};
    if (stat(path.c_str(), &info) != 0) throw Failure(errno == ENOENT ? "no such file" : system_error_text());
    if (S_ISDIR(info.st_mode)) throw Failure("is a directory, not a sound file");
    if (!S_ISREG(info.st_mode)) throw Failure("is not a regular file");
    if (access(path.c_str(), R_OK) != 0) throw Failure("cannot be read: " + system_error_text());
    if (info.st_size == 0) throw Failure("is empty");
}

bool holds_integers(int format)
{
    int coding = format & SF_FORMAT_SUBMASK;
    return coding == SF_FORMAT_PCM_16 || coding == SF_FORMAT_PCM_24 || coding == SF_FORMAT_PCM_32;
}

std::string counted(std::int64_t count, const std::string& what)
{
    return std::to_string(count) + (count == 1 ? " sample " : " samples ") + what;
}

}  // namespace

SoundFile::SoundFile(const std::string& path, Channels taken) : taken_(taken)
{
    check_file(path);
    SF_INFO info{};
    file_.reset(sf_open(path.c_str(), SFM_READ, &info));
    if (!file_) {
        std::string reason = sf_strerror(nullptr);
        while (!reason.empty() && (reason.back() == '.' || reason.back() == '\n')) reason.pop_back();
        std::replace(reason.begin(), reason.end(), '\n', ' ');
        throw Failure("not a sound file that can be read: " + reason);
    }
    rate_ = info.samplerate;
    channels_ = info.channels;
    format_ = info.format;
    expected_ = info.frames > 0 && info.frames < SF_COUNT_MAX ? info.frames : 0;
    integer_samples_ = holds_integers(info.format);
    if (rate_ <= 0 || channels_ <= 0) throw Failure("has no sample rate or no channels");
}

std::span<const float> SoundFile::read_all(std::size_t samples)
{
    const auto channels = static_cast<std::size_t>(channels_);
    interleaved_.resize(samples * channels);
    sf_count_t got = sf_readf_float(file_.get(), interleaved_.data(), static_cast<sf_count_t>(samples));
    const auto read = static_cast<std::size_t>(std::max<sf_count_t>(got, 0));

    const std::span<float> all = std::span(interleaved_).first(read * channels);
    for (float& sample : all) {
        if (!(std::fabs(sample) <= kLargestSample)) {
            sample = 0;
            ++mended_;
        }
        if (integer_samples_ && std::fabs(sample) >= kFullScale) ++clipped_;
    }
    position_ += static_cast<std::int64_t>(read);
    if (read < samples && expected_ > position_) ended_early_ = true;
    return all;
}

std::size_t SoundFile::read(std::span<float> block)
{
    const std::span<const float> all = read_all(block.size());
    const auto channels = static_cast<std::size_t>(channels_);
    const std::size_t samples = all.size() / channels;
    for (std::size_t i = 0; i < samples; ++i) {
        const std::span<const float> frame = all.subspan(i * channels, channels);
        float sum = 0;
        for (const float sample : frame) sum += sample;
        block[i] = taken_ == Channels::Mean ? sum / static_cast<float>(channels_) : frame[0];
    }
    return samples;
}

std::vector<std::string> remarks_on(const SoundFile& sound)
{
    std::vector<std::string> remarks;
    if (sound.ended_early())
        remarks.push_back("the file ends early: it promises " +
                          fixed(static_cast<double>(sound.expected()) / sound.rate(), 2) + " s");
    if (sound.mended() > 0) remarks.push_back(counted(sound.mended(), "not a number or beyond 10^6, read as 0"));
    // A peak or two at full scale is how a file is normalised; a thousandth of all samples is heard.
    if (sound.clipped() > sound.position() * sound.channels() / 1000)
        remarks.push_back(counted(sound.clipped(), "at full scale: the sound is clipped"));
    return remarks;
}

}  // namespace zelsr::examples
