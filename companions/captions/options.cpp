#include "companions/captions/options.h"

#include <boost/program_options.hpp>
#include <sstream>
#include <vector>

#include "companions/command_line.h"

namespace quarrypack::companions {

namespace po = boost::program_options;

namespace {

po::options_description shownOptions() {
  po::options_description options("Options");
  // clang-format off
  options.add_options()
    ("output-file", po::value<std::string>()->value_name("PATH"),
     "where to write (default: standard output, which '-' means too)")
    ("format", po::value<std::string>()->value_name("scc|srt|vtt|json"),
     "what to write (default: as the name of the output tells, else srt)")
    ("channel", po::value<std::string>()->value_name("CC1|CC2|CC3|CC4|all"),
     "which captions (default: the first channel that has any); all writes a file for each channel, "
     "named by it, in JSON one document")
    ("source", po::value<std::string>()->value_name("auto|track|pictures"),
     "where in a movie to look (default: auto, the caption track where there is one)")
    ("rollup", po::value<std::string>()->value_name("once|screen"),
     "how roll-up captions are told: every row once, or all rows on the screen (default: once)")
    ("scc-offset", po::value<std::string>()->value_name("TIMECODE|auto"),
     "the time code of an SCC file that is time 0 (default: 00:00:00:00); auto takes the whole "
     "hours of the first line off")
    ("scc-rate", po::value<std::string>()->value_name("RATE"),
     "frames a second that its time codes count (default: 29.97); ';' before the frames says drop "
     "frame")
    ("help", "show this text")
    ("version", "show the version");
  // clang-format on
  return options;
}

[[noreturn]] void failOn(const char* option, const std::string& value, const std::string& known) {
  throw UsageError("'" + value + "' is no value of '--" + option + "', which are " + known);
}

std::string takeInput(const po::variables_map& values) {
  std::vector<std::string> paths;
  if (values.count(kOperands) > 0) paths = values[kOperands].as<std::vector<std::string>>();
  if (paths.size() != 1) {
    throw UsageError("one file is read, and " + std::to_string(paths.size()) + " are named");
  }
  if (paths.front().empty()) throw UsageError("the name of the file is empty");
  return paths.front();
}

void takeOutput(const po::variables_map& values, CaptionOptions& options) {
  options.output = textOf(values, "output-file");
  if (options.output == "-") options.output.clear();
  const std::string format = textOf(values, "format");
  if (!format.empty()) {
    options.format = captions::findFormat(format);
    if (options.format == nullptr) failOn("format", format, "scc, srt, vtt and json");
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
  if (!options.channel) failOn("channel", channel, "CC1, CC2, CC3, CC4 and all");
}

WantedSource takeSource(const po::variables_map& values) {
  const std::string source = textOf(values, "source");
  if (source.empty() || source == "auto") return WantedSource::automatic;
  if (source == "track") return WantedSource::track;
  if (source == "pictures") return WantedSource::pictures;
  failOn("source", source, "auto, track and pictures");
}

captions::RollUpCues takeRollUp(const po::variables_map& values) {
  const std::string rollUp = textOf(values, "rollup");
  if (rollUp.empty() || rollUp == "once") return captions::RollUpCues::once;
  if (rollUp == "screen") return captions::RollUpCues::screen;
  failOn("rollup", rollUp, "once and screen");
}

captions::SccOptions takeScc(const po::variables_map& values) {
  captions::SccOptions scc;
  const std::string offset = textOf(values, "scc-offset");
  const std::string rate = textOf(values, "scc-rate");
  if (!offset.empty()) {
    const auto parsed = captions::parseSccOffset(offset);
    if (!parsed) throw UsageError("'" + offset + "' is no time code and not 'auto'");
    scc.offset = *parsed;
  }
  if (!rate.empty()) {
    scc.rate = captions::findFrameRate(rate);
    std::string known;
    for (const captions::FrameRate& one : captions::frameRates()) {
      known += (known.empty() ? "" : ", ") + std::string(one.name);
    }
    if (scc.rate == nullptr) failOn("scc-rate", rate, known);
  }
  return scc;
}

}  // namespace

CaptionOptions parseCaptionOptions(std::span<const char* const> words) {
  const po::variables_map values = readCommandLine(words, shownOptions());
  CaptionOptions options;
  if (values.count("help") > 0) {
    options.action = CaptionOptions::Action::showHelp;
    return options;
  }
  if (values.count("version") > 0) {
    options.action = CaptionOptions::Action::showVersion;
    return options;
  }
  options.input = takeInput(values);
  takeOutput(values, options);
  takeChannel(values, options);
  options.source = takeSource(values);
  options.rollUp = takeRollUp(values);
  options.scc = takeScc(values);
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
