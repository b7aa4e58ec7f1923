// What the program does, command by command. All throw Failure, and WrongUse for what is wrong with the words.
#pragma once

#include <string>

#include "common/arguments.h"

namespace zelsr::examples {

// One line on stderr.
void complain(const std::string& text);

// False if some file failed, about which there was a line.
bool run_encode(const Arguments& arguments);
bool run_decode(const Arguments& arguments);
bool run_both(const Arguments& arguments);
bool run_report(const Arguments& arguments);
bool run_train(const Arguments& arguments);

}  // namespace zelsr::examples
