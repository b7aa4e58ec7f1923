// The two families of codebooks, their records as tests read them, and training on guarded rows.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "support/arrangements.h"
#include "support/bits.h"
#include "support/effort.h"
#include "support/guarded.h"
#include "support/hooks.h"
#include "support/reference/codebook.h"
#include "vq/speech_features.h"
#include "zelsr/vq/codebook.h"

namespace zelsr::test {

using reference::Rows;

struct Family_32f {
    using Element = float;
    using State = ZelCdbkState_32f;
    static constexpr int32_t kRowMultiple = 4;  // of the row step in the allocator's memory
    static constexpr auto kGetSize = zelsCdbkGetSize_32f;
    static constexpr auto kInit = zelsCdbkInit_L2_32f;
    static constexpr auto kInitAlloc = zelsCdbkInitAlloc_L2_32f;
    static constexpr auto kInitAllocWeighted = zelsCdbkInitAlloc_WgtL2_32f;
    static constexpr auto kFree = zelsCdbkFree_32f;
    static constexpr auto kCount = zelsGetCdbkSize_32f;
    static constexpr auto kCodewords = zelsGetCodebook_32f;
};
struct Family_16s {
    using Element = int16_t;
    using State = ZelCdbkState_16s;
    static constexpr int32_t kRowMultiple = 8;
    static constexpr auto kGetSize = zelsCdbkGetSize_16s;
    static constexpr auto kInit = zelsCdbkInit_L2_16s;
    static constexpr auto kInitAlloc = zelsCdbkInitAlloc_L2_16s;
    static constexpr auto kInitAllocWeighted = zelsCdbkInitAlloc_WgtL2_16s;
    static constexpr auto kFree = zelsCdbkFree_16s;
    static constexpr auto kCount = zelsGetCdbkSize_16s;
    static constexpr auto kCodewords = zelsGetCodebook_16s;
};

using Families = testing::Types<Family_32f, Family_16s>;
struct FamilyNames {
    template <class Family>
    static std::string GetName(int)
    {
        return std::is_same_v<Family, Family_32f> ? "32f" : "16s";
    }
};

inline std::size_t at(int32_t i) { return static_cast<std::size_t>(i); }
inline int32_t rounded_up(int32_t value, int32_t multiple) { return (value + multiple - 1) / multiple * multiple; }

// The records, field by field. The codebook itself may lie on any address.
template <class T>
struct ClusterView;
template <class T>
struct AidView {
    const T* children;
    const T* centroids;
    const ClusterView<T>* const* neighbours;
};
template <class T>
struct ClusterView {
    float radius;
    const T* centroid;
    int32_t index, population, leaf, depth;
    const ClusterView *left, *right;
    int32_t neighbour_count;
    const ClusterView* const* neighbours;
    const AidView<T>* aid;
};
template <class T>
struct __attribute__((packed)) CodebookView {
    int32_t depth, count, width, row_step, kind;
    const T* codewords;
    const ClusterView<T>* root;
    int32_t flags;
    const T* weights;
    const void* field;
    int32_t index_bits;
    float* workspace;
};
constexpr std::size_t kRecordBytes = sizeof(CodebookView<float>);
static_assert(sizeof(void*) == 8 || (kRecordBytes == 48 && sizeof(ClusterView<float>) == 44));

template <class T>
CodebookView<T> view_at(const void* codebook)
{
    CodebookView<T> view;
    std::memcpy(static_cast<void*>(&view), codebook, sizeof view);
    return view;
}
inline CodebookView<float> view_of(const ZelCdbkState_32f* codebook) { return view_at<float>(codebook); }
inline CodebookView<int16_t> view_of(const ZelCdbkState_16s* codebook) { return view_at<int16_t>(codebook); }

// Rows to train on. Without weights the L2 form is called.
template <class T>
struct Training {
    Rows<T> rows;
    std::vector<T> weights;
    int32_t size;
    SrCdbkKind kind;
    int32_t beyond = 0;  // elements between the end of a row and the next
    Placement placement = {};

