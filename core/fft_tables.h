// What a record's tables hold.
#pragma once

#include "core/fft_record.h"

namespace zelsr::fft {

// The scale and its flags and, from order 4, the tables behind the head with the pointers to them. Belongs under a
// DefaultFloatEnvironment. setup: memory of sizes_of(order).setup bytes, used above order 10.
void lay_out(ZelFFTState_R_32f* record, int32_t order, int32_t flag, uint8_t* setup);

}  // namespace zelsr::fft
