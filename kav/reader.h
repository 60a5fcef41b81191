#pragma once

#include <cstddef>
#include <cstdint>

#include "kav/date_time.h"
#include "kav/problem_handler.h"
#include "kav/sample_desc_info.h"
#include "kav/sample_info.h"
#include "kav/streams.h"
#include "kav/track_info.h"

// Reading a movie, through functions and plain handles.
//
// Every function returns an error code: 0 for success, 20 (ErrorCode::missingArgument) for a null
// handle or output pointer, else the number of the ErrorCode that ended it. No exception leaves
// them. On failure the output is not touched.
//
// Order of calls: openReader first; then anything that takes the reader; closeReader last.
// Iterators and samples taken from a reader must be closed before it. Everything taken from one
// reader shares one stream position and must be used from one thread.

namespace norvik::kav {

// An open movie.
struct NorvikKavReader;

// A walk over its samples.
struct NorvikKavSampleIterator;

// One sample, without its bytes.
struct NorvikKavSample;

// One sample description. One that was read belongs to the reader, one that was made to its maker.
struct NorvikKavSampleDescription;

// How a movie is read.
struct NorvikKavReaderOptions {
  // Deliver every track's media as it is stored, without applying edit lists.
  bool ignoreEditLists = false;

  // Asked about oddities while boxes are read; see ProblemHandler.
  ProblemHandler problemHandler{};
};

// What the header of a movie says; a movie without one has the values that stand here.
struct NorvikKavMovieInfo {
  std::uint32_t structSize = 56;       // the length of this record in bytes
  std::uint32_t timescale = 0;         // units per second
  std::uint64_t duration = 0;          // units of timescale
  NorvikKavDateTime creationTime;      // of the movie
  NorvikKavDateTime modificationTime;  // of the movie
  float rate = 1;                      // 1 is normal speed
  float volume = 1;                    // 1 is full volume
  std::uint32_t trackCount = 0;        // tracks of every kind
  std::uint32_t isFragmented = 0;      // 1 when the movie announces fragments
};
static_assert(sizeof(NorvikKavMovieInfo) == 56);

// Where a sample lies and what it belongs to.
struct NorvikKavSampleLocation {
  std::uint64_t fileOffset = 0;        // of its first byte
  std::uint32_t trackIndex = 0;        // 0-based, in the order of the file
  std::uint32_t descriptionIndex = 0;  // 1-based; 0 when the sample has no description
  std::uint32_t fragmentSequence = 0;  // sequence number of its fragment; 0 outside fragments

