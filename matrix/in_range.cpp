// Vectors mapped into a range between two fractions of their span.
#include <algorithm>
#include <cstring>
#include <type_traits>

#include "core/contract.h"
#include "core/convert.h"
#include "core/elementwise.h"
#include "core/groups.h"
#include "core/rounding.h"
#include "zelsr/core/vector.h"
#include "zelsr/matrix/normalize.h"

namespace zelsr {
namespace {

SrStatus fractions(float low, float high)
{
    return require(low >= 0.0F && low < high && high <= 1.0F, SrErrBadArg);
}
SrStatus not_negative(float range) { return require(range >= 0.0F, SrErrBadArg); }
SrStatus ordered(float lowest, float highest) { return require(highest >= lowest, SrErrBadArg); }

// The lowest and the highest value of a source.
struct Span {
    float lowest, highest;
};
Span span(float lowest, float highest) { return {lowest, highest}; }

struct Target {
    Span span;
    float low, high, range;
};

// max(min(x, top) - bottom, 0) * slope. A NaN element counts as top, a NaN difference as 0: the minimum's and the
// maximum's second operands.
class IntoRange {
  public:
    explicit IntoRange(const Target& t)
    {
        const float w = t.span.highest - t.span.lowest;
        top_ = repeat(t.high * w + t.span.lowest);
        bottom_ = repeat(w * t.low + t.span.lowest);
        slope_ = repeat(t.range / (t.high * w - w * t.low));
    }
    __m128 operator()(__m128 x) const
    {
        return _mm_max_ps(_mm_min_ps(x, top_) - bottom_, _mm_setzero_ps()) * slope_;
    }

  private:
    __m128 top_, bottom_, slope_;
};

void map(const float* src, float* dst, int32_t len, const Target& target)
{
    IntoRange into_range(target);
    elementwise(into_range, dst, len, src);
}

struct EightSingles {
    __m128 low, high;

    explicit EightSingles(const float* p) : low(Unaligned::four(p)), high(Unaligned::four(p + 4)) {}
    explicit EightSingles(const int16_t* p)
    {
        const __m128i x = Unaligned::bytes(p);
        low = _mm_cvtepi32_ps(low_16s32s(x));
        high = _mm_cvtepi32_ps(high_16s32s(x));
    }
};

void put_eight(int16_t* to, __m128i x) { Unaligned::put(to, x); }
void put_eight(uint8_t* to, __m128i x)
{
    _mm_storel_epi64(reinterpret_cast<__m128i*>(to), _mm_packus_epi16(x, x));
}

// Out of line, so that all of the arithmetic happens while the default environment is set.
template <class T, class Integer>
[[gnu::noinline]] void map_to_integers(const T* src, Integer* dst, int32_t len, const Target& target)
{
    const IntoRange into_range(target);
    const auto step = [&](Integer* to, const T* from) {
        const EightSingles x(from);
        const __m128i low = limited_to_16s<Rounding::Nearest>(into_range(x.low));
        const __m128i high = limited_to_16s<Rounding::Nearest>(into_range(x.high));
        put_eight(to, _mm_packs_epi32(low, high));
    };
    in_groups<8>(len, dst, step, src);
}

template <class T, class Integer>
void map(const T* src, Integer* dst, int32_t len, const Target& target)
{
    map_to_integers(src, dst, len, target);
}

// A span without two different ends is empty.
template <class T, class Result>
SrStatus map_span(const T* src, Result* dst, int32_t len, const Target& target)
{
    if (!(target.span.lowest < target.span.highest)) {
        std::memset(dst, 0, static_cast<std::size_t>(len) * sizeof *dst);
        return SrWarnInvZero;
    }
    map(src, dst, len, target);
    return SrOk;
}

Span span_of(const float* src, int32_t len)
{
    Span found;
    zelsMinMax_32f(src, len, &found.lowest, &found.highest);
    return found;
}

Span span_of(const int16_t* src, int32_t len)
{
    __m128i lowest = _mm_set1_epi16(load_one(src)), highest = lowest;
    const auto take = [&](__m128i x) {
        lowest = _mm_min_epi16(lowest, x);
        highest = _mm_max_epi16(highest, x);
    };
    std::ptrdiff_t i = 0;
    for (; i <= len - 8; i += 8) take(Unaligned::bytes(src + i));
    for (; i < len; ++i) take(_mm_set1_epi16(load_one(src + i)));
    int16_t low_lanes[8], high_lanes[8];
    Unaligned::put(low_lanes, lowest);
    Unaligned::put(high_lanes, highest);
    return span(*std::min_element(low_lanes, low_lanes + 8), *std::max_element(high_lanes, high_lanes + 8));
}

// Integer results do not depend on the caller's environment.
struct CallersEnvironment {};
template <class Result>
using EnvironmentOf = std::conditional_t<std::is_integral_v<Result>, DefaultFloatEnvironment, CallersEnvironment>;

template <class T, class Result>
SrStatus map_into_range(const T* src, Result* dst, int32_t len, Span given, float low, float high, float range)
{
    [[maybe_unused]] const EnvironmentOf<Result> environment;
    return map_span(src, dst, len, Target{given, low, high, range});
}

template <class T, class Result>
SrStatus map_into_range(const T* src, Result* dst, int32_t len, float low, float high, float range)
{
    [[maybe_unused]] const EnvironmentOf<Result> environment;
    return map_span(src, dst, len, Target{span_of(src, len), low, high, range});
}

}  // namespace
}  // namespace zelsr

