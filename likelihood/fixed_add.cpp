// Running log addition of scores on 16-bit data.
#include <algorithm>

#include "core/contract.h"
#include "likelihood/fixed_blocks.h"
#include "likelihood/log_add.h"
#include "zelsr/likelihood/fixed.h"

namespace zelsr {
namespace {

constexpr int32_t kFramesTogether = 128;
constexpr int32_t kGaussiansTogether = 100;

template <class LogAdd, int32_t Together = kFramesTogether, class Scores>
void add_by_blocks(Scores scores, int32_t height, float* sum)
{
    alignas(32) float block[Together];
    for (int32_t done = 0; done < height;) {
        const int32_t count = std::min(height - done, Together);
        scores(done, count, block);
        add_logs<LogAdd>(block, sum + done, count);
        done += count;
    }
}

template <class Scores>
void add_gaussians_by_blocks(Scores scores, int32_t height, float* sum)
{
    add_by_blocks<AccurateLogAdd, kGaussiansTogether>(scores, height, sum);
}

// Two aligned paths add by the fast addition, all others by the accurate one: wanted.

void add_block_of_frames(Block<int16_t> frames, FixedUnit model, int32_t width, int32_t height, float val,
                         int32_t sf, float* sum)
{
    const auto scores = scaled_scores(FixedFrames{frames, model}, width, val, sf);
    if (frames.on_16_bytes(height) && is_aligned(model.mean) && width >= 4)
        add_by_blocks<FastLogAdd>(scores, height, sum);
    else
        add_by_blocks<AccurateLogAdd>(scores, height, sum);
}

void add_lists_by_blocks(RowList<int16_t> frames, FixedInverse model, int32_t width, int32_t height, float val,
                         int32_t sf, float* sum)
{
    for (int32_t done = 0; done < height;) {
        const int32_t count = std::min(height - done, kFramesTogether);
        const RowList<int16_t> rows = frames.from(done);
        const auto scores = scaled_scores(FixedFrames{rows, model}, width, val, sf);
        if (all_aligned(model.mean, model.inv_var, sum + done) && rows.on_16_bytes(count))
            add_by_blocks<FastLogAdd>(scores, count, sum + done);
        else
            add_by_blocks<AccurateLogAdd>(scores, count, sum + done);
        done += count;
    }
}

}  // namespace
}  // namespace zelsr

using namespace zelsr;

SrStatus zelsLogGaussAdd_Scaled_16s32f_D2(const int16_t* frames, int32_t step, const int16_t* mean,
                                          const int16_t* inv_var, int32_t width, float* sum, int32_t height,
                                          float val, int32_t sf)
{
    if (SrStatus failed =
            first_failure(stride(width, step), non_null(frames, mean, inv_var, sum), positive(width, height)))
        return failed;
    add_by_blocks<AccurateLogAdd>(
        scaled_scores(FixedFrames{Block{frames, step}, FixedInverse{mean, inv_var}}, width, val, sf), height, sum);
    return SrOk;
}

SrStatus zelsLogGaussAdd_Scaled_16s32f_D2L(const int16_t* const* frames, const int16_t* mean,
                                           const int16_t* inv_var, int32_t width, float* sum, int32_t height,
                                           float val, int32_t sf)
{
    if (SrStatus failed = first_failure(non_null(frames, mean, inv_var, sum), positive(width, height)))
        return failed;
    add_lists_by_blocks(RowList{frames}, FixedInverse{mean, inv_var}, width, height, val, sf, sum);
    return SrOk;
}

SrStatus zelsLogGaussAdd_IdVarScaled_16s32f_D2(const int16_t* frames, int32_t step, const int16_t* mean,
                                               int32_t width, float* sum, int32_t height, float val, int32_t sf)
{
    if (SrStatus failed = first_failure(stride(width, step), non_null(frames, mean, sum), positive(width, height)))
        return failed;
    add_block_of_frames(Block{frames, step}, FixedUnit{mean}, width, height, val, sf, sum);
    return SrOk;
}

SrStatus zelsLogGaussAdd_IdVarScaled_16s32f_D2L(const int16_t* const* frames, const int16_t* mean, int32_t width,
                                                float* sum, int32_t height, float val, int32_t sf)
{
    if (SrStatus failed = first_failure(non_null(frames, mean, sum), positive(width, height))) return failed;
    add_by_blocks<AccurateLogAdd>(scaled_scores(FixedFrames{RowList{frames}, FixedUnit{mean}}, width, val, sf),
                                  height, sum);
    return SrOk;
}

