/* Statistics and normalisation of matrices. */
#ifndef ZELSR_MATRIX_H
#define ZELSR_MATRIX_H

#include "zelsr/matrix/normalize.h"
#include "zelsr/matrix/statistics.h"

#endif
