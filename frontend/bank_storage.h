// The memory of a filter bank: in blocks of the allocator, or in one block of the caller's.
#pragma once

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>

#include "core/contract.h"
#include "core/scratch.h"
#include "core/simd.h"
#include "core/table.h"
#include "frontend/bank_record.h"

namespace zelsr::bank {

constexpr int32_t kFftFlag = 8, kFftHint = 2;

// log2 of the length raised to a power of two, at least 1.
inline int32_t order_of(int32_t fft_len)
{
    return std::bit_width(static_cast<uint32_t>(std::max(fft_len, 2)) - 1);
}

// What a bank's memory depends on.
struct Shape {
    int32_t order;
    int32_t filters;
    bool signal;

    int64_t length() const { return int64_t{1} << order; }
    int64_t bins_of_row() const { return length() / 2; }
};
inline Shape shape_of(int32_t fft_len, int32_t filters, int32_t flag)
{
    return {order_of(fft_len), filters, (flag & FBankInputSignal) != 0};
}

// Bytes of a table of filters + 2 rows; some number far beyond an int32 where they are as many.
inline int64_t table_bytes(const Shape& shape, int64_t columns)
{
    constexpr int64_t too_many = int64_t{1} << 40;
    if (columns > INT32_MAX - 8 || shape.filters > INT32_MAX - 2) return too_many;
    return 4 * std::min(detail::table_words(shape.filters + 2, static_cast<int32_t>(columns)), too_many);
}

// Bytes of a bank in one block, with 32 for aligning each of its parts; the centres have one more entry.
template <class Kind>
int64_t bank_bytes(const Shape& shape)
{
    const int64_t entries = 4 * (int64_t{shape.filters} + 2);
    int64_t bytes = Kind::kRecordBytes + 32;
    if (shape.signal) {
        int32_t record, setup, work;
        if (Kind::fft_sizes(shape.order, kFftFlag, kFftHint, &record, &setup, &work) != SrOk) return INT64_MAX;
        bytes += int64_t{record} + setup + 64 + 32 + 4 * shape.length() + 40;
    }
    bytes += (entries + 36) + (entries + 32);  // centres, grid
    bytes += table_bytes(shape, shape.bins_of_row() + 3) + 32;
    bytes += table_bytes(shape, shape.bins_of_row()) + 32;
    return bytes + entries + 32;  // bins of the grid
}

// A bank of more bytes than an int32 counts has no true size, and is not made.
inline bool reportable(int64_t bytes) { return bytes < INT32_MAX; }

// The points of a construction, in mel or Hz, and where they lie among the bins: filters + 2 of each.
struct Grid {
    float* points;
    float* bins;
};

// A record without memory and centres.
template <class Kind>
void begin_record(ZelFBankState* bank, const Shape& shape)
{
    std::memset(static_cast<void*>(bank), 0, Kind::kRecordBytes);
    bank->fft_len = static_cast<int32_t>(shape.length());
    bank->filters = bank->linear = shape.filters;
    if constexpr (Kind::kRecordBytes == sizeof(ZelFBankState)) bank->weight_shift = Q14::kShift;
}

// Left rows begin three elements behind their boundary, so that their element 1 lies on 16 bytes: evaluation takes
// it with the first bin that it shares with a right row. They have one weight more than right rows. Rows are
// cleared for four weights at least, since evaluation loads so many.
template <class Kind>
void clear_rows(const ZelFBankState& bank, const Shape& shape)
{
    using Weight = typename Kind::Weight;
    auto* left = static_cast<Weight**>(bank.left_weights);
    auto* right = static_cast<Weight**>(bank.right_weights);
    const auto columns = static_cast<std::size_t>(std::max<int64_t>(shape.bins_of_row(), 4));
    for (int32_t r = 0; r < shape.filters + 2; ++r) {
        left[r] += 3;
        std::memset(left[r], 0, (columns + 1) * sizeof(Weight));
        std::memset(right[r], 0, columns * sizeof(Weight));
    }
}

// A refused allocation frees nothing, and leaves the bank as far as it has come in *out: this is wanted.
template <class Kind>
SrStatus allocate_bank(ZelFBankState** out, const Shape& shape)
{
    auto* bank = reportable(bank_bytes<Kind>(shape))
                     ? reinterpret_cast<ZelFBankState*>(zelsMalloc_8u(Kind::kRecordBytes))
                     : nullptr;
    store_one(out, bank);
    if (bank == nullptr) return SrErrMemAlloc;
    begin_record<Kind>(bank, shape);

    const int32_t rows = shape.filters + 2;
    const auto columns = static_cast<int32_t>(shape.bins_of_row());
    bank->centers = zelsMalloc_32s(rows + 1);
    if (bank->centers == nullptr) return SrErrMemAlloc;
    bank->left_weights = Kind::allocate_rows(rows, columns + 3);
    if (bank->left_weights == nullptr) return SrErrMemAlloc;
    bank->right_weights = Kind::allocate_rows(rows, columns);
    if (bank->right_weights == nullptr) return SrErrMemAlloc;
    clear_rows<Kind>(*bank, shape);
    if (!shape.signal) return SrOk;

    typename Kind::Fft* fft;
    if (SrStatus failed = Kind::allocate_fft(&fft, shape.order, kFftFlag, kFftHint)) return failed;
    bank->fft = fft;
    bank->spectrum = Kind::allocate_spectrum(bank->fft_len + 2);
    return require(bank->spectrum != nullptr, SrErrMemAlloc);
}

// Parts of a block, each on the next 32-byte boundary.
class Parts {
  public:
    explicit Parts(void* after) : next_(static_cast<uint8_t*>(after)) {}
    template <class T>
    T* take(int64_t bytes)
    {
        uint8_t* part = next_ + (0 - ZEL_INT_PTR(next_)) % 32;
        next_ = part + bytes;
        return reinterpret_cast<T*>(part);
    }

