#include "embed/fragment_editor.h"

#include "embed/box_nesting.h"
#include "embed/box_rebuild.h"
#include "embed/refusal.h"
#include "embed/sample_parts.h"
#include "kav/big_endian.h"
#include "kav/four_cc.h"

#include <algorithm>
#include <array>
#include <limits>
#include <optional>
#include <string>
#include <utility>

namespace quarrypack::embed {

using norvik::kav::BoxView;
using norvik::kav::fourCc;
using norvik::kav::loadU16;
using norvik::kav::loadU32;
using norvik::kav::loadU64;
using norvik::kav::loadWide;
using norvik::kav::storeU32;

namespace {

using Bytes = std::span<const std::uint8_t>;

[[noreturn]] void refuseShort(const char* box, std::uint64_t offset) {
  throw Refusal(std::string("the box '") + box + "' of the fragment at byte " +
                std::to_string(offset) + " is cut short. The file is damaged");
}

// Reads the fields of a payload in order.
class Fields {
 public:
  Fields(Bytes bytes, const char* box, std::uint64_t offset)
      : rest_(bytes), box_(box), offset_(offset) {}

  Bytes take(std::uint64_t count) {
    if (count > rest_.size()) refuseShort(box_, offset_);
    const Bytes taken = rest_.first(static_cast<std::size_t>(count));
    rest_ = rest_.subspan(taken.size());
    return taken;
  }
  std::uint16_t u16() { return loadU16(take(2).data()); }
  std::uint32_t u32() { return loadU32(take(4).data()); }
  std::uint64_t u64() { return loadU64(take(8).data()); }
  std::uint64_t wide(bool isWide) { return isWide ? u64() : u32(); }
  Bytes rest() const { return rest_; }

 private:
  Bytes rest_;
  const char* box_;
  std::uint64_t offset_;
};

constexpr std::uint32_t kFlagsMask = 0xFFFFFF;
constexpr std::uint32_t kMostBytes = std::numeric_limits<std::uint32_t>::max();

// ---- tfhd

constexpr std::uint32_t kBaseDataOffset = 0x000001;
constexpr std::uint32_t kDescriptionIndex = 0x000002;
constexpr std::uint32_t kDefaultDuration = 0x000008;
constexpr std::uint32_t kDefaultSize = 0x000010;
constexpr std::uint32_t kBaseIsMoof = 0x020000;

struct TrackFragmentHeader {
  std::uint32_t versionAndFlags = 0;
  std::uint32_t track = 0;
  std::uint64_t baseDataOffset = 0;  // only if the flags say so
  std::optional<std::uint32_t> defaultSize;
  Bytes afterBase;  // all other fields

  bool has(std::uint32_t flag) const { return (versionAndFlags & flag) != 0; }
};

TrackFragmentHeader readHeader(const BoxView& tfhd, std::uint64_t moof) {
  Fields fields(tfhd.payload(), "tfhd", moof);
  TrackFragmentHeader header;
  header.versionAndFlags = fields.u32();
  header.track = fields.u32();
  if (header.has(kBaseDataOffset)) header.baseDataOffset = fields.u64();
  header.afterBase = fields.rest();
  if (header.has(kDescriptionIndex)) fields.take(4);
  if (header.has(kDefaultDuration)) fields.take(4);
  if (header.has(kDefaultSize)) header.defaultSize = fields.u32();
  return header;
}

void appendHeader(const TrackFragmentHeader& header, BoxPieces& pieces) {
  const BoxPieces::Mark mark = pieces.open(fourCc("tfhd"));
  pieces.addU32((header.versionAndFlags & ~kBaseDataOffset) | kBaseIsMoof);
  pieces.addU32(header.track);
  pieces.keep(header.afterBase);
  pieces.close(mark);
}

// ---- trun

constexpr std::uint32_t kDataOffset = 0x000001;
constexpr std::uint32_t kFirstFlags = 0x000004;
constexpr std::uint32_t kDurations = 0x000100;
constexpr std::uint32_t kSizes = 0x000200;
constexpr std::uint32_t kFlags = 0x000400;
constexpr std::uint32_t kCompositionOffsets = 0x000800;

struct Run {
  std::uint32_t versionAndFlags = 0;
  std::uint32_t sampleCount = 0;
  std::int32_t dataOffset = 0;  // where the flags say so
  Bytes firstFlags;             // 4 bytes where the flags say so
  Bytes samples;                // an entry of entrySize for each
  Bytes rest;                   // after the fields

