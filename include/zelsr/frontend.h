/* Features of speech: filter banks, cepstra, their time derivatives, energies. */
#ifndef ZELSR_FRONTEND_H
#define ZELSR_FRONTEND_H

#include "zelsr/frontend/aurora_bank.h"
#include "zelsr/frontend/cepstrum.h"
#include "zelsr/frontend/delta.h"
#include "zelsr/frontend/energy.h"
#include "zelsr/frontend/filter_bank.h"
#include "zelsr/frontend/integer_bank.h"

#endif
