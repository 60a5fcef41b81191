#pragma once

#include <cstddef>
#include <cstdint>

#include "kav/date_time.h"
#include "kav/movie_info.h"
#include "kav/problem_handler.h"
#include "kav/sample_desc_info.h"
#include "kav/sample_description.h"
#include "kav/sample_info.h"
#include "kav/streams.h"
#include "kav/track_info.h"

// Reading a movie through functions and plain handles, for programs that catch no exceptions. In
// C++ kav/movie.h is shorter and safer; these functions are a thin layer over it.
//
// Every function returns an error code: 0 for success, 20 (ErrorCode::missingArgument) for a null
// handle or output pointer, else the number of the ErrorCode that ended it. None of them throws. On
// failure the output is unchanged.
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

// The handle of one sample description is a NorvikKavSampleDescription. One that was read belongs
// to the reader; one that was made belongs to its maker.

// Options for reading a movie.
struct NorvikKavReaderOptions {
  // Deliver every track's media as stored, without applying edit lists.
  bool ignoreEditLists = false;

  // Called for irregularities while boxes are read; see ProblemHandler.
  ProblemHandler problemHandler{};
};

// The fields of a movie's header; a movie without one has these defaults.
struct NorvikKavMovieInfo {
  std::uint32_t structSize = 56;  // the length of this record in bytes
  std::uint32_t timescale = 0;    // units per second
  // In units of timescale. 32-bit x86 would align it to 4 bytes only.
  alignas(8) std::uint64_t duration = 0;
  NorvikKavDateTime creationTime;      // of the movie
  NorvikKavDateTime modificationTime;  // of the movie
  float rate = 1;                      // 1 is normal speed
  float volume = 1;                    // 1 is full volume
  std::uint32_t trackCount = 0;        // tracks of every kind
  std::uint32_t isFragmented = 0;      // 1 when the movie announces fragments
};
static_assert(sizeof(NorvikKavMovieInfo) == 56);

// The place of a sample, and its track, description and fragment.
struct NorvikKavSampleLocation {
  std::uint64_t fileOffset = 0;        // of its first byte
  std::uint32_t trackIndex = 0;        // 0-based, in file order
  std::uint32_t descriptionIndex = 0;  // 1-based; 0 when the sample has no description
  std::uint32_t fragmentSequence = 0;  // sequence number of its fragment; 0 outside fragments

  // What the sample depends on and what depends on it, in the form of an sdtp byte. In a fragmented
  // movie the flags of NorvikKavSampleInfo do not contain it; to write it, set their bits 8 to 15
  // to it.
  std::uint32_t dependencies = 0;
};

// The number of samples of one track, for reserving space.
using NorvikKavTrackTotals = TrackTotals;

// Opens a movie on a stream; the reader keeps a share of it until it is closed. Reads up to and
// including the moov box. Fails with noMovie (6) and with the errors of boxes that are refused.
std::uint32_t openReader(NorvikIStream* stream, const NorvikKavReaderOptions& options,
                         NorvikKavReader** reader) noexcept;

// Closes a reader and returns its share of the stream. Everything taken from it must have been
// closed before.
std::uint32_t closeReader(NorvikKavReader* reader) noexcept;

// Copies the fields of the movie's header.
std::uint32_t getMovieInfo(NorvikKavReader* reader, NorvikKavMovieInfo* info) noexcept;

// Copies the fields of a track's headers. Tracks are numbered from 0 in file order; a number past
// the end gives 20, here and in every function that takes one.
std::uint32_t getTrackInfo(NorvikKavReader* reader, std::uint32_t trackIndex,
                           NorvikKavTrackInfo* info) noexcept;

// The handler type of a track, a four-character code with its first character in the high byte.
std::uint32_t getTrackHandler(NorvikKavReader* reader, std::uint32_t trackIndex,
                              std::uint32_t* handlerType) noexcept;

// Copies the name of a track: NorvikKavTrackInfo::handlerNameLength bytes, the last one zero.
std::uint32_t getTrackName(NorvikKavReader* reader, std::uint32_t trackIndex,
                           char* buffer) noexcept;

// Counts the sample descriptions of a track; 0 for a track without a list of them.
std::uint32_t getSampleDescriptionCount(NorvikKavReader* reader, std::uint32_t trackIndex,
                                        std::uint32_t* count) noexcept;

// Finds a sample description. They are numbered from 1, as samples refer to them; any other number
// gives 20. The handle belongs to the reader: it is never closed and lives as long as the reader.
std::uint32_t getSampleDescriptionHandle(NorvikKavReader* reader, std::uint32_t trackIndex,
                                         std::uint32_t descriptionIndex,
                                         const NorvikKavSampleDescription** description) noexcept;

// Copies the part that all kinds of description share: only the base of a longer record. structSize
// is that of the base, so makeSampleDescription accepts the copy only if the base is the whole
// record.
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

