#include "codec/commands.h"

#include <zelsr.h>

#include <algorithm>
#include <cstdio>
#include <optional>
#include <utility>
#include <vector>

#include "codec/command_parts.h"
#include "codec/decoder.h"
#include "codec/folders.h"
#include "common/output_file.h"
#include "common/progress.h"
#include "common/sound_writer.h"
#include "common/text.h"

namespace zelsr::examples {
namespace {

// From, to.
std::pair<std::string, std::string> two_words(const Arguments& arguments, const char* wanted)
{
    const std::vector<std::string>& words = arguments.words();
    if (words.size() != 2) throw WrongUse(wanted);
    if (words[0] != "-" && words[1] != "-" && same_file(words[0], words[1]))
        throw WrongUse(words[0] + " would be overwritten");
    return {words[0], words[1]};
}

// 16 bits where the container has them.
int format_of(const std::string& path)
{
    const int container = container_of_ending(path).value_or(SF_FORMAT_WAV);
    for (const int coding : {int{SF_FORMAT_PCM_16}, int{SF_FORMAT_VORBIS}, int{SF_FORMAT_MPEG_LAYER_III}}) {
        SF_INFO info{};
        info.samplerate = kRate;
        info.channels = 1;
        info.format = container | coding;
        if (sf_format_check(&info)) return info.format;
    }
    throw Failure("cannot write " + path + ": such files hold no 8 kHz sound");
}

std::vector<std::int16_t> rounded(std::span<const float> samples)
{
    std::vector<std::int16_t> integers(samples.size());
    if (!samples.empty())
        require(zelsConvert_32f16s_Sfs(samples.data(), integers.data(), static_cast<std::int32_t>(samples.size()),
                                       1, 0),
                "zelsConvert_32f16s_Sfs");
    return integers;
}

// The start of an utterance of so many samples.
std::span<const float> up_to(std::span<const float> samples, std::int64_t& left)
{
    const std::size_t count = std::min(samples.size(), static_cast<std::size_t>(left));
    left -= static_cast<std::int64_t>(count);
    return samples.first(count);
}

// Decoded samples as a sound file, or as they are.
class DecodedOutput {
  public:
    explicit DecodedOutput(const std::string& path)
    {
        if (path == "-")
            plain_.emplace(OutputFile::Standard::Output);
        else
            sound_.emplace(path, kRate, 1, format_of(path));
    }
    void write(std::span<const float> samples)
    {
        const std::vector<std::int16_t> integers = rounded(samples);
        limited_ +=
            std::count_if(samples.begin(), samples.end(), [](float x) { return x >= 32767.5F || x < -32768.5F; });
        if (sound_) {
            sound_->write(integers);
            return;
        }
        std::string bytes;
        for (const std::int16_t sample : integers) {
            bytes.push_back(static_cast<char>(sample & 0xFF));
            bytes.push_back(static_cast<char>(sample >> 8 & 0xFF));
        }
        plain_->write(bytes);
        plain_->flush();
    }
    void commit() { sound_ ? sound_->commit() : plain_->commit(); }
    std::int64_t limited() const { return limited_; }  // samples beyond full scale

