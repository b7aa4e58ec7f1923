// Mixtures of selected components beside whole mixtures, and the tables that select. Sizes are
// components x frames.
#include <zelsr/likelihood/mixture.h>
#include <zelsr/likelihood/select.h>

#include <algorithm>
#include <numeric>
#include <vector>

#include "plain/plain.h"
#include "support/row.h"

namespace zelsr::bench {
namespace {

constexpr int width = 39, step = 40;
constexpr char all_selected[] = "all is selected: every bit is looked at, where the peer looks at none";

// The bits of the best `percent` of a frame's components: a short list leaves out next to nothing.
const std::uint8_t* best_components(Row& row, const float* frames, const float* mean, const float* inv_var,
                                    const float* val, int percent)
{
    const int components = row.size.width, height = row.size.height, row_bytes = (components + 7) / 8;
    const int selected = std::max(1, components * percent / 100);
    auto* table = row.array<std::uint8_t>(row_bytes * height);
    std::vector<float> score(static_cast<std::size_t>(components));
    std::vector<int> order(score.size());
    for (int r = 0; r < height; ++r) {
        std::copy(val, val + components, score.begin());
        plain::log_gauss_components(mean, inv_var, step, frames + r * step, width, score.data(), components);
        std::iota(order.begin(), order.end(), 0);
        std::nth_element(order.begin(), order.begin() + (selected - 1), order.end(), [&](int a, int b) {
            return score[static_cast<std::size_t>(a)] > score[static_cast<std::size_t>(b)];
        });
        for (int i = 0; i < selected; ++i) {
            const int j = order[static_cast<std::size_t>(i)];
            table[r * row_bytes + j / 8] |= static_cast<std::uint8_t>(128 >> j % 8);
        }
    }
    return table;
}

template <int Percent>
void select_row(Row& row)
{
    const int components = row.size.width, height = row.size.height;
    const float* frames = row.input(height * step, -3.0F, 3.0F);
    const float* mean = row.input(components * step, -3.0F, 3.0F);
    const float* inv_var = row.input(components * step, 0.2F, 5.0F);
    const float* val = row.input(components, -42.0F, -40.0F);
    const std::uint8_t* table = best_components(row, frames, mean, inv_var, val, Percent);
    if (Percent == 100) row.reason_at_every_size(all_selected);
    auto answer = row.answer<float>(height, 1e-4);
    answer.library([=](float* sum) {
        zelsLogGaussMixture_Select_32f_D2(frames, mean, inv_var, step, width, val, table, components, sum, height,
                                          -1e6F);
    });
    answer.plain([=](float* sum) {
        plain::log_gauss_selected(frames, mean, inv_var, step, width, val, table, components, sum, height);
    });
    answer.peer("all components", [=](float* sum) {
        for (int r = 0; r < height; ++r)
            zelsLogGaussMixture_32f_D2(frames + r * step, mean, inv_var, components, step, width, val, sum + r);
    });
}

// Four codewords a frame, of 256.
template <int Offset>
void sign_table(Row& row)
{
    constexpr int count = 4, codewords = 256;
    const int components = row.size.width, height = row.size.height, row_bytes = (Offset + components + 7) / 8;
    const auto* bits = row.input<std::uint8_t>(codewords * row_bytes, 0, 255);
    const auto** rows = row.array<const std::uint8_t*>(codewords);
    for (int r = 0; r < codewords; ++r) rows[r] = bits + r * row_bytes;
    const auto* indices = row.input<std::int32_t>(height * count, 0, codewords - 1);
    auto answer = row.answer<std::uint8_t>((components + 7) / 8 * height);
    answer.library([=](std::uint8_t* table) {
        zelsBuildSignTable_8u1u(indices, count, rows, codewords, row_bytes, Offset, table, height, components);
    });
    answer.plain(
        [=](std::uint8_t* table) { plain::unite_rows(indices, count, rows, Offset, table, height, components); });
}

const Table selection{"likelihood/select",
                      {{"zelsLogGaussMixture_Select_32f_D2 (5 %)", select_row<5>},
                       {"zelsLogGaussMixture_Select_32f_D2 (20 %)", select_row<20>},
                       {"zelsLogGaussMixture_Select_32f_D2 (100 %)", select_row<100>},
                       {"zelsBuildSignTable_8u1u (offset 0)", sign_table<0>},
                       {"zelsBuildSignTable_8u1u (offset 3)", sign_table<3>}},
                      {{64, 100}, {512, 100}}};

}  // namespace
}  // namespace zelsr::bench
