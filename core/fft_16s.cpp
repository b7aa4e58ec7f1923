// The real FFT of 16-bit data: the single-precision transform between conversions.
#include "core/contract.h"
#include "core/fft_record.h"
#include "core/rounding.h"
#include "core/scratch.h"
#include "core/simd.h"
#include "zelsr/core/convert.h"
#include "zelsr/core/fft.h"
#include "zelsr/core/memory.h"

namespace zelsr::fft {
namespace {

SrStatus is_record(const ZelFFTState_R_16s32s* state)
{
    return require(state->identity == kIdentity_16s32s, SrErrContext);
}

SrStatus set_up(ZelFFTState_R_16s32s* record, int32_t order, int32_t flag, int32_t hint, uint8_t* setup,
                bool owned)
{
    const int32_t work_size = reported(work_16s32s(sizes_of(order), order));
    auto* inner = reinterpret_cast<ZelFFTState_R_32f*>(align_up(reinterpret_cast<uint8_t*>(record + 1)));
    *record = ZelFFTState_R_16s32s{0, order, hint, work_size, owned, inner};
    if (SrStatus failed = zelsFFTInit_R_32f(&inner, order, flag, hint, reinterpret_cast<uint8_t*>(inner), setup))
        return failed;
    record->identity = kIdentity_16s32s;
    return SrOk;
}

// From the Perm layout to CCS.
void perm_to_ccs(int32_t* spectrum, std::size_t n)
{
    if (n > 1) {
        store_one(spectrum + n, load_one(spectrum + 1));
        store_one(spectrum + n + 1, 0);
    }
    store_one(spectrum + 1, 0);
}

// work: the converted samples, and behind them the inner transform's work memory.
SrStatus transform(const int16_t* src, int32_t* dst, const ZelFFTState_R_16s32s& record, int32_t sf, uint8_t* work)
{
    const DefaultFloatEnvironment environment;
    const int32_t n = int32_t{1} << record.order;
    auto* samples = reinterpret_cast<float*>(work);
    zelsConvert_16s32f(src, samples, n);
    const SrStatus status =
        zelsFFTFwd_RToPerm_32f(samples, samples, record.inner, reinterpret_cast<uint8_t*>(samples + n));
    if (status == SrOk) {
        zelsConvert_32f32s_Sfs(samples, dst, n, 1, sf);
        perm_to_ccs(dst, static_cast<std::size_t>(n));
    }
    return status;
}

}  // namespace
}  // namespace zelsr::fft

using namespace zelsr;
using namespace zelsr::fft;

SrStatus zelsFFTGetSize_R_16s32s(int32_t order, int32_t flag, int32_t /*hint*/, int32_t* record_size,
                                 int32_t* setup_size, int32_t* work_size)
{
    if (SrStatus failed =
            first_failure(order_in_range(order), non_null(record_size, setup_size, work_size), known_flag(flag)))
        return failed;
    const Sizes sizes = sizes_of(order);
    // Small orders are told no room for aligning their work memory; they need none.
    const std::int64_t alignment = sizes.work == 0 ? 0 : kTableAlignment;
    store_one(record_size, reported(record_16s32s(sizes)));
    store_one(setup_size, reported(setup_16s32s(sizes)));
    store_one(work_size, reported(work_16s32s(sizes, order) + alignment));
    return SrOk;
}

// A bad flag and a missing set-up buffer are found only after the head has been written; it stays without its
// identity then. This is wanted.
SrStatus zelsFFTInit_R_16s32s(ZelFFTState_R_16s32s** state, int32_t order, int32_t flag, int32_t hint,
                              uint8_t* memory, uint8_t* setup)
{
    if (SrStatus failed = first_failure(non_null(state), order_in_range(order), non_null(memory))) return failed;
    auto* record = reinterpret_cast<ZelFFTState_R_16s32s*>(memory);
    if (SrStatus failed = set_up(record, order, flag, hint, setup, false)) return failed;
    store_one(state, record);
    return SrOk;
}

SrStatus zelsFFTInitAlloc_R_16s32s(ZelFFTState_R_16s32s** state, int32_t order, int32_t flag, int32_t hint)
{
    if (SrStatus failed = first_failure(non_null(state), order_in_range(order), known_flag(flag))) return failed;
    const Sizes sizes = sizes_of(order);
    if (!reportable(sizes.record)) return SrErrMemAlloc;
    return make_record(state, record_16s32s(sizes), setup_16s32s(sizes),
                       [=](ZelFFTState_R_16s32s* record, uint8_t* setup) {
                           return set_up(record, order, flag, hint, setup, true);
                       });
}

SrStatus zelsFFTFree_R_16s32s(ZelFFTState_R_16s32s* state)
{
    if (SrStatus failed = first_failure(non_null(state), [=] { return is_record(state); })) return failed;
    state->identity = 0;
    if (state->owned != 0) zelsFree(state);
    return SrOk;
}

SrStatus zelsFFTFwd_RToCCS_16s32s_Sfs(const int16_t* src, int32_t* dst, const ZelFFTState_R_16s32s* state,
                                      int32_t sf, uint8_t* work)
{
    if (SrStatus failed = first_failure(
            non_null(state), [=] { return is_record(state); }, non_null(src, dst)))
        return failed;
    if (work != nullptr)
        return transform(src, dst, *state, sf, state->order < kFirstTableOrder ? work : align_up(work));
    const Scratch<uint8_t> own(state->work_size);
    if (!own) return SrErrMemAlloc;
    return transform(src, dst, *state, sf, own.data());
}
