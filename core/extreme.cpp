// Extreme values and where they are.
//
// Without NaN every order of comparisons finds the same value (of zeros with both signs: one of them), so the
// order here is the fastest one, and the same wherever the array lies.
#include <algorithm>

#include "core/contract.h"
#include "core/elementwise.h"
#include "zelsr/core/vector.h"

namespace zelsr {
namespace {

inline __m128 larger(__m128 x, __m128 y) { return _mm_max_ps(x, y); }
inline __m128d larger(__m128d x, __m128d y) { return _mm_max_pd(x, y); }
inline __m128 smaller(__m128 x, __m128 y) { return _mm_min_ps(x, y); }
inline __m128d smaller(__m128d x, __m128d y) { return _mm_min_pd(x, y); }

inline float first_lane(__m128 v) { return _mm_cvtss_f32(v); }
inline double first_lane(__m128d v) { return _mm_cvtsd_f64(v); }

inline __m128 rotate_by_half(__m128 v) { return _mm_shuffle_ps(v, v, 0x4e); }
inline __m128d rotate_by_half(__m128d v) { return _mm_shuffle_pd(v, v, 1); }
inline __m128 rotate_by_one(__m128 v) { return _mm_shuffle_ps(v, v, 0x39); }
inline __m128d rotate_by_one(__m128d v) { return v; }  // two lanes are done after the first step

// What a scan keeps, lane by lane; value() joins the lanes.
template <class T>
struct Largest {
    using Register = decltype(repeat(T()));

    Register best;

    explicit Largest(Register first) : best(first) {}
    void take(Register x) { best = larger(x, best); }
    void take(const Largest& other) { take(other.best); }
    T value() const
    {
        const Register halves = larger(best, rotate_by_half(best));
        return first_lane(larger(halves, rotate_by_one(halves)));
    }
    static bool beats(T x, T y) { return x > y; }
};

template <class T>
struct Smallest {
    using Register = decltype(repeat(T()));

    Register best;

    explicit Smallest(Register first) : best(first) {}
    void take(Register x) { best = smaller(x, best); }
    void take(const Smallest& other) { take(other.best); }
    T value() const
    {
        const Register halves = smaller(best, rotate_by_half(best));
        return first_lane(smaller(halves, rotate_by_one(halves)));
    }
    static bool beats(T x, T y) { return x < y; }
};

template <class T>
struct Range {
    using Register = decltype(repeat(T()));

    Smallest<T> lowest;
    Largest<T> highest;

