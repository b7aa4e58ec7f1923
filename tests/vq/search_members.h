// The searches of both families, and codebooks of every kind beside what the reference knows of them.
#pragma once

#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <deque>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "support/reference/search.h"
#include "vq/codebook_members.h"
#include "zelsr/vq/search.h"
#include "zelsr/vq/split.h"

namespace zelsr::test {

struct Search_32f : Family_32f {
    using Distance = float;
    static constexpr auto kNearest = zelsVQ_32f;
    static constexpr auto kSort = zelsVQSingle_Sort_32f;
    static constexpr auto kThresh = zelsVQSingle_Thresh_32f;
    // sf is not theirs: the forms of both families are called alike.
    static SrStatus nearest_dist(const float* src, int32_t step, int32_t* index, float* distance, int32_t height,
                                 const State* state, int32_t /*sf*/)
    {
        return zelsVQDist_32f(src, step, index, distance, height, state);
    }
    static SrStatus sort_dist(const float* src, int32_t* index, float* distance, State* state, int32_t wanted,
                              int32_t /*sf*/)
    {
        return zelsVQDistSingle_Sort_32f(src, index, distance, state, wanted);
    }
    static SrStatus thresh_dist(const float* src, int32_t* index, float* distance, State* state, float factor,
                                int32_t* found, int32_t /*sf*/)
    {
        return zelsVQDistSingle_Thresh_32f(src, index, distance, state, factor, found);
    }
};
struct Search_16s : Family_16s {
    using Distance = int32_t;
    static constexpr auto kNearest = zelsVQ_16s;
    static constexpr auto kSort = zelsVQSingle_Sort_16s;
    static constexpr auto kThresh = zelsVQSingle_Thresh_16s;
    static constexpr auto nearest_dist = zelsVQDist_16s32s_Sfs;
    static constexpr auto sort_dist = zelsVQDistSingle_Sort_16s32s_Sfs;
    static constexpr auto thresh_dist = zelsVQDistSingle_Thresh_16s32s_Sfs;
};
using Searches = testing::Types<Search_32f, Search_16s>;
struct SearchNames {
    template <class Family>
    static std::string GetName(int)
    {
        return std::is_same_v<typename Family::Element, float> ? "32f" : "16s";
    }
};

// A kind other than the three, which a codebook in the caller's memory takes.
constexpr SrCdbkKind kUnknownKind = 7;

// Where values come from: anything; few values, whose distances tie and are exact; frames of speech.
enum class Values { Spread, Lattice, Speech };

template <class T>
Rows<T> some_rows(Values values, int count, int width)
{
    constexpr bool kSingle = std::is_same_v<T, float>;
    switch (values) {
        case Values::Spread:
            return random_rows(count, width, kSingle ? T(-1) : T(-32768), kSingle ? T(1) : T(32767));
        case Values::Lattice: {
            const int most = width == 1 ? 40 : width == 2 ? 8 : 2;
            Rows<T> rows;
            for (const auto& row :
                 random_rows<int16_t>(count, width, static_cast<int16_t>(-most), static_cast<int16_t>(most)))
                rows.emplace_back(row.begin(), row.end());
            return rows;
        }
        case Values::Speech: {
            const Rows<T> frames = speech_rows<T>(8);
            Rows<T> rows;
            for (int r = 0; r < count; ++r) {
                rows.emplace_back();
                while (static_cast<int>(rows.back().size()) < width) {
                    const auto& frame = frames[at(uniform(0, static_cast<int>(frames.size()) - 1))];
                    rows.back().insert(rows.back().end(), frame.begin(), frame.end());
                }
                rows.back().resize(at(width));
            }
            return rows;
        }
    }
    return {};
}

template <class T>
std::vector<T> some_weights(Values values, int width)
{
    std::vector<T> weights = uniform_vector<T>(width, T(0), std::is_same_v<T, float> ? T(3) : T(7));
    if (values == Values::Lattice)
        for (T& w : weights) w = static_cast<T>(std::nearbyint(w));
    if (weights[0] == T(1)) weights[0] = T(2);
    return weights;
}

// The ways that a search goes.
enum class Path { PlainTree, WeightedTree, Table, WeightedTable, Weighted, Plain };
constexpr Path kPaths[] = {Path::PlainTree,     Path::WeightedTree, Path::Table,
                           Path::WeightedTable, Path::Weighted,     Path::Plain};

inline std::string name_of(Path path)
{
    constexpr const char* kNames[] = {"plain tree",     "weighted tree", "table",
                                      "weighted table", "weighted",      "plain"};
    return kNames[static_cast<int>(path)];
}
template <class T>
Path path_of(const reference::Book<T>& book)
{
    if (book.root != nullptr) return book.weighted() ? Path::WeightedTree : Path::PlainTree;
    if (book.linear || book.square) return book.weighted() ? Path::WeightedTable : Path::Table;
    return book.weighted() ? Path::Weighted : Path::Plain;
}
inline bool has_path(Path path, int width)
{
    return (path != Path::Table && path != Path::WeightedTable) || width <= 2;
}

// About count rows evenly about zero, so that every cell of a grid has codewords.
template <class T>
Rows<T> spread_rows(Values values, int width, int count)
{
    const bool whole = !std::is_same_v<T, float> || values == Values::Lattice;
    const double unit = whole ? 64 : 0.125;
    const int across = width == 1 ? count : static_cast<int>(std::sqrt(count)) + 1;
    Rows<T> rows;
    for (int i = 0; i < (width == 1 ? across : across * across); ++i) {
        rows.push_back({static_cast<T>((2 * (i % across) - across + 1) * unit)});
        if (width == 2) rows.back().push_back(static_cast<T>((2 * (i / across) - across + 1) * unit));
        for (T& x : rows.back()) {
            const double off = width == 2 || values == Values::Spread ? uniform(-unit, unit) : 0;
            x = static_cast<T>(x + (whole ? std::nearbyint(off) : off));
        }
    }
    std::shuffle(rows.begin(), rows.end(), generator());
    return rows;
}

// Training rows that lead to a codebook of about count codewords on this path.
template <class T>
Training<T> training_for(Path path, Values values, int width, int count)
{
    static int made = 0;
    ++made;
    Training<T> t;
    const bool tree = path == Path::PlainTree || path == Path::WeightedTree;
    t.kind = !tree ? SrCdbkFull : made % 2 == 0 ? SrCdbkTreeRadius : SrCdbkTreePopulation;
    if (path == Path::WeightedTree || path == Path::WeightedTable || path == Path::Weighted)
        t.weights = some_weights<T>(values, width);
    if (path == Path::Table || path == Path::WeightedTable) {
        if (path == Path::WeightedTable)
            for (T& w : t.weights) w = static_cast<T>(w + 2);  // weights of 0 have no table
        t.rows = spread_rows<T>(values, width, count);
    } else {
        t.rows = some_rows<T>(values, tree ? 4 * count : count, width);
    }
    t.size = tree ? count : t.height();
    // Last coordinates too far from zero for a table.
    if ((path == Path::Weighted || path == Path::Plain) && width <= 2)
        for (auto& row : t.rows)
            row.back() =
                static_cast<T>(std::is_same_v<T, float> ? row.back() / 32 + 1000 : row.back() / (1 << 14) + 20000);
    t.beyond = made % 3;
    return t;
}

// A codebook of the library's and the same for the reference: its tree is read from the record, its table of cells
// made from the codewords. in_place: in the caller's memory, in a block of the exact size at this address.
template <class Family>
class Quantiser {
  public:
    using T = typename Family::Element;
    using State = typename Family::State;

