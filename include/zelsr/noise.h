/* Noise tracking and suppression. */
#ifndef ZELSR_NOISE_H
#define ZELSR_NOISE_H

#include "zelsr/noise/mcra.h"
#include "zelsr/noise/peaks.h"
#include "zelsr/noise/periodicity.h"
#include "zelsr/noise/suppression.h"

#endif
