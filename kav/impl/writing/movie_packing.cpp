#include "kav/impl/writing/movie_packing.h"

#include "kav/memory_size.h"

#include <algorithm>
#include <vector>

namespace norvik::kav::impl {
namespace {

constexpr std::size_t kCopyBlock = 256 * 1024;

// A stretch of the file that is in use, and its new place.
struct Stretch {
  std::uint64_t from = 0;
  std::uint64_t to = 0;
  std::uint64_t length = 0;
};

struct PlacedBox {
  Box* box;
  std::uint64_t start;  // before packing
};

void listBoxes(Box& box, std::vector<PlacedBox>& list) {
  list.push_back({&box, box.start()});
  for (const BoxPtr& child : box.children()) listBoxes(*child, list);
}

// The stretches of all boxes; neighbours that move by the same distance are joined.
std::vector<Stretch> listStretches(const std::vector<PlacedBox>& boxes) {
  std::vector<Stretch> stretches;
  for (const PlacedBox& placed : boxes) {
    const Stretch next{placed.start, placed.box->start(), placed.box->ownLength()};
    if (!stretches.empty()) {
      Stretch& last = stretches.back();
      if (last.from + last.length == next.from && last.to + last.length == next.to) {
        last.length += next.length;
        continue;
      }
    }
    stretches.push_back(next);
  }
  return stretches;
}

// Copies towards the start of the file, where source and target may overlap.
void moveForward(NorvikKavStream& stream, const Stretch& stretch,
                 std::vector<std::uint8_t>& buffer) {
  if (stretch.from == stretch.to) return;
  for (std::uint64_t done = 0; done < stretch.length;) {
    const std::size_t bytes = sizeWithin(stretch.length - done, kCopyBlock);
    buffer.resize(std::max(buffer.size(), bytes));
    stream.seekTo(stretch.from + done);
    stream.readFully(buffer.data(), bytes);
    stream.seekTo(stretch.to + done);
    stream.writeFully(buffer.data(), bytes);
    done += bytes;
  }
}

void writeZeros(NorvikKavStream& stream, std::uint64_t from, std::uint64_t to) {
  const std::vector<std::uint8_t> zeros(sizeWithin(to - from, kCopyBlock));
  stream.seekTo(from);
  while (from < to) {
    const std::size_t bytes = sizeWithin(to - from, zeros.size());
    stream.writeFully(zeros.data(), bytes);
    from += bytes;
  }
}

}  // namespace

std::uint64_t packTree(Box& top) {
  std::vector<PlacedBox> boxes;
  listBoxes(top, boxes);
  top.releaseReserve();
  for (const PlacedBox& placed : boxes) placed.box->patchSize();
  top.place(top.start());
  const std::vector<Stretch> stretches = listStretches(boxes);

  NorvikKavStream& stream = top.stream();
  std::vector<std::uint8_t> buffer;
  for (const Stretch& stretch : stretches) moveForward(stream, stretch, buffer);

  const std::uint64_t end = top.start() + top.extent();
  for (const Stretch& stretch : stretches) {
    const std::uint64_t stretchEnd = stretch.from + stretch.length;
    if (stretchEnd > end) writeZeros(stream, std::max(stretch.from, end), stretchEnd);
  }
  return end;
}

}  // namespace norvik::kav::impl
