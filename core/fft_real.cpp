// The real FFT of single-precision data.
#include "core/contract.h"
#include "core/fft_complex.h"
#include "core/fft_large.h"
#include "core/fft_recombine.h"
#include "core/fft_record.h"
#include "core/fft_small.h"
#include "core/fft_tables.h"
#include "core/rounding.h"
#include "core/simd.h"
#include "zelsr/core/fft.h"
#include "zelsr/core/memory.h"

namespace zelsr::fft {
namespace {

SrStatus is_record(const ZelFFTState_R_32f* state)
{
    return require(state->identity == kIdentity_32f, SrErrContext);
}

// The spectrum formats, n = N at least 2: where value k lies (2k + kShift), and what stands for X[0] = sum and
// X[N/2] = diff.
struct Perm {
    static constexpr std::ptrdiff_t kShift = 0;
    static void put_ends(float* dst, std::size_t /*n*/, float sum, float diff)
    {
        store_one(dst, sum);
        store_one(dst + 1, diff);
    }
    static void from_perm(float* /*dst*/, std::size_t /*n*/) {}
};
struct Ccs {
    static constexpr std::ptrdiff_t kShift = 0;
    static void put_ends(float* dst, std::size_t n, float sum, float diff)
    {
        store_one(dst, sum);
        store_one(dst + 1, 0.0F);
        store_one(dst + n, diff);
        store_one(dst + n + 1, 0.0F);
    }
    static void from_perm(float* dst, std::size_t n)
    {
        if (n == 1)
            store_one(dst + 1, 0.0F);
        else
            put_ends(dst, n, load_one(dst), load_one(dst + 1));
    }
};
struct Pack {
    static constexpr std::ptrdiff_t kShift = -1;
    static void put_ends(float* dst, std::size_t n, float sum, float diff)
    {
        store_one(dst, sum);
        store_one(dst + n - 1, diff);
    }
    static void from_perm(float* dst, std::size_t n)
    {
        if (n < 4) return;
        const float nyquist = load_one(dst + 1);
        for (std::size_t i = 2; i < n; ++i) store_one(dst + i - 1, load_one(dst + i));
        store_one(dst + n - 1, nyquist);
    }
};

// z0: value 0 of the spectrum Z that src holds.
template <class Format, class Source, bool Scaled>
void spectrum_of(const float* src, Complex1 z0, float* dst, const ZelFFTState_R_32f& record)
{
    const std::size_t values = std::size_t{1} << (record.order - 1);
    const ForwardButterfly<Scaled> butterfly{record.scale};
    recombine<Source, Format::kShift>(src, dst, values, record.recombination, butterfly);
    z0 = butterfly.scaled(z0);
    Format::put_ends(dst, 2 * values, z0.re + z0.im, z0.re - z0.im);
}

template <class Format>
void forward(const float* src, float* dst, const ZelFFTState_R_32f& record, float* work)
{
    const int32_t m = record.order - 1;
    if (m <= kMaxSingleLevel) {
        transform_to_blocks(src, work, Plan{m, record.reversal, record.twiddles});
        const Complex1 z0 = {work[0], work[4]};
        if (record.forward_scaled != 0)
            spectrum_of<Format, BlockSource, true>(work, z0, dst, record);
        else
            spectrum_of<Format, BlockSource, false>(work, z0, dst, record);
    } else {
        const float factor = record.forward_scaled != 0 ? record.scale : 1.0F;
        transform_large<Direction::Forward>(src, dst, record, work, factor);
        const Complex1 z0 = {load_one(dst), load_one(dst + 1)};
        spectrum_of<Format, ArraySource<0>, false>(dst, z0, dst, record);
    }
}

void inverse_of_pack(const float* src, float* dst, const ZelFFTState_R_32f& record, float* work)
{
    const int32_t m = record.order - 1;
    const std::size_t values = std::size_t{1} << m;
    const float factor = record.inverse_scaled != 0 ? record.scale : 1.0F;
    const float mean = load_one(src), nyquist = load_one(src + 2 * values - 1);
    recombine<ArraySource<Pack::kShift>, Perm::kShift>(src, dst, values, record.ccs_recombination,
                                                       InverseButterfly{});
    Perm::put_ends(dst, 2 * values, mean + nyquist, mean - nyquist);
    if (m <= kMaxSingleLevel)
        transform_inverse(dst, dst, work, Plan{m, record.reversal, record.twiddles}, factor);
    else
        transform_large<Direction::Inverse>(dst, dst, record, work, factor);
}

// Calls transform with aligned work memory: the caller's, or the allocator's for the time of the call.
template <class Transform>
SrStatus with_work(const ZelFFTState_R_32f& record, uint8_t* work, Transform transform)
{
    uint8_t* own = nullptr;
    if (work == nullptr) {
        work = own = zelsMalloc_8u(record.work_size);
        if (own == nullptr) return SrErrMemAlloc;
    }
    transform(reinterpret_cast<float*>(align_up(work)));
    zelsFree(own);
    return SrOk;
}

SrStatus check_transform(const float* src, const float* dst, const ZelFFTState_R_32f* state)
{
    return first_failure(
        non_null(state), [=] { return is_record(state); }, non_null(src, dst));
}

template <class Format>
SrStatus run_forward(const float* src, float* dst, const ZelFFTState_R_32f& record, uint8_t* work)
{
    if (record.order < kFirstTableOrder) {
        kSmallForward[record.forward_scaled != 0][record.order](src, dst, record.scale);
        Format::from_perm(dst, std::size_t{1} << record.order);
        return SrOk;
    }
    return with_work(record, work, [&](float* aligned) { forward<Format>(src, dst, record, aligned); });
}

SrStatus run_inverse(const float* src, float* dst, const ZelFFTState_R_32f& record, uint8_t* work)
{
    if (record.order < kFirstTableOrder) {
        kSmallInverse[record.inverse_scaled != 0][record.order](src, dst, record.scale);
        return SrOk;
    }
    return with_work(record, work, [&](float* aligned) { inverse_of_pack(src, dst, record, aligned); });
}

SrStatus set_up(ZelFFTState_R_32f* record, int32_t order, int32_t flag, int32_t hint, uint8_t* setup, bool owned)
{
    const Sizes sizes = sizes_of(order);
    *record = ZelFFTState_R_32f{};
    record->order = order;
    record->hint = hint;
    record->work_size = static_cast<int32_t>(sizes.work);
    record->owned = owned;
    if (SrStatus failed =
            first_failure(known_flag(flag), require(sizes.setup == 0 || setup != nullptr, SrErrNullPtr),
                          require(owned || reportable(sizes.record), SrErrMemAlloc)))
        return failed;
    const DefaultFloatEnvironment environment;  // tables and scale are the same whatever the caller has set
    lay_out(record, order, flag, setup);
    record->identity = kIdentity_32f;
    return SrOk;
}

}  // namespace
}  // namespace zelsr::fft

