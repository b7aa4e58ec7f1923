#include "quantise/trainer.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>

#include "common/failure.h"
#include "common/mfcc_arguments.h"
#include "common/text.h"

namespace zelsr::examples {
namespace {

// Where bits are shared out, a codeword has so many rows at least, on the average.
constexpr std::int32_t kRowsOfCodeword = 2;

}  // namespace

const std::string_view kTableHead =
    "codebook                              files         frames  bits/frame   bits/s  squared error      dB  "
    "frames/s\n";

std::optional<Numbers> numbers(const Arguments& arguments, const std::string& name, std::int32_t most)
{
    const std::optional<std::string> text = arguments.text(name);
    if (!text) return std::nullopt;
    Numbers all;
    const char *next = text->data(), *const end = text->data() + text->size();
    for (;;) {
        std::int32_t value = 0;
        const auto [stop, error] = std::from_chars(next, end, value);
        if (error != std::errc() || value < 1 || value > most || (stop != end && *stop != ','))
            throw WrongUse(name + " takes whole numbers from 1 to " + std::to_string(most) +
                           " with commas between, not '" + *text + "'");
        all.push_back(value);
        if (stop == end) return all;
        next = stop + 1;
    }
}

FileNames files_of(const Arguments& arguments, std::size_t first)
{
    FileNames files = arguments.words();
    files.erase(files.begin(), files.begin() + static_cast<std::ptrdiff_t>(std::min(first, files.size())));
    if (const std::optional<std::string> list = arguments.text("--list"))
        for (const std::string& name : listed_files(*list)) files.push_back(name);
    if (files.empty()) throw WrongUse("no files given");
    return files;
}

std::string bits_a_second(const Book& book)
{
    if (!book.kind().from_sound) return "-";
    const MfccOptions& mfcc = book.kind().mfcc;
    return fixed(book.bits() * static_cast<double>(mfcc.rate) / mfcc.shift(), 0);
}

std::string error_text(const Distortion& found)
{
    const double error = found.squared_error();
    return error < 1e4 && error >= 0.01 ? fixed(error, 4) : shortest(error);
}

std::string decibels(const Distortion& found)
{
    return std::isinf(found.decibels()) ? "-" : fixed(found.decibels(), 2);
}

void print_row(const std::string& name, const Book& book, const std::string& files, const Distortion& found)
{
    if (found.rows() == 0) return;
    std::printf("%s %s%s%s%s%s%s%s\n", padded(name, -37).c_str(), padded(files, -8).c_str(),
                padded(std::to_string(found.rows()), 12).c_str(), padded(std::to_string(book.bits()), 12).c_str(),
                padded(bits_a_second(book), 9).c_str(), padded(error_text(found), 15).c_str(),
                padded(decibels(found), 8).c_str(), padded(fixed(found.rows_a_second(), 0), 10).c_str());
    std::fflush(stdout);
}

Trainer::Trainer(const Arguments& arguments)
{
    const FileNames files = files_of(arguments, 0);
    const MfccOptions options = mfcc_options(arguments);
    const int every = arguments.whole("--hold-out", 4, 0, 1'000'000);
    const int most = arguments.whole("--rows", 20'000, 1, 500'000'000);
    growth_ =
        arguments.choice("--grow", 0, {"population", "radius"}) == 0 ? SrCdbkTreePopulation : SrCdbkTreeRadius;
    const bool weighted = arguments.choice("--weights", 0, {"none", "variance"}) == 1;
    const std::optional<Numbers> split = numbers(arguments, "--split", kMostWidth);

    for (std::size_t i = 0; i < files.size(); ++i) {
        const bool held = every > 0 && (i + 1) % static_cast<std::size_t>(every) == 0 && files.size() > 1;
        (held ? held_out_ : trained_).push_back(files[i]);
    }
    if (trained_.empty()) throw WrongUse("--hold-out 1 leaves no files to train on");
    kind_ = kind_of(trained_, options);
    widths_ = split ? *split : Numbers{kind_.width};
    if (split) {
        std::int64_t sum = 0;
        for (const std::int32_t width : widths_) sum += width;
        if (sum != kind_.width)
            throw Failure("the parts of --split have " + std::to_string(sum) + " columns, and the rows " +
                          std::to_string(kind_.width));
    }
    survey_ = survey(trained_, kind_);
    matrix_.emplace(rows_of(trained_, kind_, survey_, most));
    weights_ = weighted ? inverse_variances(survey_) : std::vector<float>(survey_.variances.size(), 1.0f);
}

std::vector<PartSize> Trainer::shared(std::int32_t bits, const Numbers& widths) const
{
    std::vector<double> variances = survey_.variances;
    for (std::size_t k = 0; k < variances.size(); ++k) variances[k] *= weights_[k];
    const std::vector<PartSize> sizes = share_bits(bits, widths, variances, matrix_->rows() / kRowsOfCodeword);
    double found = 0;
    for (const PartSize& size : sizes) found += std::log2(size.codewords);
    return found < bits ? std::vector<PartSize>() : sizes;
}

Book Trainer::train(const std::vector<PartSize>& sizes) const
{
    return Book::train(kind_, {*matrix_, weights_}, sizes, growth_);
}

void Trainer::print(const std::string& name, const Book& book) const
{
    print_row(name, book, "training", distortion_of(book, trained_));
    if (!held_out_.empty()) print_row(name, book, "held out", distortion_of(book, held_out_));
}

}  // namespace zelsr::examples
