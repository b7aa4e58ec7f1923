#include "support/limits.h"

#include <algorithm>
#include <chrono>

namespace zelsr::bench {
namespace {

constexpr int operations_a_pass = 14 * 8;
constexpr int passes = 400;

alignas(64) float memory[64];

// Fourteen registers in turn, so that none waits for its own last result; xmm15 is an operand that changes
// nothing.
#define ZELSR_FOURTEEN(before, after)                                                                            \
    ".rept 8\n" before "%%xmm0" after "\n" before "%%xmm1" after "\n" before "%%xmm2" after "\n" before          \
    "%%xmm3" after "\n" before "%%xmm4" after "\n" before "%%xmm5" after "\n" before "%%xmm6" after "\n" before  \
    "%%xmm7" after "\n" before "%%xmm8" after "\n" before "%%xmm9" after "\n" before "%%xmm10" after "\n" before \
    "%%xmm11" after "\n" before "%%xmm12" after "\n" before "%%xmm13" after "\n.endr\n"
#define ZELSR_CHANGED                                                                                          \
    "xmm0", "xmm1", "xmm2", "xmm3", "xmm4", "xmm5", "xmm6", "xmm7", "xmm8", "xmm9", "xmm10", "xmm11", "xmm12", \
        "xmm13", "xmm15", "memory"

void loads() { asm volatile(ZELSR_FOURTEEN("movaps (%0),", "") : : "r"(memory) : ZELSR_CHANGED); }
void stores() { asm volatile(ZELSR_FOURTEEN("movaps ", ",(%0)") : : "r"(memory) : ZELSR_CHANGED); }
void adds() { asm volatile("xorps %%xmm15,%%xmm15\n" ZELSR_FOURTEEN("addps %%xmm15,", "") : : : ZELSR_CHANGED); }
void multiplies()
{
    asm volatile("movaps (%0),%%xmm15\n" ZELSR_FOURTEEN("mulps %%xmm15,", "") : : "r"(memory) : ZELSR_CHANGED);
}
void divides()
{
    asm volatile("movaps (%0),%%xmm15\n" ZELSR_FOURTEEN("divps %%xmm15,", "") : : "r"(memory) : ZELSR_CHANGED);
}
// A pair of singles 1 is an ordinary double, near 0.0078.
void double_divides()
{
    asm volatile("movaps (%0),%%xmm15\n" ZELSR_FOURTEEN("divpd %%xmm15,", "") : : "r"(memory) : ZELSR_CHANGED);
}
void double_roots()
{
    asm volatile("movaps (%0),%%xmm15\n" ZELSR_FOURTEEN("sqrtpd %%xmm15,", "") : : "r"(memory) : ZELSR_CHANGED);
}

double rate(void (*operations)())
{
    using Clock = std::chrono::steady_clock;
    const auto start = Clock::now();
    for (int pass = 0; pass < passes; ++pass) operations();
    const std::chrono::duration<double, std::nano> taken = Clock::now() - start;
    return passes * operations_a_pass / taken.count();
}

// The fastest of many short tries in turn: other programs can only take time away.
Operations measure()
{
    Operations best;
    for (int attempt = 0; attempt < 100; ++attempt) {
        for (float& value : memory) value = 1.0F;
        loads();  // fills the registers with ordinary numbers
        best.loads = std::max(best.loads, rate(loads));
        best.stores = std::max(best.stores, rate(stores));
        loads();
        best.multiplies = std::max(best.multiplies, rate(multiplies));
        best.adds = std::max(best.adds, rate(adds));
        best.divides = std::max(best.divides, rate(divides));
        best.double_divides = std::max(best.double_divides, rate(double_divides));
        best.double_roots = std::max(best.double_roots, rate(double_roots));
    }
    return best;
}

}  // namespace

const Operations& rates_per_ns()
{
    static const Operations rates = measure();
    return rates;
}

double slowness()
{
    const double fastest = rates_per_ns().adds;
    loads();
    return fastest / rate(adds);
}

Bound bound_of(const Operations& call)
{
    const Operations& rates = rates_per_ns();
    const Bound bounds[] = {{call.loads / rates.loads, "load"},
                            {call.stores / rates.stores, "store"},
                            {call.multiplies / rates.multiplies, "mul"},
                            {call.adds / rates.adds, "add"},
                            {call.divides / rates.divides, "div"},
                            {call.double_divides / rates.double_divides, "div"},
                            {call.double_roots / rates.double_roots, "sqrt"}};
    return *std::max_element(std::begin(bounds), std::end(bounds),
                             [](const Bound& a, const Bound& b) { return a.ns < b.ns; });
}

}  // namespace zelsr::bench
