#include "captions/cue.h"

#include <array>
#include <span>

#include "captions/characters608.h"

namespace quarrypack::captions {
namespace {

constexpr std::array<std::string_view, 8> kColorNames = {"white", "green",  "blue",    "cyan",
                                                         "red",   "yellow", "magenta", "black"};
constexpr std::array<std::string_view, 4> kModeNames = {"none", "pop-on", "roll-up", "paint-on"};

// The cells from the first to the last legible one.
std::span<const Cell> legiblePart(const ScreenRow& cells) {
  const auto isLegible = [](const Cell& cell) { return cell.isLegible(); };
  const auto first = std::find_if(cells.begin(), cells.end(), isLegible);
  const auto last = std::find_if(cells.rbegin(), cells.rend(), isLegible).base();
  return first == cells.end() ? std::span<const Cell>() : std::span<const Cell>(first, last);
}

bool hasStyle(const CueRun& run, const Style& style) {
  return run.color == style.color && run.italic == style.italic && run.underline == style.underline;
}

// A blank between two characters shows neither colour nor italics. It is plain if either neighbour
// is, so styled runs do not include the spaces around their words.
Style blankStyle(const Style& before, const Style& after) {
  if (before == after) return before;
  if (before == Style{} || after == Style{}) return {};
  if (!before.underline) return before;
  return after.underline ? Style{} : after;
}

// The part begins and ends with a legible cell.
Style styleAt(std::span<const Cell> part, std::size_t at) {
  const Cell& cell = part[at];
  if (cell.isLegible() || (cell.glyph != 0 && cell.style.underline)) return cell.style;
  const auto isLegible = [](const Cell& other) { return other.isLegible(); };
  const auto before =
      std::find_if(part.rend() - static_cast<std::ptrdiff_t>(at), part.rend(), isLegible);
  const auto after =
      std::find_if(part.begin() + static_cast<std::ptrdiff_t>(at), part.end(), isLegible);
  Style style = blankStyle(before->style, after->style);
  style.underline = false;
  return style;
}

}  // namespace

std::string_view colorName(Color color) { return kColorNames.at(static_cast<std::size_t>(color)); }

std::string_view modeName(CaptionMode mode) {
  return kModeNames.at(static_cast<std::size_t>(mode));
}

CaptionMode usualMode(const std::vector<Cue>& cues) {
  std::array<std::size_t, kModeNames.size()> counts{};
  CaptionMode usual = CaptionMode::none;
  const auto countOf = [&](CaptionMode mode) -> std::size_t& {
    return counts.at(static_cast<std::size_t>(mode));
  };
  for (const Cue& cue : cues) ++countOf(cue.mode);
  for (const Cue& cue : cues) {
    if (usual == CaptionMode::none || countOf(cue.mode) > countOf(usual)) usual = cue.mode;
  }
  return usual;
}

CueMilliseconds cueMilliseconds(const Cue& cue) {
  const std::int64_t start = std::max<std::int64_t>(milliseconds(cue.start), 0);
  return {start, std::max(milliseconds(cue.end), start + 1)};
}

std::string textOf(const CueRow& row) {
  std::string text;
  for (const CueRun& run : row.runs) text += run.text;
  return text;
}

std::string textOf(const Cue& cue) {
  std::string text;
  for (const CueRow& row : cue.rows) {
    if (!text.empty()) text += '\n';
    text += textOf(row);
  }
  return text;
}

CueRow cueRow(const ScreenRow& cells, int row) {
  CueRow result{row, 0, {}};
  const auto part = legiblePart(cells);
  if (part.empty()) return result;
  result.column = static_cast<int>(part.data() - cells.data());
  for (std::size_t at = 0; at < part.size(); ++at) {
    const Style style = styleAt(part, at);
    if (result.runs.empty() || !hasStyle(result.runs.back(), style)) {
      result.runs.push_back({{}, style.color, style.italic, style.underline});
    }
    appendUtf8(result.runs.back().text, part[at].glyph == 0 ? u' ' : part[at].glyph);
  }
  return result;
}

std::vector<CueRow> cueRows(const Screen& screen) {
  std::vector<CueRow> rows;
  for (int number = 1; number <= kRows; ++number) {
    CueRow row = cueRow(screen.row(number), number);
    if (!row.runs.empty()) rows.push_back(std::move(row));
  }
  return rows;
}

}  // namespace quarrypack::captions
