/* Vector quantisation: codebooks and what is done with them. */
#ifndef ZELSR_VQ_H
#define ZELSR_VQ_H

#include "zelsr/vq/codebook.h"
#include "zelsr/vq/reconstruction.h"
#include "zelsr/vq/search.h"
#include "zelsr/vq/split.h"

#endif
