// Codebooks for rows of features, one for each part of a row: trained, kept as text, coding rows and giving them
// back.
#pragma once

#include <zelsr.h>

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "common/aligned.h"
#include "common/feature_kind.h"

namespace zelsr::examples {

constexpr std::int32_t kMostCodewords = 16383;
constexpr std::int32_t kMostBitsOfPart = 13;
// Beyond it distances might be beyond single precision.
constexpr double kMostValue = 1e12;
// Throws Failure for a row that holds more.
void require_moderate(const float* row, std::int32_t width);

// Values k from `first` on, and how many codewords there are for them.
struct PartSize {
    std::int32_t first, width, codewords;
};

// What a book is trained on. Values are at most kMostValue.
struct Rows {
    const FeatureMatrix<float>& matrix;
    std::vector<float> weights;  // of the squared differences, a column each
};

class Book {
  public:
    // Each part by its own tree, grown by `growth`. A part whose rows do not differ enough has fewer codewords.
    // Throws Failure.
    static Book train(const FeatureKind& kind, const Rows& rows, std::span<const PartSize> sizes,
                      SrCdbkKind growth);
    // Reads what text() wrote. Throws Failure.
    static Book parse(std::string_view text);

    std::string text() const;
    // A hash of the text, which a coded file keeps.
    std::uint64_t identity() const { return identity_; }

    const FeatureKind& kind() const { return kind_; }
    std::int32_t bits() const { return bits_; }  // a row; above 0
    std::span<const float> weights() const { return weights_; }
    std::string summary() const;  // "256 + 64 codewords"

    // Row r takes bits() bits from bit r bits() of codes on, bits counted from the top of each byte down.
    void encode(const RowBlock<float>& rows, std::uint8_t* codes) const;
    // Rows kind().width wide. Throws Failure if a code names no codeword.
    void decode(const std::uint8_t* codes, std::int32_t count, float* rows, std::int32_t step) const;

  private:
    struct Release {
        void operator()(ZelCdbkState_32f* state) const { zelsCdbkFree_32f(state); }
    };
    using Codebook = std::unique_ptr<ZelCdbkState_32f, Release>;

    struct Part {
        PartSize size;
        std::int32_t bits;  // of a code
        AlignedFloats codewords;
    };

    Book(const FeatureKind& kind, std::vector<float> weights) : kind_(kind), weights_(std::move(weights)) {}
    void add_part(const PartSize& size, AlignedFloats codewords);
    void complete();
    void check(const std::uint8_t* codes, std::int32_t count) const;

    FeatureKind kind_;
    std::vector<float> weights_;
    std::vector<Part> parts_;
    // Of kind SrCdbkFull, whose search finds the nearest of all codewords.
    std::vector<Codebook> codebooks_;
    std::vector<const ZelCdbkState_32f*> states_;
    std::int32_t bits_ = 0;
    std::uint64_t identity_ = 0;
};

// The sizes of parts of these widths for `bits` bits a row, or for as many as parts of at most `most` codewords
// take: each bit goes where, by the variances of the columns, it takes most off the error.
std::vector<PartSize> share_bits(std::int32_t bits, std::span<const std::int32_t> widths,
                                 std::span<const double> variances, std::int32_t most);

}  // namespace zelsr::examples
