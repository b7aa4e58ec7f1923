// The feature matrix as a picture, of a bounded number of columns.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "common/columns.h"
#include "common/mfcc.h"

namespace zelsr::examples {

class FeaturePicture {
  public:
    explicit FeaturePicture(const MfccOptions& options) : options_(options) {}

    // Values of both arithmetics are shown in units of their own spread, so that their scale does not matter.
    template <class T>
    void add(const RowBlock<T>& rows);

    // Time along the axis; each coefficient's values from blue (low) to red (high), white at its mean.
    std::string svg(const std::string& title) const;
    // The same without axes: static values on top, then deltas, then accelerations, each with c1 at the bottom.
    std::string png() const;

  private:
    struct Column {
        std::vector<double> sum;
        std::int64_t rows;
        void join(const Column& other);
    };

    // Colours of the values first ... first + count - 1, the last on top, each `high` pixels high.
    std::vector<std::uint8_t> pixels(int first, int count, int high) const;

    MfccOptions options_;
    HalvingColumns<Column> columns_{2048};
};

}  // namespace zelsr::examples
