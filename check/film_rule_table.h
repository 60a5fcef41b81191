#pragma once

#include <array>

#include "check/finding.h"

// The rules for the place that captions come from. doc/checks.md describes each of them under its
// id.
namespace quarrypack::check {

inline constexpr Rule kIrregularSource{"irregular-source", Severity::warning,
                                       "A part of the movie that captions come from is not as it "
                                       "should be, so that some of them may be "
                                       "missing.",
                                       "Repair the movie, or have the captions exported again."};

inline constexpr Rule kIrregularFile{
    "irregular-file", Severity::info,
    "A line of the caption file is not as its format wants it. It was read nevertheless, but other "
    "programs may refuse it.",
    "Write the file again, for example with quarrypack-captions."};

inline constexpr std::array kFilmRules = {&kIrregularSource, &kIrregularFile};

}  // namespace quarrypack::check
