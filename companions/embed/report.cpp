#include "companions/embed/report.h"

#include <array>
#include <sstream>
#include <string_view>
#include <utility>
#include <vector>

#include "captions/cea608.h"
#include "captions/cue.h"
#include "captions/formats/json_text.h"
#include "captions/time.h"
#include "companions/html.h"

namespace quarrypack::companions {

namespace {

using captions::jsonOf;

std::string captionList(const embed::EmbedResult& result) {
  std::vector<std::string> list;
  for (const captions::ChannelCues& channel : result.cues) {
    for (const captions::Cue& cue : channel.cues) {
      const captions::CueMilliseconds times = captions::cueMilliseconds(cue);
      list.push_back(
          captions::jsonObject({{"channel", jsonOf(captions::channelName(channel.channel))},
                                {"start", jsonOf(static_cast<double>(times.start) / 1000)},
                                {"end", jsonOf(static_cast<double>(times.end) / 1000)},
                                {"text", jsonOf(captions::textOf(cue))}},
                               captions::kSpacedJson));
    }
  }
  return captions::jsonArray(list, ",\n    ");
}

std::string jsonText(const EmbedOptions& options, const embed::EmbedResult& result) {
  return captions::jsonObject({{"input", jsonOf(options.input)},
                               {"output", jsonOf(options.output)},
                               {"verified", jsonOf(options.verify)},
                               {"captions", jsonOf(result.captions)},
                               {"pairs", jsonOf(result.pairs)},
                               {"lostPairs", jsonOf(result.lostPairs)},
                               {"pictures", jsonOf(result.pictures)},
                               {"captionedPictures", jsonOf(result.captionedPictures)},
                               {"replacedPictures", jsonOf(result.replacedPictures)},
                               {"captionList", captionList(result)}},
                              captions::kJsonInLines) +
         '\n';
}

void writeNumbers(Html& html, const EmbedOptions& options, const embed::EmbedResult& result) {
  const std::vector<std::pair<std::string_view, std::string>> rows = {
      {"Input", options.input},
      {"Output", options.output},
      {"Verified", options.verify ? "yes" : "no"},
      {"Captions", std::to_string(result.captions)},
      {"Pairs in pictures", std::to_string(result.pairs)},
      {"Pairs lost", std::to_string(result.lostPairs)},
      {"Pictures", std::to_string(result.pictures)},
      {"Pictures that got a unit", std::to_string(result.captionedPictures)},
      {"Pictures that had captions before", std::to_string(result.replacedPictures)}};
  HtmlTable table(html);
  for (const auto& [name, value] : rows) {
    const auto row = table.row();
    table.header(name);
    table.cell(value);
  }
}

void writeCaptions(Html& html, const embed::EmbedResult& result) {
  constexpr std::array<std::string_view, 4> kColumns = {"Channel", "Start", "End", "Text"};
  HtmlTable table(html, kColumns);
  for (const captions::ChannelCues& channel : result.cues) {
    for (const captions::Cue& cue : channel.cues) {
      const captions::CueMilliseconds times = captions::cueMilliseconds(cue);
      const auto row = table.row();
      table.cell(captions::channelName(channel.channel));
      table.cell(captions::clockText(times.start, '.'));
      table.cell(captions::clockText(times.end, '.'));
      table.cell(captions::textOf(cue));
    }
  }
}

std::string htmlPage(const EmbedOptions& options, const embed::EmbedResult& result) {
  std::ostringstream page;
  writeHtmlPage(page, "quarrypack-embed: " + options.output, "", [&](Html& html) {
    const auto main = html.element("main");
    html.leaf("h1", "Captions in the pictures");
    writeNumbers(html, options, result);
    html.leaf("h2", "Captions");
    writeCaptions(html, result);
  });
  return std::move(page).str();
}

}  // namespace

std::string reportText(const EmbedOptions& options, const embed::EmbedResult& result) {
  return options.reportFormat == ReportFormat::html ? htmlPage(options, result)
                                                    : jsonText(options, result);
}

}  // namespace quarrypack::companions
