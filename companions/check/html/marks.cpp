#include "companions/check/html/marks.h"

#include <string_view>

namespace quarrypack::companions {

using check::Severity;

namespace {

std::string markId(Severity severity) {
  return "mark-" + std::string(check::severityName(severity));
}

// The class gives the shape its colour.
void define(Html& html, Severity severity, std::string_view path) {
  html.empty("path",
             {{"id", markId(severity)}, {"class", check::severityName(severity)}, {"d", path}});
}

}  // namespace

void defineMarks(Html& html) {
  const auto shapes = html.element(
      "svg", {{"width", "0"}, {"height", "0"}, {"aria-hidden", "true"}, {"class", "shapes"}});
  const auto definitions = html.element("defs");
  define(html, Severity::error, "M-6-4-4-6 0-2 4-6 6-4 2 0 6 4 4 6 0 2-4 6-6 4-2 0z");
  define(html, Severity::warning, "M0-6 6 5H-6z");
  define(html, Severity::info,
         "M0-5A5 5 0 0 1 0 5 5 5 0 0 1 0-5zM0-3A3 3 0 0 0 0 3 3 3 0 0 0 0-3z");
}

std::string markReference(Severity severity) { return '#' + markId(severity); }

void writeMark(Html& html, Severity severity) {
  const auto mark =
      html.element("svg", {{"class", "mark"}, {"viewBox", "-6 -6 12 12"}, {"aria-hidden", "true"}});
  html.empty("use", {{"href", markReference(severity)}});
}

}  // namespace quarrypack::companions
