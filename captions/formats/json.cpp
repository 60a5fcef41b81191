#include "captions/formats/json.h"

#include <nlohmann/json.hpp>

#include <ostream>
#include <string>

namespace quarrypack::captions {
namespace {

using Json = nlohmann::ordered_json;

std::string dumped(const Json& value) {
  return value.dump(-1, ' ', false, Json::error_handler_t::replace);
}

Json runJson(const CueRun& run) {
  return {{"text", run.text},
          {"color", colorName(run.color)},
          {"italic", run.italic},
          {"underline", run.underline}};
}

Json rowJson(const CueRow& row) {
  Json runs = Json::array();
  for (const CueRun& run : row.runs) runs.push_back(runJson(run));
  return {{"row", row.row}, {"column", row.column}, {"runs", std::move(runs)}};
}

double seconds(std::int64_t milliseconds) { return static_cast<double>(milliseconds) / 1000; }

Json cueJson(const Cue& cue) {
  const CueMilliseconds times = cueMilliseconds(cue);
  Json rows = Json::array();
  for (const CueRow& row : cue.rows) rows.push_back(rowJson(row));
  return {{"start", seconds(times.start)},
          {"end", seconds(times.end)},
          {"mode", modeName(cue.mode)},
          {"rows", std::move(rows)}};
}

// Converts cues one at a time: a document of all of them takes many times their memory.
void writeChannel(const ChannelCues& channel, std::ostream& out) {
  out << "{\"channel\":" << dumped(channelName(channel.channel))
      << ",\"mode\":" << dumped(modeName(usualMode(channel.cues))) << ",\"cues\":[";
  const char* separator = "\n";
  for (const Cue& cue : channel.cues) {
    out << separator << dumped(cueJson(cue));
    separator = ",\n";
  }
  out << "\n]}";
}

}  // namespace

void writeJson(std::string_view file, std::string_view source,
               const std::vector<ChannelCues>& channels, std::ostream& out) {
  out << "{\"file\":" << dumped(file) << ",\"source\":" << dumped(source) << ",\"channels\":[";
  const char* separator = "\n";
  for (const ChannelCues& channel : channels) {
    out << separator;
    writeChannel(channel, out);
    separator = ",\n";
  }
  out << "\n]}\n";
}

}  // namespace quarrypack::captions
