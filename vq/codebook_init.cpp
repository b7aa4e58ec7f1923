// Codebooks in the allocator's memory: what all kinds have, and the making of each.
#include <algorithm>
#include <cstdint>

#include "core/contract.h"
#include "core/rounding.h"
#include "core/scratch.h"
#include "vq/codebook.h"
#include "vq/field.h"
#include "vq/storage.h"
#include "vq/training.h"
#include "zelsr/vq/codebook.h"

namespace zelsr::vq {
namespace {

// Shapes of the training rows and of what is made of them.
struct Shape {
    int32_t width, step, height, size;
    SrCdbkKind kind;

    // The full kind holds all rows, whatever the size.
    int32_t most_codewords() const { return kind == SrCdbkFull ? height : size; }
};

SrStatus is_valid(const Shape& s)
{
    return first_failure(positive(s.width, s.step, s.height, s.size),
                         require(s.width <= s.step && s.size <= kMostCodewords && s.size <= s.height, SrErrSize));
}

// Elements from one codeword to the next: rows of the full kind are packed where the width is a power of two, up
// to 8 in single precision, up to 4 in 16 bits.
template <class T>
int64_t row_step(const Shape& s)
{
    constexpr int32_t singles = std::is_same_v<T, float> ? 1 : 0, whole = 8 >> singles;
    const bool packed = s.width == 1 || s.width == 2 || s.width == 4 || (singles == 1 && s.width == 8);
    if (s.kind == SrCdbkFull && packed) return s.width;
    return (int64_t{s.step} + whole - 1) & ~int64_t{whole - 1};
}

// In the positive sense: a NaN is no weight.
template <class T>
bool are_weights(const T* weights, int32_t width)
{
    bool valid = true;
    for (int32_t k = 0; k < width; ++k) valid = valid && load_one(weights + k) >= T{0};
    return valid;
}

// The record, and behind it what every kind has. Its parts are null until they stand.
template <class State>
State* allocate_record()
{
    auto* state = reinterpret_cast<State*>(zelsMalloc_8u(sizeof(State)));
    if (state != nullptr) *state = {};
    return state;
}

template <class State, class T>
SrStatus allocate_arrays(State* state, const T* weights, const Shape& s)
{
    state->codewords = allocate_some<T>(s.most_codewords() * row_step<T>(s));
    state->weights = allocate<T>(s.width);
    state->workspace = allocate<float>(s.most_codewords());
    if (!state->codewords || !state->weights || !state->workspace) return SrErrMemAlloc;
    state->width = s.width;
    state->row_step = static_cast<int32_t>(row_step<T>(s));
    state->kind = s.kind;
    copy_rows(Block{weights, s.width}, 1, s.width, WritableBlock{static_cast<T*>(state->weights), s.width});
    const bool plain = std::all_of(state->weights, state->weights + s.width, [](T weight) { return weight == 1; });
    state->flags = plain ? 0 : kHasWeights;
    return SrOk;
}

template <class State, class T>
SrStatus make_full(State* state, const T* src, const Shape& s)
{
    state->count = s.height;
    state->depth = s.height - 1;
    copy_rows(Block{src, s.step}, s.height, s.width,
              WritableBlock{static_cast<T*>(state->codewords), state->row_step});
    return add_field(*state);
}

template <class State, class T>
SrStatus make_tree(State* state, const T* src, const Shape& s)
{
    Tree<T> tree(s.width, s.size);
    state->root = static_cast<SrCdbkCluster<T>*>(allocate_parts(tree));
    Training<T> training({{src, s.step}, s.width, s.height}, s.size);
    const Scratch<uint8_t> work(bytes_of(training));
    if (state->root == nullptr || !work) return SrErrMemAlloc;
    place(training, work.data());
    std::copy_n(state->weights, s.width, training.weights);
    if (SrStatus failed = grow_tree(training, tree, s.kind)) return failed;
    complete_tree(training, tree);
    state->count = training.count;
    for (int32_t i = 0; i < training.count; ++i) {
        const SrCdbkCluster<T>& leaf = *training.leaves[i];
        std::copy_n(leaf.centroid, s.width, state->codewords + std::ptrdiff_t{i} * state->row_step);
        state->depth = std::max<int32_t>(state->depth, leaf.depth);
    }
    return SrOk;
}

// Everything from memory to memory, in the default environment of the caller below.
template <class State, class T>
[[gnu::noinline]] SrStatus make(State** out, const T* src, const T* weights, const Shape& s)
{
    if (!are_weights(weights, s.width)) return SrErrBadArg;
    auto* state = allocate_record<State>();
    if (state == nullptr) return SrErrMemAlloc;
    SrStatus status = allocate_arrays(state, weights, s);
    if (status == SrOk) {
        switch (s.kind) {
            case SrCdbkFull:
                status = make_full(state, src, s);
                break;
            case SrCdbkTreeRadius:
            case SrCdbkTreePopulation:
                status = make_tree(state, src, s);
                break;
            default:
                status = SrErrCdbkKind;
        }
    }
    if (status != SrOk) {
        release(state);
        return status;
    }
    state->index_bits = index_bits(state->count);
    store_one(out, state);
    return state->count == s.size ? SrStatus{SrOk} : SrStatus{SrWarnCdbkSize};
}

template <class State, class T>
SrStatus OwnCdbkInitAlloc(State** out, const T* src, const T* weights, const Shape& s)
{
    const DefaultFloatEnvironment environment;
    return make(out, src, weights, s);
}

template <class T>
SrStatus fill_ones(Scratch<T>& ones, int32_t width)
{
    if (!ones) return SrErrMemAlloc;
    std::fill_n(ones.data(), width, T{1});
    return SrOk;
}

}  // namespace
}  // namespace zelsr::vq

