#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace quarrypack::embed {

// A change of a file at one place: some bytes are removed, and others are inserted there. It has
// only 16 bytes, because a film has one for each picture.
struct Splice {
  std::uint64_t offset = 0;    // in the old file
  std::uint32_t inserted = 0;  // bytes
  std::uint32_t removed = 0;   // bytes, from the offset on

  std::uint64_t end() const { return offset + removed; }

  friend bool operator==(const Splice&, const Splice&) = default;
};

// Where the bytes of a file lie after splices, as a monotone function of where they lay before.
//
// Bytes that are inserted at an offset lie at the new place of that offset, before the byte that
// was there. What begins with this byte then begins with the insertion, and what ends before it
// does not contain the insertion. So a range keeps its old bytes and gains what is inserted at its
// first byte or inside it; its new length is the distance between its new ends. An offset inside a
// removed range maps to the end of what was inserted in its place.
class OffsetMap {
 public:
  OffsetMap() = default;

  // Takes splices at ascending offsets. None may begin inside what another one removes: see
  // findConflict.
  explicit OffsetMap(std::vector<Splice> splices);

  // Of sorted splices, the first that begins at the offset of the one before it, or inside what
  // that one removes. None if a map can be made of them.
  static std::optional<Splice> findConflict(std::span<const Splice> splices);

  const std::vector<Splice>& splices() const { return splices_; }

  // Changes how many bytes a splice inserts. Takes time with the number of splices.
  void setInserted(std::size_t index, std::uint32_t inserted);

  // The new place of an old offset, in logarithmic time.
  std::uint64_t newOffset(std::uint64_t oldOffset) const {
    return place(oldOffset, lowerBound(oldOffset));
  }

  // For offsets that mostly ascend: each is then found in constant time.
  class Cursor {
   public:
    explicit Cursor(const OffsetMap& map) : map_(&map) {}

    const OffsetMap& map() const { return *map_; }

    std::uint64_t newOffset(std::uint64_t oldOffset);

    // The new length of a range. It differs from the old one exactly if splices change the number
    // of bytes in it.
    std::uint64_t newLength(std::uint64_t oldOffset, std::uint64_t length) {
      const std::uint64_t start = newOffset(oldOffset);
      return newOffset(oldOffset + length) - start;
    }

    // Whether a splice inserts or removes bytes in a range.
    bool changes(std::uint64_t oldOffset, std::uint64_t length);

   private:
    void seek(std::uint64_t oldOffset);

    const OffsetMap* map_;
    std::size_t index_ = 0;    // splices before the offset looked up last
    std::uint64_t shift_ = 0;  // the sum of their shifts, modulo 2^64
  };

 private:
  // The shift of a file that shrinks is negative. Unsigned numbers wrap and give the same sums.
  std::uint64_t shiftBefore(std::size_t index) const;
  std::size_t lowerBound(std::uint64_t oldOffset) const;
  std::uint64_t place(std::uint64_t oldOffset, std::size_t index) const;
  void sum();

  static constexpr std::size_t kBlock = 32;

  std::vector<Splice> splices_;
  std::vector<std::uint64_t> shifts_;  // before every kBlock-th splice
};

// The ranges of bytes that a film no longer needs when some of its tracks are removed. A range that
// other tracks use in part is kept whole: a few bytes that nothing refers to do no harm.
class UnusedRanges {
 public:
  // Adds a range that the removed tracks used. An empty one adds nothing.
  void add(std::uint64_t offset, std::uint64_t length);

  // Sorts the ranges and unites those that overlap or touch; called once, between add and keep.
  void unite();

  // Keeps all ranges that overlap this one. All calls together take time in proportion to the
  // number of ranges, apart from a binary search for each call.
  void keep(std::uint64_t offset, std::uint64_t length);

  // The unused ranges, as splices at ascending offsets.
  std::vector<Splice> splices() const;

 private:
  struct Range {
    std::uint64_t offset;
    std::uint64_t end;
  };

  std::size_t nextUnused(std::size_t index);

  std::vector<Range> ranges_;
  std::vector<std::uint32_t> next_;  // itself for an unused range; for a kept one, a later range
};

}  // namespace quarrypack::embed
