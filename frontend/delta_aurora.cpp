// Deltas and second derivatives of the distributed front-end: rows of 39 columns from frames of 14 values.
#include <algorithm>

#include "core/contract.h"
#include "core/convert.h"
#include "core/rounding.h"
#include "frontend/delta_lanes.h"
#include "zelsr/frontend/delta.h"

namespace zelsr {
namespace {

constexpr int32_t kFrame = 14;    // c1 ... c12, c0, log energy
constexpr int32_t kCepstra = 12;  // of them, those that are static values as they stand
constexpr int32_t kStatic = 13;   // static columns; as many deltas and second derivatives follow
constexpr int32_t kColumns = 3 * kStatic;
constexpr int32_t kReach = 4;  // rows to either side of a derivative's
constexpr int32_t kHistory = 2 * kReach;
constexpr int32_t kTaps = 2 * kReach + 1;

constexpr float kDeltaTaps[kTaps] = {-1.0F, -0.75F, -0.5F, -0.25F, 0.0F, 0.25F, 0.5F, 0.75F, 1.0F};
constexpr float kSecondTaps[kTaps] = {1.0F,       0.25F,      -0.285714F, -0.607143F, -0.714286F,
                                      -0.607143F, -0.285714F, 0.25F,      1.0F};

// Static column 12.
inline float joint_energy(float c0, float log_energy) { return c0 * 0.6F / 23.0F + log_energy * 0.4F; }

// The products of the taps and the nine rows, from the first row upward; a tap of zero has none.
template <const float (&Taps)[kTaps], class Rows>
[[gnu::always_inline]] inline __m128 tap_sum(Rows row)
{
    __m128 sum = _mm_set1_ps(Taps[0]) * row(0);
    for_each_index<kTaps - 1>([&](auto n) __attribute__((always_inline)) {
        if constexpr (Taps[n + 1] != 0.0F) sum += _mm_set1_ps(Taps[n + 1]) * row(n + 1);
    });
    return sum;
}

// Eight singles.
struct WideSingle {
    __m128 low, high;
};

inline Wide widened(__m128i x) { return {low_16s32s(x), high_16s32s(x)}; }
inline WideSingle to_single(const Wide& x) { return {_mm_cvtepi32_ps(x.low), _mm_cvtepi32_ps(x.high)}; }

// What multiplies the values of a column of the destination: nothing, or an element of an array.
struct NoMultipliers {
    template <class Lanes>
    Lanes times(const Lanes& x, auto /*part*/, std::ptrdiff_t /*column*/) const
    {
        return x;
    }
};
template <class T>
struct ColumnMultipliers {
    const T* mul;

    __m128 times(__m128 x, auto part, std::ptrdiff_t column) const { return part.of(mul + column) * x; }
    Wide times(const Wide& x, auto part, std::ptrdiff_t column) const
    {
        return low_products(x, part.of(mul + column));
    }
    WideSingle times(const WideSingle& x, auto part, std::ptrdiff_t column) const
    {
        const WideSingle m = to_single(widened(part.of(mul + column)));
        return {m.low * x.low, m.high * x.high};
    }
};

template <class T>
using NineRows = const T* [kTaps];

template <class Multipliers>
struct SingleColumns {
    using Element = float;

    Multipliers multipliers;

    void put_static(const float* frame, float* row) const
    {
        for_columns(frame, kCepstra, [&](auto part, std::ptrdiff_t c) {
            part.put(row + c, multipliers.times(part.of(frame + c), part, c));
        });
        const float energy = joint_energy(load_one(frame + kCepstra), load_one(frame + kCepstra + 1));
        OneElement::put(row + kCepstra, multipliers.times(repeat(energy), OneElement{}, kCepstra));
    }

