#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "kav/date_time.h"
#include "kav/sample_description.h"
#include "kav/sample_to_write.h"
#include "kav/streams.h"
#include "kav/track_info.h"

namespace norvik::kav {

namespace impl {
class Writer;
}

// The parameters of a movie to be written.
struct NorvikKavWriterConfiguration {
  std::uint32_t timescale = 0;         // of the movie, units per second; must not be 0
  NorvikKavDateTime creationTime;      // of the movie
  NorvikKavDateTime modificationTime;  // of the movie
  float rate = 1;                      // 1 is normal speed
  float volume = 1;                    // 1 is full volume

  // If true, write movie fragments instead of one block of media data; see Writer.
  bool fragmented = false;
  std::uint64_t fragmentDuration = 0;  // units of timescale; 0: two seconds
  bool randomAccess = false;           // end the file with a list of its sync samples
};

// The parameters of a track to be written.
struct NorvikKavTrackConfiguration {
  // The header values. trackId and duration are ignored: tracks are numbered in the order of
  // addTrack, and durations follow from the samples.
  NorvikKavTrackInfo info;
  std::uint32_t handlerType = 0;  // a four-character code, its first character in the high byte
  std::string handlerName;        // written with a closing zero

  std::vector<std::uint32_t> hintedTracks;  // of a hint track: the numbers of the tracks it hints

  // Room is reserved before the media data, so the maximum is announced first. Only descriptions
  // may exceed it, at the cost of rewriting the head of the movie.
  std::uint32_t sampleCount = 0;       // samples with media; reserves nothing in a fragmented movie
  std::uint32_t gapCount = 0;          // gaps between them
  std::uint32_t descriptionCount = 0;  // sample descriptions
  std::uint32_t descriptionLength = 0;  // average header bytes of a description, rounded up
};

// Writes a movie. Order of calls: construct; addTrack for each track, followed by its
// addSampleDescription; addSample, in decoding order within each track; finish. setXMPMetadata may
// be called any time before finish, but once the first track is added only after the last one.
//
// A regular movie is laid out as ftyp, moov, mdat: the moov box gets room for the announced
// samples, before the media data. finish packs its tables and covers the remaining room with a free
// box.
//
// A fragmented movie is laid out as ftyp, moov, then moof and mdat for each fragment, then, with
// random access, mfra. The samples of a fragment are kept in memory until it is complete. It ends
// before a sync sample of the first video track, once it has lasted for the fragment duration in
// that track. In a movie without a video track it ends before the first sample with which any track
// reaches that duration. It ends earlier when its samples come to 64 MiB, where a track continues
// with another sample description, and where metadata is set. Every fragment has a part for every
// track. The moov box is written with every track, with the first sample, and again at the finish
// with its durations and edit lists: room for the edits of the announced gaps is kept after it.
// Until then it states the configured fragment duration as that of all fragments.
//
// Every failure is thrown as Exception. Afterwards the movie is incomplete, and the writer may only
// be destroyed.
class Writer {
 public:
  // Opens the stream, keeps a share of it until finish, and writes the head of the file. Throws
  // missingArgument for a null stream, zeroTimescale.
  Writer(NorvikIOStream* stream, const NorvikKavWriterConfiguration& configuration);

  // A moved-from writer may only be destroyed or assigned to.
  Writer(Writer&&) noexcept;

  // The movie that this writer was writing stays incomplete.
  Writer& operator=(Writer&&) noexcept;

  // Without finish the movie stays incomplete.
  ~Writer();

  // Returns the number of the track, counting from 1. Throws zeroTimescale; tracksClosedBySamples
  // or tracksClosedByMetadata once samples or metadata were written; addTrackAfterFinish;
  // implausibleCount or implausibleSampleCount for more than 100 million samples or descriptions.
  std::uint32_t addTrack(const NorvikKavTrackConfiguration& configuration);

  // Adds a description that was read or made. Throws writerNotOpen, unknownTrack,
  // unsupportedTrackType; tracksClosedBySamples once samples were written.
  void addSampleDescription(std::uint32_t trackNumber, const SampleDescription& description);

  // The same by a plain handle. Throws missingArgument for a null one.
  void addSampleDescription(std::uint32_t trackNumber,
                            const NorvikKavSampleDescription* description);

  // Adds the next sample of a track. Throws writerNotOpen; missingArgument; unknownTrack;
  // unknownDescription for an index that is 0 or above the number of the track's descriptions (a
  // track without any has samples of index 1); editListFull for more gaps than were announced, or
  // for an edit list of more than 255 edits, which 127 gaps fill; sampleTableFull for more samples
  // than were announced, in a regular movie; sampleTimeBackwards and sampleTooLarge (1 GiB), in a
  // fragmented movie; and what the stream throws.
  void addSample(const SampleToWrite& sample);

  // Writes an XMP packet of at most 64 MiB at the current end of the file. An open fragment ends
  // with the samples added so far. The last one of each track then lasts one tick of the movie, as
  // at the end of the track, however much later the next one begins. A packet given before the
  // first track is kept and written before the first sample. Throws writerNotOpen, missingArgument,
  // metadataTooLarge.
  void setXMPMetadata(const void* bytes, std::size_t size);

  // Completes the movie and releases the stream without closing it. Throws writerNotOpen for a
  // second call; editListFull, as addSample does; and the exceptions of the stream.
  void finish();

 private:
  std::unique_ptr<impl::Writer> impl_;
};

}  // namespace norvik::kav
