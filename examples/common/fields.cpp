#include "common/fields.h"

#include <sys/stat.h>

#include <charconv>
#include <cmath>
#include <cstdio>
#include <memory>

#include "common/failure.h"
#include "common/text.h"

namespace zelsr::examples {

bool FieldReader::next_is(std::string_view word) const
{
    return rest_.starts_with(word) && rest_.size() > word.size() &&
           (rest_[word.size()] == ' ' || rest_[word.size()] == '\n');
}

std::string_view FieldReader::text(std::string_view word)
{
    ++line_;
    const std::size_t end = rest_.find('\n');
    if (end == rest_.npos) fail("the file is cut short, '" + std::string(word) + "' should follow");
    if (!next_is(word)) fail("'" + std::string(word) + "' should stand here");
    std::string_view line = rest_.substr(0, end);
    rest_.remove_prefix(end + 1);
    line.remove_prefix(std::min(line.size(), word.size() + 1));
    return line;
}

std::int64_t FieldReader::whole(std::string_view word, std::int64_t low, std::int64_t high)
{
    const std::string_view digits = text(word);
    std::int64_t value = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
    if (error != std::errc() || end != digits.data() + digits.size() || value < low || value > high)
        fail(std::string(word) + " is a whole number from " + std::to_string(low) + " to " + std::to_string(high));
    return value;
}

double FieldReader::number(std::string_view word)
{
    double value = 0;
    numbers(word, {&value, 1});
    return value;
}

void FieldReader::numbers(std::string_view word, std::span<double> values)
{
    const std::string_view line = text(word);
    const char *next = line.data(), *const line_end = line.data() + line.size();
    for (double& value : values) {
        if (&value != values.data() && (next == line_end || *next++ != ' '))
            fail(std::to_string(values.size()) + " numbers should stand here");
        const auto [end, error] = std::from_chars(next, line_end, value);
        if (error != std::errc() || !std::isfinite(value))
            fail(std::to_string(values.size()) + " finite numbers should stand here");
        next = end;
    }
    if (next != line_end) fail("no more than " + std::to_string(values.size()) + " numbers should stand here");
}

void FieldReader::finish() const
{
    if (!rest_.empty()) fail("the text ends here, but the file does not");
}

void FieldReader::fail(const std::string& reason) const
{
    throw Failure("line " + std::to_string(line_) + ": " + reason);
}

std::string field(std::string_view word, std::span<const double> values)
{
    std::string line(word);
    for (const double value : values) line += ' ' + shortest(value);
    return line + '\n';
}

std::string field(std::string_view word, double value) { return field(word, std::span(&value, 1)); }

std::string field(std::string_view word, std::string_view text)
{
    return std::string(word) + ' ' + std::string(text) + '\n';
}

void Hash::add(std::string_view bytes)
{
    for (const char c : bytes) value_ = (value_ ^ static_cast<unsigned char>(c)) * 0x100000001b3;
}

std::string hash_of(std::string_view text)
{
    Hash hash;
    hash.add(text);
    char digits[17];
    std::snprintf(digits, sizeof digits, "%016llx", static_cast<unsigned long long>(hash.value()));
    return digits;
}

std::string read_file(const std::string& path)
{
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "rb"), std::fclose);
    if (!file) throw Failure(errno == ENOENT ? "no such file" : system_error_text());
    std::string text;
    char part[1 << 16];
    while (const std::size_t got = std::fread(part, 1, sizeof part, file.get())) text.append(part, got);
    if (std::ferror(file.get())) throw Failure(system_error_text());
    return text;
}

}  // namespace zelsr::examples
