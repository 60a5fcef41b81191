#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "kav/reader.h"
#include "kav/streams.h"
#include "src/sample_bytes.h"

namespace quarrypack {

// A track of the input as the conversion sees it.
struct InputTrack {
  norvik::kav::NorvikKavTrackInfo info;
  std::uint32_t handlerType = 0;
  std::string name;
};

// A sample description of the input, which owns it.
struct InputDescription {
  const norvik::kav::NorvikKavSampleDescription* handle = nullptr;
  std::vector<std::uint8_t> header;
};

// A sample of the input, without its bytes.
struct InputSample {
  norvik::kav::NorvikKavSampleInfo info;
  norvik::kav::NorvikKavSampleLocation location;
};

// The samples of all tracks of a movie, merged by decoding time. The movie must outlive
// it.
class SampleWalk {
 public:
  explicit SampleWalk(norvik::kav::NorvikKavReader* reader);

  // Steps to the next sample; false behind the last one.
  bool next(InputSample& sample);

  // Whether the sample that next() gave was the last one.
  bool isAtLast() const;

 private:
  struct Closer {
    void operator()(norvik::kav::NorvikKavSampleIterator* iterator) const;
  };

  std::unique_ptr<norvik::kav::NorvikKavSampleIterator, Closer> iterator_;
};

// The movie that is converted: the library's reader, whose codes become exceptions here:
// std::bad_alloc for a lack of memory, kav::Exception for all others.
class InputMovie final : public ByteSource {
 public:
  // Opens the movie. The stream must outlive this object.
  explicit InputMovie(norvik::kav::NorvikIStream& stream);

  norvik::kav::NorvikKavMovieInfo info() const;
  std::vector<InputTrack> readTracks() const;

  // Of the track at a place in the file.
  std::uint32_t descriptionCount(std::uint32_t track) const;
  InputDescription description(std::uint32_t track, std::uint32_t index) const;  // 1-based
  std::size_t descriptionLength(std::uint32_t track, std::uint32_t index) const;

  // What the samples may come to, in bytes, each at least kSmallestSampleCost. Edits may show the
  // same media again, and do so in real movies; the limit keeps a small file made for it from
  // filling a disk.
  std::uint64_t costLimit() const { return costLimit_; }

  // The samples of each track and the gaps between them, up to the cost limit.
  std::vector<norvik::kav::NorvikKavTrackTotals> countSamples(std::size_t trackCount) const;

  // By how many ticks of the track its samples come later than its edit list says.
  std::uint64_t editShift(std::uint32_t track) const;

  SampleWalk samples() const { return SampleWalk(reader_.get()); }

  // Throws shortRead for a sample that is not wholly in the file.
  void requireBytes(const InputSample& sample) const;

  void readAt(std::uint64_t fileOffset, std::span<std::uint8_t> destination) override;
  void peekAt(std::uint64_t fileOffset, std::span<std::uint8_t> destination) override;

 private:
  struct Closer {
    void operator()(norvik::kav::NorvikKavReader* reader) const;
  };

  std::unique_ptr<norvik::kav::NorvikKavReader, Closer> reader_;
  std::uint64_t costLimit_;
};

}  // namespace quarrypack
