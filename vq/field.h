// Tables of the codewords that can be nearest to the values in each cell of a grid, for codebooks of all rows in
// one and two dimensions.
#pragma once

#include <cmath>
#include <cstdint>

#include "core/contract.h"
#include "vq/codebook.h"
#include "vq/distance.h"
#include "vq/storage.h"

namespace zelsr::vq {

// Adds a table of cells where the lists of the best grid are short enough; SrErrMemAlloc if its memory was
// refused. The workspace is used.
template <class T>
SrStatus OwnLinearField(Codebook<T>& state);  // width 1
template <class T>
SrStatus OwnSquaredField(Codebook<T>& state);  // width 2

template <class T>
SrStatus add_field(Codebook<T>& state)
{
    if (state.count < 11) return SrOk;
    return state.width == 1 ? OwnLinearField(state) : state.width == 2 ? OwnSquaredField(state) : SrStatus{SrOk};
}

// Where a coordinate of all codewords lies.
struct Extent {
    float low, high;

    float span() const { return std::fabs(high - low); }
    // A tenth of the bounds beyond them.
    float low_edge() const { return static_cast<float>(low * (low > 0 ? 0.9 : 1.1)); }
    float high_edge() const { return static_cast<float>(high * (low > 0 || high > 0 ? 1.1 : 0.9)); }
    float cell(int32_t cells) const { return static_cast<float>(span() * 1.1 / cells); }
};

template <class T>
float coordinate(const Codebook<T>& state, int32_t i, int32_t k)
{
    return static_cast<float>(state.codeword(i)[k]);
}

template <class T>
Extent extent_of(const Codebook<T>& state, int32_t k)
{
    Extent extent{coordinate(state, 0, k), coordinate(state, 0, k)};
    for (int32_t i = 1; i < state.count; ++i) {
        const float value = coordinate(state, i, k);
        if (value < extent.low) extent.low = value;
        if (value > extent.high) extent.high = value;
    }
    return extent;
}

// Whether a grid of lower score is worth its cells: a twentieth at least is gained.
template <class T>
bool gains_enough(float score, float next)
{
    if constexpr (std::is_same_v<T, float>)
        return static_cast<double>(score) - next > score * 0.05;
    else
        return Own_Correct_Greater_32f(score - next, 0.05F * score);
}

inline bool at_most(float score, float bound)
{
    return Own_Correct_Less_32f(score, bound) || Own_Correct_Equ_32f(score, bound);
}

// A table in one block: its record, its lists, and the candidates of all lists one behind the other.
template <class Field>
struct FieldBlock {
    void lay_out(Parts& parts)
    {
        field = parts.take<Field>(1);
        lists = parts.take<int32_t*>(list_count);
        lengths = parts.take<int32_t>(list_count);
        candidates = parts.take<int32_t>(most_candidates);
    }
    void begin_list(int32_t position)
    {
        lists[position] = candidates + used;
        lengths[position] = 0;
        current = position;
    }
    void add(int32_t index)
    {
        candidates[used++] = index;
        ++lengths[current];
    }
    void share_list(int32_t from, int32_t position)
    {
        lists[position] = lists[from];
        lengths[position] = lengths[from];
    }

    int32_t list_count;
    int64_t most_candidates;
    Field* field = nullptr;
    int32_t** lists = nullptr;
    int32_t* lengths = nullptr;
    int32_t* candidates = nullptr;
    int64_t used = 0;
    int32_t current = 0;
};

}  // namespace zelsr::vq
