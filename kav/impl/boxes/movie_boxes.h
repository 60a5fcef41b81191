#pragma once

#include <cstdint>
#include <map>
#include <span>
#include <utility>
#include <vector>

#include "kav/impl/model/build_parameters.h"
#include "kav/impl/model/record_box.h"

// The boxes that describe a movie as a whole:
//
//   moov
//     mvhd               the clock of the movie
//     trak ...           its tracks (track_boxes.h)
//     mvex               in a movie with fragments
//       mehd             how long it is with its fragments
//       trex ...         defaults for the fragments of each track

namespace norvik::kav::impl {

class MvexBox;
class MvhdBox;
class TrakBox;

// The movie. It remembers its header, its extends box and its tracks.
class MoovBox final : public Box {
 public:
  MoovBox(BoxHeader header, NorvikKavStream& stream);
  explicit MoovBox(NorvikKavStream& stream);

  void addChild(BoxPtr child) override;
  std::span<const ChildRule> getChildRules() const override;

  MvhdBox* mvhd() const { return mvhd_; }
  MvexBox* mvex() const { return mvex_; }

  // In file order.
  const std::vector<TrakBox*>& tracks() const { return tracks_; }

  // Adds the defaults of a track to the extends box, which a built movie must have. Returns whether
  // everything after it moved. The changes are not written yet.
  bool addTrackDefaults(std::uint32_t trackId);

 private:
  MvhdBox* mvhd_ = nullptr;
  MvexBox* mvex_ = nullptr;
  std::vector<TrakBox*> tracks_;
};

// The clock of the movie and its presentation. Whatever version and matrix are read, it is written
// in version 1 and without a transformation.
struct MvhdRecord {
  NorvikKavDateTime creationTime;
  NorvikKavDateTime modificationTime;
  std::uint32_t timescale = 0;  // units per second
  std::uint64_t duration = 0;   // units of timescale
  float rate = 1;
  float volume = 1;
  Matrix matrix = kUnityMatrix;
  std::uint32_t nextTrackId = 1;

  template <class Fields, class Self>
  static constexpr void layout(Fields& fields, Self& self) {
    fields.date(self.creationTime);
    fields.date(self.modificationTime);
    fields.u32(self.timescale);
    fields.wide(self.duration);
    fields.fixed16(self.rate);
    fields.fixed8(self.volume);
    fields.reserved(2 + 2 * 4);
    fields.matrixWrittenAsUnity(self.matrix);
    fields.reserved(6 * 4);
    fields.u32(self.nextTrackId);
  }
};
static_assert(fullBoxSize<MvhdRecord>(kVersion0) == 108);
static_assert(fullBoxSize<MvhdRecord>(kVersion1) == 120);

class MvhdBox final : public RecordBox<MvhdRecord, Full<1>> {
 public:
  using RecordBox::RecordBox;
  MvhdBox(const MovieParameters& parameters, NorvikKavStream& stream);

  void setDuration(std::uint64_t duration) { record().duration = duration; }
  void setNextTrackId(std::uint32_t trackId) { record().nextTrackId = trackId; }
};

struct MehdRecord {
  std::uint64_t fragmentDuration = 0;  // units of the movie's timescale

  template <class Fields, class Self>
  static constexpr void layout(Fields& fields, Self& self) {
    fields.wide(self.fragmentDuration);
  }
};
static_assert(fullBoxSize<MehdRecord>(kVersion0) == 16);
static_assert(fullBoxSize<MehdRecord>(kVersion1) == 20);

// The duration of a movie with all its fragments.
class MehdBox final : public RecordBox<MehdRecord, Full<1>> {
 public:
  using RecordBox::RecordBox;
  MehdBox(std::uint64_t fragmentDuration, NorvikKavStream& stream);

  void setFragmentDuration(std::uint64_t duration) { record().fragmentDuration = duration; }
};

// Defaults for a track's fragments. Every fragment that this library writes states its own values,
// so the defaults in the file are always 1, whatever was read.
struct TrexRecord {
  std::uint32_t trackId = 0;
  std::uint32_t descriptionIndex = 0;
  std::uint32_t duration = 0;
  std::uint32_t sampleSize = 0;
  std::uint32_t sampleFlags = 0;

  template <class Fields, class Self>
  static constexpr void layout(Fields& fields, Self& self) {
    fields.u32(self.trackId);
    fields.u32WrittenAs(self.descriptionIndex, 1);
    fields.u32WrittenAs(self.duration, 1);
    fields.u32WrittenAs(self.sampleSize, 1);
    fields.u32WrittenAs(self.sampleFlags, 1);
  }
};
static_assert(fullBoxSize<TrexRecord>(kVersion0) == 32);

class TrexBox final : public RecordBox<TrexRecord, Full<0>> {
 public:
  TrexBox(BoxHeader header, NorvikKavStream& stream)
      : RecordBox(std::move(header), stream, KeepsFixedPartOnly{}) {}
  TrexBox(std::uint32_t trackId, NorvikKavStream& stream);
};

// Announces fragments. A built one has its mehd child from the start.
class MvexBox final : public Box {
 public:
  MvexBox(BoxHeader header, NorvikKavStream& stream);
  MvexBox(std::uint64_t fragmentDuration, NorvikKavStream& stream);

  void addChild(BoxPtr child) override;

  // Real files omit children that the standard requires here.
  bool validate() const override { return true; }
  void readChildren(RootBox& root, bool check) override;

  MehdBox* mehd() const { return mehd_; }

  // Adds the defaults of a track to a built one. With many tracks it keeps room for more defaults,
  // so that not every new track moves all others.
  void addDefaults(std::uint32_t trackId);

  // The length up to the end of the last child. The caller covers the room from there on. It is a
  // multiple of the length of a track's defaults, and so has room for a box.
  std::uint64_t filledSize() const;

  // The first trex of a track. Call it after the children are read. Throws noTrackDefaults if there
  // is none.
  TrexBox& findTrex(std::uint32_t trackId) const;

  // The same, but null if there is none.
  TrexBox* lookUpTrex(std::uint32_t trackId) const;

 private:
  void indexTrex(Box& child);

  MehdBox* mehd_ = nullptr;
  // A movie may have thousands of tracks, and each of its fragments looks up the defaults of each.
  // Ordered, because the numbers come from the file and could be chosen to collide in a hash.
  std::map<std::uint32_t, TrexBox*> trexById_;
};

}  // namespace norvik::kav::impl
