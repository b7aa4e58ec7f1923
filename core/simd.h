// Vector registers: loads and stores by alignment, single elements at any byte address, lane masks and joins.
//
// Kernels are written over groups of four single lanes (two double lanes) whose partial sums are contract.
// GCC's and Clang's operators on __m128 and __m128d (+ - * /) are used wherever they exist.
#pragma once

#include <tmmintrin.h>

#include <cstdint>
#include <cstring>
#include <type_traits>
#include <utility>

namespace zelsr {

// One element at any byte address: the interface promises that no array needs alignment, not even to its
// element's size.
template <class T>
inline T load_one(const T* from)
{
    T value;
    std::memcpy(&value, from, sizeof value);
    return value;
}
template <class T>
inline void store_one(T* to, T value)
{
    std::memcpy(to, &value, sizeof value);
}

// The register that holds several elements of a type, and how many.
namespace detail {
template <class T>
struct Register;
template <>
struct Register<float> {
    using Lanes = __m128;
};
template <>
struct Register<double> {
    using Lanes = __m128d;
};
}  // namespace detail
template <class T>
using LanesOf = typename detail::Register<T>::Lanes;
template <class T>
inline constexpr int32_t kLanes = 16 / static_cast<int32_t>(sizeof(T));

// f(0), f(1), ... f(N - 1) with constants, so that arrays which they index become registers.
template <int N, class F>
[[gnu::always_inline]] inline void for_each_index(F f)
{
    // The attribute in its GNU form: behind the parameters the standard one would name the type, and do nothing.
    [&]<int... n>(std::integer_sequence<int, n...>) __attribute__((always_inline))
    {
        (f(std::integral_constant<int, n>{}), ...);
    }
    (std::make_integer_sequence<int, N>{});
}

// The same address of a table, whose contents the compiler then does not know. Of constants that it knows it keeps
// no copy in four lanes but one lane, which it repeats inside the loop where registers run short.
template <class T>
inline const T* opaque(const T* table)
{
    asm("" : "+r"(table));
    return table;
}

// The registers are complete here, so that what stands above is not put off and what stands below not begun
// before.
template <class Lanes, class OtherLanes>
inline void fix_order(Lanes& a, OtherLanes& b)
{
    asm("" : "+x"(a), "+x"(b));
}

// How a kernel loads and stores whole registers. The one place that tests pointers chooses between the two.
// lanes() loads one register of the element's type.
struct Aligned {
    static __m128 four(const float* p) { return _mm_load_ps(p); }
    static __m128d two(const double* p) { return _mm_load_pd(p); }
    static __m128 lanes(const float* p) { return four(p); }
    static __m128d lanes(const double* p) { return two(p); }
    static __m128i bytes(const void* p) { return _mm_load_si128(static_cast<const __m128i*>(p)); }
    static void put(float* p, __m128 v) { _mm_store_ps(p, v); }
    static void put(double* p, __m128d v) { _mm_store_pd(p, v); }
    static void put(void* p, __m128i v) { _mm_store_si128(static_cast<__m128i*>(p), v); }
};
struct Unaligned {
    static __m128 four(const float* p) { return _mm_loadu_ps(p); }
    static __m128d two(const double* p) { return _mm_loadu_pd(p); }
    static __m128 lanes(const float* p) { return four(p); }
    static __m128d lanes(const double* p) { return two(p); }
    static __m128i bytes(const void* p) { return _mm_loadu_si128(static_cast<const __m128i*>(p)); }
    static void put(float* p, __m128 v) { _mm_storeu_ps(p, v); }
    static void put(double* p, __m128d v) { _mm_storeu_pd(p, v); }
    static void put(void* p, __m128i v) { _mm_storeu_si128(static_cast<__m128i*>(p), v); }
};

// How a kernel loads what is left of a row behind its whole registers: nothing beyond the named elements is read.
// One element in lane 0, zeros in the others.
struct OneLane {
    static __m128 lanes(const float* p) { return _mm_set_ss(load_one(p)); }
    static __m128d lanes(const double* p) { return _mm_set_sd(load_one(p)); }
};
// One element in every lane.
struct EveryLane {
    static __m128 lanes(const float* p) { return _mm_set1_ps(load_one(p)); }
    static __m128d lanes(const double* p) { return _mm_set1_pd(load_one(p)); }
};
// The first count (1 to 3) elements in their lanes, zeros in the others.
struct FirstLanes {
    int count;

    __m128 lanes(const float* p) const
    {
        if (count == 1) return OneLane::lanes(p);
        const __m128 pair = _mm_castsi128_ps(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p)));
        return count == 2 ? pair : _mm_movelh_ps(pair, OneLane::lanes(p + 2));
    }
    __m128d lanes(const double* p) const { return OneLane::lanes(p); }
};

// Row r moves the last r lanes of a register to its first ones and clears the others, as a control of pshufb.
alignas(16) inline constexpr std::int8_t kLastLanesFirst[4][16] = {
    {-1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1},
    {12, 13, 14, 15, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1},
    {8, 9, 10, 11, 12, 13, 14, 15, -1, -1, -1, -1, -1, -1, -1, -1},
    {4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, -1, -1, -1, -1},
};

