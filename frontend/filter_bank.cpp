// Centres and weights of a filter bank, its release, and padding for an FFT.
#include <cstdint>
#include <cstring>

#include "core/contract.h"
#include "core/convert.h"
#include "core/simd.h"
#include "core/table.h"
#include "frontend/bank_record.h"
#include "frontend/bank_storage.h"
#include "zelsr/core/vector.h"
#include "zelsr/frontend/filter_bank.h"

namespace zelsr::bank {
namespace {

SrStatus is_ready(const ZelFBankState* bank) { return require(bank->ready != 0, SrErrFBankCenters); }

// A bank that was refused some of its memory has no centres or no rows.
SrStatus whole(const ZelFBankState* bank)
{
    return non_null(bank->centers, bank->left_weights, bank->right_weights);
}

// The last filter's own centre is not held against the last entry: this is wanted.
SrStatus valid_ladder(const int32_t* c, const ZelFBankState* bank)
{
    const int32_t filters = bank->filters;
    bool valid = load_one(c) >= 0 && load_one(c + filters + 1) <= bank->fft_len / 2;
    for (int32_t i = 1; i < filters; ++i)
        valid = valid && load_one(c + i - 1) <= load_one(c + i) && load_one(c + i) <= load_one(c + i + 1);
    return require(valid, SrErrFBankCenters);
}

std::size_t center_bytes(const ZelFBankState& bank) { return (static_cast<std::size_t>(bank.filters) + 2) * 4; }

SrStatus get_centers(const ZelFBankState* bank, int32_t* centers)
{
    if (SrStatus failed = first_failure(
            non_null(bank, centers), [=] { return whole(bank); }, [=] { return is_ready(bank); },
            [=] { return valid_ladder(bank->centers, bank); }))
        return failed;
    std::memcpy(centers, bank->centers, center_bytes(*bank));
    return SrOk;
}

SrStatus set_centers(ZelFBankState* bank, const int32_t* centers)
{
    if (SrStatus failed = first_failure(
            non_null(bank, centers), [=] { return whole(bank); }, [=] { return valid_ladder(centers, bank); }))
        return failed;
    std::memmove(bank->centers, centers, center_bytes(*bank));
    centers_are_set(bank);
    return SrOk;
}

// Get reaches one filter further than Set: this is wanted.
SrStatus reaches(const ZelFBankState* bank, const void* coeffs, int32_t filter, int32_t beyond)
{
    return first_failure(
        non_null(bank, coeffs), [=] { return whole(bank); }, [=] { return is_ready(bank); },
        [=] { return require(filter >= 1 && filter - beyond <= bank->filters, SrErrSize); });
}

void convert(const float* from, float* to, int32_t len)
{
    std::memcpy(to, from, static_cast<std::size_t>(len) * sizeof(float));
}
void convert(const int32_t* from, float* to, int32_t len) { convert_32s32f(from, to, len, Q14::kShift); }
void convert(const float* from, int32_t* to, int32_t len)
{
    convert_32f32s(from, to, len, Rounding::TowardZero, -Q14::kShift);
}

template <class Weight>
SrStatus get_weights(const ZelFBankState& bank, int32_t filter, float* coeffs)
{
    const int32_t* c = bank.centers + filter - 1;
    const Slope left = rising(c, bank.fft_len / 2), right = falling(c + 1, bank.fft_len / 2);
    convert(left_rows<Weight>(bank)[filter - 1], coeffs, left.count);
    convert(right_rows<Weight>(bank)[filter - 1], coeffs + left.count, right.count);
    return SrOk;
}

template <class Weight>
SrStatus set_weights(const ZelFBankState& bank, int32_t filter, const float* coeffs)
{
    const int32_t* c = bank.centers + filter - 1;
    const Slope left = rising(c, bank.fft_len / 2), right = falling(c + 1, bank.fft_len / 2);
    convert(coeffs, left_rows<Weight>(bank)[filter - 1], left.count);
    convert(coeffs + left.count, right_rows<Weight>(bank)[filter - 1], right.count);
    return SrOk;
}

template <class Kind>
SrStatus release(ZelFBankState* bank)
{
    zelsFree(bank->centers);
    Free2(bank->left_weights);
    Free2(bank->right_weights);
    bank->centers = nullptr;
    bank->left_weights = bank->right_weights = nullptr;
    bank->ready = 0;
    zelsFree(bank->spectrum);
    if (bank->fft != nullptr) Kind::free_fft(static_cast<typename Kind::Fft*>(bank->fft));
    zelsFree(bank);
    return SrOk;
}

SrStatus room_for(int32_t src_len, int32_t dst_len)
{
    return require(src_len >= 1 && dst_len >= src_len, SrErrSize);
}

}  // namespace
}  // namespace zelsr::bank

