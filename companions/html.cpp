#include "companions/html.h"

#include <algorithm>
#include <ostream>

namespace quarrypack::companions {
namespace {

constexpr std::string_view kReplacement = "\uFFFD";

bool isContinuation(std::string_view text, std::size_t at, unsigned low, unsigned high) {
  if (at >= text.size()) return false;
  const auto byte = static_cast<unsigned char>(text[at]);
  return byte >= low && byte <= high;
}

// The length of the UTF-8 character at the beginning of a text that is not empty; 0 if there is
// none. Overlong forms, surrogates and code points over U+10FFFF are not characters.
std::size_t characterLength(std::string_view text) {
  constexpr unsigned kLow = 0x80;
  constexpr unsigned kHigh = 0xBF;
  const auto first = static_cast<unsigned char>(text.front());
  if (first < 0x80) return 1;
  if (first < 0xC2 || first > 0xF4) return 0;
  const unsigned low = first == 0xE0 ? 0xA0 : first == 0xF0 ? 0x90 : kLow;
  const unsigned high = first == 0xED ? 0x9F : first == 0xF4 ? 0x8F : kHigh;
  if (!isContinuation(text, 1, low, high)) return 0;
  const std::size_t length = first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
  for (std::size_t at = 2; at < length; ++at) {
    if (!isContinuation(text, at, kLow, kHigh)) return 0;
  }
  return length;
}

// Control characters that a page must not contain, and those that reverse text: they can make the
// name of a file look like another one.
bool isUnwanted(std::string_view character) {
  constexpr char kDelete = 0x7F;
  constexpr std::string_view kFirstPrintable = " ";
  constexpr std::string_view kLastC1 = "\u009F";
  if (character.size() == 1) return character < kFirstPrintable || character.front() == kDelete;
  if (character.size() == 2) return character <= kLastC1;
  return (character >= "\u202A" && character <= "\u202E") ||
         (character >= "\u2066" && character <= "\u2069");
}

std::string_view escaped(std::string_view character) {
  switch (character.front()) {
    case '&':
      return "&amp;";
    case '<':
      return "&lt;";
    case '>':
      return "&gt;";
    case '"':
      return "&quot;";
    case '\'':
      return "&#39;";
    case '\n':
      return "&#10;";
    default:
      return isUnwanted(character) ? kReplacement : character;
  }
}

// The length of the part before the first character that might have to be replaced: most texts
// are plain from end to end.
std::size_t plainLength(std::string_view text) {
  const auto isPlain = [](char c) {
    return c >= ' ' && c < '\x7F' && c != '&' && c != '<' && c != '>' && c != '"' && c != '\'';
  };
  return static_cast<std::size_t>(std::find_if_not(text.begin(), text.end(), isPlain) -
                                  text.begin());
}

// Texts and their backgrounds differ by at least 4.5 to 1 in both schemes.
constexpr std::string_view kPageStyle = R"(
:root { color-scheme: light dark; --ink: #1b1f24; --soft: #57606a; --paper: #fff; --panel: #f4f6f8;
  --line: #c8d0d8; }
@media (prefers-color-scheme: dark) {
  :root { --ink: #e6edf3; --soft: #9aa7b4; --paper: #10151b; --panel: #19212a; --line: #38434e; } }
* { box-sizing: border-box; }
body { margin: 0 auto; max-width: 76rem; padding: 1.5rem; background: var(--paper);
  color: var(--ink); font: 1rem/1.5 system-ui, "Segoe UI", Roboto, "DejaVu Sans", sans-serif; }
h1 { font-size: 1.5rem; } h2 { font-size: 1.25rem; } h3 { font-size: 1rem; }
h1, h2, h3 { line-height: 1.25; margin: 2rem 0 0.75rem; } h1 { margin-top: 0; }
h1, td, p { overflow-wrap: anywhere; }
table { border-collapse: collapse; width: 100%; margin: 0 0 1rem; }
th, td { border: solid var(--line); border-width: 1px 0; padding: 0.4rem 0.75rem 0.4rem 0;
  text-align: left; vertical-align: top; }
thead th { color: var(--soft); }
@media screen and (max-width: 44rem) {
  body { padding: 1rem; }
  tr { display: block; border: solid var(--line); border-width: 1px 0; padding: 0.4rem 0; }
  thead { display: none; }
  th, td { display: block; border: 0; padding: 0.1rem 0; }
  [data-label]::before { content: attr(data-label) ": "; color: var(--soft); font-weight: normal; } }
@page { margin: 15mm; }
@media print {
  :root { color-scheme: light; --ink: #000; --soft: #444; --paper: #fff; --panel: #fff;
    --line: #999; }
  body { max-width: none; padding: 0; font-size: 10pt; }
  h1, h2, h3 { break-after: avoid; } tr { break-inside: avoid; } }
)";

}  // namespace

std::string htmlText(std::string_view text) {
  std::string html;
  while (true) {
    const std::size_t plain = plainLength(text);
    html += text.substr(0, plain);
    text.remove_prefix(plain);
    if (text.empty()) return html;
    const std::size_t length = characterLength(text);
    html += length == 0 ? kReplacement : escaped(text.substr(0, length));
    text.remove_prefix(std::max<std::size_t>(length, 1));
  }
}

Html::Element::~Element() { out_ << "</" << name_ << ">\n"; }

void Html::startTag(std::string_view name, HtmlAttributes attributes) {
  out_ << '<' << name;
  for (const HtmlAttribute& attribute : attributes) {
    out_ << ' ' << attribute.name << "=\"" << htmlText(attribute.value) << '"';
  }
}

Html::Element Html::element(std::string_view name, HtmlAttributes attributes) {
  startTag(name, attributes);
  out_ << '>';
  return {out_, name};
}

void Html::leaf(std::string_view name, std::string_view text, HtmlAttributes attributes) {
  startTag(name, attributes);
  out_ << '>' << htmlText(text) << "</" << name << '>';
}

void Html::empty(std::string_view name, HtmlAttributes attributes) {
  startTag(name, attributes);
  out_ << "/>";
}

void Html::text(std::string_view text) { out_ << htmlText(text); }

void Html::lines(std::string_view text) {
  for (std::size_t end; (end = text.find('\n')) != std::string_view::npos;) {
    this->text(text.substr(0, end));
    empty("br");
    text.remove_prefix(end + 1);
  }
  this->text(text);
}

HtmlTable::HtmlTable(Html& html, std::span<const std::string_view> columns)
    : html_(html), columns_(columns), table_(html.element("table")), body_(body()) {}

Html::Element HtmlTable::body() {
  if (!columns_.empty()) {
    const auto head = html_.element("thead");
    const auto line = html_.element("tr");
    for (const std::string_view column : columns_) html_.leaf("th", column, {{"scope", "col"}});
  }
  return html_.element("tbody");
}

Html::Element HtmlTable::row(HtmlAttributes attributes) {
  next_ = 0;
  return html_.element("tr", attributes);
}

std::string_view HtmlTable::nextLabel() {
  return next_ < columns_.size() ? columns_[next_++] : std::string_view();
}

void HtmlTable::header(std::string_view text) {
  nextLabel();
  html_.leaf("th", text, {{"scope", "row"}});
}

void HtmlTable::cell(std::string_view text) {
  const auto cell = openCell();
  html_.lines(text);
}

Html::Element HtmlTable::openCell() {
  const std::string_view label = nextLabel();
  if (label.empty()) return html_.element("td");
  return html_.element("td", {{"data-label", label}});
}

void writeHtmlPage(std::ostream& out, std::string_view title, std::string_view style,
                   const std::function<void(Html&)>& body) {
  out << "<!DOCTYPE html>\n"
         "<html lang=\"en\">\n"
         "<head>\n"
         "<meta charset=\"utf-8\">\n"
         "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; "
         "style-src 'unsafe-inline'; img-src data:\">\n"
         "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
         // Without this line a server would be asked for an icon.
         "<link rel=\"icon\" href=\"data:,\">\n"
         "<title>"
      << htmlText(title) << "</title>\n<style>" << kPageStyle << style << "</style>\n</head>\n";
  Html html(out);
  {
    const auto content = html.element("body");
    body(html);
  }
  out << "</html>\n";
}

}  // namespace quarrypack::companions
