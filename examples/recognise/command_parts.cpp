#include "recognise/command_parts.h"

#include <filesystem>
#include <fstream>

#include "common/fields.h"
#include "recognise/experiments.h"
#include "recognise/templates.h"

namespace zelsr::examples {
namespace {

std::string text_of(const std::string& path)
{
    try {
        return read_file(path);
    } catch (const Failure& failure) {
        throw Failure(path + ": " + failure.what());
    }
}

bool exists(const std::string& path)
{
    std::error_code error;
    return std::filesystem::exists(path, error);
}

// A few bytes tell: recordings, which may be long, are not read for it.
bool is_model(const std::string& path)
{
    std::error_code error;
    if (std::filesystem::is_fifo(path, error)) return true;  // which no recording may be
    if (!std::filesystem::is_regular_file(path, error)) return false;
    std::string start(32, '\0');
    std::ifstream file(path, std::ios::binary);
    file.read(start.data(), static_cast<std::streamsize>(start.size()));
    start.resize(static_cast<std::size_t>(file.gcount()));
    return Model::begins(start) || TemplateModel::begins(start);
}

}  // namespace

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

ModelFile model_file(const Arguments& arguments, std::optional<std::size_t> all)
{
    const std::vector<std::string>& words = arguments.words();
    const std::string& first = words.at(0);
    if (words.size() == all || is_model(first)) return {first, text_of(first), {words.begin() + 1, words.end()}};
    if (!exists(kUsualModel))
        throw Failure(first + (exists(first) ? ": is no model" : ": no such file") + ", and there is no " +
                      kUsualModel + " here");
    return {kUsualModel, text_of(kUsualModel), words};
}

void for_each_recording(std::span<const std::string> files,
                        const std::function<void(const std::string&, const Recording&)>& use)
{
    std::size_t failed = 0;
    for (const std::string& file : files) {
        try {
            const auto read = [](const std::string& path, std::vector<std::string>* remarks) {
                return std::vector{read_recording(path, remarks)};
            };
            use(file, recordings_of(read, file)[0]);
        } catch (const Failure& failure) {
            if (files.size() == 1) throw;
            std::fprintf(stderr, "recognise: %s\n", failure.what());
            ++failed;
        }
    }
    if (failed > 0)
        throw Failure(std::to_string(failed) + " of " + std::to_string(files.size()) + " files left out");
}

std::string counted(std::size_t count, const std::string& what)
{
    return std::to_string(count) + ' ' + what + (count == 1 ? "" : "s");
}

std::string summary_of(const std::vector<Recording>& recordings)
{
    std::set<std::string> words, speakers;
    for (const Recording& recording : recordings) {
        words.insert(recording.word);
        speakers.insert(speaker_of(recording.path));
    }
    return counted(recordings.size(), "recording") + ", " + counted(words.size(), "word") + ", " +
           counted(speakers.size(), "speaker");
}

std::set<std::string> shared_speakers(const std::vector<Recording>& first, const std::vector<Recording>& second)
{
    std::set<std::string> all, shared;
    for (const Recording& recording : first) all.insert(speaker_of(recording.path));
    for (const Recording& recording : second)
        if (const std::string speaker = speaker_of(recording.path); all.contains(speaker)) shared.insert(speaker);
    return shared;
}

std::unique_ptr<OutputFile> output_of(const Arguments& arguments, const std::string& option)
{
    const std::optional<std::string> path = arguments.text(option);
    return path ? std::make_unique<OutputFile>(*path) : nullptr;
}

void write(OutputFile* file, const std::function<std::string()>& content)
{
    if (file == nullptr) return;
    file->write(content());
    file->commit();
}

void report(const PageContent& content, OutputFile* page)
{
    write(page, [&] { return page_of(content); });
    const std::string tables = tables_of(content);
    std::fwrite(tables.data(), 1, tables.size(), stdout);
}

}  // namespace zelsr::examples
