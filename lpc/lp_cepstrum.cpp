// Prediction coefficients and the cepstrum of their filter.
//
// Both directions are c[n] + a[n] = -S(n) / (n + 1), S(n) a sum of n weighted products of what is known by then.
#include <algorithm>
#include <array>

#include "core/contract.h"
#include "core/rounding.h"
#include "core/scratch.h"
#include "core/simd.h"
#include "lpc/scaled.h"
#include "zelsr/lpc/conversion.h"

namespace zelsr {
namespace {

constexpr int32_t kOnStack = 22;  // 16-bit forms: below this length no memory is allocated

// Entry i holds 1 / (i + 1).
constexpr auto divTable = [] {
    std::array<float, 25> table{};
    for (std::size_t i = 0; i < table.size(); ++i) table[i] = 1.0F / static_cast<float>(i + 1);
    return table;
}();
constexpr const auto& c2ldivTable = divTable;

// Lengths 4 to 21 multiply by the table: another rounding, wanted.
template <const std::array<float, 25>& Table>
float quotient(float sum, int32_t n, int32_t len)
{
    if (len >= 4 && len < 22) return sum * Table[static_cast<std::size_t>(n)];
    return sum / static_cast<float>(n + 1);
}

// The newest cepstral value comes first in a sum, so that no sum can be begun before the one before it is
// complete.
[[gnu::noinline]] void lp_to_cepstrum(const float* a, float* cepstrum, int32_t len)
{
    for (int32_t n = 0; n < len; ++n) {
        float sum = 0;
        for (int32_t j = 1; j <= n; ++j)
            sum += static_cast<float>(n - j + 1) * load_one(a + j - 1) * load_one(cepstrum + n - j);
        store_one(cepstrum + n, 0 - (quotient<divTable>(sum, n, len) + load_one(a + n)));
    }
}

// Cepstral values from m on, times m + 1.
struct WeightedInSingle {
    const float* cepstrum;

    __m128 four(int32_t m) const
    {
        const __m128i weight = _mm_add_epi32(_mm_set1_epi32(m), _mm_setr_epi32(1, 2, 3, 4));
        return _mm_cvtepi32_ps(weight) * Unaligned::four(cepstrum + m);
    }
    float one(int32_t m) const { return static_cast<float>(m + 1) * load_one(cepstrum + m); }
};
struct Weighted {
    const float* products;

    __m128 four(int32_t m) const { return Unaligned::four(products + m); }
    float one(int32_t m) const { return products[m]; }
};

// A sum takes the coefficients in the order in which they become known, so that each is added to all later sums at
// once; these wait where their coefficients will stand.
template <class Weights>
[[gnu::noinline]] void cepstrum_to_lp(const float* cepstrum, Weights weighted, float* a, int32_t len)
{
    for (int32_t n = 0; n < len; ++n) store_one(a + n, 0.0F);
    for (int32_t n = 0; n < len; ++n) {
        const float known = 0 - (quotient<c2ldivTable>(load_one(a + n), n, len) + load_one(cepstrum + n));
        store_one(a + n, known);
        float* sums = a + n + 1;
        const int32_t left = len - 1 - n;
        int32_t m = 0;
        for (; m <= left - 4; m += 4)
            Unaligned::put(sums + m, Unaligned::four(sums + m) + weighted.four(m) * _mm_set1_ps(known));
        for (; m < left; ++m) store_one(sums + m, load_one(sums + m) + weighted.one(m) * known);
    }
}

// (m + 1) c[m] in integers that wrap at 32 bits (wanted), then rounded to single and scaled.
void weigh_integers(const int16_t* cepstrum, float* weighted, int32_t len, float factor)
{
    for (int32_t m = 0; m < len; ++m) {
        const auto product = (static_cast<uint32_t>(m) + 1) * static_cast<uint32_t>(load_one(cepstrum + m));
        weighted[m] = static_cast<float>(static_cast<int32_t>(product)) * factor;
    }
}

}  // namespace
}  // namespace zelsr

using namespace zelsr;

SrStatus zelsLPToCepstrum_32f(const float* a, float* cepstrum, int32_t len)
{
    if (SrStatus failed = first_failure(non_null(a, cepstrum), positive(len))) return failed;
    lp_to_cepstrum(a, cepstrum, len);
    return SrOk;
}

SrStatus zelsLPToCepstrum_16s_Sfs(const int16_t* a, int16_t* cepstrum, int32_t len, int32_t sf)
{
    if (SrStatus failed = first_failure(non_null(a, cepstrum), positive(len))) return failed;
    const Scratch<float, 2 * (kOnStack - 1)> work(2 * int64_t{len});
    if (!work) return SrErrMemAlloc;
    const DefaultFloatEnvironment environment;
    float *source = work.data(), *result = source + len;
    to_single(a, source, len, power_of_two(sf));
    lp_to_cepstrum(source, result, len);
    to_low_16s(result, cepstrum, len, sf);
    return SrOk;
}

SrStatus zelsCepstrumToLP_32f(const float* cepstrum, float* a, int32_t len)
{
    if (SrStatus failed = first_failure(non_null(cepstrum, a), positive(len))) return failed;
    cepstrum_to_lp(cepstrum, WeightedInSingle{cepstrum}, a, len);
    return SrOk;
}

SrStatus zelsCepstrumToLP_16s_Sfs(const int16_t* cepstrum, int16_t* a, int32_t len, int32_t sf)
{
    if (SrStatus failed = first_failure(non_null(cepstrum, a), positive(len))) return failed;
    const Scratch<float, 3 * (kOnStack - 1)> work(3 * int64_t{len});
    if (!work) return SrErrMemAlloc;
    const DefaultFloatEnvironment environment;
    float *source = work.data(), *weighted = source + len, *result = weighted + len;
    to_single(cepstrum, source, len, power_of_two(sf));
    weigh_integers(cepstrum, weighted, len, power_of_two(sf));
    cepstrum_to_lp(source, Weighted{weighted}, result, len);
    convert_32f16s(result, a, len, Rounding::Nearest, sf);
    return SrOk;
}
