#include "captions/formats/json.h"

#include <ostream>
#include <string>
#include <vector>

#include "captions/formats/json_text.h"

namespace quarrypack::captions {
namespace {

std::string runJson(const CueRun& run) {
  return jsonObject({{"text", jsonOf(run.text)},
                     {"color", jsonOf(colorName(run.color))},
                     {"italic", jsonOf(run.italic)},
                     {"underline", jsonOf(run.underline)}});
}

std::string rowJson(const CueRow& row) {
  std::vector<std::string> runs;
  for (const CueRun& run : row.runs) runs.push_back(runJson(run));
  return jsonObject(
      {{"row", jsonOf(row.row)}, {"column", jsonOf(row.column)}, {"runs", jsonArray(runs)}});
}

double seconds(std::int64_t milliseconds) { return static_cast<double>(milliseconds) / 1000; }

std::string cueJson(const Cue& cue) {
  const CueMilliseconds times = cueMilliseconds(cue);
  std::vector<std::string> rows;
  for (const CueRow& row : cue.rows) rows.push_back(rowJson(row));
  return jsonObject({{"start", jsonOf(seconds(times.start))},
                     {"end", jsonOf(seconds(times.end))},
                     {"mode", jsonOf(modeName(cue.mode))},
                     {"rows", jsonArray(rows)}});
}

// Converts cues one at a time: a document of all of them takes many times their memory.
void writeChannel(const ChannelCues& channel, std::ostream& out) {
  out << "{\"channel\":" << jsonOf(channelName(channel.channel))
      << ",\"mode\":" << jsonOf(modeName(usualMode(channel.cues))) << ",\"cues\":[";
  const char* separator = "\n";
  for (const Cue& cue : channel.cues) {
    out << separator << cueJson(cue);
    separator = ",\n";
  }
  out << "\n]}";
}

}  // namespace

void writeJson(std::string_view file, std::string_view source,
               const std::vector<ChannelCues>& channels, std::ostream& out) {
  out << "{\"file\":" << jsonOf(file) << ",\"source\":" << jsonOf(source) << ",\"channels\":[";
  const char* separator = "\n";
  for (const ChannelCues& channel : channels) {
    out << separator;
    writeChannel(channel, out);
    separator = ",\n";
  }
  out << "\n]}\n";
}

}  // namespace quarrypack::captions
