// The checks of a list of codebooks, one for each part of a vector.
#pragma once

#include <algorithm>
#include <cstdint>

#include "core/contract.h"
#include "core/simd.h"
#include "vq/codebook.h"

namespace zelsr::vq {

// The list may lie on any byte address.
template <class State>
struct CodebookList {
    const State* const* states;
    int32_t count;

    const State& operator[](int32_t i) const { return *load_one(states + i); }

    // Codebook by codebook: there, and small enough for the indices.
    SrStatus usable(int32_t most_codewords = INT32_MAX) const
    {
        for (int32_t i = 0; i < count; ++i) {
            const State* state = load_one(states + i);
            if (SrStatus failed = first_failure(
                    non_null(state), [=] { return require(state->count <= most_codewords, SrErrSize); }))
                return failed;
        }
        return SrOk;
    }
    SrStatus widths_within(int32_t step) const
    {
        int64_t sum = 0;
        for (int32_t i = 0; i < count; ++i) sum += (*this)[i].width;
        return require(sum <= step, SrErrSize);
    }
    // Codebooks in the caller's memory leave their bits unset: kept to what a number can have.
    int32_t bits(int32_t i) const { return std::clamp(int32_t{(*this)[i].index_bits}, 0, 31); }
    SrStatus bits_within(int32_t step) const
    {
        int64_t sum = 0;
        for (int32_t i = 0; i < count; ++i) sum += bits(i);
        return require(sum <= step, SrErrSize);
    }
    int32_t greatest_width() const
    {
        int32_t width = 0;
        for (int32_t i = 0; i < count; ++i) width = std::max(width, int32_t{(*this)[i].width});
        return width;
    }
};

inline constexpr int32_t kCodewordsInByte = 256;

}  // namespace zelsr::vq
