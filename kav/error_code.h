#pragma once

#include <cstdint>

namespace norvik::kav {

// Every way in which the container library can fail. The numbers are part of the library's
// contract: callers get them from Exception::code() and as the results of the reader's functions.
enum class ErrorCode : std::uint32_t {
  success = 0,           // no failure
  ioFailed = 1,          // the operating system refused a file operation
  fileNotFound = 3,      // no such file
  accessDenied = 4,      // no right to the file, it exists already, or too many files are open
  shortRead = 5,         // the stream ended before the requested bytes
  noMovie = 6,           // no moov box
  outOfMemory = 7,       // no memory was left
  implausibleCount = 9,  // a count or length beyond what any real file holds
  zeroTimescale = 10,    // a movie or track to be written has timescale 0
  incompleteSampleTable = 12,  // a track lacks stts, stsc, stsz or chunk offsets
  childRuleBroken = 14,       // a required child box is missing or repeated, or boxes nest too deep
  unsupportedTrackType = 15,  // a sample description that fits no kind of track
  editListFull = 16,          // more edits than the edit list was built for
  sampleTableFull = 17,       // more samples than the sample table was built for
  missingArgument = 20,       // a null handle, pointer or buffer
  badChunkRun = 23,           // stsc runs out of order, or a run of chunks without samples
  noTrackDefaults = 25,       // no trex for a track that has fragments
  truncatedBox = 27,          // a box holds fewer bytes than its fields need
  truncatedFullBoxHeader = 28,  // no room for the version and flags of a box
  runTooLarge = 29,             // the length of a fragment run overflows
  sampleNumberOverflow = 30,    // the sample numbers of ctts overflow
  implausibleSampleCount =
      31,  // a sample, chunk or description count beyond what any real file holds
  tracksClosedByMetadata = 32,   // no track can be added: metadata was written
  tracksClosedBySamples = 33,    // no track can be added: samples were written
  secondMovie = 36,              // a second moov box
  avcConfigurationOverrun = 42,  // an avcC record runs past the end of its description
  writerNotOpen = 48,            // an operation on a writer that is not open
  stoppedByHandler = 1028,       // the problem handler answered stop
  unsupportedVersion = 1029,     // a box version that this library does not support
  unknownTrack = 1280,           // a sample for a track that was not added
  metadataTooLarge = 1282,       // more than 64 MiB of XMP metadata to be written
  metadataWithoutTracks = 1287,  // kept for its number: metadata may come before any track
  sampleTimeBackwards = 1288,    // in a fragmented movie, a decoding time below the one before it
  sampleTooLarge = 1289,         // a sample of more than 1 GiB for a fragmented movie
  unknownDescription = 1536,     // a sample that names a description which its track does not have
  secondZeltEntry = 1542,        // a second sample entry on a zelt track
  addTrackAfterFinish = 2052,    // a track added to a finished writer
  metadataAfterFinish = 2053,    // kept for its number: a finished writer is not open (48)
};

// Irregularities that a reader can tolerate. The problem handler decides about them; they are not
// errors.
enum class Problem : std::uint32_t {
  trailingBytes = 3073,     // too few bytes for a box header, or brands that are no whole words
  mediaDataPastEnd = 3074,  // an mdat box runs past the end of the file
  childPastParent = 3075,   // a box runs past the end of the box that holds it
};

}  // namespace norvik::kav
