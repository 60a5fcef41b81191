#include "companions/embed/report.h"

#include <nlohmann/json.hpp>
#include <string_view>
#include <utility>
#include <vector>

#include "captions/cea608.h"
#include "captions/cue.h"
#include "captions/formats/json_text.h"
#include "captions/time.h"

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

// Text as it is written in HTML, invalid UTF-8 replaced.
std::string escaped(const std::string& text) {
  std::string html;
  // A trip through the JSON writer replaces what is no UTF-8.
  const std::string valid = nlohmann::json::parse(jsonOf(text)).get<std::string>();
  for (const char c : valid) {
    switch (c) {
      case '&':
        html += "&amp;";
        break;
      case '<':
        html += "&lt;";
        break;
      case '>':
        html += "&gt;";
        break;
      case '"':
        html += "&quot;";
        break;
      case '\n':
        html += "<br>";
        break;
      default:
        html += c;
    }
  }
  return html;
}

std::string row(const std::vector<std::string>& cells, std::string_view tag) {
  std::string html = "<tr>";
  for (const std::string& cell : cells) {
    html.append("<").append(tag).append(">").append(escaped(cell));
    html.append("</").append(tag).append(">");
  }
  return html + "</tr>\n";
}

std::string numberRows(const EmbedOptions& options, const embed::EmbedResult& result) {
  const std::vector<std::pair<std::string, std::string>> rows = {
      {"Input", options.input},
      {"Output", options.output},
      {"Verified", options.verify ? "yes" : "no"},
      {"Captions", std::to_string(result.captions)},
      {"Pairs in pictures", std::to_string(result.pairs)},
      {"Pairs lost", std::to_string(result.lostPairs)},
      {"Pictures", std::to_string(result.pictures)},
      {"Pictures that got a unit", std::to_string(result.captionedPictures)},
      {"Pictures that held captions before", std::to_string(result.replacedPictures)}};
  std::string html;
  for (const auto& [name, value] : rows) html += row({name, value}, "td");
  return html;
}

std::string captionRows(const embed::EmbedResult& result) {
  std::string html;
  for (const captions::ChannelCues& channel : result.cues) {
    for (const captions::Cue& cue : channel.cues) {
      const captions::CueMilliseconds times = captions::cueMilliseconds(cue);
      html += row({std::string(captions::channelName(channel.channel)),
                   captions::clockText(times.start, '.'), captions::clockText(times.end, '.'),
                   captions::textOf(cue)},
                  "td");
    }
  }
  return html;
}

std::string htmlText(const EmbedOptions& options, const embed::EmbedResult& result) {
  return "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
         "<title>quarrypack-embed: " +
         escaped(options.output) +
         "</title>\n<style>\nbody { font-family: sans-serif; margin: 2em; }\n"
         "table { border-collapse: collapse; margin-bottom: 2em; }\n"
         "td, th { border: 1px solid #999; padding: 0.3em 0.6em; text-align: left; "
         "vertical-align: top; }\n</style>\n</head>\n<body>\n"
         "<h1>Captions in the pictures</h1>\n<table>\n" +
         numberRows(options, result) + "</table>\n<table>\n" +
         row({"Channel", "Start", "End", "Text"}, "th") + captionRows(result) +
         "</table>\n</body>\n</html>\n";
}

}  // namespace

std::string reportText(const EmbedOptions& options, const embed::EmbedResult& result) {
  return options.reportFormat == ReportFormat::html ? htmlText(options, result)
                                                    : jsonText(options, result);
}

}  // namespace quarrypack::companions
