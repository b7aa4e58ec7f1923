// Dynamic time warping.
#include <algorithm>
#include <cstring>
#include <limits>

#include "core/contract.h"
#include "core/convert.h"
#include "core/rounding.h"
#include "core/rows.h"
#include "core/scratch.h"
#include "core/simd.h"
#include "zelsr/signal/warping.h"

namespace zelsr {
namespace {

constexpr float kLargest = std::numeric_limits<float>::max();
constexpr float kEpsilon = std::numeric_limits<float>::epsilon();  // 1.1920929e-7
constexpr int32_t kWordsOnStack = 512;

// The distances of frame t to four frames. Element k of all four joins their sums at once where the sums run one
// after the other.
inline __m128 distances(const float* t, const float* const (&s)[4], int32_t width)
{
    const auto squares = [&](std::ptrdiff_t k, __m128 x, int i) __attribute__((always_inline))
    {
        const __m128 difference = x - Unaligned::four(s[i] + k);
        return difference * difference;
    };
    const __m128 zero = _mm_setzero_ps();
    __m128 sum[4] = {zero, zero, zero, zero};
    std::ptrdiff_t k = 0;
    for (; k + 8 <= width; k += 8)
        for_each_index<2>([&](auto half) __attribute__((always_inline)) {
            const std::ptrdiff_t at = k + 4 * half;
            const __m128 x = Unaligned::four(t + at);
            for_each_index<4>([&](auto i) __attribute__((always_inline)) { sum[i] += squares(at, x, i); });
        });
    __m128 total = join_each(sum);
    if (k + 4 <= width) {
        const __m128 x = Unaligned::four(t + k);
        for_each_index<4>([&](auto i) __attribute__((always_inline)) { sum[i] = squares(k, x, i); });
        _MM_TRANSPOSE4_PS(sum[0], sum[1], sum[2], sum[3]);
        total = (((total + sum[0]) + sum[1]) + sum[2]) + sum[3];
        k += 4;
    }
    for (; k < width; ++k) {
        const __m128 low = _mm_unpacklo_ps(OneLane::lanes(s[0] + k), OneLane::lanes(s[1] + k));
        const __m128 high = _mm_unpacklo_ps(OneLane::lanes(s[2] + k), OneLane::lanes(s[3] + k));
        const __m128 difference = EveryLane::lanes(t + k) - _mm_movelh_ps(low, high);
        total += difference * difference;
    }
    return _mm_sqrt_ps(total);
}

// The columns first ... last of a row of D; none if last is below first.
struct Columns {
    int32_t first, last;
};

// The columns which the slopes leave, at most -1 ... n.
Columns band(int32_t t, int32_t n, int32_t m, int64_t delta)
{
    const int64_t twice = 2 * int64_t{t};
    const int64_t hi =
        3 * int64_t{t} < 2 * int64_t{n} - m ? delta + twice : n + delta + ((int64_t{t} - m - 1) >> 1);
    const int64_t lo =
        3 * int64_t{t} > 2 * (2 * int64_t{m} - n) - 2 ? n - delta + 2 * (int64_t{t} - m) + 1 : t / 2 - delta;
    return {static_cast<int32_t>(std::clamp<int64_t>(lo, 0, n)),
            static_cast<int32_t>(std::clamp<int64_t>(hi, -1, n - 1))};
}

// D in the last two rows, with two columns in front of the first and three behind the last; and the band.
//
// What lies beside a row's active columns holds the largest single, as every cell without a path does, so that the
// three predecessors of a column are always there to be read. No cell holds more, and none a NaN.
class Work {
  public:
    static int64_t row_words(int32_t n) { return (int64_t{n} + 8) & ~int64_t{3}; }
    static int64_t words(int32_t n, int32_t m) { return 2 * row_words(n) + 2 * ((int64_t{m} + 3) & ~int64_t{3}); }

    Work(float* memory, int32_t n)
        : current_(memory + 2), previous_(current_ + row_words(n)), band_(memory + 2 * row_words(n))
    {
        std::memset(memory, 0, static_cast<std::size_t>(2 * row_words(n)) * sizeof(float));
    }
    float* current() const { return current_; }
    const float* previous() const { return previous_; }
    void turn() { std::swap(current_, previous_); }
    // Bars the two columns on either side.
    void close(const Columns& active) const
    {
        current_[active.first - 2] = current_[active.first - 1] = kLargest;
        current_[active.last + 1] = current_[active.last + 2] = kLargest;
    }

