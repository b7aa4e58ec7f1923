// One line on stderr that says how far a long file is.
#pragma once

#include <cstdint>
#include <string>

namespace zelsr::examples {

class Progress {
  public:
    // Shown on a terminal, and elsewhere for files above a minute. total 0: unknown. Both in seconds of sound.
    Progress(std::string what, double total);
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;
    ~Progress();  // clears the line (terminal) or ends it

    void at(double seconds);

  private:
    std::string what_;
    double total_;
    bool terminal_;
    bool shown_ = false;
    std::int64_t last_step_ = -1;
};

}  // namespace zelsr::examples
