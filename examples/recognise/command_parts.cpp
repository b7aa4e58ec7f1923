#include "recognise/command_parts.h"

#include <set>

#include "common/failure.h"
#include "common/fields.h"
#include "common/output_file.h"

namespace zelsr::examples {

int threads_of(const Arguments& arguments) { return arguments.whole("--threads", 0, 1, 256); }

std::optional<NoiseAt> noise_of(const Arguments& arguments)
{
    const std::optional<std::string> kind = arguments.text("--noise");
    if (!kind && arguments.text("--snr")) throw WrongUse("--snr needs --noise");
    if (!kind) return std::nullopt;
    return NoiseAt{noise_of_name(*kind), arguments.number("--snr", 10, -100, 200)};
}

void check_words(const Arguments& arguments, std::size_t least, std::size_t most, const char* what)
{
    const std::size_t count = arguments.words().size();
    if (count < least) throw WrongUse(std::string(what) + " missing");
    if (count > most) throw WrongUse("'" + arguments.words()[most] + "' is one too many");
}

void refuse_options(const Arguments& arguments, const std::vector<std::string>& options, const char* why)
{
    for (const std::string& option : options)
        if (arguments.text(option)) throw WrongUse(option + ' ' + why);
}

void for_each_recording(const Arguments& arguments,
                        const std::function<void(const std::string&, const Recording&)>& use)
{
    const std::size_t files = arguments.words().size() - 1;
    std::size_t failed = 0;
    for (auto file = arguments.words().begin() + 1; file != arguments.words().end(); ++file) {
        try {
            const auto read = [](const std::string& path, std::vector<std::string>* remarks) {
                return std::vector{read_recording(path, remarks)};
            };
            use(*file, recordings_of(read, *file)[0]);
        } catch (const Failure& failure) {
            if (files == 1) throw;
            std::fprintf(stderr, "recognise: %s\n", failure.what());
            ++failed;
        }
    }
    if (failed > 0) throw Failure(std::to_string(failed) + " of " + std::to_string(files) + " files left out");
}

std::string model_text(const Arguments& arguments)
{
    const std::string& path = arguments.words()[0];
    try {
        return read_file(path);
    } catch (const Failure& failure) {
        throw Failure(path + ": " + failure.what());
    }
}

std::string summary_of(const std::vector<Recording>& recordings)
{
    std::set<std::string> words, speakers;
    for (const Recording& recording : recordings) {
        words.insert(recording.word);
        speakers.insert(speaker_of(recording.path));
    }
    return std::to_string(recordings.size()) + " recordings, " + std::to_string(words.size()) + " words, " +
           std::to_string(speakers.size()) + " speakers";
}

void write_page(const Arguments& arguments, const PageContent& content)
{
    const std::optional<std::string> page = arguments.text("--page");
    if (page) write_file(*page, page_of(content));
}

}  // namespace zelsr::examples
