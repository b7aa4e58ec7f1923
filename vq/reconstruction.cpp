// Codewords by their indices, one behind the other.
#include <cstring>

#include "core/contract.h"
#include "core/rows.h"
#include "vq/codebook_list.h"
#include "vq/packed_bits.h"
#include "zelsr/vq/reconstruction.h"

using namespace zelsr;
using namespace zelsr::vq;

namespace {

// A call of the C library takes longer than most codewords.
template <class T>
inline void copy_codeword(const T* src, T* dst, int32_t width)
{
    constexpr int32_t lanes = 16 / sizeof(T);
    if (width < lanes) {
        for (int32_t k = 0; k < width; ++k) store_one(dst + k, load_one(src + k));
        return;
    }
    for (int32_t k = 0; k + lanes <= width; k += lanes) std::memcpy(dst + k, src + k, 16);
    std::memcpy(dst + width - lanes, src + width - lanes, 16);  // again some of what has been copied
}

// What a row of indices needs of a codebook.
template <class T>
struct Part {
    const T* codewords;
    std::ptrdiff_t row_step;
    int32_t width, bits;
};
constexpr int32_t kPartsTogether = 8;

// The indices of row r from those of `part` on, in elements or in bits.
template <class Index>
struct ElementRows {
    Block<Index> rows;

    auto from(int32_t r, int32_t part, int64_t /*bits_before*/) const
    {
        return [next = rows[r] + part](int32_t /*bits*/) mutable { return std::ptrdiff_t{load_one(next++)}; };
    }
};
struct BitRows {
    const uint8_t* bytes;
    int32_t step;

    auto from(int32_t r, int32_t /*part*/, int64_t bits_before) const
    {
        return [row = BitReader(bytes, int64_t{r} * step + bits_before)](int32_t bits) mutable {
            return std::ptrdiff_t{
                static_cast<uint16_t>(row.get(bits))};  // an index has 16 bits, and is not tested
        };
    }
};

// Up to eight codebooks at a time, of which each row copies one codeword each.
template <class IndexRows, class T, class State>
SrStatus form_rows(IndexRows indices, WritableBlock<T> dst, int32_t height, CodebookList<State> codebooks)
{
    std::ptrdiff_t column = 0;
    int64_t bits_before = 0;
    for (int32_t first = 0; first < codebooks.count; first += kPartsTogether) {
        const int32_t n = std::min(kPartsTogether, codebooks.count - first);
        Part<T> parts[kPartsTogether];
        std::ptrdiff_t columns = 0;
        int64_t bits = 0;
        for (int32_t i = 0; i < n; ++i) {
            const State& codebook = codebooks[first + i];
            parts[i] = {codebook.codewords, codebook.row_step, codebook.width, codebooks.bits(first + i)};
            columns += parts[i].width;
            bits += parts[i].bits;
        }
        for (int32_t r = 0; r < height; ++r) {
            auto next_index = indices.from(r, first, bits_before);
            T* to = dst[r] + column;
            for (int32_t i = 0; i < n; ++i) {
                const Part<T>& part = parts[i];
                copy_codeword(part.codewords + next_index(part.bits) * part.row_step, to, part.width);
                to += part.width;
            }
        }
        column += columns;
        bits_before += bits;
    }
    return SrOk;
}

template <class Index, class T>
struct Tables {
    const Index* index;
    const T* const* codebooks;
    const int32_t* lengths;

    std::ptrdiff_t index_of(int32_t i) const { return load_one(index + i); }
    // beyond: how far an index may pass the last codeword.
    bool has(int32_t i, int32_t beyond = 0) const
    {
        return index_of(i) >= 0 && index_of(i) < int64_t{load_one(lengths + i)} + beyond;
    }
    const T* codeword(int32_t i, std::ptrdiff_t step) const
    {
        return load_one(codebooks + i) + index_of(i) * step;
    }
};

template <class Index, class T>
SrStatus valid_parts(Tables<Index, T> tables, const int32_t* widths, const int32_t* steps, int32_t count)
{
    for (int32_t i = 0; i < count; ++i)
        if (load_one(widths + i) < 1 || load_one(steps + i) < 1 || !tables.has(i)) return SrErrSize;
    return SrOk;
}

template <class Index, class T>
SrStatus form_vector(Tables<Index, T> tables, const int32_t* widths, const int32_t* steps, int32_t count, T* dst)
{
    for (int32_t i = 0; i < count; ++i) {
        const int32_t width = load_one(widths + i);
        copy_codeword(tables.codeword(i, load_one(steps + i)), dst, width);
        dst += width;
    }
    return SrOk;
}

template <int Width, class Index, class T>
SrStatus valid_indices(Tables<Index, T> tables, int32_t len, int32_t beyond = 0)
{
    for (int32_t i = 0; i < len / Width; ++i)
        if (!tables.has(i, beyond)) return SrErrSize;
    return SrOk;
}

template <int Width, class Index, class T>
SrStatus form_narrow(Tables<Index, T> tables, T* dst, int32_t len)
{
    for (int32_t i = 0; i < len / Width; ++i)
        std::memcpy(dst + std::ptrdiff_t{i} * Width, tables.codeword(i, Width), Width * sizeof(T));
    return SrOk;
}

}  // namespace

