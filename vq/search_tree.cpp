// The codeword to which the tree leads, and the walk from there over neighbouring leaves.
#include <bit>

#include "core/simd.h"
#include "vq/distance.h"
#include "vq/four_distances.h"
#include "vq/nearest.h"
#include "zelsr/likelihood/fixed.h"
#include "zelsr/likelihood/gauss.h"

namespace zelsr::vq {
namespace {

// Weights of 1: distances. Where the width has aids, what is compared lies in one block.

template <class T>
const T* centroid_or_child(const SrCdbkCluster<T>* child, bool right)
{
    if (child->leaf != 0) return child->centroid;
    return (right ? child->right : child->left)->centroid;
}

template <int Width, class T>
auto grandchildren(const SrCdbkCluster<T>& node)
{
    if constexpr (Width > 0)
        return DenseVectors<T>{node.aid->children, Width};
    else
        return FourVectors<T>{{centroid_or_child(node.left, false), centroid_or_child(node.left, true),
                               centroid_or_child(node.right, false), centroid_or_child(node.right, true)}};
}

template <int Width, class T>
auto four_neighbours(const SrCdbkCluster<T>& leaf, int32_t first)
{
    if constexpr (Width > 0) {
        return DenseVectors<T>{leaf.aid->centroids + std::ptrdiff_t{first} * Width, Width};
    } else {
        FourVectors<T> four;
        for (int n = 0; n < 4; ++n) four.vector[n] = leaf.neighbours[first + n]->centroid;
        return four;
    }
}

// Left where one of its two is as near as both of the right: ties go left, and this is wanted.
inline bool goes_left(__m128 d)
{
    const __m128 left = _mm_shuffle_ps(d, d, _MM_SHUFFLE(1, 1, 0, 0));
    const __m128 right = _mm_shuffle_ps(d, d, _MM_SHUFFLE(3, 2, 3, 2));
    const int nearer = _mm_movemask_ps(_mm_cmple_ps(left, right));
    return (nearer & 3) == 3 || (nearer & 12) == 12;
}

template <int Width, class T>
class PlainTree {
  public:
    PlainTree(const Codebook<T>& codebook, float* work)
        : root_(*codebook.root), width_(codebook.width), lanes_(work)
    {}

    Found find(const T* row) const
    {
        spread(row, width_, lanes_);
        const SrCdbkCluster<T>* node = &root_;
        __m128 d[1], own = _mm_setzero_ps();
        if (node->leaf != 0) {
            const T* c = node->centroid;
            four_distances<Width>(FourVectors<T>{{c, c, c, c}}, lanes_, EqualWeights{}, width_, d);
            own = d[0];
        }
        while (node->leaf == 0) {
            four_distances<Width>(grandchildren<Width>(*node), lanes_, EqualWeights{}, width_, d);
            const bool left = goes_left(d[0]);
            node = left ? node->left : node->right;
            own = left ? d[0] : _mm_movehl_ps(d[0], d[0]);  // lane 0: of the leaf, where this is one
        }
        return walk(node, _mm_shuffle_ps(own, own, 0));
    }

  private:
    // To the first neighbour that is nearer, for as long as there is one. own: the leaf's distance in every lane.
    Found walk(const SrCdbkCluster<T>* leaf, __m128 own) const
    {
        for (int32_t i = 0; i < leaf->neighbour_count;) {
            // Lists have none or at least four; the last four may be looked at again.
            const int32_t first = std::min(i, leaf->neighbour_count - 4);
            __m128 d[1];
            four_distances<Width>(four_neighbours<Width>(*leaf, first), lanes_, EqualWeights{}, width_, d);
            const int nearer = _mm_movemask_ps(_mm_cmplt_ps(d[0], own));
            if (nearer == 0) {
                i += 4;
                continue;
            }
            const int n = std::countr_zero(static_cast<unsigned>(nearer));
            alignas(16) float distance[4];
            Aligned::put(distance, d[0]);
            own = _mm_set1_ps(distance[n]);
            leaf = leaf->neighbours[first + n];
            i = 0;
        }
        return {_mm_cvtss_f32(own), leaf->index};
    }

    const SrCdbkCluster<T>& root_;
    int32_t width_;
    float* lanes_;
};

// Weighted: scores, the higher the nearer.

constexpr int32_t kMostNeighbours = 16;  // 14 bits of a codeword's index, and one

class Scorer_32f {
  public:
    Scorer_32f(const Codebook<float>& codebook, WalkStart /*of 16-bit data*/)
        : weights_(codebook.weights), width_(codebook.width)
    {}
    SrStatus operator()(const float* const* centroids, int32_t count, const float* row, float* score) const
    {
        return zelsLogGauss_32f_D2L(centroids, row, weights_, width_, score, count, 0);
    }
    SrStatus where_the_walk_begins(const float* centroid, const float* row, float* score) const
    {
        return zelsLogGaussSingle_32f(row, centroid, weights_, width_, score, 0);
    }