// Makes a new description, for a movie to be written. info is the base of its handler's record,
// with the length in structSize; header holds info->headerLength bytes. Fails with
// unsupportedTrackType (15) for a record whose length is not that of its handler's. The caller owns
// and closes the description.
std::uint32_t makeSampleDescription(const NorvikKavSampleDescInfo* info, const std::uint8_t* header,
                                    NorvikKavSampleDescription** description) noexcept;

// Copies a description, read or made, with everything in it. The caller owns and closes the copy,
// which may outlive the reader.
std::uint32_t copySampleDescription(const NorvikKavSampleDescription* description,
                                    NorvikKavSampleDescription** copy) noexcept;

// Closes a description from makeSampleDescription or copySampleDescription, and no other.
std::uint32_t closeSampleDescription(NorvikKavSampleDescription* description) noexcept;

// Counts the tracks that a hint track gives hints for; 0 for a track that gives none.
std::uint32_t getHintedTrackCount(NorvikKavReader* reader, std::uint32_t trackIndex,
                                  std::uint32_t* count) noexcept;

// Copies the ids of the tracks that a hint track gives hints for. Their number is that of
// getHintedTrackCount.
std::uint32_t getHintedTracks(NorvikKavReader* reader, std::uint32_t trackIndex,
                              std::uint32_t* trackIds) noexcept;

// How much later the samples of a track are delivered than its edit list states, in ticks of the
// track. Edit lists count in presentation times, but samples are selected by decoding time. So the
// composition offset of the first sample is subtracted from the first media time, at most down to
// 0. Otherwise the leading key picture of a track with reordered pictures would be lost. The result
// is 0 for a track without an edit list or without such an offset, and for a reader that ignores
// edit lists. May read the first sample of the track, and fails as an iterator over it does.
std::uint32_t getEditShift(NorvikKavReader* reader, std::uint32_t trackIndex,
                           std::uint64_t* ticks) noexcept;

// Counts the samples that a sample iterator would deliver, track by track, without reading sample
// bytes. totals must have room for NorvikKavMovieInfo::trackCount records. Overlapping samples and
// repeated edits let a small file deliver any amount. So the count ends once the counted samples
// together cost more than costLimit bytes, each at least kSmallestSampleCost. A failure inside a
// track, or a sample whose bytes lie past the end of the file, ends that track's count and is not
// reported here.
std::uint32_t countSamples(NorvikKavReader* reader, std::uint64_t costLimit,
                           NorvikKavTrackTotals* totals) noexcept;

// Begins a walk over the samples of all tracks, merged by decoding time. The caller closes it.
std::uint32_t createSampleIterator(NorvikKavReader* reader,
                                   NorvikKavSampleIterator** iterator) noexcept;

// Closes a walk; its samples may still be open.
std::uint32_t closeSampleIterator(NorvikKavSampleIterator* iterator) noexcept;

// Sets hasNext to 1 if there is a next sample, else to 0.
std::uint32_t hasNextSample(NorvikKavSampleIterator* iterator, std::uint32_t* hasNext) noexcept;

// Returns the next sample, null at the end. The caller closes it.
std::uint32_t nextSample(NorvikKavSampleIterator* iterator, NorvikKavSample** sample) noexcept;

// Closes a sample.
std::uint32_t closeSample(NorvikKavSample* sample) noexcept;

// Copies the times, the size and the flags of a sample.
std::uint32_t getSampleInfo(const NorvikKavSample* sample, NorvikKavSampleInfo* info) noexcept;

// Copies the place of a sample's bytes, for readBytes.
std::uint32_t getSampleLocation(const NorvikKavSample* sample,
                                NorvikKavSampleLocation* location) noexcept;

// Copies length bytes at an offset in the file: the bytes of a sample, by its location and size, or
// a part of them. Fails with shortRead (5) if the file ends first.
std::uint32_t readBytes(NorvikKavReader* reader, std::uint64_t fileOffset, std::uint8_t* buffer,
                        std::size_t length) noexcept;

// Like readBytes, for a few bytes of a sample whose other bytes are not needed soon: the
// surrounding bytes are not fetched.
std::uint32_t peekBytes(NorvikKavReader* reader, std::uint64_t fileOffset, std::uint8_t* buffer,
                        std::size_t length) noexcept;

// Checks whether length bytes at an offset lie in the file: returns 0, or shortRead (5).
std::uint32_t checkBytes(NorvikKavReader* reader, std::uint64_t fileOffset,
                         std::uint64_t length) noexcept;

// The length of the movie's XMP metadata in bytes; 0 if there is none. Reads further top-level
// boxes until the metadata is found.
std::uint32_t getMetadataLength(NorvikKavReader* reader, std::size_t* length) noexcept;

// Copies the XMP metadata of the movie: as many bytes as getMetadataLength returns.
std::uint32_t getMetadata(NorvikKavReader* reader, std::uint8_t* buffer) noexcept;

}  // namespace norvik::kav
