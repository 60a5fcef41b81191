#include "kav/impl/boxes/table_box.h"

#include <gtest/gtest.h>

#include <vector>

#include "kav/impl/boxes/table_boxes.h"
#include "tests/support/box_builders.h"
#include "tests/support/expect_code.h"
#include "tests/support/film.h"

namespace norvik::kav::impl {
namespace {

using namespace quarrypack::test;

// A table of 32-bit numbers after one fixed number, the count.
class NumberTable final : public TableBox {
 public:
  NumberTable(std::uint32_t capacity, NorvikKavStream& stream)
      : TableBox(fourCc("nums"), stream, {4, 4}, capacity) {}
  NumberTable(BoxHeader header, NorvikKavStream& stream) : TableBox(std::move(header), stream) {}

  void add(std::uint32_t number) { append(NumberEntry{number}); }
  void addFinal(std::uint32_t number) { appendFinal(NumberEntry{number}); }
  void writeContent() override { writeFixedNumber(0, entryCount()); }
  std::vector<std::uint32_t> decode(std::uint32_t count) {
    std::vector<std::uint32_t> numbers;
    decodeEntries<NumberEntry>(count, [&](const NumberEntry& e) { numbers.push_back(e.number); });
    return numbers;
  }
  using TableBox::requireEntries;
  using TableBox::takeBackFinal;
};

TEST(TableBox, ReservesRoomForTheAnnouncedEntries) {
  Film output;
  NumberTable table(3, output.stream);
  EXPECT_EQ(table.getSize(), 16u);
  EXPECT_EQ(table.getCurrentSize(), 28u);
  EXPECT_EQ(table.entryCount(), 0u);
}

TEST(TableBox, ReservesMoreThanFourGiBWithoutAWrap) {
  Film output;
  NumberTable table(0xFFFFFFFF, output.stream);
  EXPECT_EQ(table.getCurrentSize(), 16u + 4u * 0xFFFFFFFFull);
}

TEST(TableBox, WritesHeaderAndCountAndLeavesTheRoomAlone) {
  Film output;
  NumberTable table(2, output.stream);
  table.place(5);
  EXPECT_EQ(table.write(), 24u);
  EXPECT_EQ(output.memory->bytes(), concat({zeros(5), u32(24), text("nums"), u32(0), u32(0)}));
}

TEST(TableBox, AppendsAtOnceToTheFilledPartAndGrowsOnlyThat) {
  Film output;
  NumberTable table(4, output.stream);
  table.write();
  table.add(0x01020304);
  EXPECT_EQ(output.bytes(16, 100), u32(0x01020304));
  table.add(0xA0B0C0D0);
  EXPECT_EQ(output.bytes(16, 100), concat({u32(0x01020304), u32(0xA0B0C0D0)}));
  EXPECT_EQ(table.getSize(), 24u);
  EXPECT_EQ(table.getCurrentSize(), 32u);
  EXPECT_EQ(table.entryCount(), 2u);
  table.writeContent();
  EXPECT_EQ(output.memory->bytes(),
            concat({u32(32), text("nums"), u32(0), u32(2), u32(0x01020304), u32(0xA0B0C0D0)}));
}

TEST(TableBox, EntriesGoWhereTheTableWasMovedTo) {
  Film output;
  NumberTable table(1, output.stream);
  table.place(100);
  table.add(7);
  table.writeContent();
  EXPECT_EQ(output.bytes(112, 120), concat({u32(1), u32(7)}));
}

TEST(TableBox, NothingIsAppendedPastTheRoom) {
  Film output;
  NumberTable table(2, output.stream);
  table.write();
  table.add(1);
  table.add(2);
  EXPECT_CODE(sampleTableFull, table.add(3));
  EXPECT_CODE(sampleTableFull, table.addFinal(3));
  table.writeContent();
  EXPECT_EQ(output.memory->bytes().size(), 24u);
  EXPECT_EQ(table.entryCount(), 2u);
}

TEST(TableBox, AnEntryCostsASeekAndAWrite) {
  Film output;
  NumberTable table(1000, output.stream);
  for (std::uint32_t i = 0; i < 1000; ++i) table.add(i);
  EXPECT_EQ(output.memory->calls().seek, 1000u);
  EXPECT_EQ(output.memory->calls().write, 1000u);
  EXPECT_EQ(output.memory->calls().all(), 2000u);
}

TEST(TableBox, AFailureOfTheStreamShowsAtOnceAndLeavesTheTableAsItWas) {
  Film output;
  NumberTable table(10, output.stream);
  output.memory->injectFault(2, MemoryStream::Fault::fails);
  EXPECT_CODE(ioFailed, table.add(1));
  EXPECT_EQ(table.entryCount(), 0u);
  EXPECT_EQ(table.getSize(), 16u);
}

TEST(TableBox, TakesFinalEntriesBackWhenItIsCompletedAgain) {
  Film output;
  NumberTable table(3, output.stream);
  for (int i = 0; i < 3; ++i) {
    table.takeBackFinal();
    table.addFinal(8);
    table.addFinal(9);
    table.writeContent();
  }
  EXPECT_EQ(table.getSize(), 24u);
  EXPECT_EQ(output.bytes(12, 100), concat({u32(2), u32(8), u32(9)}));
}

TEST(TableBox, TakesFinalEntriesBackWhenAnEntryIsAppendedAfterAll) {
  Film output;
  NumberTable table(2, output.stream);
  table.addFinal(8);
  table.addFinal(9);
  table.writeContent();
  table.add(5);
  table.writeContent();
  EXPECT_EQ(table.entryCount(), 1u);
  EXPECT_EQ(output.bytes(12, 20), concat({u32(1), u32(5)}));
}

// Decodes from a file that holds only these bytes.
std::vector<std::uint32_t> decodeFrom(const Bytes& file, std::uint32_t count,
                                      std::size_t* reads = nullptr) {
  const MemoryStreamPtr memory = MemoryStream::create(file);
  NorvikKavIStream stream(memory);
  stream.computeSize();
  NumberTable table(1, stream);
  memory->resetCalls();
  std::vector<std::uint32_t> numbers = table.decode(count);
  if (reads != nullptr) *reads = memory->calls().read;
  return numbers;
}

TEST(TableBox, DecodesATableFromOneRead) {
  std::size_t reads = 0;
  EXPECT_EQ(decodeFrom(concat({u32(1), u32(2), u32(3), u32(4)}), 3, &reads),
            (std::vector<std::uint32_t>{1, 2, 3}));
  EXPECT_EQ(reads, 1u);
}

TEST(TableBox, DecodesWholeEntriesBeforeTheEnd) {
  EXPECT_EQ(decodeFrom(concat({u32(1), u32(2), u24(3)}), 9), (std::vector<std::uint32_t>{1, 2}));
  EXPECT_TRUE(decodeFrom(u24(1), 1).empty());
  EXPECT_TRUE(decodeFrom({}, 1).empty());
  EXPECT_TRUE(decodeFrom(u32(1), 0).empty());
}

TEST(TableBox, DecodesTheWholeEntriesThatTheStreamDelivers) {
  const MemoryStreamPtr memory = MemoryStream::create(concat({u32(1), u32(2), u32(3)}));
  NorvikKavIStream stream(memory);
  stream.computeSize();
  NumberTable table(1, stream);
  memory->injectFault(2, MemoryStream::Fault::isShort);  // after the question for the position
  EXPECT_EQ(table.decode(3), (std::vector<std::uint32_t>{1}));
}

TEST(TableBox, EndsWithTheFirstPieceThatIsNotDeliveredWhole) {
  const MemoryStreamPtr memory = MemoryStream::create(Bytes(4 * 600'000));
  NorvikKavIStream stream(memory);
  stream.computeSize();
  NumberTable table(1, stream);
  memory->injectFault(3, MemoryStream::Fault::isShort);
  EXPECT_EQ(table.decode(600'000).size(), (1u << 18) + (1u << 17));
}

TEST(TableBox, ACountWhoseLengthWrapsMeansTheWrappedLength) {
  EXPECT_EQ(decodeFrom(concat({u32(1), u32(2)}), 0x40000001), (std::vector<std::uint32_t>{1}));
}

TEST(TableBox, DecodesAVeryLongTableInPieces) {
  std::vector<std::uint32_t> numbers(600'000);
  for (std::uint32_t i = 0; i < numbers.size(); ++i) numbers[i] = i * 7;
  std::size_t reads = 0;
  EXPECT_EQ(decodeFrom(u32List(numbers), 600'000, &reads), numbers);
  EXPECT_EQ(reads, 3u);
}

TEST(TableBox, RefusesCountsThatTheBoxCannotHold) {
  const MemoryStreamPtr memory = MemoryStream::create(Bytes(100));
  NorvikKavIStream stream(memory);
  BoxHeader header;
  header.end = 20;
  NumberTable table(header, stream);
  stream.seekTo(12);
  EXPECT_CODE(success, table.requireEntries(2, 4, ErrorCode::implausibleCount));
  EXPECT_CODE(truncatedBox, table.requireEntries(3, 4, ErrorCode::implausibleCount));
  EXPECT_CODE(implausibleCount, table.requireEntries(100'000'001, 0, ErrorCode::implausibleCount));
  EXPECT_CODE(success, table.requireEntries(100'000'000, 0, ErrorCode::implausibleCount));
}

TEST(PlausibleCapacity, IsOneHundredMillionAtMost) {
  EXPECT_EQ(plausibleCapacity(100'000'000, ErrorCode::implausibleCount), 100'000'000u);
  EXPECT_CODE(implausibleCount, plausibleCapacity(100'000'001, ErrorCode::implausibleCount));
}

}  // namespace
}  // namespace norvik::kav::impl
