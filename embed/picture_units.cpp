#include "embed/picture_units.h"

#include <algorithm>
#include <utility>

namespace quarrypack::embed {

using captions::CaptionPlace;
using captions::NalRules;
using captions::NalUnit;
using captions::NalWalk;

namespace {

// Enough for most pictures. The parameter sets of a key picture are longer and need a second step.
constexpr std::uint64_t kFirstLook = 256;

// No coder writes more than this before the first slice.
constexpr std::uint64_t kMostAhead = 1 << 20;

// No picture has more slices and other units.
constexpr int kMostUnits = 1 << 12;

}  // namespace

const PictureUnits& PictureReader::look(std::uint32_t sampleSize, PictureCoding coding,
                                        const Read& read) {
  head_.clear();
  std::uint64_t wanted = std::min<std::uint64_t>(kFirstLook, sampleSize);
  for (;;) {
    const std::size_t known = head_.size();
    head_.resize(static_cast<std::size_t>(wanted));
    read(known, std::span(head_).subspan(known));
    if (walk(sampleSize, coding, wanted) == Step::done) {
      if (units_.takesCaptions) walkOn(sampleSize, coding, read);
      return units_;
    }
    const std::uint64_t limit = std::min<std::uint64_t>(sampleSize, kMostAhead);
    if (head_.size() >= limit) break;
    wanted = std::min(std::max<std::uint64_t>(wanted, head_.size() * 2), limit);
  }
  units_.takesCaptions = false;
  return units_;
}

PictureReader::Step PictureReader::walk(std::uint32_t sampleSize, PictureCoding coding,
                                        std::uint64_t& wanted) {
  units_.takesCaptions = false;
  units_.cuts.clear();
  const NalRules& rules = *coding.rules;
  NalWalk units(head_, sampleSize, coding.nalLengthSize);
  while (const std::optional<NalUnit> unit = units.next()) {
    const bool isWhole = unit->whole();
    wanted = unit->offset + unit->lengthSize + rules.headerSize;
    if (unit->bytes.size() < rules.headerSize) {
      // A unit too short for a header means that the sample is damaged.
      if (unit->size < rules.headerSize) return Step::done;
      return Step::needsBytes;
    }
    const std::uint8_t type = rules.type(unit->bytes);
    if (rules.picture.contains(type)) {
      units_.temporalId = rules.temporalId(unit->bytes);
      const CaptionPlace place =
          captions::findCaptionPlace(head_, sampleSize, coding.nalLengthSize, rules);
      // Every SEI unit before this one was read as a whole.
      if (place.state != CaptionPlace::State::known) return Step::done;
      units_.place = static_cast<std::uint32_t>(place.offset);
      units_.takesCaptions = true;
      firstSliceEnd_ = unit->end();
      return Step::done;
    }
    if (type != rules.seiType) continue;
    wanted = unit->end();
    if (!isWhole) return Step::needsBytes;
    takeSei(*unit, coding);
  }
  wanted = units.position() + coding.nalLengthSize + rules.headerSize;
  return units.stop() == NalWalk::Stop::needsBytes ? Step::needsBytes : Step::done;
}

void PictureReader::walkOn(std::uint32_t sampleSize, PictureCoding coding, const Read& read) {
  const std::uint64_t headerSize = coding.nalLengthSize + coding.rules->headerSize;
  std::uint64_t position = firstSliceEnd_;
  for (int count = 0; count < kMostUnits && sampleSize - position > headerSize; ++count) {
    const auto unitAt = [&](std::uint64_t length) {
      head_.resize(static_cast<std::size_t>(length));
      read(position, head_);
      return NalWalk(head_, sampleSize - position, coding.nalLengthSize).next();
    };
    std::optional<NalUnit> unit = unitAt(headerSize);
    if (!unit || unit->size < coding.rules->headerSize) return;
    const std::uint64_t length = unit->end();
    if (coding.rules->type(unit->bytes) == coding.rules->seiType && length <= kMostAhead) {
      unit = unitAt(length);
      unit->offset += position;
      takeSei(*unit, coding);
    }
    position += length;
  }
}

void PictureReader::takeSei(const NalUnit& unit, PictureCoding coding) {
  const captions::SeiUnit sei = captions::parseSeiUnit(unit.bytes, *coding.rules);
  const bool holds =
      std::any_of(sei.messages.begin(), sei.messages.end(),
                  [&](const auto& message) { return captions::holdsCaptions(sei, message); });
  // In a unit that breaks off, the part that belongs to captions is unknown.
  if (!holds || !sei.whole) return;
  CaptionCut cut{static_cast<std::uint32_t>(unit.offset), unit.size + unit.lengthSize,
                 captions::withoutCaptions(sei, *coding.rules)};
  if (!cut.rest.empty()) captions::prependNalLength(cut.rest, coding.nalLengthSize);
  units_.cuts.push_back(std::move(cut));
}

}  // namespace quarrypack::embed
