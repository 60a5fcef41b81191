#include "kav/impl/model/box_headers.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "kav/big_endian.h"
#include "kav/exception.h"
#include "kav/impl/model/box_factory.h"

namespace norvik::kav::impl {
namespace {

constexpr std::uint64_t kSmallestBox = 8;

// The last twelve bytes of every UUID that represents a four-character code.
constexpr std::array<std::uint8_t, 12> kFourCcUuidTail = {0x00, 0x11, 0x00, 0x10, 0x80, 0x00,
                                                          0x00, 0xAA, 0x00, 0x38, 0x9B, 0x71};

// Whether a header can be at the position. Bytes too few for one are an irregularity; no bytes are
// the ordinary end.
bool roomForHeader(NorvikKavStream& stream, std::uint64_t position) {
  const std::uint64_t length = stream.size();
  if (position >= length) return false;
  if (length - position >= kSmallestBox) return true;
  askHandler(stream, Problem::trailingBytes);
  return false;
}

// Decodes size and type at the stream's position. Nothing for impossible sizes.
std::optional<BoxHeader> decodeSizeAndType(NorvikKavStream& stream) {
  BoxHeader header;
  header.start = stream.tell();
  std::array<std::uint8_t, 8> bytes;
  stream.readFully(bytes.data(), bytes.size());
  header.size = loadU32(bytes.data());
  header.type = loadU32(bytes.data() + 4);
  if (header.size == 1) {
    header.hasLargeSize = true;
    stream.readFully(bytes.data(), bytes.size());
    header.size = loadU64(bytes.data());
  } else if (header.size == 0) {
    header.extendsToEnd = true;
    header.size = stream.size() - header.start;
  }
  // A size below its own header would put the next box inside this one, or loop forever.
  if (header.size < header.headerLength()) return std::nullopt;
  if (header.size > std::numeric_limits<std::uint64_t>::max() - header.start) return std::nullopt;
  header.end = header.start + header.size;
  return header;
}

// Reads the extended type of a uuid box. A box too short for one goes without it and is skipped.
void decodeExtendedType(NorvikKavStream& stream, BoxHeader& header) {
  ExtendedType extended;
  stream.readFully(extended.data(), extended.size());
  if (header.size < header.headerLength() + extended.size()) return;
  header.extendedType = extended;
  if (std::equal(kFourCcUuidTail.begin(), kFourCcUuidTail.end(), extended.begin() + 4)) {
    header.type = loadU32(extended.data());
  }
}

std::optional<BoxHeader> decodeHeader(NorvikKavStream& stream) {
  std::optional<BoxHeader> header = decodeSizeAndType(stream);
  if (header && header->type == fourCc("uuid")) decodeExtendedType(stream, *header);
  return header;
}

// A movie that is still being recorded, or was cut off, has an mdat longer than the file; its
// tables say which bytes are needed. Any other box that is cut off cannot be used.
void checkEnd(NorvikKavStream& stream, const BoxHeader& header) {
  if (header.end <= stream.size()) return;
  if (header.type != fourCc("mdat")) throw Exception(ErrorCode::truncatedBox);
  askHandler(stream, Problem::mediaDataPastEnd);
}

}  // namespace

void askHandler(NorvikKavStream& stream, Problem problem) {
  if (!stream.problemHandler().tolerates(problem)) throw Exception(ErrorCode::stoppedByHandler);
}

std::optional<BoxHeader> readBoxHeader(NorvikKavStream& stream, const Box* parent) {
  if (!roomForHeader(stream, stream.tell())) return std::nullopt;
  std::optional<BoxHeader> header = decodeHeader(stream);
  if (!header) return std::nullopt;
  if (parent != nullptr && header->end > parent->end()) {
    askHandler(stream, Problem::childPastParent);
    header->end = parent->end();
    // The header itself may run past the end.
    if (header->end - header->start < header->headerLength()) return std::nullopt;
  }
  checkEnd(stream, *header);
  return header;
}

std::optional<BoxHeader> findTopLevelBox(NorvikKavStream& stream, FourCc type) {
  while (roomForHeader(stream, stream.tell())) {
    std::optional<BoxHeader> header = decodeSizeAndType(stream);
    if (!header) break;
    if (header->type == type) {
      checkEnd(stream, *header);
      return header;
    }
    if (header->end >= stream.size()) break;
    stream.seekTo(header->end);
  }
  stream.seekTo(stream.size());
  return std::nullopt;
}

std::vector<BoxPlace> listTopLevelBoxes(NorvikKavStream& stream) {
  std::vector<BoxPlace> boxes;
  const std::uint64_t length = stream.computeSize();
  for (std::uint64_t start = 0; start < length && length - start >= kSmallestBox;) {
    stream.seekTo(start);
    const std::optional<BoxHeader> header = decodeSizeAndType(stream);
    if (!header) break;
    boxes.push_back({header->type, start, std::min(header->end, length) - start});
    start = header->end;
  }
  return boxes;
}

void readChildHeaders(const ReadContext& context, Box& box, unsigned depth) {
  NorvikKavStream& stream = context.stream;
  std::uint64_t position = box.start() + box.ownLength();
  while (position < box.end() && box.end() - position >= kSmallestBox) {
    if (depth >= kDeepestNesting) throw Exception(ErrorCode::childRuleBroken);
    stream.seekTo(position);
    std::optional<BoxHeader> header = readBoxHeader(stream, &box);
    if (!header) break;
    position = header->end;
    BoxPtr child = context.factory.createBox(stream, std::move(*header), context.allocator);
    if (child == nullptr) break;
    readChildHeaders(context, *child, depth + 1);
    box.addChild(std::move(child));
  }
  // Media data may state an end that no stream can reach.
  stream.seekTo(std::min(box.end(), stream.size()));
}

}  // namespace norvik::kav::impl
