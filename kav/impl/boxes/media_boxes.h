#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <utility>
#include <vector>

#include "kav/impl/model/build_parameters.h"
#include "kav/impl/model/record_box.h"

// The media of a track, down to its sample table:
//
//   mdia
//     mdhd               the clock of the media
//     hdlr               what kind of media it is
//     minf
//       vmhd, smhd, hmhd or nmhd    a header for video, sound, hints, or anything else
//       dinf
//         dref
//           url          where the bytes of the samples are: in this file
//       stbl             the sample table (stbl_box.h)

namespace norvik::kav::impl {

class DinfBox;
class HdlrBox;
class MdhdBox;
class MinfBox;
class StblBox;

// The media of a track. It remembers its header, handler and information. A built one has them all
// from the start.
class MdiaBox final : public Box {
 public:
  MdiaBox(BoxHeader header, NorvikKavStream& stream);
  MdiaBox(const TrackParameters& parameters, NorvikKavStream& stream);

  void addChild(BoxPtr child) override;
  std::span<const ChildRule> getChildRules() const override;

  // The classes of sample entries depend on the handler, which a file may have after the entries.
  // So they get the handler's type before anything is read.
  void readChildren(RootBox& root, bool check) override;

  MdhdBox* mdhd() const { return mdhd_; }
  HdlrBox* hdlr() const { return hdlr_; }
  MinfBox* minf() const { return minf_; }

 private:
  MdhdBox* mdhd_ = nullptr;
  HdlrBox* hdlr_ = nullptr;
  MinfBox* minf_ = nullptr;
};

// Three lower-case letters in 15 bits, the first one in the highest. Only the low five bits of a
// character are used, so any text gives some word.
constexpr std::uint16_t packLanguage(const std::array<char, 4>& letters) {
  unsigned packed = 0;
  for (int i = 0; i < 3; ++i) {
    packed = packed << 5 | (static_cast<unsigned char>(letters[static_cast<unsigned>(i)]) & 0x1FU);
  }
  return static_cast<std::uint16_t>(packed);
}
constexpr std::array<char, 4> unpackLanguage(std::uint16_t packed) {
  const auto letter = [packed](unsigned shift) {
    return static_cast<char>((packed >> shift & 0x1FU) + 0x60U);
  };
  return {letter(10), letter(5), letter(0), '\0'};
}
static_assert(packLanguage({'u', 'n', 'd'}) == 0x55C4);

// The clock of the media. Whatever version is read, it is written in version 1.
struct MdhdRecord {
  NorvikKavDateTime creationTime;
  NorvikKavDateTime modificationTime;
  std::uint32_t timescale = 0;  // units per second
  std::uint64_t duration = 0;   // units of timescale
  std::uint16_t language = 0;   // see packLanguage

  template <class Fields, class Self>
  static constexpr void layout(Fields& fields, Self& self) {
    fields.date(self.creationTime);
    fields.date(self.modificationTime);
    fields.u32(self.timescale);
    fields.wide(self.duration);
    fields.u16(self.language);
    fields.reserved(2);
  }
};
static_assert(fullBoxSize<MdhdRecord>(kVersion0) == 32);
static_assert(fullBoxSize<MdhdRecord>(kVersion1) == 44);

class MdhdBox final : public RecordBox<MdhdRecord, Full<1>> {
 public:
  using RecordBox::RecordBox;
  MdhdBox(const TrackParameters& parameters, NorvikKavStream& stream);

  void setDuration(std::uint64_t duration) { record().duration = duration; }

  // Throws unsupportedVersion for a version other than 0 and 1.
  void readContent() override;
};

// The fixed part of a handler box, before the name.
struct HdlrRecord {
  FourCc handlerType = 0;

  template <class Fields, class Self>
  static constexpr void layout(Fields& fields, Self& self) {
    fields.reserved(4);
    fields.u32(self.handlerType);
    fields.reserved(3 * 4);
  }
};
static_assert(fullBoxSize<HdlrRecord>(kVersion0) == 32);

// The kind of media of a track, with a name for people. A name that was read always ends in a zero
// byte, whether or not it does in the file.
class HdlrBox final : public FullBox {
 public:
  using FullBox::FullBox;
  HdlrBox(const TrackParameters& parameters, NorvikKavStream& stream);

  FourCc handlerType() const { return record_.handlerType; }
  const std::vector<std::uint8_t>& name() const { return name_; }

  // The handler type in the file, before the box is read; 0 if the box is too short to have one.
  // Throws shortRead if the stream does not deliver what the box has.
  FourCc peekHandlerType() const;

  // Throws truncatedBox below the fixed part, implausibleCount for a name longer than any real one.
  void readContent() override;
  void writeContent() override;