  bool has(std::uint32_t flag) const { return (versionAndFlags & flag) != 0; }
  std::size_t sizeOf(std::uint32_t flag) const { return has(flag) ? 4 : 0; }
  std::size_t beforeSize() const { return sizeOf(kDurations); }
  std::size_t afterSize() const { return sizeOf(kFlags) + sizeOf(kCompositionOffsets); }
  std::size_t entrySize() const { return beforeSize() + sizeOf(kSizes) + afterSize(); }

  Bytes entry(std::uint32_t sample) const {
    return samples.subspan(std::size_t{sample} * entrySize(), entrySize());
  }
  std::uint32_t size(std::uint32_t sample, std::uint32_t defaultSize) const {
    return has(kSizes) ? loadU32(entry(sample).data() + beforeSize()) : defaultSize;
  }
};

Run readRun(const BoxView& trun, std::uint64_t moof) {
  Fields fields(trun.payload(), "trun", moof);
  Run run;
  run.versionAndFlags = fields.u32();
  run.sampleCount = fields.u32();
  if (run.has(kDataOffset)) run.dataOffset = static_cast<std::int32_t>(fields.u32());
  if (run.has(kFirstFlags)) run.firstFlags = fields.take(4);
  run.samples = fields.take(std::uint64_t{run.sampleCount} * run.entrySize());
  run.rest = fields.rest();
  return run;
}

std::uint64_t lengthOf(const Run& run, std::uint32_t defaultSize) {
  if (!run.has(kSizes)) return std::uint64_t{run.sampleCount} * defaultSize;
  std::uint64_t length = 0;
  for (std::uint32_t i = 0; i < run.sampleCount; ++i) length += run.size(i, defaultSize);
  return length;
}

// Version 1, which makes composition offsets signed, for a run of version 0 that needs it.
std::uint32_t signedVersion(const Run& run) {
  constexpr std::uint32_t kVersion1 = 0x01000000;
  const bool isVersion0 = (run.versionAndFlags & ~kFlagsMask) == 0;
  if (!isVersion0 || !run.has(kCompositionOffsets)) return run.versionAndFlags;
  const bool isSigned = hasNegativeAtEnd(run.samples, run.entrySize());
  return run.versionAndFlags | (isSigned ? kVersion1 : 0);
}

// The entries of a run of pictures with the new size of each.
std::vector<std::uint8_t> resizedEntries(const Run& run, std::uint64_t offset,
                                         std::uint32_t defaultSize, OffsetMap::Cursor& cursor) {
  // If all samples have one size, a few bytes can claim any number of them.
  constexpr std::uint32_t kMostPictures = 1u << 20;
  if (run.entrySize() == 0 && run.sampleCount > kMostPictures) {
    throw Refusal("a fragment claims " + std::to_string(run.sampleCount) +
                  " pictures, more than any film has. The file is damaged");
  }
  const std::size_t newEntry = run.beforeSize() + 4 + run.afterSize();
  std::vector<std::uint8_t> entries(run.sampleCount * newEntry);
  auto* out = entries.data();
  for (std::uint32_t i = 0; i < run.sampleCount; ++i) {
    const Bytes old = run.entry(i);
    const std::uint32_t oldSize = run.size(i, defaultSize);
    const std::uint64_t newSize = cursor.newLength(offset, oldSize);
    if (newSize > kMostBytes) throw Refusal("a picture would be larger than 4 GiB");
    offset += oldSize;
    out = std::copy_n(old.data(), run.beforeSize(), out);
    storeU32(out, static_cast<std::uint32_t>(newSize));
    const Bytes after = old.last(run.afterSize());
    out = std::copy(after.begin(), after.end(), out + 4);
  }
  return entries;
}

// ---- A moof while it is rewritten

class Rewrite {
 public:
  Rewrite(std::uint64_t moof, std::uint64_t moofLength, std::uint32_t pictureTrack,
          const OffsetMap& map)
      : moof_(moof),
        moofEnd_(moof + moofLength),
        pictureTrack_(pictureTrack),
        cursor_(map),
        newMoof_(cursor_.newOffset(moof)),
        nextBase_(moof) {}

