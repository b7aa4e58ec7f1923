#include "common/feature_source.h"

#include <sys/stat.h>

#include <bit>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <optional>
#include <string_view>
#include <vector>

#include "common/failure.h"
#include "common/sound.h"
#include "common/text.h"

namespace zelsr::examples {
namespace {

constexpr std::int64_t kMostColumns = 1 << 16;
constexpr std::size_t kBytesAtOnce = 1 << 18;

void require_numbers(const RowBlock<float>& rows, int width, std::int64_t first_row)
{
    for (std::int32_t r = 0; r < rows.rows; ++r)
        for (int k = 0; k < width; ++k)
            if (!std::isfinite(rows[r][k]))
                throw Failure("row " + std::to_string(first_row + r) + ", column " + std::to_string(k) +
                              " is not a finite number");
}

class SoundFeatures : public FeatureSource {
  public:
    SoundFeatures(const std::string& path, MfccOptions options) : sound_(path), part_(1 << 14), samples_(1 << 14)
    {
        options.rate = sound_.rate();
        mfcc_.emplace(options);
    }

    int width() const override { return mfcc_->width(); }
    int rate() const override { return sound_.rate(); }
    double done() const override
    {
        return sound_.expected() > 0 ? static_cast<double>(sound_.position()) / sound_.expected() : 0;
    }

    RowBlock<float> read() override
    {
        while (const std::size_t got = sound_.read(part_)) {
            to_16_bit_units(std::span(part_).first(got), samples_.data());
            const RowBlock<float> rows = mfcc_->add(std::span(samples_).first(got));
            if (rows.rows > 0) return rows;
        }
        if (finished_) return {};
        finished_ = true;
        if (mfcc_->frames() == 0) throw Failure("too short: " + std::to_string(sound_.position()) + " samples");
        return mfcc_->finish();
    }

  private:
    SoundFile sound_;
    std::optional<Mfcc<float>> mfcc_;
    std::vector<float> part_, samples_;
    bool finished_ = false;
};

struct FileClose {
    void operator()(std::FILE* file) const { std::fclose(file); }
};

// Rows of one size behind a header. A format reads its header and says how a row's bytes become floats.
class StoredFeatures : public FeatureSource {
  public:
    int width() const override { return width_; }
    double done() const override { return rows_ > 0 ? static_cast<double>(read_) / rows_ : 1; }

    RowBlock<float> read() override
    {
        const auto most = static_cast<std::int64_t>(std::max<std::size_t>(1, kBytesAtOnce / row_bytes_));
        const auto count = static_cast<std::int32_t>(std::min(most, rows_ - read_));
        if (count == 0) return {};
        bytes_.resize(static_cast<std::size_t>(count) * row_bytes_);
        fetch(bytes_.data(), bytes_.size());
        const std::int32_t step = row_step<float>(width_);
        if (!values_) values_ = aligned_floats(most * step);
        for (std::int32_t r = 0; r < count; ++r)
            decode(bytes_.data() + static_cast<std::size_t>(r) * row_bytes_,
                   values_.get() + static_cast<std::ptrdiff_t>(r) * step);
        const RowBlock<float> rows{values_.get(), count, step};
        require_numbers(rows, width_, read_);
        read_ += count;
        return rows;
    }

  protected:
    explicit StoredFeatures(const std::string& path) : file_(std::fopen(path.c_str(), "rb"))
    {
        struct stat info {};
        if (!file_) throw Failure(errno == ENOENT ? "no such file" : system_error_text());
        if (fstat(fileno(file_.get()), &info) != 0) throw Failure(system_error_text());
        if (!S_ISREG(info.st_mode)) throw Failure("is not a regular file");
        bytes_left_ = info.st_size;
    }

    void fetch(unsigned char* bytes, std::size_t count)
    {
        if (std::fread(bytes, 1, count, file_.get()) != count)
            throw Failure(std::ferror(file_.get()) ? system_error_text() : "is cut short");
        bytes_left_ -= static_cast<std::int64_t>(count);
    }

    // What the header has said; the rows are next.
    void begin(std::int64_t rows, std::int64_t width, std::size_t value_bytes)
    {
        if (rows < 0 || width < 1 || width > kMostColumns)
            throw Failure("promises " + std::to_string(rows) + " rows of " + std::to_string(width) + " values");
        rows_ = rows;
        width_ = static_cast<int>(width);
        row_bytes_ = static_cast<std::size_t>(width) * value_bytes;
        if (bytes_left_ / static_cast<std::int64_t>(row_bytes_) < rows)
            throw Failure("is cut short: it promises " + std::to_string(rows) + " rows and holds " +
                          std::to_string(bytes_left_ / static_cast<std::int64_t>(row_bytes_)));
    }

    virtual void decode(const unsigned char* bytes, float* row) const = 0;

