#pragma once

#include <cstdint>
#include <utility>
#include <vector>

#include "kav/impl/model/record_box.h"

// The places in a fragmented movie where playback can begin. With the boxes at the end of the file
// a player finds the fragment of a time without walking all fragments:
//
//   mfra
//     tfra ...           the sync samples of a track
//     mfro               the length of the whole mfra box, as the last four bytes of the file
//   afra                 the same in the maker's streaming form, a box of its own
namespace norvik::kav::impl {

struct MfroRecord {
  std::uint32_t size = 0;  // the length of the mfra box

  template <class Fields, class Self>
  static constexpr void layout(Fields& fields, Self& self) {
    fields.u32(self.size);
  }
};
static_assert(fullBoxSize<MfroRecord>(kVersion0) == 16);

class MfroBox final : public RecordBox<MfroRecord, Full<0>> {
 public:
  using RecordBox::RecordBox;
  explicit MfroBox(NorvikKavStream& stream);
};

// The container, which is only written. Add the tfra boxes, then write: the last child, mfro, is
// added by the class.
class MfraBox final : public Box {
 public:
  explicit MfraBox(NorvikKavStream& stream);

  std::span<const ChildRule> getChildRules() const override;
  std::uint64_t write() override;

 private:
  MfroBox* mfro_ = nullptr;
};

// The sync samples of one track. A built one is version 1. The three numbers of an entry are always
// written in 4 bytes; in a file that is read they may be shorter.
class TfraBox final : public FullBox {
 public:
  struct Entry {
    std::uint64_t time = 0;        // units of the track's timescale
    std::uint64_t moofOffset = 0;  // the start of the moof box in the file
    std::uint32_t trafNumber = 0;  // these three count from 1
    std::uint32_t trunNumber = 0;
    std::uint32_t sampleNumber = 0;

    bool operator==(const Entry&) const = default;
  };

  TfraBox(BoxHeader header, NorvikKavStream& stream) : FullBox(std::move(header), stream) {}
  TfraBox(std::uint32_t trackId, NorvikKavStream& stream);

  std::uint32_t trackId() const { return trackId_; }
  const std::vector<Entry>& entries() const { return entries_; }
  void addEntry(const Entry& entry);

  // Throws truncatedBox; implausibleCount; missingArgument for entries that do not fit into the box
  // in the lengths stated for their numbers.
  void readContent() override;
  void writeHeader() override;
  void writeContent() override;

 private:
  // The length of an entry in its written form.
  std::size_t writtenEntryLength() const;

  std::uint32_t trackId_ = 0;
  std::vector<Entry> entries_;
};

// The random access box of the maker's streaming format, with 64-bit times and offsets. It is only
// written; one that is read is skipped.
class AfraBox final : public FullBox {
 public:
  struct Entry {
    std::uint64_t time = 0;    // units of timescale
    std::uint64_t offset = 0;  // in the file
  };

  AfraBox(BoxHeader header, NorvikKavStream& stream) : FullBox(std::move(header), stream) {}
  AfraBox(std::uint32_t timescale, NorvikKavStream& stream);

  std::uint32_t timescale() const { return timescale_; }
  const std::vector<Entry>& entries() const { return entries_; }
  void addEntry(const Entry& entry);

  void writeContent() override;

  // The flags and the timescale stay as they were written.
  void updateContent() override;

 private:
  std::uint32_t timescale_ = 0;
  std::vector<Entry> entries_;
};

}  // namespace norvik::kav::impl
