#pragma once

#include <cstdint>
#include <limits>
#include <optional>
#include <vector>

#include "captions/time.h"
#include "kav/box_view.h"

namespace quarrypack::sources {

// Which part of a track the movie shows, and when.
class EditList {
 public:
  struct Edit {
    captions::Time start{0};              // on the timeline of the movie
    captions::Time length{0};             // kOpenEnd: until the end of the track
    std::optional<captions::Time> media;  // where it begins in the track; none: shows nothing
    bool isStill = false;                 // shows one picture all the time

    bool isOpen() const { return length == kOpenEnd; }
  };
  static constexpr captions::Time kOpenEnd{std::numeric_limits<std::int64_t>::max()};

  // Without edits the whole track is shown, from the start of the movie.
  EditList() : EditList(std::vector<Edit>{}) {}
  explicit EditList(std::vector<Edit> edits);

  // The list in an edts box. An entry that is cut short ends the list. A last edit without a length
  // lasts to the end of the track, as in movies with fragments of unknown number.
  static EditList of(const norvik::kav::BoxView& edts, std::uint32_t movieTimescale,
                     std::uint32_t mediaTimescale);

  const std::vector<Edit>& edits() const { return edits_; }

 private:
  std::vector<Edit> edits_;
};

}  // namespace quarrypack::sources
