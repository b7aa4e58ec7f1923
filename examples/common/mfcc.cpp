#include "common/mfcc.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "common/failure.h"

namespace zelsr::examples {
namespace {

constexpr std::int32_t kNearest = 1;

// Over two neighbours each side the regression is sum k (s[t+k] - s[t-k]) / (2 sum k^2), k = 1, 2: a tenth.
constexpr float kTenth = 0.1f;
constexpr std::int16_t kFixedTenth = 13107;  // 2^17 / 10
constexpr int kFixedTenthBits = 17;

// Rows that the derivatives look back to.
int history(int derivatives) { return derivatives == 0 ? 0 : derivatives == 1 ? 4 : 6; }

void append_derivatives(const float* statics, int width, float* rows, int step, int height, int derivatives,
                        int mode)
{
    if (derivatives == 1)
        require(zelsDelta_Win2_32f_D2(statics, width, rows, step, height, kTenth, mode), "zelsDelta_Win2_32f_D2");
    else
        require(zelsDeltaDelta_Win2_32f_D2(statics, width, rows, step, height, kTenth, kTenth, mode),
                "zelsDeltaDelta_Win2_32f_D2");
}

void append_derivatives(const std::int16_t* statics, int width, std::int16_t* rows, int step, int height,
                        int derivatives, int mode)
{
    if (derivatives == 1)
        require(zelsDelta_Win2_16s_D2Sfs(statics, width, rows, step, height, kFixedTenth, mode, kFixedTenthBits),
                "zelsDelta_Win2_16s_D2Sfs");
    else
        require(zelsDeltaDelta_Win2_16s_D2Sfs(statics, width, rows, step, height, kFixedTenth, kFixedTenth, mode,
                                              kFixedTenthBits),
                "zelsDeltaDelta_Win2_16s_D2Sfs");
}

// The filter's pole.
double pole(const MfccOptions& options)
{
    return std::exp(-2 * std::numbers::pi * options.offset_hz / options.rate);
}

void compensate_offset(const MfccOptions& options, float* samples, int count, float& last_input, float last_output)
{
    require(
        zelsCompensateOffset_32f_I(samples, count, &last_input, last_output, static_cast<float>(pole(options))),
        "zelsCompensateOffset_32f_I");
}

void compensate_offset(const MfccOptions& options, std::int16_t* samples, int count, std::int16_t& last_input,
                       std::int16_t last_output)
{
    // The form that rounds to nearest. zelsCompensateOffsetQ15_16s_I() rounds toward zero, which moves the cepstra
    // of pauses of a few units three times as far.
    require(
        zelsCompensateOffset_16s_I(samples, count, &last_input, last_output, static_cast<float>(pole(options))),
        "zelsCompensateOffset_16s_I");
}

const MfccOptions& checked(const MfccOptions& options)
{
    options.check();
    return options;
}

// m[t] = m[t-1] + gain (x[t] - m[t-1]) becomes the mean, and x[t] - m[t] the row.
void update_mean(float* row, float gain, float* mean, float* difference, int width)
{
    require(zelsCopy_32f(row, difference, width), "zelsCopy_32f");
    require(zelsSub_32f_I(mean, difference, width), "zelsSub_32f_I");
    require(zelsMulC_32f_I(gain, difference, width), "zelsMulC_32f_I");
    require(zelsAdd_32f_I(difference, mean, width), "zelsAdd_32f_I");
    require(zelsSub_32f_I(mean, row, width), "zelsSub_32f_I");
}

void update_mean(std::int16_t* row, float gain, float* mean, float* difference, int width, int bits)
{
    std::vector<float> values(static_cast<std::size_t>(width));
    require(zelsConvert_16s32f_Sfs(row, values.data(), width, bits), "zelsConvert_16s32f_Sfs");
    update_mean(values.data(), gain, mean, difference, width);
    require(zelsConvert_32f16s_Sfs(values.data(), row, width, kNearest, -bits), "zelsConvert_32f16s_Sfs");
}

}  // namespace

template <class T>
Mfcc<T>::Mfcc(const MfccOptions& options)
    : options_(checked(options)),
      cepstra_(options),
      mean_(static_cast<std::size_t>(options.static_width())),
      difference_(mean_.size()),
      rows_(options.static_width(), options.width(), history(options.derivatives))
{}

template <class T>
RowBlock<T> Mfcc<T>::add(std::span<const T> samples)
{
    samples_.insert(samples_.end(), samples.begin(), samples.end());
    const auto length = static_cast<std::size_t>(options_.length());
    while (start_ + length <= samples_.size()) analyse_next_frame();

    // With a shift beyond the frame's length, samples before the next frame still have to pass the offset filter.
    const std::size_t done = std::min(start_, compensated_);
    samples_.erase(samples_.begin(), samples_.begin() + static_cast<std::ptrdiff_t>(done));
    start_ -= done;
    compensated_ -= done;
    return complete_rows(0);
}

template <class T>
RowBlock<T> Mfcc<T>::finish()
{
    const std::int64_t frames = frames_;
    const bool enough = rows_.enough();
    const RowBlock<T> last = enough ? complete_rows(DeltaLastBlock) : RowBlock<T>();
    rows_.restart();
    samples_.clear();
    start_ = compensated_ = 0;
    last_input_ = last_output_ = 0;
    frames_ = 0;
    std::fill(mean_.begin(), mean_.end(), 0.0f);
    if (!enough)
        throw Failure("too short: " + std::to_string(frames) + (frames == 1 ? " frame" : " frames") +
                      ", derivatives need " + std::to_string(history(options_.derivatives)));
    return last;
}

template <class T>
void Mfcc<T>::analyse_next_frame()
{
    const std::size_t end = start_ + static_cast<std::size_t>(options_.length());
    if (options_.offset_hz > 0) {
        // From the last frame's end to this one's, whatever parts the samples came in: where a call begins decides
        // the order of its first addition.
        compensate_offset(options_, &samples_[compensated_], static_cast<int>(end - compensated_), last_input_,
                          last_output_);
        last_output_ = samples_[end - 1];
    }
    compensated_ = end;

    T* row = rows_.next();
    cepstra_.analyse(&samples_[start_], row);
    ++frames_;
    if (options_.cmn_seconds > 0) take_off_mean(row);
    start_ += static_cast<std::size_t>(options_.shift());
}

// The mean of all frames so far; of more than cmn_seconds, with weights that fall off with that time constant.
template <class T>
void Mfcc<T>::take_off_mean(T* row)
{
    const double most = std::max(1.0, options_.cmn_seconds * 1000 / options_.shift_ms);
    const auto gain = static_cast<float>(1 / std::min(static_cast<double>(frames_), most));
    if constexpr (std::is_same_v<T, float>)
        update_mean(row, gain, mean_.data(), difference_.data(), options_.static_width());
    else
        update_mean(row, gain, mean_.data(), difference_.data(), options_.static_width(), options_.fixed_bits());
}

template <class T>
RowBlock<T> Mfcc<T>::complete_rows(int mode)
{
    return rows_.complete(mode, [this](const T* statics, T* rows, int step, int fresh, int block_mode) {
        const int width = options_.static_width();
        if (options_.derivatives > 0)
            append_derivatives(statics, width, rows, step, fresh, options_.derivatives, block_mode);
        else
            for (int r = 0; r < fresh; ++r) std::copy_n(statics + r * width, width, rows + r * step);
    });
}

template class Mfcc<float>;
template class Mfcc<std::int16_t>;

template <class T>
void FeatureMatrix<T>::append(const RowBlock<T>& block)
{
    if (rows_ + block.rows > capacity_) {
        capacity_ = std::max(2 * capacity_, rows_ + block.rows);
        AlignedArray<T> larger = aligned_array<T>(static_cast<std::int64_t>(capacity_) * step_);
        std::copy_n(data_.get(), static_cast<std::ptrdiff_t>(rows_) * step_, larger.get());
        data_ = std::move(larger);
    }
    if (block.rows > 0) std::copy_n(block.first, static_cast<std::ptrdiff_t>(block.rows) * step_, row(rows_));
    rows_ += block.rows;
}

template class FeatureMatrix<float>;
template class FeatureMatrix<std::int16_t>;

void to_16_bit_units(std::span<const float> sound, float* samples)
{
    if (sound.empty()) return;
    require(zelsMulC_32f(sound.data(), 32768, samples, static_cast<std::int32_t>(sound.size())), "zelsMulC_32f");
}

void to_16_bit_units(std::span<const float> sound, std::int16_t* samples)
{
    if (sound.empty()) return;
    require(zelsConvert_32f16s_Sfs(sound.data(), samples, static_cast<std::int32_t>(sound.size()), kNearest, -15),
            "zelsConvert_32f16s_Sfs");
}

template <class T>
FeatureMatrix<T> all_mfcc(SoundFile& sound, MfccOptions options)
{
    options.rate = sound.rate();
    Mfcc<T> mfcc(options);
    FeatureMatrix<T> all(mfcc.width());
    std::vector<float> part(1 << 15);
    std::vector<T> samples(part.size());
    while (const std::size_t got = sound.read(part)) {
        to_16_bit_units(std::span(part).first(got), samples.data());
        all.append(mfcc.add(std::span(samples).first(got)));
    }
    all.append(mfcc.finish());
    return all;
}

template FeatureMatrix<float> all_mfcc(SoundFile& sound, MfccOptions options);
template FeatureMatrix<std::int16_t> all_mfcc(SoundFile& sound, MfccOptions options);

std::vector<std::string> column_names(const MfccOptions& options)
{
    std::vector<std::string> names;
    for (const char* prefix : {"", "d_", "dd_"}) {
        if (names.size() == static_cast<std::size_t>(options.width())) break;
        for (int k = 1; k <= options.cepstra; ++k) names.push_back(std::string(prefix) + "c" + std::to_string(k));
        if (options.energy != Energy::None)
            names.push_back(std::string(prefix) + (options.energy == Energy::C0 ? "c0" : "energy"));
    }
    return names;
}

}  // namespace zelsr::examples
