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

namespace norvik::kav::impl {

class MdatBox;
class MvhdBox;
class SampleDescriptor;
class XMPDataBox;

struct ReaderOptions {
  bool ignoreEditLists = false;
  ProblemHandler problemHandler{};
};

// What a track's samples come to, as far as they are in the file.
struct TrackTotals {
  std::uint32_t sampleCount = 0;
  std::uint32_t gapCount = 0;
};

// A movie opened for reading: its tracks, and iterators over its samples. Iterators, track records
// and samples refer to the reader and must not outlive it.
class Reader {
 public:
  // Throws noMovie for a stream without a moov box.
  Reader(boost::intrusive_ptr<NorvikIStream> stream, const ReaderOptions& options);

  std::span<const TrackRecord> tracks() const { return tracks_; }
  const MvhdBox* movieHeader() const;
  bool isFragmented() const;
  MdatBox* mediaData() const { return mediaData_; }

  // All samples of the file, edit lists applied unless the reader was told to ignore them.
  std::unique_ptr<DocIterator> createDocIterator();

  // By how many ticks of a track its samples are delivered later than its edit list says.
  std::uint64_t editShift(const TrackRecord& track) const;

  // What the track iterators behind createDocIterator would deliver, a record for each track, until
  // the samples cost more than the limit.
  std::vector<TrackTotals> countSamples(std::uint64_t costLimit);

  // The payload of the XMP box; empty when there is none. The view lives as long as the reader.
  std::span<const std::uint8_t> metadata();

  // The length of the same, without bringing it into memory.
  std::uint64_t metadataLength();

  // Copies the header bytes of a description into a buffer of its header length.
  static void getSampleDescription(const SampleDescriptor& description, std::uint8_t* buffer);

  // Copies the metadata into the caller's buffer; nothing when there is none.
  void getMetadata(std::uint8_t* buffer);

  // Copies bytes of the file. Throws shortRead when it ends before.
  void readBytes(std::uint64_t offset, std::span<std::uint8_t> destination);
  void peekBytes(std::uint64_t offset, std::span<std::uint8_t> destination);
  void checkBytes(std::uint64_t offset, std::uint64_t length);

 private:
  void addTrack(TrakBox& trak);
  DocIteratorOptions iteratorOptions() const;
  std::vector<std::unique_ptr<SampleIterator>> createIterators();
  std::uint32_t movieTimescale() const;
  XMPDataBox* findMetadata();

  ReaderOptions options_;
  KavDocument document_;
  std::vector<TrackRecord> tracks_;
  MdatBox* mediaData_ = nullptr;
  bool hasNoMetadata_ = false;  // known once the file was read to its end
  std::optional<SampleReadCache> cache_;
};

}  // namespace norvik::kav::impl
