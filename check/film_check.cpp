#include "check/film_check.h"

#include <algorithm>
#include <optional>
#include <string>
#include <utility>

#include "check/caption_rules.h"
#include "check/conversion_forecast.h"
#include "check/film_facts.h"
#include "check/film_rule_table.h"
#include "sources/picture_source.h"
#include "sources/track_source.h"

namespace quarrypack::check {
namespace {

using sources::CaptionPairs;
using sources::FilmFile;

CaptionPairs readPairs(FilmFile& film) {
  return sources::hasCaptionTrack(film) ? sources::readTrackPairs(film)
                                        : sources::readPicturePairs(film);
}

void judge(const CaptionPairs& pairs, const Rule& irregular, const PictureFacts& pictures,
           Findings& findings, CheckReport& report) {
  for (const std::string& irregularity : pairs.findings) {
    findings.note(irregular, std::nullopt, irregularity);
  }
  CheckedCaptions checked = checkCaptions(pairs, pictures, findings);
  if (!checked.channels.empty()) report.source = pairs.source;
  report.channels = std::move(checked.channels);
  report.coverage = checked.coverage;
}

}  // namespace

CheckReport checkFilm(FilmFile& film) {
  Findings findings;
  CheckReport report;
  const FilmPictures pictures = picturesOf(film);
  report.duration = film.duration();
  const std::optional<Stretch>& shown = pictures.facts.shown;
  if (shown) report.duration = std::max(report.duration, shown->end);
  report.pictures = pictures.count;
  judge(readPairs(film), kIrregularSource, pictures.facts, findings, report);
  report.hits = forecastConversion(film, findings);
  report.findings = std::move(findings).take();
  return report;
}

CheckReport checkScc(const CaptionPairs& pairs) {
  Findings findings;
  CheckReport report;
  report.duration = pairs.end;
  judge(pairs, kIrregularFile, {}, findings, report);
  report.findings = std::move(findings).take();
  return report;
}

}  // namespace quarrypack::check
