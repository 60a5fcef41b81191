#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "kav/four_cc.h"

namespace norvik::kav {

// A box in memory, for those who look at or edit boxes that the library has no class for. A view
// does not own its bytes and is as cheap to copy as a span.
//
// Boxes with a 32-bit size, a 64-bit size and a size of 0 (to the end of the bytes) are known. A
// uuid box keeps the type "uuid"; its payload begins after the extended type.
class BoxView {
 public:
  using List = std::vector<BoxView>;

  // The box that begins with the first of these bytes, which may go on past its end. None where
  // they do not hold a whole box.
  static std::optional<BoxView> at(std::span<const std::uint8_t> bytes);

  // The boxes that follow each other in these bytes. offset is added to BoxView::offset() of each.
  // A box that is not whole ends the list; what is left is not reported (see trailingBytes).
  static List listOf(std::span<const std::uint8_t> bytes, std::uint64_t offset = 0);

  FourCc type() const { return type_; }

  // Where the box begins, counted from the start of the bytes that its outermost list was made of.
  std::uint64_t offset() const { return offset_; }

  // The whole box, its header included.
  std::span<const std::uint8_t> bytes() const { return bytes_; }

  // What follows the header; in a full box it begins with version and flags.
  std::span<const std::uint8_t> payload() const { return bytes_.subspan(headerLength_); }

  std::size_t headerLength() const { return headerLength_; }  // 8, 16, 24 or 32

  // The boxes in the payload, after fieldsLength bytes of fields. An empty list where the payload
  // is shorter than its fields.
  List children(std::size_t fieldsLength = 0) const;

  // The box at the end of a path such as "trak[2]/mdia/minf/stbl/stsd": in each part a type and, in
  // brackets, which of the children of that type, from 0. Only containers without fields of their
  // own can be passed. None where there is no such box, or the path is malformed.
  std::optional<BoxView> find(std::string_view path) const;

 private:
  BoxView(FourCc type, std::uint64_t offset, std::size_t headerLength,
          std::span<const std::uint8_t> bytes);

  FourCc type_;
  std::uint64_t offset_;
  std::size_t headerLength_;
  std::span<const std::uint8_t> bytes_;
};

}  // namespace norvik::kav
