// Codebooks by the plainest code: comparisons, distances, the binary tree over training rows, its neighbour lists.
#pragma once

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <type_traits>
#include <vector>

#include "support/reference/convert.h"
#include "zelsr/types.h"

namespace zelsr::test::reference {

// a below b by more than one part in a million; true as well if either is not a number.
inline bool clearly_less(float a, float b) { return !(double{a} * 1.000001 >= double{b}); }
inline bool clearly_greater(float a, float b) { return double{a} > double{b} * 1.000001; }
inline bool about_equal(float a, float b)
{
    return !(std::abs(double{a} - double{b}) > std::abs(double{std::max(a, b)}) * double{0.0001F});
}

template <class T>
using Rows = std::vector<std::vector<T>>;

// The square of the weighted distance, element by element.
template <class T>
float weighted_distance(const std::vector<T>& a, const std::vector<T>& b, const std::vector<T>& weights)
{
    float sum = 0;
    for (std::size_t k = 0; k < a.size(); ++k) {
        const float difference = static_cast<float>(a[k]) - static_cast<float>(b[k]);
        sum += difference * difference * static_cast<float>(weights[k]);
    }
    return sum;
}

inline int index_bits(int count)
{
    int bits = 0;
    for (int rest = count - 1; rest > 0; rest /= 2) ++bits;
    return bits;
}

// Entries of a leaf's neighbour list.
inline int neighbour_count(int codewords)
{
    if (codewords < 3) return 0;
    int power = 4;
    while ((1 << (power + 1)) <= codewords) ++power;
    return codewords > 1 << power ? power + 1 : power;
}

template <class T>
struct Cluster {
    float radius = 0;
    std::vector<T> centroid;
    int index = 0, population = 0, depth = 1;
    Cluster *left = nullptr, *right = nullptr;
    std::vector<const Cluster*> neighbours;
    bool leaf() const { return left == nullptr; }
};

constexpr int kTreeRadius = 2, kTreePopulation = 3;

// The tree that training grows. status: as the library's.
template <class T>
class Tree {
  public:
    Tree(const Rows<T>& rows, const std::vector<T>& weights, int size, int kind)
        : rows_(rows), weights_(weights), labels_(rows.size()), distances_(rows.size())
    {
        create_first();
        for (int grown = 1; grown < size; ++grown) {
            const int chosen = kind == kTreeRadius ? of_largest_radius() : of_largest_population();
            if (chosen < 0) {
                status = SrWarnCdbkSize;
                break;
            }
            if (status = split(static_cast<std::size_t>(chosen)); status != SrOk) return;
        }
        for (std::size_t i = 0; i < leaves.size(); ++i) {
            leaves[i]->index = static_cast<int>(i);
            depth = std::max(depth, leaves[i]->depth);
        }
        average_inner(*root);
        list_neighbours();
    }
    Tree(const Tree&) = delete;
    Tree& operator=(const Tree&) = delete;

    SrStatus status = SrOk;
    Cluster<T>* root = nullptr;
    std::vector<Cluster<T>*> leaves;  // in the order of the codewords
    int depth = 0;
    int passes = 0, repairs = 0, nudges = 0, idle_repairs = 0;  // what the data made training go through

  private:
    using Sum = std::conditional_t<std::is_same_v<T, float>, float, double>;

    static T rounded(Sum x)
    {
        if constexpr (std::is_same_v<T, float>)
            return x;
        else
            return narrowed(double_to_32s(x, 1.0, 1), 0);
    }
    static T truncated(Sum x)
    {
        if constexpr (std::is_same_v<T, float>)
            return x;
        else
            return static_cast<T>(static_cast<std::int32_t>(x));
    }
    float distance(const std::vector<T>& a, const std::vector<T>& b) const
    {
        return weighted_distance(a, b, weights_);
    }
    std::size_t width() const { return weights_.size(); }

    Cluster<T>* create(int cluster_depth)
    {
        nodes_.emplace_back();
        nodes_.back().centroid.resize(width());
        nodes_.back().depth = cluster_depth;
        return &nodes_.back();
    }

