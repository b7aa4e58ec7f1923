// What a grown tree lacks: centroids of inner nodes, neighbours of leaves, search aids.
#include <algorithm>
#include <cstdint>
#include <cstring>

#include "vq/training.h"
#include "zelsr/core/vector.h"

namespace zelsr::vq {
namespace {

template <class T>
void copy_vector(T* to, const T* from, int32_t width)
{
    std::memcpy(to, from, static_cast<std::size_t>(width) * sizeof(T));
}

constexpr int32_t kAtOnce = 8;  // elements of a centroid; the room behind its width has so many

// The centroid once a member: in single precision each addition rounds. Sums of integers are exact.
void add_members(float (&sums)[kAtOnce], const float* centroid, int32_t population)
{
    for (int32_t n = 0; n < population; ++n)
        for (int32_t k = 0; k < kAtOnce; ++k) sums[k] += centroid[k];
}
void add_members(double (&sums)[kAtOnce], const int16_t* centroid, int32_t population)
{
    for (int32_t k = 0; k < kAtOnce; ++k) sums[k] += static_cast<double>(centroid[k]) * population;
}

// The mean of the children, weighted by their populations: that of an inner child is what it was when the child
// was split, wanted.
template <class T>
void OwnReCalcCluster(SrCdbkCluster<T>& cluster, int32_t width)
{
    using Sum = typename Arithmetic<T>::Sum;
    const SrCdbkCluster<T>&left = *cluster.left, &right = *cluster.right;
    const auto members = static_cast<Sum>(int64_t{left.population} + right.population);
    for (int32_t at = 0; at < width; at += kAtOnce) {
        Sum sums[kAtOnce] = {};
        add_members(sums, left.centroid + at, left.population);
        add_members(sums, right.centroid + at, right.population);
        for (Sum& sum : sums) sum /= members;
        Arithmetic<T>::store(sums, cluster.centroid + at, std::min(kAtOnce, width - at), Rounding::TowardZero);
    }
}

// The children of both children, a leaf twice.
template <class T>
void copy_grandchildren(const SrCdbkCluster<T>& cluster, T* to, int32_t width)
{
    for (const SrCdbkCluster<T>* child : {cluster.left, cluster.right})
        for (const SrCdbkCluster<T>* grandchild : {child->left, child->right}) {
            copy_vector(to, child->leaf != 0 ? child->centroid : grandchild->centroid, width);
            to += width;
        }
}

// Children first, which lie behind their parents.
template <class T>
void complete_inner_nodes(Tree<T>& tree)
{
    T* children = tree.children;
    for (int32_t n = tree.count - 1; n >= 0; --n) {
        SrCdbkCluster<T>& cluster = tree.nodes[n];
        if (cluster.leaf == 0) OwnReCalcCluster(cluster, tree.width);
        if (!has_aids(tree.width)) continue;
        cluster.aid = tree.aids + n;
        *cluster.aid = {};
        if (cluster.leaf != 0) continue;
        copy_grandchildren(cluster, children, tree.width);
        cluster.aid->children = children;
        children += Tree<T>::padded(4 * int64_t{tree.width});
    }
}

// The nearest other leaves of one; behind the last of them it is leaf 0, whose distance is the largest single like
// all others' then.
template <class T>
void OwnNearest(const Training<T>& training, SrCdbkCluster<T>* leaf, int32_t near)
{
    const int32_t count = training.count, width = training.x.width;
    float* distances = training.to_all;
    const float* centroid = Arithmetic<T>::singles(leaf->centroid, width, training.row);
    distances_from(centroid, training.weights, training.all, count, distances);
    distances[leaf->index] = kLargest;
    int32_t nearest = 0;
    for (int32_t n = 0; n < near; ++n) {
        if (n < count) {
            float least;
            zelsMinIndx_32f(distances, count, &least, &nearest);
            distances[nearest] = kLargest;
        }
        leaf->neighbours[n] = training.leaves[nearest];
    }
    leaf->neighbour_count = near;
}

template <class T>
void find_neighbours(const Training<T>& training, Tree<T>& tree)
{
    const int32_t near = neighbours_among(training.count), width = tree.width;
    if (near == 0) return;
    for (int32_t i = 0; i < training.count; ++i) {
        SrCdbkCluster<T>* leaf = training.leaves[i];
        leaf->neighbours = tree.neighbours + std::ptrdiff_t{i} * near;
        OwnNearest(training, leaf, near);
        if (leaf->aid == nullptr) continue;
        leaf->aid->neighbours = leaf->neighbours;
        leaf->aid->centroids = tree.neighbour_centroids + i * Tree<T>::padded(int64_t{near} * width);
        for (int32_t n = 0; n < near; ++n)
            copy_vector(leaf->aid->centroids + n * width, leaf->neighbours[n]->centroid, width);
    }
}

}  // namespace

template <class T>
void complete_tree(const Training<T>& training, Tree<T>& tree)
{
    for (int32_t i = 0; i < training.count; ++i) training.leaves[i]->index = i;
    complete_inner_nodes(tree);
    find_neighbours(training, tree);
}

template void complete_tree(const Training<float>&, Tree<float>&);
template void complete_tree(const Training<int16_t>&, Tree<int16_t>&);

}  // namespace zelsr::vq