using namespace zelsr;
using namespace zelsr::fft;

SrStatus zelsFFTGetSize_R_32f(int32_t order, int32_t flag, int32_t /*hint*/, int32_t* record_size,
                              int32_t* setup_size, int32_t* work_size)
{
    if (SrStatus failed =
            first_failure(order_in_range(order), non_null(record_size, setup_size, work_size), known_flag(flag)))
        return failed;
    const Sizes sizes = sizes_of(order);
    store_one(record_size, reported(sizes.record));
    store_one(setup_size, reported(sizes.setup));
    store_one(work_size, reported(with_alignment(sizes.work)));
    return SrOk;
}

// A bad flag and a missing set-up buffer are found only after the head has been written; it stays without its
// identity then. This is wanted.
SrStatus zelsFFTInit_R_32f(ZelFFTState_R_32f** state, int32_t order, int32_t flag, int32_t hint, uint8_t* memory,
                           uint8_t* setup)
{
    if (SrStatus failed = first_failure(non_null(state), order_in_range(order), non_null(memory))) return failed;
    auto* record = reinterpret_cast<ZelFFTState_R_32f*>(memory);
    if (SrStatus failed = set_up(record, order, flag, hint, setup, false)) return failed;
    store_one(state, record);
    return SrOk;
}

SrStatus zelsFFTInitAlloc_R_32f(ZelFFTState_R_32f** state, int32_t order, int32_t flag, int32_t hint)
{
    if (SrStatus failed = first_failure(non_null(state), order_in_range(order), known_flag(flag))) return failed;
    const Sizes sizes = sizes_of(order);
    return make_record(state, sizes.record, sizes.setup, [=](ZelFFTState_R_32f* record, uint8_t* setup) {
        return set_up(record, order, flag, hint, setup, true);
    });
}

SrStatus zelsFFTFree_R_32f(ZelFFTState_R_32f* state)
{
    if (SrStatus failed = first_failure(non_null(state), [=] { return is_record(state); })) return failed;
    state->identity = 0;
    if (state->owned != 0) zelsFree(state);
    return SrOk;
}

SrStatus zelsFFTGetBufSize_R_32f(const ZelFFTState_R_32f* state, int32_t* size)
{
    if (SrStatus failed = first_failure(
            non_null(state), [=] { return is_record(state); }, non_null(size)))
        return failed;
    store_one(size, static_cast<int32_t>(with_alignment(state->work_size)));
    return SrOk;
}

SrStatus zelsFFTFwd_RToCCS_32f(const float* src, float* dst, const ZelFFTState_R_32f* state, uint8_t* work)
{
    if (SrStatus failed = check_transform(src, dst, state)) return failed;
    return run_forward<Ccs>(src, dst, *state, work);
}

SrStatus zelsFFTFwd_RToPack_32f(const float* src, float* dst, const ZelFFTState_R_32f* state, uint8_t* work)
{
    if (SrStatus failed = check_transform(src, dst, state)) return failed;
    return run_forward<Pack>(src, dst, *state, work);
}

SrStatus zelsFFTFwd_RToPerm_32f(const float* src, float* dst, const ZelFFTState_R_32f* state, uint8_t* work)
{
    if (SrStatus failed = check_transform(src, dst, state)) return failed;
    return run_forward<Perm>(src, dst, *state, work);
}

SrStatus zelsFFTInv_PackToR_32f(const float* src, float* dst, const ZelFFTState_R_32f* state, uint8_t* work)
{
    if (SrStatus failed = check_transform(src, dst, state)) return failed;
    return run_inverse(src, dst, *state, work);
}
