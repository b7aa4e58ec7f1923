// Growth of a tree of clusters: the choice of the cluster to split, its split, and the passes of k-means over all
// clusters that follow.
#include "vq/training.h"

#include <cstdint>
#include <cstring>
#include <limits>

#include "core/contract.h"

namespace zelsr::vq {
namespace {

constexpr int32_t kMostPasses = 20;
constexpr int32_t kMostNudges = 1000;

template <class T>
float distance_from(const Training<T>& training, int32_t i, const SrCdbkCluster<T>& cluster)
{
    return OwnDistance(training.x[i], cluster.centroid, training.weights, training.x.width);
}

template <class T, class Sum>
void add_row(const T* row, Sum* sums, int32_t width)
{
    for (int32_t k = 0; k < width; ++k) sums[k] += static_cast<Sum>(load_one(row + k));
}

template <class Sum>
void divide(Sum* sums, int32_t width, int32_t population)
{
    for (int32_t k = 0; k < width; ++k) sums[k] /= static_cast<Sum>(population);
}

// In single precision, a distance within a millionth of the centroid's largest element, by value, counts as none.
float tolerance(const float* centroid, int32_t width)
{
    const auto [least, most] = std::minmax_element(centroid, centroid + width);
    return static_cast<float>(std::max(*most * 0.000001, *least * -0.000001));
}

// The distances of all rows from the only cluster. The largest of them.
float first_distances(Training<float>& training, const SrCdbkCluster<float>& cluster)
{
    const float none = tolerance(cluster.centroid, training.x.width);
    float largest = 0;
    for (int32_t i = 0; i < training.x.height; ++i) {
        const float distance = distance_from(training, i, cluster);
        const bool counts = Own_Correct_Greater_32f(distance, none);
        training.distances[i] = counts ? distance : 0;
        if (counts && Own_Correct_Greater_32f(distance, largest)) largest = distance;
    }
    return largest;
}

float first_distances(Training<int16_t>& training, const SrCdbkCluster<int16_t>& cluster)
{
    float largest = 0;
    for (int32_t i = 0; i < training.x.height; ++i) {
        training.distances[i] = distance_from(training, i, cluster);
        largest = std::max(largest, training.distances[i]);
    }
    return largest;
}

template <class T>
void OwnCreate1stCluster(Training<T>& training, SrCdbkCluster<T>* cluster)
{
    const int32_t width = training.x.width, height = training.x.height;
    training.leaves[0] = cluster;
    training.count = 1;
    training.stale[0] = 1;
    cluster->population = height;
    std::memset(training.labels, 0, static_cast<std::size_t>(height) * sizeof(int32_t));
    if (height == 1) {
        std::memcpy(cluster->centroid, training.x[0], static_cast<std::size_t>(width) * sizeof(T));
        return;
    }
    auto* mean = training.sums;
    std::fill_n(mean, width, 0);
    for (int32_t i = 0; i < height; ++i) add_row(training.x[i], mean, width);
    divide(mean, width, height);
    Arithmetic<T>::store_first_mean(mean, cluster->centroid, width);
    const float largest = first_distances(training, *cluster);
    cluster->radius = largest + largest;
}

constexpr int32_t kNone = -1;

// The lowest of equal ones. A cluster without a radius is never split.
template <class T>
int32_t cluster_to_split(const Training<T>& training, SrCdbkKind kind)
{
    int32_t chosen = kNone;
    float best = 0;
    for (int32_t i = 0; i < training.count; ++i) {
        const SrCdbkCluster<T>& cluster = *training.leaves[i];
        const bool by_radius = kind == SrCdbkTreeRadius;
        const float rank = by_radius ? cluster.radius : static_cast<float>(cluster.population);
        if (Own_Correct_Greater_32f(rank, best) && (by_radius || Own_Correct_Greater_32f(cluster.radius, 0))) {
            best = rank;
            chosen = i;
        }
    }
    return chosen;
}

// The rows of a cluster in order, as a ring through the place behind the last row.
template <class T>
void link_rows(Training<T>& training, int32_t label)
{
    const int32_t end = training.x.height;
    int32_t last = end;
    for (int32_t i = 0; i < end; ++i) {
        if (training.labels[i] != label) continue;
        training.next[last] = i;
        training.before[i] = last;
        last = i;
    }
    training.next[last] = end;
    training.before[end] = last;
}

// Half of the rows labelled p, those nearest to the centroid, become q. The nearest is what a scan over the rows
// leaves as its best, a row replacing the best by the comparison with a margin. Every next scan would find the
// same bests up to the one that was taken away: they are kept as a chain, and the scan goes on behind its place.
template <class T>
void take_nearer_half(Training<T>& training, int32_t p, int32_t q, int32_t half)
{
    link_rows(training, p);
    const int32_t end = training.x.height;
    float* distances = training.distances;
    int32_t *next = training.next, *before = training.before, *chain = training.chain;
    int32_t bests = 0;
    for (int32_t taken = 0, row = next[end]; taken < half; ++taken) {
        float best = bests > 0 ? distances[chain[bests - 1]] : kLargest;
        for (; row != end; row = next[row])
            if (Own_Correct_Greater_32f(best, distances[row])) {
                best = distances[row];
                chain[bests++] = row;
            }
        if (bests == 0) return;  // distances beyond the largest single, or none
        const int32_t nearest = chain[--bests];
        row = next[nearest];
        next[before[nearest]] = row;
        before[row] = before[nearest];
        training.labels[nearest] = q;
        distances[nearest] = kLargest;
    }
}

// The means of those clusters whose rows or centroid have changed since the last time; the others' come out as
// they are.
template <class T>
void update_centroids(Training<T>& training, int32_t count)
{
    const int32_t width = training.x.width;
    for (int32_t c = 0; c < count; ++c) {
        if (!training.stale[c]) continue;
        std::fill_n(training.sums_of(c), width, 0);
        training.leaves[c]->population = 0;
    }
    for (int32_t i = 0; i < training.x.height; ++i) {
        const int32_t label = training.labels[i];
        if (!training.stale[label]) continue;
        add_row(training.x[i], training.sums_of(label), width);
        ++training.leaves[label]->population;
    }
    for (int32_t c = 0; c < count; ++c) {
        if (!training.stale[c]) continue;
        divide(training.sums_of(c), width, training.leaves[c]->population);
        Arithmetic<T>::store(training.sums_of(c), training.leaves[c]->centroid, width, Rounding::Nearest);
        training.stale[c] = 0;
    }
}

// The sum over the rows of both clusters of how much their distances from the centroids differ.
template <class T>
float difference_of(const Training<T>& training, int32_t p, int32_t q)
{
    float sum = 0;
    for (int32_t i = 0; i < training.x.height; ++i) {
        if (training.labels[i] != p && training.labels[i] != q) continue;
        const float a = distance_from(training, i, *training.leaves[q]);
        const float b = distance_from(training, i, *training.leaves[p]);
        sum += std::fabs(Own_Correct_Equ_32f(a, 0) ? a - b : (a - b) / a);
    }
    return sum;
}

// The centroids of p and q have fallen together: that of q is pushed towards rows of either that are not there,
// further each time.
template <class T>
SrStatus repair_collapse(Training<T>& training, int32_t p, int32_t q, int32_t population)
{
    using Sum = typename Training<T>::Sum;
    const int32_t width = training.x.width, height = training.x.height;
    const SrCdbkCluster<T>& pushed = *training.leaves[q];
    Sum* centroid = training.sums_of(q);
    training.stale[q] = 1;
    int32_t r = 0;
    for (int32_t n = 1;; ++n) {
        const auto can_push = [&](int32_t i) {
            return (training.labels[i] == p || training.labels[i] == q) &&
                   Arithmetic<T>::is_apart(distance_from(training, i, pushed));
        };
        while (r < height && !can_push(r)) ++r;
        if (r == height || n > kMostNudges) return SrErrBadArg;

        const Sum factor = static_cast<Sum>(n) / 100;
        for (int32_t k = 0; k < width; ++k) {
            const Sum element = static_cast<Sum>(load_one(training.x[r] + k));
            centroid[k] += ((element + centroid[k]) / 2 - centroid[k]) * factor;
        }
        Arithmetic<T>::store(centroid, pushed.centroid, width, Rounding::TowardZero);
        if (!Arithmetic<T>::are_still_together(difference_of(training, p, q), population)) return SrOk;
    }
}

// Brings the columns up to date, and collects those centroids that are others now. How many.
template <class T>
int32_t collect_changes(Training<T>& training, int32_t count)
{
    int32_t changes = 0;
    for (int32_t c = 0; c < count; ++c) {
        const T* centroid = training.leaves[c]->centroid;
        training.moved[c] = training.all.set(c, centroid);
        if (training.moved[c]) training.changed.set(changes++, centroid);
    }
    return changes;
}

// Every other centroid farther than this is out of reach of the comparisons: the own one wins, wherever it stands.
float reach_of(float distance) { return distance * 1.00001F; }

// Whether a row whose own centroid stands still stays there, told by those centroids alone that have moved.
template <class T>
bool stays(const Training<T>& training, int32_t i, const float* row, int32_t changes)
{
    const float reach = reach_of(training.distances[i]);
    if (training.moved[training.labels[i]] || !(training.others[i] > reach)) return false;
    distances_from(row, training.weights, training.changed, changes, training.to_changed);
    const float least = least_of(training.to_changed, changes);
    training.others[i] = std::min(training.others[i], least);
    return least > reach;
}

// The label of the nearest cluster, and the row's distances with it. A row alone in its cluster stays, so that no
// cluster is emptied. Whether the row has moved.
template <class T>
bool reassign(Training<T>& training, int32_t i, const float* row, int32_t count)
{
    const int32_t own = training.labels[i];
    float* distances = training.to_all;
    distances_from(row, training.weights, training.all, count, distances);
    const int32_t nearest = nearest_of(distances, count, own);
    const bool moves = nearest != own && training.leaves[own]->population >= 2;
    const int32_t label = moves ? nearest : own;
    training.distances[i] = distances[label];
    distances[label] = std::numeric_limits<float>::infinity();
    training.others[i] = nearest == label ? least_of(distances, count) : 0;
    if (!moves) return false;
    training.labels[i] = label;
    --training.leaves[own]->population;
    ++training.leaves[label]->population;
    training.stale[own] = training.stale[label] = 1;
    return true;
}

struct Pass {
    float total;  // of the rows' distances, in order
    int32_t moves;
};

template <class T>
Pass reassign_rows(Training<T>& training, int32_t count)
{
    const int32_t changes = collect_changes(training, count);
    Pass pass{0, 0};
    for (int32_t i = 0; i < training.x.height; ++i) {
        const float* row = Arithmetic<T>::singles(training.x[i], training.x.width, training.row);
        if (!stays(training, i, row, changes) && reassign(training, i, row, count)) ++pass.moves;
        pass.total += training.distances[i];
    }
    return pass;
}

// In the positive sense: a total that is not a number goes on.
bool has_settled(const Pass& pass, float total_before)
{
    const double change = pass.total - total_before, margin = 0.0001 * pass.total;
    return change <= margin && change >= -margin && pass.moves == 0;
}

template <class T>
void update_radii(Training<T>& training, int32_t count)
{
    for (int32_t c = 0; c < count; ++c) training.leaves[c]->radius = 0;
    for (int32_t i = 0; i < training.x.height; ++i) {
        float& radius = training.leaves[training.labels[i]]->radius;
        if (Own_Correct_Greater_32f(training.distances[i], radius)) radius = training.distances[i];
    }
    for (int32_t c = 0; c < count; ++c) {
        SrCdbkCluster<T>& cluster = *training.leaves[c];
        cluster.radius = cluster.population < 2 ? 0 : cluster.radius + cluster.radius;
    }
}

// The centroids stay those of the last pass, although rows may have moved since: wanted.
template <class T>
SrStatus OwnSplitCluster(Training<T>& training, Tree<T>& tree, int32_t p)
{
    SrCdbkCluster<T>* parent = training.leaves[p];
    if (parent->population < 2) return SrErrSize;
    const int32_t q = training.count, count = q + 1, population = parent->population;
    parent->leaf = 0;
    training.leaves[q] = parent->left = tree.add_leaf(parent->depth + 1);
    training.leaves[p] = parent->right = tree.add_leaf(parent->depth + 1);
    take_nearer_half(training, p, q, population / 2);
    training.stale[p] = training.stale[q] = 1;

    float total = 0;
    for (int32_t n = 0; n < kMostPasses; ++n) {
        update_centroids(training, count);
        const SrCdbkCluster<T>&nearer = *training.leaves[q], &farther = *training.leaves[p];
        if (Arithmetic<T>::have_collapsed(
                OwnDistance(farther.centroid, nearer.centroid, training.weights, training.x.width)))
            if (SrStatus failed = repair_collapse(training, p, q, population)) return failed;
        const Pass pass = reassign_rows(training, count);
        const bool settled = has_settled(pass, total);
        total = pass.total;
        if (settled) break;
    }
    update_radii(training, count);
    training.count = count;
    return SrOk;
}

}  // namespace

template <class T>
SrStatus grow_tree(Training<T>& training, Tree<T>& tree, SrCdbkKind kind)
{
    std::fill_n(training.others, training.x.height, 0.0F);
    // A column without a centroid yet differs from every one.
    std::fill_n(training.all.first, Columns::elements(training.size, training.x.width),
                std::numeric_limits<float>::quiet_NaN());
    OwnCreate1stCluster(training, tree.add_leaf(1));
    while (training.count < training.size) {
        const int32_t chosen = cluster_to_split(training, kind);
        if (chosen == kNone) break;
        if (SrStatus failed = OwnSplitCluster(training, tree, chosen)) return failed;
    }
    return SrOk;
}

template SrStatus grow_tree(Training<float>&, Tree<float>&, SrCdbkKind);
template SrStatus grow_tree(Training<int16_t>&, Tree<int16_t>&, SrCdbkKind);

}  // namespace zelsr::vq
