/* Linear prediction: analysis, and conversions among a filter's parameters. */
#ifndef ZELSR_LPC_H
#define ZELSR_LPC_H

#include "zelsr/lpc/conversion.h"
#include "zelsr/lpc/line_spectrum.h"
#include "zelsr/lpc/prediction.h"

#endif
