// What several commands do alike.
#pragma once

#include <cstddef>
#include <cstdio>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <vector>

#include "common/arguments.h"
#include "common/failure.h"
#include "common/output_file.h"
#include "recognise/material.h"
#include "recognise/page.h"

namespace zelsr::examples {

int threads_of(const Arguments& arguments);

// --noise and --snr.
std::optional<NoiseAt> noise_of(const Arguments& arguments);

// Throws WrongUse unless so many words stand on the command line; what: "the folder is".
void check_words(const Arguments& arguments, std::size_t least, std::size_t most, const char* what);

// Throws WrongUse if one of the options is given; why: "is not for templates".
void refuse_options(const Arguments& arguments, const std::vector<std::string>& options, const char* why);

// Of a function of folder.h's, whose remarks go to stderr.
template <class Read>
std::vector<Recording> recordings_of(Read read, const std::string& path)
{
    std::vector<std::string> remarks;
    std::vector<Recording> recordings = read(path, &remarks);
    for (const std::string& remark : remarks) std::fprintf(stderr, "recognise: %s\n", remark.c_str());
    return recordings;
}

// Where train puts a model without -o, and what is used where none is named: in the folder that is worked in.
constexpr const char* kUsualModel = "recognise.model";

struct ModelFile {
    std::string path, text;
    std::vector<std::string> behind;  // the words of the command line that do not name the model
};

// The model for the words of the command line: their first one names it if that is a model's file, or if there are
// as many words as `all` of them; else it is the usual one. Throws Failure, which begins with a name.
ModelFile model_file(const Arguments& arguments, std::optional<std::size_t> all = {});

// What make() returns. Throws its Failure with the file's name before it.
template <class Make>
auto made_of(const ModelFile& file, Make make)
{
    try {
        return make();
    } catch (const Failure& failure) {
        throw Failure(file.path + ": " + failure.what());
    }
}

// M: Model or TemplateModel.
template <class M>
M parsed(const ModelFile& file)
{
    return made_of(file, [&] { return M::parse(file.text); });
}

// Calls use with the name and the sound of each file. One that fails says so on stderr, and the others come still;
// then Failure is thrown.
void for_each_recording(std::span<const std::string> files,
                        const std::function<void(const std::string&, const Recording&)>& use);

// "1 word", "2 words".
std::string counted(std::size_t count, const std::string& what);

// Words, speakers and recordings, for the reader of a report.
std::string summary_of(const std::vector<Recording>& recordings);

// Who speaks in both.
std::set<std::string> shared_speakers(const std::vector<Recording>& first, const std::vector<Recording>& second);

// Where an option says that an output goes, null without it. Made before the work begins, so that a place which
// cannot be written to is found at once.
std::unique_ptr<OutputFile> output_of(const Arguments& arguments, const std::string& option);

// The content goes to the file, if there is one.
void write(OutputFile* file, const std::function<std::string()>& content);

// The report as tables on stdout, and as a page.
void report(const PageContent& content, OutputFile* page);

}  // namespace zelsr::examples
