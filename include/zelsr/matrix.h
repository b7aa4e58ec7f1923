/* Sums, statistics, copies, products and decomposition of matrices. */
#ifndef ZELSR_MATRIX_H
#define ZELSR_MATRIX_H

#include "zelsr/matrix/columns.h"
#include "zelsr/matrix/normalize.h"
#include "zelsr/matrix/products.h"
#include "zelsr/matrix/statistics.h"
#include "zelsr/matrix/sums.h"
#include "zelsr/matrix/svd.h"

#endif