    int32_t width() const { return static_cast<int32_t>(rows[0].size()); }
    int32_t height() const { return static_cast<int32_t>(rows.size()); }
    int32_t step() const { return width() + beyond; }
    std::vector<T> all_weights() const { return weights.empty() ? std::vector<T>(rows[0].size(), T(1)) : weights; }
    std::string describe() const
    {
        return std::to_string(height()) + " rows of " + std::to_string(width()) + ", size " +
               std::to_string(size) + ", kind " + std::to_string(kind) + ", step " + std::to_string(step()) +
               ", " + (weights.empty() ? "no " : "") + "weights, " + test::describe(placement);
    }
};

// Trains on guarded rows. state is written as the library writes it.
template <class Family>
SrStatus train(const Training<typename Family::Element>& training, typename Family::State** state)
{
    using T = typename Family::Element;
    const Guarded<T> rows(as_block(training.rows, static_cast<std::size_t>(training.step())), training.placement);
    const Guarded<T> weights(training.weights, training.placement);
    if (training.weights.empty())
        return Family::kInitAlloc(state, rows.data(), training.width(), training.step(), training.height(),
                                  training.size, training.kind);
    return Family::kInitAllocWeighted(state, rows.data(), weights.data(), training.width(), training.step(),
                                      training.height(), training.size, training.kind);
}

// A codebook of the allocator's, released at the end with all that hangs on it.
template <class Family>
class Trained {
  public:
    explicit Trained(const Training<typename Family::Element>& training) : status(train<Family>(training, &state_))
    {}
    ~Trained()
    {
        if (state_ != nullptr) {
            EXPECT_EQ(Family::kFree(state_), SrOk);
        }
        EXPECT_EQ(watch_.live(), 0) << "left allocated";
    }
    Trained(const Trained&) = delete;
    Trained& operator=(const Trained&) = delete;
    typename Family::State* get() const { return state_; }
    CodebookView<typename Family::Element> view() const { return view_of(state_); }

  private:
    AllocatorWatch watch_;
    typename Family::State* state_ = nullptr;

  public:
    const SrStatus status;
};

template <class T>
Rows<T> random_rows(int count, int width, T low, T high)
{
    Rows<T> rows;
    for (int r = 0; r < count; ++r) rows.push_back(uniform_vector(width, low, high));
    return rows;
}

// 200 rows, evenly spread over a line or a square around zero: tables pay.
template <class T>
Rows<T> even_rows(int width)
{
    Rows<T> rows;
    for (int r = 0; r < 200; ++r) {
        rows.emplace_back();
        for (int k = 0; k < width; ++k)
            rows.back().push_back(static_cast<T>(9 * (k == 0 ? r : r * 61 % 200) - 900));
    }
    return rows;
}

// The first columns of the speech frames: logarithms, in 32f as they are, in 16s times 256.
template <class T>
Rows<T> speech_rows(int width)
{
    Rows<T> rows;
    for (const auto& frame : kSpeech) {
        rows.emplace_back();
        for (int k = 0; k < width; ++k)
            rows.back().push_back(static_cast<T>(std::is_same_v<T, float> ? frame[k] / 256.0F : frame[k]));
    }
    return rows;
}

template <class T>
std::vector<T> elements(const T* first, std::size_t count)
{
    std::vector<T> all(count);
    std::memcpy(all.data(), first, count * sizeof(T));
    return all;
}

// What all codebooks of the allocator's have alike.
template <class T>
void expect_record(const CodebookView<T>& view, const Training<T>& training, int32_t count, int32_t row_step)
{
    EXPECT_EQ(view.count, count);
    EXPECT_EQ(view.width, training.width());
    EXPECT_EQ(view.row_step, row_step);
    EXPECT_EQ(view.kind, training.kind);
    EXPECT_EQ(view.index_bits, reference::index_bits(count));
    const std::vector<T> weights = training.all_weights();
    EXPECT_TRUE(same_values(weights, elements(view.weights, weights.size())));
    const bool ones = std::count(weights.begin(), weights.end(), T(1)) == training.width();
    EXPECT_EQ(view.flags & ~1, ones ? 0 : 2);
    EXPECT_EQ((view.flags & 1) != 0, view.field != nullptr);
    for (int32_t i = 0; i < count; ++i) view.workspace[i] = 1;  // valgrind knows how much of it there is
}

}  // namespace zelsr::test