  private:
    const float* weights_;
    int32_t width_;
};

class Scorer_16s {
  public:
    Scorer_16s(const Codebook<int16_t>& codebook, WalkStart start)
        : weights_(codebook.weights),
          width_(codebook.width),
          sf_(std::bit_width(static_cast<uint32_t>(codebook.width))),  // the logarithm to base 2, truncated, and 1
          start_sf_(start == WalkStart::Scaled ? sf_ : 0)
    {}
    SrStatus operator()(const int16_t* const* centroids, int32_t count, const int16_t* row, float* score) const
    {
        int32_t integers[kMostNeighbours];
        if (SrStatus failed =
                zelsLogGauss_16s32s_D2LSfs(centroids, row, weights_, width_, integers, count, 0, sf_))
            return failed;
        for (int32_t i = 0; i < count; ++i) score[i] = static_cast<float>(integers[i]);
        return SrOk;
    }
    SrStatus where_the_walk_begins(const int16_t* centroid, const int16_t* row, float* score) const
    {
        int32_t integer;
        if (SrStatus failed =
                zelsLogGaussSingle_16s32s_Sfs(row, centroid, weights_, width_, &integer, 0, start_sf_))
            return failed;
        *score = static_cast<float>(integer);
        return SrOk;
    }

  private:
    const int16_t* weights_;
    int32_t width_, sf_, start_sf_;
};

template <class T>
class WeightedTree {
  public:
    WeightedTree(const Codebook<T>& codebook, WalkStart start, float* work)
        : codebook_(codebook), score_(codebook, start), row_(reinterpret_cast<T*>(work))
    {}

    SrStatus find(const T* row, Found* found) const
    {
        std::memcpy(row_, row, static_cast<std::size_t>(codebook_.width) * sizeof(T));
        const SrCdbkCluster<T>* node = codebook_.root;
        while (node->leaf == 0)
            if (SrStatus failed = descend(&node)) return failed;
        if (SrStatus failed = walk(&node)) return failed;
        *found = {OwnDistance(row, node->centroid, static_cast<const T*>(codebook_.weights), codebook_.width),
                  node->index};
        return SrOk;
    }

  private:
    using Node = const SrCdbkCluster<T>*;

    static int32_t candidates(Node child, const T** list)
    {
        if (child->leaf != 0) {
            list[0] = child->centroid;
            return 1;
        }
        list[0] = child->left->centroid;
        list[1] = child->right->centroid;
        return 2;
    }

    // Left only where one of its scores is nearer than both of the right by more than the margin. Scores are
    // negative: the comparison is one of their magnitudes. Ties go right, unlike in the tree without weights, and
    // this is wanted.
    SrStatus descend(Node* node) const
    {
        const T* list[4];
        float score[4];
        const int32_t left = candidates((*node)->left, list), right = candidates((*node)->right, list + left);
        if (score_(list, left + right, row_, score) != SrOk) return SrErrGeneric;
        const float b0 = score[left], b1 = score[left + right - 1];
        const auto beats_both = [&](float a) {
            return Own_Correct_Greater_32f(-b0, -a) && Own_Correct_Greater_32f(-b1, -a);
        };
        *node = beats_both(score[0]) || beats_both(score[left - 1]) ? (*node)->left : (*node)->right;
        return SrOk;
    }

    // To the first neighbour that is nearer by both margins, for as long as there is one.
    SrStatus walk(Node* leaf) const
    {
        if ((*leaf)->neighbour_count == 0) return SrOk;
        float own;
        if (score_.where_the_walk_begins((*leaf)->centroid, row_, &own) != SrOk) return SrErrGeneric;
        for (Node next = *leaf; next != nullptr;) {
            *leaf = next;
            next = nullptr;
            const int32_t count = (*leaf)->neighbour_count;
            const T* list[kMostNeighbours];
            float score[kMostNeighbours];
            for (int32_t i = 0; i < count; ++i) list[i] = (*leaf)->neighbours[i]->centroid;
            if (score_(list, count, row_, score) != SrOk) return SrErrGeneric;
            for (int32_t i = 0; i < count && next == nullptr; ++i)
                if (Own_Correct_Less_32f(own, score[i]) && !Own_Correct_Equ_32f(own, score[i])) {
                    own = score[i];
                    next = (*leaf)->neighbours[i];
                }
        }
        return SrOk;
    }

    const Codebook<T>& codebook_;
    std::conditional_t<std::is_same_v<T, float>, Scorer_32f, Scorer_16s> score_;
    T* row_;
};

}  // namespace

template <class T>
SrStatus search_tree(const Codebook<T>& codebook, Block<T> rows, int32_t height, float* work, WalkStart start,
                     Found* found)
{
    if ((codebook.flags & kHasWeights) != 0) {
        const WeightedTree<T> tree(codebook, start, work);
        for (int32_t r = 0; r < height; ++r)
            if (SrStatus failed = tree.find(rows[r], found + r)) return failed;
        return SrOk;
    }
    with_width(codebook.width, [&](auto width) {
        const PlainTree<width, T> tree(codebook, work);
        for (int32_t r = 0; r < height; ++r) found[r] = tree.find(rows[r]);
    });
    return SrOk;
}
template SrStatus search_tree(const Codebook<float>&, Block<float>, int32_t, float*, WalkStart, Found*);
template SrStatus search_tree(const Codebook<int16_t>&, Block<int16_t>, int32_t, float*, WalkStart, Found*);

}  // namespace zelsr::vq
