// How every program begins and ends: help, complaints, exit status.
#pragma once

#include <functional>
#include <new>
#include <string>
#include <string_view>
#include <vector>

#include "common/arguments.h"
#include "common/failure.h"

namespace zelsr::examples {

struct Program {
    std::string_view name;
    std::string_view usage;  // lines, also shown when the command line is wrong
    std::string help;        // what --help shows behind them
    bool speaks = true;      // of several processes that fail alike, one says it
};

// The words behind the program's name go to the work, which returns false if it has complained about what it could
// not do. Returns the exit status: 0 done; 1 failed, or the standard output cannot be written; 2 wrong use. With
// --help or -h among the options nothing is done.
int run_program(const Program& program, int count, char** arguments,
                const std::function<bool(const std::vector<std::string>&)>& work);

// A line on stderr that begins with the program's name.
void complain(const Program& program, const std::string& text);

// Failures of work on something, such as a file, begin with its name; wrong use is about the command line and
// stays as it is.
template <class Work>
auto with_name(const std::string& name, Work work)
{
    try {
        return work();
    } catch (const WrongUse&) {
        throw;
    } catch (const Failure& failure) {
        throw Failure(name + ": " + failure.what());
    } catch (const std::bad_alloc&) {
        throw Failure(name + ": not enough memory");
    }
}

}  // namespace zelsr::examples
