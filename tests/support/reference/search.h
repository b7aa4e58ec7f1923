// Searches in codebooks by the plainest code: the nearest codeword by each kind of codebook, the nearest few,
// those within a bound, packed indices. Scores of weighted trees are the library's own, on aligned copies.
#pragma once

#include <cfloat>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <optional>
#include <type_traits>
#include <vector>

#include "support/reference/codebook.h"
#include "support/reference/field_table.h"
#include "zelsr/core/convert.h"
#include "zelsr/core/vector.h"
#include "zelsr/likelihood/fixed.h"
#include "zelsr/likelihood/gauss.h"

namespace zelsr::test::reference {

constexpr int kFull = 1;

template <class T>
struct Book {
    int kind = kFull;
    Rows<T> codewords;
    std::vector<T> weights;
    const Cluster<T>* root = nullptr;
    std::optional<LinearField> linear;
    std::optional<SquareField> square;

    int count() const { return static_cast<int>(codewords.size()); }
    int width() const { return static_cast<int>(weights.size()); }
    bool weighted() const { return std::count(weights.begin(), weights.end(), T(1)) != width(); }
    bool searchable() const { return kind >= 1 && kind <= 3; }
};

// Index and square of the distance as a search reports them.
struct Nearest {
    int index = -1;
    float squared = FLT_MAX;
};

// Vectors on 16 bytes, for scores that depend on it.
template <class T>
class AlignedRows {
  public:
    explicit AlignedRows(const Rows<T>& rows)
    {
        for (const auto& row : rows) {
            const std::size_t bytes = (row.size() * sizeof(T) + 15) / 16 * 16;
            blocks_.emplace_back(static_cast<T*>(std::aligned_alloc(16, bytes)), std::free);
            std::copy(row.begin(), row.end(), blocks_.back().get());
            list_.push_back(blocks_.back().get());
        }
    }
    const T* const* list() const { return list_.data(); }
    const T* operator[](std::size_t i) const { return list_[i]; }

