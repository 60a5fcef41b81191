#include "companions/embed/options.h"

#include <algorithm>
#include <boost/program_options/options_description.hpp>
#include <boost/program_options/value_semantic.hpp>
#include <boost/program_options/variables_map.hpp>
#include <cctype>
#include <sstream>
#include <string_view>
#include <vector>

#include "companions/scc_options.h"

namespace quarrypack::companions {

namespace po = boost::program_options;

namespace {

po::options_description shownOptions() {
  po::options_description options("Options");
  // clang-format off
  options.add_options()
    ("captions", po::value<std::string>()->value_name("FILE.scc"),
     "take the captions of field 1 from a file instead of the movie's caption tracks")
    ("captions-field2", po::value<std::string>()->value_name("FILE.scc"),
     "take the captions of field 2 from a file")
    ("replace", "remove captions that the pictures already have")
    ("no-pad", "leave pictures without captions unchanged")
    ("no-verify", "do not read the written file again")
    ("report", po::value<std::string>()->value_name("FILE.html|FILE.json"),
     "write a report of what was done");
  // clang-format on
  addSccOptions(options);
  addCommonOptions(options);
  return options;
}

void takePaths(const po::variables_map& values, EmbedOptions& options) {
  const std::vector<std::string> paths = operandsOf(values);
  if (paths.size() != 2) {
    throw UsageError("one INPUT and one OUTPUT are needed; " + std::to_string(paths.size()) +
                     (paths.size() == 1 ? " path is given" : " paths are given"));
  }
  options.input = paths[0];
  options.output = paths[1];
  for (const std::string& path : paths) {
    if (path.empty()) throw UsageError("a path is empty");
  }
}

void takeCaptionFiles(const po::variables_map& values, EmbedOptions& options) {
  options.captionsField1 = textOf(values, "captions");
  options.captionsField2 = textOf(values, "captions-field2");
  if (hasSccOptions(values) && !options.hasCaptionFiles()) {
    throw UsageError(
        "'--scc-offset' and '--scc-rate' are about caption files: give one with "
        "'--captions'");
  }
  options.scc = sccOptionsOf(values);
}

bool endsWith(std::string text, std::string_view end) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return text.ends_with(end);
}

void takeReport(const po::variables_map& values, EmbedOptions& options) {
  options.report = textOf(values, "report");
  if (options.report.empty()) return;
  const bool isHtml = endsWith(options.report, ".html");
  if (!isHtml && !endsWith(options.report, ".json")) {
    throw UsageError("the name of a report ends with '.html' or '.json'");
  }
  options.reportFormat = isHtml ? ReportFormat::html : ReportFormat::json;
}

}  // namespace

EmbedOptions parseEmbedOptions(Words words) {
  const po::variables_map values = readCommandLine(words, shownOptions());
  EmbedOptions options;
  options.action = actionOf(values);
  if (options.action != Action::run) return options;
  takePaths(values, options);
  takeCaptionFiles(values, options);
  takeReport(values, options);
  options.replace = values.count("replace") > 0;
  options.verify = values.count("no-verify") == 0;
  options.pad = values.count("no-pad") == 0;
  return options;
}

std::string embedUsage() {
  std::ostringstream text;
  text << "Usage: quarrypack-embed [options] INPUT OUTPUT\n\n"
          "Puts captions into the pictures of a movie and changes nothing else.\n\n"
       << shownOptions();
  return text.str();
}

}  // namespace quarrypack::companions
