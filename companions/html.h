#pragma once

#include <functional>
#include <initializer_list>
#include <iosfwd>
#include <span>
#include <string>
#include <string_view>

// Pages of HTML for the reports of the companions.
namespace quarrypack::companions {

// Text as the content of an element or the value of a quoted attribute. U+FFFD replaces each byte
// that is not UTF-8, each control character but the line feed, and each character that changes the
// direction of text.
std::string htmlText(std::string_view text);

// An attribute; its value is escaped when it is written. Both texts must live until then.
struct HtmlAttribute {
  std::string_view name;
  std::string_view value;
};
using HtmlAttributes = std::initializer_list<HtmlAttribute>;

// Writes HTML straight to a stream, which must outlive it. All text is escaped and every element
// gets its end tag, so no content can break the page:
//
//     const auto list = html.element("ul", {{"class", "files"}});
//     html.leaf("li", file);
class Html {
 public:
  // An element that ends with its scope.
  class Element {
   public:
    Element(const Element&) = delete;
    Element& operator=(const Element&) = delete;
    ~Element();

   private:
    friend class Html;
    Element(std::ostream& out, std::string_view name) : out_(out), name_(name) {}

    std::ostream& out_;
    std::string_view name_;
  };

  explicit Html(std::ostream& out) : out_(out) {}

  // Begins an element. The name must live as long as the element.
  [[nodiscard]] Element element(std::string_view name, HtmlAttributes attributes = {});
  // A complete element that contains only text.
  void leaf(std::string_view name, std::string_view text, HtmlAttributes attributes = {});
  // An element without content, such as a line break or a shape.
  void empty(std::string_view name, HtmlAttributes attributes = {});
  void text(std::string_view text);
  // Text with a line break for each line feed.
  void lines(std::string_view text);

 private:
  void startTag(std::string_view name, HtmlAttributes attributes);

  std::ostream& out_;
};

// A table whose rows become blocks with labelled lines on a narrow screen. It ends with its scope.
class HtmlTable {
 public:
  // The columns must live as long as the table. Without columns the table has no head: the first
  // cell of each row is then the only header.
  explicit HtmlTable(Html& html, std::span<const std::string_view> columns = {});

  [[nodiscard]] Html::Element row(HtmlAttributes attributes = {});
  // The next cell of the current row: the header of the row, lines of text, or anything.
  void header(std::string_view text);
  void cell(std::string_view text);
  [[nodiscard]] Html::Element openCell();

 private:
  Html::Element body();
  std::string_view nextLabel();

  Html& html_;
  std::span<const std::string_view> columns_;
  std::size_t next_ = 0;  // column
  Html::Element table_;
  Html::Element body_;
};

// Writes a complete page. It loads nothing from elsewhere, runs no script, and forbids browsers
// both. It is legible on paper and on narrow screens, in light and dark colour schemes. The style
// sheet is added to the common one and must not contain "</style".
void writeHtmlPage(std::ostream& out, std::string_view title, std::string_view style,
                   const std::function<void(Html&)>& body);

}  // namespace quarrypack::companions
