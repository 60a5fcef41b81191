#pragma once

#include <cstdint>
#include <vector>

#include "kav/impl/boxes/movie_boxes.h"
#include "kav/impl/bytes/stream_adapters.h"
#include "kav/impl/model/build_parameters.h"
#include "kav/impl/writing/edit_timeline.h"
#include "kav/sample_to_write.h"

namespace norvik::kav::impl {

class StblBox;
class TrakBox;

// The data that writing keeps for a track. The boxes are views into the movie box.
struct TrackDraft {
  TrakBox* trak;
  StblBox* stbl;
  FourCc handlerType;
  std::uint32_t timescale;
  std::uint32_t gapCapacity;  // the number of gaps announced
  bool hasSampleDependencies;
  EditTimeline timeline;
  std::uint32_t descriptionCount = 0;
};

// The movie that is being written, in what both forms of a movie share: its movie box at the head
// of the file, after it room by which that box may still grow, then the media.
struct MovieDraft {
  NorvikKavIOStream& stream;
  MovieParameters parameters;
  MoovBox& moov;
  std::vector<TrackDraft> tracks{};
  std::uint64_t nextBox = 0;     // the offset of the next top-level box
  std::uint64_t reserveEnd = 0;  // end of the room after the movie box; 0 while there is none

  // Tracks and descriptions can be added until another box follows the movie box.
  bool isHeadClosed() const { return reserveEnd != 0; }

  // Closes the head with room for a number of bytes, and for the box that finally covers the rest
  // of them.
  void closeHead(std::uint64_t room);

  // Covers the rest of the room, from a position on, with a free box. Throws implausibleCount for a
  // movie box that is too long for its header.
  void coverReserve(std::uint64_t from);
};

// Takes the samples of a movie: the difference between a regular and a fragmented one.
//
// Order of calls: prepareTrack and addTrack for each track, addSample in decoding order within each
// track, finish. endMedia may be called any time before finish.
class SampleSink {
 public:
  virtual ~SampleSink() = default;

  // Sets the room for the sample tables of a track. Throws implausibleCount for more samples than
  // any real file has.
  virtual void prepareTrack(TrackParameters& parameters) const = 0;

  // Call it when the movie has a new last track and its header is up to date. Brings the movie box
  // in the file up to date with both.
  virtual void addTrack() = 0;

  // Takes a sample with its decoding time in the media, which excludes gaps.
  virtual void addSample(TrackDraft& track, const SampleToWrite& sample,
                         std::uint64_t mediaTime) = 0;

  // Completes the media added so far, so that another top-level box can be placed after it.
  virtual void endMedia() = 0;

  // Completes the file. By then the edit lists and durations of the tracks are final.
  virtual void finish() = 0;
};

}  // namespace norvik::kav::impl
