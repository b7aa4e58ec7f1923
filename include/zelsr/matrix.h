/* Sums, statistics, copies, products and decomposition of matrices. */
#ifndef ZELSR_MATRIX_H
#define ZELSR_MATRIX_H

#include "zelsr/matrix/svd.h"

#endif
