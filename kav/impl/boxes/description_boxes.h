#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "kav/four_cc.h"
#include "kav/impl/boxes/variable_size_box.h"
#include "kav/impl/model/box.h"
#include "kav/sample_desc_info.h"

// moov
//   trak
//     mdia
//       minf
//         stbl
//           stsd       the sample descriptions of the track
//             avc1     one entry each: a prefix, the fields of its kind, the header bytes
//             skip     room for entries to come, while a movie is written
namespace norvik::kav::impl {

// The bytes of an entry, its box header included, in front of its header bytes.
inline constexpr std::size_t kVideoEntrySize = 86;
inline constexpr std::size_t kAudioEntrySize = 36;
inline constexpr std::size_t kGenericEntrySize = 16;

// A sample description on its own: what the reader hands out and the writer takes. It holds its
// record and its own copy of the header bytes.
class SampleDescriptor {
 public:
  virtual ~SampleDescriptor() = default;

  virtual const NorvikKavSampleDescInfo& info() const = 0;
  virtual std::unique_ptr<SampleDescriptor> clone() const = 0;

  FourCc codecType() const { return info().codecType; }
  std::span<const std::uint8_t> headerBytes() const { return headerBytes_; }
  void setHeaderBytes(std::vector<std::uint8_t> bytes);
  void setDataReferenceIndex(std::uint16_t index) { mutableInfo().dataReferenceIndex = index; }

  // The UUID of an entry whose type is uuid.
  const ExtendedType& extendedType() const { return extendedType_; }
  void setExtendedType(const ExtendedType& type) { extendedType_ = type; }

 protected:
  // Throws missingArgument for a length without bytes.
  SampleDescriptor(const std::uint8_t* bytes, std::uint32_t length);
  SampleDescriptor(const SampleDescriptor&) = default;
  SampleDescriptor& operator=(const SampleDescriptor&) = default;

  virtual NorvikKavSampleDescInfo& mutableInfo() = 0;

 private:
  std::vector<std::uint8_t> headerBytes_;
  ExtendedType extendedType_{};
};

// The descriptor of one kind of record.
template <class Info>
class DescriptorOf final : public SampleDescriptor {
 public:
  // A new description: what is not given here is 0.
  DescriptorOf(std::uint32_t headerLength, FourCc codecType, FourCc handlerType,
               const std::uint8_t* bytes);

  // The description that a record and its header bytes make.
  DescriptorOf(const Info& info, const std::uint8_t* bytes);

  const Info& info() const override { return info_; }
  Info& record() { return info_; }
  std::unique_ptr<SampleDescriptor> clone() const override {
    return std::make_unique<DescriptorOf>(*this);
  }

 private:
  NorvikKavSampleDescInfo& mutableInfo() override { return info_; }

  Info info_;
};

using GenericSampleDescriptor = DescriptorOf<NorvikKavSampleDescInfo>;
using VideoSampleDescriptor = DescriptorOf<NorvikKavVideoSampleDescInfo>;
using AudioSampleDescriptor = DescriptorOf<NorvikKavAudioSampleDescInfo>;
using ZeltSampleDescriptor = DescriptorOf<NorvikKavZeltSampleDescInfo>;

// The descriptor that a public record makes with header bytes, whatever length the record states
// for them; the record's handler tells its kind. Throws unsupportedTrackType for a record that is
// not as long as its kind, implausibleCount for more header bytes than a record can count.
std::unique_ptr<SampleDescriptor> makeDescriptor(const NorvikKavSampleDescInfo& info,
                                                 std::span<const std::uint8_t> header);

// The boxes among the header bytes. They follow the fields that a QuickTime sound entry of version
// 1 or 2 begins with; bytes too short for these hold no boxes.
std::span<const std::uint8_t> boxesOf(const SampleDescriptor& descriptor);

// The form in which a sound description is written. QuickTime puts the decoder configuration of
// AAC sound into a wave atom behind the fields of version 1 or 2, where strict readers do not look:
// such a description becomes one of version 0 with its esds box in front. Any other description
// stays as it is.
AudioSampleDescriptor portableForm(const AudioSampleDescriptor& descriptor);

// An entry of the sample description box. This is the generic one, of every handler without fields
// of its own: the reference to the data, then bytes that are kept as they are.
class KavSampleEntry : public Box {
 public:
  // An entry read from a file. A fresh descriptor of the right kind is filled by readContent.
  KavSampleEntry(BoxHeader header, NorvikKavStream& stream,
                 std::shared_ptr<SampleDescriptor> descriptor);

