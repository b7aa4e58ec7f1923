// Rows to codes and back, portion by portion, with what is lost on the way.
#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "common/output_file.h"
#include "quantise/book.h"

namespace zelsr::examples {

// What coding took from rows, and how long the search was.
class Distortion {
  public:
    explicit Distortion(const Book& book);

    void add(const RowBlock<float>& rows, const RowBlock<float>& decoded, double seconds);

    std::int64_t rows() const { return rows_; }
    double squared_error() const;  // the mean over all values
    // How far the weighted squared error lies below the weighted variance of the columns, in dB; infinite without
    // an error.
    double decibels() const;
    double rows_a_second() const { return seconds_ > 0 ? static_cast<double>(rows_) / seconds_ : 0; }

  private:
    std::vector<float> weights_;
    std::vector<double> first_;  // row, from which sums are taken: small numbers, small rounding errors
    std::vector<double> sums_, squares_, errors_;
    std::int64_t rows_ = 0;
    double seconds_ = 0;
};

// Codes rows a portion at a time. A portion is a whole number of bytes, but for the last one.
class Encoder {
  public:
    static constexpr std::int32_t kPortion = 1024;  // rows

    // Codes are appended to codes as they come, which the caller may take away.
    Encoder(const Book& book, std::vector<std::uint8_t>& codes);

    void add(const RowBlock<float>& rows);  // throws Failure for a value beyond kMostValue
    void finish();
    const Distortion& distortion() const { return distortion_; }

  private:
    void code();

    const Book& book_;
    std::vector<std::uint8_t>& codes_;
    Distortion distortion_;
    std::int32_t step_, waiting_ = 0;
    AlignedFloats rows_, decoded_;
};

// A file of codes:
//   8 bytes "ZELSRVQ1", 8 bytes the book's identity; all codes, the last byte filled up with zeros; 8 bytes the
//   number of rows, 8 bytes the 64-bit FNV-1a hash of everything before. Numbers have their lowest byte first.
class CodeWriter {
  public:
    CodeWriter(const Book& book, OutputFile& file);

    void write(std::string_view bytes);
    void finish(std::int64_t rows);  // the caller commits the file
    std::int64_t bytes() const { return bytes_; }

  private:
    OutputFile& file_;
    Hash hash_;
    std::int64_t bytes_ = 0;
};

class CodeReader {
  public:
    // Throws Failure, here or in read(), for a file that is missing, cut short, changed or of another book.
    CodeReader(const std::string& path, const Book& book);

    std::int64_t rows() const { return rows_; }
    // The next rows, which stay until the next call; none at the end.
    RowBlock<float> read();

  private:
    struct Close {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };
    std::string fetch(std::size_t count);

    const Book& book_;
    std::unique_ptr<std::FILE, Close> file_;
    Hash hash_;
    std::int64_t rows_ = 0, read_ = 0;
    std::int32_t step_;
    AlignedFloats decoded_;
};

}  // namespace zelsr::examples