  private:
    uint8_t* next_;
};

// The bank at the start of a block of bank_bytes.
template <class Kind>
SrStatus carve_bank(ZelFBankState* bank, const Shape& shape, Grid* grid)
{
    using Weight = typename Kind::Weight;
    if (!reportable(bank_bytes<Kind>(shape))) return SrErrMemAlloc;
    begin_record<Kind>(bank, shape);
    Parts parts(reinterpret_cast<uint8_t*>(bank) + Kind::kRecordBytes);
    if (shape.signal) {
        int32_t record, setup, work;
        Kind::fft_sizes(shape.order, kFftFlag, kFftHint, &record, &setup, &work);
        auto* memory = parts.take<uint8_t>(record);
        auto* setup_memory = parts.take<uint8_t>(setup);
        bank->spectrum = parts.take<Weight>(4 * (shape.length() + 2));
        typename Kind::Fft* fft;
        if (SrStatus failed = Kind::init_fft(&fft, shape.order, kFftFlag, kFftHint, memory, setup_memory))
            return failed;
        bank->fft = fft;
    }

    const int32_t rows = shape.filters + 2;
    const auto columns = static_cast<int32_t>(shape.bins_of_row());
    const int64_t entries = 4 * int64_t{rows};
    bank->centers = parts.take<int32_t>(entries + 4);
    grid->points = parts.take<float>(entries);
    auto** left = parts.take<Weight*>(table_bytes(shape, columns + 3));
    auto** right = parts.take<Weight*>(table_bytes(shape, columns));
    grid->bins = parts.take<float>(entries);
    Kind::lay_out_rows(left, rows, columns + 3);
    Kind::lay_out_rows(right, rows, columns);
    bank->left_weights = left;
    bank->right_weights = right;
    clear_rows<Kind>(*bank, shape);
    return SrOk;
}

// The centres stand: one more, equal to the last, gives the row behind the last filter an empty right side.
inline void centers_are_set(ZelFBankState* bank)
{
    bank->centers[bank->filters + 2] = bank->centers[bank->filters + 1];
    bank->ready = 1;
}

}  // namespace zelsr::bank
