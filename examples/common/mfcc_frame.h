// Mel-frequency cepstra of one frame, in floating point and in 16 bits.
#pragma once

#include <zelsr.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <span>

#include "common/aligned.h"
#include "common/real_transform.h"

namespace zelsr::examples {

// What stands behind the cepstra in a row: nothing, the zeroth cepstral coefficient, or the logarithm of the
// frame's energy before pre-emphasis and window.
enum class Energy { None, C0, Log };

struct MfccOptions {
    int rate = 16000;                     // samples a second
    double frame_ms = 25, shift_ms = 10;  // length of a frame, and the time from frame to frame
    double offset_hz = 2.5;               // a first-order high-pass at this frequency takes off the offset; 0: off
    double pre_emphasis = 0.97;           // y[n] = x[n] - pre_emphasis x[n-1] within a frame; 0: off
    int filters = 26;                     // triangles on the mel scale
    double low_hz = 64, high_hz = 0;  // the first one's start, the last one's end; 0: half the rate, up to 8000
    int cepstra = 12;                 // c1 ... c[cepstra]
    int lifter = 22;                  // L: c[k] is multiplied by 1 + L/2 sin(pi k / L); 0: off
    Energy energy = Energy::C0;
    int derivatives = 2;     // 0: none, 1: deltas, 2: deltas and accelerations, over two neighbours each side
    double cmn_seconds = 0;  // the mean of about the last so many seconds is taken off the static values; 0: off

    int length() const;  // samples a frame
    int shift() const;   // samples from frame to frame
    int static_width() const { return cepstra + (energy != Energy::None); }
    int width() const { return static_width() * (derivatives + 1); }  // values a row
    double highest_hz() const;
    // In 16 bits a value v is kept as the integer nearest to v 2^fixed_bits().
    int fixed_bits() const;
    // Throws Failure, in words for a user, if a member is out of range.
    void check() const;
};

// Ends a record of the library's by its own function.
struct MfccRelease {
    void operator()(ZelDCTLifterState_32f* state) const { zelsDCTLifterFree_32f(state); }
    void operator()(ZelDCTLifterState_16s* state) const { zelsDCTLifterFree_16s(state); }
};
struct FloatBankRelease {
    void operator()(ZelFBankState* bank) const { zelsFBankFree_32f(bank); }
};
struct FixedBankRelease {
    void operator()(ZelFBankState* bank) const { zelsFBankFree_16s(bank); }
};

// One frame's way through the library in floating point: pre-emphasis, Hamming window, spectrum, mel filters on
// its magnitudes, logarithms, cosine transform with lifter. Samples are in 16-bit units (full scale 32768); a
// filter's output counts as 1 at least, so that digital silence has the logarithms 0.
class FloatCepstra {
  public:
    explicit FloatCepstra(const MfccOptions& options);  // checked ones

    // samples: options.length() of them; row: options.static_width() values.
    void analyse(const float* samples, float* row);
    // Of the last frame: bins from 0 to half the rate.
    std::span<const float> magnitudes() const { return {magnitudes_.get(), bins_}; }

  private:
    MfccOptions options_;
    std::unique_ptr<ZelFBankState, FloatBankRelease> bank_;
    std::optional<RealTransform> fft_;  // of the length that the bank asks for
    std::unique_ptr<ZelDCTLifterState_32f, MfccRelease> dct_;
    std::size_t bins_ = 0;
    AlignedFloats window_, frame_, spectrum_, magnitudes_, bands_, floor_;
};

// The same in 16 bits, from samples to rows. Every frame is scaled by a power of two that fills 15 bits
// (block floating point), which its logarithms take back: quiet frames keep their precision.
class FixedCepstra {
  public:
    explicit FixedCepstra(const MfccOptions& options);

    void analyse(const std::int16_t* samples, std::int16_t* row);

  private:
    int emphasise(const std::int16_t* samples);

    MfccOptions options_;
    int bank_bits_ = 0;  // a filter's output times 2^bank_bits_ fits 32 bits
    std::unique_ptr<ZelFBankState, FixedBankRelease> bank_;
    std::unique_ptr<ZelDCTLifterState_16s, MfccRelease> dct_;
    AlignedShorts window_, frame_;
    AlignedArray<std::int32_t> emphasised_, bands_;
};

}  // namespace zelsr::examples
