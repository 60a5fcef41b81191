#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <utility>
#include <vector>

#include "kav/impl/model/box_iterators.h"
#include "kav/impl/model/record_box.h"

// A fragment of a movie: the tables for a stretch of samples of one or more tracks. Its media data
// mostly stands in an mdat box right behind it.
//
//   moof
//     mfhd               its place in the sequence of fragments
//     traf ...           one for each track that has samples in it
//       tfhd             the track, and defaults for its samples
//       tfdt             the decoding time of the first sample
//       trun ...         the samples, run by run
//       sdtp             dependencies of the samples, where their flags cannot say them
namespace norvik::kav::impl {

class SdtpBox;

struct MfhdRecord {
  std::uint32_t sequenceNumber = 0;

  template <class Fields, class Self>
  static constexpr void layout(Fields& fields, Self& self) {
    fields.u32(self.sequenceNumber);
  }
};
static_assert(fullBoxSize<MfhdRecord>(kVersion0) == 16);

class MfhdBox final : public RecordBox<MfhdRecord, Full<0>> {
 public:
  MfhdBox(BoxHeader header, NorvikKavStream& stream)
      : RecordBox(std::move(header), stream, KeepsFixedPartOnly{}) {}
  MfhdBox(std::uint32_t sequenceNumber, NorvikKavStream& stream);
};

// The track of a fragment and what its samples have in common. A value that the file does not give
// is kNotGiven; the movie's own defaults for the track hold then. This library sets the flag of a
// default only where 1 is meant, so 1 is what is written.
struct TfhdRecord {
  static constexpr std::uint32_t kBaseDataOffset = 0x000001;
  static constexpr std::uint32_t kDescriptionIndex = 0x000002;
  static constexpr std::uint32_t kDuration = 0x000008;
  static constexpr std::uint32_t kSampleSize = 0x000010;
  static constexpr std::uint32_t kSampleFlags = 0x000020;
  static constexpr std::uint32_t kBaseIsMoof = 0x020000;  // offsets count from the moof box

  static constexpr std::uint32_t kNotGiven = 0xFFFFFFFF;

  std::uint32_t trackId = 0;
  std::uint64_t baseDataOffset = 0;
  std::uint32_t descriptionIndex = kNotGiven;
  std::uint32_t duration = kNotGiven;
  std::uint32_t sampleSize = kNotGiven;
  std::uint32_t sampleFlags = kNotGiven;

  template <class Fields, class Self>
  static constexpr void layout(Fields& fields, Self& self) {
    fields.u32(self.trackId);
    if (fields.has(kBaseDataOffset)) fields.u64(self.baseDataOffset);
    if (fields.has(kDescriptionIndex)) fields.u32(self.descriptionIndex);
    if (fields.has(kDuration)) fields.u32WrittenAs(self.duration, 1);
    if (fields.has(kSampleSize)) fields.u32WrittenAs(self.sampleSize, 1);
    if (fields.has(kSampleFlags)) fields.u32WrittenAs(self.sampleFlags, 1);
  }
};
static_assert(fullBoxSize<TfhdRecord>(kVersion0) == 16);

class TfhdBox final : public RecordBox<TfhdRecord, Full<0>> {
 public:
  using RecordBox::RecordBox;
  TfhdBox(std::uint32_t flags, const TfhdRecord& record, NorvikKavStream& stream);

  bool has(std::uint32_t flag) const { return (flags() & flag) != 0; }
};

struct TfdtRecord {
  std::uint64_t decodingTime = 0;  // units of the track's timescale

  template <class Fields, class Self>
  static constexpr void layout(Fields& fields, Self& self) {
    fields.wide(self.decodingTime);
  }
};
static_assert(fullBoxSize<TfdtRecord>(kVersion1) == 20);

// The decoding time of the first sample of a track's part, as it is written. One that is read has
// no class: the part that holds it looks into it.
class TfdtBox final : public RecordBox<TfdtRecord, Full<1>> {
 public:
  TfdtBox(std::uint64_t decodingTime, NorvikKavStream& stream);
};

// The samples of a run, in decoding order.
//
// Read: setDefaults, once the fragment's defaults are known; then cursors. Built: addSample any
// number of times, then into its fragment, which counts the length that the run has by then. A run
// that was read takes further samples as well.
//
// A run may leave fields out of its records, and in the extreme all of them: then it is a count and
// nothing else, and any number of samples takes the memory of one.
class TrunBox final : public FullBox {
 public:
  static constexpr std::uint32_t kDataOffset = 0x000001;
  static constexpr std::uint32_t kFirstSampleFlags = 0x000004;
  static constexpr std::uint32_t kDuration = 0x000100;
  static constexpr std::uint32_t kSize = 0x000200;
  static constexpr std::uint32_t kFlags = 0x000400;
  static constexpr std::uint32_t kCompositionOffset = 0x000800;

