#pragma once

#include <cstdint>
#include <vector>

#include "kav/four_cc.h"
#include "kav/impl/boxes/track_boxes.h"
#include "kav/impl/reading/sample_iterator.h"
#include "kav/impl/tree/root_box.h"
#include "kav/track_info.h"

namespace norvik::kav::impl {

class StblBox;
class StsdBox;

// What the reader keeps of one track. The boxes are views into the document.
struct TrackRecord {
  NorvikKavTrackInfo info;
  FourCc handlerType = 0;
  std::vector<std::uint8_t> name;  // info.handlerNameLength bytes
  std::uint32_t index = 0;         // place in the reader's list
  TrakBox* trak = nullptr;
  StblBox* stbl = nullptr;  // null when the track has none
  StsdBox* stsd = nullptr;
  RootBox* root = nullptr;

  // The track's edit list; null when it has none, or one without edits, which means the same.
  const ElstBox* edits() const;

  // Whether the movie announces fragments.
  bool isFragmented() const;

  // Whether the movie's own tables hold samples of the track, as those of a movie with fragments
  // may.
  bool hasSamplesInTables() const;
};

// The sample that stands for an empty edit of a track, at a time in the media timescale.
SamplePtr makeEmptySample(const TrackRecord& track, std::uint64_t time, std::uint64_t context,
                          std::uint32_t fragmentSequence);

}  // namespace norvik::kav::impl
