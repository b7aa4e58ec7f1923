#include "common/plot.h"

#include <algorithm>
#include <cmath>

#include "common/text.h"

namespace zelsr::examples {

Ticks round_ticks(double low, double high, int wanted)
{
    const double rough = (high - low) / wanted;
    const double power = std::pow(10, std::floor(std::log10(rough)));
    double step = 10 * power;
    for (double factor : {5.0, 2.0, 1.0})
        if (factor * power >= rough * 0.999) step = factor * power;

    Ticks ticks{{}, std::max(0, -static_cast<int>(std::floor(std::log10(step) + 1e-9)))};
    for (double k = std::ceil(low / step - 1e-9); k * step <= high + 1e-9 * step; ++k)
        ticks.values.push_back(k * step);
    return ticks;
}

void draw_x_axis(Svg& svg, const Panel& panel, std::string_view name, Labels labels)
{
    const Ticks ticks = round_ticks(panel.x.low, panel.x.high, 12);
    for (double value : ticks.values) {
        const double x = panel.x(value);
        svg.line({x, panel.box.y}, {x, panel.box.bottom()}, "grid");
        if (labels == Labels::Shown)
            svg.text({x, panel.box.bottom() + 16}, fixed(value, ticks.digits), "tick", Anchor::Middle);
    }
    svg.box(panel.box, "frame");
    if (labels == Labels::Shown)
        svg.text({panel.box.x + panel.box.width / 2, panel.box.bottom() + 36}, name, "name", Anchor::Middle);
}

void draw_y_axis(Svg& svg, const Panel& panel, std::string_view name, int wanted_ticks)
{
    const Ticks ticks = round_ticks(panel.y.low, panel.y.high, wanted_ticks);
    for (double value : ticks.values) {
        const double y = panel.y(value);
        svg.line({panel.box.x, y}, {panel.box.right(), y}, "grid");
        svg.text({panel.box.x - 7, y + 4}, fixed(value, ticks.digits), "tick", Anchor::End);
    }
    svg.text_upwards({panel.box.x - 54, panel.box.y + panel.box.height / 2}, name, "name");
}

std::string_view axis_styles()
{
    return "text { font-family: 'Helvetica Neue', Helvetica, Arial, 'DejaVu Sans', sans-serif; fill: #333; }\n"
           ".tick { font-size: 12px; }\n"
           ".name { font-size: 13px; }\n"
           ".grid { stroke: #000; stroke-opacity: 0.10; }\n"
           ".frame { fill: none; stroke: #777; }\n";
}

}  // namespace zelsr::examples
