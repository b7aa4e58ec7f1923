// A tree of clusters node by node beside the reference's.
#pragma once

#include <gtest/gtest.h>

#include <map>
#include <vector>

#include "vq/codebook_members.h"

namespace zelsr::test {

using reference::Tree;

template <class T>
void collect_leaves(const ClusterView<T>* node, std::map<int32_t, const ClusterView<T>*>& leaves)
{
    if (node->leaf == 0) {
        collect_leaves(node->left, leaves);
        collect_leaves(node->right, leaves);
        return;
    }
    EXPECT_TRUE(leaves.emplace(node->index, node).second) << "two leaves of index " << node->index;
}

// The two vectors of a child in its parent's block.
template <class T>
std::vector<T> grandchildren(const reference::Cluster<T>& child)
{
    std::vector<T> pair = child.leaf() ? child.centroid : child.left->centroid;
    const std::vector<T>& second = child.leaf() ? child.centroid : child.right->centroid;
    pair.insert(pair.end(), second.begin(), second.end());
    return pair;
}

template <class T>
class NodeCheck {
  public:
    explicit NodeCheck(const CodebookView<T>& view)
        : width_(static_cast<std::size_t>(view.width)),
          aided_(view.width == 1 || view.width == 2 || view.width == 4 || view.width == 8)
    {
        collect_leaves(view.root, leaves_);
    }

    void operator()(const reference::Cluster<T>& expected, const ClusterView<T>* node) const
    {
        ASSERT_EQ(node->leaf, expected.leaf() ? 1 : 0);
        EXPECT_TRUE(same_value(expected.radius, node->radius));
        EXPECT_TRUE(same_values(expected.centroid, elements(node->centroid, width_)));
        EXPECT_EQ(node->population, expected.population);
        EXPECT_EQ(node->depth, expected.depth);
        EXPECT_EQ(node->aid != nullptr, aided_);
        if (testing::Test::HasFailure()) return;
        expected.leaf() ? check_leaf(expected, node) : check_inner(expected, node);
    }

  private:
    void check_leaf(const reference::Cluster<T>& expected, const ClusterView<T>* node) const
    {
        EXPECT_EQ(node->index, expected.index);
        EXPECT_EQ(node->left, nullptr);
        EXPECT_EQ(node->right, nullptr);
        ASSERT_EQ(node->neighbour_count, static_cast<int32_t>(expected.neighbours.size()));
        std::vector<T> centroids;
        for (std::size_t m = 0; m < expected.neighbours.size(); ++m) {
            const reference::Cluster<T>& neighbour = *expected.neighbours[m];
            EXPECT_EQ(node->neighbours[m], leaves_.at(neighbour.index))
                << "neighbour " << m << " of leaf " << node->index << " is " << node->neighbours[m]->index
                << " instead of " << neighbour.index;
            if (aided_) {
                EXPECT_EQ(node->aid->neighbours[m], node->neighbours[m]);
            }
            centroids.insert(centroids.end(), neighbour.centroid.begin(), neighbour.centroid.end());
        }
        if (!aided_) return;
        EXPECT_EQ(node->aid->children, nullptr);
        if (centroids.empty()) {
            EXPECT_EQ(node->aid->centroids, nullptr);
            EXPECT_EQ(node->aid->neighbours, nullptr);
        } else {
            EXPECT_TRUE(same_values(centroids, elements(node->aid->centroids, centroids.size())));
        }
    }

    void check_inner(const reference::Cluster<T>& expected, const ClusterView<T>* node) const
    {
        if (aided_) {
            std::vector<T> four = grandchildren(*expected.left);
            const std::vector<T> last_two = grandchildren(*expected.right);
            four.insert(four.end(), last_two.begin(), last_two.end());
            EXPECT_TRUE(same_values(four, elements(node->aid->children, four.size())));
        }
        (*this)(*expected.left, node->left);
        (*this)(*expected.right, node->right);
    }

    std::size_t width_;
    bool aided_;
    std::map<int32_t, const ClusterView<T>*> leaves_;
};

// What training made of the data is told through seen.
struct Seen {
    int repairs = 0, refused = 0, early_ends = 0;
};
template <class Family>
void expect_tree(const Training<typename Family::Element>& training, Seen* seen = nullptr)
{
    using T = typename Family::Element;
    const std::vector<T> weights = training.all_weights();
    const Tree<T> expected(training.rows, weights, training.size, training.kind);
    const Trained<Family> trained(training);
    if (seen != nullptr) {
        seen->repairs += expected.repairs;
        seen->refused += expected.status < 0;
        seen->early_ends += expected.status > 0;
    }
    ASSERT_EQ(trained.status, expected.status) << training.describe();
    if (expected.status < 0) {
        EXPECT_EQ(trained.get(), nullptr);
        return;
    }
    const CodebookView<T> view = trained.view();
    ASSERT_NO_FATAL_FAILURE(expect_record(view, training, static_cast<int32_t>(expected.leaves.size()),
                                          rounded_up(training.step(), Family::kRowMultiple)));
    EXPECT_EQ(view.depth, expected.depth);
    EXPECT_EQ(view.field, nullptr);
    for (const auto* leaf : expected.leaves)
        EXPECT_TRUE(same_values(leaf->centroid,
                                elements(view.codewords + leaf->index * view.row_step, leaf->centroid.size())))
            << "codeword " << leaf->index;
    NodeCheck<T> check(view);
    check(*expected.root, view.root);
    ASSERT_FALSE(testing::Test::HasFailure()) << training.describe();
}

inline const std::vector<SrCdbkKind> kTrees = {SrCdbkTreeRadius, SrCdbkTreePopulation};

}  // namespace zelsr::test
