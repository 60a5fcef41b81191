#include "companions/embed/report.h"

#include <gtest/gtest.h>

#include <chrono>
#include <string>

namespace quarrypack::companions {
namespace {

EmbedOptions optionsOf(ReportFormat format) {
  EmbedOptions options;
  options.input = "<a>\xFF.mov";
  options.output = "b&c.mp4";
  options.reportFormat = format;
  return options;
}

embed::EmbedResult result() {
  using std::chrono::seconds;
  const captions::CueRow first{14, 0, {{"1 < 2", captions::Color::white, false, false}}};
  const captions::CueRow second{15, 0, {{"\"so\"", captions::Color::red, true, false}}};
  embed::EmbedResult made;
  made.captions = 1;
  made.cues = {{captions::Channel::cc1,
                {{seconds(1), seconds(3), captions::CaptionMode::popOn, {first, second}}}}};
  return made;
}

TEST(EmbedReport, EscapesItsTextsInHtml) {
  const std::string page = reportText(optionsOf(ReportFormat::html), result());
  for (const char* const part :
       {"<title>quarrypack-embed: b&amp;c.mp4</title>",
        "<th scope=\"row\">Input</th><td>&lt;a&gt;\uFFFD.mov</td>",
        "<td data-label=\"Start\">00:00:01.000</td>\n<td data-label=\"End\">00:00:03.000</td>\n"
        "<td data-label=\"Text\">1 &lt; 2<br/>&quot;so&quot;</td>"}) {
    EXPECT_NE(page.find(part), std::string::npos) << part << "\n" << page;
  }
}

TEST(EmbedReport, IsADocumentInJsonToo) {
  const std::string json = reportText(optionsOf(ReportFormat::json), result());
  EXPECT_NE(json.find("\"input\": \"<a>\uFFFD.mov\""), std::string::npos) << json;
  EXPECT_NE(json.find("\"text\": \"1 < 2\\n\\\"so\\\"\""), std::string::npos) << json;
}

}  // namespace
}  // namespace quarrypack::companions