using namespace zelsr;

SrStatus zelsNormalizeInRange_32f(const float* src, float* dst, int32_t len, float low, float high, float range)
{
    if (SrStatus failed =
            first_failure(non_null(src, dst), positive(len), fractions(low, high), not_negative(range)))
        return failed;
    return map_into_range(src, dst, len, low, high, range);
}

SrStatus zelsNormalizeInRange_32f16s(const float* src, int16_t* dst, int32_t len, float low, float high,
                                     int16_t range)
{
    if (SrStatus failed =
            first_failure(non_null(src, dst), positive(len), fractions(low, high), not_negative(range)))
        return failed;
    return map_into_range(src, dst, len, low, high, range);
}

SrStatus zelsNormalizeInRange_32f8u(const float* src, uint8_t* dst, int32_t len, float low, float high,
                                    uint8_t range)
{
    if (SrStatus failed = first_failure(non_null(src, dst), positive(len), fractions(low, high))) return failed;
    return map_into_range(src, dst, len, low, high, range);
}

SrStatus zelsNormalizeInRange_16s(const int16_t* src, int16_t* dst, int32_t len, float low, float high,
                                  int16_t range)
{
    if (SrStatus failed =
            first_failure(non_null(src, dst), positive(len), fractions(low, high), not_negative(range)))
        return failed;
    return map_into_range(src, dst, len, low, high, range);
}

SrStatus zelsNormalizeInRange_16s8u(const int16_t* src, uint8_t* dst, int32_t len, float low, float high,
                                    uint8_t range)
{
    if (SrStatus failed = first_failure(non_null(src, dst), positive(len), fractions(low, high))) return failed;
    return map_into_range(src, dst, len, low, high, range);
}

SrStatus zelsNormalizeInRange_32f_I(float* srcdst, int32_t len, float low, float high, float range)
{
    if (SrStatus failed =
            first_failure(non_null(srcdst), positive(len), fractions(low, high), not_negative(range)))
        return failed;
    return map_into_range(srcdst, srcdst, len, low, high, range);
}

SrStatus zelsNormalizeInRange_16s_I(int16_t* srcdst, int32_t len, float low, float high, int16_t range)
{
    if (SrStatus failed =
            first_failure(non_null(srcdst), positive(len), fractions(low, high), not_negative(range)))
        return failed;
    return map_into_range(srcdst, srcdst, len, low, high, range);
}

SrStatus zelsNormalizeInRangeMinMax_32f(const float* src, float* dst, int32_t len, float lowest, float highest,
                                        float low, float high, float range)
{
    if (SrStatus failed = first_failure(non_null(src, dst), positive(len), fractions(low, high),
                                        not_negative(range), ordered(lowest, highest)))
        return failed;
    return map_into_range(src, dst, len, span(lowest, highest), low, high, range);
}

SrStatus zelsNormalizeInRangeMinMax_32f16s(const float* src, int16_t* dst, int32_t len, float lowest,
                                           float highest, float low, float high, int16_t range)
{
    if (SrStatus failed = first_failure(non_null(src, dst), positive(len), fractions(low, high),
                                        not_negative(range), ordered(lowest, highest)))
        return failed;
    return map_into_range(src, dst, len, span(lowest, highest), low, high, range);
}

SrStatus zelsNormalizeInRangeMinMax_32f8u(const float* src, uint8_t* dst, int32_t len, float lowest, float highest,
                                          float low, float high, uint8_t range)
{
    if (SrStatus failed =
            first_failure(non_null(src, dst), positive(len), fractions(low, high), ordered(lowest, highest)))
        return failed;
    return map_into_range(src, dst, len, span(lowest, highest), low, high, range);
}

SrStatus zelsNormalizeInRangeMinMax_16s(const int16_t* src, int16_t* dst, int32_t len, int16_t lowest,
                                        int16_t highest, float low, float high, int16_t range)
{
    if (SrStatus failed = first_failure(non_null(src, dst), positive(len), fractions(low, high),
                                        not_negative(range), ordered(lowest, highest)))
        return failed;
    return map_into_range(src, dst, len, span(lowest, highest), low, high, range);
}

SrStatus zelsNormalizeInRangeMinMax_16s8u(const int16_t* src, uint8_t* dst, int32_t len, int16_t lowest,
                                          int16_t highest, float low, float high, uint8_t range)
{
    if (SrStatus failed =
            first_failure(non_null(src, dst), positive(len), fractions(low, high), ordered(lowest, highest)))
        return failed;
    return map_into_range(src, dst, len, span(lowest, highest), low, high, range);
}

SrStatus zelsNormalizeInRangeMinMax_32f_I(float* srcdst, int32_t len, float lowest, float highest, float low,
                                          float high, float range)
{
    if (SrStatus failed = first_failure(non_null(srcdst), positive(len), fractions(low, high), not_negative(range),
                                        ordered(lowest, highest)))
        return failed;
    return map_into_range(srcdst, srcdst, len, span(lowest, highest), low, high, range);
}

SrStatus zelsNormalizeInRangeMinMax_16s_I(int16_t* srcdst, int32_t len, int16_t lowest, int16_t highest, float low,
                                          float high, int16_t range)
{
    if (SrStatus failed = first_failure(non_null(srcdst), positive(len), fractions(low, high), not_negative(range),
                                        ordered(lowest, highest)))
        return failed;
    return map_into_range(srcdst, srcdst, len, span(lowest, highest), low, high, range);
}
