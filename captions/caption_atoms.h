#pragma once

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <optional>
#include <span>

#include "captions/cea608.h"

// A sample of a caption track is a sequence of atoms, each with the pairs of one field:
//
//     size (4 bytes, these 8 included) | "cdat" field 1, "cdt2" field 2 | pairs
namespace quarrypack::captions {

inline constexpr std::size_t kAtomHeaderSize = 8;

inline constexpr std::uint32_t kField1Atom = 0x63646174;  // "cdat"
inline constexpr std::uint32_t kField2Atom = 0x63647432;  // "cdt2"

struct CaptionAtom {
  std::uint32_t type = 0;
  std::span<const std::uint8_t> pairs;  // points into the caption sample
  // The byte after the atom, 0 after the last atom. It is the second byte of the last pair of an
  // odd atom.
  std::uint8_t nextByte = 0;

  // The field of the pairs; nothing for an atom of another type.
  std::optional<Field> field() const {
    if (type == kField1Atom) return Field::one;
    if (type == kField2Atom) return Field::two;
    return std::nullopt;
  }

  // In an odd atom, nextByte completes the last of these pairs.
  std::size_t pairCount() const { return pairs.size() / 2 + pairs.size() % 2; }
  std::size_t wholePairCount() const { return pairs.size() / 2; }

  // Requires index < pairCount().
  BytePair pair(std::size_t index) const {
    const std::size_t second = 2 * index + 1;
    return {pairs[2 * index], second < pairs.size() ? pairs[second] : nextByte};
  }
};

// The atoms of a caption sample, for a range-for. An atom that states a size smaller than its own
// header ends the sequence. One that states more bytes than the sample has is cut off at the end of
// the sample. The atoms refer to the sample, which must outlive them.
class CaptionAtoms {
 public:
  explicit CaptionAtoms(std::span<const std::uint8_t> captionSample) : sample_(captionSample) {}

  class Iterator {
   public:
    using value_type = CaptionAtom;
    using difference_type = std::ptrdiff_t;

    Iterator() = default;
    explicit Iterator(std::span<const std::uint8_t> rest) : rest_(rest) { advance(); }

    const CaptionAtom& operator*() const { return atom_; }
    const CaptionAtom* operator->() const { return &atom_; }
    Iterator& operator++() {
      advance();
      return *this;
    }
    void operator++(int) { advance(); }
    bool operator==(std::default_sentinel_t) const { return atEnd_; }

   private:
    void advance();

    std::span<const std::uint8_t> rest_;  // after the current atom
    CaptionAtom atom_;
    bool atEnd_ = false;
  };

  Iterator begin() const { return Iterator(sample_); }
  static std::default_sentinel_t end() { return {}; }

 private:
  std::span<const std::uint8_t> sample_;
};

}  // namespace quarrypack::captions
