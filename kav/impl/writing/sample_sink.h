#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "kav/impl/boxes/movie_boxes.h"
#include "kav/impl/bytes/stream_adapters.h"
#include "kav/impl/model/build_parameters.h"
#include "kav/impl/writing/edit_timeline.h"

namespace norvik::kav::impl {

class StblBox;
class TrakBox;

// A sample on its way into the file.
struct SampleToWrite {
  std::uint32_t trackNumber = 0;  // 1-based
  std::uint32_t descriptionIndex = 1;
  std::uint64_t decodingTime = 0;
  std::uint32_t compositionOffset = 0;
  std::uint32_t flags = 0;
  std::span<const std::uint8_t> data;
};

// What writing keeps of a track. The boxes are views into the movie box.
struct TrackDraft {
  TrakBox* trak;
  StblBox* stbl;
  FourCc handlerType;
  std::uint32_t timescale;
  std::uint32_t gapCapacity;  // how many gaps were announced
  bool hasSampleDependencies;
  EditTimeline timeline;
  std::uint32_t descriptionCount = 0;
};

// The movie that is being written, as far as both forms of a movie have it in common: its movie box
// at the head of the file, behind it room for what that box may still grow by, then the media.
struct MovieDraft {
  NorvikKavIOStream& stream;
  MovieParameters parameters;
  MoovBox& moov;
  std::vector<TrackDraft> tracks{};
  std::uint64_t nextBox = 0;     // where the next top-level box goes
  std::uint64_t reserveEnd = 0;  // the end of the room behind the movie box; 0 while there is none

  // Tracks and descriptions can be added until something stands behind the movie box.
  bool isHeadClosed() const { return reserveEnd != 0; }

  // Closes the head with room for a number of bytes, and for the box that covers what is left of
  // them in the end.
  void closeHead(std::uint64_t room);

  // Covers what is left of the room, from a position on, with a free box. Throws implausibleCount
  // for a movie box that is too long for its header.
  void coverReserve(std::uint64_t from);
};

// Where the samples of a movie go: the difference between a regular and a fragmented one.
//
// Order of calls: prepareTrack and addTrack for each track, addSample in decoding order within each
// track, finish. endMedia may come anywhere before finish.
class SampleSink {
 public:
  virtual ~SampleSink() = default;

  // Says what room the sample tables of a track get. Throws implausibleCount for more samples than
  // any real file has.
  virtual void prepareTrack(TrackParameters& parameters) const = 0;

  // The movie has a new last track, and its header is up to date. Brings the movie box in the file
  // up to date with both.
  virtual void addTrack() = 0;

  // Takes a sample with its decoding time in the media, in which gaps do not count.
  virtual void addSample(TrackDraft& track, const SampleToWrite& sample,
                         std::uint64_t mediaTime) = 0;

  // Completes the media that came so far, so that another top-level box can be placed after it.
  virtual void endMedia() = 0;

  // Completes the file. The edit lists and durations of the tracks are final.
  virtual void finish() = 0;
};

}  // namespace norvik::kav::impl