  // An entry to be written.
  KavSampleEntry(std::shared_ptr<SampleDescriptor> descriptor, NorvikKavStream& stream);

  const SampleDescriptor& descriptor() const { return *descriptor_; }

  // The same, to outlive the entry. Once an entry was read, its descriptor does not change.
  std::shared_ptr<const SampleDescriptor> sharedDescriptor() const { return descriptor_; }

  void writeHeader() override;

  // Throws truncatedBox for an entry that is shorter than its fields.
  void readContent() override;
  void writeContent() override;

 protected:
  KavSampleEntry(std::shared_ptr<SampleDescriptor> descriptor, NorvikKavStream& stream,
                 std::size_t fixedSize);

  // The fields between the box header and the header bytes: their length, and how they are moved.
  virtual std::size_t fieldsLength() const { return kGenericEntrySize - 8; }
  virtual void decodeFields(std::span<const std::uint8_t> bytes);
  virtual void encodeFields(std::span<std::uint8_t> bytes) const;

  SampleDescriptor& mutableDescriptor() { return *descriptor_; }

 private:
  std::shared_ptr<SampleDescriptor> descriptor_;
};

class KavVideoSampleEntry final : public KavSampleEntry {
 public:
  KavVideoSampleEntry(BoxHeader header, NorvikKavStream& stream);
  KavVideoSampleEntry(const VideoSampleDescriptor& descriptor, NorvikKavStream& stream);

 protected:
  std::size_t fieldsLength() const override { return kVideoEntrySize - 8; }
  void decodeFields(std::span<const std::uint8_t> bytes) override;
  void encodeFields(std::span<std::uint8_t> bytes) const override;
};

// Written in the portable form of its descriptor.
class KavAudioSampleEntry final : public KavSampleEntry {
 public:
  KavAudioSampleEntry(BoxHeader header, NorvikKavStream& stream);
  KavAudioSampleEntry(const AudioSampleDescriptor& descriptor, NorvikKavStream& stream);

 protected:
  std::size_t fieldsLength() const override { return kAudioEntrySize - 8; }
  void decodeFields(std::span<const std::uint8_t> bytes) override;
  void encodeFields(std::span<std::uint8_t> bytes) const override;
};

// The entry of a hint track.
class KavZeltSampleEntry final : public KavSampleEntry {
 public:
  KavZeltSampleEntry(BoxHeader header, NorvikKavStream& stream);
  KavZeltSampleEntry(const ZeltSampleDescriptor& descriptor, NorvikKavStream& stream);
};

// The sample descriptions of a track.
//
// Read: the class of an entry follows the handler of the track, which the media box tells through
// setHandlerType before readContent. An entry that runs past the box ends the list.
//
// Built: room for the announced entries is reserved; then addSampleEntry any number of times. An
// entry that finds no room makes the box longer.
class StsdBox final : public VariableSizeBox {
 public:
  // It claims its whole length, because its entries are read by itself.
  StsdBox(BoxHeader header, NorvikKavStream& stream);

  // expectedTrailing: the header bytes of an entry. The entries share the room, so an average,
  // rounded up, is enough.
  StsdBox(FourCc handlerType, std::uint32_t expectedEntries, std::uint32_t expectedTrailing,
          NorvikKavStream& stream);

  void setHandlerType(FourCc handlerType) { handlerType_ = handlerType; }
  FourCc handlerType() const { return handlerType_; }

  // Lets readContent stop behind the count: for documents whose descriptions nobody asks for.
  void leaveEntriesUnread() { readsEntries_ = false; }

  // Adds an entry for a track of a type, as insertChild adds a child. Throws unsupportedTrackType
  // for a descriptor of another kind than the track's, secondZeltEntry for a second entry on a zelt
  // track.
  void addSampleEntry(FourCc trackType, const SampleDescriptor& descriptor);

  std::uint32_t entryCount() const { return static_cast<std::uint32_t>(entries_.size()); }

  // The description that samples refer to by a 1-based index, or null when there is none.
  const SampleDescriptor* descriptor(std::uint32_t index) const;

  // In the order of their indices.
  std::span<KavSampleEntry* const> entries() const { return entries_; }

  void readContent() override;
  void writeContent() override;
  void updateContent() override { writeContent(); }

 private:
  OwnedBox<KavSampleEntry> makeEntry(BoxHeader header) const;
  void readEntries(std::uint32_t count);

  FourCc handlerType_ = 0;
  bool readsEntries_ = true;
  std::vector<KavSampleEntry*> entries_;  // the children without the padding
};

}  // namespace norvik::kav::impl
