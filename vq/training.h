// Training of a tree of clusters: the rows, the tree's block, the work memory, and the arithmetic of each row
// type.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>

#include "core/convert.h"
#include "core/simd.h"
#include "vq/codebook.h"
#include "vq/columns.h"
#include "vq/distance.h"
#include "vq/storage.h"

namespace zelsr::vq {

template <class T>
struct TrainingRows {
    Block<T> rows;
    int32_t width;
    int32_t height;

    const T* operator[](int32_t i) const { return rows[i]; }
};

// Neighbours of a leaf among count leaves: the bits of the last index, at least 4; none below 3 leaves.
inline int32_t neighbours_among(int32_t count) { return count < 3 ? 0 : std::max(4, index_bits(count)); }

inline bool has_aids(int32_t width) { return width == 1 || width == 2 || width == 4 || width == 8; }

// All of a tree of up to size leaves, in one block. Children come behind their parents.
template <class T>
struct Tree {
    Tree(int32_t width_, int32_t size_) : width(width_), size(size_) {}

    void lay_out(Parts& parts)
    {
        const int64_t most = 2 * int64_t{size} - 1, near = neighbours_among(size);
        nodes = parts.take<SrCdbkCluster<T>>(most);  // the root first
        centroids = parts.take<T>(most * padded(width));
        neighbours = parts.take<SrCdbkCluster<T>*>(size * near);
        const int64_t aided = has_aids(width) ? 1 : 0;
        aids = parts.take<SrCdbkSearchAid<T>>(aided * most);
        children = parts.take<T>(aided * (size - 1) * padded(4 * int64_t{width}));
        neighbour_centroids = parts.take<T>(aided * size * padded(near * width));
    }

    // Every vector, and every group of vectors that a search runs through, begins on a 32-byte boundary.
    static constexpr int64_t padded(int64_t elements)
    {
        constexpr int64_t whole = 32 / sizeof(T);
        return (elements + whole - 1) / whole * whole;
    }

    SrCdbkCluster<T>* add_leaf(int32_t depth)
    {
        SrCdbkCluster<T>* leaf = nodes + count;
        *leaf = {};
        leaf->centroid = centroids + count * padded(width);
        std::memset(leaf->centroid, 0, static_cast<std::size_t>(padded(width)) * sizeof(T));
        leaf->leaf = 1;
        leaf->depth = depth;
        ++count;
        return leaf;
    }

    int32_t width, size;
    int32_t count = 0;  // of nodes
    SrCdbkCluster<T>* nodes;
    T* centroids;
    SrCdbkCluster<T>** neighbours;
    SrCdbkSearchAid<T>* aids;
    T* children;
    T* neighbour_centroids;
};

// What training does differently by the type of the rows.
template <class T>
struct Arithmetic;

template <>
struct Arithmetic<float> {
    using Sum = float;

    static void store(const float* from, float* centroid, int32_t width, Rounding /*rounding*/)
    {
        std::memcpy(centroid, from, static_cast<std::size_t>(width) * sizeof(float));
    }
    static void store_first_mean(const float* mean, float* centroid, int32_t width)
    {
        store(mean, centroid, width, Rounding::Nearest);
    }
    // The elements of a row as singles; room takes them where they are not.
    static const float* singles(const float* row, int32_t /*width*/, float* /*room*/) { return row; }

    static bool have_collapsed(float distance) { return static_cast<double>(distance) <= 0.000001; }
    static bool is_apart(float distance) { return static_cast<double>(distance) >= 0.00001; }
    static bool are_still_together(float difference, int32_t population)
    {
        return population * 0.000001 >= static_cast<double>(difference);
    }
};

template <>
struct Arithmetic<int16_t> {
    using Sum = double;

    static void store(const double* from, int16_t* centroid, int32_t width, Rounding rounding)
    {
        in_pieces(width, [=](int32_t at, int32_t len) {
            int32_t whole[kPiece];
            convert_64f32s(from + at, whole, len, rounding, 0);
            convert_32s16s(whole, centroid + at, len, 0);
        });
    }
    static void store_first_mean(const double* mean, int16_t* centroid, int32_t width)
    {
        in_pieces(width, [=](int32_t at, int32_t len) {
            float single[kPiece];
            convert_64f32f(mean + at, single, len);
            convert_32f16s(single, centroid + at, len, Rounding::Nearest, 0);
        });
    }
    static const float* singles(const int16_t* row, int32_t width, float* room)
    {
        convert_16s32f(row, room, width);
        return room;
    }

    static bool have_collapsed(float distance) { return Own_Correct_Equ_32f(distance, 0); }
    static bool is_apart(float distance) { return !Own_Correct_Equ_32f(distance, 0); }
    static bool are_still_together(float difference, int32_t /*population*/)
    {
        return Own_Correct_Equ_32f(difference, 0);
    }

  private:
    static constexpr int32_t kPiece = 64;
    template <class F>
    static void in_pieces(int32_t width, const F& f)
    {
        for (int32_t at = 0; at < width; at += kPiece) f(at, std::min(kPiece, width - at));
    }
};

// Work memory of a training, one block.
template <class T>
struct Training {
    using Sum = typename Arithmetic<T>::Sum;

    Training(TrainingRows<T> rows, int32_t size_) : x(rows), size(size_) {}

    void lay_out(Parts& parts)
    {
        const int64_t height = x.height, width = x.width;
        leaves = parts.take<SrCdbkCluster<T>*>(size);
        labels = parts.take<int32_t>(height);
        distances = parts.take<float>(height);
        others = parts.take<float>(height);
        next = parts.take<int32_t>(height + 1);
        before = parts.take<int32_t>(height + 1);
        chain = parts.take<int32_t>(height);
        sums = parts.take<Sum>(size * width);
        stale = parts.take<uint8_t>(size);
        moved = parts.take<uint8_t>(size);
        all.first = parts.take<float>(Columns::elements(size, width));
        changed.first = parts.take<float>(Columns::elements(size, width));
        to_all = parts.take<float>(4 * whole_groups(size));
        to_changed = parts.take<float>(4 * whole_groups(size));
        weights = parts.take<float>(width);
        row = parts.take<float>(width);
        all.width = changed.width = x.width;
    }

    Sum* sums_of(int32_t cluster) const { return sums + std::ptrdiff_t{cluster} * x.width; }

    TrainingRows<T> x;
    int32_t size;
    int32_t count = 0;               // of leaves
    SrCdbkCluster<T>** leaves;       // the list of clusters; a row's label is a place in it
    int32_t* labels;                 // of each row
    float* distances;                // of each row from the centroid of its cluster
    float* others;                   // what no other cluster's distance from the row is below; 0 if unknown
    int32_t *next, *before, *chain;  // of the rows of one cluster, while it is split
    Sum* sums;                       // of each cluster's rows, then the mean before it is stored
    uint8_t* stale;                  // of each cluster: its centroid is not the mean of its rows
    uint8_t* moved;                  // of each cluster: its centroid is another than a pass ago
    Columns all, changed;            // the centroids; those that have moved
    float *to_all, *to_changed;      // a row's distances from them
    float* weights;
    float* row;
};

// Grows the tree until it has size leaves or none can be split; SrErrBadArg if two halves cannot be told apart.
template <class T>
SrStatus grow_tree(Training<T>& training, Tree<T>& tree, SrCdbkKind kind);

// What a grown tree lacks: centroids of inner nodes, neighbours of leaves, search aids.
template <class T>
void complete_tree(const Training<T>& training, Tree<T>& tree);

}  // namespace zelsr::vq
