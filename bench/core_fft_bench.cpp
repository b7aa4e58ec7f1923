// Real FFT beside FFTW, and autocorrelation. Sizes are the lengths 2^order.
#include <fftw3.h>
#include <zelsr/core/fft.h>
#include <zelsr/core/memory.h>

#include <bit>
#include <cmath>
#include <map>
#include <string>
#include <utility>

#include "plain/plain.h"
#include "support/eigen.h"
#include "support/row.h"

namespace zelsr::bench {
namespace {

constexpr char wider_registers[] = "FFTW's AVX code works on 32 bytes at a time (compare --sse)";

int order_of(const Row& row) { return std::countr_zero(static_cast<unsigned>(row.len)); }

// Records and plans are made once a length and live until the program ends.
const ZelFFTState_R_32f* state_of(int order)
{
    static std::map<int, ZelFFTState_R_32f*> states;
    ZelFFTState_R_32f*& state = states[order];
    if (!state) zelsFFTInitAlloc_R_32f(&state, order, 8, 0);
    return state;
}

std::uint8_t* work_for(Row& row, const ZelFFTState_R_32f* state)
{
    std::int32_t bytes = 0;
    zelsFFTGetBufSize_R_32f(state, &bytes);
    return row.array<std::uint8_t>(bytes + 1);
}

struct Plan {
    fftwf_plan plan;
    std::string name;  // with the registers that its codelets use
};

// The measured plan with the newest instruction set among its steps in the name.
Plan named(fftwf_plan plan)
{
    char* steps = fftwf_sprint_plan(plan);
    const std::string text = steps;
    fftwf_free(steps);
    const bool avx = text.find("avx") != std::string::npos, sse = text.find("sse") != std::string::npos;
    return {plan, avx ? "FFTW AVX" : sse ? "FFTW SSE2" : "FFTW scalar"};
}

// Planning measures, so it overwrites the arrays. Execution takes others of the same alignment.
const Plan& forward_plan(int n)
{
    static std::map<int, Plan> plans;
    const auto found = plans.find(n);
    if (found != plans.end()) return found->second;
    float* real = fftwf_alloc_real(static_cast<std::size_t>(n));
    fftwf_complex* half = fftwf_alloc_complex(static_cast<std::size_t>(n / 2 + 1));
    fftwf_plan plan = fftwf_plan_dft_r2c_1d(n, real, half, FFTW_MEASURE);
    fftwf_free(real);
    fftwf_free(half);
    return plans.emplace(n, named(plan)).first->second;
}

// Of a spectrum that is kept, as the library keeps it.
const Plan& inverse_plan(int n)
{
    static std::map<int, Plan> plans;
    const auto found = plans.find(n);
    if (found != plans.end()) return found->second;
    float* real = fftwf_alloc_real(static_cast<std::size_t>(n));
    fftwf_complex* half = fftwf_alloc_complex(static_cast<std::size_t>(n / 2 + 1));
    fftwf_plan plan = fftwf_plan_dft_c2r_1d(n, half, real, FFTW_MEASURE | FFTW_PRESERVE_INPUT);
    fftwf_free(real);
    fftwf_free(half);
    return plans.emplace(n, named(plan)).first->second;
}

plain::Complex* roots_for(Row& row)
{
    auto* roots = row.array<plain::Complex>(row.len / 2 + 1);
    plain::fill_roots(roots, row.len);
    return roots;
}

void forward_ccs(Row& row)
{
    const int n = row.len, order = order_of(row);
    float* src = row.input(n, -1.0F, 1.0F);
    const ZelFFTState_R_32f* state = state_of(order);
    std::uint8_t* work = work_for(row, state);
    const plain::Complex* roots = roots_for(row);
    const Plan& peer = forward_plan(n);
    row.reason_at_every_size(wider_registers);
    auto answer = row.answer<float>(n + 2, 1e-6 * order);
    answer.library([=](float* dst) { zelsFFTFwd_RToCCS_32f(src, dst, state, work); });
    answer.plain(
        [=](float* dst) { plain::real_to_ccs(src, reinterpret_cast<plain::Complex*>(dst), roots, order); });
    answer.peer(peer.name, [src, plan = peer.plan](float* dst) {
        fftwf_execute_dft_r2c(plan, src, reinterpret_cast<fftwf_complex*>(dst));
    });
}

// Pack and CCS hold the same numbers; each contender takes the format that is its own.
void inverse_pack(Row& row)
{
    const int n = row.len, order = order_of(row);
    float* ccs = row.input(n + 2, -1.0F, 1.0F);
    ccs[1] = ccs[n + 1] = 0;
    float* pack = row.array<float>(n);
    pack[0] = ccs[0];
    for (int i = 1; i < n; ++i) pack[i] = ccs[i + 1];
    const ZelFFTState_R_32f* state = state_of(order);
    std::uint8_t* work = work_for(row, state);
    const plain::Complex* roots = roots_for(row);
    auto* plain_work = row.array<plain::Complex>(n / 2);
    const Plan& peer = inverse_plan(n);
    row.reason_at_every_size(wider_registers);
    auto answer = row.answer<float>(n, 1e-6 * order);
    answer.library([=](float* dst) { zelsFFTInv_PackToR_32f(pack, dst, state, work); });
    answer.plain([=](float* dst) {
        plain::ccs_to_real(reinterpret_cast<const plain::Complex*>(ccs), dst, plain_work, roots, order);
    });
    answer.peer(peer.name, [ccs, plan = peer.plan](float* dst) {
        fftwf_execute_dft_c2r(plan, reinterpret_cast<fftwf_complex*>(ccs), dst);
    });
}

// The peers convert before and after with plain loops.
void forward_16s(Row& row)
{
    const int n = row.len, order = order_of(row), sf = 2;
    const auto* src = row.input<std::int16_t>(n, -32768, 32767);
    static std::map<int, ZelFFTState_R_16s32s*> states;
    ZelFFTState_R_16s32s*& state_slot = states[order];
    if (!state_slot) zelsFFTInitAlloc_R_16s32s(&state_slot, order, 8, 0);
    const ZelFFTState_R_16s32s* state = state_slot;
    std::int32_t record_bytes = 0, setup_bytes = 0, work_bytes = 0;
    zelsFFTGetSize_R_16s32s(order, 8, 0, &record_bytes, &setup_bytes, &work_bytes);
    std::uint8_t* work = row.array<std::uint8_t>(work_bytes + 1);
    const plain::Complex* roots = roots_for(row);
    float* real = row.array<float>(n);
    float* spectrum = row.array<float>(n + 2);
    const Plan& peer = forward_plan(n);
    row.reason_at_every_size(wider_registers);
    auto answer = row.answer<std::int32_t>(n + 2, 2 + n / 64);
    answer.library([=](std::int32_t* dst) { zelsFFTFwd_RToCCS_16s32s_Sfs(src, dst, state, sf, work); });
    answer.plain([=](std::int32_t* dst) {
        plain::convert(src, real, n);
        plain::real_to_ccs(real, reinterpret_cast<plain::Complex*>(spectrum), roots, order);
        plain::convert_scaled(spectrum, dst, n + 2, sf);
    });
    answer.peer(peer.name, [=, plan = peer.plan](std::int32_t* dst) {
        array(real, n) = array(src, n).cast<float>();
        fftwf_execute_dft_r2c(plan, real, reinterpret_cast<fftwf_complex*>(spectrum));
        array(dst, n + 2) = (array(spectrum, n + 2) * 0.25F).rint().cast<std::int32_t>();
    });
}

// An autocorrelation as linear prediction takes it.
template <int Lags>
void auto_corr(Row& row)
{
    const int len = row.len;
    const float* src = row.input(len, -1.0F, 1.0F);
    auto answer = row.answer<float>(Lags, 1e-5);
    answer.library([=](float* dst) { zelsAutoCorr_32f(src, len, dst, Lags); });
    answer.plain([=](float* dst) { plain::correlate(src, len, dst, Lags); });
    answer.peer("Eigen", [=](float* dst) {
        for (int k = 0; k < Lags; ++k)
            dst[k] = k < len ? (array(src, len - k) * array(src + k, len - k)).sum() : 0.0F;
    });
}

void mul_pack_conj(Row& row)
{
    const int len = row.len;
    const float* src = row.input(len, -1.0F, 1.0F);
    const float* start = row.input(len, -1.0F, 1.0F);
    float* turned = row.array<float>(len);
    for (int i = 0; i < len; ++i) turned[i] = start[i];
    // A source of magnitude one keeps the product's size from call to call.
    float* unit = row.array<float>(len);
    unit[0] = unit[len - 1] = -1;
    for (int i = 1; i + 1 < len; i += 2) {
        const float magnitude = std::hypot(src[i], src[i + 1]);
        unit[i] = src[i] / magnitude;
        unit[i + 1] = src[i + 1] / magnitude;
    }
    row.registers(len / 4.0, {.loads = 2, .stores = 1, .multiplies = 2, .adds = 1});
    auto answer = row.answer_in_place(turned, len, 1e-6);
    answer.library([=](float* srcdst) { zelsMulPackConj_32f_I(unit, srcdst, len); });
    answer.plain([=](float* srcdst) { plain::multiply_conjugate_pack(unit, srcdst, len); });
}

const std::initializer_list<Size> fft_sizes = {{64}, {128}, {256}, {512}, {1024}, {2048}, {4096}, {8192}, {16384}};

const Table transforms{"core/fft",
                       {{"zelsFFTFwd_RToCCS_32f", forward_ccs},
                        {"zelsFFTInv_PackToR_32f", inverse_pack},
                        {"zelsFFTFwd_RToCCS_16s32s_Sfs", forward_16s}},
                       fft_sizes};

const Table correlations{
    "core/autocorrelation", {{"zelsAutoCorr_32f (13 lags)", auto_corr<13>}}, {{240}, {400}, {4096}}};

const Table spectra{"core/spectrum", {{"zelsMulPackConj_32f_I", mul_pack_conj}}, vector_sizes};

}  // namespace
}  // namespace zelsr::bench
