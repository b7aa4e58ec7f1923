// Vector registers: loads and stores by alignment, single elements at any byte address, lane masks and joins.
//
// Kernels are written over groups of four single lanes (two double lanes) whose partial sums are contract.
// GCC's and Clang's operators on __m128 and __m128d (+ - * /) are used wherever they exist.
#pragma once

#include <tmmintrin.h>

#include <cstdint>
#include <cstring>

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

// The same address of a table, whose contents the compiler then does not know. Of constants that it knows it keeps
// no copy in four lanes but one lane, which it repeats inside the loop where registers run short.
template <class T>
inline const T* opaque(const T* table)
{
    asm("" : "+r"(table));
    return table;
}

// How a kernel loads and stores whole registers. The one place that tests pointers chooses between the two.
struct Aligned {
    static __m128 four(const float* p) { return _mm_load_ps(p); }
    static __m128d two(const double* p) { return _mm_load_pd(p); }
    static __m128i bytes(const void* p) { return _mm_load_si128(static_cast<const __m128i*>(p)); }
    static void put(float* p, __m128 v) { _mm_store_ps(p, v); }
    static void put(double* p, __m128d v) { _mm_store_pd(p, v); }
    static void put(void* p, __m128i v) { _mm_store_si128(static_cast<__m128i*>(p), v); }
};
struct Unaligned {
    static __m128 four(const float* p) { return _mm_loadu_ps(p); }
    static __m128d two(const double* p) { return _mm_loadu_pd(p); }
    static __m128i bytes(const void* p) { return _mm_loadu_si128(static_cast<const __m128i*>(p)); }
    static void put(float* p, __m128 v) { _mm_storeu_ps(p, v); }
    static void put(double* p, __m128d v) { _mm_storeu_pd(p, v); }
    static void put(void* p, __m128i v) { _mm_storeu_si128(static_cast<__m128i*>(p), v); }
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

// The last 1 to 3 elements in the first lanes and zeros in the others; nothing beyond them is read.
inline __m128 load_part(const float* p, int count)
{
    if (count == 1) return _mm_load_ss(p);
    const __m128 pair = _mm_castsi128_ps(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p)));
    return count == 2 ? pair : _mm_movelh_ps(pair, _mm_load_ss(p + 2));
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

}  // namespace zelsr
