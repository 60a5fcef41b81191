#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "kav/four_cc.h"
#include "kav/impl/boxes/variable_size_box.h"
#include "kav/impl/descriptions/entry_records.h"
#include "kav/impl/descriptions/portable_sound.h"
#include "kav/impl/descriptions/sample_descriptor.h"
#include "kav/impl/model/box.h"

// moov
//   trak
//     mdia
//       minf
//         stbl
//           stsd       the sample descriptions of the track
//             avc1     one entry each: a prefix, the fields of its kind, the header bytes
//             skip     room for entries to come, while a movie is written
namespace norvik::kav::impl {

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

  // Obliged: lets readContent stop after the count, for documents that do without descriptions.
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