    void put_derivatives(const NineRows<float>& from, float* row) const
    {
        const auto one_register = [&](auto part, std::ptrdiff_t c) __attribute__((always_inline))
        {
            const auto values = [&](int32_t n) __attribute__((always_inline)) { return part.of(from[n] + c); };
            const auto put = [&](std::ptrdiff_t column, __m128 sum) __attribute__((always_inline))
            {
                part.put(row + column, multipliers.times(sum, part, column));
            };
            put(kStatic + c, tap_sum<kDeltaTaps>(values));
            put(2 * kStatic + c, tap_sum<kSecondTaps>(values));
        };
        for_columns(row, kStatic, one_register);
    }
};

// 4 * the delta is an integer, hence its shift by two more. Nothing is ever shifted left: wanted.
template <class Multipliers>
class FixedColumns {
  public:
    using Element = int16_t;

    FixedColumns(Multipliers multipliers, int32_t sf)
        : multipliers_(multipliers), shift_(down(sf)), delta_shift_(down(static_cast<int64_t>(sf) + 2))
    {}

    void put_static(const int16_t* frame, int16_t* row) const
    {
        for_columns(frame, kCepstra, [&](auto part, std::ptrdiff_t c) {
            part.put(row + c, shift_(multipliers_.times(widened(part.of(frame + c)), part, c)));
        });
        const __m128 energy = repeat(joint_energy(load_one(frame + kCepstra), load_one(frame + kCepstra + 1)));
        const FirstElements<1> one;
        one.put(row + kCepstra, shift_(truncated(multipliers_.times(WideSingle{energy, energy}, one, kCepstra))));
    }

    void put_derivatives(const NineRows<int16_t>& from, int16_t* row) const
    {
        const auto one_register = [&](auto part, std::ptrdiff_t c) __attribute__((always_inline))
        {
            __m128i x[kTaps];
            for_each_index<kTaps>([&](auto n) __attribute__((always_inline)) { x[n] = part.of(from[n] + c); });
            part.put(row + kStatic + c, delta_shift_(multipliers_.times(four_deltas(x), part, kStatic + c)));
            const WideSingle second = second_derivative<(part.count > 4)>(x);
            part.put(row + 2 * kStatic + c, shift_(truncated(multipliers_.times(second, part, 2 * kStatic + c))));
        };
        for_columns(row, kStatic, one_register);
    }

  private:
    static ShiftDown down(int64_t sf) { return {_mm_cvtsi32_si128(static_cast<int32_t>(sf & 31))}; }

    // Saturated to 32 bits.
    static Wide truncated(const WideSingle& x)
    {
        return {saturated_32s<Rounding::TowardZero>(x.low), saturated_32s<Rounding::TowardZero>(x.high)};
    }

    // Sum over k = 1 ... 4 of k * (x[t+k] - x[t-k]): the two rows in pairs, times (-k, k).
    [[gnu::always_inline]] static Wide four_deltas(const __m128i (&x)[kTaps])
    {
        Wide sum{_mm_setzero_si128(), _mm_setzero_si128()};
        for_each_index<kReach>([&](auto n) __attribute__((always_inline)) {
            constexpr int32_t k = n + 1;
            const __m128i factors = _mm_set1_epi32((k << 16) | (-k & 0xffff));
            const __m128i previous = x[kReach - k], next = x[kReach + k];
            const __m128i low = _mm_madd_epi16(_mm_unpacklo_epi16(previous, next), factors);
            const __m128i high = _mm_madd_epi16(_mm_unpackhi_epi16(previous, next), factors);
            sum = {_mm_add_epi32(sum.low, low), _mm_add_epi32(sum.high, high)};
        });
        return sum;
    }

    template <bool BothHalves>
    [[gnu::always_inline]] static WideSingle second_derivative(const __m128i (&x)[kTaps])
    {
        WideSingle sum;
        sum.low = tap_sum<kSecondTaps>([&](int32_t n) __attribute__((always_inline)) {
            return _mm_cvtepi32_ps(low_16s32s(x[n]));
        });
        sum.high = sum.low;
        if constexpr (BothHalves)
            sum.high = tap_sum<kSecondTaps>([&](int32_t n) __attribute__((always_inline)) {
                return _mm_cvtepi32_ps(high_16s32s(x[n]));
            });
        return sum;
    }

