// Running log addition of Gaussian scores, over frames and over Gaussians.
#include <algorithm>

#include "core/contract.h"
#include "core/rows.h"
#include "likelihood/log_add_plain.h"
#include "likelihood/score_frames.h"
#include "likelihood/score_multimix.h"
#include "zelsr/likelihood/mixture.h"

namespace zelsr {
namespace {

constexpr int32_t kFramesTogether = 128;
constexpr int32_t kGaussiansTogether = 100;

// Blocks of doubles with any step that keeps rows on 16 bytes take the aligned kernels here, unlike elsewhere.
template <class T>
constexpr std::ptrdiff_t kStepMultiple = 16 / sizeof(T);

// Additions of finished scores into running sums: the accurate one in single precision.
void add_scores(const float* scores, float* sum, int32_t count) { add_logs<AccurateLogAdd>(scores, sum, count); }
void add_scores(const double* scores, double* sum, int32_t count) { add_logs<DoubleLogAdd>(scores, sum, count); }

template <class Rows, class Term>
void score_block(Rows frames, Term term, int32_t width, int32_t height, float val, float* scores)
{
    score_frames_of_any_width(frames, term, width, height, val, Store{scores});
}
template <class Rows, class Term>
void score_block(Rows frames, Term term, int32_t width, int32_t height, double val, double* scores)
{
    score_frames_in_double(frames, term, width, height, PlainConstant(val), Store{scores}, kStepMultiple<double>);
}

template <class Rows, class Term, class T>
void add_frames_by_blocks(Rows frames, Term term, int32_t width, int32_t height, T val, T* sum)
{
    alignas(32) T scores[kFramesTogether];
    for (int32_t done = 0; done < height;) {
        const int32_t count = std::min(height - done, kFramesTogether);
        score_block(frames.from(done), term, width, count, val, scores);
        add_scores(scores, sum + done, count);
        done += count;
    }
}

// Adds one score after the other in double.
struct JoinPlain {
    float* sum;

    void operator()(int32_t r, __m128 score, int32_t /*count*/) const
    {
        const double joined = add_logs_plain<SingleLogDomain>(static_cast<double>(load_one(sum + r)),
                                                              static_cast<double>(_mm_cvtss_f32(score)));
        store_one(sum + r, static_cast<float>(joined));
    }
};

template <class Rows, class Term>
void add_frames(Rows frames, Term term, int32_t width, int32_t height, float val, float* sum)
{
    if (width < 4)
        score_narrow_frames(frames, term, width, height, val, JoinPlain{sum});
    else
        add_frames_by_blocks(frames, term, width, height, val, sum);
}

template <class T, class Rows>
void add_gaussians(const T* frame, Rows mean, Rows inv_var, int32_t width, int32_t height, const T* val, T* sum)
{
    alignas(32) T scores[kGaussiansTogether];
    for (int32_t done = 0; done < height;) {
        const int32_t count = std::min(height - done, kGaussiansTogether);
        score_gaussians(frame, mean.from(done), inv_var.from(done), width, count, val + done, Store{scores},
                        kStepMultiple<T>);
        add_scores(scores, sum + done, count);
        done += count;
    }
}

// From 1000 Gaussians the constants are doubled and the sums are joined one after the other, by Horner's rule.
void add_gaussians_of_lists(const double* frame, RowList<double> mean, RowList<double> inv_var, int32_t width,
                            int32_t height, const double* val, double* sum)
{
    if (height < 1000) return add_gaussians(frame, mean, inv_var, width, height, val, sum);
    const auto join = [sum](int32_t j, __m128d scores, int32_t count) {
        for (int32_t i = 0; i < count; ++i, scores = _mm_unpackhi_pd(scores, scores))
            store_one(sum + j + i, add_logs_plain<DoubleLogDomain>(load_one(sum + j + i), _mm_cvtsd_f64(scores)));
    };
    score_gaussians<DoubledConstants>(frame, mean, inv_var, width, height, val, join);
}

}  // namespace
}  // namespace zelsr

using namespace zelsr;

SrStatus zelsLogGaussAdd_32f_D2(const float* frames, int32_t step, const float* mean, const float* inv_var,
                                int32_t width, float* sum, int32_t height, float val)
{
    if (SrStatus failed =
            first_failure(stride(width, step), non_null(frames, mean, inv_var, sum), positive(width, height)))
        return failed;
    add_frames(Block{frames, step}, InverseVariance{mean, inv_var}, width, height, val, sum);
    return SrOk;
}

SrStatus zelsLogGaussAdd_32f_D2L(const float* const* frames, const float* mean, const float* inv_var,
                                 int32_t width, float* sum, int32_t height, float val)
{
    if (SrStatus failed = first_failure(non_null(frames, mean, inv_var, sum), positive(width, height)))
        return failed;
    add_frames_by_blocks(RowList{frames}, InverseVariance{mean, inv_var}, width, height, val, sum);
    return SrOk;
}

