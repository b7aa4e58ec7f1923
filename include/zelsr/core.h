/* Memory, elementary vector operations, conversions and the real FFT. */
#ifndef ZELSR_CORE_H
#define ZELSR_CORE_H

#include "zelsr/core/convert.h"
#include "zelsr/core/fft.h"
#include "zelsr/core/memory.h"
#include "zelsr/core/vector.h"

#endif
