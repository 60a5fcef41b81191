#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "kav/four_cc.h"

namespace norvik::kav {

// A box in memory, for reading and editing boxes that the library has no class for. A view does not
// own its bytes and is as cheap to copy as a span.
//
// It reads boxes with a 32-bit size, a 64-bit size and a size of 0 (to the end of the bytes). A
// uuid box keeps the type "uuid"; its payload begins after the extended type.
class BoxView {
 public:
  // Boxes in the order of their bytes.
  using List = std::vector<BoxView>;

  // The box that begins at the first of these bytes, which may continue past its end. Returns
  // nothing if they do not hold a complete box.
  static std::optional<BoxView> at(std::span<const std::uint8_t> bytes);

  // The consecutive boxes in these bytes. offset is added to BoxView::offset() of each. An
  // incomplete box ends the list; the bytes from there on are not reported.
  static List listOf(std::span<const std::uint8_t> bytes, std::uint64_t offset = 0);

  // The four-character code of the box.
  FourCc type() const { return type_; }

  // The offset of the box from the start of the bytes of its outermost list.
  std::uint64_t offset() const { return offset_; }

  // The complete box, header included.
  std::span<const std::uint8_t> bytes() const { return bytes_; }

  // The bytes after the header; in a full box they begin with version and flags.
  std::span<const std::uint8_t> payload() const { return bytes_.subspan(headerLength_); }

  std::size_t headerLength() const { return headerLength_; }  // 8, 16, 24 or 32

  // The boxes in the payload, after fieldsLength bytes of fields. The list is empty if the payload
  // is shorter than its fields.
  List children(std::size_t fieldsLength = 0) const;

  // The box at the end of a path such as "trak[2]/mdia/minf/stbl/stsd". Each part is a type and, in
  // brackets, the index among the children of that type, from 0. A path can only pass containers
  // without fields of their own. Returns nothing if there is no such box or the path is malformed.
  std::optional<BoxView> find(std::string_view path) const;

 private:
  BoxView(FourCc type, std::uint64_t offset, std::size_t headerLength,
          std::span<const std::uint8_t> bytes);

  FourCc type_;
  std::uint64_t offset_;
  std::size_t headerLength_;
  std::span<const std::uint8_t> bytes_;
};

// Whether the library reads the content of boxes of a type, in whatever box they lie. Of boxes of
// other types it keeps the bytes.
bool isInterpreted(FourCc type);

}  // namespace norvik::kav
