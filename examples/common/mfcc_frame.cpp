#include "common/mfcc_frame.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <numbers>
#include <string>

#include "common/failure.h"
#include "common/text.h"

namespace zelsr::examples {
namespace {

// mel(f) = 1127 ln(1 + f / 700)
constexpr float kMelMul = 1127, kMelDiv = 700;
constexpr std::int32_t kNearest = 1;
constexpr int kLogBits = 16;  // logarithms of the 16-bit form, as 32-bit integers

double hamming(int n, int length) { return 0.54 - 0.46 * std::cos(2 * std::numbers::pi * n / (length - 1)); }

// A lifter of 1 multiplies by 1 + sin(pi k) / 2, which is 1.
int lifter_of(const MfccOptions& options) { return std::max(1, options.lifter); }

// With it the cosine transform is orthogonal.
float dct_scale(const MfccOptions& options) { return static_cast<float>(std::sqrt(2.0 / options.filters)); }

void check_range(const char* what, double value, double low, double high, const char* unit)
{
    if (value >= low && value <= high) return;
    const auto text = [](double number) { return fixed(number, number == std::floor(number) ? 0 : 3); };
    throw Failure(std::string(what) + " of " + text(value) + unit + " is outside " + text(low) + " to " +
                  text(high) + unit);
}

}  // namespace

int MfccOptions::length() const { return static_cast<int>(std::lround(frame_ms * rate / 1000)); }
int MfccOptions::shift() const { return static_cast<int>(std::lround(shift_ms * rate / 1000)); }
double MfccOptions::highest_hz() const { return high_hz > 0 ? high_hz : std::min(8000.0, rate / 2.0); }

int MfccOptions::fixed_bits() const
{
    // c0 of a frame at full scale throughout, the largest of all values, is some sqrt(2 filters) ln(2^24); 7 bits
    // leave room for the lifter.
    const double largest = std::sqrt(2.0 * filters) * 24 * std::numbers::ln2;
    return std::min(7, static_cast<int>(std::floor(std::log2(32767 / largest))));
}

void MfccOptions::check() const
{
    check_range("a sample rate", rate, 1000, 1'000'000, " Hz");
    check_range("a frame", frame_ms, 1, 1000, " ms");
    check_range("a shift", shift_ms, 0.1, 1000, " ms");
    check_range("a frame", length(), 16, 65535, " samples");
    check_range("a shift", shift(), 1, 65535, " samples");
    check_range("an offset filter", offset_hz, 0, rate / 20.0, " Hz");
    check_range("a pre-emphasis", pre_emphasis, 0, 0.999, "");
    check_range("a number", filters, 2, 256, " filters");
    check_range("a lowest frequency", low_hz, 1, highest_hz() - 1, " Hz");
    check_range("a highest frequency", highest_hz(), 2, rate / 2.0, " Hz");
    check_range("a number", cepstra, 1, filters - 1, " cepstra");
    check_range("a lifter", lifter, 0, 1000, "");
    check_range("a number", derivatives, 0, 2, " derivatives");
    check_range("a mean", cmn_seconds, 0, 1e6, " s");
}

FloatCepstra::FloatCepstra(const MfccOptions& options) : options_(options)
{
    const int length = options.length();
    std::int32_t order = 0;
    ZelFBankState* bank = nullptr;
    const SrStatus status = zelsMelFBankInitAlloc_32f(
        &bank, &order, length, static_cast<float>(options.rate), static_cast<float>(options.low_hz),
        static_cast<float>(options.highest_hz()), options.filters, kMelMul, kMelDiv, FBankWeightsFreq);
    bank_.reset(bank);
    require(status, "zelsMelFBankInitAlloc_32f");

    fft_.emplace(order);

    const float scale = dct_scale(options);
    ZelDCTLifterState_32f* dct = nullptr;
    const SrStatus made =
        options.energy == Energy::C0
            ? zelsDCTLifterInitAlloc_C0_32f(&dct, options.filters, options.cepstra, lifter_of(options), scale,
                                            scale)
            : zelsDCTLifterInitAlloc_32f(&dct, options.filters, options.cepstra, lifter_of(options), scale);
    dct_.reset(dct);
    require(made, "zelsDCTLifterInitAlloc");

    const int points = 1 << order;
    bins_ = static_cast<std::size_t>(points / 2 + 1);
    window_ = aligned_floats(length);
    for (int n = 0; n < length; ++n) window_[n] = static_cast<float>(hamming(n, length));
    frame_ = aligned_floats(points);
    require(zelsZero_32f(frame_.get(), points), "zelsZero_32f");  // what lies behind the frame stays zero
    spectrum_ = aligned_floats(points + 2);
    magnitudes_ = aligned_floats(points / 2 + 1);
    bands_ = aligned_floats(options.filters);
    floor_ = aligned_floats(options.filters);
    require(zelsSet_32f(1, floor_.get(), options.filters), "zelsSet_32f");
}

void FloatCepstra::analyse(const float* samples, float* row)
{
    const int length = options_.length(), filters = options_.filters;
    const auto emphasis = static_cast<float>(options_.pre_emphasis);
    float* frame = frame_.get();
    // The first sample stands for the one before it.
    frame[0] = samples[0] * (1 - emphasis);
    require(zelsMulC_32f(samples, -emphasis, frame + 1, length - 1), "zelsMulC_32f");
    require(zelsAdd_32f_I(samples + 1, frame + 1, length - 1), "zelsAdd_32f_I");
    require(zelsMul_32f(frame, window_.get(), frame, length), "zelsMul_32f");

    fft_->to_magnitudes(frame, spectrum_.get(), magnitudes_.get(), static_cast<std::int32_t>(bins_));
    require(zelsEvalFBank_32f(magnitudes_.get(), bands_.get(), bank_.get()), "zelsEvalFBank_32f");
    require(zelsMaxEvery_32f_I(floor_.get(), bands_.get(), filters), "zelsMaxEvery_32f_I");
    require(zelsLn_32f_I(bands_.get(), filters), "zelsLn_32f_I");
    require(zelsDCTLifter_32f(bands_.get(), row, dct_.get()), "zelsDCTLifter_32f");

    if (options_.energy != Energy::Log) return;
    float energy = 0;
    require(zelsDotProd_32f(samples, samples, length, &energy), "zelsDotProd_32f");
    row[options_.cepstra] = std::max(1.0f, energy);
    require(zelsLn_32f_I(&row[options_.cepstra], 1), "zelsLn_32f_I");
}

FixedCepstra::FixedCepstra(const MfccOptions& options) : options_(options)
{
    const int length = options.length();
    std::int32_t order = 0;
    ZelFBankState* bank = nullptr;
    const SrStatus status =
        zelsMelFBankInitAlloc_16s(&bank, &order, length, static_cast<float>(options.rate),
                                  static_cast<float>(options.low_hz), static_cast<float>(options.highest_hz()),
                                  options.filters, kMelMul, kMelDiv, FBankWeightsFreq | FBankInputSignal);
    bank_.reset(bank);
    require(status, "zelsMelFBankInitAlloc_16s");
    // The magnitudes of N samples below 2^15 have a root mean square below 2^15 N / sqrt(N) per bin, so that the
    // sum over a filter of N/2 bins stays below 2^15 N sqrt(N / 2).
    bank_bits_ = 16 - order - order / 2;

    const float scale = dct_scale(options);
    ZelDCTLifterState_16s* dct = nullptr;
    const SrStatus made =
        options.energy == Energy::C0
            ? zelsDCTLifterInitAlloc_C0_16s(&dct, options.filters, options.cepstra, lifter_of(options), scale,
                                            scale)
            : zelsDCTLifterInitAlloc_16s(&dct, options.filters, options.cepstra, lifter_of(options), scale);
    dct_.reset(dct);
    require(made, "zelsDCTLifterInitAlloc");

    const int points = 1 << order;
    window_ = aligned_shorts(length);
    for (int n = 0; n < length; ++n)
        window_[n] = static_cast<std::int16_t>(std::min(32767L, std::lround(32768 * hamming(n, length))));
    frame_ = aligned_shorts(points);
    require(zelsZero_16s(frame_.get(), points), "zelsZero_16s");
    emphasised_ = aligned_array<std::int32_t>(length);
    bands_ = aligned_array<std::int32_t>(options.filters);
}

// Fills frame_ with the pre-emphasised samples times a power of two, and returns its exponent.
int FixedCepstra::emphasise(const std::int16_t* samples)
{
    const int length = options_.length();
    const auto emphasis = static_cast<std::int32_t>(std::lround(32768 * options_.pre_emphasis));
    std::uint32_t peak = 0;
    for (int n = 0; n < length; ++n) {
        // Times 2^15, exact.
        emphasised_[n] = samples[n] * 32768 - samples[std::max(0, n - 1)] * emphasis;
        peak = std::max(peak, static_cast<std::uint32_t>(std::abs(emphasised_[n])));
    }
    const int down = std::max(0, static_cast<int>(std::bit_width(peak)) - 15);
    require(zelsConvert_32s16s_Sfs(emphasised_.get(), frame_.get(), length, down), "zelsConvert_32s16s_Sfs");
    return 15 - down;
}

void FixedCepstra::analyse(const std::int16_t* samples, std::int16_t* row)
{
    const int length = options_.length(), filters = options_.filters, bits = options_.fixed_bits();
    const int exponent = emphasise(samples) + bank_bits_;
    require(zelsMul_16s_Sfs(frame_.get(), window_.get(), frame_.get(), length, 15), "zelsMul_16s_Sfs");
    require(zelsEvalFBank_16s32s_Sfs(frame_.get(), bands_.get(), bank_.get(), -bank_bits_),
            "zelsEvalFBank_16s32s_Sfs");

    // bands_ are the filters' outputs times 2^exponent; their floor is 1 as in floating point.
    const std::int32_t floor = 1 << std::max(0, exponent);
    const auto taken_back =
        static_cast<std::int32_t>(std::lround(std::ldexp(exponent * std::numbers::ln2, kLogBits)));
    for (int i = 0; i < filters; ++i) bands_[i] = std::max(bands_[i], floor);
    require(zelsLn_32s_ISfs(bands_.get(), filters, -kLogBits), "zelsLn_32s_ISfs");
    for (int i = 0; i < filters; ++i) bands_[i] -= taken_back;
    require(zelsDCTLifter_32s16s_Sfs(bands_.get(), row, dct_.get(), kLogBits - bits), "zelsDCTLifter_32s16s_Sfs");

    if (options_.energy != Energy::Log) return;
    std::int64_t energy = 0;
    require(zelsDotProd_16s64s(samples, samples, length, &energy), "zelsDotProd_16s64s");
    float log_energy = std::max(1.0f, static_cast<float>(energy));
    require(zelsLn_32f_I(&log_energy, 1), "zelsLn_32f_I");
    require(zelsConvert_32f16s_Sfs(&log_energy, &row[options_.cepstra], 1, kNearest, -bits),
            "zelsConvert_32f16s_Sfs");
}

}  // namespace zelsr::examples
