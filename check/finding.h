#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "captions/time.h"

// The findings of a check of a film, before anything is printed.
namespace quarrypack::check {

enum class Severity : std::uint8_t { info, warning, error };

// The name as reports write it: "info", "warning", "error".
std::string_view severityName(Severity severity);

// Something that a check looks for. The texts are for people: one or two sentences without a line
// feed, with their full stops.
struct Rule {
  std::string_view id;  // lower case with hyphens, "parity-error"; it never changes
  Severity severity = Severity::info;
  std::string_view meaning;  // what it is, and what viewers notice
  std::string_view remedy;   // what to do about it; empty if nothing is to be done
};

// A rule that a film breaks.
struct Finding {
  // The limit for places: more are of no use on a time line, and crafted films have millions.
  static constexpr std::size_t kMostPlaces = 200;

  const Rule* rule = nullptr;  // never null; lives as long as the program
  std::uint64_t count = 0;     // how often; at least 1
  std::optional<captions::Time>
      first;  // the earliest time; none for a finding about the whole film
  // The first kMostPlaces times, in the order of noting. One that is noted several times in
  // succession is listed once.
  std::vector<captions::Time> places;
  std::string detail;  // what is special in this film: "track 2, 14 samples"; often empty
};

// How many of the findings have a severity. One that occurs often counts once.
std::size_t countOf(std::span<const Finding> findings, Severity severity);

// Collects findings, one for each rule and detail, in the order of their first occurrence.
class Findings {
 public:
  void note(const Rule& rule, std::optional<captions::Time> time = std::nullopt,
            std::string_view detail = {}, std::uint64_t count = 1);

  std::span<const Finding> all() const { return findings_; }
  bool has(Severity atLeast) const;

  // Errors first, then warnings; within a severity by first time, those without a time first.
  std::vector<Finding> take() &&;

 private:
  std::vector<Finding> findings_;
};

}  // namespace quarrypack::check