  struct Sample {
    std::uint32_t duration = 0;  // units of the track's timescale
    std::uint32_t size = 0;      // bytes
    std::uint32_t flags = 0;
    std::uint32_t compositionOffset = 0;  // as stored
    std::int64_t dataOffset = 0;          // from where the data offset of the run counts
  };

  // What holds for a sample whose record leaves the field out.
  struct Defaults {
    std::uint32_t duration = 0;
    std::uint32_t size = 0;
    std::uint32_t flags = 0;
  };

  // Walks the samples. It refers to the run, whose samples and defaults must not change meanwhile.
  class Cursor {
   public:
    explicit Cursor(const TrunBox& run);

    bool isValid() const { return index_ < run_->sampleCount(); }
    std::uint32_t index() const { return index_; }  // 0-based

    // The sample that the walk stands at; only while isValid.
    const Sample& current() const { return current_; }
    void next();

    // Goes on to the first sample that is decoded at least a time after the current one, or behind
    // the last, and returns the time that lies between. A long run is not walked for it.
    std::uint64_t skip(std::uint64_t time);

   private:
    void load();
    void moveTo(std::uint32_t index);

    const TrunBox* run_;
    std::uint32_t index_ = 0;
    std::size_t word_ = 0;  // where the record of the sample begins
    Sample current_;
  };

  TrunBox(BoxHeader header, NorvikKavStream& stream) : FullBox(std::move(header), stream) {}

  // A run to be written, with the distance from the start of the moof box to its samples, negative
  // for samples that lie before it. Throws runTooLarge for a distance beyond 32 bits with a sign.
  TrunBox(std::uint64_t mediaDataPosition, std::uint64_t fragmentStart, NorvikKavStream& stream);

  void setDefaults(const Defaults& defaults) { defaults_ = defaults; }

  bool has(std::uint32_t flag) const { return (flags() & flag) != 0; }
  std::uint32_t sampleCount() const { return sampleCount_; }

  // Where the samples begin, counted from the base of the track's fragment; 0 for a run that
  // follows the one before it.
  std::int32_t dataOffset() const { return dataOffset_; }

  // Sums over all samples, without a walk.
  std::uint64_t totalDuration() const;
  std::uint64_t totalSize() const;

  Cursor cursor() const { return Cursor(*this); }

  // Appends a sample. Its record has the fields that the flags of the run announce; what the run
  // leaves out is taken from the defaults, for this sample as for the others. The dataOffset is not
  // looked at. Throws implausibleCount for more samples than a run may have when it is read.
  void addSample(const Sample& sample);

  // Gives the data offset as the constructor does, once the media data has its place. Throws
  // runTooLarge.
  void setDataPosition(std::uint64_t mediaDataPosition, std::uint64_t fragmentStart);

  // Throws truncatedBox, runTooLarge, implausibleCount.
  void readContent() override;
  void writeContent() override;
  void updateContent() override;

 private:
  // What the records in front of every so many samples sum up to, so that no sum needs a long walk.
  static constexpr std::uint32_t kStride = 64;
  struct Sums {
    std::uint64_t duration = 0;
    std::uint64_t size = 0;
  };

  std::size_t recordWords() const;
  void readRecords();
  void countIn(const Sample& sample);

  // Whether a sum needs the records; otherwise the defaults say everything.
  bool holdsSums() const { return has(kDuration) || has(kSize); }

  // Sums over the samples in front of one.
  Sums sumsBefore(std::uint32_t index) const;

  std::uint32_t sampleCount_ = 0;
  std::int32_t dataOffset_ = 0;
  std::uint32_t firstSampleFlags_ = 0;
  Defaults defaults_;
  std::vector<std::uint32_t> words_;  // the records, recordWords() each, in the order of the file
  std::uint64_t storedDuration_ = 0;  // sums of the fields that the records hold
  std::uint64_t storedSize_ = 0;
  std::uint32_t counted_ = 0;  // how many samples these sums are over
  std::vector<Sums> strides_;  // the sums in front of every kStride of them
};

// One track's part of a fragment. It remembers its header and its runs.
class TrafBox final : public Box {
 public:
  TrafBox(BoxHeader header, NorvikKavStream& stream);
  explicit TrafBox(NorvikKavStream& stream);

