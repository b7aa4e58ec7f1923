#include "recognise/codebook.h"

#include <algorithm>
#include <vector>

#include "common/failure.h"

namespace zelsr::examples {

DoubleRows cluster_centres(const FeatureMatrix<float>& rows, std::span<const double> variances, std::int32_t most)
{
    const std::int32_t width = rows.width(), step = rows.step();
    DoubleRows centres(1, width);
    if (most > 1) {
        std::vector<float> weights;
        for (const double variance : variances) weights.push_back(static_cast<float>(1 / variance));
        ZelCdbkState_32f* made = nullptr;
        const SrStatus status = zelsCdbkInitAlloc_WgtL2_32f(&made, rows.row(0), weights.data(), width, step,
                                                            rows.rows(), most, SrCdbkTreePopulation);
        // Rows that are all the same have no halves: they have one centre.
        if (status != SrErrBadArg) {
            require(status, "zelsCdbkInitAlloc_WgtL2_32f");
            const Codebook book(made);
            std::int32_t found = 0;
            require(zelsGetCdbkSize_32f(book.get(), &found), "zelsGetCdbkSize_32f");
            const AlignedFloats codewords = aligned_floats(static_cast<std::int64_t>(found) * step);
            require(zelsGetCodebook_32f(book.get(), codewords.get(), step), "zelsGetCodebook_32f");
            centres = DoubleRows(found, width);
            for (std::int32_t j = 0; j < found; ++j)
                std::copy_n(codewords.get() + static_cast<std::ptrdiff_t>(j) * step, width, centres[j]);
            return centres;
        }
    }
    std::vector<float> mean(static_cast<std::size_t>(width));
    require(zelsMeanColumn_32f_D2(rows.row(0), rows.rows(), step, mean.data(), width), "zelsMeanColumn_32f_D2");
    std::copy_n(mean.data(), width, centres[0]);
    return centres;
}

}  // namespace zelsr::examples
