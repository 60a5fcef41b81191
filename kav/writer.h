#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "kav/date_time.h"
#include "kav/reader.h"
#include "kav/sample_desc_info.h"
#include "kav/streams.h"
#include "kav/track_info.h"

namespace norvik::kav {

namespace impl {
class Writer;
}

// What a movie is written with.
struct NorvikKavWriterConfiguration {
  std::uint32_t timescale = 0;         // of the movie, units per second; must not be 0
  NorvikKavDateTime creationTime;      // of the movie
  NorvikKavDateTime modificationTime;  // of the movie
  float rate = 1;                      // 1 is normal speed
  float volume = 1;                    // 1 is full volume

  // Write movie fragments instead of one block of media data; see Writer.
  bool fragmented = false;
  std::uint64_t fragmentDuration = 0;  // units of timescale; with 0 fragments last two seconds
  bool randomAccess = false;           // end the file with a list of its sync samples
};

// What a track is written with.
struct NorvikKavTrackConfiguration {
  // The header values. trackId and duration are not taken: tracks are numbered as they are added,
  // and durations follow from the samples.
  NorvikKavTrackInfo info;
  std::uint32_t handlerType = 0;  // a four-character code, its first character in the high byte
  std::string handlerName;        // written with a closing zero

  std::vector<std::uint32_t> hintedTracks;  // of a hint track: the numbers of the tracks it hints

  // Room is reserved ahead of the media data, so the most that is to come is said beforehand. Only
  // descriptions may exceed it, at the cost of writing the head of the movie anew.
  std::uint32_t sampleCount = 0;        // samples with media; no room in a fragmented movie
  std::uint32_t gapCount = 0;           // gaps between them
  std::uint32_t descriptionCount = 0;   // sample descriptions
  std::uint32_t descriptionLength = 0;  // header bytes of one of them on average, rounded up
};

// One sample to be written.
struct NorvikKavWriterSample {
  std::uint32_t trackNumber = 0;        // as addTrack returned it
  std::uint32_t descriptionIndex = 1;   // 1-based, in the order of addSampleDescription
  std::uint64_t decodingTime = 0;       // units of the track's timescale
  std::uint32_t compositionOffset = 0;  // same units
  std::uint32_t flags = 0;              // as in NorvikKavSampleInfo; a gap carries no bytes
  std::uint32_t size = 0;               // bytes
  const void* data = nullptr;           // size bytes; read before addSample returns
};

// Writes a movie. Order of calls: construct; addTrack for each track, followed by its
// addSampleDescription; addSample, in decoding order within each track; finish.
// setXMPMetadata may come anywhere before finish, but once the first track is added only after the
// last one.
//
// A regular movie is laid out as ftyp, moov, mdat: the moov box is given room for the announced
// samples ahead of the media data, and finish moves its tables together and covers what is left
// with a free box.
//
// A fragmented movie is laid out as ftyp, moov, then moof and mdat for each fragment, then, with
// random access, mfra. The samples of a fragment wait in memory until it is complete. It ends
// before a sync sample of the first video track, once it has lasted for the fragment duration in
// that track; in a movie without a video track, before the first sample with which any track has.
// Earlier than that it ends when its samples come to 64 MiB, where a track goes on with another
// sample description, and where metadata is set. Every fragment has a part for every track. The
// moov box is written with every track, with the first sample, and once more, with its durations
// and edit lists, at the finish: room for the edits of the announced gaps is kept after it. Until
// the finish it says that the fragments last as long as the configured fragment duration.
//
// Every failure is thrown as Exception; after one the movie is incomplete and only
// destruction makes sense.
class Writer {
 public:
  // Opens the stream, of which the writer holds a share until it is finished, and writes the head
  // of the file. Throws missingArgument for a null stream, zeroTimescale.
  Writer(NorvikIOStream* stream, const NorvikKavWriterConfiguration& configuration);

  // A writer that was moved from can only be destroyed or assigned to.
  Writer(Writer&&) noexcept;

  // The movie that was being written here stays incomplete.
  Writer& operator=(Writer&&) noexcept;

  // Without finish the movie stays incomplete.
  ~Writer();

  // Returns the number of the track, counting from 1. Throws zeroTimescale; tracksClosedBySamples
  // or tracksClosedByMetadata once samples or metadata were written; addTrackAfterFinish;
  // implausibleCount or implausibleSampleCount for more than 100 million samples or descriptions.
  std::uint32_t addTrack(const NorvikKavTrackConfiguration& configuration);

  // Adds a copy of a description that was read or made. Throws writerNotOpen, missingArgument,
  // unknownTrack, unsupportedTrackType; tracksClosedBySamples once samples were written.
  void addSampleDescription(std::uint32_t trackNumber,
                            const NorvikKavSampleDescription* description);

  // Adds the next sample of a track. Throws writerNotOpen; missingArgument; unknownTrack;
  // unknownDescription for an index that is 0 or above the number of the track's descriptions (a
  // track without any has samples of index 1); editListFull for more gaps than were announced, or
  // for an edit list of more than 255 edits, which 127 gaps fill; sampleTableFull for more samples
  // than were announced, in a regular movie; sampleTimeBackwards and sampleTooLarge (1 GiB), in a
  // fragmented movie; and what the stream throws.
  void addSample(const NorvikKavWriterSample& sample);

  // Writes an XMP packet of at most 64 MiB where the file has got to. A fragment that is open ends
  // with the samples that came so far; the last one of each track then lasts one tick of the movie,
  // as at the end of the track, however much later the next one begins. A packet that comes before
  // the first track waits, and is written before the first sample. Throws writerNotOpen,
  // missingArgument, metadataTooLarge.
  void setXMPMetadata(const void* bytes, std::size_t size);

  // Completes the movie and lets go of the stream, which is not closed. Throws writerNotOpen for a
  // second call; editListFull, as addSample does; and what the stream throws.
  void finish();

 private:
  std::unique_ptr<impl::Writer> impl_;
};

}  // namespace norvik::kav
