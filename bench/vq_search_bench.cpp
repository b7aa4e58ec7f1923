// Searches in codebooks. Sizes are width of the rows x codewords; each call quantises 1000 rows.
#include <faiss/IndexFlat.h>
#include <omp.h>
#include <zelsr/vq/search.h>

#include <cmath>
#include <memory>
#include <vector>

#include "plain/codebook.h"
#include "support/row.h"

namespace zelsr::bench {
namespace {

constexpr int rows = 1000;
constexpr char open_sums[] =
    "sums in element order, which is the contract; the peer multiplies matrices, |x|^2 + |c|^2 - 2 x.c, by wider "
    "registers, and loses the digits of small distances";

using Codebook = std::shared_ptr<const ZelCdbkState_32f>;

Codebook trained(const float* training, int width, int height, int codewords, SrCdbkKind kind)
{
    ZelCdbkState_32f* state = nullptr;
    zelsCdbkInitAlloc_L2_32f(&state, training, width, width, height, codewords, kind);
    return {state, [](ZelCdbkState_32f* made) { zelsCdbkFree_32f(made); }};
}

// In memory of the row's, where no table of cells stands in for the search.
const ZelCdbkState_32f* full_codebook(Row& row, const float* table, int width, int codewords)
{
    int32_t bytes = 0;
    zelsCdbkGetSize_32f(width, width, codewords, codewords, SrCdbkFull, &bytes);
    auto* state = reinterpret_cast<ZelCdbkState_32f*>(row.array<char>(bytes));
    zelsCdbkInit_L2_32f(state, table, width, width, codewords, codewords, SrCdbkFull);
    return state;
}

void needs_every_distance(Row& row)
{
    const double width = row.size.width;
    row.registers(rows * (row.size.height / 4.0),
                  {.loads = width / 4, .multiplies = width, .adds = 2 * width - 1});
}

// Distances are compared: of codewords that are equally far any may win. With one element the distances are so
// small that the peer keeps few of their digits.
void full_search(Row& row)
{
    const int width = row.size.width, codewords = row.size.height;
    const float* src = row.input(rows * width, -1.0F, 1.0F);
    const float* table = row.input(codewords * width, -1.0F, 1.0F);
    const ZelCdbkState_32f* state = full_codebook(row, table, width, codewords);
    auto* index = row.array<int32_t>(rows);
    needs_every_distance(row);
    row.reason_at_every_size(open_sums);

    auto answer = row.answer<float>(rows, width == 1 ? 0.1 : 1e-3);
    answer.library([=](float* distance) { zelsVQDist_32f(src, width, index, distance, rows, state); });
    answer.plain([=](float* distance) { plain::nearest(src, rows, width, table, codewords, index, distance); });
    omp_set_num_threads(1);
    auto flat = std::make_shared<faiss::IndexFlatL2>(width);
    flat->add(codewords, table);
    auto labels = std::make_shared<std::vector<faiss::IndexFlatL2::idx_t>>(rows);
    answer.peer("faiss", [=](float* distance) {
        flat->search(rows, src, 1, distance, labels->data());
        for (int r = 0; r < rows; ++r) distance[r] = std::sqrt(std::max(0.0F, distance[r]));
    });
}

void one_by_one(Row& row)
{
    const int width = row.size.width, codewords = row.size.height;
    const float* src = row.input(rows * width, -1.0F, 1.0F);
    const float* table = row.input(codewords * width, -1.0F, 1.0F);
    const ZelCdbkState_32f* state = full_codebook(row, table, width, codewords);
    auto* distance = row.array<float>(rows);
    needs_every_distance(row);
    auto answer = row.answer<int32_t>(rows);
    answer.library([=](int32_t* index) {
        for (int r = 0; r < rows; ++r) zelsVQ_32f(src + r * width, width, index + r, 1, state);
    });
    answer.plain([=](int32_t* index) { plain::nearest(src, rows, width, table, codewords, index, distance); });
}

// Codewords from twice as many training rows; the peer looks at all of them. A tree's answer need not be the
// nearest codeword, so that the distances may differ: they are within the rows' range.
template <SrCdbkKind Kind>
void indexed_search(Row& row)
{
    const int width = row.size.width, codewords = row.size.height;
    const int height = Kind == SrCdbkFull ? codewords : 2 * codewords;
    const float* src = row.input(rows * width, -1.0F, 1.0F);
    const Codebook state = trained(row.input(height * width, -1.0F, 1.0F), width, height, codewords, Kind);
    int32_t held = 0;
    zelsGetCdbkSize_32f(state.get(), &held);
    auto* table = row.array<float>(held * width);
    zelsGetCodebook_32f(state.get(), table, width);
    const ZelCdbkState_32f* all = full_codebook(row, table, width, held);
    auto* index = row.array<int32_t>(rows);

    auto answer = row.answer<float>(rows, Kind == SrCdbkFull ? 1e-5 : 1.0);
    answer.library([=](float* distance) { zelsVQDist_32f(src, width, index, distance, rows, state.get()); });
    answer.plain([=](float* distance) { plain::nearest(src, rows, width, table, held, index, distance); });
    answer.peer("all codewords", [=](float* distance) { zelsVQDist_32f(src, width, index, distance, rows, all); });
}

const Table searches{"vq/search",
                     {{"zelsVQDist_32f, full", full_search}, {"zelsVQ_32f, full, row by row", one_by_one}},
                     {{1, 256},
                      {2, 256},
                      {4, 256},
                      {8, 256},
                      {16, 256},
                      {39, 256},
                      {1, 1024},
                      {2, 1024},
                      {4, 1024},
                      {8, 1024},
                      {16, 1024},
                      {39, 1024}}};
const Table trees{"vq/tree",
                  {{"zelsVQDist_32f, tree", indexed_search<SrCdbkTreePopulation>}},
                  {{2, 256}, {4, 256}, {8, 256}, {13, 256}, {39, 256}}};
const Table cells{
    "vq/cells", {{"zelsVQDist_32f, table of cells", indexed_search<SrCdbkFull>}}, {{1, 256}, {2, 256}, {2, 1024}}};

}  // namespace
}  // namespace zelsr::bench
