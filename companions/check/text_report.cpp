#include "companions/check/text_report.h"

#include <algorithm>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>

#include "captions/time.h"
#include "companions/texts.h"
#include "process/progress_line.h"

namespace quarrypack::companions {
namespace {

using captions::Time;
using check::CheckReport;
using check::Finding;
using check::Severity;

constexpr std::size_t kNarrowest = 24;
constexpr std::size_t kSeverityColumns = 9;
constexpr std::string_view kPlain = "\033[0m";
constexpr std::string_view kBold = "\033[1m";

std::string_view colourOf(Severity severity) {
  switch (severity) {
    case Severity::error:
      return "\033[1;31m";
    case Severity::warning:
      return "\033[33m";
    case Severity::info:
      break;
  }
  return "\033[36m";
}

// Control characters become question marks, including those of two bytes in UTF-8.
std::string printable(std::string_view text) {
  std::string result;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto byte = static_cast<unsigned char>(text[i]);
    const auto next = static_cast<unsigned char>(i + 1 < text.size() ? text[i + 1] : 0);
    const bool isLongControl = byte == 0xC2 && next >= 0x80 && next < 0xA0;
    if (isLongControl) ++i;
    result += isLongControl || byte < 0x20 || byte == 0x7F ? '?' : text[i];
  }
  return result;
}

// The number of columns of a text in UTF-8, if each of its characters takes one column.
std::size_t widthOf(std::string_view text) {
  return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), [](char c) {
    return (static_cast<unsigned char>(c) & 0xC0) != 0x80;
  }));
}

std::string padded(std::string_view text, std::size_t columns) {
  return std::string(text) + std::string(columns - std::min(columns, widthOf(text)), ' ');
}

std::string sourceText(const CheckReport& report) {
  if (report.source == "track") return "captions in the caption track";
  if (report.source == "pictures") return "captions in the pictures";
  if (report.source == "scc") return "a caption file";
  return "no captions";
}

class TextReport {
 public:
  TextReport(const CheckReport& report, const TextStyle& style, std::ostream& out)
      : report_(report), style_(style), columns_(std::max(style.columns, kNarrowest)), out_(out) {
    for (const Finding& finding : report.findings) {
      idColumns_ = std::max(idColumns_, finding.rule->id.size() + 2);
    }
  }

  void write() {
    writeFile();
    writeChannels();
    writeCoverage();
    if (!report_.findings.empty()) writeFindings();
    out_ << '\n' << summary() << '\n';
  }

 private:
  std::string styled(std::string_view style, std::string_view text) const {
    if (!style_.isColourful) return std::string(text);
    return std::string(style) + std::string(text) + std::string(kPlain);
  }

  // Writes words in lines, all of them indented.
  void writeWrapped(std::string_view text, std::size_t indent) {
    std::size_t used = 0;
    while (!text.empty()) {
      const std::size_t end = std::min(text.find(' '), text.size());
      const std::string_view word = text.substr(0, end);
      text.remove_prefix(std::min(end + 1, text.size()));
      const std::size_t width = widthOf(word);
      if (used > 0 && used + 1 + width > columns_) {
        out_ << '\n';
        used = 0;
      }
      out_ << (used == 0 ? std::string(indent, ' ') : " ") << word;
      used += (used == 0 ? indent : 1) + width;
    }
    out_ << '\n';
  }

  void writeFile() {
    out_ << styled(kBold, printable(report_.file)) << '\n';
    std::string text = timeText(report_.duration);
    if (report_.pictures > 0) text += ", " + counted(report_.pictures, "picture");
    writeWrapped(text + ", " + sourceText(report_), 2);
  }

  void writeChannels() {
    for (const captions::ChannelCues& channel : report_.channels) {
      out_ << "  " << channelName(channel.channel) << "  "
           << padded(modeName(usualMode(channel.cues)), 8) << "  "
           << counted(channel.cues.size(), "cue") << '\n';
    }
  }

  void writeCoverage() {
    const check::Coverage& coverage = report_.coverage;
    if (!coverage.firstCaption) return;
    std::string text = "on the screen " +
                       std::to_string(static_cast<int>(coverage.share * 100 + 0.5)) +
                       " % of the time, first at " + timeText(*coverage.firstCaption);
    if (coverage.longestHole) {
      text += ", longest time without any from " + timeText(coverage.longestHole->start) + " to " +
              timeText(coverage.longestHole->end);
    }
    writeWrapped(text, 2);
  }

  void writeFindings() {
    out_ << '\n';
    const std::string head =
        padded("severity", kSeverityColumns) + padded("rule", idColumns_) + "count  first";
    if (isTable()) out_ << styled(kBold, head) << '\n';
    for (const Finding& finding : report_.findings) writeFinding(finding);
  }

  // Whether the lines of a table fit.
  bool isTable() const {
    constexpr std::size_t kCountAndTime = 5 + 2 + 12;
    return kSeverityColumns + idColumns_ + kCountAndTime <= columns_;
  }

  void writeFinding(const Finding& finding) {
    const std::string_view severity = severityName(finding.rule->severity);
    const std::string count = std::to_string(finding.count);
    out_ << styled(colourOf(finding.rule->severity), severity);
    if (isTable()) {
      out_ << std::string(kSeverityColumns - severity.size(), ' ')
           << padded(finding.rule->id, idColumns_)
           << std::string(5 - std::min<std::size_t>(5, count.size()), ' ') << count;
      if (finding.first) out_ << "  " << timeText(*finding.first);
      out_ << '\n';
    } else {
      out_ << ' ' << finding.rule->id << '\n';
      writeWrapped(count + (finding.count == 1 ? " time" : " times") +
                       (finding.first ? ", first at " + timeText(*finding.first) : ""),
                   indent());
    }
    if (!finding.detail.empty()) writeWrapped(printable(finding.detail), indent());
    writeWrapped(finding.rule->meaning, indent());
    if (!finding.rule->remedy.empty()) writeWrapped(finding.rule->remedy, indent());
  }

  std::size_t indent() const { return isTable() ? kSeverityColumns : 2; }

  std::string summary() const {
    const auto count = [this](Severity severity) {
      return check::countOf(report_.findings, severity);
    };
    return counted(count(Severity::error), "error") + ", " +
           counted(count(Severity::warning), "warning") + ", " +
           std::to_string(count(Severity::info)) + " for information";
  }

  const CheckReport& report_;
  const TextStyle& style_;
  std::size_t columns_;
  std::ostream& out_;
  std::size_t idColumns_ = 6;
};

}  // namespace

TextStyle styleFor(int descriptor) {
  const auto terminal = process::ProgressTerminal::on(descriptor);
  if (!terminal) return {};
  return {terminal->columns(), terminal->isColourful()};
}

void writeText(const CheckReport& report, const TextStyle& style, std::ostream& out) {
  TextReport(report, style, out).write();
}

}  // namespace quarrypack::companions
