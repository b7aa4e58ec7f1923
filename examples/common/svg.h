// Writes SVG pictures that stand alone in one file.
#pragma once

#include <span>
#include <string>
#include <string_view>

namespace zelsr::examples {

struct Point {
    double x, y;
};

struct Box {
    double x, y, width, height;
    constexpr double right() const { return x + width; }
    constexpr double bottom() const { return y + height; }
};

enum class Anchor { Start, Middle, End };

// Positions in picture units, y downwards; looks come from the style sheet by class name.
class Svg {
  public:
    Svg(double width, double height, std::string_view style_sheet);

    // Everything until the matching end_group() belongs together; with a box, it is clipped to the box.
    void begin_group(std::string_view name, const Box* clip = nullptr);
    void end_group();

    void title(std::string_view text);  // what a viewer shows for the group (or the file)
    void box(const Box& box, std::string_view look);
    void line(Point from, Point to, std::string_view look);
    void path(std::span<const Point> points, std::string_view look, bool closed = false);
    void text(Point at, std::string_view text, std::string_view look, Anchor anchor = Anchor::Start);
    void text_upwards(Point at, std::string_view text, std::string_view look);  // centred
    void image(const Box& box, std::string_view data_address);

    std::string finish() const { return body_ + "</svg>\n"; }

  private:
    std::string body_;
    int clips_ = 0;
};

}  // namespace zelsr::examples
