#include "kav/box_view.h"

#include <algorithm>

#include "kav/big_endian.h"
#include "kav/impl/tree/known_boxes.h"

namespace norvik::kav {

namespace {

using Bytes = std::span<const std::uint8_t>;

constexpr std::size_t kHeader = 8;
constexpr std::size_t kLargeHeader = 16;
constexpr std::size_t kExtendedType = 16;
constexpr std::uint32_t kRunsToEnd = 0;
constexpr std::uint32_t kLargeSize = 1;

struct Extent {
  FourCc type;
  std::size_t headerLength;
  std::size_t size;
};

// The extent of the box that begins at these bytes; nothing if they do not hold all of the box.
std::optional<Extent> extentAt(Bytes bytes) {
  if (bytes.size() < kHeader) return std::nullopt;
  const std::uint32_t shortSize = loadU32(bytes.data());
  const FourCc type = loadU32(bytes.data() + 4);
  std::size_t headerLength = kHeader;
  std::uint64_t size = shortSize == kRunsToEnd ? bytes.size() : shortSize;
  if (shortSize == kLargeSize) {
    headerLength = kLargeHeader;
    if (bytes.size() < headerLength) return std::nullopt;
    size = loadU64(bytes.data() + kHeader);
  }
  if (type == fourCc("uuid")) headerLength += kExtendedType;
  if (size < headerLength || size > bytes.size()) return std::nullopt;
  return Extent{type, headerLength, static_cast<std::size_t>(size)};
}

constexpr std::size_t kTypeLength = 4;
constexpr std::size_t kMostDigits = 9;

// A part of a path: a type, and which of the boxes of that type.
struct PathPart {
  FourCc type = 0;
  std::size_t index = 0;
};

bool isDigit(char c) { return c >= '0' && c <= '9'; }

// Removes "[12]" from the start of the path, if it is there. False for malformed brackets.
bool takeIndex(std::string_view& path, std::size_t& index) {
  if (path.empty() || path.front() != '[') return true;
  path.remove_prefix(1);
  std::size_t digits = 0;
  for (; digits < path.size() && isDigit(path[digits]); ++digits) {
    if (digits == kMostDigits) return false;
    index = index * 10 + static_cast<std::size_t>(path[digits] - '0');
  }
  if (digits == 0 || digits == path.size() || path[digits] != ']') return false;
  path.remove_prefix(digits + 1);
  return true;
}

// Removes the first part and the slash after it from the path; nothing if the path is malformed.
std::optional<PathPart> takePart(std::string_view& path) {
  if (path.size() < kTypeLength) return std::nullopt;
  PathPart part;
  for (const char c : path.substr(0, kTypeLength)) {
    part.type = part.type << 8 | static_cast<unsigned char>(c);
  }
  path.remove_prefix(kTypeLength);
  if (!takeIndex(path, part.index)) return std::nullopt;
  if (path.empty()) return part;
  if (path.front() != '/' || path.size() == 1) return std::nullopt;
  path.remove_prefix(1);
  return part;
}

}  // namespace

BoxView::BoxView(FourCc type, std::uint64_t offset, std::size_t headerLength, Bytes bytes)
    : type_(type), offset_(offset), headerLength_(headerLength), bytes_(bytes) {}

std::optional<BoxView> BoxView::at(Bytes bytes) {
  const std::optional<Extent> extent = extentAt(bytes);
  if (!extent) return std::nullopt;
  return BoxView(extent->type, 0, extent->headerLength, bytes.first(extent->size));
}

BoxView::List BoxView::listOf(Bytes bytes, std::uint64_t offset) {
  List boxes;
  while (const std::optional<Extent> extent = extentAt(bytes)) {
    boxes.push_back(BoxView(extent->type, offset, extent->headerLength, bytes.first(extent->size)));
    bytes = bytes.subspan(extent->size);
    offset += extent->size;
  }
  return boxes;
}

BoxView::List BoxView::children(std::size_t fieldsLength) const {
  if (payload().size() < fieldsLength) return {};
  return listOf(payload().subspan(fieldsLength), offset_ + headerLength_ + fieldsLength);
}

std::optional<BoxView> BoxView::find(std::string_view path) const {
  BoxView found = *this;
  do {
    const std::optional<PathPart> part = takePart(path);
    if (!part) return std::nullopt;
    // Does not build the list of children: a path looks for one box, and may pass a large list.
    Bytes rest = found.payload();
    std::uint64_t offset = found.offset_ + found.headerLength_;
    std::size_t others = part->index;
    for (;;) {
      const std::optional<Extent> extent = extentAt(rest);
      if (!extent) return std::nullopt;
      if (extent->type == part->type && others-- == 0) {
        found = BoxView(extent->type, offset, extent->headerLength, rest.first(extent->size));
        break;
      }
      rest = rest.subspan(extent->size);
      offset += extent->size;
    }
  } while (!path.empty());
  return found;
}

bool isInterpreted(FourCc type) { return impl::knownBoxes().knows(type); }

}  // namespace norvik::kav
