// The records of a prepared real FFT: their heads, the tables behind them, and how many bytes all of it takes.
//
// N = 2^order real values are transformed as M = N/2 complex ones, m = order - 1. Tables are kept in blocks of
// four complex values, four real parts and then four imaginary parts, on 32-byte boundaries.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "core/contract.h"
#include "core/simd.h"
#include "zelsr/core/fft.h"
#include "zelsr/core/memory.h"

// A caller may put a record on any byte address: packed members are reached byte by byte. On i386 the head takes
// 80 bytes.
struct __attribute__((packed)) ZelFFTState_R_32f {
    int32_t identity;  // 6; 0 when released or when its set-up failed
    int32_t order;
    int32_t forward_scaled;  // non-zero if the forward transform multiplies by the scale
    int32_t inverse_scaled;
    float scale;  // 1/N, 1/sqrt(N), or 0 where nothing is scaled
    int32_t hint;
    int32_t work_size;  // bytes of aligned work memory, 0 for none
    int32_t owned;      // 1 if InitAlloc made the record
    const int32_t* reversal;
    const float* twiddles;
    const float* recombination;
    const float* ccs_recombination;
    // The two-level transform, complex orders above 17: the column twiddles of its one or two levels, and the
    // twiddles among a column's rows.
    const float* column_twiddles[2];  // by level
    const float* row_twiddles;
    const void* reserved_pointer;
    int32_t reserved[4];
};

struct __attribute__((packed)) ZelFFTState_R_16s32s {
    int32_t identity;  // 0x434D414F; 0 when released or when its set-up failed
    int32_t order;
    int32_t hint;
    int32_t work_size;
    int32_t owned;
    ZelFFTState_R_32f* inner;  // behind the head, on the next 32-byte boundary
};

namespace zelsr::fft {

constexpr int32_t kIdentity_32f = 6;
constexpr int32_t kIdentity_16s32s = 0x434D414F;

constexpr int32_t kMaxOrder = 30;
constexpr int32_t kFirstTableOrder = 4;  // smaller ones are fixed routines without tables
constexpr int32_t kMaxFixedOrder = 10;   // up to here the sines come from the constant table
constexpr int32_t kMaxSingleLevel = 17;  // complex order
constexpr int kMaxLevels = 2;            // of the two-level transform: one inside the other from 26 on
constexpr int32_t kTableAlignment = 32;

constexpr SrStatus order_in_range(int32_t order)
{
    return require(order >= 0 && order <= kMaxOrder, SrErrFftOrder);
}
constexpr SrStatus known_flag(int32_t flag)
{
    return require(flag == 1 || flag == 2 || flag == 4 || flag == 8, SrErrFftFlag);
}

// 4 bytes more for each of the eight pointers where pointers have 8.
constexpr std::int64_t kHeadGrowth = 8 * (static_cast<std::int64_t>(sizeof(void*)) - 4);
static_assert(sizeof(ZelFFTState_R_32f) == 80 + kHeadGrowth);
static_assert(sizeof(ZelFFTState_R_16s32s) + kTableAlignment - 1 <= 64);

constexpr std::int64_t round_up(std::int64_t bytes) { return (bytes + 31) & ~std::int64_t{31}; }

inline uint8_t* align_up(uint8_t* memory)
{
    return memory + (0 - reinterpret_cast<std::uintptr_t>(memory)) % kTableAlignment;
}

// One level of the two-level transform of 2^m complex values: 2^rows rows of 2^(m - rows) values, of which the
// work memory holds 2^buffer at a time.
struct Split {
    int32_t rows;
    int32_t buffer;

