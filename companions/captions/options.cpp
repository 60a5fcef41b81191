#include "companions/captions/options.h"

#include <boost/program_options.hpp>
#include <sstream>
#include <string_view>
#include <vector>

#include "companions/scc_options.h"

namespace quarrypack::companions {

namespace po = boost::program_options;

namespace {

std::string formatNames(std::string_view separator) {
  std::string names;
  for (const captions::Format& format : captions::formats()) {
    names.append(names.empty() ? "" : separator).append(format.name);
  }
  return names;
}

po::options_description shownOptions() {
  po::options_description options("Options");
  // clang-format off
  options.add_options()
    ("output-file", po::value<std::string>()->value_name("PATH"),
     "the file to write (default, and with '-': standard output)")
    ("format", po::value<std::string>()->value_name(formatNames("|")),
     "the format to write (default: by the extension of the output, or else srt)")
    ("channel", po::value<std::string>()->value_name("CC1|CC2|CC3|CC4|all"),
     "the channel to write (default: the first that has captions); all writes a file for each "
     "channel, named after it, or one JSON document")
    ("source", po::value<std::string>()->value_name("auto|track|pictures"),
     "where in a movie to look (default: auto, the caption track where there is one)")
    ("rollup", po::value<std::string>()->value_name("once|screen"),
     "how roll-up captions become cues: every row once, or all rows on the screen (default: once)");
  // clang-format on
  addSccOptions(options);
  addCommonOptions(options);
  return options;
}

void takeOutput(const po::variables_map& values, CaptionOptions& options) {
  options.output = textOf(values, "output-file");
  if (options.output == "-") options.output.clear();
  const std::string format = textOf(values, "format");
  if (!format.empty()) {
    options.format = captions::findFormat(format);
    if (options.format == nullptr) failOnValue("format", format, formatNames(", "));
    return;
  }
  options.format = captions::formatOfFile(options.output);
  if (options.format == nullptr) options.format = captions::findFormat("srt");
}

void takeChannel(const po::variables_map& values, CaptionOptions& options) {
  const std::string channel = textOf(values, "channel");
  if (channel.empty()) return;
  options.allChannels = channel == "all";
  if (options.allChannels) {
    if (options.output.empty() && !options.format->holdsAllChannels) {
      throw UsageError("'--channel all' writes several files: name them with '--output-file'");
    }
    return;
  }
  options.channel = captions::findChannel(channel);
  if (!options.channel) failOnValue("channel", channel, "CC1, CC2, CC3, CC4 or all");
}

WantedSource takeSource(const po::variables_map& values) {
  const std::string source = textOf(values, "source");
  if (source.empty() || source == "auto") return WantedSource::automatic;
  if (source == "track") return WantedSource::track;
  if (source == "pictures") return WantedSource::pictures;
  failOnValue("source", source, "auto, track or pictures");
}

captions::RollUpCues takeRollUp(const po::variables_map& values) {
  const std::string rollUp = textOf(values, "rollup");
  if (rollUp.empty() || rollUp == "once") return captions::RollUpCues::once;
  if (rollUp == "screen") return captions::RollUpCues::screen;
  failOnValue("rollup", rollUp, "once or screen");
}

}  // namespace

CaptionOptions parseCaptionOptions(Words words) {
  const po::variables_map values = readCommandLine(words, shownOptions());
  CaptionOptions options;
  options.action = actionOf(values);
  if (options.action != Action::run) return options;
  options.input = fileOf(values, "read");
  takeOutput(values, options);
  takeChannel(values, options);
  options.source = takeSource(values);
  options.rollUp = takeRollUp(values);
  options.scc = sccOptionsOf(values);
  return options;
}

std::string captionUsage() {
  std::ostringstream text;
  text
      << "Usage: quarrypack-captions [options] FILE\n\n"
         "Reads the CEA-608 captions of a movie, from its caption track or its pictures, or of an\n"
         "SCC file, and writes them as a caption file.\n\n"
      << shownOptions();
  return text.str();
}

}  // namespace quarrypack::companions
