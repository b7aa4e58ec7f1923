// Training of a codebook as a user would write it: vq_training_bench.cpp.
#pragma once

namespace zelsr::bench::plain {

// A tree of clusters grown by radius to size codewords, from height rows of width elements: after each split up to
// 20 passes over all rows and all clusters. Distances in a tie within a millionth count as equal.
void train_codebook(const float* rows, int width, int height, int size, float* codewords);

}  // namespace zelsr::bench::plain
