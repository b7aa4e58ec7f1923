// The cosine transform with lifter: sums of products of the inputs and the rows of the record's table.
#include "core/contract.h"
#include "core/convert.h"
#include "core/rounding.h"
#include "core/simd.h"
#include "frontend/cepstrum_record.h"

namespace zelsr {
namespace {

inline __m128 four_singles(const float* p) { return Unaligned::four(p); }
inline __m128 four_singles(const int32_t* p) { return _mm_cvtepi32_ps(Unaligned::bytes(p)); }
inline __m128 four_singles(const int16_t* p)
{
    return _mm_cvtepi32_ps(low_16s32s(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p))));
}

// In lane 0.
template <class T>
__m128 one_single(const T* p)
{
    return _mm_set_ss(static_cast<float>(load_one(p)));
}

// sum += src[j] * row[j] in lane 0, for j from begin on.
template <class T>
[[gnu::always_inline]] inline __m128 add_rest(__m128 sum, const T* src, const float* row, std::ptrdiff_t begin,
                                              std::ptrdiff_t len)
{
    for (std::ptrdiff_t j = begin; j < len; ++j)
        sum = _mm_add_ss(sum, _mm_mul_ss(one_single(src + j), _mm_load_ss(row + j)));
    return sum;
}

// Four coefficients from their rows, each with four partial sums.
template <class T>
[[gnu::always_inline]] inline void group_of_four(const T* src, std::ptrdiff_t len, const float* const* rows,
                                                 const float* lifter, float* dst)
{
    const float* row[4];
    __m128 sum[4];
    for_each_index<4>([&](auto n) __attribute__((always_inline)) {
        row[n] = rows[n];
        sum[n] = _mm_setzero_ps();
    });
    const std::ptrdiff_t whole = len & ~std::ptrdiff_t{3};
    for (std::ptrdiff_t j = 0; j < whole; j += 4) {
        const __m128 x = four_singles(src + j);
        for_each_index<4>([&](auto n) __attribute__((always_inline)) { sum[n] += x * Aligned::four(row[n] + j); });
    }
    for (std::ptrdiff_t j = whole; j < len; ++j) {
        const __m128 x = one_single(src + j);
        for_each_index<4>([&](auto n) __attribute__((always_inline)) {
            sum[n] = _mm_add_ss(sum[n], _mm_mul_ss(x, _mm_load_ss(row[n] + j)));
        });
    }
    Unaligned::put(dst, join_each(sum) * Unaligned::four(lifter));
}

// One coefficient, with eight partial sums.
template <class T>
float one_by_eight(const T* src, std::ptrdiff_t len, const float* row)
{
    __m128 low = _mm_setzero_ps(), high = low;
    std::ptrdiff_t j = 0;
    for (; j + 8 <= len; j += 8) {
        low += four_singles(src + j) * Aligned::four(row + j);
        high += four_singles(src + j + 4) * Aligned::four(row + j + 4);
    }
    return join_pairs(add_rest(low + high, src, row, j, len));
}

// The zeroth coefficient: its row holds ones.
template <class T>
float in_sequence(const T* src, std::ptrdiff_t len)
{
    float sum = 0;
    for (std::ptrdiff_t j = 0; j < len; ++j) sum += static_cast<float>(load_one(src + j));
    return sum;
}

template <class T, class State>
[[gnu::noinline]] void transform(const T* src, float* dst, const State& state)
{
    const std::ptrdiff_t len = state.lenDCT, count = state.lenCep;
    const float* const lifter = state.lifter;
    const float* const* const rows = state.cosRows;
    // Its long chain of additions first, beside which the others run.
    const float sum = state.useC0 == 1 ? in_sequence(src, len) : 0.0F;
    std::ptrdiff_t k = 1;
    for (; k + 3 <= count; k += 4) group_of_four(src, len, rows + k, lifter + k, dst + k - 1);
    for (; k <= count; ++k) store_one(dst + k - 1, one_by_eight(src, len, rows[k]) * lifter[k]);
    if (state.useC0 == 1) store_one(dst + count, sum * lifter[0]);
}

template <class T>
SrStatus transform_to_16s(const T* src, int16_t* dst, const ZelDCTLifterState_16s& state, int32_t sf)
{
    const DefaultFloatEnvironment environment;
    if (state.scratch == nullptr) return SrErrMemAlloc;  // refused when the record was made
    transform(src, state.scratch, state);
    convert_32f16s(state.scratch, dst, state.lenCep + (state.useC0 == 1), Rounding::Nearest, sf);
    return SrOk;
}

}  // namespace
}  // namespace zelsr

using namespace zelsr;

SrStatus zelsDCTLifter_32f(const float* src, float* dst, const ZelDCTLifterState_32f* state)
{
    if (SrStatus failed = non_null(state, src, dst)) return failed;
    transform(src, dst, *state);
    return SrOk;
}

SrStatus zelsDCTLifter_16s_Sfs(const int16_t* src, int16_t* dst, const ZelDCTLifterState_16s* state, int32_t sf)
{
    if (SrStatus failed = non_null(state, src, dst)) return failed;
    return transform_to_16s(src, dst, *state, sf);
}

SrStatus zelsDCTLifter_32s16s_Sfs(const int32_t* src, int16_t* dst, const ZelDCTLifterState_16s* state, int32_t sf)
{
    if (SrStatus failed = non_null(state, src, dst)) return failed;
    return transform_to_16s(src, dst, *state, sf);
}
