// Mixtures of selected components.
#include <algorithm>

#include "core/contract.h"
#include "core/rows.h"
#include "core/scratch.h"
#include "likelihood/fixed_score_single.h"
#include "likelihood/score_multimix.h"
#include "likelihood/score_single.h"
#include "likelihood/selected_sum.h"
#include "zelsr/likelihood/select.h"

namespace zelsr {
namespace {

// What is scored: score(i, components, val, count, reduce) as sum_selected_block() takes it.

// Some rows of a block.
template <class T>
struct PickedRows {
    using Element = T;

    Block<T> rows;
    const int32_t* picked;

    const T* operator[](int32_t r) const { return rows[picked[r]]; }
    bool on_16_bytes(int32_t height, std::ptrdiff_t step_multiple) const
    {
        return rows.on_16_bytes(height, step_multiple);
    }
};
template <class T>
PickedRows(Block<T>, const int32_t*) -> PickedRows<T>;

// In the arithmetic of many Gaussians.
auto scores_together(Block<float> frames, Block<float> mean, Block<float> inv_var, int32_t width)
{
    return [=](int32_t i, const int32_t* components, const float* val, int32_t count, auto reduce) {
        score_gaussians(frames[i], PickedRows{mean, components}, PickedRows{inv_var, components}, width, count,
                        val, reduce);
    };
}
auto scores_together(Block<int16_t> frames, Block<int16_t> mean, Block<int16_t> inv_var, int32_t width, int32_t sf)
{
    return [=](int32_t i, const int32_t* components, const float* val, int32_t count, auto reduce) {
        const FixedGaussians scored{frames[i], PickedRows{mean, components}, PickedRows{inv_var, components}};
        score_scaled(scored, width, count, constant(val), sf, reduce);
    };
}

// In the arithmetic of one Gaussian, one after the other: score_one(x, j, val).
template <class ScoreOne>
auto scores_one_by_one(ScoreOne score_one)
{
    return [=](int32_t i, const int32_t* components, const float* val, int32_t count, auto reduce) {
        for (int32_t r = 0; r < count; ++r) reduce(r, _mm_set_ss(score_one(i, components[r], val[r])), 1);
    };
}
template <class Rows>
auto single_scores(Rows frames, Rows mean, Rows inv_var, int32_t width)
{
    return scores_one_by_one([=](int32_t i, int32_t j, float val) {
        return score_one(frames[i], InverseVariance{mean[j], inv_var[j]}, width, val);
    });
}
template <class Rows>
auto single_scores(Rows frames, Rows mean, int32_t width)
{
    return scores_one_by_one(
        [=](int32_t i, int32_t j, float val) { return score_one(frames[i], UnitVariance{mean[j]}, width, val); });
}
template <class Rows>
auto single_scaled_scores(Rows frames, Rows mean, Rows inv_var, int32_t width, int32_t sf)
{
    return scores_one_by_one([=](int32_t i, int32_t j, float val) {
        return score_one_scaled(frames[i], FixedInverse{mean[j], inv_var[j]}, width, val, sf);
    });
}
template <class Rows>
auto single_scaled_scores(Rows frames, Rows mean, int32_t width, int32_t sf)
{
    return scores_one_by_one([=](int32_t i, int32_t j, float val) {
        return score_one_scaled(frames[i], FixedUnit{mean[j]}, width, val, sf);
    });
}

// The two arithmetics of the log addition.

// Accurate; counters of 16 bits.
template <class Score>
SrStatus sum_selected(Score score, const float* val, BitTable table, float* sum, int32_t height, float fallback)
{
    const Scratch<int16_t> counts(height);
    if (!counts) return SrErrMemAlloc;
    std::fill_n(counts.data(), height, int16_t{0});
    alignas(16) float work[kWorkSize];
    for (int32_t first = 0; first < height;) {
        const int32_t frames = std::min(height - first, kFramesTogether);
        sum_selected_block<AccurateLogAdd>(table, first, frames, val, counts.data() + first, work, score, fallback,
                                           sum);
        first += frames;
    }
    return SrOk;
}

// Fast.
template <class Score>
void sum_selected_fast(Score score, const float* val, BitTable table, float* sum, int32_t height, float fallback,
                       float* work)
{
    for (int32_t first = 0; first < height;) {
        const int32_t frames = std::min(height - first, kFramesTogether);
        int32_t counts[kFramesTogether] = {};
        sum_selected_block<FastLogAdd>(table, first, frames, val, counts, work, score, fallback, sum);
        first += frames;
    }
}

// The fast sum of few frames and components takes its work memory from the allocator, that of many from the stack.
template <class Score>
SrStatus sum_selected_fast(bool few, Score score, const float* val, BitTable table, float* sum, int32_t height,
                           float fallback)
{
    if (few) {
        const Scratch<float> work(kWorkSize);
        if (!work) return SrErrMemAlloc;
        sum_selected_fast(score, val, table, sum, height, fallback, work.data());
    } else {
        alignas(16) float work[kWorkSize];
        sum_selected_fast(score, val, table, sum, height, fallback, work);
    }
    return SrOk;
}

bool worth_blocks(int32_t components, int32_t height) { return components >= 9 && height >= 2; }

// Unlike in the other families the entries of the lists are tested too.
template <class T>
auto non_null_rows(const T* const* rows, int32_t height)
{
    return [=] {
        for (int32_t r = 0; r < height; ++r)
            if (load_one(rows + r) == nullptr) return SrStatus{SrErrNullPtr};
        return SrStatus{SrOk};
    };
}

}  // namespace
}  // namespace zelsr

using namespace zelsr;

// The stride comes last here, unlike in the other mixtures: wanted.