    explicit Quantiser(const Training<T>& training, bool in_place = false, Placement placement = {})
    {
        make(training, in_place, placement);
        EXPECT_NE(state_, nullptr) << training.describe();
    }
    // Data by chance, until they lead there: training may fail, tables may not pay.
    Quantiser(Path path, Values values, int width, int count, bool in_place = false)
    {
        do make(training_for<T>(path, values, width, count), in_place, {});
        while (state_ == nullptr || path_of(book) != path);
    }
    ~Quantiser() { clear(); }
    Quantiser(const Quantiser&) = delete;
    Quantiser& operator=(const Quantiser&) = delete;

    State* get() const { return state_; }
    bool intact() const { return !block_ || block_->intact(); }
    CodebookView<T> view() const { return view_of(state_); }

    reference::Book<T> book;
    const std::deque<reference::Cluster<T>>& nodes() const { return nodes_; }
    std::string describe() const
    {
        return name_of(path_of(book)) + ", " + std::to_string(book.count()) + " codewords of " +
               std::to_string(book.width());
    }

  private:
    void clear()
    {
        if (!block_ && state_ != nullptr) {
            EXPECT_EQ(Family::kFree(state_), SrOk);
        }
        state_ = nullptr;
        block_.reset();
        book = {};
        nodes_.clear();
    }