  // Places in a traf without a base count from the end of the data of the traf before it.
  void enter(const TrackFragmentHeader& header, std::uint32_t defaultSize) {
    header_ = header;
    defaultSize_ = header.defaultSize.value_or(defaultSize);
    base_ = header.has(kBaseDataOffset) ? header.baseDataOffset
            : header.has(kBaseIsMoof)   ? moof_
                                        : nextBase_;
    nextRun_ = base_;
  }

  // Returns where the data of a run begins. Must be called for all runs in their order, also for
  // those that are not appended.
  std::uint64_t pass(const Run& run) {
    const std::uint64_t offset =
        run.has(kDataOffset) ? base_ + static_cast<std::uint64_t>(std::int64_t{run.dataOffset})
                             : nextRun_;
    nextRun_ = nextBase_ = offset + lengthOf(run, defaultSize_);
    return offset;
  }

  void appendRun(const Run& run, BoxPieces& pieces) {
    const std::uint64_t offset = pass(run);
    const bool isPictures = header_.track == pictureTrack_;
    const BoxPieces::Mark mark = pieces.open(fourCc("trun"));
    pieces.addU32(signedVersion(run) | kDataOffset | (isPictures ? kSizes : 0));
    pieces.addU32(run.sampleCount);
    pieces.addU32(placeInMoof(cursor_.newOffset(offset)));
    pieces.keep(run.firstFlags);
    if (isPictures) {
      pieces.add(resizedEntries(run, offset, defaultSize_, cursor_));
    } else {
      requireUnchanged(offset, nextRun_ - offset);
      pieces.keep(run.samples);
    }
    pieces.keep(run.rest);
    pieces.close(mark);
  }

  // Offsets of auxiliary information count from the base of the traf.
  void appendAuxiliaryOffsets(const BoxView& saio, BoxPieces& pieces) {
    Fields fields(saio.payload(), "saio", moof_);
    const std::uint32_t versionAndFlags = fields.u32();
    const bool isWide = (versionAndFlags & ~kFlagsMask) != 0;
    const Bytes type = fields.take((versionAndFlags & 1) != 0 ? 8 : 0);
    const std::uint32_t count = fields.u32();
    const BoxPieces::Mark mark = pieces.open(fourCc("saio"));
    pieces.addU32(versionAndFlags);
    pieces.keep(type);
    pieces.addU32(count);
    for (std::uint32_t i = 0; i < count; ++i) {
      const std::uint64_t old = base_ + fields.wide(isWide);
      if (old >= moof_ && old < moofEnd_) {
        throw Refusal("track " + std::to_string(header_.track) +
                      ": auxiliary information lies inside the fragment at byte " +
                      std::to_string(moof_) + ", which this program cannot move");
      }
      pieces.addWide(placeInMoof(cursor_.newOffset(old)), isWide);
    }
    pieces.keep(fields.rest());
    pieces.close(mark);
  }

  const TrackFragmentHeader& header() const { return header_; }
  std::uint32_t defaultSize() const { return defaultSize_; }
  bool isOfPictures() const { return header_.track == pictureTrack_; }
  const OffsetMap& map() const { return cursor_.map(); }

 private:
  std::uint32_t placeInMoof(std::uint64_t newOffset) const {
    const auto place = static_cast<std::int64_t>(newOffset - newMoof_);
    if (place < std::numeric_limits<std::int32_t>::min() ||
        place > std::numeric_limits<std::int32_t>::max()) {
      throw Refusal("the data of the fragment at byte " + std::to_string(moof_) +
                    " lies more than 2 GiB from it");
    }
    return static_cast<std::uint32_t>(place);
  }