  private:
    std::optional<SoundWriter> sound_;
    std::optional<OutputFile> plain_;
    std::int64_t limited_ = 0;
};

std::string limited_text(std::int64_t limited)
{
    return limited == 0 ? ""
                        : ", " + std::to_string(limited) + (limited == 1 ? " sample" : " samples") + " limited";
}

// Decodes as far as the stream is good.
struct Decoded {
    std::int64_t samples = 0;
    std::optional<std::string> damage;
};

Decoded decode(StreamReader& reader, const std::string& from, const EnvelopeBook& book, DecodedOutput& out)
{
    Decoder decoder(book);
    Progress progress(file_name(from), reader.seconds());
    Decoded decoded;
    // The last frame may hold more samples than the sound had: what may be of it waits for the end.
    std::vector<float> held;
    const auto hand_on = [&](std::span<const float> samples) {
        held.insert(held.end(), samples.begin(), samples.end());
        const std::int64_t sure = (reader.frames() - 1) * kFrameLength - decoded.samples;
        const std::size_t ready = std::min(held.size(), static_cast<std::size_t>(std::max(sure, std::int64_t{0})));
        out.write(std::span(held).first(ready));
        held.erase(held.begin(), held.begin() + static_cast<std::ptrdiff_t>(ready));
        decoded.samples += static_cast<std::int64_t>(ready);
    };
    std::int64_t samples = 0;
    try {
        while (const std::optional<Frame> frame = reader.next()) {
            hand_on(decoder.add(*frame));
            progress.at(static_cast<double>(reader.frames()) * kFrameLength / kRate);
        }
        samples = reader.samples();
    } catch (const Damage& damage) {
        decoded.damage = damage.what();
        samples = reader.frames() * kFrameLength;
    }
    hand_on(decoder.finish());
    std::int64_t left = samples - decoded.samples;
    out.write(up_to(held, left));
    decoded.samples = samples;
    return decoded;
}

// A sound file coded and decoded. Returns how many samples were limited.
std::int64_t pass_through(const FilePair& pair, EnvelopeBook& book, int block, FileProgress& progress)
{
    const auto& [from, to] = pair;
    SpeechInput input(from, kRate, block);
    make_folder_of(to);
    DecodedOutput out(to);
    Decoder decoder(book);
    std::vector<float> decoded;
    const auto hand_on = [&](std::span<const float> more) {
        decoded.insert(decoded.end(), more.begin(), more.end());
    };
    Encoder encoder(book,
                    [&](const Frame& frame, const Measured&) { hand_on(decoder.add(unpacked(packed(frame)))); });
    progress.begin(from, input);
    std::int64_t written = 0;
    // Frames leave the encoder later than the samples that they code come, but for the last ones.
    encode_all(input, encoder, [&] {
        out.write(decoded);
        written += static_cast<std::int64_t>(decoded.size());
        decoded.clear();
        progress.at(input);
    });
    hand_on(decoder.finish());
    std::int64_t left = encoder.samples() - written;
    out.write(up_to(decoded, left));
    out.commit();
    print_remarks(from, input);
    return out.limited();
}

}  // namespace

bool run_encode(const Arguments& arguments)
{
    const auto [from, to] = two_words(arguments, "one sound file and one output are wanted");
    const int rate = arguments.whole("--rate", kRate, 1, 1 << 30), block = block_of(arguments);
    if (from != "-" && arguments.flag("--rate"))
        throw WrongUse("--rate goes with samples from the standard input");
    EnvelopeBook book = book_of(arguments);
    about(from, [&] {
        SpeechInput input(from, rate, block);
        std::optional<OutputFile> out;
        to == "-" ? out.emplace(OutputFile::Standard::Output) : out.emplace(to);
        OutputFile& file = *out;
        StreamWriter writer(file, book.identity());
        Encoder encoder(book, [&](const Frame& frame, const Measured&) { writer.write(frame); });
        Progress progress(file_name(from), input.seconds());
        encode_all(input, encoder, [&] {
            if (file.direct()) file.flush();
            progress.at(input.position());
        });
        writer.finish(encoder.samples());
        const bool shown = !file.direct();
        file.commit();
        print_remarks(from, input);
        const double seconds = static_cast<double>(encoder.samples()) / kRate;
        if (shown)
            std::printf("%s: %s s in %lld bytes\n", to.c_str(), fixed(seconds, 2).c_str(),
                        static_cast<long long>(writer.bytes()));
    });
    return true;
}

bool run_decode(const Arguments& arguments)
{
    const auto [from, to] = two_words(arguments, "coded speech and one output are wanted");
    const EnvelopeBook book = book_of(arguments);
    about(from, [&] {
        StreamReader reader(from);
        if (reader.book() != book.identity())
            throw Failure("was coded with another codebook than " +
                          arguments.text("--book").value_or("the program's own"));
        DecodedOutput out(to);
        const Decoded decoded = decode(reader, from, book, out);
        if (decoded.damage && (!arguments.flag("--salvage") || decoded.samples == 0))
            throw Damage(*decoded.damage + (decoded.samples > 0 ? "; --salvage keeps what comes before" : ""));
        out.commit();
        if (decoded.damage) complain(shown_name(from) + ": " + *decoded.damage);
        if (to != "-")
            std::printf("%s: %s s%s\n", to.c_str(), fixed(static_cast<double>(decoded.samples) / kRate, 2).c_str(),
                        limited_text(out.limited()).c_str());
    });
    return true;
}

bool run_both(const Arguments& arguments)
{
    const std::vector<FilePair> pairs = pairs_of(some_words(arguments), output_of(arguments));
    EnvelopeBook book = book_of(arguments);
    const int block = block_of(arguments);
    std::size_t done = 0;
    std::int64_t limited = 0;
    FileProgress progress(pairs.size());
    for (const FilePair& pair : pairs) {
        try {
            limited += about(pair.from, [&] { return pass_through(pair, book, block, progress); });
            ++done;
        } catch (const Failure& failure) {
            complain(failure.what());
        }
        progress.end();
    }
    std::printf("%zu of %zu files%s\n", done, pairs.size(), limited_text(limited).c_str());
    return done == pairs.size();
}

}  // namespace zelsr::examples
