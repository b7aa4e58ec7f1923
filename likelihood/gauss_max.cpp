// Running maximum of Gaussian scores, over frames and over Gaussians.
//
// Narrow frames take the kernels of the wide ones here, unlike plain scores. From height 1000 the double-precision
// forms below double their constants, and keep the order of the sums.
#include "core/contract.h"
#include "core/rows.h"
#include "likelihood/score_frames.h"
#include "likelihood/score_multimix.h"
#include "zelsr/likelihood/mixture.h"

namespace zelsr {
namespace {

constexpr int32_t kManyRows = 1000;

void keep_max_of_frames(Block<double> frames, UnitVariance<double> term, int32_t width, int32_t height, double val,
                        double* best)
{
    if (height < kManyRows)
        score_frames(frames, term, width, height, val, keep_max(best));
    else
        score_frames_in_double(frames, term, width, height, DoubledConstant_64f(val), keep_max(best));
}

template <class Rows>
void keep_max_of_gaussians(const double* feature, Rows mean, Rows inv_var, int32_t width, int32_t height,
                           const double* val, double* best)
{
    if (height < kManyRows)
        score_gaussians(feature, mean, inv_var, width, height, val, keep_max(best));
    else
        score_gaussians<DoubledConstants>(feature, mean, inv_var, width, height, val, keep_max(best));
}

}  // namespace
}  // namespace zelsr

using namespace zelsr;

SrStatus zelsLogGaussMax_32f_D2(const float* frames, int32_t step, const float* mean, const float* inv_var,
                                int32_t width, float* best, int32_t height, float val)
{
    if (SrStatus failed =
            first_failure(stride(width, step), non_null(frames, mean, inv_var, best), positive(width, height)))
        return failed;
    score_frames_of_any_width(Block{frames, step}, InverseVariance{mean, inv_var}, width, height, val,
                              keep_max(best));
    return SrOk;
}

SrStatus zelsLogGaussMax_32f_D2L(const float* const* frames, const float* mean, const float* inv_var,
                                 int32_t width, float* best, int32_t height, float val)
{
    if (SrStatus failed = first_failure(non_null(frames, mean, inv_var, best), positive(width, height)))
        return failed;
    score_frames_of_any_width(RowList{frames}, InverseVariance{mean, inv_var}, width, height, val, keep_max(best));
    return SrOk;
}

SrStatus zelsLogGaussMax_64f_D2(const double* frames, int32_t step, const double* mean, const double* inv_var,
                                int32_t width, double* best, int32_t height, double val)
{
    if (SrStatus failed =
            first_failure(stride(width, step), non_null(frames, mean, inv_var, best), positive(width, height)))
        return failed;
    score_frames(Block{frames, step}, InverseVariance{mean, inv_var}, width, height, val, keep_max(best));
    return SrOk;
}

SrStatus zelsLogGaussMax_64f_D2L(const double* const* frames, const double* mean, const double* inv_var,
                                 int32_t width, double* best, int32_t height, double val)
{
    if (SrStatus failed = first_failure(non_null(frames, mean, inv_var, best), positive(width, height)))
        return failed;
    score_frames_in_double(RowList{frames}, InverseVariance{mean, inv_var}, width, height,
                           DoubledConstant_64f(val), keep_max(best));
    return SrOk;
}

SrStatus zelsLogGaussMax_IdVar_32f_D2(const float* frames, int32_t step, const float* mean, int32_t width,
                                      float* best, int32_t height, float val)
{
    if (SrStatus failed =
            first_failure(stride(width, step), non_null(frames, mean, best), positive(width, height)))
        return failed;
    score_frames_of_any_width(Block{frames, step}, UnitVariance{mean}, width, height, val, keep_max(best));
    return SrOk;
}

SrStatus zelsLogGaussMax_IdVar_32f_D2L(const float* const* frames, const float* mean, int32_t width, float* best,
                                       int32_t height, float val)
{
    if (SrStatus failed = first_failure(non_null(frames, mean, best), positive(width, height))) return failed;
    score_frames_of_any_width(RowList{frames}, UnitVariance{mean}, width, height, val, keep_max(best));
    return SrOk;
}

SrStatus zelsLogGaussMax_IdVar_64f_D2(const double* frames, int32_t step, const double* mean, int32_t width,
                                      double* best, int32_t height, double val)
{
    if (SrStatus failed =
            first_failure(stride(width, step), non_null(frames, mean, best), positive(width, height)))
        return failed;
    keep_max_of_frames(Block{frames, step}, UnitVariance{mean}, width, height, val, best);
    return SrOk;
}

SrStatus zelsLogGaussMax_IdVar_64f_D2L(const double* const* frames, const double* mean, int32_t width,
                                       double* best, int32_t height, double val)
{
    if (SrStatus failed = first_failure(non_null(frames, mean, best), positive(width, height))) return failed;
    score_frames_in_double(RowList{frames}, UnitVariance{mean}, width, height, DoubledConstant_64f(val),
                           keep_max(best));
    return SrOk;
}

SrStatus zelsLogGaussMaxMultiMix_32f_D2(const float* mean, const float* inv_var, int32_t step,
                                        const float* feature, int32_t width, const float* val, float* best,
                                        int32_t height)
{
    if (SrStatus failed = first_failure(stride(width, step), non_null(mean, inv_var, feature, val, best),
                                        positive(width, height)))
        return failed;
    score_gaussians(feature, Block{mean, step}, Block{inv_var, step}, width, height, val, keep_max(best));
    return SrOk;
}

SrStatus zelsLogGaussMaxMultiMix_32f_D2L(const float* const* mean, const float* const* inv_var,
                                         const float* feature, int32_t width, const float* val, float* best,
                                         int32_t height)
{
    if (SrStatus failed = first_failure(non_null(mean, inv_var, feature, val, best), positive(width, height)))
        return failed;
    score_gaussians(feature, RowList{mean}, RowList{inv_var}, width, height, val, keep_max(best));
    return SrOk;
}

SrStatus zelsLogGaussMaxMultiMix_64f_D2(const double* mean, const double* inv_var, int32_t step,
                                        const double* feature, int32_t width, const double* val, double* best,
                                        int32_t height)
{
    if (SrStatus failed = first_failure(stride(width, step), non_null(mean, inv_var, feature, val, best),
                                        positive(width, height)))
        return failed;
    keep_max_of_gaussians(feature, Block{mean, step}, Block{inv_var, step}, width, height, val, best);
    return SrOk;
}

SrStatus zelsLogGaussMaxMultiMix_64f_D2L(const double* const* mean, const double* const* inv_var,
                                         const double* feature, int32_t width, const double* val, double* best,
                                         int32_t height)
{
    if (SrStatus failed = first_failure(non_null(mean, inv_var, feature, val, best), positive(width, height)))
        return failed;
    keep_max_of_gaussians(feature, RowList{mean}, RowList{inv_var}, width, height, val, best);
    return SrOk;
}
