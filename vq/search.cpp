// The nearest codeword of each row of a block.
#include <cmath>

#include "core/contract.h"
#include "core/convert.h"
#include "core/rows.h"
#include "vq/nearest.h"
#include "zelsr/vq/search.h"

using namespace zelsr;
using namespace zelsr::vq;

namespace {

template <class T, class Store>
SrStatus search_rows(const Codebook<T>& codebook, const T* src, int32_t step, int32_t height, WalkStart start,
                     Store store)
{
    if (!is_searchable(codebook)) return SrOk;  // without a result: wanted
    const SearchWork work(codebook.width);
    if (!work) return SrErrMemAlloc;
    return search_portions(codebook, Block{src, step}, height, work.data(), start, store);
}

auto store_indices(int32_t* index)
{
    return [=](int32_t r, const Found* found, int32_t n) {
        for (int32_t i = 0; i < n; ++i) store_one(index + r + i, found[i].index);
    };
}

}  // namespace

SrStatus zelsVQ_32f(const float* src, int32_t step, int32_t* index, int32_t height, const ZelCdbkState_32f* state)
{
    if (SrStatus failed = first_failure(non_null(state, src, index), positive(step, height),
                                        [=] { return require(step >= state->width, SrErrSize); }))
        return failed;
    return search_rows(*state, src, step, height, WalkStart::Scaled, store_indices(index));
}

SrStatus zelsVQ_16s(const int16_t* src, int32_t step, int32_t* index, int32_t height,
                    const ZelCdbkState_16s* state)
{
    if (SrStatus failed = first_failure(non_null(state, src, index), positive(step, height),
                                        [=] { return require(step >= state->width, SrErrSize); }))
        return failed;
    return search_rows(*state, src, step, height, WalkStart::Scaled, store_indices(index));
}

SrStatus zelsVQDist_32f(const float* src, int32_t step, int32_t* index, float* distance, int32_t height,
                        const ZelCdbkState_32f* state)
{
    if (SrStatus failed = first_failure(non_null(state, src, index, distance), positive(step, height),
                                        [=] { return require(step >= state->width, SrErrSize); }))
        return failed;
    return search_rows(*state, src, step, height, WalkStart::Scaled,
                       [=](int32_t r, const Found* found, int32_t n) {
                           store_indices(index)(r, found, n);
                           for (int32_t i = 0; i < n; ++i)
                               store_one(distance + r + i, std::sqrt(found[i].squared));
                       });
}

SrStatus zelsVQDist_16s32s_Sfs(const int16_t* src, int32_t step, int32_t* index, int32_t* distance, int32_t height,
                               const ZelCdbkState_16s* state, int32_t sf)
{
    if (SrStatus failed = first_failure(non_null(state, src, index, distance), positive(step, height),
                                        [=] { return require(step >= state->width, SrErrSize); }))
        return failed;
    return search_rows(*state, src, step, height, WalkStart::Unscaled,
                       [=](int32_t r, const Found* found, int32_t n) {
                           store_indices(index)(r, found, n);
                           float root[kPortion];
                           for (int32_t i = 0; i < n; ++i) root[i] = std::sqrt(found[i].squared);
                           convert_32f32s(root, distance + r, n, Rounding::Nearest, sf);
                       });
}
