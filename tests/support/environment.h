// The floating-point environment: a function must leave it as it was, and may have to ignore it.
#pragma once

#include <functional>
#include <string>

namespace zelsr::test {

// Calls it in the default environment, then with each rounding mode, with subnormals flushed, with reduced x87
// precision and with all exceptions unmasked. After each call the control words and, where they were not the
// default, the status flags must be as before. between runs after each call in the default environment, told
// the setting's name: compare there.
void under_each_environment(const std::function<void()>& call,
                            const std::function<void(const std::string& setting)>& between);

}  // namespace zelsr::test
