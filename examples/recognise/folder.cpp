#include "recognise/folder.h"

#include <zelsr/core/vector.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <sstream>
#include <string_view>

#include "common/failure.h"
#include "common/fields.h"
#include "common/progress.h"
#include "common/sound.h"
#include "common/text.h"

namespace zelsr::examples {
namespace {

namespace fs = std::filesystem;
using Remarks = std::vector<std::string>;

constexpr double kShortest = 0.1, kLongestWord = 10, kLongestUtterance = 60;  // seconds
constexpr int kHighestRate = 1'000'000;
constexpr float kSilent = 0.002F;  // from the lowest sample to the highest: -60 dB

// What stands beside recordings and is none.
constexpr std::array kCompanions{".txt", ".csv",  ".tsv", ".json", ".md", ".html", ".lab", ".textgrid",
                                 ".xml", ".yaml", ".log", ".py",   ".sh", ".svg",  ".png", ".jpg"};

bool is_companion(const fs::path& path)
{
    std::string ending = path.extension().string();
    std::transform(ending.begin(), ending.end(), ending.begin(),
                   [](char c) { return 'A' <= c && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
    return std::find(kCompanions.begin(), kCompanions.end(), ending) != kCompanions.end();
}

void remark(Remarks* remarks, const fs::path& path, const std::string& text)
{
    if (remarks != nullptr) remarks->push_back(path.string() + ": " + text);
}

// What a folder holds, in the order of the names, without what is hidden.
std::vector<fs::directory_entry> sorted_entries(const fs::path& folder)
{
    std::error_code error;
    fs::directory_iterator place(folder, error);
    std::vector<fs::directory_entry> entries;
    for (; !error && place != fs::directory_iterator(); place.increment(error))
        if (!place->path().filename().string().starts_with('.')) entries.push_back(*place);
    if (error == std::errc::no_such_file_or_directory) throw Failure(folder.string() + ": no such folder");
    if (error == std::errc::not_a_directory) throw Failure(folder.string() + ": is not a folder");
    if (error) throw Failure(folder.string() + ": " + error.message());
    std::sort(entries.begin(), entries.end(), [](const auto& a, const auto& b) { return a.path() < b.path(); });
    return entries;
}

bool is_folder(const fs::directory_entry& entry)
{
    std::error_code error;
    return entry.is_directory(error);
}

std::vector<fs::path> sound_files(const fs::path& folder, Remarks* remarks)
{
    std::vector<fs::path> files;
    for (const fs::directory_entry& entry : sorted_entries(folder)) {
        if (is_folder(entry))
            remark(remarks, entry.path(), "a folder, left out");
        else if (!is_companion(entry.path()))
            files.push_back(entry.path());
        else
            remark(remarks, entry.path(), "no recording, left out");
    }
    return files;
}

// Its word is empty.
Recording read(const fs::path& path, double longest, Remarks* remarks)
{
    Recording recording;
    recording.path = path.string();
    bool ends_early = false;
    const auto refuse = [&](const std::string& reason) { throw Failure(recording.path + ": " + reason); };
    try {
        SoundFile sound(recording.path);
        recording.rate = sound.rate();
        if (sound.channels() != 1)
            refuse("has " + std::to_string(sound.channels()) + " channels, recordings of words have one");
        if (sound.rate() > kHighestRate)
            refuse("has " + std::to_string(sound.rate()) + " samples a second, more than any sound needs");
        const auto most = static_cast<std::size_t>(longest * sound.rate());
        // A sample more than allowed tells that there are more.
        recording.samples.resize(most + 1);
        recording.samples.resize(sound.read(recording.samples));
        ends_early = sound.ended_early();
        for (const std::string& text : remarks_on(sound)) remark(remarks, path, text);
        if (recording.samples.size() > most) refuse("is longer than " + shortest(longest) + " s");
    } catch (const Failure& failure) {
        if (std::string_view(failure.what()).starts_with(recording.path)) throw;
        refuse(failure.what());
    }
    const std::vector<float>& samples = recording.samples;
    if (static_cast<double>(samples.size()) < kShortest * recording.rate)
        refuse((ends_early ? "is damaged, and what can be read shorter than " : "is shorter than ") +
               shortest(kShortest) + " s");
    float lowest = 0, highest = 0;
    require(zelsMinMax_32f(samples.data(), static_cast<std::int32_t>(samples.size()), &lowest, &highest),
            "zelsMinMax_32f");
    // A constant offset is no sound.
    if (highest - lowest < kSilent) refuse("is silent");
    recording.samples.shrink_to_fit();
    return recording;
}

struct Planned {
    fs::path path;
    std::string word;
};

double megabytes(const fs::path& path)
{
    std::error_code error;
    const std::uintmax_t size = fs::file_size(path, error);
    return error ? 0 : static_cast<double>(size) / 1e6;
}

std::vector<Recording> read_all(const std::vector<Planned>& plan, double longest, Remarks* remarks)
{
    double total = 0, done = 0;
    for (const Planned& item : plan) total += megabytes(item.path);
    Progress progress("reading", total, "MB");
    std::vector<Recording> recordings;
    for (const Planned& item : plan) {
        recordings.push_back(read(item.path, longest, remarks));
        recordings.back().word = item.word;
        const Recording &first = recordings.front(), &last = recordings.back();
        if (last.rate != first.rate)
            throw Failure(last.path + ": has " + std::to_string(last.rate) + " samples a second, " + first.path +
                          " has " + std::to_string(first.rate));
        progress.at(done += megabytes(item.path));
    }
    return recordings;
}

// Words stand in texts with blanks between them.
bool has_blanks(std::string_view name)
{
    return std::any_of(name.begin(), name.end(), [](unsigned char c) { return c <= ' ' || c == 0x7f; });
}

// The words of a text file, with one space between two.
std::string words_of(const fs::path& path)
{
    std::istringstream text([&] {
        try {
            return read_file(path.string());
        } catch (const Failure& failure) {
            throw Failure(path.string() + ": " + failure.what());
        }
    }());
    std::string words;
    for (std::string word; text >> word;) words += (words.empty() ? "" : " ") + word;
    if (words.empty()) throw Failure(path.string() + ": holds no words");
    return words;
}

}  // namespace

std::vector<Recording> read_word_folder(const std::string& path, Remarks* remarks)
{
    std::vector<Planned> plan;
    for (const fs::directory_entry& entry : sorted_entries(path)) {
        if (!is_folder(entry)) {
            remark(remarks, entry.path(), "not in a word's folder, left out");
            continue;
        }
        const std::string word = entry.path().filename().string();
        if (has_blanks(word)) throw Failure(entry.path().string() + ": a word has no blanks in it");
        const std::vector<fs::path> files = sound_files(entry.path(), remarks);
        if (files.empty()) throw Failure(entry.path().string() + ": holds no recordings");
        for (const fs::path& file : files) plan.push_back({file, word});
    }
    if (plan.empty()) throw Failure(path + ": holds no folders of recordings, one a word");
    return read_all(plan, kLongestWord, remarks);
}

std::vector<Recording> read_utterance_folder(const std::string& path, Remarks* remarks)
{
    std::vector<Planned> plan;
    // Texts are companions that are needed: no remark about them.
    for (const fs::path& file : sound_files(path, nullptr))
        plan.push_back({file, words_of(fs::path(file).replace_extension(".txt"))});
    if (plan.empty()) throw Failure(path + ": holds no recordings");
    return read_all(plan, kLongestUtterance, remarks);
}

Recording read_recording(const std::string& path, Remarks* remarks)
{
    return read(path, kLongestUtterance, remarks);
}

}  // namespace zelsr::examples