SrStatus zelsFormVectorVQ_16s32f(const int16_t* src, int32_t src_step, float* dst, int32_t dst_step,
                                 int32_t height, const ZelCdbkState_32f* const* states, int32_t count)
{
    const CodebookList codebooks{states, count};
    if (SrStatus failed = first_failure(
            non_null(states, src, dst), positive(src_step, dst_step, height, count),
            require(count <= src_step, SrErrSize), [=] { return codebooks.usable(); },
            [=] { return codebooks.widths_within(dst_step); }))
        return failed;
    return form_rows(ElementRows<int16_t>{Block{src, src_step}}, WritableBlock{dst, dst_step}, height, codebooks);
}

SrStatus zelsFormVectorVQ_8u32f(const uint8_t* src, int32_t src_step, float* dst, int32_t dst_step, int32_t height,
                                const ZelCdbkState_32f* const* states, int32_t count)
{
    const CodebookList codebooks{states, count};
    if (SrStatus failed = first_failure(
            non_null(states, src, dst), positive(src_step, dst_step, height, count),
            require(count <= src_step, SrErrSize), [=] { return codebooks.usable(kCodewordsInByte); },
            [=] { return codebooks.widths_within(dst_step); }))
        return failed;
    return form_rows(ElementRows<uint8_t>{Block{src, src_step}}, WritableBlock{dst, dst_step}, height, codebooks);
}

SrStatus zelsFormVectorVQ_1u32f(const uint8_t* src, int32_t src_step, float* dst, int32_t dst_step, int32_t height,
                                const ZelCdbkState_32f* const* states, int32_t count)
{
    const CodebookList codebooks{states, count};
    if (SrStatus failed = first_failure(
            non_null(states, src, dst), positive(src_step, dst_step, height, count),
            [=] { return codebooks.usable(); }, [=] { return codebooks.widths_within(dst_step); },
            [=] { return codebooks.bits_within(src_step); }))
        return failed;
    return form_rows(BitRows{src, src_step}, WritableBlock{dst, dst_step}, height, codebooks);
}

SrStatus zelsFormVectorVQ_16s16s(const int16_t* src, int32_t src_step, int16_t* dst, int32_t dst_step,
                                 int32_t height, const ZelCdbkState_16s* const* states, int32_t count)
{
    const CodebookList codebooks{states, count};
    if (SrStatus failed = first_failure(
            non_null(states, src, dst), positive(src_step, dst_step, height, count),
            require(count <= src_step, SrErrSize), [=] { return codebooks.usable(); },
            [=] { return codebooks.widths_within(dst_step); }))
        return failed;
    return form_rows(ElementRows<int16_t>{Block{src, src_step}}, WritableBlock{dst, dst_step}, height, codebooks);
}

SrStatus zelsFormVectorVQ_8u16s(const uint8_t* src, int32_t src_step, int16_t* dst, int32_t dst_step,
                                int32_t height, const ZelCdbkState_16s* const* states, int32_t count)
{
    const CodebookList codebooks{states, count};
    if (SrStatus failed = first_failure(
            non_null(states, src, dst), positive(src_step, dst_step, height, count),
            require(count <= src_step, SrErrSize), [=] { return codebooks.usable(kCodewordsInByte); },
            [=] { return codebooks.widths_within(dst_step); }))
        return failed;
    return form_rows(ElementRows<uint8_t>{Block{src, src_step}}, WritableBlock{dst, dst_step}, height, codebooks);
}

SrStatus zelsFormVectorVQ_1u16s(const uint8_t* src, int32_t src_step, int16_t* dst, int32_t dst_step,
                                int32_t height, const ZelCdbkState_16s* const* states, int32_t count)
{
    const CodebookList codebooks{states, count};
    if (SrStatus failed = first_failure(
            non_null(states, src, dst), positive(src_step, dst_step, height, count),
            [=] { return codebooks.usable(); }, [=] { return codebooks.widths_within(dst_step); },
            [=] { return codebooks.bits_within(src_step); }))
        return failed;
    return form_rows(BitRows{src, src_step}, WritableBlock{dst, dst_step}, height, codebooks);
}

SrStatus zelsFormVector_8u16s(const uint8_t* index, const int16_t* const* codebooks, const int32_t* lengths,
                              const int32_t* widths, const int32_t* steps, int32_t count, int16_t* dst)
{
    const Tables tables{index, codebooks, lengths};
    if (SrStatus failed = first_failure(non_null(index, codebooks, lengths, widths, steps, dst), positive(count),
                                        [=] { return valid_parts(tables, widths, steps, count); }))
        return failed;
    return form_vector(tables, widths, steps, count, dst);
}

