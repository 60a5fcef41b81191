#pragma once

#include <cstdint>
#include <utility>
#include <vector>

#include "embed/box_pieces.h"
#include "embed/offset_map.h"
#include "kav/box_view.h"

namespace quarrypack::embed {

// What becomes of the fragments of a movie besides their samples.
struct FragmentChanges {
  std::uint32_t pictureTrack = 0;                 // id of the track that the splices change
  std::vector<std::uint32_t> removedTracks = {};  // ids

  // What trex says of a track.
  struct Defaults {
    std::uint32_t track = 0;       // id
    std::uint32_t sampleSize = 0;  // bytes
  };
  std::vector<Defaults> defaults = {};
};

// The defaults of all tracks in a moov box.
std::vector<FragmentChanges::Defaults> fragmentDefaults(const norvik::kav::BoxView& moov);

// Rewrites the boxes around the samples of fragments, and the indexes of fragments, for an output
// whose bytes lie where an OffsetMap says. A moof, sidx or mfra is itself a splice of that map,
// which replaces all of it.
//
// The length of a new moof and sidx does not depend on the map: it may be asked for with any map
// while the final one is made. New boxes refer to the old ones.
class FragmentEditor {
 public:
  explicit FragmentEditor(FragmentChanges changes) : changes_(std::move(changes)) {}

  // Whether a moof holds fragments of tracks that are removed.
  bool losesTracks(const norvik::kav::BoxView& moof) const;

  // A moof that lay at an offset. In the new one all places count from its first byte, every run
  // states its own, and those of pictures state the size of each sample. Nothing where only removed
  // tracks were in it. Throws Refusal for runs that are cut short, for a change to samples of other
  // tracks, and where an offset or a size outgrows its field.
  BoxPieces fragment(const norvik::kav::BoxView& moof, std::uint64_t offset,
                     const OffsetMap& map) const;

  // A sidx that lay at an offset; nothing for one of a removed track. Throws Refusal for one that
  // is cut short, and where a size outgrows its field.
  BoxPieces segmentIndex(const norvik::kav::BoxView& sidx, std::uint64_t offset,
                         const OffsetMap& map) const;

  // An mfra of a movie none of whose fragments lost a track: the numbers in it are right only then.
  BoxPieces randomAccess(const norvik::kav::BoxView& mfra, const OffsetMap& map) const;

 private:
  bool isRemoved(std::uint32_t track) const;
  std::uint32_t defaultSize(std::uint32_t track) const;

  FragmentChanges changes_;
};

}  // namespace quarrypack::embed
