// The amplitude envelope of a prediction filter.
#include <algorithm>
#include <cstring>
#include <limits>

#include "core/contract.h"
#include "core/convert.h"
#include "core/elementwise.h"
#include "core/rounding.h"
#include "core/scratch.h"
#include "core/simd.h"
#include "lpc/quotient.h"
#include "zelsr/core/fft.h"
#include "zelsr/core/vector.h"
#include "zelsr/lpc/conversion.h"

namespace zelsr {
namespace {

constexpr int32_t kOnStack = 6;    // up to this fft_order the spectrum needs no allocation
constexpr int32_t kDividing = 2;   // up to this fft_order reciprocals are divisions
constexpr int32_t kMaxOrder = 29;  // the transform's own order is one higher

// len below 2^(fft_order + 1).
SrStatus fits(int32_t len, int32_t fft_order)
{
    return require(fft_order >= 0 && (fft_order > kMaxOrder || len < (int64_t{2} << fft_order)), SrErrSize);
}

// A prepared transform for the time of a call.
class Transform {
  public:
    explicit Transform(int32_t order) : status_(zelsFFTInitAlloc_R_32f(&state_, order, 8, 2)) {}
    ~Transform()
    {
        if (status_ == SrOk) zelsFFTFree_R_32f(state_);
    }
    Transform(const Transform&) = delete;
    Transform& operator=(const Transform&) = delete;

    SrStatus status() const { return status_; }
    SrStatus forward(float* srcdst) const { return zelsFFTFwd_RToCCS_32f(srcdst, srcdst, state_, nullptr); }

  private:
    ZelFFTState_R_32f* state_ = nullptr;
    SrStatus status_;
};

// The values of the transform, and two more of its spectrum.
constexpr int64_t work_size(int32_t fft_order) { return (int64_t{2} << std::min(fft_order, kMaxOrder)) + 2; }
using Work = Scratch<float, work_size(kOnStack)>;

// |X| of the first 2^fft_order bins. buffer holds the coefficients from its second element on.
SrStatus magnitudes(float* buffer, int32_t len, float* dst, int32_t fft_order, float val,
                    const Transform& transform)
{
    buffer[0] = 0;
    std::fill(buffer + 1 + len, buffer + work_size(fft_order), 0.0F);
    if (SrStatus failed = transform.forward(buffer)) return failed;
    buffer[0] -= val;
    return zelsMagnitude_32fc(reinterpret_cast<const Zel32fc*>(buffer), dst, int32_t{1} << fft_order);
}

// 0 gives the number whose value is infinity's bits: wanted.
[[gnu::noinline]] SrStatus divide(float* srcdst, int32_t len)
{
    ZeroDenominators zeros;
    auto quotient = [&](__m128 x) __attribute__((always_inline))
    {
        const __m128 zero = zeros.find(x), one = repeat(1.0F);
        return choose(zero, repeat(2139095040.0F), one / choose(zero, one, x));
    };
    elementwise(quotient, srcdst, len, srcdst);
    return zeros.status();
}

// 0 gives infinity.
[[gnu::noinline]] SrStatus take_reciprocals(float* srcdst, int32_t len)
{
    ZeroDenominators zeros;
    auto quotient = [&](__m128 x) __attribute__((always_inline))
    {
        return choose(zeros.find(x), repeat(std::numeric_limits<float>::infinity()), reciprocal(x));
    };
    elementwise(quotient, srcdst, len, srcdst);
    return zeros.status();
}

SrStatus spectrum_32f(const float* a, int32_t len, float* dst, int32_t fft_order, float val)
{
    const Transform transform(std::min(fft_order, kMaxOrder + 1) + 1);
    if (transform.status() != SrOk) return transform.status();
    const Work work(work_size(fft_order));
    if (!work) return SrErrMemAlloc;
    const DefaultFloatEnvironment environment;
    std::memcpy(work.data() + 1, a, sizeof(float) * static_cast<std::size_t>(len));
    if (SrStatus failed = magnitudes(work.data(), len, dst, fft_order, val, transform)) return failed;
    const int32_t bins = int32_t{1} << fft_order;
    return fft_order <= kDividing ? divide(dst, bins) : take_reciprocals(dst, bins);
}

SrStatus spectrum_16s(const int16_t* a, int32_t len, int16_t* dst, int32_t fft_order, int32_t val, int32_t sf)
{
    const Transform transform(std::min(fft_order, kMaxOrder + 1) + 1);
    if (transform.status() != SrOk) return transform.status();
    const Work work(work_size(fft_order));
    if (!work) return SrErrMemAlloc;
    const DefaultFloatEnvironment environment;
    convert_16s32f(a, work.data() + 1, len);
    if (SrStatus failed = magnitudes(work.data(), len, work.data(), fft_order, static_cast<float>(val), transform))
        return failed;
    const int32_t bins = int32_t{1} << fft_order;
    const SrStatus status = take_reciprocals(work.data(), bins);
    convert_32f16s(work.data(), dst, bins, Rounding::Nearest, sf);
    return status;
}

}  // namespace
}  // namespace zelsr

using namespace zelsr;

SrStatus zelsLPToSpectrum_32f(const float* a, int32_t len, float* spectrum, int32_t fft_order, float val)
{
    if (SrStatus failed = first_failure(non_null(a, spectrum), positive(len), fits(len, fft_order))) return failed;
    return clear_flags_on_warning(spectrum_32f(a, len, spectrum, fft_order, val));
}

SrStatus zelsLPToSpectrum_16s_Sfs(const int16_t* a, int32_t len, int16_t* spectrum, int32_t fft_order, int32_t val,
                                  int32_t sf)
{
    if (SrStatus failed = first_failure(non_null(a, spectrum), positive(len), fits(len, fft_order))) return failed;
    return clear_flags_on_warning(spectrum_16s(a, len, spectrum, fft_order, val, sf));
}
