#include "quantise/book.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <cmath>
#include <numeric>
#include <optional>

#include "common/failure.h"
#include "common/progress.h"
#include "common/text.h"

namespace zelsr::examples {
namespace {

// From so many multiplications of one pass over all codewords on, training may take seconds.
constexpr double kLongTraining = 5e7;

std::string field(std::string_view word, std::span<const float> values)
{
    // Every single is a double, whose shortest text reads back as the same.
    return examples::field(word, std::vector<double>(values.begin(), values.end()));
}

void read_singles(FieldReader& reader, std::string_view word, std::span<float> values)
{
    std::vector<double> wide(values.size());
    reader.numbers(word, wide);
    for (std::size_t k = 0; k < values.size(); ++k) {
        if (!(std::fabs(wide[k]) <= kMostValue)) reader.fail("a value is beyond " + shortest(kMostValue));
        values[k] = static_cast<float>(wide[k]);
    }
}

}  // namespace

void require_moderate(const float* row, std::int32_t width)
{
    for (std::int32_t k = 0; k < width; ++k)
        if (!(std::fabs(row[k]) <= kMostValue)) throw Failure("holds a value beyond " + shortest(kMostValue));
}

Book Book::train(const FeatureKind& kind, const Rows& rows, std::span<const PartSize> sizes, SrCdbkKind growth)
{
    const FeatureMatrix<float>& matrix = rows.matrix;
    double work = 0;
    std::int32_t all = 0, done = 0;
    for (const PartSize& size : sizes) {
        all += size.codewords;
        work += static_cast<double>(size.codewords) * size.width * matrix.rows();
        if (size.codewords > matrix.rows())
            throw Failure(std::to_string(matrix.rows()) + " rows do not make " + std::to_string(size.codewords) +
                          " codewords");
    }
    std::optional<Progress> progress;
    if (work >= kLongTraining) progress.emplace("training", all, "codewords");

    Book book(kind, rows.weights);
    for (const PartSize& size : sizes) {
        if (progress) progress->at(done);
        ZelCdbkState_32f* trained = nullptr;
        require(zelsCdbkInitAlloc_WgtL2_32f(&trained, matrix.row(0) + size.first, rows.weights.data() + size.first,
                                            size.width, matrix.step(), matrix.rows(), size.codewords, growth),
                "zelsCdbkInitAlloc_WgtL2_32f");
        const Codebook owner(trained);
        PartSize found = size;
        require(zelsGetCdbkSize_32f(trained, &found.codewords), "zelsGetCdbkSize_32f");
        AlignedFloats codewords = aligned_floats(static_cast<std::int64_t>(found.codewords) * size.width);
        require(zelsGetCodebook_32f(trained, codewords.get(), size.width), "zelsGetCodebook_32f");
        book.add_part(found, std::move(codewords));
        done += size.codewords;
    }
    if (progress) progress->at(done);
    book.complete();
    if (book.bits_ == 0) throw Failure("the rows are all the same, there is nothing to code");
    return book;
}

// Of a full codebook rows are codewords. What the library trained as a tree is searched in full as well: a tree's
// own search is faster, but does not always find the nearest.
void Book::add_part(const PartSize& size, AlignedFloats codewords)
{
    ZelCdbkState_32f* full = nullptr;
    require(zelsCdbkInitAlloc_WgtL2_32f(&full, codewords.get(), weights_.data() + size.first, size.width,
                                        size.width, size.codewords, size.codewords, SrCdbkFull),
            "zelsCdbkInitAlloc_WgtL2_32f");
    codebooks_.emplace_back(full);
    states_.push_back(full);
    const auto bits = static_cast<std::int32_t>(std::bit_width(static_cast<std::uint32_t>(size.codewords - 1)));
    bits_ += bits;
    parts_.push_back({size, bits, std::move(codewords)});
}

void Book::complete()
{
    const std::string all = text();
    Hash hash;
    hash.add(all);
    identity_ = hash.value();
}

std::string Book::text() const
{
    std::string text = "zelsr-codebook 1\n" + text_of(kind_) + field("weights", weights_) +
                       examples::field("parts", static_cast<double>(parts_.size()));
    for (const Part& part : parts_) {
        const auto width = static_cast<std::size_t>(part.size.width);
        text += examples::field("columns", part.size.width);
        text += examples::field("codewords", part.size.codewords);
        for (std::size_t i = 0; i < static_cast<std::size_t>(part.size.codewords); ++i)
            text += field("codeword", std::span(part.codewords.get() + i * width, width));
    }
    return text + examples::field("end", hash_of(text));
}

Book Book::parse(std::string_view text)
{
    FieldReader reader(text);
    if (reader.text("zelsr-codebook") != "1") reader.fail("another version of codebooks");
    const FeatureKind kind = read_kind(reader);
    std::vector<float> weights(static_cast<std::size_t>(kind.width));
    read_singles(reader, "weights", weights);
    if (*std::min_element(weights.begin(), weights.end()) < 0) reader.fail("a weight is below zero");
    Book book(kind, weights);
    const std::int64_t parts = reader.whole("parts", 1, kind.width);
    PartSize size{};
    for (std::int64_t i = 0; i < parts; ++i) {
        size.width = static_cast<std::int32_t>(reader.whole("columns", 1, kind.width - size.first));
        size.codewords = static_cast<std::int32_t>(reader.whole("codewords", 1, kMostCodewords));
        // Each value has a digit and a space at least: memory goes to what the text has room for.
        if (text.size() / 2 / static_cast<std::size_t>(size.width) < static_cast<std::size_t>(size.codewords))
            reader.fail("the file is cut short");
        const auto width = static_cast<std::size_t>(size.width);
        AlignedFloats codewords = aligned_floats(static_cast<std::int64_t>(size.codewords) * size.width);
        for (std::size_t r = 0; r < static_cast<std::size_t>(size.codewords); ++r)
            read_singles(reader, "codeword", {codewords.get() + r * width, width});
        book.add_part(size, std::move(codewords));
        size.first += size.width;
        if (i + 1 < parts && size.first == kind.width) reader.fail("there are no columns for another part");
    }
    if (size.first != kind.width) reader.fail("the parts do not make up the row");
    if (book.bits_ == 0) reader.fail("a single codeword codes nothing");
    const std::string_view hash = reader.text("end");
    reader.finish();
    // What the text is made of is its identity, too.
    const std::string_view before = text.substr(0, text.size() - std::string_view("end \n").size() - hash.size());
    if (hash != hash_of(before)) reader.fail("the file has been changed");
    book.complete();
    return book;
}

std::string Book::summary() const
{
    std::string text;
    for (const Part& part : parts_) text += (text.empty() ? "" : " + ") + std::to_string(part.size.codewords);
    return text + (text == "1" ? " codeword" : " codewords");
}

void Book::encode(const RowBlock<float>& rows, std::uint8_t* codes) const
{
    require(zelsSplitVQ_32f1u(rows.first, rows.step, codes, bits_, rows.rows, states_.data(),
                              static_cast<std::int32_t>(states_.size())),
            "zelsSplitVQ_32f1u");
}

// The library reads the codewords that it is told to.
void Book::check(const std::uint8_t* codes, std::int32_t count) const
{
    std::int64_t at = 0;
    for (std::int32_t r = 0; r < count; ++r)
        for (const Part& part : parts_) {
            std::int32_t code = 0;
            for (std::int32_t i = 0; i < part.bits; ++i, ++at)
                code = code << 1 | (codes[at / 8] >> (7 - at % 8) & 1);
            if (code >= part.size.codewords)
                throw Failure("is damaged: code " + std::to_string(code) + " of " +
                              std::to_string(part.size.codewords));
        }
}

void Book::decode(const std::uint8_t* codes, std::int32_t count, float* rows, std::int32_t step) const
{
    check(codes, count);
    require(zelsFormVectorVQ_1u32f(codes, bits_, rows, step, count, states_.data(),
                                   static_cast<std::int32_t>(states_.size())),
            "zelsFormVectorVQ_1u32f");
}

// With b bits, the error of w columns of variances that add up to V is about V 2^(-2 b / w).
std::vector<PartSize> share_bits(std::int32_t bits, std::span<const std::int32_t> widths,
                                 std::span<const double> variances, std::int32_t most)
{
    most = std::min(most, 1 << kMostBitsOfPart);
    std::vector<PartSize> sizes;
    std::vector<double> errors;
    std::int32_t first = 0;
    for (const std::int32_t width : widths) {
        const auto column = variances.begin() + first;
        errors.push_back(std::accumulate(column, column + width, 0.0));
        sizes.push_back({first, width, 1});
        first += width;
    }
    for (; bits > 0; --bits) {
        std::optional<std::size_t> best;
        const auto gain = [&](std::size_t p) { return errors[p] * (1 - std::exp2(-2.0 / sizes[p].width)); };
        for (std::size_t p = 0; p < sizes.size(); ++p)
            if (sizes[p].codewords <= most / 2 && (!best || gain(p) > gain(*best))) best = p;
        if (!best) break;
        errors[*best] *= std::exp2(-2.0 / sizes[*best].width);
        sizes[*best].codewords *= 2;
    }
    return sizes;
}

}  // namespace zelsr::examples