    void put_band(int32_t t, const Columns& columns) const
    {
        std::memcpy(band_ + 2 * std::ptrdiff_t{t}, &columns, 8);
    }
    Columns band(int32_t t) const
    {
        Columns columns;
        std::memcpy(&columns, band_ + 2 * std::ptrdiff_t{t}, 8);
        return columns;
    }

  private:
    float *current_, *previous_, *band_;
};

// current[j] = path(distance to frame j, j) for the columns; returns their minimum. path takes four columns, of
// which those behind the last are not kept.
template <class Rows, class Path>
inline float fill_row(const float* t, Rows s, int32_t width, const Columns& columns, float* current,
                      const Path& path)
{
    const __m128 largest = _mm_set1_ps(kLargest);
    __m128 least = largest;
    const auto four_columns = [&](int32_t j, const float* const(&frames)[4], __m128 keep) {
        // The minimum's second operand is what a NaN gives.
        const __m128 sums = _mm_min_ps(path(distances(t, frames, width), j), largest);
        const __m128 kept = choose(keep, sums, largest);
        Unaligned::put(current + j, kept);
        least = _mm_min_ps(kept, least);
    };
    int32_t j = columns.first;
    const __m128 all = _mm_castsi128_ps(_mm_set1_epi32(-1));
    for (; j <= columns.last - 3; j += 4) four_columns(j, {s[j], s[j + 1], s[j + 2], s[j + 3]}, all);
    if (const int32_t rest = columns.last - j + 1; rest > 0)
        four_columns(j,
                     {s[j], s[std::min(j + 1, columns.last)], s[std::min(j + 2, columns.last)], s[columns.last]},
                     first_lanes(rest));
    least = _mm_min_ps(least, _mm_movehl_ps(least, least));
    return _mm_cvtss_f32(_mm_min_ss(least, next_lane(least)));
}

// Takes away what lies above the limit at the right end, then at the left one; one column stays.
inline Columns beamed(Columns columns, const float* current, float limit)
{
    while (columns.last > columns.first && current[columns.last] > limit) --columns.last;
    while (columns.first < columns.last && current[columns.first] > limit) ++columns.first;
    return columns;
}

// *result = D of the best active column in the last row. s: the n frames of the shorter sequence; t: the m frames
// of the longer one.
template <class Rows>
[[gnu::noinline]] SrStatus warp_onto(Rows s, int32_t n, Rows t, int32_t m, int32_t width, int32_t delta,
                                     float beam, float* result)
{
    const Scratch<float, kWordsOnStack> memory(Work::words(n, m));
    if (!memory) return SrErrMemAlloc;
    Work work(memory.data(), n);
    delta = std::min(delta, n - 1);
    const float margin = (beam > 0 ? beam : 0.0F) + kEpsilon;

    store_one(result, kLargest);
    if (m < 2 || delta < 0) return SrOk;  // one frame each is not looked at: wanted
    for (int32_t row = 0; row < m; ++row) work.put_band(row, band(row, n, m, delta));

    Columns active{0, delta};
    fill_row(t[0], s, width, active, work.current(), [](__m128 distance, int32_t) { return distance; });
    work.close(active);
    float best = kLargest;
    for (int32_t row = 1; row < m; ++row) {
        work.turn();
        const Columns slopes = work.band(row);
        active = {std::max(active.first, slopes.first), std::min(active.last + 2, slopes.last)};
        const float* const previous = work.previous();
        best = fill_row(t[row], s, width, active, work.current(), [=](__m128 distance, int32_t j) {
            const __m128 stay = Unaligned::four(previous + j), next = Unaligned::four(previous + j - 1),
                         skip = Unaligned::four(previous + j - 2);
            return distance + _mm_min_ps(_mm_min_ps(stay, next), skip);
        });
        if (!(best < kLargest)) return SrOk;
        active = beamed(active, work.current(), best + margin);
        work.close(active);
    }
    store_one(result, best);
    return SrOk;
}

// With equal heights the first sequence is the longer one: wanted.
template <class Rows>
SrStatus warp(Rows a, int32_t height_a, Rows b, int32_t height_b, int32_t width, int32_t delta, float beam,
              float* result)
{
    if (height_a < height_b) return warp_onto(a, height_a, b, height_b, width, delta, beam, result);
    return warp_onto(b, height_b, a, height_a, width, delta, beam, result);
}

// A sequence of integers in single precision, its rows on 16 bytes.
class Widened {
  public:
    Widened(int32_t height, int32_t width) : step_((int64_t{width} + 3) & ~int64_t{3}), memory_(height * step_) {}
    explicit operator bool() const { return static_cast<bool>(memory_); }
    template <class Rows>
    Block<float> fill(Rows rows, int32_t height, int32_t width) const
    {
        for (int32_t r = 0; r < height; ++r)
            widen(rows[r], memory_.data() + static_cast<std::ptrdiff_t>(r * step_), width);
        return {memory_.data(), static_cast<std::ptrdiff_t>(step_)};
    }

