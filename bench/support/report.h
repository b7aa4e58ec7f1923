// The table that a run prints.
#pragma once

#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#include "support/row.h"

namespace zelsr::bench {

// A row hands its result over under its benchmark's name.
void keep_result(const std::string& benchmark, const Result& result);

// Prints one line a row and peer as rows come in, under a heading a family.
class TableReporter : public benchmark::BenchmarkReporter {
  public:
    bool ReportContext(const Context&) override;
    void ReportRuns(const std::vector<Run>& runs) override;
    void Finalize() override;
    // Rows whose answers differed.
    int failures() const { return failures_; }

  private:
    std::string reason_mark(const std::string& reason);

    std::string family_;
    std::vector<std::string> reasons_;  // marked [1], [2], ... in the table
    int rows_ = 0, behind_plain_ = 0, behind_peers_ = 0, failures_ = 0;
};

}  // namespace zelsr::bench