 protected:
  // A name that got its closing zero on reading is longer than in its file.
  bool takeWrittenForm() override;

 private:
  HdlrRecord record_;
  std::vector<std::uint8_t> name_;
};

// How the media is stored. It remembers its media header, data information and sample table. A
// built one has them all from the start.
class MinfBox final : public Box {
 public:
  MinfBox(BoxHeader header, NorvikKavStream& stream);
  MinfBox(const TrackParameters& parameters, NorvikKavStream& stream);

  void addChild(BoxPtr child) override;
  std::span<const ChildRule> getChildRules() const override;

  // Fixed: vmhd, smhd, hmhd or nmhd.
  Box* mediaHeader() const { return mediaHeader_; }
  DinfBox* dinf() const { return dinf_; }
  StblBox* stbl() const { return stbl_; }

 private:
  Box* mediaHeader_ = nullptr;
  DinfBox* dinf_ = nullptr;
  StblBox* stbl_ = nullptr;
};

// The header of video. The colour that a graphics mode may need is not carried over.
struct VmhdRecord {
  std::uint16_t graphicsMode = 0;
  std::array<std::uint16_t, 3> opcolor{};

  template <class Fields, class Self>
  static constexpr void layout(Fields& fields, Self& self) {
    fields.u16(self.graphicsMode);
    for (auto& component : self.opcolor) fields.u16WrittenAs(component, 0);
  }
};
static_assert(fullBoxSize<VmhdRecord>(kVersion0) == 20);

class VmhdBox final : public RecordBox<VmhdRecord, Full<0>> {
 public:
  VmhdBox(BoxHeader header, NorvikKavStream& stream)
      : RecordBox(std::move(header), stream, KeepsFixedPartOnly{}) {}
  explicit VmhdBox(NorvikKavStream& stream);
};

// The header of sound.
struct SmhdRecord {
  std::uint16_t balance = 0;  // signed 8.8; 0 is the centre

  template <class Fields, class Self>
  static constexpr void layout(Fields& fields, Self& self) {
    fields.u16(self.balance);
    fields.reserved(2);
  }
};
static_assert(fullBoxSize<SmhdRecord>(kVersion0) == 16);

class SmhdBox final : public RecordBox<SmhdRecord, Full<0>> {
 public:
  SmhdBox(BoxHeader header, NorvikKavStream& stream)
      : RecordBox(std::move(header), stream, KeepsFixedPartOnly{}) {}
  explicit SmhdBox(NorvikKavStream& stream);

  // Nothing depends on the balance, so a box too short for one gets the centre.
  void readContent() override;
};

// The header of hints. It states the size and the rate of the packets; all zero, because nothing
// here measures them. It is only ever written.
struct HmhdRecord {
  std::uint16_t largestPacket = 0;
  std::uint16_t averagePacket = 0;
  std::uint32_t largestBitRate = 0;
  std::uint32_t averageBitRate = 0;

  template <class Fields, class Self>
  static constexpr void layout(Fields& fields, Self& self) {
    fields.u16(self.largestPacket);
    fields.u16(self.averagePacket);
    fields.u32(self.largestBitRate);
    fields.u32(self.averageBitRate);
    fields.reserved(4);
  }
};
static_assert(fullBoxSize<HmhdRecord>(kVersion0) == 28);

class HmhdBox final : public RecordBox<HmhdRecord, Full<0>> {
 public:
  explicit HmhdBox(NorvikKavStream& stream);
};

// The header of any other media: it has no fields.
class NmhdBox final : public FullBox {
 public:
  NmhdBox(BoxHeader header, NorvikKavStream& stream);
  explicit NmhdBox(NorvikKavStream& stream);
};

// The location of the samples' bytes. A built one states, in its dref child, that they are in this
// file.
class DinfBox final : public Box {
 public:
  DinfBox(BoxHeader header, NorvikKavStream& stream);
  explicit DinfBox(NorvikKavStream& stream);

  std::span<const ChildRule> getChildRules() const override;
};

// The list of locations. Its entries are its children, after their count.
class DrefBox final : public FullBox {
 public:
  DrefBox(BoxHeader header, NorvikKavStream& stream);
  explicit DrefBox(NorvikKavStream& stream);

  // Throws unsupportedVersion for a version other than 0 and 1.
  void readContent() override;
  void writeContent() override;
};

// One location. A built one means the file itself and has no location text.
class UrlBox final : public FullBox {
 public:
  static constexpr std::uint32_t kInThisFile = 1;

  using FullBox::FullBox;
  explicit UrlBox(NorvikKavStream& stream);

  bool isInThisFile() const { return (flags() & kInThisFile) != 0; }
};

}  // namespace norvik::kav::impl
