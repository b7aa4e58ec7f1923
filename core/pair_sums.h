// Exact sums of products of 16-bit integers.
#pragma once

#include <cstdint>

#include "core/simd.h"

namespace zelsr {

// Sums of two neighbouring products each, in 64 bits. Such a pair lies from -2^31 + 2^16 to 2^31: the upper end
// wraps in the processor's pairwise product, so a bias makes it an unsigned number of 32 bits. Of the 64-bit lanes
// that hold two of them, low + 2^32 high, one sum takes the whole (modulo 2^64) and one the high halves: the low
// halves' sum is whole - 2^32 high. Nothing is lost in 2^31 additions.
class PairSums {
  public:
    [[gnu::always_inline]] void add(__m128i x, __m128i y)
    {
        const __m128i biased = _mm_add_epi32(_mm_madd_epi16(x, y), _mm_set1_epi32(0x7fff0000));
        whole_ = _mm_add_epi64(whole_, biased);
        high_ = _mm_add_epi64(high_, _mm_srli_epi64(biased, 32));
    }

    // After count additions: the sums of 32-bit lanes 0 and 2, and those of lanes 1 and 3.
    __m128i lanes_0_2(int32_t count) const { return _mm_sub_epi64(low(), bias(count)); }
    __m128i lanes_1_3(int32_t count) const { return _mm_sub_epi64(high_, bias(count)); }
    // After count additions: the sum of all lanes.
    int64_t total(int32_t count) const
    {
        const __m128i halves = _mm_add_epi64(low(), high_);
        const __m128i biased = _mm_add_epi64(halves, _mm_unpackhi_epi64(halves, halves));
        int64_t result;
        _mm_storel_epi64(reinterpret_cast<__m128i*>(&result),
                         _mm_sub_epi64(biased, _mm_slli_epi64(bias(count), 2)));
        return result;
    }

  private:
    __m128i low() const { return _mm_sub_epi64(whole_, _mm_slli_epi64(high_, 32)); }
    // 2^31 - 2^16 for each addition.
    static __m128i bias(int32_t count)
    {
        const __m128i twice = _mm_set_epi32(0, count, 0, count);
        return _mm_sub_epi64(_mm_slli_epi64(twice, 31), _mm_slli_epi64(twice, 16));
    }

    __m128i whole_, high_;
};

}  // namespace zelsr
