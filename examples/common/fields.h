// Text files of lines that each begin with a known word: what models and statistics are kept as.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace zelsr::examples {

// Reads such a text line by line, in the order in which it was written. Every fault is a Failure that says where.
class FieldReader {
  public:
    explicit FieldReader(std::string_view text) : rest_(text) {}

    // The next line begins with the word; returns what stands behind it and one space.
    std::string_view text(std::string_view word);
    std::int64_t whole(std::string_view word, std::int64_t low, std::int64_t high);
    double number(std::string_view word);
    // As many finite numbers as there is room for, with a space between two.
    void numbers(std::string_view word, std::span<double> values);
    bool next_is(std::string_view word) const;
    std::size_t left() const { return rest_.size(); }  // bytes
    // Nothing follows.
    void finish() const;

    [[noreturn]] void fail(const std::string& reason) const;

  private:
    std::string_view rest_;
    int line_ = 0;
};

// A line of the word and the numbers, each as the shortest text that reads back as the same number.
std::string field(std::string_view word, std::span<const double> values);
std::string field(std::string_view word, double value);
std::string field(std::string_view word, std::string_view text);

// The 64-bit FNV-1a hash of what was added.
class Hash {
  public:
    void add(std::string_view bytes);
    std::uint64_t value() const { return value_; }

  private:
    std::uint64_t value_ = 0xcbf29ce484222325;
};

// That of a text as 16 hexadecimal digits: tells texts apart that differ by accident.
std::string hash_of(std::string_view text);

// A whole file. Throws Failure.
std::string read_file(const std::string& path);

}  // namespace zelsr::examples
