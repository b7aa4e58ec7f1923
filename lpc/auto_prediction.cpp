// Linear prediction by the autocorrelation method.
#include "core/contract.h"
#include "core/convert.h"
#include "core/rounding.h"
#include "core/scratch.h"
#include "core/simd.h"
#include "lpc/durbin.h"
#include "zelsr/core/fft.h"
#include "zelsr/lpc/prediction.h"

namespace zelsr {
namespace {

constexpr int32_t kOnStack = 64;  // below as many lags, or samples, no memory is allocated

SrStatus order_within(int32_t order, int32_t len) { return require(order <= len, SrErrSize); }

constexpr int64_t work_size(int64_t order) { return 2 * order + 1; }

// The lags and the work memory of the recursion.
using Work = Scratch<float, work_size(kOnStack - 2)>;

SrStatus predict(const float* src, int32_t len, float* a, int32_t order, const Work& work)
{
    float* lags = work.data() + order;
    if (SrStatus failed = zelsAutoCorr_32f(src, len, lags, order + 1)) return failed;
    float error;
    return durbin(lags, a, order, &error, work.data());
}

void negate(float* a, int32_t order)
{
    for (int32_t i = 0; i < order; ++i) store_one(a + i, 0 - load_one(a + i));
}

enum class Form { Denominator, Predictor };

SrStatus predict_16s(const int16_t* src, int32_t len, int16_t* a, int32_t order, int32_t sf, Form form)
{
    const Scratch<float, kOnStack - 1> samples(len), coefficients(order);
    if (!samples || !coefficients) return SrErrMemAlloc;
    const Work work(work_size(order));
    if (!work) return SrErrMemAlloc;
    const DefaultFloatEnvironment environment;
    convert_16s32f(src, samples.data(), len);
    if (SrStatus failed = predict(samples.data(), len, coefficients.data(), order, work)) return failed;
    if (form == Form::Predictor) negate(coefficients.data(), order);
    convert_32f16s(coefficients.data(), a, order, Rounding::Nearest, sf);
    return SrOk;
}

}  // namespace
}  // namespace zelsr

using namespace zelsr;

SrStatus zelsLinearPrediction_Auto_32f(const float* src, int32_t len, float* a, int32_t order)
{
    if (SrStatus failed = first_failure(non_null(src, a), positive(len, order), order_within(order, len)))
        return failed;
    const Work work(work_size(order));
    if (!work) return SrErrMemAlloc;
    return predict(src, len, a, order, work);
}

// What a holds is negated after a failed recursion, too: wanted. Refused memory leaves it as it is.
SrStatus zelsLinearPredictionNeg_Auto_32f(const float* src, int32_t len, float* a, int32_t order)
{
    if (SrStatus failed = first_failure(non_null(src, a), positive(len, order), order_within(order, len)))
        return failed;
    const Work work(work_size(order));
    if (!work) return SrErrMemAlloc;
    const SrStatus status = predict(src, len, a, order, work);
    if (status == SrOk || status == SrErrDurbin) negate(a, order);
    return status;
}

SrStatus zelsLinearPrediction_Auto_16s_Sfs(const int16_t* src, int32_t len, int16_t* a, int32_t order, int32_t sf)
{
    if (SrStatus failed = first_failure(non_null(src, a), positive(len, order), order_within(order, len)))
        return failed;
    return predict_16s(src, len, a, order, sf, Form::Denominator);
}

SrStatus zelsLinearPredictionNeg_Auto_16s_Sfs(const int16_t* src, int32_t len, int16_t* a, int32_t order,
                                              int32_t sf)
{
    if (SrStatus failed = first_failure(non_null(src, a), positive(len, order), order_within(order, len)))
        return failed;
    return predict_16s(src, len, a, order, sf, Form::Predictor);
}