  private:
    static void widen(const uint8_t* src, float* dst, int32_t len) { convert_8u32f(src, dst, len); }
    static void widen(const int16_t* src, float* dst, int32_t len) { convert_16s32f(src, dst, len); }

    int64_t step_;
    Scratch<float> memory_;
};

template <class Rows>
SrStatus warp_integers(Rows a, int32_t height_a, Rows b, int32_t height_b, int32_t width, int32_t* distance,
                       int32_t delta, float beam, int32_t sf)
{
    const DefaultFloatEnvironment environment;
    const Widened wide_a(height_a, width);
    if (!wide_a) return SrErrMemAlloc;
    const Widened wide_b(height_b, width);
    if (!wide_b) return SrErrMemAlloc;
    float result;
    if (SrStatus failed = warp(wide_a.fill(a, height_a, width), height_a, wide_b.fill(b, height_b, width),
                               height_b, width, delta, beam, &result))
        return failed;
    convert_32f32s(&result, distance, 1, Rounding::Nearest, sf);
    return SrOk;
}

// Here a step below the width is a fault of size: wanted.
constexpr SrStatus step_holds(int32_t width, int32_t step) { return require(step >= width, SrErrSize); }

}  // namespace
}  // namespace zelsr

using namespace zelsr;

SrStatus zelsDTW_L2_32f_D2L(const float* const* a, int32_t height_a, const float* const* b, int32_t height_b,
                            int32_t width, float* distance, int32_t delta, float beam)
{
    if (SrStatus failed = first_failure(non_null(a, b, distance), positive(height_a, height_b, width)))
        return failed;
    return warp(RowList{a}, height_a, RowList{b}, height_b, width, delta, beam, distance);
}

SrStatus zelsDTW_L2_32f_D2(const float* a, int32_t height_a, const float* b, int32_t height_b, int32_t width,
                           int32_t step, float* distance, int32_t delta, float beam)
{
    if (SrStatus failed =
            first_failure(non_null(a, b, distance), positive(height_a, height_b, width), step_holds(width, step)))
        return failed;
    return warp(Block{a, step}, height_a, Block{b, step}, height_b, width, delta, beam, distance);
}

SrStatus zelsDTW_L2_8u32s_D2LSfs(const uint8_t* const* a, int32_t height_a, const uint8_t* const* b,
                                 int32_t height_b, int32_t width, int32_t* distance, int32_t delta, float beam,
                                 int32_t sf)
{
    if (SrStatus failed = first_failure(non_null(a, b, distance), positive(height_a, height_b, width)))
        return failed;
    return warp_integers(RowList{a}, height_a, RowList{b}, height_b, width, distance, delta, beam, sf);
}

SrStatus zelsDTW_L2_8u32s_D2Sfs(const uint8_t* a, int32_t height_a, const uint8_t* b, int32_t height_b,
                                int32_t width, int32_t step, int32_t* distance, int32_t delta, float beam,
                                int32_t sf)
{
    if (SrStatus failed =
            first_failure(non_null(a, b, distance), positive(height_a, height_b, width), step_holds(width, step)))
        return failed;
    return warp_integers(Block{a, step}, height_a, Block{b, step}, height_b, width, distance, delta, beam, sf);
}

SrStatus zelsDTW_L2Low_16s32s_D2LSfs(const int16_t* const* a, int32_t height_a, const int16_t* const* b,
                                     int32_t height_b, int32_t width, int32_t* distance, int32_t delta, float beam,
                                     int32_t sf)
{
    if (SrStatus failed = first_failure(non_null(a, b, distance), positive(height_a, height_b, width)))
        return failed;
    return warp_integers(RowList{a}, height_a, RowList{b}, height_b, width, distance, delta, beam, sf);
}

SrStatus zelsDTW_L2Low_16s32s_D2Sfs(const int16_t* a, int32_t height_a, const int16_t* b, int32_t height_b,
                                    int32_t width, int32_t step, int32_t* distance, int32_t delta, float beam,
                                    int32_t sf)
{
    if (SrStatus failed =
            first_failure(non_null(a, b, distance), positive(height_a, height_b, width), step_holds(width, step)))
        return failed;
    return warp_integers(Block{a, step}, height_a, Block{b, step}, height_b, width, distance, delta, beam, sf);
}
