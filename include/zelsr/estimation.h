/* Parameters of acoustic models, from counts and from other models. */
#ifndef ZELSR_ESTIMATION_H
#define ZELSR_ESTIMATION_H

#include "zelsr/estimation/clustering.h"
#include "zelsr/estimation/covariance.h"
#include "zelsr/estimation/interpolation.h"
#include "zelsr/estimation/mixture.h"
#include "zelsr/estimation/update.h"

#endif
