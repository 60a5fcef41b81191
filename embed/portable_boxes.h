#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "embed/box_pieces.h"
#include "embed/offset_map.h"
#include "kav/box_view.h"

// Boxes of QuickTime in the forms of MP4. Without them players of .mp4 show a stray character
// before a handler name, or do not find the sound. Each function appends the portable form of a
// box. A box that has this form already, or cannot be understood, is appended unchanged.
namespace quarrypack::embed {

// hdlr: with a C string as its name, and 0 in the place of the component type.
void appendPortableHandler(const norvik::kav::BoxView& hdlr, BoxPieces& pieces);

// meta: as a full box, with a portable handler. The second function also moves the places of its
// items: see item_places.h.
void appendPortableMetadata(const norvik::kav::BoxView& meta, BoxPieces& pieces);
void appendMovedMetadata(const norvik::kav::BoxView& meta, const OffsetMap& map, BoxPieces& pieces);

// udta: without the zero that ends it in QuickTime, and with portable metadata, whose items the
// second function moves.
void appendPortableUserData(const norvik::kav::BoxView& udta, BoxPieces& pieces);
void appendMovedUserData(const norvik::kav::BoxView& udta, const OffsetMap& map, BoxPieces& pieces);

// dinf: with references to the file itself as "url ".
void appendPortableDataInformation(const norvik::kav::BoxView& dinf, BoxPieces& pieces);

// stsd of a sound track: entries of version 1 and 2 whose esds lies in a wave box become entries of
// version 0. Entries without esds, such as uncompressed sound, need the fields of their version.
void appendPortableSoundDescriptions(const norvik::kav::BoxView& stsd, BoxPieces& pieces);

// ctts: in version 1 if offsets are negative.
void appendPortableCompositionOffsets(const norvik::kav::BoxView& ctts, BoxPieces& pieces);

// Whether any offset of a ctts is negative.
bool hasNegativeOffsets(const norvik::kav::BoxView& ctts);

// Whether any offset of any ctts of a sample table is negative. A damaged table may have several.
bool tableHasNegativeOffsets(const norvik::kav::BoxView& stbl);

// The ftyp of the output: mp42 and isom, then the brands of the input except QuickTime's. Takes the
// bytes of the input's ftyp, which are empty if it has none.
struct Brands {
  bool negativeOffsets = false;  // adds iso4
  bool fragments = false;        // adds iso5
};
std::vector<std::uint8_t> portableFileType(std::span<const std::uint8_t> ftyp, Brands brands);

}  // namespace quarrypack::embed
