#include "codec/book.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "codec/own_book.h"
#include "common/failure.h"
#include "common/fields.h"

namespace zelsr::examples {
namespace {

constexpr int kCandidates = 16;
constexpr int kVersion = 1;
constexpr std::size_t kMostGrowing = 12288;  // spectra: a tree takes long for more
constexpr int kPasses = 10;                  // of refinement

// A line that is near to another one stands for a peak, and is heard: the inverse distances to both neighbours.
LineSpectrum weights_of(const LineSpectrum& lines)
{
    LineSpectrum weights;
    for (std::size_t i = 0; i < kOrder; ++i) {
        const float below = lines[i] - (i == 0 ? 0 : lines[i - 1]);
        const float above = (i + 1 == kOrder ? kRate / 2.0F : lines[i + 1]) - lines[i];
        weights[i] = 1 / std::max(below, 10.0F) + 1 / std::max(above, 10.0F);
    }
    return weights;
}

using CodebookPointer = std::unique_ptr<ZelCdbkState_32f, SrStatus (*)(ZelCdbkState_32f*)>;

// A tree's centroids, from some of the spectra. It grows where its clusters are widest: speech unlike the files
// that it is trained on still finds a codeword. Throws Failure, in these words, if there are too few.
std::vector<float> grown(const std::vector<LineSpectrum>& spectra, int first, int width, const std::string& few)
{
    const std::size_t each = (spectra.size() + kMostGrowing - 1) / kMostGrowing;
    std::vector<LineSpectrum> some;
    for (std::size_t i = 0; i < spectra.size(); i += each) some.push_back(spectra[i]);
    ZelCdbkState_32f* made = nullptr;
    require(zelsCdbkInitAlloc_L2_32f(&made, some[0].data() + first, width, kOrder,
                                     static_cast<std::int32_t>(some.size()), kCodewords, SrCdbkTreeRadius),
            "zelsCdbkInitAlloc_L2_32f");
    const CodebookPointer tree(made, zelsCdbkFree_32f);
    std::int32_t size = 0;
    require(zelsGetCdbkSize_32f(tree.get(), &size), "zelsGetCdbkSize_32f");
    if (size != kCodewords) throw Failure(few);
    std::vector<float> codewords(static_cast<std::size_t>(kCodewords * width));
    require(zelsGetCodebook_32f(tree.get(), codewords.data(), width), "zelsGetCodebook_32f");
    return codewords;
}

// Each codeword becomes the mean of the spectra that it is nearest to, several times.
std::vector<float> refined(std::vector<float> codewords, const std::vector<LineSpectrum>& spectra, int first,
                           int width)
{
    std::vector<std::int32_t> nearest(spectra.size());
    for (int pass = 0; pass < kPasses; ++pass) {
        ZelCdbkState_32f* made = nullptr;
        require(
            zelsCdbkInitAlloc_L2_32f(&made, codewords.data(), width, width, kCodewords, kCodewords, SrCdbkFull),
            "zelsCdbkInitAlloc_L2_32f");
        const CodebookPointer book(made, zelsCdbkFree_32f);
        require(zelsVQ_32f(spectra[0].data() + first, kOrder, nearest.data(),
                           static_cast<std::int32_t>(spectra.size()), book.get()),
                "zelsVQ_32f");
        std::vector<double> sums(codewords.size());
        std::vector<std::int64_t> counts(kCodewords);
        for (std::size_t r = 0; r < spectra.size(); ++r) {
            const auto to = static_cast<std::size_t>(nearest[r]);
            ++counts[to];
            for (int k = 0; k < width; ++k)
                sums[to * static_cast<std::size_t>(width) + static_cast<std::size_t>(k)] +=
                    spectra[r][static_cast<std::size_t>(first + k)];
        }
        for (std::size_t i = 0; i < codewords.size(); ++i)
            if (const std::int64_t count = counts[i / static_cast<std::size_t>(width)]; count > 0)
                codewords[i] = static_cast<float>(sums[i] / static_cast<double>(count));
    }
    for (float& value : codewords) value = std::round(10 * value) / 10;  // as the text has them
    return codewords;
}

}  // namespace

void EnvelopeBook::add(std::vector<float> codewords)
{
    Part part;
    part.width = kPartWidths[parts_.size()];
    part.first = parts_.empty() ? 0 : parts_.back().first + parts_.back().width;
    part.codewords = std::move(codewords);
    ZelCdbkState_32f* made = nullptr;
    require(zelsCdbkInitAlloc_L2_32f(&made, part.codewords.data(), part.width, part.width, kCodewords, kCodewords,
                                     SrCdbkFull),
            "zelsCdbkInitAlloc_L2_32f");
    part.codebook.reset(made);
    parts_.push_back(std::move(part));
}

void EnvelopeBook::complete()
{
    Hash hash;
    hash.add(text());
    identity_ = hash.value();
}

EnvelopeBook EnvelopeBook::train(const std::vector<LineSpectrum>& spectra)
{
    const std::string few =
        "the files are too few or too much alike for " + std::to_string(kCodewords) + " codewords";
    if (spectra.size() < kCodewords) throw Failure(few);
    if (spectra.size() > std::numeric_limits<std::int32_t>::max() / kOrder) throw Failure("too much sound");
    EnvelopeBook book;
    int first = 0;
    for (const int width : kPartWidths) {
        book.add(refined(grown(spectra, first, width, few), spectra, first, width));
        first += width;
    }
    book.complete();
    return book;
}

EnvelopeBook EnvelopeBook::parse(std::string_view text)
{
    FieldReader reader(text);
    reader.whole("codec_book", kVersion, kVersion);
    EnvelopeBook book;
    for (const int width : kPartWidths) {
        reader.whole("part", width, width);
        std::vector<float> codewords;
        for (int i = 0; i < kCodewords; ++i) {
            std::array<double, kOrder> values;
            reader.numbers("w", std::span(values).first(static_cast<std::size_t>(width)));
            for (int k = 0; k < width; ++k) {
                const double value = values[static_cast<std::size_t>(k)];
                if (!(value >= 0 && value <= kRate / 2)) reader.fail("a frequency lies from 0 to 4000 Hz");
                codewords.push_back(static_cast<float>(value));
            }
        }
        book.add(std::move(codewords));
    }
    reader.finish();
    book.complete();
    return book;
}

EnvelopeBook EnvelopeBook::own() { return parse(kOwnBook); }

std::string EnvelopeBook::text() const
{
    std::string text = field("codec_book", std::to_string(kVersion));
    for (const Part& part : parts_) {
        text += field("part", std::to_string(part.width));
        for (int i = 0; i < kCodewords; ++i) {
            std::array<double, kOrder> values;
            for (int k = 0; k < part.width; ++k)
                values[static_cast<std::size_t>(k)] =
                    std::round(10.0 * part.codewords[static_cast<std::size_t>(i * part.width + k)]) / 10;
            text += field("w", std::span(values).first(static_cast<std::size_t>(part.width)));
        }
    }
    return text;
}

EnvelopeBook::Indices EnvelopeBook::code(const LineSpectrum& lines)
{
    const LineSpectrum weights = weights_of(lines);
    Indices indices{};
    float below = 0;
    for (std::size_t p = 0; p < parts_.size(); ++p) {
        const Part& part = parts_[p];
        std::array<std::int32_t, kCandidates> nearest;
        require(zelsVQSingle_Sort_32f(lines.data() + part.first, nearest.data(), part.codebook.get(), kCandidates),
                "zelsVQSingle_Sort_32f");
        float least = std::numeric_limits<float>::infinity();
        for (const std::int32_t candidate : nearest) {
            const float* codeword = part.codewords.data() + candidate * part.width;
            float error = 0;
            for (int k = 0; k < part.width; ++k) {
                const auto i = static_cast<std::size_t>(part.first + k);
                error += weights[i] * (codeword[k] - lines[i]) * (codeword[k] - lines[i]);
            }
            // Lines that cross those of the part below are moved apart: only if there is nothing else.
            if (codeword[0] <= below) error += 1e6F;
            if (error >= least) continue;
            least = error;
            indices[p] = static_cast<std::int16_t>(candidate);
        }
        below = part.codewords[static_cast<std::size_t>((indices[p] + 1) * part.width - 1)];
    }
    return indices;
}

LineSpectrum EnvelopeBook::lines_of(const Indices& indices) const
{
    std::array<const ZelCdbkState_32f*, kEnvelopeParts> states;
    for (std::size_t p = 0; p < parts_.size(); ++p) states[p] = parts_[p].codebook.get();
    LineSpectrum lines;
    require(zelsFormVectorVQ_16s32f(indices.data(), kEnvelopeParts, lines.data(), kOrder, 1, states.data(),
                                    kEnvelopeParts),
            "zelsFormVectorVQ_16s32f");
    keep_apart(lines);
    return lines;
}

}  // namespace zelsr::examples
