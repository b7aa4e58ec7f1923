#include "support/peers.h"

#include <cblas.h>
#include <fftw3.h>

#include <Eigen/Core>
#include <cstdlib>
#include <cstring>

namespace zelsr::bench {

bool peers_kept_to_sse()
{
    const char* value = std::getenv("ZELSR_BENCH_PEERS");
    return value && std::strcmp(value, "sse") == 0;
}

std::string openblas_name() { return std::string("OpenBLAS ") + openblas_get_corename(); }

std::string peers_in_use()
{
    return std::string("Eigen ") + std::to_string(EIGEN_WORLD_VERSION) + "." +
           std::to_string(EIGEN_MAJOR_VERSION) + "." + std::to_string(EIGEN_MINOR_VERSION) + " (" +
           Eigen::SimdInstructionSetsInUse() + "), " + fftwf_version +
           (peers_kept_to_sse() ? " (kept to SSE2)" : " (AVX where the processor has it)") + ", " +
           openblas_name() + " kernels, libm";
}

}  // namespace zelsr::bench

// FFTW asks this function of its own before it registers AVX code, through the dynamic symbol table, where the
// program's definition comes first.
extern "C" int fftwf_have_simd_avx()
{
    return !zelsr::bench::peers_kept_to_sse() && __builtin_cpu_supports("avx");
}
