// Removal of a signal's mean.
#include <algorithm>

#include "core/contract.h"
#include "core/groups.h"
#include "core/simd.h"
#include "zelsr/core/vector.h"
#include "zelsr/matrix/normalize.h"

namespace zelsr {
namespace {

// The sums of 65536 elements fit 32 bits.
int64_t exact_sum(const int16_t* src, int32_t len)
{
    constexpr std::ptrdiff_t kBlock = 65536;
    int64_t sum = 0;
    for (std::ptrdiff_t i = 0; i < len; i += kBlock) {
        int32_t sum_of_block = 0;
        zelsSum_16s32s_Sfs(src + i, static_cast<int32_t>(std::min(kBlock, len - i)), &sum_of_block, 0);
        sum += sum_of_block;
    }
    return sum;
}

// d = 2 x - t goes to (d - 1) >> 1 below zero, else to (d + 1) >> 1: an even d below zero comes out one lower than
// its half, and the lower limit is -32767: both wanted.
class LessHalf {
  public:
    explicit LessHalf(int32_t t) : t_(_mm_set1_epi32(t)) {}

    __m128i operator()(__m128i x) const
    {
        const __m128i halves = _mm_packs_epi32(half_of_rest(low_16s32s(x)), half_of_rest(high_16s32s(x)));
        return _mm_max_epi16(halves, _mm_set1_epi16(-32767));
    }

  private:
    __m128i half_of_rest(__m128i x) const
    {
        const __m128i d = _mm_sub_epi32(_mm_add_epi32(x, x), t_);
        const __m128i unit = _mm_or_si128(_mm_srai_epi32(d, 31), _mm_set1_epi32(1));  // -1 or 1
        return _mm_srai_epi32(_mm_add_epi32(d, unit), 1);
    }

    __m128i t_;
};

}  // namespace
}  // namespace zelsr

using namespace zelsr;

// The quotient of the contract's division in double, truncated, is that of the integers: it has at most 17 bits in
// front of the point and, unless it is whole, keeps 2^-31 away from the next whole number.
SrStatus zelsZeroMean_16s(int16_t* srcdst, int32_t len)
{
    if (SrStatus failed = first_failure(positive(len), non_null(srcdst))) return failed;
    const LessHalf less_half(static_cast<int32_t>(2 * exact_sum(srcdst, len) / len));
    const auto step = [&](int16_t* to, const int16_t* from) {
        Unaligned::put(to, less_half(Unaligned::bytes(from)));
    };
    in_groups<8>(len, srcdst, step, srcdst);
    return SrOk;
}
