// The distributed front-end's spectra: smoothing to half the resolution, taps.
#include "zelsr/aurora/spectrum.h"
