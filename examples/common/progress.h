// One line on stderr that says how far long work is.
#pragma once

#include <cstdint>
#include <string>

namespace zelsr::examples {

class Progress {
  public:
    // Shown on a terminal, and elsewhere from 60 units on: a minute of sound. total 0: unknown.
    Progress(std::string what, double total, std::string unit = "s");
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;
    ~Progress();  // clears the line (terminal) or ends it

    void at(double done);  // in units

  private:
    std::string what_, unit_;
    double total_;
    bool terminal_;
    bool shown_ = false;
    std::int64_t last_step_ = -1;
};

}  // namespace zelsr::examples