  void requireUnchanged(std::uint64_t offset, std::uint64_t length) {
    if (!cursor_.changes(offset, length)) return;
    throw Refusal("track " + std::to_string(header_.track) +
                  ": its samples in the fragment at byte " + std::to_string(moof_) +
                  " share bytes with pictures that captions go into, or with other changes. Make a "
                  "plain copy of the movie first");
  }

  std::uint64_t moof_;
  std::uint64_t moofEnd_;
  std::uint32_t pictureTrack_;
  OffsetMap::Cursor cursor_;
  std::uint64_t newMoof_;

  TrackFragmentHeader header_;
  std::uint32_t defaultSize_ = 0;
  std::uint64_t base_ = 0;      // of the current traf
  std::uint64_t nextRun_ = 0;   // of a run without a place of its own
  std::uint64_t nextBase_ = 0;  // of a traf without a base of its own
};

std::optional<TrackFragmentHeader> headerOf(const BoxView& traf, std::uint64_t moof) {
  const std::optional<BoxView> tfhd = traf.find("tfhd");
  if (!tfhd) return std::nullopt;
  return readHeader(*tfhd, moof);
}

void passRuns(const BoxView& traf, std::uint64_t moof, Rewrite& rewrite) {
  forEachBox(traf.payload(), [&](const BoxView& child) {
    if (child.type() == fourCc("trun")) rewrite.pass(readRun(child, moof));
  });
}

// The offsets of the samples of a traf, requested by ascending numbers from 0.
class FragmentPlaces {
 public:
  // rewrite has entered the traf and passed no run of it.
  FragmentPlaces(const BoxView& traf, std::uint64_t moof, Rewrite rewrite)
      : defaultSize_(rewrite.defaultSize()) {
    forEachBox(traf.payload(), [&](const BoxView& child) {
      if (child.type() != fourCc("trun")) return;
      const Run run = readRun(child, moof);
      runs_.push_back({rewrite.pass(run), run});
    });
    if (!runs_.empty()) offset_ = runs_.front().offset;
  }

  std::optional<std::uint64_t> offsetOf(std::uint32_t sample) {
    while (current_ < runs_.size() && sample - first_ >= runs_[current_].run.sampleCount) {
      first_ += runs_[current_].run.sampleCount;
      inRun_ = 0;
      if (++current_ < runs_.size()) offset_ = runs_[current_].offset;
    }
    if (current_ == runs_.size()) return std::nullopt;
    return advance(sample - first_);
  }

 private:
  struct PlacedRun {
    std::uint64_t offset;
    Run run;
  };

  std::uint64_t advance(std::uint32_t inRun) {
    const Run& run = runs_[current_].run;
    // A run of one size claims any number of samples in a few bytes.
    if (!run.has(kSizes)) return offset_ + std::uint64_t{inRun} * defaultSize_;
    while (inRun_ < inRun) offset_ += run.size(inRun_++, defaultSize_);
    return offset_;
  }

