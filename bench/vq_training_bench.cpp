// Training of codebooks of 16 codewords; sizes are width x rows.
#include <zelsr/vq/codebook.h>

#include "plain/codebook.h"
#include "support/row.h"

namespace zelsr::bench {
namespace {

constexpr int codewords = 16;

void tree_32f(Row& row)
{
    const int width = row.size.width, height = row.size.height;
    const float* src = row.input(width * height, -1.0F, 1.0F);
    auto answer = row.answer<float>(codewords * width, 1e-6);
    answer.library([=](float* out) {
        ZelCdbkState_32f* state = nullptr;
        zelsCdbkInitAlloc_L2_32f(&state, src, width, width, height, codewords, SrCdbkTreeRadius);
        zelsGetCodebook_32f(state, out, width);
        zelsCdbkFree_32f(state);
    });
    answer.plain([=](float* out) { plain::train_codebook(src, width, height, codewords, out); });
}

const Table training{
    "vq/training", {{"zelsCdbkInitAlloc_L2_32f, tree", tree_32f}}, {{2, 256}, {13, 256}, {39, 256}}};

}  // namespace
}  // namespace zelsr::bench
