#include "companions/check/options.h"

#include <boost/program_options.hpp>
#include <sstream>
#include <vector>

#include "companions/scc_options.h"

namespace quarrypack::companions {

namespace po = boost::program_options;

namespace {

po::options_description shownOptions() {
  po::options_description options("Options");
  // clang-format off
  options.add_options()
    ("json", "write the report as JSON")
    ("html", po::value<std::string>()->value_name("REPORT.html"),
     "also write it as a page for browsers")
    ("fail-on", po::value<std::string>()->value_name("error|warning"),
     "the lowest severity that gives status 3 (default: warning)");
  // clang-format on
  addSccOptions(options);
  addCommonOptions(options);
  return options;
}

check::Severity takeFailOn(const po::variables_map& values) {
  const std::string severity = textOf(values, "fail-on");
  if (severity.empty() || severity == "warning") return check::Severity::warning;
  if (severity == "error") return check::Severity::error;
  failOnValue("fail-on", severity, "error or warning");
}

}  // namespace

CheckOptions parseCheckOptions(Words words) {
  const po::variables_map values = readCommandLine(words, shownOptions());
  CheckOptions options;
  options.action = actionOf(values);
  if (options.action != Action::run) return options;
  options.input = fileOf(values, "checked");
  options.json = values.count("json") > 0;
  options.html = textOf(values, "html");
  options.failOn = takeFailOn(values);
  options.scc = sccOptionsOf(values);
  return options;
}

std::string checkUsage() {
  std::ostringstream text;
  text << "Usage: quarrypack-check [options] FILE\n\n"
          "Checks the CEA-608 captions of a movie or an SCC file, and predicts what quarrypack\n"
          "would do to the movie.\n\n"
       << shownOptions()
       << "\nStatus: 0 nothing worse than information, 3 warnings or errors, 1 unreadable,\n"
          "2 wrong usage.\n";
  return text.str();
}

}  // namespace quarrypack::companions
