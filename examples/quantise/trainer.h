// What the commands that train have in common: their options, the rows that these leave, codebooks of them.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "common/arguments.h"
#include "quantise/material.h"

namespace zelsr::examples {

using Numbers = std::vector<std::int32_t>;

// The value "A,B,..." of an option. Throws WrongUse.
std::optional<Numbers> numbers(const Arguments& arguments, const std::string& name, std::int32_t most);

// The words from `first` on and what the list holds. Throws WrongUse if there are none.
FileNames files_of(const Arguments& arguments, std::size_t first);

// A table of what coding takes from rows.
extern const std::string_view kTableHead;
void print_row(const std::string& name, const Book& book, const std::string& files, const Distortion& found);
// Cells of it; "-" where rows have no known time, where there is no error.
std::string bits_a_second(const Book& book);
std::string error_text(const Distortion& found);
std::string decibels(const Distortion& found);

class Trainer {
  public:
    explicit Trainer(const Arguments& arguments);  // throws Failure

    const FeatureKind& kind() const { return kind_; }
    // Of the parts: --split, or the whole row.
    const Numbers& widths() const { return widths_; }
    std::int32_t rows() const { return matrix_->rows(); }

    // None if there are too few rows for so many bits.
    std::vector<PartSize> shared(std::int32_t bits, const Numbers& widths) const;
    Book train(const std::vector<PartSize>& sizes) const;
    // Rows of the table: the files trained on, those held out.
    void print(const std::string& name, const Book& book) const;

  private:
    FileNames trained_, held_out_;
    FeatureKind kind_;
    Numbers widths_;
    SrCdbkKind growth_;
    Survey survey_;
    std::optional<FeatureMatrix<float>> matrix_;
    std::vector<float> weights_;
};

}  // namespace zelsr::examples