SrStatus zelsLogGaussMixture_Select_32f_D2(const float* frames, const float* mean, const float* inv_var,
                                           int32_t step, int32_t width, const float* val, const uint8_t* table,
                                           int32_t components, float* sum, int32_t height, float fallback)
{
    if (SrStatus failed = first_failure(non_null(frames, mean, inv_var, val, table, sum),
                                        positive(width, components, height), stride(width, step)))
        return failed;
    const Block x{frames, step}, m{mean, step}, p{inv_var, step};
    const BitTable bits{table, components};
    if (!worth_blocks(components, height))
        return sum_selected(single_scores(x, m, p, width), val, bits, sum, height, fallback);
    const bool few = height <= 20 && components <= 20;
    return sum_selected_fast(few, scores_together(x, m, p, width), val, bits, sum, height, fallback);
}

SrStatus zelsLogGaussMixture_Select_32f_D2L(const float* const* frames, const float* const* mean,
                                            const float* const* inv_var, int32_t width, const float* val,
                                            const uint8_t* table, int32_t components, float* sum, int32_t height,
                                            float fallback)
{
    if (SrStatus failed = first_failure(non_null(frames, mean, inv_var, val, table, sum),
                                        positive(width, components, height), non_null_rows(frames, height),
                                        non_null_rows(mean, components), non_null_rows(inv_var, components)))
        return failed;
    return sum_selected(single_scores(RowList{frames}, RowList{mean}, RowList{inv_var}, width), val,
                        BitTable{table, components}, sum, height, fallback);
}

SrStatus zelsLogGaussMixture_SelectIdVar_32f_D2(const float* frames, const float* mean, int32_t step,
                                                int32_t width, const float* val, const uint8_t* table,
                                                int32_t components, float* sum, int32_t height, float fallback)
{
    if (SrStatus failed = first_failure(non_null(frames, mean, val, table, sum),
                                        positive(width, components, height), stride(width, step)))
        return failed;
    return sum_selected(single_scores(Block{frames, step}, Block{mean, step}, width), val,
                        BitTable{table, components}, sum, height, fallback);
}

SrStatus zelsLogGaussMixture_SelectIdVar_32f_D2L(const float* const* frames, const float* const* mean,
                                                 int32_t width, const float* val, const uint8_t* table,
                                                 int32_t components, float* sum, int32_t height, float fallback)
{
    if (SrStatus failed =
            first_failure(non_null(frames, mean, val, table, sum), positive(width, components, height),
                          non_null_rows(frames, height), non_null_rows(mean, components)))
        return failed;
    return sum_selected(single_scores(RowList{frames}, RowList{mean}, width), val, BitTable{table, components},
                        sum, height, fallback);
}

SrStatus zelsLogGaussMixture_SelectScaled_16s32f_D2(const int16_t* frames, const int16_t* mean,
                                                    const int16_t* inv_var, int32_t step, int32_t width,
                                                    const float* val, const uint8_t* table, int32_t components,
                                                    float* sum, int32_t height, float fallback, int32_t sf)
{
    if (SrStatus failed = first_failure(non_null(frames, mean, inv_var, val, table, sum),
                                        positive(width, components, height), stride(width, step)))
        return failed;
    const Block x{frames, step}, m{mean, step}, p{inv_var, step};
    const BitTable bits{table, components};
    if (!worth_blocks(components, height))
        return sum_selected(single_scaled_scores(x, m, p, width, sf), val, bits, sum, height, fallback);
    const bool few = height < 20 && components <= 20;  // 20 frames are many here, few in single precision: wanted
    return sum_selected_fast(few, scores_together(x, m, p, width, sf), val, bits, sum, height, fallback);
}

SrStatus zelsLogGaussMixture_SelectScaled_16s32f_D2L(const int16_t* const* frames, const int16_t* const* mean,
                                                     const int16_t* const* inv_var, int32_t width,
                                                     const float* val, const uint8_t* table, int32_t components,
                                                     float* sum, int32_t height, float fallback, int32_t sf)
{
    if (SrStatus failed = first_failure(non_null(frames, mean, inv_var, val, table, sum),
                                        positive(width, components, height), non_null_rows(frames, height),
                                        non_null_rows(mean, components), non_null_rows(inv_var, components)))
        return failed;
    return sum_selected(single_scaled_scores(RowList{frames}, RowList{mean}, RowList{inv_var}, width, sf), val,
                        BitTable{table, components}, sum, height, fallback);
}

SrStatus zelsLogGaussMixture_SelectIdVarScaled_16s32f_D2(const int16_t* frames, const int16_t* mean, int32_t step,
                                                         int32_t width, const float* val, const uint8_t* table,
                                                         int32_t components, float* sum, int32_t height,
                                                         float fallback, int32_t sf)
{
    if (SrStatus failed = first_failure(non_null(frames, mean, val, table, sum),
                                        positive(width, components, height), stride(width, step)))
        return failed;
    return sum_selected(single_scaled_scores(Block{frames, step}, Block{mean, step}, width, sf), val,
                        BitTable{table, components}, sum, height, fallback);
}

SrStatus zelsLogGaussMixture_SelectIdVarScaled_16s32f_D2L(const int16_t* const* frames, const int16_t* const* mean,
                                                          int32_t width, const float* val, const uint8_t* table,
                                                          int32_t components, float* sum, int32_t height,
                                                          float fallback, int32_t sf)
{
    if (SrStatus failed =
            first_failure(non_null(frames, mean, val, table, sum), positive(width, components, height),
                          non_null_rows(frames, height), non_null_rows(mean, components)))
        return failed;
    return sum_selected(single_scaled_scores(RowList{frames}, RowList{mean}, width, sf), val,
                        BitTable{table, components}, sum, height, fallback);
}
