// The options of Mfcc on a command line, and back to text.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "common/arguments.h"
#include "common/mfcc_frame.h"

namespace zelsr::examples {

// The names, all of which take a value; for Arguments.
std::vector<std::string> mfcc_option_names();

// A line of help for each.
extern const std::string_view kMfccHelp;

// What is not given has its default, and MfccOptions::check() comes when the rate is known. Throws WrongUse.
MfccOptions mfcc_options(const Arguments& arguments);

// "--frame=25 --shift=10 ...", all but the rate.
std::string mfcc_text(const MfccOptions& options);

// What mfcc_text() wrote. Throws Failure.
MfccOptions mfcc_options_of_text(const std::string& text);

}  // namespace zelsr::examples
