// The two-level complex FFT of 2^m values, m above 17: contiguous sub-transforms in the work memory, then column
// stages over groups of columns that are gathered into it.
#pragma once

#include "core/fft_complex.h"
#include "core/fft_record.h"

namespace zelsr::fft {

// src to dst, both interleaved and in order, times factor; src may be dst. work: aligned, record.work_size bytes.
template <Direction D>
void transform_large(const float* src, float* dst, const ZelFFTState_R_32f& record, float* work, float factor);

}  // namespace zelsr::fft
