#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "embed/box_pieces.h"
#include "kav/box_view.h"

namespace quarrypack::embed {

// Calls visit with each whole box in these bytes, without making a list of them: a hostile movie
// has millions. Returns the bytes after the last one.
template <class Visit>
std::span<const std::uint8_t> forEachBox(std::span<const std::uint8_t> bytes, Visit visit) {
  while (const auto box = norvik::kav::BoxView::at(bytes)) {
    visit(*box);
    bytes = bytes.subspan(box->bytes().size());
  }
  return bytes;
}

// Whether the last field of any entry, a number of 4 bytes, is negative.
inline bool hasNegativeAtEnd(std::span<const std::uint8_t> entries, std::size_t entrySize) {
  constexpr std::uint8_t kSign = 0x80;
  for (std::size_t end = entrySize; end <= entries.size(); end += entrySize) {
    if ((entries[end - 4] & kSign) != 0) return true;
  }
  return false;
}

// Appends a box with the same type and the same fieldsLength bytes of fields. edit is called with
// each child and appends what replaces it. Bytes after the last whole child are kept.
template <class Edit>
void rebuildBox(const norvik::kav::BoxView& box, BoxPieces& pieces, std::size_t fieldsLength,
                Edit edit) {
  if (box.payload().size() < fieldsLength) return pieces.keep(box.bytes());
  const BoxPieces::Mark mark = pieces.open(box.type());
  pieces.keep(box.payload().first(fieldsLength));
  pieces.keep(forEachBox(box.payload().subspan(fieldsLength), edit));
  pieces.close(mark);
}

}  // namespace quarrypack::embed
