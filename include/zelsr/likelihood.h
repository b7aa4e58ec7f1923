/* Gaussian scores in the log domain. */
#ifndef ZELSR_LIKELIHOOD_H
#define ZELSR_LIKELIHOOD_H

#include "zelsr/likelihood/fixed.h"
#include "zelsr/likelihood/gauss.h"
#include "zelsr/likelihood/log_add.h"
#include "zelsr/likelihood/mixture.h"

#endif
