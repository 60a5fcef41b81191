#pragma once

#include <cstdint>
#include <span>
#include <utility>
#include <vector>

#include "kav/impl/model/build_parameters.h"
#include "kav/impl/model/record_box.h"

// A track, down to its media and its edits:
//
//   trak
//     tkhd               the track as part of the movie
//     tref               in a hint track
//       hint             the tracks that it gives hints for
//     mdia               the media (media_boxes.h)
//     edts
//       elst             which parts of the media are shown, and when

namespace norvik::kav::impl {

class EdtsBox;
class MdiaBox;
class StblBox;
class TkhdBox;
class TrefBox;

// A track. It remembers its header, references, media and edits. A built one has them all from the
// start, in the order tkhd, tref (hint tracks only), mdia, edts.
class TrakBox final : public Box {
 public:
  TrakBox(BoxHeader header, NorvikKavStream& stream);
  TrakBox(const TrackParameters& parameters, NorvikKavStream& stream);

  void addChild(BoxPtr child) override;
  std::span<const ChildRule> getChildRules() const override;

  TkhdBox* tkhd() const { return tkhd_; }
  TrefBox* tref() const { return tref_; }
  MdiaBox* mdia() const { return mdia_; }
  EdtsBox* edts() const { return edts_; }

  // The sample table, through mdia and minf; null if one of them is missing.
  StblBox* findStbl() const;

 private:
  TkhdBox* tkhd_ = nullptr;
  TrefBox* tref_ = nullptr;
  MdiaBox* mdia_ = nullptr;
  EdtsBox* edts_ = nullptr;
};

// A track as part of the movie. Whatever version and matrix are read, it is written in version 1
// and without a transformation.
struct TkhdRecord {
  NorvikKavDateTime creationTime;
  NorvikKavDateTime modificationTime;
  std::uint32_t trackId = 0;
  std::uint64_t duration = 0;  // units of the movie's timescale
  std::uint16_t layer = 0;
  std::uint16_t alternateGroup = 0;
  float volume = 0;
  Matrix matrix = kUnityMatrix;
  float width = 0;
  float height = 0;

  template <class Fields, class Self>
  static constexpr void layout(Fields& fields, Self& self) {
    fields.date(self.creationTime);
    fields.date(self.modificationTime);
    fields.u32(self.trackId);
    fields.reserved(4);
    fields.wide(self.duration);
    fields.reserved(2 * 4);
    fields.u16(self.layer);
    fields.u16(self.alternateGroup);
    fields.fixed8(self.volume);
    fields.reserved(2);
    fields.matrixWrittenAsUnity(self.matrix);
    fields.fixed16(self.width);
    fields.fixed16(self.height);
  }
};
static_assert(fullBoxSize<TkhdRecord>(kVersion0) == 92);
static_assert(fullBoxSize<TkhdRecord>(kVersion1) == 104);

class TkhdBox final : public RecordBox<TkhdRecord, Full<1>> {
 public:
  static constexpr std::uint32_t kTrackEnabled = 1;

  using RecordBox::RecordBox;
  TkhdBox(const TrackParameters& parameters, std::uint32_t flags, NorvikKavStream& stream);

  // In units of the movie's timescale.
  void setDuration(std::uint64_t duration) { record().duration = duration; }
};

// The tracks that a hint track gives hints for. It contains only their ids, to the end of the box.
class HintBox final : public Box {
 public:
  HintBox(BoxHeader header, NorvikKavStream& stream) : Box(std::move(header), stream) {}
  HintBox(std::vector<std::uint32_t> trackIds, NorvikKavStream& stream);

  const std::vector<std::uint32_t>& trackIds() const { return trackIds_; }

  void readContent() override;
  void writeContent() override;

 private:
  std::vector<std::uint32_t> trackIds_;
};

// What a track refers to. It remembers its hint child, which a built one has from the start.
class TrefBox final : public Box {
 public:
  TrefBox(BoxHeader header, NorvikKavStream& stream);
  TrefBox(const std::vector<std::uint32_t>& hintedTrackIds, NorvikKavStream& stream);

  void addChild(BoxPtr child) override;

  HintBox* hint() const { return hint_; }

 private:
  HintBox* hint_ = nullptr;
};

// One edit: for segmentDuration the media is shown from mediaTime on, or nothing is shown if
// mediaTime is kEmptyEdit.
struct EditRecord {
  std::uint64_t segmentDuration = 0;  // units of the movie's timescale
  std::int64_t mediaTime = 0;         // units of the media's timescale
  std::uint16_t rateInteger = 1;
  std::uint16_t rateFraction = 0;

  template <class Fields, class Self>
  static constexpr void layout(Fields& fields, Self& self) {
    fields.wide(self.segmentDuration);
    fields.wideSigned(self.mediaTime);
    fields.u16(self.rateInteger);
    fields.u16(self.rateFraction);
  }

  bool operator==(const EditRecord&) const = default;
};
static_assert(recordSize<EditRecord>(kVersion0) == 12);
static_assert(recordSize<EditRecord>(kVersion1) == 20);

inline constexpr std::int64_t kEmptyEdit = -1;

// The edits of a track.
//
// A built one has room for 2 n + 1 edits, where n is the number of gaps to come (a gap ends one
// edit and is one itself). getCurrentSize includes that room, getSize only the edits so far;
// releaseReserve releases the remaining room. Only existing edits are ever written.
class ElstBox final : public FullBox {
 public:
  using FullBox::FullBox;
  ElstBox(std::uint32_t gapCount, NorvikKavStream& stream);

  // A longer list is read, but never written.
  static constexpr std::size_t kMostWritten = 255;

  const std::vector<EditRecord>& edits() const { return edits_; }

  // The length of the edits for a number of gaps.
  static std::uint64_t roomFor(std::uint32_t gapCount);

  // Reserves room again past the existing edits, after it was released.
  void reserve(std::uint32_t gapCount);

  // Appends an edit at normal rate. Throws editListFull if the room is used up, and for more than
  // kMostWritten edits whatever the room.
  void addEdit(std::uint64_t segmentDuration, std::int64_t mediaTime);

  // Does nothing if there is no edit.
  void setLastSegmentDuration(std::uint64_t segmentDuration);

  // Throws truncatedBox if the box is too short for its edits, implausibleCount for more edits than
  // any real file holds.
  void readContent() override;

  // Throws editListFull for a list that was read with more than kMostWritten edits.
  void writeContent() override;
  void updateContent() override;

 private:
  LayoutForm form() const { return {version(), 0}; }

  std::vector<EditRecord> edits_;
};

// Holds the edit list. A built one has its elst child from the start.
class EdtsBox final : public Box {
 public:
  EdtsBox(BoxHeader header, NorvikKavStream& stream);
  EdtsBox(std::uint32_t gapCount, NorvikKavStream& stream);

  void addChild(BoxPtr child) override;

  ElstBox* elst() const { return elst_; }

 private:
  ElstBox* elst_ = nullptr;
};

}  // namespace norvik::kav::impl
