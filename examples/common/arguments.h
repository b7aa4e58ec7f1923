// A command line of options, "--name VALUE" or "--name=VALUE", and of plain words.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "common/failure.h"

namespace zelsr::examples {

// What is wrong with a command line, in words for the user.
class WrongUse : public Failure {
  public:
    using Failure::Failure;
};

// Options that the program does not name are refused at once, values when it asks for them; every fault is a
// WrongUse. Of an option that is given twice the last one counts. Behind "--" everything is a word.
class Arguments {
  public:
    // with_value: the names, with their dashes, of the options that take a value; flags: of those that take none.
    Arguments(const std::vector<std::string>& arguments, const std::vector<std::string>& with_value,
              const std::vector<std::string>& flags);

    bool flag(const std::string& name) const;
    std::optional<std::string> text(const std::string& name) const;
    // Whole numbers and numbers from low to high.
    int whole(const std::string& name, int otherwise, int low, int high) const;
    double number(const std::string& name, double otherwise, double low, double high) const;
    // The position among choices.
    int choice(const std::string& name, int otherwise, const std::vector<std::string>& choices) const;

    const std::vector<std::string>& words() const { return words_; }

  private:
    struct Option {
        std::string name, value;
    };
    std::vector<Option> options_;
    std::vector<std::string> words_;
};

}  // namespace zelsr::examples
