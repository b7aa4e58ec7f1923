// The codewords of line spectra, in three parts of 512 each.
#pragma once

#include <zelsr.h>

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "codec/envelope.h"
#include "common/aligned.h"

namespace zelsr::examples {

constexpr int kCodewords = 1 << kEnvelopeBits;
constexpr std::array<int, kEnvelopeParts> kPartWidths{3, 3, 4};

// Searches write to its workspace: threads may not share a book.
class EnvelopeBook {
  public:
    using Indices = std::array<std::int16_t, kEnvelopeParts>;

    // Throws Failure if the spectra differ too little.
    static EnvelopeBook train(const std::vector<LineSpectrum>& spectra);
    // Reads what text() wrote; throws Failure.
    static EnvelopeBook parse(std::string_view text);
    // The one that the program brings along.
    static EnvelopeBook own();

    std::string text() const;
    // A hash of the codewords, which a stream keeps.
    std::uint64_t identity() const { return identity_; }

    Indices code(const LineSpectrum& lines);
    // Apart from each other.
    LineSpectrum lines_of(const Indices& indices) const;

  private:
    struct Release {
        void operator()(ZelCdbkState_32f* state) const { zelsCdbkFree_32f(state); }
    };
    using Codebook = std::unique_ptr<ZelCdbkState_32f, Release>;
    struct Part {
        int first, width;
        std::vector<float> codewords;
        Codebook codebook;
    };

    void add(std::vector<float> codewords);
    void complete();

    std::vector<Part> parts_;
    std::uint64_t identity_ = 0;
};

}  // namespace zelsr::examples
