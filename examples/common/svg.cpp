#include "common/svg.h"

#include "common/markup.h"
#include "common/text.h"

namespace zelsr::examples {
namespace {

constexpr int kDigits = 2;
constexpr std::string_view kNamespaces =
    " xmlns=\"http://www.w3.org/2000/svg\" xmlns:xlink=\"http://www.w3.org/1999/xlink\"";

using examples::attribute;
std::string attribute(std::string_view name, double value) { return attribute(name, fixed(value, kDigits)); }

std::string view_box(double width, double height)
{
    return attribute("viewBox", "0 0 " + fixed(width, kDigits) + " " + fixed(height, kDigits));
}

std::string extent(const Box& box)
{
    return attribute("x", box.x) + attribute("y", box.y) + attribute("width", box.width) +
           attribute("height", box.height);
}

}  // namespace

Svg::Svg(double width, double height, std::string_view style_sheet)
{
    body_ = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<svg" + std::string(kNamespaces) +
            attribute("width", width) + attribute("height", height) + view_box(width, height) + ">\n<style>\n" +
            escaped(style_sheet) + "</style>\n";
}

Svg::Svg(double width, double height, const Caption& caption) : prefix_(caption.id)
{
    const std::string name = prefix_ + "-name", content = prefix_ + "-content";
    body_ = "<svg" + std::string(kNamespaces) + attribute("width", width) + attribute("height", height) +
            view_box(width, height) + attribute("role", "img") +
            attribute("aria-labelledby", name + " " + content) + ">\n<title" + attribute("id", name) + ">" +
            escaped(caption.name) + "</title>\n<desc" + attribute("id", content) + ">" + escaped(caption.content) +
            "</desc>\n";
}

void Svg::begin_group(std::string_view name, const Box* clip)
{
    if (clip == nullptr) {
        body_ += "<g" + attribute("class", name) + ">\n";
        return;
    }
    const std::string id = prefix_ + "clip" + std::to_string(++clips_);
    body_ += "<clipPath" + attribute("id", id) + "><rect" + extent(*clip) + "/></clipPath>\n<g" +
             attribute("class", name) + attribute("clip-path", "url(#" + id + ")") + ">\n";
}

void Svg::end_group() { body_ += "</g>\n"; }

void Svg::title(std::string_view text) { body_ += "<title>" + escaped(text) + "</title>\n"; }

void Svg::box(const Box& box, std::string_view look)
{
    body_ += "<rect" + extent(box) + attribute("class", look) + "/>\n";
}

void Svg::line(Point from, Point to, std::string_view look)
{
    body_ += "<line" + attribute("x1", from.x) + attribute("y1", from.y) + attribute("x2", to.x) +
             attribute("y2", to.y) + attribute("class", look) + "/>\n";
}

void Svg::path(std::span<const Point> points, std::string_view look, bool closed)
{
    std::string steps;
    for (const Point& point : points) {
        steps += steps.empty() ? 'M' : ' ';
        steps.append(fixed(point.x, kDigits)).append(",").append(fixed(point.y, kDigits));
    }
    body_ += "<path" + attribute("class", look) + attribute("d", closed ? steps + "Z" : steps) + "/>\n";
}

void Svg::text(Point at, std::string_view text, std::string_view look, Anchor anchor)
{
    const char* name = anchor == Anchor::Start ? "start" : anchor == Anchor::Middle ? "middle" : "end";
    body_ += "<text" + attribute("x", at.x) + attribute("y", at.y) + attribute("class", look) +
             attribute("text-anchor", name) + ">" + escaped(text) + "</text>\n";
}

void Svg::text_upwards(Point at, std::string_view text, std::string_view look)
{
    const std::string place = fixed(at.x, kDigits) + " " + fixed(at.y, kDigits);
    body_ += "<text" + attribute("transform", "translate(" + place + ") rotate(-90)") + attribute("class", look) +
             attribute("text-anchor", "middle") + ">" + escaped(text) + "</text>\n";
}

void Svg::image(const Box& box, std::string_view data_address)
{
    body_ += "<image" + extent(box) + attribute("preserveAspectRatio", "none") +
             attribute("xlink:href", data_address) + "/>\n";
}

}  // namespace zelsr::examples
