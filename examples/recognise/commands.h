// The program's commands, each with the words of the command line behind its name. They throw WrongUse and
// Failure.
#pragma once

#include <string>
#include <vector>

namespace zelsr::examples {

void run_train(const std::vector<std::string>& words);
void run_test(const std::vector<std::string>& words);
void run_recognise(const std::vector<std::string>& words);
void run_demo(const std::vector<std::string>& words);

}  // namespace zelsr::examples
