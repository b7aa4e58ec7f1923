#include "codec/stream.h"

#include <sys/stat.h>

#include <cstring>
#include <string_view>

#include "common/text.h"

namespace zelsr::examples {
namespace {

constexpr std::string_view kMagic = "zlpc";
constexpr int kVersion = 1;
constexpr std::size_t kCheckBytes = kEndBytes - kFrameBytes;
// A frame without voice has no voiced bands; with all of them it is the end, and has the number of samples instead
// of envelope, level and change.
constexpr int kEndBands = 15;
constexpr int kSampleBits = 3 * kEnvelopeBits + 6 + 4;

template <class Bytes>
void put_number(std::uint64_t value, int count, Bytes& bytes)
{
    for (int i = 0; i < count; ++i) bytes.push_back(static_cast<char>(value >> 8 * i & 0xFF));
}

std::uint64_t number_at(const std::uint8_t* bytes, int count)
{
    std::uint64_t value = 0;
    for (int i = count; i-- > 0;) value = value << 8 | bytes[i];
    return value;
}

template <class Bytes>
std::string_view text_of(const Bytes& bytes)
{
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

std::uint32_t check_of(const Hash& hash) { return static_cast<std::uint32_t>(hash.value() ^ hash.value() >> 32); }

Frame end_frame(std::int64_t samples)
{
    Frame frame;
    frame.bands = kEndBands;
    for (std::size_t p = kEnvelopeParts; p-- > 0; samples >>= kEnvelopeBits)
        frame.envelope[p] = static_cast<std::int16_t>(samples & ((1 << kEnvelopeBits) - 1));
    frame.level = static_cast<int>(samples & 63);
    frame.change = static_cast<int>(samples >> 6 & 15);
    return frame;
}

std::int64_t samples_of(const Frame& end)
{
    std::int64_t samples = end.change << 6 | end.level;
    for (const std::int16_t part : end.envelope) samples = samples << kEnvelopeBits | part;
    return samples;
}

}  // namespace

StreamWriter::StreamWriter(OutputFile& file, std::uint64_t book) : file_(file)
{
    std::string head(kMagic);
    put_number(kVersion, 4, head);
    put_number(book, 8, head);
    put(head);
}

void StreamWriter::put(std::string_view bytes)
{
    hash_.add(bytes);
    file_.write(bytes);
    bytes_ += static_cast<std::int64_t>(bytes.size());
}

void StreamWriter::write(const Frame& frame) { put(text_of(packed(frame))); }

void StreamWriter::finish(std::int64_t samples)
{
    if (samples >> kSampleBits != 0) throw Failure("too long");
    write(end_frame(samples));
    std::string check;
    put_number(check_of(hash_), kCheckBytes, check);
    put(check);
}

StreamReader::StreamReader(const std::string& path)
{
    if (path == "-") {
        file_.reset(stdin);
    } else {
        struct stat info {};
        if (stat(path.c_str(), &info) != 0) throw Failure(errno == ENOENT ? "no such file" : system_error_text());
        if (S_ISDIR(info.st_mode)) throw Failure("is a directory, not coded speech");
        if (S_ISREG(info.st_mode)) size_ = static_cast<double>(info.st_size);
        file_.reset(std::fopen(path.c_str(), "rb"));
        if (!file_) throw Failure("cannot be read: " + system_error_text());
    }
    std::array<std::uint8_t, kHeadBytes> head;
    const std::size_t count = take(head.data(), head.size());
    if (count == 0) throw Failure("is empty");
    if (text_of(head).substr(0, std::min(count, kMagic.size())) != kMagic.substr(0, count))
        throw Failure("is no coded speech");
    if (count < head.size()) throw Failure("is cut short in its head");
    if (const std::uint64_t version = number_at(head.data() + 4, 4); version != kVersion)
        throw Failure("has version " + std::to_string(version) + " of the format; version " +
                      std::to_string(kVersion) + " is known here");
    book_ = number_at(head.data() + 8, 8);
}

std::size_t StreamReader::take(std::uint8_t* bytes, std::size_t count)
{
    const std::size_t got = std::fread(bytes, 1, count, file_.get());
    if (got < count && std::ferror(file_.get())) throw Failure("cannot be read: " + system_error_text());
    hash_.add({reinterpret_cast<const char*>(bytes), got});
    return got;
}

void StreamReader::fail_cut() const
{
    throw Damage("is cut short behind " + fixed(static_cast<double>(frames_) * kFrameLength / kRate, 2) + " s");
}

std::optional<Frame> StreamReader::next()
{
    FrameBytes bytes;
    if (take(bytes.data(), bytes.size()) < bytes.size()) fail_cut();
    const Frame frame = unpacked(bytes);
    if (frame.pitch == 0 && frame.bands == kEndBands) {
        read_end(bytes);
        return std::nullopt;
    }
    if ((frame.pitch == 0 && frame.bands != 0) || (frame.level == 0 && frame.change != 0))
        throw Damage("is damaged at " + fixed(static_cast<double>(frames_) * kFrameLength / kRate, 2) + " s");
    ++frames_;
    return frame;
}

void StreamReader::read_end(const FrameBytes& bytes)
{
    const std::uint32_t wanted = check_of(hash_);
    std::array<std::uint8_t, kCheckBytes> check;
    if (take(check.data(), check.size()) < check.size()) fail_cut();
    const std::int64_t samples = samples_of(unpacked(bytes));
    if (number_at(check.data(), kCheckBytes) != wanted || (samples + kFrameLength - 1) / kFrameLength != frames_)
        throw Damage("is damaged somewhere: its check sum is another one");
    std::uint8_t more = 0;
    if (take(&more, 1) > 0) throw Damage("goes on behind its end");
    samples_ = samples;
}

}  // namespace zelsr::examples
