#pragma once

#include <boost/smart_ptr/intrusive_ptr.hpp>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "kav/impl/bytes/sample_read_cache.h"
#include "kav/impl/reading/doc_iterator.h"
#include "kav/impl/reading/track_record.h"
#include "kav/impl/tree/kav_document.h"
#include "kav/movie_info.h"
#include "kav/sample_options.h"
#include "kav/track.h"

namespace norvik::kav::impl {

class MdatBox;
class XMPDataBox;

struct ReaderOptions {
  bool ignoreEditLists = false;
  ProblemHandler problemHandler{};
};

// A movie opened for reading: its tracks, and iterators over its samples. Iterators, track records
// and samples refer to the reader and must not outlive it.
class Reader {
 public:
  // Throws noMovie for a stream without a moov box.
  Reader(boost::intrusive_ptr<NorvikIStream> stream, const ReaderOptions& options);

  const MovieInfo& info() const { return info_; }

  // The tracks in file order, and the reader's records of them.
  std::span<const Track> tracks() const { return tracks_; }
  std::span<const TrackRecord> records() const { return records_; }

  MdatBox* mediaData() const { return mediaData_; }

  // All samples of the file, with edit lists applied unless the reader's options say otherwise.
  std::unique_ptr<DocIterator> createDocIterator();

  // The samples selected by the options.
  std::unique_ptr<DocIterator> createDocIterator(const SampleOptions& options);

  // By how many ticks of a track its samples are delivered later than its edit list says.
  std::uint64_t editShift(const TrackRecord& track) const;

  // Counts the samples selected by the options, in one record for each track, until they cost more
  // than the limit.
  std::vector<TrackTotals> countSamples(std::uint64_t costLimit);
  std::vector<TrackTotals> countSamples(std::uint64_t costLimit, const SampleOptions& options);

  // The payload of the XMP box; empty if there is none. The view lives as long as the reader.
  std::span<const std::uint8_t> metadata();

  // The length of that payload, without loading it into memory.
  std::uint64_t metadataLength();

  // Copies the header bytes of a description into a buffer of its header length.
  static void getSampleDescription(const SampleDescription& description, std::uint8_t* buffer);

  // Copies the metadata into the caller's buffer; does nothing if there is none.
  void getMetadata(std::uint8_t* buffer);

  // The top-level boxes of the whole file; see listTopLevelBoxes.
  std::vector<BoxPlace> topLevelBoxes();

  std::uint64_t fileLength() const { return document_.stream().size(); }
  bool hasBytes(std::uint64_t offset, std::uint64_t length) const;

  // Copies bytes of the file. Throws shortRead if the file ends first.
  void readBytes(std::uint64_t offset, std::span<std::uint8_t> destination);
  void peekBytes(std::uint64_t offset, std::span<std::uint8_t> destination);
  void checkBytes(std::uint64_t offset, std::uint64_t length) const;

 private:
  void addTrack(TrakBox& trak);
  SampleOptions wholeFile() const;
  XMPDataBox* findMetadata();
  void readThroughCache(std::uint64_t offset, std::span<std::uint8_t> destination);
  [[gnu::noinline]] void readFromTwoBlocks(std::uint64_t offset,
                                           std::span<std::uint8_t> destination,
                                           std::size_t inFirst);

  ReaderOptions options_;
  KavDocument document_;
  MovieInfo info_;
  std::vector<Track> tracks_;
  std::vector<TrackRecord> records_;  // of the same tracks
  MdatBox* mediaData_ = nullptr;
  bool hasNoMetadata_ = false;  // known once the file has been read to its end
  std::optional<SampleReadCache> cache_;
};

}  // namespace norvik::kav::impl
