#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <utility>
#include <vector>

#include "kav/impl/model/box.h"

// The boxes at the top level of a file, besides the movie:
//
//   ftyp                 the brands of the file
//   moov                 the movie (movie_boxes.h)
//   free or skip         unused room
//   mdat                 the bytes of the samples
//   uuid                 XMP metadata, or a type that this library does not know

namespace norvik::kav::impl {

// The brands of a file. A built one has the brand "kav ", version 1. Its compatible brands are
// appended before it is written.
class FtypBox final : public Box {
 public:
  FtypBox(BoxHeader header, NorvikKavStream& stream) : Box(std::move(header), stream) {}
  explicit FtypBox(NorvikKavStream& stream);

  FourCc majorBrand() const { return majorBrand_; }
  std::uint32_t minorVersion() const { return minorVersion_; }
  const std::vector<FourCc>& compatibleBrands() const { return compatibleBrands_; }
  void addCompatibleBrand(FourCc brand);

  void readContent() override;
  void writeContent() override;

 private:
  FourCc majorBrand_ = 0;
  std::uint32_t minorVersion_ = 0;
  std::vector<FourCc> compatibleBrands_;
};

// Returns the bytes of a sample to their owner.
using SampleDataRelease = void (*)(void* context, const std::uint8_t* data);

// The bytes of one sample on their way into a file, released when this record is destroyed. The
// bytes belong to their owner and must be valid until then. The release function may be null.
class SampleData {
 public:
  SampleData(std::span<const std::uint8_t> bytes, SampleDataRelease release, void* context)
      : bytes_(bytes), context_(context), release_(release) {}
  SampleData(SampleData&& other) noexcept
      : bytes_(other.bytes_),
        context_(other.context_),
        release_(std::exchange(other.release_, nullptr)) {}
  SampleData& operator=(SampleData&&) = delete;
  ~SampleData() {
    if (release_ != nullptr) release_(context_, bytes_.data());
  }

  std::span<const std::uint8_t> bytes() const { return bytes_; }

 private:
  std::span<const std::uint8_t> bytes_;
  void* context_;
  SampleDataRelease release_;
};

// The bytes of the samples. One that was read is only a header: sample tables and fragments state
// where each sample lies.
//
// A built one always has the 64-bit size, so that its length can be patched after all samples have
// been added. Direct: each sample is written into the file at once. Buffered: the samples wait in
// memory until the box is written. They are released when the box is destroyed, the last first.
class MdatBox final : public Box {
 public:
  enum class Mode { direct, buffered };

  MdatBox(BoxHeader header, NorvikKavStream& stream) : Box(std::move(header), stream) {}
  explicit MdatBox(NorvikKavStream& stream, Mode mode = Mode::direct);
  ~MdatBox() override;

  // Appends the bytes of a sample and returns their offset in the file. The box must have its place
  // by then. The bytes are released on every path, including a failed write.
  std::uint64_t addSampleData(std::span<const std::uint8_t> bytes,
                              SampleDataRelease release = nullptr, void* context = nullptr);

  void writeContent() override;
  void updateContent() override { writeContent(); }

 private:
  Mode mode_ = Mode::direct;
  std::vector<SampleData> pending_;
};

// Padding of a given length, header included. With a length below a header's, it is no box and
// writes nothing.
class SkipBox final : public Box {
 public:
  enum class Fill {
    zeros,  // every byte is written
    hole,   // only the header is written: for room whose bytes are never read
  };
  static constexpr FourCc kUsualType = fourCc("skip");

  SkipBox(BoxHeader header, NorvikKavStream& stream) : Box(std::move(header), stream) {}
  SkipBox(std::uint64_t size, NorvikKavStream& stream, Fill fill = Fill::zeros,
          FourCc type = kUsualType);

  // Sets a new length. A file that holds the box already gets its header on the next write; the
  // bytes past the header stay unchanged.
  void resize(std::uint64_t size) { setLengths(size); }

  void writeHeader() override;
  void writeContent() override;
  void updateContent() override;

 private:
  Fill fill_ = Fill::zeros;
  bool contentWritten_ = false;
};

// The extended type of a box with an XMP packet.
inline constexpr ExtendedType kXmpExtendedType = {0xBE, 0x7A, 0xCF, 0xCB, 0x97, 0xA9, 0x42, 0xE8,
                                                  0x9C, 0x71, 0x99, 0x94, 0x91, 0xE3, 0xAF, 0xAC};

// The limit for metadata that is written, in bytes.
inline constexpr std::uint64_t kLargestMetadata = 64U << 20;

// A box whose type is a UUID, with its payload as opaque bytes. A built one has the type of XMP
// metadata. The payload of one that was read stays in its file, whatever its length, until it is
// requested or written.
class UuidBox : public Box {
 public:
  UuidBox(BoxHeader header, NorvikKavStream& stream);
  explicit UuidBox(NorvikKavStream& stream, bool largeSize = false);

  std::uint64_t payloadLength() const { return inFile_ ? inFile_->length : payload_.size(); }

  // The payload, loaded into memory. Moves the stream; throws shortRead if the stream ends early.
  const std::vector<std::uint8_t>& payload();

  // The same, but copies the payload into a buffer of its length without keeping it.
  void copyPayload(std::uint8_t* destination) const;

  void setPayload(std::span<const std::uint8_t> bytes);

  void writeHeader() override;
  void writeContent() override;

 protected:
  bool takeWrittenForm() override;

 private:
  struct Range {
    std::uint64_t start = 0;
    std::uint64_t length = 0;
  };

  std::optional<Range> inFile_;  // the place of the payload, while it is not in memory
  std::vector<std::uint8_t> payload_;
};

// A uuid box with an XMP packet.
class XMPDataBox final : public UuidBox {
 public:
  using UuidBox::UuidBox;
};

}  // namespace norvik::kav::impl
