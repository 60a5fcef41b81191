#include "companions/html.h"

#include <gtest/gtest.h>

#include <array>
#include <sstream>

namespace quarrypack::companions {
namespace {

// What a function writes.
template <class Write>
std::string written(Write write) {
  std::ostringstream out;
  Html html(out);
  write(html);
  return out.str();
}

TEST(HtmlText, EscapesWhatHasAMeaning) {
  EXPECT_EQ(htmlText("a < b > c & \"d\" 'e'"), "a &lt; b &gt; c &amp; &quot;d&quot; &#39;e&#39;");
  EXPECT_EQ(htmlText("é ♪ 𝄞"), "é ♪ 𝄞");
  EXPECT_EQ(htmlText(""), "");
}

TEST(HtmlText, ReplacesControlCharactersButTheLineFeed) {
  EXPECT_EQ(htmlText("a\nb"), "a&#10;b");
  EXPECT_EQ(htmlText(std::string_view("\0\t\x1F\x7F", 4)), "\uFFFD\uFFFD\uFFFD\uFFFD");
  EXPECT_EQ(htmlText("\u0080\u009F\u00A0"), "\uFFFD\uFFFD\u00A0");
}

TEST(HtmlText, ReplacesWhatWritesBackwards) {
  EXPECT_EQ(htmlText("a\u202Eb"), "a\uFFFDb");
  EXPECT_EQ(htmlText("\u202A\u2066\u2069"), "\uFFFD\uFFFD\uFFFD");
  EXPECT_EQ(htmlText("\u2029\u202F\u2065\u206A"), "\u2029\u202F\u2065\u206A");
}

TEST(HtmlText, ReplacesBytesThatAreNotUtf8) {
  const std::string_view replacement = "\uFFFD";
  for (const std::string_view bytes : {"\x80", "\xC1", "\xF5", "\xFF", "\xC3", "\xE2", "\xF0"}) {
    EXPECT_EQ(htmlText(bytes), replacement);
  }
  // A character that is cut off, an overlong one, a surrogate, and one past the last.
  EXPECT_EQ(htmlText("\xE2\x99"), "\uFFFD\uFFFD");
  EXPECT_EQ(htmlText("\xE0\x80\xBC"), "\uFFFD\uFFFD\uFFFD");
  EXPECT_EQ(htmlText("\xED\xA0\x80"), "\uFFFD\uFFFD\uFFFD");
  EXPECT_EQ(htmlText("\xF4\x90\x80\x80"), "\uFFFD\uFFFD\uFFFD\uFFFD");
  EXPECT_EQ(htmlText("\xC3<"), "\uFFFD&lt;");
}

TEST(Html, EndsElementsWithTheirScope) {
  EXPECT_EQ(written([](Html& html) {
              const auto list = html.element("ul", {{"class", "a\"b"}});
              html.leaf("li", "<x>", {{"id", "1"}});
              html.empty("hr");
              html.text("y & z");
            }),
            "<ul class=\"a&quot;b\"><li id=\"1\">&lt;x&gt;</li><hr/>y &amp; z</ul>\n");
}

TEST(Html, BreaksLines) {
  const auto lines = [](std::string_view text) {
    return written([text](Html& html) { html.lines(text); });
  };
  EXPECT_EQ(lines("one"), "one");
  EXPECT_EQ(lines("a<\n\nb"), "a&lt;<br/><br/>b");
}

TEST(HtmlTable, LabelsItsCells) {
  constexpr std::array<std::string_view, 2> kColumns = {"Name", "Size"};
  EXPECT_EQ(written([&](Html& html) {
              HtmlTable table(html, kColumns);
              for (const char* name : {"a", "b"}) {
                const auto row = table.row();
                table.header(name);
                table.cell("1");
              }
            }),
            "<table><thead><tr><th scope=\"col\">Name</th><th scope=\"col\">Size</th></tr>\n"
            "</thead>\n<tbody>"
            "<tr><th scope=\"row\">a</th><td data-label=\"Size\">1</td>\n</tr>\n"
            "<tr><th scope=\"row\">b</th><td data-label=\"Size\">1</td>\n</tr>\n"
            "</tbody>\n</table>\n");
}

TEST(HtmlTable, NeedsNoColumns) {
  EXPECT_EQ(written([](Html& html) {
              HtmlTable table(html);
              const auto row = table.row();
              table.header("File");
              table.cell("a\nb");
            }),
            "<table><tbody><tr><th scope=\"row\">File</th><td>a<br/>b</td>\n</tr>\n"
            "</tbody>\n</table>\n");
}

TEST(HtmlPage, IsCompleteAndLoadsNothing) {
  std::ostringstream out;
  writeHtmlPage(out, "a<b", ".own {}\n", [](Html& html) { html.leaf("p", "text"); });
  const std::string page = out.str();
  EXPECT_TRUE(page.starts_with("<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset="));
  EXPECT_TRUE(page.ends_with("<body><p>text</p></body>\n</html>\n"));
  EXPECT_NE(page.find("<title>a&lt;b</title>"), std::string::npos);
  EXPECT_NE(page.find(".own {}\n</style>"), std::string::npos);
  EXPECT_NE(page.find("content=\"default-src 'none';"), std::string::npos);
  EXPECT_NE(page.find("name=\"viewport\""), std::string::npos);
  EXPECT_EQ(page.find("<script"), std::string::npos);
  EXPECT_EQ(page.find("http:"), std::string::npos);
  EXPECT_EQ(page.find("https:"), std::string::npos);
  EXPECT_EQ(page.find("url("), std::string::npos);
}

}  // namespace
}  // namespace quarrypack::companions
