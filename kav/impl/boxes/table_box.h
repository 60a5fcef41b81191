#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "kav/exception.h"
#include "kav/impl/bytes/field_layout.h"
#include "kav/impl/model/box.h"
#include "kav/memory_size.h"
#include "kav/wrapping.h"

namespace norvik::kav::impl {

// The place of the entries of a table, and the length of one.
struct TableShape {
  std::uint32_t fixedLength = 0;  // bytes between version and flags and the first entry
  std::uint32_t entryLength = 0;
};

// A full box that is a list of entries of equal length, read or built.
//
// Built: construct it with room reserved for a number of entries and place it; then append entries
// in order, and at the end complete the table. extent is the room, ownLength the filled part. An
// entry is written past the filled part as soon as it is appended, and never past the room. The
// table holds no entry in memory: gathering small writes into large ones is the stream's task.
//
// Completing may add provisional final entries. They are withdrawn when the table is completed
// again or another entry is appended, so that a table can be brought up to date any number of
// times.
class TableBox : public FullBox {
 public:
  // The number of entries in the table.
  std::uint32_t entryCount() const { return entryCount_; }

 protected:
  // A table to be read.
  TableBox(BoxHeader header, NorvikKavStream& stream);

  // A table to be written, with room for capacity entries.
  TableBox(FourCc type, NorvikKavStream& stream, const TableShape& shape, std::uint32_t capacity);

  void setEntryCount(std::uint32_t count) { entryCount_ = count; }

  // Throws sampleTableFull if no room is left.
  template <class Entry>
  void append(const Entry& entry) {
    if (finalCount_ > 0) takeBackFinal();
    appendBytes(entry);
  }

  // Only for an entry of the completed table.
  template <class Entry>
  void appendFinal(const Entry& entry) {
    appendBytes(entry);
    ++finalCount_;
  }
  void takeBackFinal();

  // Writes a number among the fixed bytes.
  void writeFixedNumber(std::uint32_t offset, std::uint32_t value);

  // Reads the next number of the stream, wherever the box ends.
  std::uint32_t readNumber();

  // Reads the number of entries. Throws truncatedBox if the box ends before it.
  std::uint32_t readCount();

  // Reads entries at the stream's position and passes each to use. The length of all of them is a
  // product in 32 bits. A stream that delivers fewer bytes yields fewer entries: the complete ones
  // among those bytes. A table is read at once, a very long one in large pieces: its bytes are
  // needed only until they are decoded.
  template <class Entry, class Use>
  void decodeEntries(std::uint32_t count, Use use);

  // Throws if the box cannot hold count entries: limitError for more than any real file has,
  // truncatedBox for more than the remaining bytes hold.
  void requireEntries(std::uint32_t count, std::uint32_t entryLength, ErrorCode limitError) const;

 private:
  static constexpr std::size_t kReadLength = std::size_t{1} << 20;

  template <class Entry>
  void appendBytes(const Entry& entry) {
    std::array<std::uint8_t, recordSize<Entry>(kVersion0)> bytes;
    FieldWriter writer(bytes, kVersion0);
    Entry::layout(writer, entry);
    appendToFile(bytes);
  }

  void appendToFile(std::span<const std::uint8_t> bytes);

  std::uint64_t bytesToRead(std::uint64_t wanted) const;

  std::uint32_t entryLength_ = 0;
  std::uint32_t entryCount_ = 0;
  std::uint32_t finalCount_ = 0;
};

// No real file has more entries in a table or needs more to be written.
inline constexpr std::uint32_t kMostEntries = 100'000'000;

// Returns a number of samples for a constructor; throws limitError for more than any real file has.
std::uint32_t plausibleCapacity(std::uint32_t capacity, ErrorCode limitError);

template <class Entry, class Use>
void TableBox::decodeEntries(std::uint32_t count, Use use) {
  constexpr std::uint32_t kLength = recordSize<Entry>(kVersion0);
  std::uint64_t left = bytesToRead(wrappingMultiply(count, kLength));
  std::vector<std::uint8_t> bytes(sizeWithin(left, kReadLength / kLength * kLength));
  while (left >= kLength) {
    const std::size_t wanted = sizeWithin(left, bytes.size());
    const std::size_t delivered = stream().read(bytes.data(), wanted);
    for (std::size_t i = 0; i + kLength <= delivered; i += kLength) {
      Entry entry;
      FieldReader reader({bytes.data() + i, kLength}, kVersion0);
      Entry::layout(reader, entry);
      use(entry);
    }
    if (delivered < wanted) return;
    left -= wanted;
  }
}

}  // namespace norvik::kav::impl