SrStatus zelsLogGaussAdd_64f_D2(const double* frames, int32_t step, const double* mean, const double* inv_var,
                                int32_t width, double* sum, int32_t height, double val)
{
    if (SrStatus failed =
            first_failure(stride(width, step), non_null(frames, mean, inv_var, sum), positive(width, height)))
        return failed;
    add_frames_by_blocks(Block{frames, step}, InverseVariance{mean, inv_var}, width, height, val, sum);
    return SrOk;
}

SrStatus zelsLogGaussAdd_64f_D2L(const double* const* frames, const double* mean, const double* inv_var,
                                 int32_t width, double* sum, int32_t height, double val)
{
    if (SrStatus failed = first_failure(non_null(frames, mean, inv_var, sum), positive(width, height)))
        return failed;
    add_frames_by_blocks(RowList{frames}, InverseVariance{mean, inv_var}, width, height, val, sum);
    return SrOk;
}

SrStatus zelsLogGaussAdd_IdVar_32f_D2(const float* frames, int32_t step, const float* mean, int32_t width,
                                      float* sum, int32_t height, float val)
{
    if (SrStatus failed = first_failure(stride(width, step), non_null(frames, mean, sum), positive(width, height)))
        return failed;
    add_frames(Block{frames, step}, UnitVariance{mean}, width, height, val, sum);
    return SrOk;
}

SrStatus zelsLogGaussAdd_IdVar_32f_D2L(const float* const* frames, const float* mean, int32_t width, float* sum,
                                       int32_t height, float val)
{
    if (SrStatus failed = first_failure(non_null(frames, mean, sum), positive(width, height))) return failed;
    add_frames_by_blocks(RowList{frames}, UnitVariance{mean}, width, height, val, sum);
    return SrOk;
}

SrStatus zelsLogGaussAdd_IdVar_64f_D2(const double* frames, int32_t step, const double* mean, int32_t width,
                                      double* sum, int32_t height, double val)
{
    if (SrStatus failed = first_failure(stride(width, step), non_null(frames, mean, sum), positive(width, height)))
        return failed;
    add_frames_by_blocks(Block{frames, step}, UnitVariance{mean}, width, height, val, sum);
    return SrOk;
}

SrStatus zelsLogGaussAdd_IdVar_64f_D2L(const double* const* frames, const double* mean, int32_t width, double* sum,
                                       int32_t height, double val)
{
    if (SrStatus failed = first_failure(non_null(frames, mean, sum), positive(width, height))) return failed;
    add_frames_by_blocks(RowList{frames}, UnitVariance{mean}, width, height, val, sum);
    return SrOk;
}

SrStatus zelsLogGaussAddMultiMix_32f_D2(const float* mean, const float* inv_var, int32_t step,
                                        const float* feature, int32_t width, const float* val, float* sum,
                                        int32_t height)
{
    if (SrStatus failed = first_failure(stride(width, step), non_null(mean, inv_var, feature, val, sum),
                                        positive(width, height)))
        return failed;
    add_gaussians(feature, Block{mean, step}, Block{inv_var, step}, width, height, val, sum);
    return SrOk;
}

SrStatus zelsLogGaussAddMultiMix_32f_D2L(const float* const* mean, const float* const* inv_var,
                                         const float* feature, int32_t width, const float* val, float* sum,
                                         int32_t height)
{
    if (SrStatus failed = first_failure(non_null(mean, inv_var, feature, val, sum), positive(width, height)))
        return failed;
    add_gaussians(feature, RowList{mean}, RowList{inv_var}, width, height, val, sum);
    return SrOk;
}

SrStatus zelsLogGaussAddMultiMix_64f_D2(const double* mean, const double* inv_var, int32_t step,
                                        const double* feature, int32_t width, const double* val, double* sum,
                                        int32_t height)
{
    if (SrStatus failed = first_failure(stride(width, step), non_null(mean, inv_var, feature, val, sum),
                                        positive(width, height)))
        return failed;
    add_gaussians(feature, Block{mean, step}, Block{inv_var, step}, width, height, val, sum);
    return SrOk;
}

SrStatus zelsLogGaussAddMultiMix_64f_D2L(const double* const* mean, const double* const* inv_var,
                                         const double* feature, int32_t width, const double* val, double* sum,
                                         int32_t height)
{
    if (SrStatus failed = first_failure(non_null(mean, inv_var, feature, val, sum), positive(width, height)))
        return failed;
    add_gaussians_of_lists(feature, RowList{mean}, RowList{inv_var}, width, height, val, sum);
    return SrOk;
}
