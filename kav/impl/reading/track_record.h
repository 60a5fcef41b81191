#pragma once

#include <cstdint>
#include <span>

#include "kav/impl/boxes/track_boxes.h"
#include "kav/impl/tree/root_box.h"
#include "kav/sample.h"
#include "kav/track.h"

namespace norvik::kav::impl {

class StblBox;

// The reader's record of a track: its public part, and its boxes, which are views into the
// document.
struct TrackRecord {
  const Track* track = nullptr;  // owned by the reader; never null in one of its records
  TrakBox* trak = nullptr;
  StblBox* stbl = nullptr;  // null if the track has none
  RootBox* root = nullptr;

  const NorvikKavTrackInfo& info() const { return track->info; }

  // The track's edit list; null if it has none, or one without edits, which means the same.
  const ElstBox* edits() const;

  // Whether the movie announces fragments.
  bool isFragmented() const;

  // Whether the movie's own tables hold samples of the track, as those of a movie with fragments
  // may.
  bool hasSamplesInTables() const;
};

// The ids of the tracks that a hint track gives hints for; empty for any other track.
std::span<const std::uint32_t> hintedTracks(const TrackRecord& track);

// A sample of a track with only the fields that all its samples share.
Sample blankSample(const TrackRecord& track, std::uint64_t context);

// The sample for an empty edit of a track, at a time in the media timescale.
Sample emptySample(const TrackRecord& track, std::uint64_t time, std::uint64_t context,
                   std::uint32_t fragmentSequence);

}  // namespace norvik::kav::impl
