#include "embed/movie_box_editor.h"

#include "embed/box_rebuild.h"
#include "embed/portable_boxes.h"
#include "embed/refusal.h"
#include "embed/wide_field.h"
#include "kav/big_endian.h"
#include "kav/four_cc.h"

#include <algorithm>
#include <limits>
#include <string>
#include <utility>

namespace quarrypack::embed {

using norvik::kav::BoxView;
using norvik::kav::FourCc;
using norvik::kav::fourCc;
using norvik::kav::loadU32;

namespace {

using Bytes = std::span<const std::uint8_t>;

constexpr WideField kTrackIdPlace{12, 20};    // tkhd; 4 bytes in both
constexpr std::size_t kExtendsTrackId = 4;    // trex
constexpr std::size_t kHandlerTypePlace = 8;  // hdlr

// Appends the box with a duration of at most `most`.
void appendLowered(const BoxView& box, WideField field, std::optional<std::uint64_t> most,
                   BoxPieces& pieces) {
  const std::optional<FieldValue> old = readField(box, field);
  if (!most || !old || !old->isKnown() || old->value <= *most) return pieces.keep(box.bytes());
  const Bytes payload = box.payload();
  const BoxPieces::Mark mark = pieces.open(box.type());
  pieces.keep(payload.first(old->position));
  // A value below another of the same width fits.
  pieces.addWide(*most, old->width == 8);
  pieces.keep(payload.subspan(old->position + old->width));
  pieces.close(mark);
}

bool isAmong(std::span<const std::uint32_t> ids, std::uint32_t id) {
  return std::find(ids.begin(), ids.end(), id) != ids.end();
}

std::uint32_t u32At(const BoxView& box, std::size_t position) {
  return box.payload().size() < position + 4 ? 0 : loadU32(box.payload().data() + position);
}

}  // namespace

std::optional<std::uint32_t> trackIdOf(const BoxView& trak) {
  const std::optional<BoxView> tkhd = trak.find("tkhd");
  if (!tkhd || tkhd->payload().empty()) return std::nullopt;
  const std::size_t position =
      tkhd->payload()[0] == 1 ? kTrackIdPlace.position1 : kTrackIdPlace.position0;
  if (tkhd->payload().size() < position + 4) return std::nullopt;
  return loadU32(tkhd->payload().data() + position);
}

FourCc handlerTypeOf(const BoxView& trak) {
  const std::optional<BoxView> hdlr = trak.find("mdia/hdlr");
  return hdlr ? u32At(*hdlr, kHandlerTypePlace) : 0;
}

void appendReferences(const BoxView& tref, std::span<const std::uint32_t> removedTracks,
                      BoxPieces& pieces) {
  constexpr std::size_t kId = 4;
  // A damaged tref may hold any box. Those that readers take for tables are not lists of ids.
  const auto isReference = [](const BoxView& child) {
    return child.type() == fourCc("hint") || !norvik::kav::isInterpreted(child.type());
  };
  const auto keptIds = [removedTracks](const BoxView& reference) {
    std::vector<std::uint32_t> ids;
    const Bytes payload = reference.payload();
    for (std::size_t i = 0; i + kId <= payload.size(); i += kId) {
      const std::uint32_t id = loadU32(payload.data() + i);
      if (!isAmong(removedTracks, id)) ids.push_back(id);
    }
    return ids;
  };
  // Where no reference names a removed track, nothing changes, not even a box without references.
  bool changes = false;
  bool keepsAny = false;
  forEachBox(tref.payload(), [&](const BoxView& reference) {
    if (!isReference(reference)) {
      keepsAny = true;
      return;
    }
    const std::size_t kept = keptIds(reference).size();
    changes = changes || kept < reference.payload().size() / kId;
    keepsAny = keepsAny || kept > 0;
  });
  if (!changes) return pieces.keep(tref.bytes());
  if (!keepsAny) return;
  rebuildBox(tref, pieces, 0, [&](const BoxView& reference) {
    if (!isReference(reference)) return pieces.keep(reference.bytes());
    const std::vector<std::uint32_t> ids = keptIds(reference);
    if (ids.size() == reference.payload().size() / kId) return pieces.keep(reference.bytes());
    if (ids.empty()) return;
    const BoxPieces::Mark mark = pieces.open(reference.type());
    for (const std::uint32_t id : ids) pieces.addU32(id);
    pieces.close(mark);
  });
}

MovieBoxEditor::MovieBoxEditor(const BoxView& moov, MovieBoxChanges changes)
    : moov_(moov), changes_(std::move(changes)) {
  std::uint64_t longest = 0;
  bool isKnown = true;
  forEachBox(moov_.payload(), [&](const BoxView& child) {
    if (child.type() == fourCc("mvex")) hasFragments_ = true;
    if (child.type() != fourCc("trak")) return;
    tracks_.push_back(partsOf(child));
    if (tracks_.back().isRemoved) {
      removesTracks_ = true;
      return;
    }
    const std::optional<BoxView> tkhd = child.find("tkhd");
    const std::optional<FieldValue> duration =
        tkhd ? readField(*tkhd, kTrackDuration) : std::nullopt;
    isKnown = isKnown && duration && duration->isKnown();
    if (duration) longest = std::max(longest, duration->value);
  });
  if (hasFragments_) {
    longestTrack_ = changes_.fragmentedDuration;
  } else if (isKnown && longest > 0) {
    longestTrack_ = longest;
  }
  if (!removesTracks_) longestTrack_.reset();
}

bool MovieBoxEditor::isRemoved(std::uint32_t trackId) const {
  return isAmong(changes_.removedTracks, trackId);
}

MovieBoxEditor::TrackParts MovieBoxEditor::partsOf(const BoxView& trak) {
  TrackParts parts;
  const std::uint32_t id = trackIdOf(trak).value_or(0);
  parts.isRemoved = isRemoved(id);
  if (parts.isRemoved) return parts;
  parts.isSound = handlerTypeOf(trak) == fourCc("soun");
  if (const std::optional<BoxView> stbl = trak.find("mdia/minf/stbl")) {
    const auto role = id == changes_.pictureTrack ? SampleTableEditor::Role::pictures
                                                  : SampleTableEditor::Role::other;
    parts.tables.emplace(*stbl, role, "track " + std::to_string(id));
    hasNegativeOffsets_ = hasNegativeOffsets_ || tableHasNegativeOffsets(*stbl);
  }
  return parts;
}

BoxPieces MovieBoxEditor::build(const OffsetMap& map) {
  map_ = &map;
  nextTrack_ = 0;
  for (TrackParts& parts : tracks_) {
    if (parts.tables) parts.tables->measure(map);
  }
  BoxPieces pieces;
  rebuildBox(moov_, pieces, 0, [&](const BoxView& child) { appendChild(child, pieces); });
  map_ = nullptr;
  return pieces;
}

void MovieBoxEditor::appendChild(const BoxView& child, BoxPieces& pieces) {
  switch (child.type()) {
    case fourCc("mvhd"):
      return appendMovieHeader(child, pieces);
    case fourCc("trak"):
      return appendTrack(child, tracks_[nextTrack_++], pieces);
    case fourCc("mvex"):
      return appendExtends(child, pieces);
    case fourCc("udta"):
      return appendMovedUserData(child, *map_, pieces);
    case fourCc("meta"):
      return appendMovedMetadata(child, *map_, pieces);
    default:
      return pieces.keep(child.bytes());
  }
}

void MovieBoxEditor::appendMovieHeader(const BoxView& mvhd, BoxPieces& pieces) const {
  appendLowered(mvhd, kMovieDuration, longestTrack_, pieces);
}

void MovieBoxEditor::appendExtends(const BoxView& mvex, BoxPieces& pieces) const {
  rebuildBox(mvex, pieces, 0, [&](const BoxView& child) {
    const bool namesTrack = child.type() == fourCc("trex") || child.type() == fourCc("trep");
    if (namesTrack && isRemoved(u32At(child, kExtendsTrackId))) return;
    if (child.type() == fourCc("mehd")) {
      return appendLowered(child, kFragmentDuration, longestTrack_, pieces);
    }
    pieces.keep(child.bytes());
  });
}

void MovieBoxEditor::appendTrack(const BoxView& trak, TrackParts& parts, BoxPieces& pieces) {
  if (parts.isRemoved) return;
  rebuildBox(trak, pieces, 0, [&](const BoxView& child) {
    switch (child.type()) {
      case fourCc("tref"):
        return appendReferences(child, changes_.removedTracks, pieces);
      case fourCc("mdia"):
        return appendMedia(child, parts, pieces);
      case fourCc("udta"):
        return appendMovedUserData(child, *map_, pieces);
      case fourCc("meta"):
        return appendMovedMetadata(child, *map_, pieces);
      default:
        return pieces.keep(child.bytes());
    }
  });
}

void MovieBoxEditor::appendMedia(const BoxView& mdia, TrackParts& parts, BoxPieces& pieces) {
  rebuildBox(mdia, pieces, 0, [&](const BoxView& child) {
    if (child.type() == fourCc("hdlr")) return appendPortableHandler(child, pieces);
    if (child.type() == fourCc("minf")) return appendMediaInformation(child, parts, pieces);
    pieces.keep(child.bytes());
  });
}

void MovieBoxEditor::appendMediaInformation(const BoxView& minf, TrackParts& parts,
                                            BoxPieces& pieces) {
  rebuildBox(minf, pieces, 0, [&](const BoxView& child) {
    switch (child.type()) {
      case fourCc("hdlr"):
        return appendPortableHandler(child, pieces);
      case fourCc("dinf"):
        return appendPortableDataInformation(child, pieces);
      case fourCc("stbl"):
        return appendSampleTable(child, parts, pieces);
      default:
        return pieces.keep(child.bytes());
    }
  });
}

void MovieBoxEditor::appendSampleTable(const BoxView& stbl, TrackParts& parts, BoxPieces& pieces) {
  // Only a second, stray minf has tables that were not read.
  if (!parts.tables) return pieces.keep(stbl.bytes());
  rebuildBox(stbl, pieces, 0, [&](const BoxView& child) {
    switch (child.type()) {
      case fourCc("stsd"):
        return parts.isSound ? appendPortableSoundDescriptions(child, pieces)
                             : pieces.keep(child.bytes());
      case fourCc("ctts"):
        return appendPortableCompositionOffsets(child, pieces);
      case fourCc("stsz"):
      case fourCc("stz2"):
      case fourCc("stco"):
      case fourCc("co64"):
      case fourCc("saio"):
      case fourCc("subs"):
        return parts.tables->append(child, *map_, pieces);
      default:
        return pieces.keep(child.bytes());
    }
  });
}

}  // namespace quarrypack::embed
