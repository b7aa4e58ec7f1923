/* The acoustic feature front-end. */
#ifndef ZELSR_FRONTEND_H
#define ZELSR_FRONTEND_H

#include "zelsr/frontend/aurora_bank.h"
#include "zelsr/frontend/filter_bank.h"
#include "zelsr/frontend/integer_bank.h"

#endif
