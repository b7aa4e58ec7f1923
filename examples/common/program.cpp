#include "common/program.h"

#include <algorithm>
#include <cstdio>

namespace zelsr::examples {
namespace {

bool asks_for_help(const std::vector<std::string>& words)
{
    const auto end = std::find(words.begin(), words.end(), "--");
    return std::any_of(words.begin(), end,
                       [](const std::string& word) { return word == "--help" || word == "-h"; });
}

void put(std::string_view text, std::FILE* file) { std::fwrite(text.data(), 1, text.size(), file); }

int status_of(const Program& program, const std::vector<std::string>& words,
              const std::function<bool(const std::vector<std::string>&)>& work)
{
    if (asks_for_help(words)) {
        if (program.speaks) put(std::string(program.usage) + program.help, stdout);
        return 0;
    }
    try {
        return work(words) ? 0 : 1;
    } catch (const WrongUse& wrong) {
        complain(program, wrong.what());
        if (program.speaks) put(program.usage, stderr);
        return 2;
    } catch (const Failure& failure) {
        complain(program, failure.what());
    } catch (const std::bad_alloc&) {
        complain(program, "not enough memory");
    }
    return 1;
}

}  // namespace

int run_program(const Program& program, int count, char** arguments,
                const std::function<bool(const std::vector<std::string>&)>& work)
{
    // Started without even a name, there are no words.
    const std::vector<std::string> words(arguments + std::min(count, 1), arguments + count);
    const int status = status_of(program, words, work);
    if (std::fflush(stdout) == 0 && !std::ferror(stdout)) return status;
    if (status == 0) complain(program, "cannot write the results: " + system_error_text());
    return std::max(status, 1);
}

void complain(const Program& program, const std::string& text)
{
    if (program.speaks) std::fprintf(stderr, "%s: %s\n", std::string(program.name).c_str(), text.c_str());
}

}  // namespace zelsr::examples
