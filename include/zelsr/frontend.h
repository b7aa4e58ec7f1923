/* Features of speech: cepstra, their time derivatives, energies. */
#ifndef ZELSR_FRONTEND_H
#define ZELSR_FRONTEND_H

#include "zelsr/frontend/cepstrum.h"
#include "zelsr/frontend/delta.h"
#include "zelsr/frontend/energy.h"

#endif