SrStatus zelsLogGaussAdd_LowScaled_16s32f_D2(const int16_t* frames, int32_t step, const int16_t* mean,
                                             const int16_t* inv_var, int32_t width, float* sum, int32_t height,
                                             float val, int32_t sf)
{
    if (SrStatus failed =
            first_failure(stride(width, step), non_null(frames, mean, inv_var, sum), positive(width, height)))
        return failed;
    add_by_blocks<AccurateLogAdd>(
        low_scores(FixedFrames{Block{frames, step}, FixedInverse{mean, inv_var}}, width, val, sf), height, sum);
    return SrOk;
}

SrStatus zelsLogGaussAdd_LowScaled_16s32f_D2L(const int16_t* const* frames, const int16_t* mean,
                                              const int16_t* inv_var, int32_t width, float* sum, int32_t height,
                                              float val, int32_t sf)
{
    if (SrStatus failed = first_failure(non_null(frames, mean, inv_var, sum), positive(width, height)))
        return failed;
    add_by_blocks<AccurateLogAdd>(
        low_scores(FixedFrames{RowList{frames}, FixedInverse{mean, inv_var}}, width, val, sf), height, sum);
    return SrOk;
}

SrStatus zelsLogGaussAdd_IdVarLowScaled_16s32f_D2(const int16_t* frames, int32_t step, const int16_t* mean,
                                                  int32_t width, float* sum, int32_t height, float val, int32_t sf)
{
    if (SrStatus failed = first_failure(stride(width, step), non_null(frames, mean, sum), positive(width, height)))
        return failed;
    add_by_blocks<AccurateLogAdd>(low_scores(FixedFrames{Block{frames, step}, FixedUnit{mean}}, width, val, sf),
                                  height, sum);
    return SrOk;
}

SrStatus zelsLogGaussAdd_IdVarLowScaled_16s32f_D2L(const int16_t* const* frames, const int16_t* mean,
                                                   int32_t width, float* sum, int32_t height, float val,
                                                   int32_t sf)
{
    if (SrStatus failed = first_failure(non_null(frames, mean, sum), positive(width, height))) return failed;
    add_by_blocks<AccurateLogAdd>(low_scores(FixedFrames{RowList{frames}, FixedUnit{mean}}, width, val, sf),
                                  height, sum);
    return SrOk;
}

SrStatus zelsLogGaussAddMultiMix_Scaled_16s32f_D2(const int16_t* mean, const int16_t* inv_var, int32_t step,
                                                  const int16_t* feature, int32_t width, const float* val,
                                                  float* sum, int32_t height, int32_t sf)
{
    if (SrStatus failed = first_failure(stride(width, step), non_null(mean, inv_var, feature, val, sum),
                                        positive(width, height)))
        return failed;
    add_gaussians_by_blocks(
        scaled_scores(FixedGaussians{feature, Block{mean, step}, Block{inv_var, step}}, width, val, sf), height,
        sum);
    return SrOk;
}

SrStatus zelsLogGaussAddMultiMix_Scaled_16s32f_D2L(const int16_t* const* mean, const int16_t* const* inv_var,
                                                   const int16_t* feature, int32_t width, const float* val,
                                                   float* sum, int32_t height, int32_t sf)
{
    if (SrStatus failed = first_failure(non_null(mean, inv_var, feature, val, sum), positive(width, height)))
        return failed;
    add_gaussians_by_blocks(
        scaled_scores(FixedGaussians{feature, RowList{mean}, RowList{inv_var}}, width, val, sf), height, sum);
    return SrOk;
}

SrStatus zelsLogGaussAddMultiMix_LowScaled_16s32f_D2(const int16_t* mean, const int16_t* inv_var, int32_t step,
                                                     const int16_t* feature, int32_t width, const float* val,
                                                     float* sum, int32_t height, int32_t sf)
{
    if (SrStatus failed = first_failure(stride(width, step), non_null(mean, inv_var, feature, val, sum),
                                        positive(width, height)))
        return failed;
    add_gaussians_by_blocks(
        low_scores(FixedGaussians{feature, Block{mean, step}, Block{inv_var, step}}, width, val, sf), height, sum);
    return SrOk;
}

SrStatus zelsLogGaussAddMultiMix_LowScaled_16s32f_D2L(const int16_t* const* mean, const int16_t* const* inv_var,
                                                      const int16_t* feature, int32_t width, const float* val,
                                                      float* sum, int32_t height, int32_t sf)
{
    if (SrStatus failed = first_failure(non_null(mean, inv_var, feature, val, sum), positive(width, height)))
        return failed;
    add_gaussians_by_blocks(low_scores(FixedGaussians{feature, RowList{mean}, RowList{inv_var}}, width, val, sf),
                            height, sum);
    return SrOk;
}
