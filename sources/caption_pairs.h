#pragma once

#include <array>
#include <cstddef>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "captions/cea608.h"
#include "captions/time.h"

// Where captions come from: a caption track, the pictures of a movie, or a caption file.
namespace quarrypack::sources {

// Why captions cannot be read, as a sentence for people without a full stop.
class SourceError : public std::runtime_error {
 public:
  explicit SourceError(const std::string& text) : std::runtime_error(text) {}
};

// The limit for the pairs of each field. A day has 2.6 million frames with at most one pair each;
// only crafted movies, which show the same samples over and over, have more.
inline constexpr std::size_t kMostPairs = 3'000'000;

struct CaptionPairs {
  std::string_view source;  // "track", "pictures" or "scc"
  // In transmission order, with presentation times.
  std::array<captions::FieldPairs, 2> fields;
  captions::Time end{0};              // of the film: the screen is empty after it
  std::vector<std::string> findings;  // irregularities, as sentences without a full stop

  captions::FieldPairs& of(captions::Field field) {
    return fields.at(static_cast<std::size_t>(field));
  }
};

// Adds a pair to a field. Throws SourceError if it has kMostPairs already.
inline void addPair(captions::FieldPairs& field, captions::TimedPair pair) {
  if (field.size() == kMostPairs) throw SourceError("there are more captions than any film has");
  field.push_back(pair);
}

}  // namespace quarrypack::sources
