#pragma once

#include <array>

#include "check/finding.h"

// The rules for the source of the captions. doc/checks.md describes each of them under its id.
namespace quarrypack::check {

inline constexpr Rule kIrregularSource{
    "irregular-source", Severity::warning,
    "A part of the movie that carries captions is malformed, so some captions may be missing.",
    "Repair the movie, or have the captions exported again."};

inline constexpr Rule kIrregularFile{
    "irregular-file", Severity::info,
    "A line of the caption file does not follow its format. It was read nevertheless, but other "
    "programs may refuse it.",
    "Write the file again, for example with quarrypack-captions."};

inline constexpr std::array kFilmRules = {&kIrregularSource, &kIrregularFile};

}  // namespace quarrypack::check
