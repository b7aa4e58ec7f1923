// What several commands do alike.
#pragma once

#include <cstddef>
#include <cstdio>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "common/arguments.h"
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

// The text of the file that the command line names first. Throws Failure, which begins with the name.
std::string model_text(const Arguments& arguments);

// Calls use with the name and the sound of each file behind the first word of the command line. A file that fails
// says so on stderr, and the others come still; then Failure is thrown.
void for_each_recording(const Arguments& arguments,
                        const std::function<void(const std::string&, const Recording&)>& use);

// Words, speakers and recordings, for the reader of a report.
std::string summary_of(const std::vector<Recording>& recordings);

// Where --page says, if it does.
void write_page(const Arguments& arguments, const PageContent& content);

}  // namespace zelsr::examples