using namespace zelsr;
using namespace zelsr::bank;

SrStatus zelsFBankGetCenters_32f(const ZelFBankState* bank, int32_t* centers)
{
    return get_centers(bank, centers);
}
SrStatus zelsFBankGetCenters_16s(const ZelFBankState* bank, int32_t* centers)
{
    return get_centers(bank, centers);
}
SrStatus zelsFBankSetCenters_32f(ZelFBankState* bank, const int32_t* centers)
{
    return set_centers(bank, centers);
}
SrStatus zelsFBankSetCenters_16s(ZelFBankState* bank, const int32_t* centers)
{
    return set_centers(bank, centers);
}

SrStatus zelsFBankGetCoeffs_32f(const ZelFBankState* bank, int32_t filter, float* coeffs)
{
    if (SrStatus failed = reaches(bank, coeffs, filter, 1)) return failed;
    return get_weights<float>(*bank, filter, coeffs);
}

SrStatus zelsFBankGetCoeffs_16s(const ZelFBankState* bank, int32_t filter, float* coeffs)
{
    if (SrStatus failed = reaches(bank, coeffs, filter, 1)) return failed;
    return get_weights<int32_t>(*bank, filter, coeffs);
}

SrStatus zelsFBankSetCoeffs_32f(ZelFBankState* bank, int32_t filter, const float* coeffs)
{
    if (SrStatus failed = reaches(bank, coeffs, filter, 0)) return failed;
    return set_weights<float>(*bank, filter, coeffs);
}

SrStatus zelsFBankSetCoeffs_16s(ZelFBankState* bank, int32_t filter, const float* coeffs)
{
    if (SrStatus failed = reaches(bank, coeffs, filter, 0)) return failed;
    return set_weights<int32_t>(*bank, filter, coeffs);
}

SrStatus zelsFBankFree_32f(ZelFBankState* bank)
{
    if (SrStatus failed = non_null(bank)) return failed;
    return release<Single>(bank);
}

SrStatus zelsFBankFree_16s(ZelFBankState* bank)
{
    if (SrStatus failed = non_null(bank)) return failed;
    return release<Q14>(bank);
}

SrStatus zelsCopyWithPadding_16s(const int16_t* src, int32_t src_len, int16_t* dst, int32_t dst_len)
{
    if (SrStatus failed = first_failure(non_null(src, dst), room_for(src_len, dst_len))) return failed;
    const SrStatus copied = zelsCopy_16s(src, dst, src_len);
    return dst_len > src_len ? zelsZero_16s(dst + src_len, dst_len - src_len) : copied;
}

SrStatus zelsCopyWithPadding_32f(const float* src, int32_t src_len, float* dst, int32_t dst_len)
{
    if (SrStatus failed = first_failure(non_null(src, dst), room_for(src_len, dst_len))) return failed;
    const SrStatus copied = zelsCopy_32f(src, dst, src_len);
    return dst_len > src_len ? zelsZero_32f(dst + src_len, dst_len - src_len) : copied;
}
