#pragma once

#include "check/report.h"

namespace quarrypack::test {

inline constexpr check::Rule kDamage{"damage", check::Severity::error,
                                     "Something is damaged, which viewers notice at once.",
                                     "Mend it."};
inline constexpr check::Rule kOddity{"oddity", check::Severity::warning, "Something is odd.",
                                     "Look at it."};
inline constexpr check::Rule kNote{"note", check::Severity::info, "Something is there.", ""};

// A report with one of everything.
inline check::CheckReport sampleReport() {
  using captions::Time;
  const auto at = [](std::int64_t milliseconds) {
    return captions::timeOfUnits(milliseconds, 1000);
  };
  check::CheckReport report;
  report.file = "film.mov";
  report.source = "track";
  report.duration = at(90'500);
  report.pictures = 2712;
  captions::Cue cue{at(1000), at(2500), captions::CaptionMode::popOn, {}};
  cue.rows = {{15, 4, {{"Hi", captions::Color::yellow, true, false}}}};
  report.channels = {{captions::Channel::cc1, {cue}}};
  report.coverage = {at(1000), check::Stretch{at(2500), at(90'500)}, 0.0166};
  report.hits = {{2, "sound", 2, {at(1000), at(1033)}}};
  report.findings = {{&kDamage, 2, at(1000), {at(1000), at(1033)}, "track 2, 2 samples"},
                     {&kOddity, 1, std::nullopt, {}, ""},
                     {&kNote, 12, at(3'723'004), {at(3'723'004)}, "movie: udta"}};
  return report;
}

}  // namespace quarrypack::test
