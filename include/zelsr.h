/* All of zelsr: primitives for programs that recognise, code or clean speech. */
#ifndef ZELSR_H
#define ZELSR_H

#include "zelsr/aurora.h"
#include "zelsr/core.h"
#include "zelsr/estimation.h"
#include "zelsr/frontend.h"
#include "zelsr/likelihood.h"
#include "zelsr/lpc.h"
#include "zelsr/matrix.h"
#include "zelsr/noise.h"
#include "zelsr/signal.h"
#include "zelsr/vq.h"

#endif