    void create_first()
    {
        root = create(1);
        leaves = {root};
        root->population = static_cast<int>(rows_.size());
        if (rows_.size() == 1) {
            root->centroid = rows_[0];
            return;
        }
        for (std::size_t k = 0; k < width(); ++k) {
            Sum sum = 0;
            for (const auto& row : rows_) sum += static_cast<Sum>(row[k]);
            sum /= static_cast<Sum>(rows_.size());
            if constexpr (std::is_same_v<T, float>)
                root->centroid[k] = sum;
            else
                root->centroid[k] = single_to_16s(static_cast<float>(sum), 1.0F, 1);
        }
        // Small against its centroid's elements, a distance is none; the integer form knows no such bound.
        const auto [low, high] = std::minmax_element(root->centroid.begin(), root->centroid.end());
        const auto bound = static_cast<float>(
            std::max(static_cast<double>(*high) * 0.000001, static_cast<double>(*low) * -0.000001));
        float largest = 0;
        for (std::size_t i = 0; i < rows_.size(); ++i) {
            const float d = distance(rows_[i], root->centroid);
            if constexpr (std::is_same_v<T, float>) {
                if (!clearly_greater(d, bound)) continue;
                if (clearly_greater(d, largest)) largest = d;
            } else {
                largest = std::max(largest, d);
            }
            distances_[i] = d;
        }
        root->radius = largest + largest;
    }

    int of_largest_radius() const
    {
        int chosen = -1;
        float best = 0;
        for (std::size_t i = 0; i < leaves.size(); ++i)
            if (clearly_greater(leaves[i]->radius, best)) {
                best = leaves[i]->radius;
                chosen = static_cast<int>(i);
            }
        return chosen;
    }
    int of_largest_population() const
    {
        int chosen = -1, best = 0;
        for (std::size_t i = 0; i < leaves.size(); ++i)
            if (clearly_greater(static_cast<float>(leaves[i]->population), static_cast<float>(best)) &&
                clearly_greater(leaves[i]->radius, 0)) {
                best = leaves[i]->population;
                chosen = static_cast<int>(i);
            }
        return chosen;
    }

    SrStatus split(std::size_t p)
    {
        Cluster<T>* parent = leaves[p];
        if (parent->population < 2) return SrErrSize;
        const std::size_t q = leaves.size();
        parent->left = create(parent->depth + 1);
        parent->right = create(parent->depth + 1);
        leaves.push_back(parent->left);
        leaves[p] = parent->right;
        seed(p, q, parent->population / 2);
        float former_total = 0;
        for (int pass = 0; pass < 20; ++pass) {
            ++passes;
            average_leaves();
            bool repaired = false;
            if (collapsed(distance(leaves[p]->centroid, leaves[q]->centroid))) {
                repaired = true;
                ++repairs;
                if (!repair(p, q, parent->population)) return SrErrBadArg;
            }
            float total = 0;
            const int moved = reassign(total);
            if (repaired && moved == 0) ++idle_repairs;
            const float gain = total - former_total;
            former_total = total;
            if (!(double{gain} > 0.0001 * double{total}) && double{gain} >= -0.0001 * double{total} && moved == 0)
                break;
        }
        measure_radii();
        return SrOk;
    }

    // The half of the cluster's rows that lies nearest to its centroid gets the new label.
    void seed(std::size_t p, std::size_t q, int count)
    {
        for (int n = 0; n < count; ++n) {
            float best = FLT_MAX;
            std::size_t row = rows_.size();
            for (std::size_t i = 0; i < rows_.size(); ++i)
                if (labels_[i] == p && clearly_greater(best, distances_[i])) {
                    best = distances_[i];
                    row = i;
                }
            if (row == rows_.size()) return;
            labels_[row] = q;
            distances_[row] = FLT_MAX;
        }
    }

    void average_leaves()
    {
        sums_.assign(leaves.size(), std::vector<Sum>(width()));
        for (Cluster<T>* leaf : leaves) leaf->population = 0;
        for (std::size_t i = 0; i < rows_.size(); ++i) {
            for (std::size_t k = 0; k < width(); ++k) sums_[labels_[i]][k] += static_cast<Sum>(rows_[i][k]);
            ++leaves[labels_[i]]->population;
        }
        for (std::size_t c = 0; c < leaves.size(); ++c)
            for (std::size_t k = 0; k < width(); ++k) {
                sums_[c][k] /= static_cast<Sum>(leaves[c]->population);
                leaves[c]->centroid[k] = rounded(sums_[c][k]);
            }
    }

    static bool collapsed(float apart)
    {
        if constexpr (std::is_same_v<T, float>)
            return double{apart} <= 0.000001;
        else
            return about_equal(apart, 0);
    }

