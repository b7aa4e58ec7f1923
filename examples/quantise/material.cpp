#include "quantise/material.h"

#include <algorithm>

#include "common/failure.h"

namespace zelsr::examples {
namespace {

constexpr double kLeastVariance = 1e-10;

void read_rows(const FileNames& files, const FeatureKind& kind, const char* what, const RowConsumer& rows)
{
    read_all(files, kind, "codebook", what, true, rows, [](std::size_t) {});
}

}  // namespace

Survey survey(const FileNames& files, const FeatureKind& kind)
{
    const auto width = static_cast<std::size_t>(kind.width);
    Survey found;
    // From the first row on, for small rounding errors.
    std::vector<double> first(width), sums(width), squares(width);
    read_rows(files, kind, "variances", [&](const RowBlock<float>& rows) {
        if (found.rows == 0) std::copy_n(rows[0], width, first.begin());
        found.rows += rows.rows;
        for (std::int32_t r = 0; r < rows.rows; ++r) {
            require_moderate(rows[r], kind.width);
            for (std::size_t k = 0; k < width; ++k) {
                const double x = rows[r][k] - first[k];
                sums[k] += x;
                squares[k] += x * x;
            }
        }
    });
    if (found.rows == 0) throw Failure("the files hold no rows");
    const auto count = static_cast<double>(found.rows);
    for (std::size_t k = 0; k < width; ++k)
        found.variances.push_back(std::max(0.0, (squares[k] - sums[k] * sums[k] / count) / count));
    return found;
}

FeatureMatrix<float> rows_of(const FileNames& files, const FeatureKind& kind, const Survey& found,
                             std::int32_t most)
{
    FeatureMatrix<float> matrix(kind.width);
    const std::int64_t wanted = std::min<std::int64_t>(most, found.rows);
    std::int64_t at = 0;
    read_rows(files, kind, "rows", [&](const RowBlock<float>& rows) {
        for (std::int32_t r = 0; r < rows.rows; ++r, ++at)
            if ((at + 1) * wanted / found.rows > at * wanted / found.rows) matrix.append({rows[r], 1, rows.step});
    });
    if (matrix.rows() != wanted) throw Failure("the files have changed meanwhile");
    return matrix;
}

std::vector<float> inverse_variances(const Survey& found)
{
    std::vector<float> weights;
    for (const double variance : found.variances)
        weights.push_back(variance > kLeastVariance ? static_cast<float>(1 / variance) : 0);
    return weights;
}

Distortion distortion_of(const Book& book, const FileNames& files)
{
    std::vector<std::uint8_t> codes;
    Encoder encoder(book, codes);
    read_rows(files, book.kind(), "measuring", [&](const RowBlock<float>& rows) {
        encoder.add(rows);
        codes.clear();
    });
    encoder.finish();
    return encoder.distortion();
}

}  // namespace zelsr::examples
