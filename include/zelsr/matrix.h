/* Sums, statistics, copies and products of matrices. */
#ifndef ZELSR_MATRIX_H
#define ZELSR_MATRIX_H

#include "zelsr/matrix/columns.h"
#include "zelsr/matrix/products.h"
#include "zelsr/matrix/sums.h"

#endif
