// What one pass over rows of features gathers under a mixture: all that re-estimation needs, and it adds up.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "common/mixture.h"

namespace zelsr::examples {

// With g[j] the share of component j in a row x, its posterior probability, m[j] its mean:
// occupancies[j] is the sum of g[j], sums[j] of g[j] (x - m[j]), squares[j] of g[j] (x - m[j])^2.
struct Statistics {
    std::string model;  // the hash of its text
    double files = 0, frames = 0, log_likelihood = 0;
    std::vector<double> occupancies;
    DoubleRows sums, squares;

    explicit Statistics(const Mixture& mixture);
    Statistics(std::string model, std::int32_t components, std::int32_t width);

    std::int32_t width = 0;
    std::int32_t components() const { return static_cast<std::int32_t>(occupancies.size()); }

    std::string text() const;
    // Reads what text() wrote; the last line holds a hash of what stands before it. Throws Failure.
    static Statistics parse(std::string_view text);

    // Those of both parts of the data. Throws Failure if they were gathered under different models.
    void add(const Statistics& other);
};

// Gathers the statistics of rows under a mixture, which must live as long.
class Accumulator {
  public:
    explicit Accumulator(const Mixture& mixture);

    void add(const RowBlock<float>& rows);
    void count_file() { statistics_.files += 1; }
    Statistics& statistics() { return statistics_; }

  private:
    void add_some(const RowBlock<float>& rows, std::int32_t first, std::int32_t count);

    const Mixture& mixture_;
    Statistics statistics_;
    DoubleRows frames_, scores_;  // scores_: a row a component
    std::vector<double> totals_;
};

}  // namespace zelsr::examples
