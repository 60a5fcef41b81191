#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <span>
#include <vector>

#include "captions/time.h"
#include "kav/box_view.h"

namespace quarrypack::embed {

// A sample of a track on the track's own timeline.
struct MediaSpan {
  captions::Time start{0};  // of its presentation
  captions::Time end{0};
  std::uint32_t sample = 0;  // its number, from 0, in the order of decoding
};

// A sample that is shown, on the timeline of the movie.
struct Showing {
  std::uint32_t sample = 0;
  captions::Time start{0};

  friend bool operator==(const Showing&, const Showing&) = default;
};

// All showings of the pictures of a track.
struct Showings {
  std::vector<Showing> pictures;  // in the order in which they are shown
  captions::Time end{0};          // of the last one
};

// Which part of a track the movie shows, and when.
class EditList {
 public:
  struct Edit {
    captions::Time start{0};              // on the timeline of the movie
    captions::Time length{0};             // kOpenEnd: to the end of the track
    std::optional<captions::Time> media;  // where it begins in the track; none: nothing is shown
    bool isStill = false;                 // shows one picture all the time

    bool isOpen() const { return length == kOpenEnd; }
  };
  static constexpr captions::Time kOpenEnd{std::numeric_limits<std::int64_t>::max()};

  // Without edits a track is shown whole, from the start of the movie.
  EditList() : EditList(std::vector<Edit>{}) {}
  explicit EditList(std::vector<Edit> edits);

  // The edit list of a trak box. An entry that is cut short ends the list. A last edit of no length
  // goes on to the end of the track, as fragments of unknown number have it.
  static EditList of(const norvik::kav::BoxView& trak, std::uint32_t movieTimescale,
                     std::uint32_t mediaTimescale);

  const std::vector<Edit>& edits() const { return edits_; }

  // The showings of pictures, which are sorted by their starts: each picture once, when it is shown
  // first. A picture that an edit begins or ends in is shown by it. Takes time in proportion to the
  // pictures and, but for a logarithm, the edits.
  Showings show(std::span<const MediaSpan> pictures) const;

  // Calls place with each time on the movie's timeline that a time of a caption track comes to.
  // What lies before the first edit comes to a time before it, since it may still be on the screen
  // then; the last edit has no end, since writers take it from the pictures.
  template <class Place>
  void placeCaption(captions::Time media, Place place) const {
    for (std::size_t i = 0; i < edits_.size(); ++i) {
      const Edit& edit = edits_[i];
      if (!edit.media) continue;
      const bool begins = media >= *edit.media || i == first_;
      const bool ends = i != last_ && !edit.isOpen() && media >= *edit.media + edit.length;
      if (begins && !ends) place(edit.start + (media - *edit.media));
    }
  }

 private:
  std::vector<Edit> edits_;
  std::size_t first_ = 0;  // of those that show something
  std::size_t last_ = 0;
};

}  // namespace quarrypack::embed
