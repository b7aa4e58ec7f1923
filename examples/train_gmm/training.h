// Passes over files, shared out among the ranks.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "common/mixture.h"
#include "common/statistics.h"
#include "train_gmm/files.h"
#include "train_gmm/ranks.h"

namespace zelsr::examples {

// All ranks call these with the same arguments, and all get the same result. They throw Failure.

// One Gaussian with the mean and variances of all rows. Variances of mixtures that grow from it stay above
// floor_share times these.
Mixture first_model(const FileNames& files, const MfccOptions& options, double floor_share, const Ranks& ranks);

// The statistics of all rows under the mixture.
Statistics gather(const FileNames& files, const Mixture& mixture, const std::string& what, const Ranks& ranks);

struct Schedule {
    std::int32_t components = 8;
    int most_passes = 20;  // at each number of components
    double gain = 0.001;   // in log likelihood a frame: a pass that gains less is the last at that number
};

struct Pass {
    std::int32_t components;
    int number;  // from 1 on, at this number of components; 0: what the split has cost is not yet won back
    double frames, log_likelihood_a_frame;
};

// Passes over the data, each of which ends with an update; after the last at a number of components they are
// doubled. report is called with what each pass found, and the mixture that it has made.
void train(Mixture& mixture, const FileNames& files, const Schedule& schedule, const Ranks& ranks,
           const std::function<void(const Pass&, const Mixture&)>& report);

struct Score {
    double frames = 0, log_likelihood = 0;
};

// One for each file.
std::vector<Score> score(const FileNames& files, const Mixture& mixture, const Ranks& ranks);

}  // namespace zelsr::examples