    constexpr int32_t columns() const { return buffer - rows; }  // log2 of the columns that are gathered at a time
};
constexpr Split split_of(int32_t m)
{
    constexpr Split kSplits[] = {{4, 10}, {4, 10}, {4, 10}, {5, 13}, {8, 15}};  // from m = 18; the last goes on
    return kSplits[std::min(m - kMaxSingleLevel - 1, 4)];
}

// The order of the contiguous sub-transforms at the bottom: m itself up to 17.
constexpr int32_t leaf_order(int32_t m)
{
    while (m > kMaxSingleLevel) m -= split_of(m).rows;
    return m;
}

static_assert([] {
    for (int32_t m = kMaxSingleLevel + 1; m < kMaxOrder; ++m) {
        int levels = 0;
        for (int32_t rest = m; rest > kMaxSingleLevel; rest -= split_of(rest).rows) ++levels;
        if (levels > kMaxLevels) return false;
    }
    return true;
}());

// All in bytes and wide enough for every order.
struct Sizes {
    std::int64_t reversal = 0;
    std::int64_t twiddles = 0;
    std::int64_t recombination = 0;  // each of two tables
    std::int64_t column_twiddles[kMaxLevels] = {};
    std::int64_t row_twiddles = 0;
    std::int64_t record = 0;
    std::int64_t setup = 0;  // with the 32 bytes for aligning it, as the other functions report it
    std::int64_t work = 0;   // without them
};

// Twiddles among the rows of a column: exp(-2 pi i j / 256).
constexpr std::size_t kRowTwiddles = 256;

// Column twiddles of a level: those of a gathered group, and the step from one group to the next.
constexpr std::int64_t column_twiddle_bytes(int32_t m)
{
    const Split split = split_of(m);
    return (std::int64_t{8} << split.buffer) + (std::int64_t{8} << (m - split.columns()));
}

constexpr std::int64_t work_bytes(int32_t m)
{
    if (m <= kMaxSingleLevel) return round_up(std::int64_t{8} << m);
    const Split split = split_of(m);
    const std::int64_t bytes = std::max(work_bytes(m - split.rows), std::int64_t{8} << split.buffer);
    return m >= 19 ? std::max(bytes, std::int64_t{1} << 16) : bytes;
}

constexpr Sizes sizes_of(int32_t order)
{
    Sizes sizes;
    sizes.record = 112 + kHeadGrowth;
    if (order < kFirstTableOrder) return sizes;

    const int32_t m = order - 1;
    const int32_t leaf = leaf_order(m);
    sizes.twiddles = ((std::int64_t{8} << leaf) + 39) & ~std::int64_t{31};
    if (m <= kMaxSingleLevel) {
        sizes.reversal = round_up((std::int64_t{1} << m) + 4);
    } else {
        int32_t level_order = m;
        for (int level = 0; level_order > kMaxSingleLevel; ++level) {
            sizes.column_twiddles[level] = column_twiddle_bytes(level_order);
            level_order -= split_of(level_order).rows;
        }
        sizes.row_twiddles = std::int64_t{8 * kRowTwiddles};
    }
    sizes.recombination = round_up(std::int64_t{2} << order);  // N/4 pairs
    sizes.record = sizes.reversal + sizes.twiddles + sizes.column_twiddles[0] + sizes.column_twiddles[1] +
                   sizes.row_twiddles + 2 * sizes.recombination + 128 + kHeadGrowth;
    if (order > kMaxFixedOrder) sizes.setup = round_up((std::int64_t{1} << order) + 4) + 32;
    sizes.work = work_bytes(m);
    return sizes;
}

// A size as the interface tells it. Orders whose record or work memory takes more than an int32 counts have
// no true size: no memory of a caller's is taken for enough.
constexpr bool reportable(std::int64_t bytes) { return bytes <= INT32_MAX; }
constexpr int32_t reported(std::int64_t bytes)
{
    return static_cast<int32_t>(std::min<std::int64_t>(bytes, INT32_MAX));
}
constexpr std::int64_t with_alignment(std::int64_t bytes) { return bytes == 0 ? 0 : bytes + kTableAlignment; }

// Those of the 16-bit record, in the same sense: its head and the gap up to the inner record come before that
// one; its work memory holds the converted samples, two more values and the inner transform's work memory.
constexpr std::int64_t record_16s32s(const Sizes& sizes) { return sizes.record + 64; }
constexpr std::int64_t setup_16s32s(const Sizes& sizes) { return with_alignment(sizes.setup); }
constexpr std::int64_t work_16s32s(const Sizes& sizes, int32_t order)
{
    return with_alignment(sizes.work) + (std::int64_t{4} << order) + 8;
}
static_assert([] {  // a 16-bit record can be made wherever its inner one can
    for (int32_t order = 0; order <= kMaxOrder; ++order) {
        const Sizes sizes = sizes_of(order);
        const bool whole = reportable(record_16s32s(sizes)) && reportable(work_16s32s(sizes, order));
        if (whole != reportable(sizes.record)) return false;
    }
    return true;
}());

// Memory of any size that this machine can address; the count of an allocation is an int32.
inline uint8_t* allocate_bytes(std::int64_t bytes)
{
    if (bytes <= INT32_MAX) return zelsMalloc_8u(static_cast<int32_t>(bytes));
    if (sizeof(void*) == 4) return nullptr;
    return reinterpret_cast<uint8_t*>(zelsMalloc_64f(static_cast<int32_t>((bytes + 7) / 8)));
}

// A record from the allocator, prepared by set_up(record, set-up buffer); nothing stays allocated if that fails.
template <class State, class SetUp>
SrStatus make_record(State** state, std::int64_t record_bytes, std::int64_t setup_bytes, SetUp set_up)
{
    uint8_t* memory = allocate_bytes(record_bytes);
    if (memory == nullptr) return SrErrMemAlloc;
    uint8_t* setup = setup_bytes == 0 ? nullptr : allocate_bytes(setup_bytes);
    auto* record = reinterpret_cast<State*>(memory);
    const SrStatus status = setup_bytes != 0 && setup == nullptr ? SrStatus{SrErrMemAlloc} : set_up(record, setup);
    zelsFree(setup);
    if (status == SrOk)
        store_one(state, record);
    else
        zelsFree(memory);
    return status;
}

}  // namespace zelsr::fft
