#pragma once

#include <boost/container/small_vector.hpp>

#include <cstddef>
#include <cstdint>
#include <span>
#include <utility>
#include <vector>

namespace quarrypack {

// Where a search through a sample's NAL units may begin. It is valid only for the length prefix
// size that it was found with.
struct NalSearchStart {
  std::uint8_t nalLengthSize = 0;
  std::uint64_t position = 0;
};

// The bytes of one sample, for reading parts of them and inserting bytes between them. Positions
// count from the start of the sample in its current state, earlier insertions included.
class SampleBytes {
 public:
  SampleBytes() = default;
  SampleBytes(const SampleBytes&) = delete;
  SampleBytes& operator=(const SampleBytes&) = delete;
  SampleBytes(SampleBytes&&) = default;
  SampleBytes& operator=(SampleBytes&&) = default;
  virtual ~SampleBytes() = default;

  virtual std::uint64_t size() const = 0;

  // Fills destination with the bytes from position on. All of them must lie inside the sample.
  virtual void read(std::uint64_t position, std::span<std::uint8_t> destination) const = 0;

  // Inserts bytes before the byte at position, or after the last byte if position is size().
  void insert(std::uint64_t position, std::span<const std::uint8_t> bytes) {
    nalSearchStart_ = {};
    insertBytes(position, bytes);
  }

  // A note for repeated searches for the place of the next caption. An insertion resets it.
  NalSearchStart nalSearchStart() const { return nalSearchStart_; }
  void setNalSearchStart(NalSearchStart start) { nalSearchStart_ = start; }

 private:
  virtual void insertBytes(std::uint64_t position, std::span<const std::uint8_t> bytes) = 0;

  NalSearchStart nalSearchStart_;
};

// A sample whose bytes are all in memory.
class MemorySampleBytes final : public SampleBytes {
 public:
  explicit MemorySampleBytes(std::vector<std::uint8_t> bytes) : bytes_(std::move(bytes)) {}

  std::uint64_t size() const override { return bytes_.size(); }
  void read(std::uint64_t position, std::span<std::uint8_t> destination) const override;

  const std::vector<std::uint8_t>& bytes() const { return bytes_; }

 private:
  void insertBytes(std::uint64_t position, std::span<const std::uint8_t> bytes) override;

  std::vector<std::uint8_t> bytes_;
};

// A file from which parts of samples are fetched.
class ByteSource {
 public:
  virtual ~ByteSource() = default;

  // Fills destination with the bytes from the offset on, or throws.
  virtual void readAt(std::uint64_t fileOffset, std::span<std::uint8_t> destination) = 0;

  // The same for a few bytes whose neighbours are not needed.
  virtual void peekAt(std::uint64_t fileOffset, std::span<std::uint8_t> destination) {
    readAt(fileOffset, destination);
  }
};

// Bytes that grow at the place of the latest insertion. Two stacks: the bytes before that place
// and, in reverse order, those after it. Another insertion at the same place costs no more than the
// bytes inserted, so thousands of captions inserted before one another stay cheap.
class GrowingBytes {
 public:
  explicit GrowingBytes(std::span<const std::uint8_t> bytes) : front_(bytes.begin(), bytes.end()) {}

  std::size_t size() const { return front_.size() + back_.size(); }
  void insert(std::size_t position, std::span<const std::uint8_t> bytes);
  void read(std::size_t position, std::span<std::uint8_t> destination) const;

 private:
  // Most samples get one unit of a few pairs, for which no memory is allocated.
  static constexpr std::size_t kUsualUnit = 64;

  boost::container::small_vector<std::uint8_t, kUsualUnit> front_;
  std::vector<std::uint8_t> back_;
};

// A sample that stays in its file, and a list of the insertions between its bytes. The sample's
// bytes are read only when needed, so many captioned samples can wait without being held in memory.
// The source must outlive this object.
class SplicedSampleBytes final : public SampleBytes {
 public:
  SplicedSampleBytes(ByteSource& source, std::uint64_t fileOffset, std::uint64_t sizeInFile)
      : source_(&source), fileOffset_(fileOffset), sizeInFile_(sizeInFile), size_(sizeInFile) {}

  std::uint64_t size() const override { return size_; }
  bool isChanged() const { return size_ != sizeInFile_; }
  void read(std::uint64_t position, std::span<std::uint8_t> destination) const override;

  // Fills destination, which has size() bytes, with the whole sample. Reads the part in the file
  // with one call.
  void copyTo(std::span<std::uint8_t> destination) const;

 private:
  // Bytes inserted before the byte at this place in the file. The list is sorted by place; no two
  // splices share one, and none is empty.
  struct Splice {
    Splice(std::uint64_t place, std::span<const std::uint8_t> inserted)
        : placeInFile(place), bytes(inserted) {}

    std::uint64_t placeInFile;
    GrowingBytes bytes;
  };

  void insertBytes(std::uint64_t position, std::span<const std::uint8_t> bytes) override;

  ByteSource* source_;
  std::uint64_t fileOffset_;
  std::uint64_t sizeInFile_;
  std::uint64_t size_;
  boost::container::small_vector<Splice, 1> splices_;  // more than one is rare
};

}  // namespace quarrypack
