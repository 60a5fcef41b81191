#include "companions/check/html/cue_list.h"

#include <algorithm>
#include <cctype>
#include <string>
#include <vector>

#include "companions/texts.h"

namespace quarrypack::companions {
namespace {

using captions::ChannelCues;
using captions::Cue;
using captions::CueMilliseconds;
using captions::CueRow;
using captions::CueRun;

constexpr std::size_t kCuesInGroup = 60;

// The colours of the screen, on black. Pure blue is too dark there to be read, and black is shown
// on a light background.
constexpr std::string_view kStyle = R"(
details { margin: 0 0 0.75rem; }
summary { cursor: pointer; padding: 0.4rem 0; border-bottom: 1px solid var(--line); }
.cues { list-style: none; margin: 0.75rem 0; padding: 0; display: grid; gap: 1rem;
  grid-template-columns: repeat(auto-fill, minmax(min(16rem, 100%), 1fr)); }
.cue { min-width: 0; break-inside: avoid; }
.cue p { margin: 0.25rem 0; font-size: 0.8125rem; }
.cue .note { color: var(--soft); }
.screen { display: grid; grid-template-rows: repeat(15, 1.25em); width: fit-content;
  max-width: 100%; padding: 0.75em 1ch; overflow: hidden; border-radius: 4px; background: #3d4852;
  color: #fff; font: 0.75rem/1.25 "DejaVu Sans Mono", ui-monospace, Menlo, Consolas, monospace; }
.row { grid-column: 1; width: 32ch; white-space: pre; }
.row span { background: #000; }
.row .green { color: #0f0; } .row .blue { color: #8c9eff; } .row .cyan { color: #0ff; }
.row .red { color: #ff5f5f; } .row .yellow { color: #ff0; } .row .magenta { color: #ff6cff; }
.row .black { color: #000; background: #c8c8c8; }
.italic { font-style: italic; } .underline { text-decoration: underline; }
@media print {
  .cues { grid-template-columns: repeat(auto-fill, minmax(10rem, 1fr)); }
  .screen { font-size: 6.5pt; }
  .screen, .row span { print-color-adjust: exact; -webkit-print-color-adjust: exact; } }
)";

std::string secondsText(std::int64_t milliseconds) {
  const std::string decimals = std::to_string(milliseconds % 1000);
  return std::to_string(milliseconds / 1000) + '.' + std::string(3 - decimals.size(), '0') +
         decimals;
}

std::string clock(std::int64_t milliseconds) { return captions::clockText(milliseconds, '.'); }

// "white", "yellow italic": the style of a run as classes, and for people.
std::string styleOf(const CueRun& run) {
  std::string style(captions::colorName(run.color));
  if (run.italic) style += " italic";
  if (run.underline) style += " underline";
  return style;
}

bool isPlain(const CueRun& run) {
  return run.color == captions::Color::white && !run.italic && !run.underline;
}

// What a cue shows besides plain white text: "yellow italic, cyan". Empty for nothing.
std::string stylesOf(const Cue& cue) {
  std::vector<std::string> styles;
  for (const CueRow& row : cue.rows) {
    for (const CueRun& run : row.runs) {
      const std::string style = styleOf(run);
      if (isPlain(run) || std::find(styles.begin(), styles.end(), style) != styles.end()) continue;
      styles.push_back(style);
    }
  }
  std::string text;
  for (const std::string& style : styles) text += (text.empty() ? "" : ", ") + style;
  return text;
}

std::size_t elementsOf(const Cue& cue) {
  std::size_t elements = 5 + cue.rows.size();
  for (const CueRow& row : cue.rows) elements += row.runs.size();
  return elements;
}

class CueList {
 public:
  explicit CueList(Html& html) : html_(html) {}

  void write(const ChannelCues& channel) {
    const auto section = html_.element("section");
    name_ = captions::channelName(channel.channel);
    html_.leaf("h3", name_ + ", " + std::string(modeName(captions::usualMode(channel.cues))) +
                         ": " + counted(channel.cues.size(), "cue"));
    const std::span<const Cue> cues = listed(channel.cues);
    for (std::size_t at = 0; at < cues.size(); at += kCuesInGroup) {
      writeGroup(cues.subspan(at, std::min(kCuesInGroup, cues.size() - at)), at);
    }
    writeRest(channel.cues.size() - cues.size());
  }

 private:
  // The cues for which the page has room.
  std::span<const Cue> listed(std::span<const Cue> cues) {
    std::size_t count = 0;
    while (count < cues.size() && elementsOf(cues[count]) <= room_) {
      room_ -= elementsOf(cues[count]);
      ++count;
    }
    if (count < cues.size()) room_ = 0;
    return cues.first(count);
  }

  void writeGroup(std::span<const Cue> cues, std::size_t before) {
    const auto group = openGroup(before == 0);
    html_.leaf("summary", "Cues " + std::to_string(before + 1) + " to " +
                              std::to_string(before + cues.size()) + ", from " +
                              clock(captions::cueMilliseconds(cues.front()).start) + " to " +
                              clock(captions::cueMilliseconds(cues.back()).end));
    const auto list = html_.element("ol", {{"class", "cues"}});
    for (const Cue& cue : cues) writeCue(cue);
  }

  Html::Element openGroup(bool isOpen) {
    if (isOpen) return html_.element("details", {{"open", ""}});
    return html_.element("details");
  }

  void writeCue(const Cue& cue) {
    const CueMilliseconds times = captions::cueMilliseconds(cue);
    const auto item = html_.element("li", {{"class", "cue"},
                                           {"data-channel", name_},
                                           {"data-start", secondsText(times.start)},
                                           {"data-end", secondsText(times.end)},
                                           {"data-mode", modeName(cue.mode)},
                                           {"data-text", textOf(cue)}});
    html_.leaf("p", clock(times.start) + " to " + clock(times.end));
    writeScreen(cue);
    html_.leaf("p", noteOf(cue, times), {{"class", "note"}});
  }

  static std::string noteOf(const Cue& cue, const CueMilliseconds& times) {
    const std::string styles = stylesOf(cue);
    return std::string(modeName(cue.mode)) + ", " + secondsText(times.end - times.start) + " s" +
           (styles.empty() ? "" : ", " + styles);
  }

  void writeScreen(const Cue& cue) {
    // The language of captions is not known.
    const auto screen = html_.element("div", {{"class", "screen"}, {"lang", ""}});
    for (const CueRow& row : cue.rows) writeRow(row);
  }

  void writeRow(const CueRow& row) {
    const auto line = html_.element("div", {{"class", "row"},
                                            {"data-row", std::to_string(row.row)},
                                            {"data-column", std::to_string(row.column)}});
    for (const CueRun& run : row.runs) html_.leaf("span", run.text, {{"class", styleOf(run)}});
  }

  void writeRest(std::size_t count) {
    if (count == 0) return;
    html_.leaf("p", "This page has no room for " + counted(count, "more cue") + " of " + name_ +
                        ". quarrypack-captions writes all of them.");
  }

  Html& html_;
  std::string name_;  // of the channel
  std::size_t room_ = kMostCueElements;
};

}  // namespace

std::string cueListStyle() {
  std::string style(kStyle);
  for (int row = 1; row <= captions::kRows; ++row) {
    const std::string number = std::to_string(row);
    style += "[data-row=\"" + number + "\"] { grid-row: " + number + "; }\n";
  }
  for (int column = 1; column < captions::kColumns; ++column) {
    const std::string number = std::to_string(column);
    style += "[data-column=\"" + number + "\"] { padding-left: " + number + "ch; }\n";
  }
  return style;
}

void writeCueList(Html& html, std::span<const ChannelCues> channels) {
  const auto section = html.element("section");
  html.leaf("h2", "Cues");
  if (channels.empty()) html.leaf("p", "There are no captions.");
  CueList list(html);
  for (const ChannelCues& channel : channels) list.write(channel);
}

}  // namespace quarrypack::companions
