#include "captions/formats/srt.h"

#include <array>
#include <ostream>
#include <string>

namespace quarrypack::captions {
namespace {

constexpr std::array<std::string_view, 8> kRgb = {"#ffffff", "#00ff00", "#0000ff", "#00ffff",
                                                  "#ff0000", "#ffff00", "#ff00ff", "#000000"};

// SubRip has no escapes: caption text that looks like a tag is left unchanged.
std::string styled(const CueRun& run) {
  std::string text = run.text;
  if (run.underline) text = "<u>" + text + "</u>";
  if (run.italic) text = "<i>" + text + "</i>";
  if (run.color == Color::white) return text;
  const std::string_view rgb = kRgb.at(static_cast<std::size_t>(run.color));
  return "<font color=\"" + std::string(rgb) + "\">" + text + "</font>";
}

void writeCue(std::size_t number, const Cue& cue, std::ostream& out) {
  const CueMilliseconds times = cueMilliseconds(cue);
  out << number << '\n'
      << clockText(times.start, ',') << " --> " << clockText(times.end, ',') << '\n';
  for (const CueRow& row : cue.rows) {
    for (const CueRun& run : row.runs) out << styled(run);
    out << '\n';
  }
}

}  // namespace

void writeSrt(const std::vector<Cue>& cues, std::ostream& out) {
  std::size_t number = 0;
  for (const Cue& cue : cues) {
    if (number > 0) out << '\n';
    writeCue(++number, cue, out);
  }
}

}  // namespace quarrypack::captions
