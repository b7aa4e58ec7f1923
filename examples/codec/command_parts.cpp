#include "codec/command_parts.h"

#include <cstdio>
#include <optional>

#include "codec/commands.h"
#include "common/fields.h"

namespace zelsr::examples {

void complain(const std::string& text) { std::fprintf(stderr, "codec: %s\n", text.c_str()); }

EnvelopeBook book_of(const Arguments& arguments)
{
    const std::optional<std::string> path = arguments.text("--book");
    if (!path) return EnvelopeBook::own();
    try {
        return EnvelopeBook::parse(read_file(*path));
    } catch (const Failure& failure) {
        throw Failure(*path + ": " + failure.what());
    }
}

int block_of(const Arguments& arguments) { return arguments.whole("--block", 4096, 1, 1 << 20); }

std::vector<std::string> some_words(const Arguments& arguments)
{
    if (arguments.words().empty()) throw WrongUse("no files given");
    return arguments.words();
}

std::string output_of(const Arguments& arguments)
{
    const std::optional<std::string> out = arguments.text("-o");
    if (!out) throw WrongUse("-o says where the result goes");
    return *out;
}

std::string shown_name(const std::string& file) { return file == "-" ? "standard input" : file; }

void print_remarks(const std::string& path, const SpeechInput& input)
{
    for (const std::string& remark : input.remarks()) complain(shown_name(path) + ": " + remark);
}

}  // namespace zelsr::examples
