#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "kav/four_cc.h"

namespace quarrypack::embed {

// A box that is mostly a copy of another one. The unchanged parts are kept by reference, so that a
// movie box of many megabytes with a few changes needs no second copy. What is kept must outlive
// the pieces.
//
//     BoxPieces pieces;
//     const BoxPieces::Mark trak = pieces.open(fourCc("trak"));
//     pieces.keep(trackHeader);
//     pieces.add(newTable);
//     pieces.close(trak);
class BoxPieces {
 public:
  using Bytes = std::span<const std::uint8_t>;

  // A box that is not closed yet.
  struct Mark {
    std::size_t header;   // place of its header among the new bytes
    std::uint64_t start;  // size() before it
  };

  // Appends bytes by reference.
  void keep(Bytes bytes);

  // Appends a copy of a few bytes.
  void add(Bytes bytes);
  void addU32(std::uint32_t value);
  void addU64(std::uint64_t value);
  void addWide(std::uint64_t value, bool isWide);  // 8 bytes, or else 4, into which it must fit

  // Appends a large table.
  void add(std::vector<std::uint8_t> table);

  // Appends the header of a box. Everything appended until it is closed is its payload.
  Mark open(norvik::kav::FourCc type);

  // Writes the size of a box into its header. Boxes are closed in the reverse of the order in which
  // they were opened. Throws Refusal for one of 4 GiB or more.
  void close(Mark mark);

  std::uint64_t size() const { return size_; }  // bytes

  // Calls visit with each part in order.
  template <class Visit>
  void forEach(Visit visit) const {
    for (const Piece& piece : pieces_) visit(bytesOf(piece));
  }

  // Whether all parts together are these bytes.
  bool areEqual(Bytes bytes) const;

  // All parts in one vector.
  std::vector<std::uint8_t> joined() const;

 private:
  struct Piece {
    const std::uint8_t* kept;  // null for new bytes
    std::size_t start;         // of new bytes
    std::size_t length;
  };

  Bytes bytesOf(const Piece& piece) const {
    return {piece.kept != nullptr ? piece.kept : new_.data() + piece.start, piece.length};
  }

  std::vector<Piece> pieces_;
  std::vector<std::uint8_t> new_;
  std::vector<std::vector<std::uint8_t>> tables_;
  std::uint64_t size_ = 0;
};

}  // namespace quarrypack::embed
