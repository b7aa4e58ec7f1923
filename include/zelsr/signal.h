/* Signals and sequences: resampling, time warping, pitch, elementwise functions. */
#ifndef ZELSR_SIGNAL_H
#define ZELSR_SIGNAL_H

#include "zelsr/signal/functions.h"
#include "zelsr/signal/pitch.h"
#include "zelsr/signal/resample.h"
#include "zelsr/signal/warping.h"

#endif