    explicit Range(Register first) : lowest(first), highest(first) {}
    void take(Register x)
    {
        lowest.take(x);
        highest.take(x);
    }
    void take(const Range& other)
    {
        lowest.take(other.lowest);
        highest.take(other.highest);
    }
};

// The last whole register may overlap the one before it: an element that is seen twice changes nothing.
template <template <class> class Kept, class T>
Kept<T> scan(const T* src, std::ptrdiff_t len)
{
    constexpr std::ptrdiff_t step = kLanes<T>;
    Kept<T> kept(repeat(load_one(src)));
    if (len < step) {
        for (std::ptrdiff_t i = 1; i < len; ++i) kept.take(repeat(load_one(src + i)));
        return kept;
    }
    std::ptrdiff_t i = 0;
    if (len >= 4 * step) {
        Kept<T> kept1 = kept, kept2 = kept, kept3 = kept;
        for (; i <= len - 4 * step; i += 4 * step) {
            kept.take(FullRegister::of(src + i));
            kept1.take(FullRegister::of(src + i + step));
            kept2.take(FullRegister::of(src + i + 2 * step));
            kept3.take(FullRegister::of(src + i + 3 * step));
        }
        kept2.take(kept3);
        kept.take(kept1);
        kept.take(kept2);
    }
    for (; i < len - step; i += step) kept.take(FullRegister::of(src + i));
    kept.take(FullRegister::of(src + len - step));
    return kept;
}

inline bool any_equal(__m128 x, __m128 y) { return _mm_movemask_ps(_mm_cmpeq_ps(x, y)) != 0; }
inline bool any_equal(__m128d x, __m128d y) { return _mm_movemask_pd(_mm_cmpeq_pd(x, y)) != 0; }

// The first index that holds it; 0 if none does, which is so only with NaN in the data.
template <class T>
std::ptrdiff_t first_position(T wanted, const T* src, std::ptrdiff_t len)
{
    constexpr std::ptrdiff_t step = kLanes<T>;
    const auto lanes = repeat(wanted);
    std::ptrdiff_t i = 0;
    while (i <= len - step && !any_equal(FullRegister::of(src + i), lanes)) i += step;
    for (; i < len; ++i)
        if (load_one(src + i) == wanted) return i;
    return 0;
}

// The value is found block by block; only the first block that holds it is searched for the position, while it
// is likely to be in the cache still.
template <template <class> class Kept, class T>
SrStatus locate(const T* src, int32_t len, T* value, int32_t* index)
{
    constexpr std::ptrdiff_t block = 1024;
    T best = scan<Kept>(src, std::min<std::ptrdiff_t>(block, len)).value();
    std::ptrdiff_t start = 0;
    for (std::ptrdiff_t at = block; at < len; at += block) {
        const T rival = scan<Kept>(src + at, std::min(block, len - at)).value();
        if (Kept<T>::beats(rival, best)) {
            best = rival;
            start = at;
        }
    }
    const std::ptrdiff_t found = start + first_position(best, src + start, std::min(block, len - start));
    store_one(value, load_one(src + found));
    store_one(index, static_cast<int32_t>(found));
    return SrOk;
}

template <template <class> class Kept, class T>
SrStatus store_extreme(const T* src, int32_t len, T* value)
{
    store_one(value, scan<Kept>(src, len).value());
    return SrOk;
}

}  // namespace
}  // namespace zelsr

using namespace zelsr;

SrStatus zelsMax_32f(const float* src, int32_t len, float* result)
{
    if (SrStatus failed = first_failure(non_null(src, result), positive(len))) return failed;
    return store_extreme<Largest>(src, len, result);
}

SrStatus zelsMax_64f(const double* src, int32_t len, double* result)
{
    if (SrStatus failed = first_failure(non_null(src, result), positive(len))) return failed;
    return store_extreme<Largest>(src, len, result);
}

SrStatus zelsMin_32f(const float* src, int32_t len, float* result)
{
    if (SrStatus failed = first_failure(non_null(src, result), positive(len))) return failed;
    return store_extreme<Smallest>(src, len, result);
}

SrStatus zelsMin_64f(const double* src, int32_t len, double* result)
{
    if (SrStatus failed = first_failure(non_null(src, result), positive(len))) return failed;
    return store_extreme<Smallest>(src, len, result);
}

SrStatus zelsMinMax_32f(const float* src, int32_t len, float* lowest, float* highest)
{
    if (SrStatus failed = first_failure(non_null(src, lowest, highest), positive(len))) return failed;
    const auto range = scan<Range>(src, len);
    store_one(lowest, range.lowest.value());
    store_one(highest, range.highest.value());
    return SrOk;
}

SrStatus zelsMaxIndx_32f(const float* src, int32_t len, float* value, int32_t* index)
{
    if (index == nullptr) return zelsMax_32f(src, len, value);
    if (SrStatus failed = first_failure(non_null(src, value), positive(len))) return failed;
    return locate<Largest>(src, len, value, index);
}

SrStatus zelsMaxIndx_64f(const double* src, int32_t len, double* value, int32_t* index)
{
    if (index == nullptr) return zelsMax_64f(src, len, value);
    if (SrStatus failed = first_failure(non_null(src, value), positive(len))) return failed;
    return locate<Largest>(src, len, value, index);
}

SrStatus zelsMinIndx_32f(const float* src, int32_t len, float* value, int32_t* index)
{
    if (index == nullptr) return zelsMin_32f(src, len, value);
    if (SrStatus failed = first_failure(non_null(src, value), positive(len))) return failed;
    return locate<Smallest>(src, len, value, index);
}
