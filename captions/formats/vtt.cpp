#include "captions/formats/vtt.h"

#include <array>
#include <ostream>
#include <span>
#include <string>

namespace quarrypack::captions {
namespace {

// The classes that need no style sheet. CEA-608's green is called lime there.
constexpr std::array<std::string_view, 8> kColorClasses = {"white", "lime",   "blue",    "cyan",
                                                           "red",   "yellow", "magenta", "black"};

std::string escaped(std::string_view text) {
  std::string result;
  for (const char letter : text) {
    switch (letter) {
      case '&':
        result += "&amp;";
        break;
      case '<':
        result += "&lt;";
        break;
      case '>':
        result += "&gt;";
        break;
      default:
        result += letter;
    }
  }
  return result;
}

std::string styled(const CueRun& run) {
  std::string text = escaped(run.text);
  if (run.underline) text = "<u>" + text + "</u>";
  if (run.italic) text = "<i>" + text + "</i>";
  if (run.color == Color::white) return text;
  const std::string_view color = kColorClasses.at(static_cast<std::size_t>(run.color));
  return "<c." + std::string(color) + '>' + text + "</c>";
}

// For example "12.5%", from hundredths of a percent.
std::string percent(int hundredths) {
  std::string text = std::to_string(hundredths / 100);
  if (const int rest = hundredths % 100; rest != 0) {
    text += '.' + std::to_string(rest / 10);
    if (rest % 10 != 0) text += std::to_string(rest % 10);
  }
  return text + '%';
}

std::string settings(const CueRow& first) {
  return "line:" + percent(1000 + 533 * (first.row - 1)) +
         " position:" + percent(1000 + 250 * first.column) + " align:left";
}

// The first rows, while they are consecutive and in one column.
std::span<const CueRow> firstBlock(std::span<const CueRow> rows) {
  std::size_t count = 1;
  while (count < rows.size() && rows[count].row == rows[count - 1].row + 1 &&
         rows[count].column == rows[0].column) {
    ++count;
  }
  return rows.first(count);
}

void writeBlock(const CueMilliseconds& times, std::span<const CueRow> rows, std::ostream& out) {
  out << '\n'
      << clockText(times.start, '.') << " --> " << clockText(times.end, '.') << ' '
      << settings(rows.front()) << '\n';
  for (const CueRow& row : rows) {
    for (const CueRun& run : row.runs) out << styled(run);
    out << '\n';
  }
}

}  // namespace

void writeVtt(const std::vector<Cue>& cues, std::ostream& out) {
  out << "WEBVTT\n";
  for (const Cue& cue : cues) {
    std::span<const CueRow> rows = cue.rows;
    while (!rows.empty()) {
      const auto block = firstBlock(rows);
      writeBlock(cueMilliseconds(cue), block, out);
      rows = rows.subspan(block.size());
    }
  }
}

}  // namespace quarrypack::captions