using namespace zelsr;
using namespace zelsr::vq;

SrStatus zelsCdbkInitAlloc_WgtL2_16s(ZelCdbkState_16s** state, const int16_t* src, const int16_t* weights,
                                     int32_t width, int32_t step, int32_t height, int32_t size, SrCdbkKind kind)
{
    const Shape shape{width, step, height, size, kind};
    if (SrStatus failed = first_failure(non_null(src, weights), is_valid(shape))) return failed;
    return OwnCdbkInitAlloc(state, src, weights, shape);
}

SrStatus zelsCdbkInitAlloc_WgtL2_32f(ZelCdbkState_32f** state, const float* src, const float* weights,
                                     int32_t width, int32_t step, int32_t height, int32_t size, SrCdbkKind kind)
{
    const Shape shape{width, step, height, size, kind};
    if (SrStatus failed = first_failure(non_null(src, weights), is_valid(shape))) return failed;
    return OwnCdbkInitAlloc(state, src, weights, shape);
}

SrStatus zelsCdbkInitAlloc_L2_16s(ZelCdbkState_16s** state, const int16_t* src, int32_t width, int32_t step,
                                  int32_t height, int32_t size, SrCdbkKind kind)
{
    if (SrStatus failed = positive(width)) return failed;
    Scratch<int16_t> ones(width);
    if (SrStatus failed = fill_ones(ones, width)) return failed;
    return zelsCdbkInitAlloc_WgtL2_16s(state, src, ones.data(), width, step, height, size, kind);
}

SrStatus zelsCdbkInitAlloc_L2_32f(ZelCdbkState_32f** state, const float* src, int32_t width, int32_t step,
                                  int32_t height, int32_t size, SrCdbkKind kind)
{
    if (SrStatus failed = positive(width)) return failed;
    Scratch<float> ones(width);
    if (SrStatus failed = fill_ones(ones, width)) return failed;
    return zelsCdbkInitAlloc_WgtL2_32f(state, src, ones.data(), width, step, height, size, kind);
}
