// The nearest codeword of each of some rows, by every kind of codebook.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "core/rows.h"
#include "core/scratch.h"
#include "vq/codebook.h"

namespace zelsr::vq {

// A codeword and the squared distance to it.
struct Found {
    float squared;
    int32_t index;
};

// Searches work on a copy of the rows, each element in four lanes. An element of the width takes 16 singles for
// the rows that are searched together and 4 for its weight.
inline constexpr int32_t kRowsTogether = sizeof(void*) == 8 ? 4 : 2;
inline constexpr int32_t kWorkSingles = 4 * (kRowsTogether + 1);
inline constexpr int32_t kWidthOnStack = 128;

// Test it before use: false means that the memory was refused.
class SearchWork : public Scratch<float, kWidthOnStack * kWorkSingles> {
  public:
    explicit SearchWork(int32_t width) : Scratch(int64_t{width} * kWorkSingles) {}
};

// The score of the leaf where a walk through a weighted tree begins; 16-bit data only.
enum class WalkStart {
    Scaled,   // as the neighbours' scores
    Unscaled  // by scale factor 0: in the 16-bit search that reports distances, and wanted there
};

template <class T>
bool is_tree(const Codebook<T>& codebook)
{
    return codebook.kind == SrCdbkTreeRadius || codebook.kind == SrCdbkTreePopulation;
}
template <class T>
bool is_searchable(const Codebook<T>& codebook)
{
    return codebook.kind == SrCdbkFull || is_tree(codebook);
}

// found[r] of rows 0 to height - 1; work for the codebook's width or more.
template <class T>
void search_full(const Codebook<T>& codebook, Block<T> rows, int32_t height, float* work, Found* found);
template <class T>
SrStatus search_tree(const Codebook<T>& codebook, Block<T> rows, int32_t height, float* work, WalkStart start,
                     Found* found);

// distance[i]: squared, of the row to codeword i.
template <class T>
void all_distances(const Codebook<T>& codebook, const T* row, float* work, float* distance);

// Of a codebook that can be searched.
template <class T>
SrStatus search(const Codebook<T>& codebook, Block<T> rows, int32_t height, float* work, WalkStart start,
                Found* found)
{
    if (is_tree(codebook)) return search_tree(codebook, rows, height, work, start, found);
    search_full(codebook, rows, height, work, found);
    return SrOk;
}

// Rows are handed to a search in portions, whose findings lie on the stack.
inline constexpr int32_t kPortion = 64;

// store(r, found, n) for rows r to r + n - 1, portion by portion.
template <class T, class Store>
SrStatus search_portions(const Codebook<T>& codebook, Block<T> rows, int32_t height, float* work, WalkStart start,
                         Store store)
{
    Found found[kPortion];
    for (int32_t r = 0; r < height;) {
        const int32_t n = std::min(kPortion, height - r);
        if (SrStatus failed = search(codebook, rows.from(r), n, work, start, found)) return failed;
        store(r, found, n);
        r += n;
    }
    return SrOk;
}

}  // namespace zelsr::vq