    Multipliers multipliers_;
    ShiftDown shift_, delta_shift_;
};

// The arguments of a call.
template <class T>
struct Frames {
    const T* src;
    T* dst;
    std::ptrdiff_t step;
    int32_t height;
    int32_t mode;

    bool first() const { return (mode & DeltaFirstBlock) != 0; }
    bool last() const { return (mode & DeltaLastBlock) != 0; }
};

// A static row completes the derivatives four rows before it; at the ends of the utterance rows that do not exist
// are replaced by the nearest one.
template <class Columns>
[[gnu::noinline]] void append_rows(const Frames<typename Columns::Element>& frames, const Columns& columns)
{
    using T = typename Columns::Element;
    const auto row = [&](std::ptrdiff_t r) { return frames.dst + r * frames.step; };
    const std::ptrdiff_t rows = std::ptrdiff_t{frames.height} + (frames.first() ? 0 : kHistory);

    const auto put_derivatives = [&](std::ptrdiff_t t) {
        NineRows<T> from;
        for (std::ptrdiff_t n = 0; n < kTaps; ++n)
            from[n] = row(std::clamp(t + n - kReach, std::ptrdiff_t{0}, rows - 1));
        columns.put_derivatives(from, row(t));
    };

    const T* src = frames.src;
    for (std::ptrdiff_t r = rows - frames.height; r < rows; ++r, src += kFrame) {
        columns.put_static(src, row(r));
        if (r >= kReach) put_derivatives(r - kReach);
    }
    if (frames.last())
        for (std::ptrdiff_t t = rows - kReach; t < rows; ++t) put_derivatives(t);
}

template <class Multipliers>
SrStatus append(const Frames<float>& frames, const Multipliers& multipliers)
{
    append_rows(frames, SingleColumns<Multipliers>{multipliers});
    return SrOk;
}

template <class Multipliers>
SrStatus append(const Frames<int16_t>& frames, const Multipliers& multipliers, int32_t sf)
{
    const DefaultFloatEnvironment environment;
    append_rows(frames, FixedColumns<Multipliers>(multipliers, sf));
    return SrOk;
}

SrStatus fits(int32_t step, int32_t height, int32_t mode)
{
    return first_failure(require(height > 0 || (height == 0 && (mode & DeltaLastBlock) != 0), SrErrSize),
                         stride(kColumns, step),
                         require((mode & DeltaFirstBlock) == 0 || height >= kHistory, SrErrSize));
}

}  // namespace
}  // namespace zelsr

using namespace zelsr;

SrStatus zelsDeltaDelta_Aurora_32f_D2(const float* src, float* dst, int32_t step, int32_t height, int32_t mode)
{
    if (SrStatus failed = first_failure(non_null(src, dst), fits(step, height, mode))) return failed;
    return append(Frames<float>{src, dst, step, height, mode}, NoMultipliers{});
}

SrStatus zelsDeltaDeltaMul_Aurora_32f_D2(const float* src, const float* mul, float* dst, int32_t step,
                                         int32_t height, int32_t mode)
{
    if (SrStatus failed = first_failure(non_null(src, mul, dst), fits(step, height, mode))) return failed;
    return append(Frames<float>{src, dst, step, height, mode}, ColumnMultipliers<float>{mul});
}

SrStatus zelsDeltaDelta_Aurora_16s_D2Sfs(const int16_t* src, int16_t* dst, int32_t step, int32_t height,
                                         int32_t mode, int32_t sf)
{
    if (SrStatus failed = first_failure(non_null(src, dst), fits(step, height, mode))) return failed;
    return append(Frames<int16_t>{src, dst, step, height, mode}, NoMultipliers{}, sf);
}

SrStatus zelsDeltaDeltaMul_Aurora_16s_D2Sfs(const int16_t* src, const int16_t* mul, int16_t* dst, int32_t step,
                                            int32_t height, int32_t mode, int32_t sf)
{
    if (SrStatus failed = first_failure(non_null(src, mul, dst), fits(step, height, mode))) return failed;
    return append(Frames<int16_t>{src, dst, step, height, mode}, ColumnMultipliers<int16_t>{mul}, sf);
}
