/* Gaussian scores in the log domain, and distances. */
#ifndef ZELSR_LIKELIHOOD_H
#define ZELSR_LIKELIHOOD_H

#include "zelsr/likelihood/block_diagonal.h"
#include "zelsr/likelihood/distance.h"
#include "zelsr/likelihood/fixed.h"
#include "zelsr/likelihood/gauss.h"
#include "zelsr/likelihood/log_add.h"
#include "zelsr/likelihood/mixture.h"
#include "zelsr/likelihood/order.h"
#include "zelsr/likelihood/select.h"

#endif