  private:
    std::unique_ptr<std::FILE, FileClose> file_;
    std::int64_t bytes_left_ = 0, rows_ = 0, read_ = 0;
    int width_ = 0;
    std::size_t row_bytes_ = 1;
    std::vector<unsigned char> bytes_;
    AlignedFloats values_;
};

template <class Word>
Word big_endian(const unsigned char* bytes)
{
    Word word = 0;
    for (std::size_t i = 0; i < sizeof word; ++i) word = static_cast<Word>(word << 8 | bytes[i]);
    return word;
}

template <class Word>
Word little_endian(const unsigned char* bytes)
{
    Word word = 0;
    for (std::size_t i = sizeof word; i-- > 0;) word = static_cast<Word>(word << 8 | bytes[i]);
    return word;
}

// The header is a line of text, {'descr': '<f4', 'fortran_order': False, 'shape': (98, 39), }.
class NpyFeatures : public StoredFeatures {
  public:
    explicit NpyFeatures(const std::string& path) : StoredFeatures(path)
    {
        unsigned char start[8];
        fetch(start, sizeof start);
        if (std::string_view(reinterpret_cast<char*>(start), 6) != "\x93NUMPY" || start[6] < 1 || start[6] > 3)
            throw Failure("is not a .npy file");
        unsigned char length[4] = {};
        fetch(length, start[6] == 1 ? 2 : 4);
        const auto header_length = little_endian<std::uint32_t>(length);
        if (header_length > 1 << 16) throw Failure("is not a .npy file: its header is too long");
        std::vector<unsigned char> header(header_length);
        fetch(header.data(), header.size());
        const std::string text(header.begin(), header.end());

        const std::string type = quoted(text, "'descr':");
        if (type == "<i2")
            throw Failure("holds 16-bit integers, whose scale it does not tell: write it without --fixed");
        if (type != "<f4" && type != "<f8") throw Failure("holds '" + type + "', and not 32- or 64-bit floats");
        wide_ = type == "<f8";
        if (!after(text, "'fortran_order':").starts_with("False")) throw Failure("is stored by columns");
        const auto [rows, width] = shape(text);
        begin(rows, width, wide_ ? 8 : 4);
    }

  private:
    static std::string_view after(std::string_view text, std::string_view key)
    {
        const std::size_t found = text.find(key);
        if (found == text.npos) throw Failure("is not a .npy file: no " + std::string(key));
        text.remove_prefix(found + key.size());
        text.remove_prefix(std::min(text.size(), text.find_first_not_of(' ')));
        return text;
    }

    static std::string quoted(std::string_view text, std::string_view key)
    {
        text = after(text, key);
        if (!text.starts_with('\'')) throw Failure("holds records, and not numbers");
        return std::string(text.substr(1, text.find('\'', 1) - 1));
    }

    static std::pair<std::int64_t, std::int64_t> shape(std::string_view text)
    {
        text = after(text, "'shape':");
        std::int64_t size[2] = {};
        const char *next = text.data() + text.starts_with('('), *const end = text.data() + text.size();
        for (std::int64_t& one : size) {
            while (next < end && (*next == ' ' || *next == ',')) ++next;
            const auto [stop, error] = std::from_chars(next, end, one);
            if (error != std::errc()) throw Failure("holds no matrix");
            next = stop;
        }
        if (next == end || *next != ')') throw Failure("holds no matrix");
        return {size[0], size[1]};
    }

    void decode(const unsigned char* bytes, float* row) const override
    {
        for (int k = 0; k < width(); ++k)
            row[k] = wide_ ? static_cast<float>(std::bit_cast<double>(little_endian<std::uint64_t>(bytes + 8 * k)))
                           : std::bit_cast<float>(little_endian<std::uint32_t>(bytes + 4 * k));
    }

    bool wide_ = false;
};

// Big-endian. Compressed files hold 16-bit integers, and before them A and B for each column: value = (i + B) / A.
class HtkFeatures : public StoredFeatures {
  public:
    explicit HtkFeatures(const std::string& path) : StoredFeatures(path)
    {
        constexpr unsigned kCompressed = 02000;
        constexpr std::int64_t kRowsOfScales = 4;
        unsigned char head[12];
        fetch(head, sizeof head);
        const std::int64_t rows = big_endian<std::uint32_t>(head);
        const std::int64_t size = big_endian<std::uint16_t>(head + 8);
        compressed_ = (big_endian<std::uint16_t>(head + 10) & kCompressed) != 0;
        const std::int64_t value_bytes = compressed_ ? 2 : 4;
        if (size % value_bytes != 0) throw Failure("is not an HTK file of features");
        const std::int64_t width = size / value_bytes;
        if (compressed_) {
            std::vector<unsigned char> scales(static_cast<std::size_t>(width) * 8);
            fetch(scales.data(), scales.size());
            for (std::size_t k = 0; k < scales.size(); k += 4)
                scales_.push_back(std::bit_cast<float>(big_endian<std::uint32_t>(&scales[k])));
        }
        begin(compressed_ ? rows - kRowsOfScales : rows, width, static_cast<std::size_t>(value_bytes));
    }

  private:
    void decode(const unsigned char* bytes, float* row) const override
    {
        for (int k = 0; k < width(); ++k) {
            const auto column = static_cast<std::size_t>(k);
            row[k] = compressed_ ? (static_cast<std::int16_t>(big_endian<std::uint16_t>(bytes + 2 * k)) +
                                    scales_[column + static_cast<std::size_t>(width())]) /
                                       scales_[column]
                                 : std::bit_cast<float>(big_endian<std::uint32_t>(bytes + 4 * k));
        }
    }

    bool compressed_ = false;
    std::vector<float> scales_;  // every A, then every B
};

std::string ending_of(const std::string& path)
{
    const std::string name = file_name(path);
    const std::size_t dot = name.find_last_of('.');
    return dot == std::string::npos ? "" : name.substr(dot + 1);
}

bool is_htk(const std::string& ending) { return ending == "htk" || ending == "mfc" || ending == "fea"; }

}  // namespace

bool names_feature_file(const std::string& path)
{
    const std::string ending = ending_of(path);
    return ending == "npy" || ending == "csv" || is_htk(ending);
}

std::unique_ptr<FeatureSource> open_features(const std::string& path, const MfccOptions& options)
{
    const std::string ending = ending_of(path);
    if (ending == "npy") return std::make_unique<NpyFeatures>(path);
    if (is_htk(ending)) return std::make_unique<HtkFeatures>(path);
    if (ending == "csv") throw Failure("CSV is not read: write the features as .npy or .htk");
    return std::make_unique<SoundFeatures>(path, options);
}

}  // namespace zelsr::examples
