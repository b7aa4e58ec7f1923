// The record of the fixed resampling engine, and where its parts lie.
#pragma once

#include <cstddef>
#include <cstdint>

#include "core/simd.h"
#include "zelsr/signal/resample.h"

// A caller may put a record on any byte address: packed members are reached byte by byte, and what they point to
// by load_one and store_one. In the same block follow the steps and the row pointers, each padded to 16 bytes, and
// the rows. One pointer more marks the end of the last row.
struct __attribute__((packed)) ZelResampleFixedState {
    int32_t inRate;  // without common divisor
    int32_t outRate;
    float scale;  // of all results
    int32_t half;
    int32_t flags;
    uint16_t* steps;   // for each phase: how far the source moves behind its result
    void** rows;       // for each phase
    int32_t reserved;  // records of 16s only: those of 32f end before it
};

namespace zelsr::resample {

inline constexpr int64_t kMostBytes = 0x7FFFFFFE;

// What a record's memory depends on.
template <class Tap>
struct Shape {
    int32_t in_rate, out_rate;  // without common divisor
    int32_t len;
    int64_t head;

    int64_t half() const { return ((int64_t{len} + 3) & ~int64_t{3}) / 2; }
    // Of 2 half + 4 elements if len is a multiple of 4, of but 2 half otherwise: wanted.
    int64_t row_len() const { return (int64_t{len} + 4) & ~int64_t{3}; }
    int64_t step_bytes() const { return padded(int64_t{sizeof(uint16_t)} * out_rate); }
    int64_t pointer_bytes() const { return padded(int64_t{sizeof(void*)} * (int64_t{out_rate} + 1)); }
    int64_t row_bytes() const { return row_len() * int64_t{sizeof(Tap)}; }
    // More than kMostBytes where the rows alone are.
    int64_t bytes() const
    {
        if (row_bytes() > kMostBytes / out_rate) return INT64_MAX;
        return head + step_bytes() + pointer_bytes() + out_rate * row_bytes();
    }

  private:
    static int64_t padded(int64_t bytes) { return (bytes + 15) & ~int64_t{15}; }
};

// Rows of a record. Behind a row lies the next one.
template <class Tap>
Tap* row(const ZelResampleFixedState& state, int32_t phase)
{
    return static_cast<Tap*>(load_one(state.rows + phase));
}
template <class Tap>
std::ptrdiff_t elements_of_rows(const ZelResampleFixedState& state)
{
    return row<Tap>(state, state.outRate) - row<Tap>(state, 0);
}

}  // namespace zelsr::resample
