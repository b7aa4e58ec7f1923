#include "common/feature_writers.h"

#include <bit>
#include <charconv>
#include <cmath>
#include <limits>

#include "common/arguments.h"
#include "common/failure.h"
#include "common/text.h"

namespace zelsr::examples {
namespace {

template <class T>
constexpr bool kFixed = std::is_same_v<T, std::int16_t>;

template <class T>
class CsvWriter : public FeatureWriter<T> {
  public:
    CsvWriter(const MfccOptions& options, OutputFile& file)
        : file_(file), width_(options.width()), scale_(std::ldexp(1.0, -options.fixed_bits()))
    {
        std::string line;
        for (const std::string& name : column_names(options)) line += (line.empty() ? "" : ",") + name;
        file_.write(line + "\n");
    }

    void write(const RowBlock<T>& rows) override
    {
        std::string lines;
        for (std::int32_t r = 0; r < rows.rows; ++r)
            for (int k = 0; k < width_; ++k) {
                // The shortest text that reads back as the same number.
                char text[32];
                char* end = kFixed<T> ? std::to_chars(text, text + sizeof text, rows[r][k] * scale_).ptr
                                      : std::to_chars(text, text + sizeof text, rows[r][k]).ptr;
                lines.append(text, end) += k + 1 < width_ ? ',' : '\n';
            }
        file_.write(lines);
    }

    void finish() override {}

  private:
    OutputFile& file_;
    int width_;
    double scale_;
};

template <class T>
class NpyWriter : public FeatureWriter<T> {
  public:
    NpyWriter(const MfccOptions& options, OutputFile& file) : file_(file), width_(options.width())
    {
        file_.write(header());
    }

    void write(const RowBlock<T>& rows) override
    {
        static_assert(std::endian::native == std::endian::little);
        const auto bytes = static_cast<std::size_t>(width_) * sizeof(T);
        for (std::int32_t r = 0; r < rows.rows; ++r) file_.write({reinterpret_cast<const char*>(rows[r]), bytes});
        rows_ += rows.rows;
    }

    void finish() override { file_.write_at_start(header()); }

  private:
    // Of one length for every number of rows.
    std::string header() const
    {
        std::string text = std::string("{'descr': '") + (kFixed<T> ? "<i2" : "<f4") +
                           "', 'fortran_order': False, 'shape': (" + std::to_string(rows_) + ", " +
                           std::to_string(width_) + "), }";
        constexpr std::size_t kBefore = 10, kLength = 128;
        text.resize(kLength - kBefore - 1, ' ');
        return std::string("\x93NUMPY\x01\x00", 8) + static_cast<char>(kLength - kBefore) + '\0' + text + '\n';
    }

    OutputFile& file_;
    int width_;
    std::int64_t rows_ = 0;
};

// Everything is big-endian. Compressed files hold, before the rows, single-precision numbers A and B for each
// column: value = (integer + B) / A.
template <class T>
class HtkWriter : public FeatureWriter<T> {
  public:
    HtkWriter(const MfccOptions& options, OutputFile& file) : options_(options), file_(file)
    {
        std::string head = header();
        if (kFixed<T>) {
            const auto scale = std::bit_cast<std::uint32_t>(std::ldexp(1.0f, options.fixed_bits()));
            for (int k = 0; k < options.width(); ++k) append(head, scale);
            for (int k = 0; k < options.width(); ++k) append(head, std::bit_cast<std::uint32_t>(0.0f));
        }
        file_.write(head);
    }

    void write(const RowBlock<T>& rows) override
    {
        std::string bytes;
        for (std::int32_t r = 0; r < rows.rows; ++r)
            for (int k = 0; k < options_.width(); ++k)
                if constexpr (kFixed<T>)
                    append(bytes, static_cast<std::uint16_t>(rows[r][k]));
                else
                    append(bytes, std::bit_cast<std::uint32_t>(rows[r][k]));
        file_.write(bytes);
        rows_ += rows.rows;
        if (rows_ > std::numeric_limits<std::int32_t>::max() - 4) throw Failure("too long for an HTK file");
    }

    void finish() override { file_.write_at_start(header()); }

  private:
    // MFCC, and what stands with it.
    enum Kind : unsigned {
        kMfcc = 6,
        kEnergy = 0100,
        kDelta = 0400,
        kAcceleration = 01000,
        kCompressed = 02000,
        kZeroMean = 04000,
        kC0 = 020000
    };

    template <class Word>
    static void append(std::string& bytes, Word word)
    {
        for (int shift = 8 * sizeof(Word) - 8; shift >= 0; shift -= 8)
            bytes += static_cast<char>(word >> shift & 0xff);
    }

    std::string header() const
    {
        unsigned kind = kMfcc;
        if (options_.energy == Energy::Log) kind |= kEnergy;
        if (options_.energy == Energy::C0) kind |= kC0;
        if (options_.derivatives > 0) kind |= kDelta;
        if (options_.derivatives > 1) kind |= kAcceleration;
        if (options_.cmn_seconds > 0) kind |= kZeroMean;
        if (kFixed<T>) kind |= kCompressed;
        // A and B count as four rows of 16-bit values. The period is in units of 100 ns.
        const double period = 1e7 * options_.shift() / options_.rate;
        std::string bytes;
        append(bytes, static_cast<std::uint32_t>(rows_ + (kFixed<T> ? 4 : 0)));
        append(bytes, static_cast<std::uint32_t>(std::lround(period)));
        append(bytes, static_cast<std::uint16_t>(options_.width() * sizeof(T)));
        append(bytes, static_cast<std::uint16_t>(kind));
        return bytes;
    }

    MfccOptions options_;
    OutputFile& file_;
    std::int64_t rows_ = 0;
};

}  // namespace

Format format_of_ending(const std::string& path)
{
    const std::string name = file_name(path);
    const std::size_t dot = name.find_last_of('.');
    const std::string ending = dot == std::string::npos ? "" : name.substr(dot + 1);
    if (ending == "csv") return Format::Csv;
    if (ending == "npy") return Format::Npy;
    if (ending == "htk" || ending == "mfc" || ending == "fea") return Format::Htk;
    throw WrongUse("the ending of '" + name + "' names no format: take .csv, .npy or .htk");
}

template <class T>
std::unique_ptr<FeatureWriter<T>> make_writer(Format format, const MfccOptions& options, OutputFile& file)
{
    switch (format) {
        case Format::Csv:
            return std::make_unique<CsvWriter<T>>(options, file);
        case Format::Npy:
            return std::make_unique<NpyWriter<T>>(options, file);
        case Format::Htk:
            break;
    }
    return std::make_unique<HtkWriter<T>>(options, file);
}

template std::unique_ptr<FeatureWriter<float>> make_writer(Format, const MfccOptions&, OutputFile&);
template std::unique_ptr<FeatureWriter<std::int16_t>> make_writer(Format, const MfccOptions&, OutputFile&);

}  // namespace zelsr::examples
