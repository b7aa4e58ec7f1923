#include "common/svg.h"

#include <cstdint>

#include "common/text.h"

namespace zelsr::examples {
namespace {

constexpr int kDigits = 2;

// Length of the UTF-8 character at the start of text, 0 if there is none that XML allows.
std::size_t character_length(std::string_view text)
{
    auto byte = [&](std::size_t i) { return i < text.size() ? static_cast<std::uint8_t>(text[i]) : 0u; };
    const unsigned first = byte(0);
    if (first < 0x80) return (first >= 0x20 && first != 0x7f) || first == '\n' ? 1 : 0;
    const std::size_t length = first >= 0xc2 && first < 0xe0   ? 2
                               : first >= 0xe0 && first < 0xf0 ? 3
                               : first >= 0xf0 && first < 0xf5 ? 4
                                                               : 0;
    std::uint32_t code = length == 0 ? 0 : first & (0x7fu >> length);
    for (std::size_t i = 1; i < length; ++i) {
        if ((byte(i) & 0xc0) != 0x80) return 0;
        code = code << 6 | (byte(i) & 0x3f);
    }
    const bool shortest = length != 3 || code >= 0x800;
    const bool in_range = length != 4 || (code >= 0x10000 && code <= 0x10ffff);
    const bool allowed = (code < 0xd800 || code > 0xdfff) && code != 0xfffe && code != 0xffff;
    return shortest && in_range && allowed ? length : 0;
}

// File names hold any bytes; what is no text becomes the replacement character.
std::string escaped(std::string_view text)
{
    std::string out;
    while (!text.empty()) {
        const std::size_t length = character_length(text);
        if (length == 0)
            out += "\xef\xbf\xbd";
        else if (text[0] == '&')
            out += "&amp;";
        else if (text[0] == '<')
            out += "&lt;";
        else if (text[0] == '>')
            out += "&gt;";
        else if (text[0] == '"')
            out += "&quot;";
        else
            out += text.substr(0, length);
        text.remove_prefix(length == 0 ? 1 : length);
    }
    return out;
}

std::string attribute(std::string_view name, std::string_view value)
{
    std::string out(1, ' ');
    return out.append(name).append("=\"").append(escaped(value)).append("\"");
}

std::string attribute(std::string_view name, double value) { return attribute(name, fixed(value, kDigits)); }

std::string extent(const Box& box)
{
    return attribute("x", box.x) + attribute("y", box.y) + attribute("width", box.width) +
           attribute("height", box.height);
}

}  // namespace

Svg::Svg(double width, double height, std::string_view style_sheet)
{
    const std::string size = fixed(width, kDigits) + " " + fixed(height, kDigits);
    body_ =
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<svg xmlns=\"http://www.w3.org/2000/svg\" "
        "xmlns:xlink=\"http://www.w3.org/1999/xlink\"" +
        attribute("width", width) + attribute("height", height) + attribute("viewBox", "0 0 " + size) +
        ">\n<style>\n" + escaped(style_sheet) + "</style>\n";
}

void Svg::begin_group(std::string_view name, const Box* clip)
{
    if (clip == nullptr) {
        body_ += "<g" + attribute("class", name) + ">\n";
        return;
    }
    const std::string id = "clip" + std::to_string(++clips_);
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
