#include "common/html.h"

#include "common/markup.h"

namespace zelsr::examples {
namespace {

// What is wider than the page moves sideways within it, by the keyboard too.
constexpr std::string_view kWide = "<div class=\"wide\" tabindex=\"0\">\n";

// The class and the id, if there are any.
std::string marks(std::string_view look, std::string_view id = {})
{
    return (look.empty() ? "" : attribute("class", look)) + (id.empty() ? "" : attribute("id", id));
}

}  // namespace

Html::Html(std::string_view title, std::string_view style_sheet)
{
    body_ =
        "<!DOCTYPE html>\n<html xmlns=\"http://www.w3.org/1999/xhtml\" lang=\"en\">\n<head>\n"
        "<meta charset=\"utf-8\"/>\n<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\"/>\n"
        "<meta name=\"color-scheme\" content=\"light dark\"/>\n<title>" +
        escaped(title) + "</title>\n<style>\n";
    body_.append(style_sheet).append("</style>\n</head>\n<body>\n");
}

Html::Element Html::inside(std::string_view tag, std::string_view look, std::string_view id)
{
    body_.append("<").append(tag).append(marks(look, id)).append(">\n");
    return {*this, tag};
}

void Html::element(std::string_view tag, std::string_view text, std::string_view look)
{
    body_.append("<").append(tag).append(marks(look)).append(">").append(escaped(text));
    body_.append("</").append(tag).append(">\n");
}

void Html::text(std::string_view text) { body_ += escaped(text); }

void Html::link(std::string_view id, std::string_view text)
{
    body_ += "<a" + attribute("href", std::string("#").append(id)) + ">" + escaped(text) + "</a>\n";
}

void Html::picture(const Svg& svg) { body_.append(kWide).append(svg.finish()).append("</div>\n"); }

void Html::table(std::string_view caption, const std::vector<Column>& columns,
                 const std::vector<std::vector<Cell>>& rows, std::string_view look)
{
    const std::string id = "table" + std::to_string(++tables_);
    body_ += "<p" + marks("caption", id) + ">" + escaped(caption) + "</p>\n" + std::string(kWide) + "<table" +
             marks(look) + attribute("aria-labelledby", id) + ">\n<thead><tr>";
    for (const Column& column : columns)
        body_ += "<th scope=\"col\"" + marks(column.number ? "number" : "") + "><span>" + escaped(column.name) +
                 "</span></th>";
    body_ += "</tr></thead>\n<tbody>\n";
    for (const std::vector<Cell>& row : rows) {
        body_ += "<tr>";
        for (std::size_t i = 0; i < row.size(); ++i) {
            std::string looks = i > 0 && columns[i].number ? "number" : "";
            if (!row[i].look.empty()) looks += (looks.empty() ? "" : " ") + row[i].look;
            const std::string_view tag = i == 0 ? "th" : "td";
            body_.append("<").append(tag).append(i == 0 ? " scope=\"row\"" : "").append(marks(looks)).append(">");
            body_.append(escaped(row[i].text)).append("</").append(tag).append(">");
        }
        body_ += "</tr>\n";
    }
    body_ += "</tbody>\n</table>\n</div>\n";
}

}  // namespace zelsr::examples
