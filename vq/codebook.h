// The records of codebooks: the state, the nodes of its tree, the tables of one- and two-dimensional ones.
#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "zelsr/vq/codebook.h"

namespace zelsr::vq {

// T is the type of the rows: float or int16_t.
template <class T>
struct SrCdbkCluster;

// What lets a search run through one contiguous block; widths 1, 2, 4 and 8 have it.
template <class T>
struct SrCdbkSearchAid {
    // Inner node: four vectors, the left child's two children, then the right child's; a child that is a leaf
    // is there twice. Null in a leaf.
    T* children;
    // Leaf: the neighbours' centroids, and their addresses, in the order of the neighbours. Null if there are
    // none.
    T* centroids;
    SrCdbkCluster<T>** neighbours;
};

template <class T>
struct SrCdbkCluster {
    float radius;  // twice the largest distance of a member from the centroid; 0 below two members
    T* centroid;
    int32_t index;         // of the codeword, in a leaf
    int32_t population;    // of an inner node: what it was when the node was split
    int32_t leaf;          // 1 or 0
    int32_t depth;         // of the root: 1
    SrCdbkCluster* left;   // the child that got the new place in the list of leaves
    SrCdbkCluster* right;  // the child that kept the parent's
    int32_t neighbour_count;
    SrCdbkCluster** neighbours;  // nearest first
    SrCdbkSearchAid<T>* aid;     // null at other widths than 1, 2, 4, 8
};
static_assert(sizeof(void*) != 4 || sizeof(SrCdbkCluster<float>) == 44);

// Candidates of each cell: width 1. List 0 and list cells + 1 serve values below and above the edges.
struct SrCdbkLinearField {
    int32_t cells;
    float cell_width;
    float low_edge;
    float high_edge;
    int32_t** lists;  // cells + 2
    int32_t* lengths;
};

// Width 2. Columns run along the first coordinate upwards, rows along the second downwards. The list of row r and
// column c, with a ring around the grid, is that at r (columns + 2) + c.
struct SrCdbkSquareField {
    int32_t columns;
    int32_t rows;
    float cell_width;
    float cell_height;
    float low_edge_1;
    float high_edge_2;
    float high_edge_1;
    float low_edge_2;
    int32_t** lists;
    int32_t* lengths;
};

inline constexpr int32_t kMostCodewords = 16383;

enum : int32_t { kHasField = 1, kHasWeights = 2 };  // bits of the flags

// A caller may put a codebook on any byte address: packed members are reached byte by byte.
template <class T>
struct __attribute__((packed)) Codebook {
    using Element = T;

    int32_t depth;  // of the deepest leaf; without a tree the last index
    int32_t count;
    int32_t width;
    int32_t row_step;
    int32_t kind;
    T* codewords;
    SrCdbkCluster<T>* root;
    int32_t flags;
    T* weights;
    void* field;  // SrCdbkLinearField or SrCdbkSquareField, by the width
    int32_t index_bits;
    float* workspace;  // one single a codeword

    const T* codeword(int32_t i) const { return codewords + static_cast<std::ptrdiff_t>(i) * row_step; }
};
static_assert(sizeof(Codebook<float>) == 28 + 5 * sizeof(void*));

}  // namespace zelsr::vq

struct ZelCdbkState_32f : zelsr::vq::Codebook<float> {};
struct ZelCdbkState_16s : zelsr::vq::Codebook<std::int16_t> {};
static_assert(sizeof(ZelCdbkState_32f) == sizeof(zelsr::vq::Codebook<float>) && alignof(ZelCdbkState_32f) == 1);