    void make(const Training<T>& training, bool in_place, Placement placement)
    {
        clear();
        if (in_place)
            init(training, placement);
        else
            train<Family>(training, &state_);
        if (state_ == nullptr) return;
        const CodebookView<T> view = view_of(state_);
        book.kind = view.kind;
        book.weights = elements(view.weights, at(view.width));
        for (int32_t i = 0; i < view.count; ++i)
            book.codewords.push_back(elements(view.codewords + i * view.row_step, at(view.width)));
        if (view.root != nullptr) read_tree(view.root);
        if ((view.flags & 1) == 0) return;
        if (view.width == 1)
            book.linear = reference::linear_field(book.codewords);
        else
            book.square = reference::square_field(book.codewords, book.weights);
    }

    void init(const Training<T>& training, Placement placement)
    {
        int32_t bytes = 0;
        EXPECT_EQ(Family::kGetSize(training.width(), training.step(), training.height(), training.size,
                                   training.kind, &bytes),
                  SrOk);
        block_ = std::make_unique<Guarded<uint8_t>>(at(bytes), placement);
        state_ = reinterpret_cast<State*>(block_->data());
        const std::vector<T> rows = as_block(training.rows, at(training.step()));
        EXPECT_EQ(Family::kInit(state_, rows.data(), training.width(), training.step(), training.height(),
                                training.size, training.kind),
                  SrOk);
    }

    void read_tree(const ClusterView<T>* root)
    {
        std::map<const ClusterView<T>*, reference::Cluster<T>*> known;
        std::vector<const ClusterView<T>*> rest = {root};
        while (!rest.empty()) {
            const ClusterView<T>* node = rest.back();
            rest.pop_back();
            nodes_.emplace_back();
            known[node] = &nodes_.back();
            nodes_.back().index = node->index;
            nodes_.back().centroid = elements(node->centroid, book.weights.size());
            if (node->leaf == 0) rest.insert(rest.end(), {node->left, node->right});
        }
        for (auto& [node, cluster] : known) {
            if (node->leaf == 0) {
                cluster->left = known.at(node->left);
                cluster->right = known.at(node->right);
            }
            for (int32_t m = 0; m < node->neighbour_count; ++m)
                cluster->neighbours.push_back(known.at(node->neighbours[m]));
        }
        book.root = known.at(root);
    }

    State* state_ = nullptr;
    std::unique_ptr<Guarded<uint8_t>> block_;
    std::deque<reference::Cluster<T>> nodes_;
};

// Vectors to quantise: like the codewords, codewords themselves, on and close beside the borders between two
// codewords, where margins decide, and far away.
template <class T>
Rows<T> queries(const reference::Book<T>& book, int count)
{
    const auto pick = [&] { return book.codewords[at(uniform(0, book.count() - 1))]; };
    const auto to = [](double x) {
        if constexpr (std::is_same_v<T, float>)
            return static_cast<float>(x);
        else
            return static_cast<int16_t>(std::clamp(std::nearbyint(x), -32768.0, 32767.0));
    };
    Rows<T> all;
    for (int i = 0; i < count; ++i) {
        std::vector<T> x = pick();
        const std::vector<T> other = pick();
        constexpr double kBeside[] = {0, 0, 2e-8, -2e-8, 1e-7, -1e-7, 3e-7, 3e-6, -3e-6, 1e-5, 1e-4, -1e-4, 1e-2};
        const double between = 0.5 + kBeside[at(i) % std::size(kBeside)];
        for (std::size_t k = 0; k < x.size(); ++k) {
            const double a = x[k], b = other[k];
            switch (i % 6) {
                case 0:
                    break;
                case 1:
                    x[k] = to(a + (b - a) * uniform(-1.5, 2.5));
                    break;
                case 2:
                    x[k] = to(a * 3);
                    break;
                case 3:
                    x[k] = to(a + (b - a) * uniform(0.0, 1.0));
                    break;
                default:
                    x[k] = to(a + (b - a) * between);
            }
        }
        all.push_back(x);
    }
    return all;
}

template <class T>
std::string describe(const std::vector<T>& x)
{
    std::ostringstream text;
    text.precision(9);
    for (T value : x) text << ' ' << +value;
    return text.str();
}

}  // namespace zelsr::test
