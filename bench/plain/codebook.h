// Codebooks as a user would write their training and search: vq_*_bench.cpp.
#pragma once

namespace zelsr::bench::plain {

// A tree of clusters grown by radius to size codewords, from height rows of width elements: after each split up to
// 20 passes over all rows and all clusters. Distances in a tie within a millionth count as equal.
void train_codebook(const float* rows, int width, int height, int size, float* codewords);

// The nearest of count codewords, and how far it is, for height rows of width elements.
void nearest(const float* rows, int height, int width, const float* codewords, int count, int* index,
             float* distance);

}  // namespace zelsr::bench::plain
