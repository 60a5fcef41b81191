#pragma once

#include <cstdint>
#include <utility>
#include <vector>

#include "embed/box_pieces.h"
#include "embed/offset_map.h"
#include "kav/box_view.h"

namespace quarrypack::embed {

// The changes to the fragments of a movie other than those of their samples.
struct FragmentChanges {
  std::uint32_t pictureTrack = 0;                 // id of the track that the splices change
  std::vector<std::uint32_t> removedTracks = {};  // ids

  // The defaults in the trex box of a track.
  struct Defaults {
    std::uint32_t track = 0;       // id
    std::uint32_t sampleSize = 0;  // bytes
  };
  std::vector<Defaults> defaults = {};
};

// The defaults of all tracks in a moov box.
std::vector<FragmentChanges::Defaults> fragmentDefaults(const norvik::kav::BoxView& moov);

// Rewrites the boxes around the samples of fragments, and the indexes of fragments, for an output
// whose bytes lie where an OffsetMap states. A moof, sidx or mfra is itself a splice of that map
// that replaces all of the box.
//
// The length of a new moof or sidx does not depend on the map, so it may be measured with any map
// before the final one exists. New boxes refer to the bytes of the old ones.
class FragmentEditor {
 public:
  explicit FragmentEditor(FragmentChanges changes) : changes_(std::move(changes)) {}

  // Whether a moof holds fragments of tracks that are removed.
  bool losesTracks(const norvik::kav::BoxView& moof) const;

  // The new form of a moof that lay at an offset. All places in it count from its first byte, every
  // run states its own, and the runs of pictures state the size of each sample. Empty if the moof
  // held only removed tracks. Throws Refusal for boxes that are cut short, for a change to samples
  // of other tracks, and for an offset or a size that no longer fits into its field.
  BoxPieces fragment(const norvik::kav::BoxView& moof, std::uint64_t offset,
                     const OffsetMap& map) const;

  // The new form of a sidx that lay at an offset; empty for one of a removed track. Throws Refusal
  // for one that is cut short, and for a size that no longer fits into its field.
  BoxPieces segmentIndex(const norvik::kav::BoxView& sidx, std::uint64_t offset,
                         const OffsetMap& map) const;

  // The new form of an mfra. Only for a movie in which no fragment lost a track: otherwise the
  // numbers in an mfra would be wrong.
  BoxPieces randomAccess(const norvik::kav::BoxView& mfra, const OffsetMap& map) const;

 private:
  bool isRemoved(std::uint32_t track) const;
  std::uint32_t defaultSize(std::uint32_t track) const;

  FragmentChanges changes_;
};

}  // namespace quarrypack::embed
