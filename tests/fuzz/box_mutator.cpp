// Mutations that respect boxes. Random changes of bytes seldom get past the headers of a movie: a
// byte inserted anywhere makes the size of every box around it wrong. Here these boxes get their
// new size, unless the change is to a size.

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <random>
#include <string_view>
#include <vector>

extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* data, std::size_t size, std::size_t maxSize);

namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::size_t kHeader = 8;

struct Place {
  std::size_t start;
  std::size_t end;
  std::vector<std::size_t> around;  // where the boxes around it start
};

std::uint32_t loadSize(const Bytes& bytes, std::size_t position) {
  std::uint32_t value = 0;
  for (std::size_t i = 0; i < 4; ++i) value = value << 8 | bytes[position + i];
  return value;
}

void storeNumber(Bytes& bytes, std::size_t position, std::uint32_t value) {
  for (std::size_t i = 0; i < 4; ++i) {
    bytes[position + i] = static_cast<std::uint8_t>(value >> (24 - 8 * i));
  }
}

// How many bytes of fields come before a container's children; none for other boxes.
int fieldBytes(std::string_view type) {
  struct Container {
    std::string_view type;
    int bytes;
  };
  static constexpr std::array kContainers = {
      Container{"moov", 0},  Container{"trak", 0}, Container{"edts", 0},  Container{"mdia", 0},
      Container{"minf", 0},  Container{"dinf", 0}, Container{"stbl", 0},  Container{"mvex", 0},
      Container{"moof", 0},  Container{"traf", 0}, Container{"mfra", 0},  Container{"tref", 0},
      Container{"dref", 8},  Container{"stsd", 8}, Container{"avc1", 78}, Container{"mp4a", 28},
      Container{"hvc1", 78}, Container{"udta", 0}, Container{"meta", 0}};
  for (const Container& container : kContainers) {
    if (container.type == type) return container.bytes;
  }
  return -1;
}

void findBoxes(const Bytes& bytes, std::size_t position, std::size_t end,
               std::vector<std::size_t>& around, std::vector<Place>& found) {
  while (end - position >= kHeader) {
    const std::size_t size = loadSize(bytes, position);
    if (size < kHeader || size > end - position) return;
    found.push_back({position, position + size, around});
    const std::string_view type(reinterpret_cast<const char*>(bytes.data()) + position + 4, 4);
    const int fields = fieldBytes(type);
    if (fields >= 0 && size >= kHeader + static_cast<std::size_t>(fields) && around.size() < 20) {
      around.push_back(position);
      findBoxes(bytes, position + kHeader + static_cast<std::size_t>(fields), position + size,
                around, found);
      around.pop_back();
    }
    position += size;
  }
}

// Replaces some bytes, and adjusts the sizes of the boxes around them.
void replace(Bytes& bytes, const std::vector<std::size_t>& around, std::size_t start,
             std::size_t end, const Bytes& by) {
  const auto at = [&](std::size_t i) { return bytes.begin() + static_cast<std::ptrdiff_t>(i); };
  const std::size_t before = bytes.size();
  bytes.erase(at(start), at(end));
  bytes.insert(at(start), by.begin(), by.end());
  for (const std::size_t box : around) {
    storeNumber(bytes, box,
                static_cast<std::uint32_t>(loadSize(bytes, box) + bytes.size() - before));
  }
}

class Mutation {
 public:
  Mutation(Bytes& bytes, std::size_t maxSize, unsigned seed)
      : bytes_(bytes), room_(maxSize - bytes.size()), random_(seed) {
    std::vector<std::size_t> around;
    findBoxes(bytes_, 0, bytes_.size(), around, boxes_);
  }

  bool apply() {
    if (boxes_.empty()) return false;
    const Place box = boxes_[pick(boxes_.size())];
    switch (pick(8)) {
      case 0:
        replace(bytes_, box.around, box.start, box.end, {});
        return true;
      case 1:
        return copyBehind(box, box);
      case 2:
        return copyBehind(boxes_[pick(boxes_.size())], box);
      case 3:
      case 4:
        return setNumber(box);
      default:
        return mutateContent(box);
    }
  }

 private:
  std::size_t pick(std::size_t count) { return random_() % count; }

  Bytes bytesOf(std::size_t start, std::size_t end) const {
    return {bytes_.begin() + static_cast<std::ptrdiff_t>(start),
            bytes_.begin() + static_cast<std::ptrdiff_t>(end)};
  }

  bool copyBehind(const Place& box, const Place& neighbour) {
    if (box.end - box.start > room_) return false;
    const Bytes copy = bytesOf(box.start, box.end);
    replace(bytes_, neighbour.around, neighbour.end, neighbour.end, copy);
    return true;
  }

  // Counts, sizes and times are at multiples of four bytes, in most boxes.
  bool setNumber(const Place& box) {
    static constexpr std::uint32_t kNumbers[] = {
        0,          1,          2,          3,          7,          8,          9,
        0x7FFFFFFF, 0x80000000, 0xFFFFFFFF, 0xFFFFFFFE, 100000000,  100000001,  0x15555556,
        0x40000001, 0x10000,    0xFFFF,     0x20000001, 0x01010000, 0x02000000, 16};
    const std::size_t words = (box.end - box.start - kHeader) / 4;
    if (words == 0) return false;
    storeNumber(bytes_, box.start + kHeader + 4 * pick(std::min<std::size_t>(words, 24)),
                kNumbers[pick(std::size(kNumbers))]);
    return true;
  }

  bool mutateContent(const Place& box) {
    Bytes content = bytesOf(box.start + kHeader, box.end);
    const std::size_t length = content.size();
    content.resize(length + std::min<std::size_t>(room_, 64));
    content.resize(LLVMFuzzerMutate(content.data(), length, content.size()));
    std::vector<std::size_t> around = box.around;
    around.push_back(box.start);
    replace(bytes_, around, box.start + kHeader, box.end, content);
    return true;
  }

  Bytes& bytes_;
  std::size_t room_;
  std::minstd_rand random_;
  std::vector<Place> boxes_;
};

}  // namespace

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size,
                                               std::size_t maxSize, unsigned seed) {
  constexpr unsigned kPlainOneIn = 5;
  Bytes bytes(data, data + size);
  if (size > maxSize || seed % kPlainOneIn == 0 || !Mutation(bytes, maxSize, seed).apply()) {
    return LLVMFuzzerMutate(data, size, maxSize);
  }
  std::copy(bytes.begin(), bytes.end(), data);
  return bytes.size();
}