    // Pushes the new centroid q away from p. False: there is no row to push it to.
    bool repair(std::size_t p, std::size_t q, int parent_population)
    {
        std::vector<T>& centroid = leaves[q]->centroid;
        const auto belongs = [&](std::size_t i) { return labels_[i] == p || labels_[i] == q; };
        std::size_t r = 0;
        for (int n = 1;; ++n) {
            for (; r < rows_.size(); ++r) {
                if (!belongs(r)) continue;
                const float d = distance(rows_[r], centroid);
                if (std::is_same_v<T, float> ? double{d} >= 0.00001 : !about_equal(d, 0)) break;
            }
            if (r == rows_.size() || n > 1000) return false;
            ++nudges;
            for (std::size_t k = 0; k < width(); ++k) {
                Sum t = (static_cast<Sum>(rows_[r][k]) + sums_[q][k]) / 2 - sums_[q][k];
                t *= static_cast<Sum>(n) / 100;
                sums_[q][k] += t;
                centroid[k] = truncated(sums_[q][k]);
            }
            float sum = 0;
            for (std::size_t i = 0; i < rows_.size(); ++i) {
                if (!belongs(i)) continue;
                const float a = distance(rows_[i], centroid), b = distance(rows_[i], leaves[p]->centroid);
                sum += std::abs(about_equal(a, 0) ? a - b : (a - b) / a);
            }
            if (std::is_same_v<T, float> ? !(parent_population * 0.000001 >= double{sum}) : !about_equal(sum, 0))
                return true;
        }
    }

    int reassign(float& total)
    {
        int moved = 0;
        for (std::size_t i = 0; i < rows_.size(); ++i) {
            const std::size_t own = labels_[i];
            std::size_t nearest = own;
            float best = FLT_MAX;
            for (std::size_t c = 0; c < leaves.size(); ++c)
                if (const float d = distance(rows_[i], leaves[c]->centroid); clearly_less(d, best)) {
                    best = d;
                    nearest = c;
                }
            if (nearest != own && leaves[own]->population >= 2) {
                --leaves[own]->population;
                ++leaves[nearest]->population;
                labels_[i] = nearest;
                ++moved;
            } else {
                best = distance(rows_[i], leaves[own]->centroid);
            }
            distances_[i] = best;
            total += best;
        }
        return moved;
    }

    void measure_radii()
    {
        for (Cluster<T>* leaf : leaves) leaf->radius = 0;
        for (std::size_t i = 0; i < rows_.size(); ++i) {
            float& radius = leaves[labels_[i]]->radius;
            if (clearly_greater(distances_[i], radius)) radius = distances_[i];
        }
        for (Cluster<T>* leaf : leaves) leaf->radius = leaf->population < 2 ? 0 : leaf->radius + leaf->radius;
    }

    // Children weigh as much as they held when they were split.
    void average_inner(Cluster<T>& node)
    {
        if (node.leaf()) return;
        average_inner(*node.left);
        average_inner(*node.right);
        for (std::size_t k = 0; k < width(); ++k) {
            Sum sum = 0;
            for (const Cluster<T>* child : {node.left, node.right})
                for (int n = 0; n < child->population; ++n) sum += static_cast<Sum>(child->centroid[k]);
            node.centroid[k] = truncated(sum / static_cast<Sum>(node.left->population + node.right->population));
        }
    }

    void list_neighbours()
    {
        const int wanted = neighbour_count(static_cast<int>(leaves.size()));
        if (wanted == 0) return;
        for (Cluster<T>* leaf : leaves) {
            std::vector<float> apart;
            for (const Cluster<T>* other : leaves) apart.push_back(distance(leaf->centroid, other->centroid));
            apart[static_cast<std::size_t>(leaf->index)] = FLT_MAX;
            for (int m = 0; m < wanted; ++m) {
                if (m >= static_cast<int>(leaves.size())) {
                    leaf->neighbours.push_back(leaf->neighbours.back());
                    continue;
                }
                const auto nearest = std::min_element(apart.begin(), apart.end());
                leaf->neighbours.push_back(leaves[static_cast<std::size_t>(nearest - apart.begin())]);
                *nearest = FLT_MAX;
            }
        }
    }

    const Rows<T>& rows_;
    const std::vector<T>& weights_;
    std::deque<Cluster<T>> nodes_;
    std::vector<std::size_t> labels_;
    std::vector<float> distances_;
    Rows<Sum> sums_;
};

}  // namespace zelsr::test::reference