SrStatus zelsFormVector_16s16s(const int16_t* index, const int16_t* const* codebooks, const int32_t* lengths,
                               const int32_t* widths, const int32_t* steps, int32_t count, int16_t* dst)
{
    const Tables tables{index, codebooks, lengths};
    if (SrStatus failed = first_failure(non_null(index, codebooks, lengths, widths, steps, dst), positive(count),
                                        [=] { return valid_parts(tables, widths, steps, count); }))
        return failed;
    return form_vector(tables, widths, steps, count, dst);
}

SrStatus zelsFormVector_8u32f(const uint8_t* index, const float* const* codebooks, const int32_t* lengths,
                              const int32_t* widths, const int32_t* steps, int32_t count, float* dst)
{
    const Tables tables{index, codebooks, lengths};
    if (SrStatus failed = first_failure(non_null(index, codebooks, lengths, widths, steps, dst), positive(count),
                                        [=] { return valid_parts(tables, widths, steps, count); }))
        return failed;
    return form_vector(tables, widths, steps, count, dst);
}

SrStatus zelsFormVector_16s32f(const int16_t* index, const float* const* codebooks, const int32_t* lengths,
                               const int32_t* widths, const int32_t* steps, int32_t count, float* dst)
{
    const Tables tables{index, codebooks, lengths};
    if (SrStatus failed = first_failure(non_null(index, codebooks, lengths, widths, steps, dst), positive(count),
                                        [=] { return valid_parts(tables, widths, steps, count); }))
        return failed;
    return form_vector(tables, widths, steps, count, dst);
}

SrStatus zelsFormVector_2i_8u16s(const uint8_t* index, const int16_t* const* codebooks, const int32_t* lengths,
                                 int16_t* dst, int32_t len)
{
    const Tables tables{index, codebooks, lengths};
    if (SrStatus failed = first_failure(non_null(index, codebooks, lengths, dst), positive(len),
                                        [=] { return valid_indices<2>(tables, len); }))
        return failed;
    return form_narrow<2>(tables, dst, len);
}

SrStatus zelsFormVector_2i_16s16s(const int16_t* index, const int16_t* const* codebooks, const int32_t* lengths,
                                  int16_t* dst, int32_t len)
{
    const Tables tables{index, codebooks, lengths};
    if (SrStatus failed = first_failure(non_null(index, codebooks, lengths, dst), positive(len),
                                        [=] { return valid_indices<2>(tables, len); }))
        return failed;
    return form_narrow<2>(tables, dst, len);
}

SrStatus zelsFormVector_2i_8u32f(const uint8_t* index, const float* const* codebooks, const int32_t* lengths,
                                 float* dst, int32_t len)
{
    const Tables tables{index, codebooks, lengths};
    if (SrStatus failed = first_failure(non_null(index, codebooks, lengths, dst), positive(len),
                                        [=] { return valid_indices<2>(tables, len); }))
        return failed;
    return form_narrow<2>(tables, dst, len);
}

SrStatus zelsFormVector_2i_16s32f(const int16_t* index, const float* const* codebooks, const int32_t* lengths,
                                  float* dst, int32_t len)
{
    const Tables tables{index, codebooks, lengths};
    if (SrStatus failed = first_failure(non_null(index, codebooks, lengths, dst), positive(len),
                                        [=] { return valid_indices<2>(tables, len, 1); }))
        return failed;  // an index equal to the length passes here alone: wanted
    return form_narrow<2>(tables, dst, len);
}

SrStatus zelsFormVector_4i_8u16s(const uint8_t* index, const int16_t* const* codebooks, const int32_t* lengths,
                                 int16_t* dst, int32_t len)
{
    const Tables tables{index, codebooks, lengths};
    if (SrStatus failed = first_failure(non_null(index, codebooks, lengths, dst), positive(len),
                                        [=] { return valid_indices<4>(tables, len); }))
        return failed;
    return form_narrow<4>(tables, dst, len);
}

SrStatus zelsFormVector_4i_16s16s(const int16_t* index, const int16_t* const* codebooks, const int32_t* lengths,
                                  int16_t* dst, int32_t len)
{
    const Tables tables{index, codebooks, lengths};
    if (SrStatus failed = first_failure(non_null(index, codebooks, lengths, dst), positive(len),
                                        [=] { return valid_indices<4>(tables, len); }))
        return failed;
    return form_narrow<4>(tables, dst, len);
}

SrStatus zelsFormVector_4i_8u32f(const uint8_t* index, const float* const* codebooks, const int32_t* lengths,
                                 float* dst, int32_t len)
{
    const Tables tables{index, codebooks, lengths};
    if (SrStatus failed = first_failure(non_null(index, codebooks, lengths, dst), positive(len),
                                        [=] { return valid_indices<4>(tables, len); }))
        return failed;
    return form_narrow<4>(tables, dst, len);
}

SrStatus zelsFormVector_4i_16s32f(const int16_t* index, const float* const* codebooks, const int32_t* lengths,
                                  float* dst, int32_t len)
{
    const Tables tables{index, codebooks, lengths};
    if (SrStatus failed = first_failure(non_null(index, codebooks, lengths, dst), positive(len),
                                        [=] { return valid_indices<4>(tables, len); }))
        return failed;
    return form_narrow<4>(tables, dst, len);
}
