#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "embed/box_pieces.h"
#include "embed/offset_map.h"
#include "embed/sample_tables.h"
#include "kav/box_view.h"

namespace quarrypack::embed {

// The changes to a movie other than those of its samples.
struct MovieBoxChanges {
  std::uint32_t pictureTrack = 0;  // id of the track whose samples the splices change
  std::vector<std::uint32_t> removedTracks = {};  // ids
  // For a movie with fragments, the duration of the longest track that is left, in units of the
  // movie's timescale. Without it the durations of such a movie stay unchanged.
  std::optional<std::uint64_t> fragmentedDuration = std::nullopt;
};

// Rewrites a moov box for an output whose bytes lie where an OffsetMap states. Sizes and places of
// samples follow the map. Removed tracks are left out, with everything that names them. Durations
// are lowered to the longest track that is left. Forms of QuickTime become portable (see
// portable_boxes.h). All other bytes are kept, unknown boxes included.
class MovieBoxEditor {
 public:
  // The box must outlive the editor. Throws Refusal for tables that are cut short.
  MovieBoxEditor(const norvik::kav::BoxView& moov, MovieBoxChanges changes);

  // The new box. It refers to the old one and to this editor, and is valid until the next call. Its
  // size depends on the map only because offsets may need 64 bits, and never shrinks from one call
  // to the next. So if the box lies before the media, a few calls, each with the size that the last
  // one gave, find the final size. Throws Refusal: see SampleTableEditor::measure.
  BoxPieces build(const OffsetMap& map);

  // Whether the composition offsets of any track left are negative.
  bool hasNegativeOffsets() const { return hasNegativeOffsets_; }

  // Whether the movie announces fragments.
  bool hasFragments() const { return hasFragments_; }

 private:
  struct TrackParts {
    bool isRemoved = false;
    bool isSound = false;
    std::optional<SampleTableEditor> tables;
  };

  TrackParts partsOf(const norvik::kav::BoxView& trak);
  bool isRemoved(std::uint32_t trackId) const;

  void appendChild(const norvik::kav::BoxView& child, BoxPieces& pieces);
  void appendMovieHeader(const norvik::kav::BoxView& mvhd, BoxPieces& pieces) const;
  void appendExtends(const norvik::kav::BoxView& mvex, BoxPieces& pieces) const;
  void appendTrack(const norvik::kav::BoxView& trak, TrackParts& parts, BoxPieces& pieces);
  void appendMedia(const norvik::kav::BoxView& mdia, TrackParts& parts, BoxPieces& pieces);
  void appendMediaInformation(const norvik::kav::BoxView& minf, TrackParts& parts,
                              BoxPieces& pieces);
  void appendSampleTable(const norvik::kav::BoxView& stbl, TrackParts& parts, BoxPieces& pieces);

  norvik::kav::BoxView moov_;
  MovieBoxChanges changes_;
  std::vector<TrackParts> tracks_;  // in the order of the trak boxes
  bool hasFragments_ = false;
  bool hasNegativeOffsets_ = false;
  bool removesTracks_ = false;
  std::optional<std::uint64_t> longestTrack_;  // units of the movie's timescale

  // Of the current call of build.
  const OffsetMap* map_ = nullptr;
  std::size_t nextTrack_ = 0;
};

// Appends a tref without references to some tracks; nothing where it had no others.
void appendReferences(const norvik::kav::BoxView& tref,
                      std::span<const std::uint32_t> removedTracks, BoxPieces& pieces);

// The id in a tkhd box; none where it is cut short.
std::optional<std::uint32_t> trackIdOf(const norvik::kav::BoxView& trak);

// The handler type in the mdia of a trak; 0 without one.
norvik::kav::FourCc handlerTypeOf(const norvik::kav::BoxView& trak);

}  // namespace quarrypack::embed
