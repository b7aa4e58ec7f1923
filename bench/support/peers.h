// The libraries that stand beside this one.
#pragma once

#include <string>

namespace zelsr::bench {

// Which code of each peer runs here: versions and instruction sets.
std::string peers_in_use();

// "OpenBLAS" with the processor whose kernels it took.
std::string openblas_name();

// True if ZELSR_BENCH_PEERS=sse: peers that choose kernels at run time are kept to 16-byte registers too.
bool peers_kept_to_sse();

}  // namespace zelsr::bench
