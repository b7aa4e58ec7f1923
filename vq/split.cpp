// Rows quantised in parts, by a codebook each, into whole elements or packed bits.
#include <cstring>

#include "core/contract.h"
#include "core/rows.h"
#include "core/scratch.h"
#include "vq/codebook_list.h"
#include "vq/nearest.h"
#include "vq/packed_bits.h"
#include "zelsr/vq/split.h"

using namespace zelsr;
using namespace zelsr::vq;

namespace {

// store(row, part, index), a portion of rows at a time, so that they are read from memory once.
template <class T, class State, class Store>
SrStatus search_parts(Block<T> rows, int32_t height, CodebookList<State> codebooks, float* work, Store store)
{
    for (int32_t r = 0; r < height;) {
        const int32_t n = std::min(kPortion, height - r);
        Block<T> part = rows.from(r);
        for (int32_t i = 0; i < codebooks.count; ++i) {
            const State& codebook = codebooks[i];
            if (is_searchable(codebook)) {  // otherwise the part has no index: wanted
                Found found[kPortion];
                if (SrStatus failed = search(codebook, part, n, work, WalkStart::Scaled, found)) return failed;
                for (int32_t row = 0; row < n; ++row) store(r + row, i, found[row].index);
            }
            part.first += codebook.width;
        }
        r += n;
    }
    return SrOk;
}

template <class T, class State, class Index>
SrStatus split(Block<T> rows, WritableBlock<Index> dst, int32_t height, CodebookList<State> codebooks)
{
    const SearchWork work(codebooks.greatest_width());
    if (!work) return SrErrMemAlloc;
    return search_parts(rows, height, codebooks, work.data(), [=](int32_t r, int32_t part, int32_t index) {
        store_one(dst[r] + part, static_cast<Index>(index));
    });
}

template <class T, class State>
SrStatus split_to_bits(Block<T> rows, uint8_t* dst, int32_t dst_step, int32_t height,
                       CodebookList<State> codebooks)
{
    const SearchWork work(codebooks.greatest_width());
    const int64_t parts = int64_t{height} * codebooks.count;
    const Scratch<int32_t> indices(parts);
    if (!work || !indices) return SrErrMemAlloc;
    std::memset(indices.data(), 0, static_cast<std::size_t>(parts) * sizeof(int32_t));
    const WritableBlock index{indices.data(), codebooks.count};
    if (SrStatus failed = search_parts(rows, height, codebooks, work.data(),
                                       [=](int32_t r, int32_t part, int32_t i) { index[r][part] = i; }))
        return failed;
    const int64_t all_bits = int64_t{height} * dst_step;
    std::memset(dst, 0, static_cast<std::size_t>(all_bits / 8 + (all_bits % 8 != 0)));
    for (int32_t r = 0; r < height; ++r) {
        BitWriter row(dst, int64_t{r} * dst_step);
        for (int32_t i = 0; i < codebooks.count; ++i)
            row.put(static_cast<uint32_t>(index[r][i]), codebooks.bits(i));
    }
    return SrOk;
}

}  // namespace

SrStatus zelsSplitVQ_32f16s(const float* src, int32_t src_step, int16_t* dst, int32_t dst_step, int32_t height,
                            const ZelCdbkState_32f* const* states, int32_t count)
{
    const CodebookList codebooks{states, count};
    if (SrStatus failed = first_failure(
            non_null(states, src, dst), positive(src_step, dst_step, height, count),
            require(count <= dst_step, SrErrSize), [=] { return codebooks.usable(); },
            [=] { return codebooks.widths_within(src_step); }))
        return failed;
    return split(Block{src, src_step}, WritableBlock{dst, dst_step}, height, codebooks);
}

SrStatus zelsSplitVQ_32f8u(const float* src, int32_t src_step, uint8_t* dst, int32_t dst_step, int32_t height,
                           const ZelCdbkState_32f* const* states, int32_t count)
{
    const CodebookList codebooks{states, count};
    if (SrStatus failed = first_failure(
            non_null(states, src, dst), positive(src_step, dst_step, height, count),
            require(count <= dst_step, SrErrSize), [=] { return codebooks.usable(kCodewordsInByte); },
            [=] { return codebooks.widths_within(src_step); }))
        return failed;
    return split(Block{src, src_step}, WritableBlock{dst, dst_step}, height, codebooks);
}

SrStatus zelsSplitVQ_32f1u(const float* src, int32_t src_step, uint8_t* dst, int32_t dst_step, int32_t height,
                           const ZelCdbkState_32f* const* states, int32_t count)
{
    const CodebookList codebooks{states, count};
    if (SrStatus failed = first_failure(
            non_null(states, src, dst), positive(src_step, dst_step, height, count),
            [=] { return codebooks.usable(); }, [=] { return codebooks.widths_within(src_step); },
            [=] { return codebooks.bits_within(dst_step); }))
        return failed;
    return split_to_bits(Block{src, src_step}, dst, dst_step, height, codebooks);
}

SrStatus zelsSplitVQ_16s16s(const int16_t* src, int32_t src_step, int16_t* dst, int32_t dst_step, int32_t height,
                            const ZelCdbkState_16s* const* states, int32_t count)
{
    const CodebookList codebooks{states, count};
    if (SrStatus failed = first_failure(
            non_null(states, src, dst), positive(src_step, dst_step, height, count),
            require(count <= dst_step, SrErrSize), [=] { return codebooks.usable(); },
            [=] { return codebooks.widths_within(src_step); }))
        return failed;
    return split(Block{src, src_step}, WritableBlock{dst, dst_step}, height, codebooks);
}

SrStatus zelsSplitVQ_16s8u(const int16_t* src, int32_t src_step, uint8_t* dst, int32_t dst_step, int32_t height,
                           const ZelCdbkState_16s* const* states, int32_t count)
{
    const CodebookList codebooks{states, count};
    if (SrStatus failed = first_failure(
            non_null(states, src, dst), positive(src_step, dst_step, height, count),
            require(count <= dst_step, SrErrSize), [=] { return codebooks.usable(kCodewordsInByte); },
            [=] { return codebooks.widths_within(src_step); }))
        return failed;
    return split(Block{src, src_step}, WritableBlock{dst, dst_step}, height, codebooks);
}

SrStatus zelsSplitVQ_16s1u(const int16_t* src, int32_t src_step, uint8_t* dst, int32_t dst_step, int32_t height,
                           const ZelCdbkState_16s* const* states, int32_t count)
{
    const CodebookList codebooks{states, count};
    if (SrStatus failed = first_failure(
            non_null(states, src, dst), positive(src_step, dst_step, height, count),
            [=] { return codebooks.usable(); }, [=] { return codebooks.widths_within(src_step); },
            [=] { return codebooks.bits_within(dst_step); }))
        return failed;
    return split_to_bits(Block{src, src_step}, dst, dst_step, height, codebooks);
}
