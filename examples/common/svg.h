// Writes SVG pictures, which stand alone in one file or inside a page.
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
    // A file.
    Svg(double width, double height, std::string_view style_sheet);

    // A part of an HTML page, whose style sheet gives the looks.
    struct Caption {
        std::string_view id;       // no other of the page begins with it
        std::string_view name;     // what the picture is
        std::string_view content;  // what it shows, for those who cannot see it
    };
    Svg(double width, double height, const Caption& caption);

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
    std::string prefix_, body_;
    int clips_ = 0;
};

}  // namespace zelsr::examples
