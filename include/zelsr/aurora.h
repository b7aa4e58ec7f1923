/* The distributed front-end: noise reduction, voice activity, wave processing. */
#ifndef ZELSR_AURORA_H
#define ZELSR_AURORA_H

#include "zelsr/aurora/bands.h"
#include "zelsr/aurora/spectrum.h"
#include "zelsr/aurora/voice_activity.h"

#endif
