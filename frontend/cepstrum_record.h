// The records of the cosine transform with lifter: their heads, the tables behind them, and how many bytes all of
// it takes.
#pragma once

#include <algorithm>
#include <cstdint>

#include "zelsr/frontend/cepstrum.h"

// A caller may put a record on any byte address: packed members are reached byte by byte. On i386 the heads take
// 24 and 28 bytes.
struct __attribute__((packed)) ZelDCTLifterState_32f {
    int32_t nLifter;  // L, or -1 for multipliers of the caller's
    int32_t lenDCT;
    int32_t lenCep;
    int32_t useC0;
    float* lifter;    // lenCep + 1 multipliers, that of C0 first
    float** cosRows;  // lenCep + 1 rows of cosines, on 32 bytes
};

struct __attribute__((packed)) ZelDCTLifterState_16s {
    int32_t nLifter;
    int32_t lenDCT;
    int32_t lenCep;
    int32_t useC0;
    float* lifter;
    float* scratch;  // lenCep + 1 results before their conversion
    float** cosRows;
};

namespace zelsr::cepstrum {

inline constexpr int64_t kHeadOf_32f = sizeof(ZelDCTLifterState_32f);
inline constexpr int64_t kHeadOf_16s = sizeof(ZelDCTLifterState_16s);
static_assert(kHeadOf_32f == 16 + 2 * sizeof(void*) && kHeadOf_16s == 16 + 3 * sizeof(void*));

inline int64_t rows_of(int32_t len_cep) { return int64_t{len_cep} + 1; }

// Singles of so many rows, limited to what no address space holds.
inline int64_t row_bytes(int64_t row, int32_t len_cep)
{
    return 4 * std::min(row * rows_of(len_cep), int64_t{1} << 40);
}

inline int64_t table_bytes(int32_t len_dct, int32_t len_cep)
{
    const int64_t row = (len_dct + int64_t{7}) & ~int64_t{7};
    return rows_of(len_cep) * static_cast<int64_t>(sizeof(float*)) + row_bytes(row, len_cep) + 28;
}

// With room for two and for three parts on 32-byte boundaries.
inline int64_t record_bytes_32f(int32_t len_dct, int32_t len_cep)
{
    return kHeadOf_32f + 4 * rows_of(len_cep) + 64 + table_bytes(len_dct, len_cep);
}
inline int64_t record_bytes_16s(int32_t len_dct, int32_t len_cep)
{
    return kHeadOf_16s + 8 * rows_of(len_cep) + 96 + table_bytes(len_dct, len_cep);
}

// The rule of zelsDCTLifterGetSize_MulC0_16s, which leaves 32 bytes for aligning each row: wanted.
inline int64_t record_bytes_MulC0_16s(int32_t len_dct, int32_t len_cep)
{
    const int64_t rows = rows_of(len_cep);
    return kHeadOf_16s + 8 * rows + 64 + rows * static_cast<int64_t>(sizeof(float*)) + 32 * rows +
           row_bytes(len_dct, len_cep) + 32;
}

}  // namespace zelsr::cepstrum