  private:
    std::vector<std::unique_ptr<T, void (*)(void*)>> blocks_;
    std::vector<const T*> list_;
};

// --- trees ---

// A child's two children; a leaf stands for both.
template <class T>
std::vector<const std::vector<T>*> pair_of(const Cluster<T>& child)
{
    if (child.leaf()) return {&child.centroid, &child.centroid};
    return {&child.left->centroid, &child.right->centroid};
}

template <class T>
const Cluster<T>* plain_leaf(const Book<T>& book, const std::vector<T>& x)
{
    const auto d = [&](const std::vector<T>* c) { return weighted_distance(x, *c, book.weights); };
    const Cluster<T>* node = book.root;
    while (!node->leaf()) {
        const auto left = pair_of(*node->left), right = pair_of(*node->right);
        const float a0 = d(left[0]), a1 = d(left[1]), b0 = d(right[0]), b1 = d(right[1]);
        const bool to_left = (a0 <= b0 && a0 <= b1) || (a1 <= b0 && a1 <= b1);
        node = to_left ? node->left : node->right;
    }
    for (bool moved = true; moved;) {
        moved = false;
        const float own = d(&node->centroid);
        for (const Cluster<T>* neighbour : node->neighbours)
            if (d(&neighbour->centroid) < own) {
                node = neighbour;
                moved = true;
                break;
            }
    }
    return node;
}

// Scores -d / 2: of 16-bit vectors times 2^-shift, in integers.
template <class T>
std::vector<float> scores(const Book<T>& book, const std::vector<T>& x, const Rows<T>& candidates, int shift)
{
    const AlignedRows<T> frames(candidates), other({x, book.weights});
    const auto height = static_cast<std::int32_t>(candidates.size());
    std::vector<float> all(candidates.size());
    if constexpr (std::is_same_v<T, float>) {
        zelsLogGauss_32f_D2L(frames.list(), other[0], other[1], book.width(), all.data(), height, 0);
    } else {
        std::vector<std::int32_t> integers(candidates.size());
        zelsLogGauss_16s32s_D2LSfs(frames.list(), other[0], other[1], book.width(), integers.data(), height, 0,
                                   shift);
        for (std::size_t i = 0; i < integers.size(); ++i) all[i] = static_cast<float>(integers[i]);
    }
    return all;
}

template <class T>
float leaf_score(const Book<T>& book, const std::vector<T>& x, const std::vector<T>& centroid, int shift)
{
    const AlignedRows<T> rows({x, centroid, book.weights});
    if constexpr (std::is_same_v<T, float>) {
        float score = 0;
        zelsLogGaussSingle_32f(rows[0], rows[1], rows[2], book.width(), &score, 0);
        return score;
    } else {
        std::int32_t score = 0;
        zelsLogGaussSingle_16s32s_Sfs(rows[0], rows[1], rows[2], book.width(), &score, 0, shift);
        return static_cast<float>(score);
    }
}

// Of a score, which is never above 0.
inline bool clearly_nearer(float a, float b) { return clearly_greater(-b, -a); }

// with_distance: the form that reports distances scores the first leaf of a walk unscaled, in 16 bits.
template <class T>
const Cluster<T>* weighted_leaf(const Book<T>& book, const std::vector<T>& x, bool with_distance)
{
    int shift = 1;
    for (int rest = book.width(); rest > 1; rest /= 2) ++shift;
    const Cluster<T>* node = book.root;
    while (!node->leaf()) {
        Rows<T> candidates;
        for (const Cluster<T>* child : {node->left, node->right}) {
            if (child->leaf()) {
                candidates.push_back(child->centroid);
            } else {
                candidates.push_back(child->left->centroid);
                candidates.push_back(child->right->centroid);
            }
        }
        const std::vector<float> s = scores(book, x, candidates, shift);
        const float a0 = s[0], a1 = node->left->leaf() ? a0 : s[1];
        const float b1 = s.back(), b0 = node->right->leaf() ? b1 : s[s.size() - 2];
        const bool to_left = (clearly_nearer(a0, b0) && clearly_nearer(a0, b1)) ||
                             (clearly_nearer(a1, b0) && clearly_nearer(a1, b1));
        node = to_left ? node->left : node->right;
    }
    if (node->neighbours.empty()) return node;
    float own = leaf_score(book, x, node->centroid, with_distance ? 0 : shift);
    for (bool moved = true; moved;) {
        moved = false;
        Rows<T> candidates;
        for (const Cluster<T>* neighbour : node->neighbours) candidates.push_back(neighbour->centroid);
        const std::vector<float> s = scores(book, x, candidates, shift);
        for (std::size_t m = 0; m < s.size(); ++m)
            if (clearly_less(own, s[m]) && !about_equal(own, s[m])) {
                own = s[m];
                node = node->neighbours[m];
                moved = true;
                break;
            }
    }
    return node;
}

// --- full codebooks ---

// The cell of a coordinate's value in units of cells, from -1 to the number of cells.
template <class T>
int cell_of(float value, int cells)
{
    if (value < 0) return -1;
    const double up = double{value} + (std::is_same_v<T, float> ? 0.0 : 0.001);
    return up < cells ? static_cast<int>(up) : cells;
}

template <class T>
const std::vector<std::int32_t>& candidates_of(const Book<T>& book, const std::vector<T>& x)
{
    const auto first = static_cast<float>(x[0]);
    if (book.linear) {
        const LinearField& f = *book.linear;
        return f.lists[static_cast<std::size_t>(cell_of<T>((first - f.range.low_edge) / f.width, f.cells) + 1)];
    }
    const SquareField& f = *book.square;
    const int i = cell_of<T>((first - f.first.low_edge) / f.width, f.columns);
    const int j = cell_of<T>((f.second.high_edge - static_cast<float>(x[1])) / f.height, f.rows);
    return f.lists[static_cast<std::size_t>((j + 1) * (f.columns + 2) + i + 1)];
}

template <class T>
Nearest clearly_nearest(const Book<T>& book, const std::vector<T>& x, const std::vector<std::int32_t>& candidates)
{
    Nearest best;
    for (std::int32_t c : candidates) {
        const float d = weighted_distance(x, book.codewords[static_cast<std::size_t>(c)], book.weights);
        if (clearly_less(d, best.squared)) best = {c, d};
    }
    return best;
}

// --- one row ---

template <class T>
Nearest nearest(const Book<T>& book, const std::vector<T>& x, bool with_distance)
{
    if (book.root != nullptr) {
        const Cluster<T>* leaf = book.weighted() ? weighted_leaf(book, x, with_distance) : plain_leaf(book, x);
        return {leaf->index, weighted_distance(x, leaf->centroid, book.weights)};
    }
    if (book.linear || book.square) return clearly_nearest(book, x, candidates_of(book, x));
    if (book.weighted()) {
        std::vector<std::int32_t> all;
        for (int c = 0; c < book.count(); ++c) all.push_back(c);
        return clearly_nearest(book, x, all);
    }
    Nearest best{0, weighted_distance(x, book.codewords[0], book.weights)};
    for (int c = 1; c < book.count(); ++c) {
        const float d = weighted_distance(x, book.codewords[static_cast<std::size_t>(c)], book.weights);
        if (d < best.squared) best = {c, d};
    }
    return best;
}

// A distance as it is reported: a single, or an integer under a scale factor.
template <class D>
D reported(float squared, std::int32_t sf)
{
    const float root = std::sqrt(squared);
    if constexpr (std::is_same_v<D, float>)
        return root;
    else
        return single_to_32s(root, multiplier<float>(sf), 1);
}

// --- the nearest few ---

template <class T>
std::vector<float> all_distances(const Book<T>& book, const std::vector<T>& x)
{
    std::vector<float> all;
    for (const auto& codeword : book.codewords) all.push_back(weighted_distance(x, codeword, book.weights));
    return all;
}

// Takes the first smallest one; the largest single stays in its place.
inline Nearest take_smallest(std::vector<float>& distances)
{
    Nearest taken;
    zelsMinIndx_32f(distances.data(), static_cast<std::int32_t>(distances.size()), &taken.squared, &taken.index);
    distances[static_cast<std::size_t>(taken.index)] = FLT_MAX;
    return taken;
}

template <class D>
struct Ranking {
    std::vector<std::int32_t> index;
    std::vector<D> distance;
};

template <class D, class T>
Ranking<D> nearest_few(const Book<T>& book, const std::vector<T>& x, int wanted, std::int32_t sf)
{
    std::vector<float> distances = all_distances(book, x);
    Ranking<D> all;
    for (int m = 0; m < wanted; ++m) {
        const Nearest taken = take_smallest(distances);
        all.index.push_back(taken.index);
        all.distance.push_back(reported<D>(taken.squared, sf));
    }
    return all;
}

// Those within the factor of the best. D float: without rounding; D int32: the form with integer distances.
template <class D, class T>
Ranking<D> within(const Book<T>& book, const std::vector<T>& x, float factor, bool with_distance, std::int32_t sf)
{
    Ranking<D> all;
    if (!book.searchable()) return all;
    const Nearest best = nearest(book, x, with_distance);
    float r = std::sqrt(best.squared);
    [[maybe_unused]] std::int32_t integer_bound = 0;
    if constexpr (!std::is_same_v<D, float>) {
        const auto whole = reported<std::int32_t>(best.squared, sf);
        zelsConvert_32s32f_Sfs(&whole, &r, 1, -sf);
        integer_bound = single_to_32s(static_cast<float>(whole) * factor, 1.0F, 0);
    }
    const float bound = (r * r) * (factor * factor);
    if (clearly_greater(0, bound)) return all;
    std::vector<float> distances = all_distances(book, x);
    while (static_cast<int>(all.index.size()) < book.count()) {
        const Nearest taken = take_smallest(distances);
        const bool beyond = clearly_greater(taken.squared, bound);
        const D distance = reported<D>(taken.squared, sf);
        // Integers have a test of their own, even for the first one beyond the bound.
        const bool listed = std::is_same_v<D, float> ? !beyond : !(distance > static_cast<D>(integer_bound));
        if (listed) {
            all.index.push_back(taken.index);
            all.distance.push_back(distance);
        }
        if (beyond) break;
    }
    return all;
}

// --- packed bits, from the top of each byte down ---

inline void put_bits(std::vector<std::uint8_t>& bytes, std::size_t& at, int bits, std::uint32_t value)
{
    for (int b = bits - 1; b >= 0; --b, ++at)
        if ((value >> b & 1) != 0) bytes[at / 8] = static_cast<std::uint8_t>(bytes[at / 8] | 0x80U >> at % 8);
}

inline std::uint32_t take_bits(const std::vector<std::uint8_t>& bytes, std::size_t& at, int bits)
{
    std::uint32_t value = 0;
    for (int b = 0; b < bits; ++b, ++at) value = value << 1 | (bytes[at / 8] >> (7 - at % 8) & 1U);
    return value;
}

}  // namespace zelsr::test::reference