  void addChild(BoxPtr child) override;
  std::span<const ChildRule> getChildRules() const override;
  void readChildren(RootBox& root, bool check) override;

  TfhdBox* tfhd() const { return tfhd_; }
  const std::vector<TrunBox*>& runs() const { return runs_; }

  // The track; 0, which no track has, as long as there is no header.
  std::uint32_t trackId() const { return tfhd_ == nullptr ? 0 : tfhd_->record().trackId; }

  // Hands defaults to every run.
  void setDefaults(const TrunBox::Defaults& defaults);

  // Sums over the runs.
  std::uint64_t totalDuration() const;
  std::uint64_t totalSize() const;

  // What depends on what, as the part's sdtp box says it, a byte for each sample; empty without
  // one.
  std::span<const std::uint8_t> dependencies() const;

  // The decoding time of the first sample, if the file states it.
  std::optional<std::uint64_t> decodeTime() const { return decodeTime_; }

  // What the fragment and the movie say about this part; see resolveFragment.
  struct Layout {
    bool hasMovieDefaults = false;       // the movie has defaults for the track
    std::uint64_t dataBase = 0;          // in the file: what data offsets count from
    std::uint32_t descriptionIndex = 0;  // 1-based
  };
  const Layout& layout() const { return layout_; }
  void setLayout(const Layout& layout) { layout_ = layout; }

  // The decoding time of the first sample as the reader counts it. Tells whether a time lies
  // between it and the end of the last sample.
  void setStartTime(std::uint64_t time) { startTime_ = time; }
  std::uint64_t startTime() const { return startTime_; }
  bool coversTime(std::uint64_t time) const {
    return time >= startTime_ && time - startTime_ < totalDuration();
  }

 private:
  std::optional<std::uint64_t> readDecodeTime();
  void readDependencies(RootBox& root, bool check);

  TfhdBox* tfhd_ = nullptr;
  std::vector<TrunBox*> runs_;
  SdtpBox* sdtp_ = nullptr;
  std::optional<std::uint64_t> decodeTime_;
  Layout layout_;
  std::uint64_t startTime_ = 0;
};

// A fragment. It remembers its header and, once it is read, which parts belong to which track.
class MoofBox final : public Box {
 public:
  MoofBox(BoxHeader header, NorvikKavStream& stream);
  explicit MoofBox(NorvikKavStream& stream);

  void addChild(BoxPtr child) override;
  std::span<const ChildRule> getChildRules() const override;
  void readChildren(RootBox& root, bool check) override;

  MfhdBox* mfhd() const { return mfhd_; }
  std::uint32_t sequenceNumber() const;

  // The parts in the order of the file.
  const std::vector<TrafBox*>& parts() const { return parts_; }

  // The parts of one track, in the order of the file. Every track asks its fragments, so this does
  // not search. Only for a fragment that was read.
  std::span<TrafBox* const> partsOf(std::uint32_t trackId) const;

  // Whether the layout of the parts was worked out; see resolveFragment.
  bool isResolved() const { return isResolved_; }
  void setResolved() { isResolved_ = true; }

 private:
  MfhdBox* mfhd_ = nullptr;
  std::vector<TrafBox*> parts_;
  std::vector<TrafBox*> partsByTrack_;
  bool isResolved_ = false;
};

// Walks the parts of a fragment that belong to a track.
class TrafBoxIterator final : public BoxIteratorByType {
 public:
  TrafBoxIterator(Box& fragment, std::uint32_t trackId, std::int32_t index = 0)
      : BoxIteratorByType(fragment, fourCc("traf"), index), trackId_(trackId) {}

  TrafBox* current() override;

 private:
  std::uint32_t trackId_;
};

// Walks them backwards. The first child of a fragment, its header, is never met.
class ReverseTrafBoxIterator final : public ReverseBoxIteratorByType {
 public:
  ReverseTrafBoxIterator(Box& fragment, std::uint32_t trackId, std::size_t index)
      : ReverseBoxIteratorByType(fragment, fourCc("traf"), index), trackId_(trackId) {}

  TrafBox* current() override;

 private:
  std::uint32_t trackId_;
};

}  // namespace norvik::kav::impl
