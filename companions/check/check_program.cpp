#include "companions/check/check_program.h"

#include <unistd.h>

#include <algorithm>
#include <ostream>

#include "check/film_check.h"
#include "companions/check/html/html_report.h"
#include "companions/check/json_report.h"
#include "companions/check/text_report.h"
#include "companions/input_file.h"
#include "companions/output_file.h"
#include "companions/program.h"
#include "sources/film_file.h"
#include "sources/scc_source.h"

namespace quarrypack::companions {
namespace {

using check::CheckReport;

CheckReport makeReport(const CheckOptions& options) {
  CheckReport report;
  readInputFile(options.input, [&](const norvik::kav::IStreamPtr& stream) {
    if (sources::isSccFile(options.input, *stream)) {
      report = check::checkScc(sources::readSccPairs(*stream, options.scc));
    } else {
      sources::FilmFile film(stream);
      report = check::checkFilm(film);
    }
  });
  report.file = options.input;
  return report;
}

void writeReports(const CheckReport& report, const CheckOptions& options) {
  if (!options.html.empty()) {
    writeTextFile(options.html, [&](std::ostream& out) { writeHtml(report, out); });
  }
  writeStandardOutput([&](std::ostream& out) {
    if (options.json) {
      writeJson(report, out);
    } else {
      writeText(report, styleFor(STDOUT_FILENO), out);
    }
  });
}

}  // namespace

int checkFile(const CheckOptions& options) {
  if (!options.html.empty() && areSameFile(options.input, options.html)) {
    throw UsageError("the report '" + options.html + "' is the file that is checked");
  }
  const CheckReport report = makeReport(options);
  writeReports(report, options);
  const bool fails =
      std::any_of(report.findings.begin(), report.findings.end(),
                  [&](const auto& finding) { return finding.rule->severity >= options.failOn; });
  return fails ? kHasFindings : kSuccess;
}

}  // namespace quarrypack::companions