  std::vector<PlacedRun> runs_;
  std::uint32_t defaultSize_;
  std::size_t current_ = 0;
  std::uint32_t first_ = 0;  // sample of the current run
  std::uint32_t inRun_ = 0;  // the one at offset_, in a run with sizes
  std::uint64_t offset_ = 0;
};

void appendParts(const BoxView& subs, const BoxView& traf, std::uint64_t moof,
                 const Rewrite& entered, BoxPieces& pieces) {
  if (!entered.isOfPictures()) return pieces.keep(subs.bytes());
  FragmentPlaces places(traf, moof, entered);
  appendSampleParts(
      subs, [&places](std::uint32_t sample) { return places.offsetOf(sample); }, PartSizes::wide,
      entered.map(), pieces);
}

void appendTrackFragment(const BoxView& traf, std::uint64_t moof, Rewrite& rewrite,
                         BoxPieces& pieces) {
  const Rewrite entered = rewrite;
  rebuildBox(traf, pieces, 0, [&](const BoxView& child) {
    switch (child.type()) {
      case fourCc("tfhd"):
        return appendHeader(rewrite.header(), pieces);
      case fourCc("trun"):
        return rewrite.appendRun(readRun(child, moof), pieces);
      case fourCc("saio"):
        return rewrite.appendAuxiliaryOffsets(child, pieces);
      case fourCc("subs"):
        return appendParts(child, traf, moof, entered, pieces);
      default:
        return pieces.keep(child.bytes());
    }
  });
}

// ---- tfra

void appendTrackRandomAccess(const BoxView& tfra, const OffsetMap& map, BoxPieces& pieces) {
  Fields fields(tfra.payload(), "tfra", tfra.offset());
  const std::uint32_t versionAndFlags = fields.u32();
  const Bytes track = fields.take(4);
  const Bytes lengths = fields.take(4);
  const std::uint32_t count = fields.u32();
  const bool isWide = (versionAndFlags & ~kFlagsMask) != 0;
  const std::size_t width = isWide ? 8 : 4;
  // The lengths less one of three numbers, in two bits each.
  const std::uint32_t bits = loadU32(lengths.data());
  const std::size_t numbers = 3 + (bits & 3) + (bits >> 2 & 3) + (bits >> 4 & 3);
  const std::size_t entrySize = 2 * width + numbers;
  const Bytes entries = fields.take(std::uint64_t{count} * entrySize);

  OffsetMap::Cursor cursor(map);
  const auto newOffset = [&](std::uint32_t i) {
    const std::uint8_t* const old = entries.data() + i * entrySize + width;
    return cursor.newOffset(loadWide(old, isWide));
  };
  bool needsWide = isWide;
  for (std::uint32_t i = 0; i < count && !needsWide; ++i) needsWide = newOffset(i) > kMostBytes;

  constexpr std::uint32_t kVersion1 = 0x01000000;
  const BoxPieces::Mark mark = pieces.open(fourCc("tfra"));
  pieces.addU32(needsWide ? (versionAndFlags & kFlagsMask) | kVersion1 : versionAndFlags);
  pieces.keep(track);
  pieces.keep(lengths);
  pieces.addU32(count);
  for (std::uint32_t i = 0; i < count; ++i) {
    const Bytes entry = entries.subspan(i * entrySize, entrySize);
    const std::uint64_t offset = newOffset(i);
    if (needsWide) {
      pieces.addU64(loadWide(entry.data(), isWide));
      pieces.addU64(offset);
    } else {
      pieces.add(entry.first(width));
      pieces.addU32(static_cast<std::uint32_t>(offset));
    }
    pieces.add(entry.last(numbers));
  }
  pieces.keep(fields.rest());
  pieces.close(mark);
}

}  // namespace

std::vector<FragmentChanges::Defaults> fragmentDefaults(const BoxView& moov) {
  constexpr std::size_t kTrack = 4;
  constexpr std::size_t kSampleSize = 16;
  std::vector<FragmentChanges::Defaults> defaults;
  const std::optional<BoxView> mvex = moov.find("mvex");
  if (!mvex) return defaults;
  forEachBox(mvex->payload(), [&defaults](const BoxView& trex) {
    if (trex.type() != fourCc("trex") || trex.payload().size() < kSampleSize + 4) return;
    defaults.push_back(
        {loadU32(trex.payload().data() + kTrack), loadU32(trex.payload().data() + kSampleSize)});
  });
  return defaults;
}

bool FragmentEditor::isRemoved(std::uint32_t track) const {
  const auto& removed = changes_.removedTracks;
  return std::find(removed.begin(), removed.end(), track) != removed.end();
}

std::uint32_t FragmentEditor::defaultSize(std::uint32_t track) const {
  for (const FragmentChanges::Defaults& defaults : changes_.defaults) {
    if (defaults.track == track) return defaults.sampleSize;
  }
  return 0;
}

bool FragmentEditor::losesTracks(const BoxView& moof) const {
  bool loses = false;
  forEachBox(moof.payload(), [&](const BoxView& child) {
    if (child.type() != fourCc("traf")) return;
    const auto header = headerOf(child, moof.offset());
    loses = loses || (header && isRemoved(header->track));
  });
  return loses;
}

BoxPieces FragmentEditor::fragment(const BoxView& moof, std::uint64_t offset,
                                   const OffsetMap& map) const {
  requireWholeBoxes(moof, "the fragment at byte " + std::to_string(offset));
  Rewrite rewrite(offset, moof.bytes().size(), changes_.pictureTrack, map);
  BoxPieces pieces;
  std::size_t kept = 0;
  std::size_t lost = 0;
  rebuildBox(moof, pieces, 0, [&](const BoxView& child) {
    if (child.type() != fourCc("traf")) return pieces.keep(child.bytes());
    const auto header = headerOf(child, offset);
    if (!header) refuseShort("traf", offset);
    rewrite.enter(*header, defaultSize(header->track));
    if (isRemoved(header->track)) {
      ++lost;
      return passRuns(child, offset, rewrite);
    }
    ++kept;
    appendTrackFragment(child, offset, rewrite, pieces);
  });
  if (kept == 0 && lost > 0) return {};
  return pieces;
}

BoxPieces FragmentEditor::segmentIndex(const BoxView& sidx, std::uint64_t offset,
                                       const OffsetMap& map) const {
  constexpr std::uint32_t kTypeBit = 0x80000000;
  Fields fields(sidx.payload(), "sidx", offset);
  const Bytes versionAndFlags = fields.take(4);
  const bool isWide = versionAndFlags[0] != 0;
  const Bytes track = fields.take(4);
  if (isRemoved(loadU32(track.data()))) return {};
  const Bytes times = fields.take(isWide ? 12 : 8);  // timescale, earliest time
  const std::uint64_t firstOffset = fields.wide(isWide);
  const Bytes counts = fields.take(4);  // reserved, count
  const std::uint16_t count = loadU16(counts.data() + 2);

  OffsetMap::Cursor cursor(map);
  std::uint64_t place = offset + sidx.bytes().size();
  const std::uint64_t newAnchor = cursor.newOffset(place);
  place += firstOffset;
  const std::uint64_t newFirst = cursor.newOffset(place) - newAnchor;
  if (!isWide && newFirst > kMostBytes) throw Refusal("an offset of 'sidx' outgrows 4 GiB");

  BoxPieces pieces;
  const BoxPieces::Mark mark = pieces.open(fourCc("sidx"));
  pieces.keep(versionAndFlags);
  pieces.keep(track);
  pieces.keep(times);
  pieces.addWide(newFirst, isWide);
  pieces.keep(counts);
  for (std::uint16_t i = 0; i < count; ++i) {
    const std::uint32_t typeAndSize = fields.u32();
    const std::uint32_t size = typeAndSize & ~kTypeBit;
    const std::uint64_t newSize = cursor.newLength(place, size);
    if (newSize >= kTypeBit) throw Refusal("a segment of 'sidx' outgrows 2 GiB");
    place += size;
    pieces.addU32((typeAndSize & kTypeBit) | static_cast<std::uint32_t>(newSize));
    pieces.keep(fields.take(8));  // duration, stream access point
  }
  pieces.keep(fields.rest());
  pieces.close(mark);
  return pieces;
}

BoxPieces FragmentEditor::randomAccess(const BoxView& mfra, const OffsetMap& map) const {
  constexpr std::size_t kTrack = 4;
  BoxPieces pieces;
  // The last box states the size of the whole, which is known only once the others are done.
  std::optional<BoxView> end;
  const BoxPieces::Mark mark = pieces.open(fourCc("mfra"));
  forEachBox(mfra.payload(), [&](const BoxView& child) {
    if (child.type() == fourCc("mfro")) {
      end = child;
    } else if (child.type() != fourCc("tfra")) {
      pieces.keep(child.bytes());
    } else if (child.payload().size() < kTrack + 4 ||
               !isRemoved(loadU32(child.payload().data() + kTrack))) {
      appendTrackRandomAccess(child, map, pieces);
    }
  });
  if (end) {
    const BoxPieces::Mark endMark = pieces.open(fourCc("mfro"));
    pieces.addU32(0);
    pieces.addU32(static_cast<std::uint32_t>(pieces.size() - mark.start + 4));
    pieces.close(endMark);
  }
  pieces.close(mark);
  return pieces;
}

}  // namespace quarrypack::embed