  // What it depends on and what depends on it, as an sdtp byte says it. In a fragmented movie the
  // flags of NorvikKavSampleInfo leave this out; to write it, put it into bits 8 to 15 of them.
  std::uint32_t dependencies = 0;
};

// How much the samples of one track come to, for whoever has to make room for them.
struct NorvikKavTrackTotals {
  std::uint32_t sampleCount = 0;  // samples that carry media
  std::uint32_t gapCount = 0;     // empty-edit samples
};

// Opens a movie on a stream, of which the reader holds a share until it is closed. Reads up to and
// including the moov box. Fails with noMovie (6) and with whatever the boxes are refused for.
std::uint32_t openReader(NorvikIStream* stream, const NorvikKavReaderOptions& options,
                         NorvikKavReader** reader) noexcept;

// Closes a reader and gives its share of the stream back. Everything taken from it must have been
// closed before.
std::uint32_t closeReader(NorvikKavReader* reader) noexcept;

// Copies what the movie says about itself.
std::uint32_t getMovieInfo(NorvikKavReader* reader, NorvikKavMovieInfo* info) noexcept;

// Copies what the headers of a track say. Tracks are numbered from 0 in the order of the file; a
// number past the end gives 20, here and in every function that takes one.
std::uint32_t getTrackInfo(NorvikKavReader* reader, std::uint32_t trackIndex,
                           NorvikKavTrackInfo* info) noexcept;

// The handler type of a track, a four-character code with its first character in the high byte.
std::uint32_t getTrackHandler(NorvikKavReader* reader, std::uint32_t trackIndex,
                              std::uint32_t* handlerType) noexcept;

// Copies the name of a track: NorvikKavTrackInfo::handlerNameLength bytes, the last one zero.
std::uint32_t getTrackName(NorvikKavReader* reader, std::uint32_t trackIndex,
                           char* buffer) noexcept;

// Counts the sample descriptions of a track; 0 when it has no list of them.
std::uint32_t getSampleDescriptionCount(NorvikKavReader* reader, std::uint32_t trackIndex,
                                        std::uint32_t* count) noexcept;

// Finds a sample description. They are numbered from 1, as samples refer to them; another number
// gives 20. The handle belongs to the reader: it is never closed and lives as long as the reader.
std::uint32_t getSampleDescriptionHandle(NorvikKavReader* reader, std::uint32_t trackIndex,
                                         std::uint32_t descriptionIndex,
                                         const NorvikKavSampleDescription** description) noexcept;

// Copies what every kind of description has: the base of its record, and no more of a longer one.
// structSize is that of the base, so makeSampleDescription takes the copy only where the base is
// the whole record.
std::uint32_t getSampleDescriptionInfo(const NorvikKavSampleDescription* description,
                                       NorvikKavSampleDescInfo* info) noexcept;

// Copies the whole record of a description of pictures. Fails with unsupportedTrackType (15) for
// one of another kind.
std::uint32_t getVideoSampleDescriptionInfo(const NorvikKavSampleDescription* description,
                                            NorvikKavVideoSampleDescInfo* info) noexcept;

// Copies the whole record of a description of sound. Fails with unsupportedTrackType (15) for one
// of another kind.
std::uint32_t getAudioSampleDescriptionInfo(const NorvikKavSampleDescription* description,
                                            NorvikKavAudioSampleDescInfo* info) noexcept;

// Copies the header bytes of a description: NorvikKavSampleDescInfo::headerLength bytes.
std::uint32_t getSampleDescription(const NorvikKavSampleDescription* description,
                                   std::uint8_t* buffer) noexcept;

// Makes a description that was not read, for a movie to be written. info is the first part of the
// record of its handler, which structSize tells the length of; header holds info->headerLength
// bytes. Fails with unsupportedTrackType (15) for a record of another length than its handler's. It
// belongs to the caller, who closes it.
std::uint32_t makeSampleDescription(const NorvikKavSampleDescInfo* info, const std::uint8_t* header,
                                    NorvikKavSampleDescription** description) noexcept;

// Makes a copy of a description, read or made, with everything in it. It belongs to the caller, who
// closes it, and may outlive the reader.
std::uint32_t copySampleDescription(const NorvikKavSampleDescription* description,
                                    NorvikKavSampleDescription** copy) noexcept;

// Closes a description that makeSampleDescription or copySampleDescription made, and no other.
std::uint32_t closeSampleDescription(NorvikKavSampleDescription* description) noexcept;

// Counts the tracks that a hint track gives hints for; 0 for a track that gives none.
std::uint32_t getHintedTrackCount(NorvikKavReader* reader, std::uint32_t trackIndex,
                                  std::uint32_t* count) noexcept;

// Copies the ids of the tracks that a hint track gives hints for: as many as getHintedTrackCount
// tells.
std::uint32_t getHintedTracks(NorvikKavReader* reader, std::uint32_t trackIndex,
                              std::uint32_t* trackIds) noexcept;

// By how much the samples of a track are delivered later than its edit list says, in ticks of the
// track. Edit lists count in presentation times and samples are picked by decoding time, so the
// composition offset of the first sample is taken off the first media time, as far as it reaches:
// the leading key picture of a track with reordered pictures would be lost otherwise. 0 for a track
// without an edit list or without such an offset, and for a reader that ignores edit lists. May
// read the first sample of the track, and fails as an iterator over it does.
std::uint32_t getEditShift(NorvikKavReader* reader, std::uint32_t trackIndex,
                           std::uint64_t* ticks) noexcept;

// Counts what a sample iterator would deliver, track by track, without touching sample bytes.
// totals has room for NorvikKavMovieInfo::trackCount records. Overlapping samples and repeated
// edits let a small file deliver any amount, so the count ends once samples were counted that cost
// more than costLimit bytes together, each at least kSmallestSampleCost. A failure inside a track,
// or a sample whose bytes lie past the end of the file, ends its count and is not reported here.
std::uint32_t countSamples(NorvikKavReader* reader, std::uint64_t costLimit,
                           NorvikKavTrackTotals* totals) noexcept;

// Begins a walk over the samples of all tracks, merged by decoding time. The caller closes it.
std::uint32_t createSampleIterator(NorvikKavReader* reader,
                                   NorvikKavSampleIterator** iterator) noexcept;

// Closes a walk; its samples may still be open.
std::uint32_t closeSampleIterator(NorvikKavSampleIterator* iterator) noexcept;

// Tells whether there is a next sample: 1 or 0.
std::uint32_t hasNextSample(NorvikKavSampleIterator* iterator, std::uint32_t* hasNext) noexcept;

// Hands over the next sample, null at the end. The caller closes it.
std::uint32_t nextSample(NorvikKavSampleIterator* iterator, NorvikKavSample** sample) noexcept;

// Closes a sample.
std::uint32_t closeSample(NorvikKavSample* sample) noexcept;

// Copies the times, the size and the flags of a sample.
std::uint32_t getSampleInfo(const NorvikKavSample* sample, NorvikKavSampleInfo* info) noexcept;

// Tells where the bytes of a sample are, for readBytes.
std::uint32_t getSampleLocation(const NorvikKavSample* sample,
                                NorvikKavSampleLocation* location) noexcept;

// Copies length bytes at an offset in the file: the bytes of a sample, by its location and size, or
// a part of them. Fails with shortRead (5) when the file ends before.
std::uint32_t readBytes(NorvikKavReader* reader, std::uint64_t fileOffset, std::uint8_t* buffer,
                        std::size_t length) noexcept;

// As readBytes, for a few bytes of a sample whose other bytes will not be asked for soon: what lies
// around them is not fetched.
std::uint32_t peekBytes(NorvikKavReader* reader, std::uint64_t fileOffset, std::uint8_t* buffer,
                        std::size_t length) noexcept;

// Tells whether length bytes at an offset lie in the file: 0, or shortRead (5).
std::uint32_t checkBytes(NorvikKavReader* reader, std::uint64_t fileOffset,
                         std::uint64_t length) noexcept;

// The length of the movie's XMP metadata in bytes, 0 without any. Reads on through the top-level
// boxes until the metadata is found.
std::uint32_t getMetadataLength(NorvikKavReader* reader, std::size_t* length) noexcept;

// Copies the XMP metadata of the movie: as many bytes as getMetadataLength tells.
std::uint32_t getMetadata(NorvikKavReader* reader, std::uint8_t* buffer) noexcept;

}  // namespace norvik::kav
