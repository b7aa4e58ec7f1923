// Writes HTML pages that stand alone in one file and are well-formed XML too.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "common/svg.h"

namespace zelsr::examples {

// Looks come from the style sheet by class name.
class Html {
  public:
    // The style sheet's text holds no '<' and no '&', which mean one thing in XML and another in HTML.
    Html(std::string_view title, std::string_view style_sheet);

    // What is added while it lives stands inside an element.
    class [[nodiscard]] Element {
      public:
        Element(Html& page, std::string_view tag) : page_(page), tag_(tag) {}
        Element(const Element&) = delete;
        Element& operator=(const Element&) = delete;
        ~Element() { page_.body_.append("</").append(tag_).append(">\n"); }

      private:
        Html& page_;
        std::string tag_;
    };
    Element inside(std::string_view tag, std::string_view look = {}, std::string_view id = {});

    void element(std::string_view tag, std::string_view text, std::string_view look = {});
    void text(std::string_view text);
    void link(std::string_view id, std::string_view text);  // to the page's element of that id
    void picture(const Svg& svg);

    struct Column {
        std::string name;
        bool number = true;  // to the right
    };
    struct Cell {
        std::string text;
        std::string look = {};
    };
    // A row's first cell names it. The caption stands above the table and does not move with it.
    void table(std::string_view caption, const std::vector<Column>& columns,
               const std::vector<std::vector<Cell>>& rows, std::string_view look = {});

    std::string finish() const { return body_ + "</body>\n</html>\n"; }

  private:
    std::string body_;
    int tables_ = 0;
};

}  // namespace zelsr::examples
