#include "features/picture.h"

#include <algorithm>
#include <cmath>

#include "common/plot.h"
#include "common/png.h"
#include "common/svg.h"

namespace zelsr::examples {
namespace {

constexpr double kWidth = 1200, kLeft = 84, kInnerWidth = kWidth - kLeft - 24;
constexpr double kTop = 92, kPanelHeight = 180, kPanelDistance = 40;
constexpr double kShownDeviations = 2.5;
constexpr int kPixelsARow = 8;
constexpr std::uint8_t kWhite = 128;

constexpr std::string_view kStyles =
    ".page { fill: #fff; }\n"
    ".title { font-size: 19px; font-weight: bold; }\n"
    ".summary { font-size: 13px; }\n"
    ".heading { font-size: 13px; font-weight: bold; }\n";

}  // namespace

void FeaturePicture::Column::join(const Column& other)
{
    for (std::size_t k = 0; k < sum.size(); ++k) sum[k] += other.sum[k];
    rows += other.rows;
}

template <class T>
void FeaturePicture::add(const RowBlock<T>& rows)
{
    for (std::int32_t r = 0; r < rows.rows; ++r)
        columns_.add({std::vector<double>(rows[r], rows[r] + options_.width()), 1});
}

template void FeaturePicture::add(const RowBlock<float>&);
template void FeaturePicture::add(const RowBlock<std::int16_t>&);

std::vector<std::uint8_t> FeaturePicture::pixels(int first, int count, int high) const
{
    const auto columns = columns_.columns();
    std::vector<std::uint8_t> all;
    for (int k = first + count - 1; k >= first; --k) {
        const auto value = [k](const Column& column) {
            return column.sum[static_cast<std::size_t>(k)] / static_cast<double>(column.rows);
        };
        double mean = 0, variance = 0;
        for (const Column& column : columns) mean += value(column) / static_cast<double>(columns.size());
        for (const Column& column : columns)
            variance += (value(column) - mean) * (value(column) - mean) / static_cast<double>(columns.size());
        const double range = std::max(1e-9, kShownDeviations * std::sqrt(variance));

        std::vector<std::uint8_t> line;
        for (const Column& column : columns) {
            const double part = std::clamp((value(column) - mean) / range, -1.0, 1.0);
            line.push_back(static_cast<std::uint8_t>(std::lround(127.5 + 127.5 * part)));
        }
        for (int copy = 0; copy < high; ++copy) all.insert(all.end(), line.begin(), line.end());
    }
    return all;
}

std::string FeaturePicture::svg(const std::string& title) const
{
    const int panels = options_.derivatives + 1, values = options_.static_width();
    const double height = kTop + panels * (kPanelHeight + kPanelDistance) + 12;
    Svg svg(kWidth, height, std::string(axis_styles()) + std::string(kStyles));
    svg.title(title);
    svg.box({0, 0, kWidth, height}, "page");
    svg.text({kLeft, 34}, title, "title");
    svg.text({kLeft, 56},
             "Each coefficient from blue, 2.5 standard deviations below its mean, to red, as many above",
             "summary");

    const auto columns = columns_.columns();
    const double shift = static_cast<double>(options_.shift()) / options_.rate;
    std::int64_t rows = 0;
    for (const Column& column : columns) rows += column.rows;
    // Frame t stands for the shift around its centre.
    const double start = 0.5 * (static_cast<double>(options_.length()) / options_.rate - shift);
    const double end = start + static_cast<double>(rows) * shift;
    // The last column may hold fewer rows than the others; its width is theirs all the same.
    const double drawn_end =
        start + static_cast<double>(columns.size()) * static_cast<double>(columns_.items_a_column()) * shift;

    const char* headings[] = {"Static values", "Deltas", "Accelerations"};
    const char* names[] = {"static", "deltas", "accelerations"};
    for (int p = 0; p < panels; ++p) {
        const Box box{kLeft, kTop + p * (kPanelHeight + kPanelDistance), kInnerWidth, kPanelHeight};
        const Panel panel(box, std::min(0.0, start), end, 0.5, values + 0.5);
        svg.begin_group(names[p]);
        svg.title(headings[p]);
        std::string heading = headings[p];
        if (options_.energy != Energy::None)
            heading += options_.energy == Energy::C0 ? ", c0 on top" : ", log energy on top";
        svg.text({kLeft, box.y - 8}, heading, "heading");
        svg.begin_group("values", &box);
        svg.image({panel.x(start), box.y, panel.x(drawn_end) - panel.x(start), box.height},
                  png_data_address(pixels(p * values, values, 1), columns.size(), signed_palette()));
        svg.end_group();
        draw_x_axis(svg, panel, "time (s)", p + 1 == panels ? Labels::Shown : Labels::None);
        draw_y_axis(svg, panel, "coefficient", 5);
        svg.end_group();
    }
    return svg.finish();
}

std::string FeaturePicture::png() const
{
    const int values = options_.static_width();
    const std::size_t columns = columns_.columns().size();
    std::vector<std::uint8_t> all;
    for (int p = 0; p <= options_.derivatives; ++p) {
        if (p > 0) all.insert(all.end(), kPixelsARow * columns, kWhite);
        const std::vector<std::uint8_t> panel = pixels(p * values, values, kPixelsARow);
        all.insert(all.end(), panel.begin(), panel.end());
    }
    return png_file(all, columns, signed_palette());
}

}  // namespace zelsr::examples
