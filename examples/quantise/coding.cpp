#include "quantise/coding.h"

#include <sys/stat.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <limits>

#include "common/failure.h"

namespace zelsr::examples {
namespace {

constexpr std::string_view kMagic = "ZELSRVQ1";
constexpr std::int64_t kAround = 32;  // bytes that are no codes

std::string bytes_of(std::uint64_t number)
{
    std::string bytes;
    for (int shift = 0; shift < 64; shift += 8) bytes += static_cast<char>(number >> shift & 0xff);
    return bytes;
}

std::uint64_t number_of(std::string_view bytes)
{
    std::uint64_t number = 0;
    for (std::size_t i = 8; i-- > 0;) number = number << 8 | static_cast<unsigned char>(bytes[i]);
    return number;
}

std::size_t code_bytes(const Book& book, std::int32_t rows)
{
    return static_cast<std::size_t>((std::int64_t{rows} * book.bits() + 7) / 8);
}

AlignedFloats portion_of_rows(std::int32_t step) { return aligned_floats(std::int64_t{Encoder::kPortion} * step); }

}  // namespace

Distortion::Distortion(const Book& book)
    : weights_(book.weights().begin(), book.weights().end()),
      first_(weights_.size()),
      sums_(weights_.size()),
      squares_(weights_.size()),
      errors_(weights_.size())
{}

void Distortion::add(const RowBlock<float>& rows, const RowBlock<float>& decoded, double seconds)
{
    seconds_ += seconds;
    if (rows_ == 0 && rows.rows > 0) std::copy_n(rows[0], first_.size(), first_.begin());
    rows_ += rows.rows;
    for (std::int32_t r = 0; r < rows.rows; ++r)
        for (std::size_t k = 0; k < first_.size(); ++k) {
            const double x = rows[r][k], from_first = x - first_[k], error = x - decoded[r][k];
            sums_[k] += from_first;
            squares_[k] += from_first * from_first;
            errors_[k] += error * error;
        }
}

double Distortion::squared_error() const
{
    double sum = 0;
    for (const double error : errors_) sum += error;
    return rows_ > 0 ? sum / static_cast<double>(rows_) / static_cast<double>(errors_.size()) : 0;
}

double Distortion::decibels() const
{
    double variance = 0, error = 0;
    for (std::size_t k = 0; k < errors_.size(); ++k) {
        variance += weights_[k] * (squares_[k] - sums_[k] * sums_[k] / static_cast<double>(rows_));
        error += weights_[k] * errors_[k];
    }
    if (!(error > 0)) return std::numeric_limits<double>::infinity();
    return 10 * std::log10(std::max(variance, std::numeric_limits<double>::min()) / error);
}

Encoder::Encoder(const Book& book, std::vector<std::uint8_t>& codes)
    : book_(book),
      codes_(codes),
      distortion_(book),
      step_(row_step<float>(book.kind().width)),
      rows_(portion_of_rows(step_)),
      decoded_(portion_of_rows(step_))
{}

void Encoder::add(const RowBlock<float>& rows)
{
    for (std::int32_t r = 0; r < rows.rows; ++r) {
        require_moderate(rows[r], book_.kind().width);
        std::copy_n(rows[r], book_.kind().width, rows_.get() + std::ptrdiff_t{waiting_} * step_);
        if (++waiting_ == kPortion) code();
    }
}

void Encoder::finish()
{
    if (waiting_ > 0) code();
}

void Encoder::code()
{
    const RowBlock<float> rows{rows_.get(), waiting_, step_};
    const std::size_t before = codes_.size();
    codes_.resize(before + code_bytes(book_, waiting_));
    std::uint8_t* const codes = codes_.data() + before;

    const auto start = std::chrono::steady_clock::now();
    book_.encode(rows, codes);
    const std::chrono::duration<double> time = std::chrono::steady_clock::now() - start;

    book_.decode(codes, waiting_, decoded_.get(), step_);
    distortion_.add(rows, {decoded_.get(), waiting_, step_}, time.count());
    waiting_ = 0;
}

CodeWriter::CodeWriter(const Book& book, OutputFile& file) : file_(file)
{
    write(kMagic);
    write(bytes_of(book.identity()));
}

void CodeWriter::write(std::string_view bytes)
{
    file_.write(bytes);
    hash_.add(bytes);
    bytes_ += static_cast<std::int64_t>(bytes.size());
}

void CodeWriter::finish(std::int64_t rows)
{
    write(bytes_of(static_cast<std::uint64_t>(rows)));
    write(bytes_of(hash_.value()));
}

CodeReader::CodeReader(const std::string& path, const Book& book)
    : book_(book),
      file_(std::fopen(path.c_str(), "rb")),
      step_(row_step<float>(book.kind().width)),
      decoded_(portion_of_rows(step_))
{
    struct stat info {};
    if (!file_) throw Failure(errno == ENOENT ? "no such file" : system_error_text());
    if (fstat(fileno(file_.get()), &info) != 0) throw Failure(system_error_text());
    if (!S_ISREG(info.st_mode)) throw Failure("is not a regular file");
    const std::int64_t codes = info.st_size - kAround;

    // The number of rows stands at the end, so that codes can be written before it is known.
    if (fetch(kMagic.size()) != kMagic) throw Failure("is not a file of codes");
    if (codes < 0) throw Failure("is cut short");
    if (number_of(fetch(8)) != book.identity()) throw Failure("holds codes of another codebook");
    if (fseeko(file_.get(), info.st_size - 16, SEEK_SET) != 0) throw Failure(system_error_text());
    char number[8];
    if (std::fread(number, 1, sizeof number, file_.get()) != sizeof number) throw Failure("is cut short");
    const std::uint64_t rows = number_of({number, sizeof number});
    const auto most = static_cast<std::uint64_t>(codes) * 8 / static_cast<std::uint64_t>(book.bits());
    if (rows > most || (static_cast<std::int64_t>(rows) * book.bits() + 7) / 8 != codes)
        throw Failure("is cut short or damaged");
    rows_ = static_cast<std::int64_t>(rows);
    if (fseeko(file_.get(), 16, SEEK_SET) != 0) throw Failure(system_error_text());
}

std::string CodeReader::fetch(std::size_t count)
{
    std::string bytes(count, '\0');
    if (std::fread(bytes.data(), 1, count, file_.get()) != count)
        throw Failure(std::ferror(file_.get()) ? system_error_text() : "is cut short");
    hash_.add(bytes);
    return bytes;
}

RowBlock<float> CodeReader::read()
{
    const auto count = static_cast<std::int32_t>(std::min<std::int64_t>(Encoder::kPortion, rows_ - read_));
    if (count == 0) {
        fetch(8);
        const std::uint64_t hash = hash_.value();
        if (number_of(fetch(8)) != hash) throw Failure("is damaged");
        return {};
    }
    const std::string codes = fetch(code_bytes(book_, count));
    book_.decode(reinterpret_cast<const std::uint8_t*>(codes.data()), count, decoded_.get(), step_);
    read_ += count;
    return {decoded_.get(), count, step_};
}

}  // namespace zelsr::examples