// The same for the end of a row of at least four elements: one read of its last four.
class LongRowEnd {
  public:
    explicit LongRowEnd(int count) : before_(4 - count), control_(Aligned::bytes(kLastLanesFirst[count])) {}
    __m128 lanes(const float* p) const
    {
        return _mm_castsi128_ps(_mm_shuffle_epi8(Unaligned::bytes(p - before_), control_));
    }

  private:
    int before_;
    __m128i control_;
};

// Row r has all ones in its first r lanes and zeros in the others.
alignas(16) inline constexpr std::uint32_t OutMask32f[4][4] = {
    {0, 0, 0, 0},
    {0xffffffffu, 0, 0, 0},
    {0xffffffffu, 0xffffffffu, 0, 0},
    {0xffffffffu, 0xffffffffu, 0xffffffffu, 0},
};

// All ones in the first count lanes (0 to 3).
inline __m128 first_lanes(int count) { return _mm_load_ps(reinterpret_cast<const float*>(OutMask32f[count])); }

// yes where the mask's bits are set, no elsewhere. A mask of integers serves singles too.
inline __m128 choose(__m128 mask, __m128 yes, __m128 no)
{
    return _mm_or_ps(_mm_and_ps(mask, yes), _mm_andnot_ps(mask, no));
}
inline __m128d choose(__m128d mask, __m128d yes, __m128d no)
{
    return _mm_or_pd(_mm_and_pd(mask, yes), _mm_andnot_pd(mask, no));
}
inline __m128i choose(__m128i mask, __m128i yes, __m128i no)
{
    return _mm_or_si128(_mm_and_si128(mask, yes), _mm_andnot_si128(mask, no));
}
inline __m128 choose(__m128i mask, __m128 yes, __m128 no) { return choose(_mm_castsi128_ps(mask), yes, no); }

// Lane 1 in lane 0 and so on, zero in the last.
inline __m128 next_lane(__m128 v) { return _mm_castsi128_ps(_mm_srli_si128(_mm_castps_si128(v), 4)); }

// The first count lanes, to and from any byte address.
inline void store_first(float* to, __m128 v, int32_t count)
{
    if (count == 4) return Unaligned::put(to, v);
    for (int32_t i = 0; i < count; ++i, v = next_lane(v)) store_one(to + i, _mm_cvtss_f32(v));
}
inline void store_first(double* to, __m128d v, int32_t count)
{
    if (count == 2) return Unaligned::put(to, v);
    store_one(to, _mm_cvtsd_f64(v));
}
inline __m128 load_first(const float* from, int32_t count)
{
    return count == 4 ? Unaligned::lanes(from) : FirstLanes{count}.lanes(from);
}
inline __m128d load_first(const double* from, int32_t count)
{
    return count == 2 ? Unaligned::lanes(from) : OneLane::lanes(from);
}

// (lane 0 + lane 1) + (lane 2 + lane 3)
inline float join_pairs(__m128 v)
{
    v = _mm_hadd_ps(v, v);
    return _mm_cvtss_f32(_mm_hadd_ps(v, v));
}

// (lane 0 + lane 2) + (lane 1 + lane 3)
inline float join_halves(__m128 v)
{
    v = v + _mm_movehl_ps(v, v);
    return _mm_cvtss_f32(_mm_add_ss(v, _mm_shuffle_ps(v, v, 1)));
}

// join_pairs of four registers, the sum of v0 in lane 0 and so on.
inline __m128 join_pairs(__m128 v0, __m128 v1, __m128 v2, __m128 v3)
{
    return _mm_hadd_ps(_mm_hadd_ps(v0, v1), _mm_hadd_ps(v2, v3));
}

// Eight 16-bit integers as two registers of 32-bit ones.
inline __m128i low_16s32s(__m128i x) { return _mm_srai_epi32(_mm_unpacklo_epi16(x, x), 16); }
inline __m128i high_16s32s(__m128i x) { return _mm_srai_epi32(_mm_unpackhi_epi16(x, x), 16); }

// lane 0 + lane 1
inline double join(__m128d v) { return _mm_cvtsd_f64(_mm_add_sd(v, _mm_unpackhi_pd(v, v))); }

// Each register's lanes joined as by join_pairs; the sum of v[n] in lane n.
[[gnu::always_inline]] inline __m128 join_each(const __m128 (&v)[4]) { return join_pairs(v[0], v[1], v[2], v[3]); }
[[gnu::always_inline]] inline __m128 join_each(const __m128 (&v)[1]) { return _mm_set_ss(join_pairs(v[0])); }
[[gnu::always_inline]] inline __m128d join_each(const __m128d (&v)[2]) { return _mm_hadd_pd(v[0], v[1]); }
[[gnu::always_inline]] inline __m128d join_each(const __m128d (&v)[1]) { return _mm_set_sd(join(v[0])); }

}  // namespace zelsr
