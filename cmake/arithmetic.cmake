# The instruction set and the floating-point rules that every translation unit keeps, so that both targets give
# the same bits: SSE arithmetic, nothing later than SSSE3, no contraction.
add_library(zelsr_arithmetic INTERFACE)
target_compile_options(zelsr_arithmetic INTERFACE -mssse3 -mfpmath=sse -ffp-contract=off)
if(ZELSR_ARCH STREQUAL i386)
  target_compile_options(zelsr_arithmetic INTERFACE -march=i686 -mtune=generic)
else()
  target_compile_options(zelsr_arithmetic INTERFACE -march=x86-64)
endif()

# The library's own code is instrumented; the tests only carry the runtime and compile as for the plain build, so that
# a compiler cache has them once.
if(ZELSR_SANITIZE)
  set(ZELSR_SANITIZERS -fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer -g1 -O1)
  add_link_options(-fsanitize=address,undefined)
endif()
if(ZELSR_COVERAGE)
  add_compile_options(--coverage -O1 -g)
  add_link_options(--coverage)
endif()
