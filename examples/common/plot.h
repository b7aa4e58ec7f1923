// Axes for pictures over time.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "common/svg.h"

namespace zelsr::examples {

// A line between values and picture positions.
struct Scale {
    double low, high;  // values
    double from, to;   // their positions
    double operator()(double value) const { return from + (value - low) / (high - low) * (to - from); }
};

// A rectangle of the picture with a horizontal and a vertical scale.
struct Panel {
    Box box;
    Scale x, y;

    Panel(const Box& place, double left, double right, double bottom, double top)
        : box(place), x{left, right, place.x, place.right()}, y{bottom, top, place.bottom(), place.y}
    {}
    Point at(double horizontal, double vertical) const { return {x(horizontal), y(vertical)}; }
};

struct Ticks {
    std::vector<double> values;
    int digits;  // after the point
};

// Some `wanted` round values (1, 2 or 5 times a power of ten apart) from low to high.
Ticks round_ticks(double low, double high, int wanted);

enum class Labels { None, Shown };

// Grid lines across the panel, frame, tick labels and the name of the scale.
void draw_x_axis(Svg& svg, const Panel& panel, std::string_view name, Labels labels);
void draw_y_axis(Svg& svg, const Panel& panel, std::string_view name, int wanted_ticks);

// The looks that the axes use: grid, frame, tick, name.
std::string_view axis_styles();

}  // namespace zelsr::examples
