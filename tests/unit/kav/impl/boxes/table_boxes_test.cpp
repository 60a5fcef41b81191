#include "kav/impl/boxes/table_boxes.h"

#include <gtest/gtest.h>

#include <optional>
#include <type_traits>
#include <vector>

#include "tests/support/box_builders.h"
#include "tests/support/expect_code.h"
#include "tests/support/film.h"

namespace norvik::kav::impl {
namespace {

using namespace quarrypack::test;
using Numbers = std::vector<std::uint32_t>;

constexpr std::uint32_t kTooMany = 100'000'001;

// A table whose count or length claims more than its bytes, in a file that continues after it.
Bytes inLongFile(const Bytes& table) { return concat({table, box("free", zeros(64))}); }

TEST(SttsBox, ReadsLiteralBytes) {
  Film film(Bytes{0, 0, 0, 32, 's', 't', 't',  's',  0, 0, 0, 0, 0, 0, 0,    2,
                  0, 0, 0, 3,  0,   0,   0x03, 0xE8, 0, 0, 0, 2, 0, 0, 0x01, 0xF4});
  SttsBox& stts = film.box<SttsBox>();
  ASSERT_EQ(stts.table().runs().size(), 2u);
  EXPECT_EQ(stts.entryCount(), 2u);
  EXPECT_EQ(stts.table().runs()[0].startTime, 0u);
  EXPECT_EQ(stts.table().runs()[0].firstSample, 1u);
  EXPECT_EQ(stts.table().runs()[0].sampleCount, 3u);
  EXPECT_EQ(stts.table().runs()[0].sampleDelta, 1000u);
  EXPECT_EQ(stts.table().runs()[1].startTime, 3000u);
  EXPECT_EQ(stts.table().runs()[1].firstSample, 4u);
  EXPECT_EQ(stts.table().runs()[1].sampleCount, 2u);
  EXPECT_EQ(stts.table().runs()[1].sampleDelta, 500u);
}

TEST(SttsBox, FindsTimes) {
  Film film(fullBox("stts", 0, 0, u32(2), u32List({3, 1000, 2, 500})));
  SttsBox& stts = film.box<SttsBox>();
  EXPECT_EQ(stts.getTimeCursor(3001).sampleNumber(), 5u);
  EXPECT_FALSE(stts.getTimeCursor(3501).isValid());
}

TEST(SttsBox, WithoutSamplesInItsLastEntriesEndsWhereItsSamplesDo) {
  Film film(fullBox("stts", 0, 0, u32(3), u32List({3, 0x80000000, 0, 7, 0, 9})));
  SttsBox& stts = film.box<SttsBox>();
  EXPECT_EQ(stts.table().runs().size(), 3u);
  EXPECT_EQ(stts.endTime(), 0x180000000u);
}

TEST(SttsBox, RefusesMoreEntriesThanThereAreBytes) {
  EXPECT_CODE(truncatedBox,
              Film(inLongFile(fullBox("stts", 0, 0, u32(2), zeros(15)))).box<SttsBox>());
  EXPECT_CODE(success, Film(fullBox("stts", 0, 0, u32(2), zeros(16))).box<SttsBox>());
  EXPECT_CODE(implausibleCount, Film(fullBox("stts", 0, 0, u32(kTooMany))).box<SttsBox>());
  EXPECT_CODE(truncatedBox, Film(fullBox("stts", 0, 0, u32(100'000'000))).box<SttsBox>());
}

TEST(SttsBox, ReadsItsCountPastTheBoxWhenItIsTooShort) {
  EXPECT_CODE(success, Film(concat({fullBox("stts", 0, 0), zeros(4)})).box<SttsBox>());
  EXPECT_CODE(truncatedBox, Film(concat({fullBox("stts", 0, 0), u32(1)})).box<SttsBox>());
  EXPECT_CODE(shortRead, Film(fullBox("stts", 0, 0)).box<SttsBox>());
}

// The bytes of a completed stts of times.
Bytes builtTimes(const std::vector<std::uint64_t>& times, std::uint32_t lastDuration) {
  Film output;
  SttsBox stts(static_cast<std::uint32_t>(times.size()), lastDuration, output.stream);
  EXPECT_EQ(stts.getCurrentSize(), 16 + 8 * times.size());
  stts.write();
  for (const std::uint64_t time : times) stts.addSampleTime(time);
  return output.completed(stts);
}

Bytes timeTable(const Numbers& countsAndDeltas) {
  return fullBox("stts", 0, 0, u32(countsAndDeltas.size() / 2), u32List(countsAndDeltas));
}

TEST(SttsBox, WritesLiteralBytes) {
  EXPECT_EQ(builtTimes({0, 10, 20, 25}, 7),
            (Bytes{0, 0, 0, 40, 's', 't', 't', 's', 0, 0, 0, 0, 0, 0, 0, 3, 0, 0, 0, 2,
                   0, 0, 0, 10, 0,   0,   0,   1,   0, 0, 0, 5, 0, 0, 0, 1, 0, 0, 0, 7}));
}

TEST(SttsBox, GivesTheLastSampleTheDurationOfItsCreation) {
  EXPECT_EQ(builtTimes({0, 10}, 10), timeTable({1, 10, 1, 10}));
  EXPECT_EQ(builtTimes({5, 5, 5}, 0), timeTable({2, 0, 1, 0}));
}

TEST(SttsBox, GivesASingleSampleTheDurationOne) {
  EXPECT_EQ(builtTimes({90}, 7), timeTable({1, 1}));
}

TEST(SttsBox, OfNoSamplesHasNoEntries) { EXPECT_EQ(builtTimes({}, 7), timeTable({})); }

TEST(SttsBox, FitsItsRoomWhenEveryDurationDiffers) {
  EXPECT_EQ(builtTimes({0, 1, 3, 6, 10}, 9), timeTable({1, 1, 1, 2, 1, 3, 1, 4, 1, 9}));
}

TEST(SttsBox, KeepsTheLow32BitsOfADuration) {
  EXPECT_EQ(builtTimes({0, 0x100000005, 0x10000000A}, 1), timeTable({2, 5, 1, 1}));
}

TEST(SttsBox, ADurationOfAllOnesGivesWayToTheNext) {
  EXPECT_EQ(builtTimes({0, 0xFFFFFFFF, 0x100000004}, 1), timeTable({2, 5, 1, 1}));
}

TEST(SttsBox, CanBeCompletedWhileItGrows) {
  Film output;
  SttsBox stts(4, 7, output.stream);
  stts.write();
  for (const std::uint64_t time : {0u, 10u, 20u, 25u}) {
    stts.updateContent();
    stts.addSampleTime(time);
  }
  stts.updateContent();
  EXPECT_EQ(output.completed(stts), timeTable({2, 10, 1, 5, 1, 7}));
}

TEST(CttsBox, ReadsLiteralBytes) {
  Film film(Bytes{0, 0, 0, 32, 'c', 't', 't',  's',  0, 0, 0, 0, 0,    0,    0,    2,
                  0, 0, 0, 1,  0,   0,   0x07, 0xD0, 0, 0, 0, 4, 0xFF, 0xFF, 0xFF, 0xFE});
  CttsBox& ctts = film.box<CttsBox>();
  ASSERT_EQ(ctts.table().runs().size(), 2u);
  EXPECT_FALSE(ctts.isEmptyTable());
  EXPECT_EQ(ctts.table().runs()[0].sampleCount, 1u);
  EXPECT_EQ(ctts.table().runs()[0].sampleOffset, 2000u);
  EXPECT_EQ(ctts.table().runs()[0].firstSample, 1u);
  EXPECT_EQ(ctts.table().runs()[1].sampleCount, 4u);
  EXPECT_EQ(ctts.table().runs()[1].sampleOffset, 0xFFFFFFFEu);
  EXPECT_EQ(ctts.table().runs()[1].firstSample, 2u);
  EXPECT_EQ(ctts.getCompositionCursor(5).compositionOffset(), 0xFFFFFFFEu);
  EXPECT_EQ(ctts.getCompositionCursor(6).compositionOffset(), 0xFFFFFFFEu);
}

TEST(CttsBox, WithoutEntriesGivesCursorsThatAreNotValid) {
  Film film(fullBox("ctts", 0, 0, u32(0)));
  CttsBox& ctts = film.box<CttsBox>();
  EXPECT_TRUE(ctts.isEmptyTable());
  EXPECT_FALSE(ctts.getCompositionCursor(1).isValid());
}

TEST(CttsBox, RefusesMoreEntriesThanThereAreBytes) {
  EXPECT_CODE(truncatedBox, Film(inLongFile(fullBox("ctts", 0, 0, zeros(3)))).box<CttsBox>());
  EXPECT_CODE(truncatedBox,
              Film(inLongFile(fullBox("ctts", 0, 0, u32(1), zeros(7)))).box<CttsBox>());
  EXPECT_CODE(implausibleCount, Film(fullBox("ctts", 0, 0, u32(kTooMany))).box<CttsBox>());
}

TEST(CttsBox, RefusesSampleNumbersBeyond32Bits) {
  EXPECT_CODE(
      sampleNumberOverflow,
      Film(fullBox("ctts", 0, 0, u32(2), u32List({0xFFFFFFF0, 0, 0x20, 0}))).box<CttsBox>());
}

Bytes builtOffsets(const Numbers& offsets) {
  Film output;
  CttsBox ctts(static_cast<std::uint32_t>(offsets.size()), output.stream);
  EXPECT_EQ(ctts.getCurrentSize(), 16 + 8 * offsets.size());
  ctts.write();
  for (const std::uint32_t offset : offsets) ctts.addCompositionOffset(offset);
  return output.completed(ctts);
}

TEST(CttsBox, WritesLiteralBytes) {
  EXPECT_EQ(builtOffsets({9, 9, 4}),
            (Bytes{0, 0, 0, 32, 'c', 't', 't', 's', 0, 0, 0, 0, 0, 0, 0, 2,
                   0, 0, 0, 2,  0,   0,   0,   9,   0, 0, 0, 1, 0, 0, 0, 4}));
}

TEST(CttsBox, WritesARunForEveryChangeOfTheOffset) {
  EXPECT_EQ(builtOffsets({}), fullBox("ctts", 0, 0, u32(0)));
  EXPECT_EQ(builtOffsets({0}), fullBox("ctts", 0, 0, u32(1), u32List({1, 0})));
  EXPECT_EQ(builtOffsets({1, 2, 1}), fullBox("ctts", 0, 0, u32(3), u32List({1, 1, 1, 2, 1, 1})));
}

TEST(CttsBox, CountsFinishedRunsUntilItIsCompleted) {
  Film output;
  CttsBox ctts(3, output.stream);
  for (const std::uint32_t offset : {1u, 2u, 2u}) ctts.addCompositionOffset(offset);
  ctts.writeContent();
  EXPECT_EQ(output.bytes(12, 100), concat({u32(1), u32List({1, 1})}));
}

TEST(CttsBox, HasNoLimitOfEntriesToBeWritten) {
  Film output;
  EXPECT_EQ(CttsBox(kTooMany, output.stream).getCurrentSize(), 16 + 8ull * kTooMany);
}

TEST(StscBox, ReadsLiteralBytes) {
  Film film(Bytes{0, 0, 0, 40, 's', 't', 's', 'c', 0, 0, 0, 0, 0, 0, 0, 2, 0, 0, 0, 1,
                  0, 0, 0, 2,  0,   0,   0,   1,   0, 0, 0, 3, 0, 0, 0, 5, 0, 0, 0, 1});
  StscBox& stsc = film.box<StscBox>();
  ASSERT_EQ(stsc.table().runs().size(), 2u);
  EXPECT_EQ(stsc.table().runs()[1].firstSample, 5u);
  const ChunkCursor cursor = stsc.getChunkCursor(6);
  EXPECT_EQ(cursor.chunkNumber(), 3u);
  EXPECT_EQ(cursor.sampleNumber(), 5u);
}

TEST(StscBox, WithoutEntriesRefusesEveryLookUp) {
  Film film(fullBox("stsc", 0, 0, u32(0)));
  StscBox& stsc = film.box<StscBox>();
  ASSERT_EQ(stsc.table().runs().size(), 1u);
  EXPECT_EQ(stsc.table().runs()[0].chunkCount, 0xFFFFFFFFu);
  EXPECT_EQ(stsc.table().runs()[0].descriptionIndex, 1u);
  EXPECT_CODE(badChunkRun, stsc.getChunkCursor(1));
}

TEST(StscBox, RefusesChunksOutOfOrder) {
  EXPECT_CODE(badChunkRun, Film(fullBox("stsc", 0, 0, u32(1), u32List({2, 4, 1}))).box<StscBox>());
  EXPECT_CODE(badChunkRun,
              Film(fullBox("stsc", 0, 0, u32(2), u32List({1, 4, 1, 0, 4, 1}))).box<StscBox>());
  EXPECT_CODE(success,
              Film(fullBox("stsc", 0, 0, u32(2), u32List({1, 9, 1, 1, 4, 1}))).box<StscBox>());
}

TEST(StscBox, UsesWhatTheStreamHasOfAnyCount) {
  Film film(fullBox("stsc", 0, 0, u32(0xFFFFFFFF), u32List({1, 2, 1, 3, 5, 1})));
  StscBox& stsc = film.box<StscBox>();
  EXPECT_EQ(stsc.table().runs().size(), 2u);
}

TEST(StscBox, ReadsPastItsEnd) {
  Film film(concat({fullBox("stsc", 0, 0, u32(2), u32List({1, 2, 1})), u32List({7, 5, 3})}));
  StscBox& stsc = film.box<StscBox>();
  ASSERT_EQ(stsc.table().runs().size(), 2u);
  EXPECT_EQ(stsc.table().runs()[1].firstChunk, 7u);
}

TEST(StscBox, WritesLiteralBytes) {
  Film output;
  StscBox stsc(3, output.stream);
  EXPECT_EQ(stsc.getCurrentSize(), 52u);
  stsc.write();
  stsc.addChunk(1, 2, 3);
  stsc.addChunk(2, 2, 3);
  EXPECT_EQ(output.completed(stsc),
            (Bytes{0, 0, 0, 40, 's', 't', 's', 'c', 0, 0, 0, 0, 0, 0, 0, 2, 0, 0, 0, 1,
                   0, 0, 0, 2,  0,   0,   0,   3,   0, 0, 0, 2, 0, 0, 0, 2, 0, 0, 0, 3}));
}

TEST(StszBox, ReadsLiteralBytes) {
  Film film(Bytes{0, 0, 0, 28, 's', 't', 's', 'z', 0, 0, 0, 0,    0,    0,
                  0, 0, 0, 0,  0,   2,   0,   0,   2, 0, 0, 0x01, 0x00, 0x00});
  StszBox& stsz = film.box<StszBox>();
  EXPECT_EQ(stsz.table().sampleSize(), 0u);
  EXPECT_EQ(stsz.sampleCount(), 2u);
  EXPECT_EQ(Numbers(stsz.table().sizes().begin(), stsz.table().sizes().end()),
            (Numbers{512, 65536}));
  const auto iterator = stsz.getSampleSizeIterator(2);
  EXPECT_EQ(iterator->getSampleSize(), 65536u);
  iterator->next();
  EXPECT_FALSE(iterator->isValid());
}

TEST(StszBox, OfOneSizeKeepsNoList) {
  Film film(fullBox("stsz", 0, 0, u32(512), u32(3)));
  StszBox& stsz = film.box<StszBox>();
  EXPECT_TRUE(stsz.table().sizes().empty());
  const auto iterator = stsz.getSampleSizeIterator(1);
  for (int i = 0; i < 3; ++i, iterator->next()) {
    EXPECT_TRUE(iterator->isValid());
    EXPECT_EQ(iterator->getSampleSize(), 512u);
  }
  EXPECT_FALSE(iterator->isValid());
  EXPECT_FALSE(stsz.getSampleSizeIterator(0)->isValid());
}

TEST(StszBox, AddsUpSamplesOfOneSize) {
  Film film(fullBox("stsz", 0, 0, u32(0xFFFFFFFF), u32(5)));
  StszBox& stsz = film.box<StszBox>();
  EXPECT_EQ(stsz.totalSize(2, 3), 3ull * 0xFFFFFFFF);
  EXPECT_EQ(stsz.totalSize(4, 9), 2ull * 0xFFFFFFFF);
  Film filmNone(fullBox("stsz", 0, 0, u32(0), u32(0)));
  StszBox& none = filmNone.box<StszBox>();
  EXPECT_EQ(none.totalSize(1, 9), 0u);
}

TEST(StszBox, RefusesMoreEntriesThanThereAreBytes) {
  EXPECT_CODE(truncatedBox, Film(inLongFile(fullBox("stsz", 0, 0, zeros(7)))).box<StszBox>());
  EXPECT_CODE(truncatedBox,
              Film(inLongFile(fullBox("stsz", 0, 0, u32(0), u32(2), zeros(7)))).box<StszBox>());
  EXPECT_CODE(implausibleSampleCount,
              Film(fullBox("stsz", 0, 0, u32(0), u32(kTooMany))).box<StszBox>());
  EXPECT_CODE(implausibleSampleCount,
              Film(fullBox("stsz", 0, 0, u32(1), u32(kTooMany))).box<StszBox>());
  EXPECT_CODE(success, Film(fullBox("stsz", 0, 0, u32(1), u32(100'000'000))).box<StszBox>());
}

TEST(StszBox, WritesLiteralBytes) {
  Film output;
  StszBox stsz(4, output.stream);
  EXPECT_EQ(stsz.getCurrentSize(), 36u);
  stsz.write();
  stsz.addSampleSize(512);
  stsz.addSampleSize(0);
  EXPECT_EQ(output.completed(stsz), (Bytes{0, 0, 0, 28, 's', 't', 's', 'z', 0, 0, 0, 0, 0, 0,
                                           0, 0, 0, 0,  0,   2,   0,   0,   2, 0, 0, 0, 0, 0}));
}

Numbers lowHalves(std::span<const std::uint64_t> offsets) {
  return Numbers(offsets.begin(), offsets.end());
}

TEST(StcoBox, ReadsLiteralBytes) {
  Film film(Bytes{0, 0, 0, 24, 's', 't', 'c', 'o', 0,    0,    0,    0,
                  0, 0, 0, 2,  0,   0,   0,   48,  0xFF, 0xFF, 0xFF, 0xFF});
  StcoBox& stco = film.box<StcoBox>();
  EXPECT_EQ(lowHalves(stco.table().offsets()), (Numbers{48, 0xFFFFFFFF}));
  EXPECT_EQ(stco.entryCount(), 2u);
  EXPECT_EQ(stco.getChunkOffsetIterator(2)->getOffset(), 0xFFFFFFFFu);
  EXPECT_FALSE(stco.getChunkOffsetIterator(3)->isValid());
}

TEST(StcoBox, RefusesMoreEntriesThanThereAreBytes) {
  EXPECT_CODE(truncatedBox, Film(inLongFile(fullBox("stco", 0, 0, zeros(3)))).box<StcoBox>());
  EXPECT_CODE(truncatedBox,
              Film(inLongFile(fullBox("stco", 0, 0, u32(1), zeros(3)))).box<StcoBox>());
  EXPECT_CODE(implausibleSampleCount, Film(fullBox("stco", 0, 0, u32(kTooMany))).box<StcoBox>());
}

TEST(Co64Box, ReadsLiteralBytes) {
  Film film(Bytes{0, 0, 0, 24, 'c', 'o', '6', '4', 0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0, 4, 0, 0, 0, 9});
  Co64Box& co64 = film.box<Co64Box>();
  ASSERT_EQ(co64.table().offsets().size(), 1u);
  EXPECT_EQ(co64.table().offsets()[0], 0x400000009u);
  EXPECT_EQ(co64.getChunkOffsetIterator(1)->getOffset(), 0x400000009u);
  EXPECT_FALSE(co64.getChunkOffsetIterator(0)->isValid());
}

TEST(Co64Box, RefusesMoreEntriesThanThereAreBytes) {
  EXPECT_CODE(truncatedBox, Film(inLongFile(fullBox("co64", 0, 0, zeros(3)))).box<Co64Box>());
  EXPECT_CODE(truncatedBox,
              Film(inLongFile(fullBox("co64", 0, 0, u32(1), zeros(7)))).box<Co64Box>());
  EXPECT_CODE(implausibleSampleCount, Film(fullBox("co64", 0, 0, u32(kTooMany))).box<Co64Box>());
}

TEST(Co64Box, WritesLiteralBytes) {
  Film output;
  Co64Box co64(2, output.stream);
  EXPECT_EQ(co64.getCurrentSize(), 32u);
  co64.write();
  co64.addChunkOffset(0x400000009);
  EXPECT_EQ(output.completed(co64), (Bytes{0, 0, 0, 24, 'c', 'o', '6', '4', 0, 0, 0, 0,
                                           0, 0, 0, 1,  0,   0,   0,   4,   0, 0, 0, 9}));
}

TEST(StssBox, ReadsLiteralBytes) {
  Film film(
      Bytes{0, 0, 0, 24, 's', 't', 's', 's', 0, 0, 0, 0, 0, 0, 0, 2, 0, 0, 0, 1, 0, 0, 0, 31});
  StssBox& stss = film.box<StssBox>();
  EXPECT_EQ(Numbers(stss.table().sampleNumbers().begin(), stss.table().sampleNumbers().end()),
            (Numbers{1, 31}));
  EXPECT_TRUE(stss.getSyncSampleCursor(1).isAt(1));
  EXPECT_TRUE(stss.getSyncSampleCursor(2).isAt(31));
  EXPECT_TRUE(stss.getSyncSampleCursor(32).isAtEnd());
  EXPECT_TRUE(stss.getSyncSampleCursor(32).isActive());
}

TEST(StssBox, KeepsTheOrderOfTheFile) {
  Film film(fullBox("stss", 0, 0, u32(4), u32List({5, 2, 9, 7})));
  StssBox& stss = film.box<StssBox>();
  SyncSampleCursor cursor = stss.getSyncSampleCursor(2);
  EXPECT_EQ(cursor.current(), 5u);
  cursor.next();
  EXPECT_EQ(cursor.current(), 2u);
  EXPECT_EQ(stss.getSyncSampleCursor(6).current(), 9u);
}

TEST(StssBox, WithoutEntriesIsAtItsEnd) {
  Film film(fullBox("stss", 0, 0, u32(0)));
  StssBox& stss = film.box<StssBox>();
  EXPECT_TRUE(stss.getSyncSampleCursor(1).isAtEnd());
}

TEST(StssBox, RefusesMoreEntriesThanThereAreBytes) {
  EXPECT_CODE(truncatedBox, Film(inLongFile(fullBox("stss", 0, 0, zeros(3)))).box<StssBox>());
  EXPECT_CODE(truncatedBox,
              Film(inLongFile(fullBox("stss", 0, 0, u32(1), zeros(3)))).box<StssBox>());
  EXPECT_CODE(implausibleSampleCount, Film(fullBox("stss", 0, 0, u32(kTooMany))).box<StssBox>());
}

TEST(StssBox, WritesLiteralBytes) {
  Film output;
  StssBox stss(3, output.stream);
  EXPECT_EQ(stss.getCurrentSize(), 28u);
  stss.write();
  stss.addSyncSample(1);
  stss.addSyncSample(31);
  EXPECT_EQ(output.completed(stss), (Bytes{0, 0, 0, 24, 's', 't', 's', 's', 0, 0, 0, 0,
                                           0, 0, 0, 2,  0,   0,   0,   1,   0, 0, 0, 31}));
}

TEST(SdtpBox, ReadsNothingUntilItsCountIsKnown) {
  Film film(fullBox("sdtp", 0, 0, Bytes{0x20, 0x18}));
  SdtpBox& sdtp = film.box<SdtpBox>();
  EXPECT_TRUE(sdtp.bytes().empty());
}

TEST(SdtpBox, ReadsLiteralBytes) {
  const Bytes file = {0, 0, 0, 15, 's', 'd', 't', 'p', 0, 0, 0, 0, 0x20, 0x18, 0x08};
  Film film(file);
  SdtpBox& sdtp = film.box<SdtpBox>();
  sdtp.setSampleCount(2);
  sdtp.stream().seekTo(12);
  sdtp.readContent();
  EXPECT_EQ(Bytes(sdtp.bytes().begin(), sdtp.bytes().end()), (Bytes{0x20, 0x18}));
  sdtp.setSampleCount(4);
  sdtp.stream().seekTo(12);
  EXPECT_CODE(truncatedBox, sdtp.readContent());
  EXPECT_CODE(implausibleSampleCount, sdtp.setSampleCount(kTooMany));
  EXPECT_CODE(success, sdtp.setSampleCount(kTooMany - 1));
}

TEST(SdtpBox, WritesLiteralBytes) {
  Film output;
  SdtpBox sdtp(3, output.stream);
  EXPECT_EQ(sdtp.getCurrentSize(), 15u);
  sdtp.write();
  sdtp.addSampleDependencies(0x20);
  sdtp.addSampleDependencies(0x18);
  EXPECT_EQ(output.completed(sdtp),
            (Bytes{0, 0, 0, 14, 's', 'd', 't', 'p', 0, 0, 0, 0, 0x20, 0x18}));
}

TEST(SampleTables, RefuseToBeBuiltForMoreSamplesThanAnyRealFileHas) {
  Film output;
  EXPECT_CODE(implausibleCount, SttsBox(kTooMany, 1, output.stream));
  EXPECT_CODE(implausibleCount, SdtpBox(kTooMany, output.stream));
  EXPECT_CODE(implausibleSampleCount, StszBox(kTooMany, output.stream));
  EXPECT_CODE(implausibleSampleCount, StssBox(kTooMany, output.stream));
  EXPECT_CODE(implausibleSampleCount, Co64Box(kTooMany, output.stream));
  EXPECT_CODE(success, StscBox(kTooMany, output.stream));
}

TEST(SampleTables, AreBuiltForAsManySamplesAsAnyRealFileHas) {
  constexpr std::uint32_t kMost = kTooMany - 1;
  Film output;
  EXPECT_EQ(SttsBox(kMost, 1, output.stream).getCurrentSize(), 16 + 8ull * kMost);
  EXPECT_EQ(SdtpBox(kMost, output.stream).getCurrentSize(), 12ull + kMost);
  EXPECT_EQ(StszBox(kMost, output.stream).getCurrentSize(), 20 + 4ull * kMost);
  EXPECT_EQ(StssBox(kMost, output.stream).getCurrentSize(), 16 + 4ull * kMost);
  EXPECT_EQ(Co64Box(kMost, output.stream).getCurrentSize(), 16 + 8ull * kMost);
}

// A count that a real file may have is measured against the bytes of its box.
TEST(SampleTables, OfAPlausibleCountAreRefusedForTheirLength) {
  const Bytes most = u32(kTooMany - 1);
  EXPECT_CODE(truncatedBox, Film(fullBox("ctts", 0, 0, most)).box<CttsBox>());
  EXPECT_CODE(truncatedBox, Film(fullBox("stsz", 0, 0, u32(0), most)).box<StszBox>());
  EXPECT_CODE(truncatedBox, Film(fullBox("stco", 0, 0, most)).box<StcoBox>());
  EXPECT_CODE(truncatedBox, Film(fullBox("co64", 0, 0, most)).box<Co64Box>());
  EXPECT_CODE(truncatedBox, Film(fullBox("stss", 0, 0, most)).box<StssBox>());
}

// A table, read from a stream that delivers half of the last request: the entries.
template <class T>
class HalfDelivered {
 public:
  explicit HalfDelivered(const Bytes& file) : memory_(MemoryStream::create(file)) {
    stream_.computeSize();
    BoxHeader header;
    header.size = header.end = file.size();
    stream_.seekTo(8);
    T whole(header, stream_);
    const std::size_t calls = read(whole);
    stream_.seekTo(8);
    box_.emplace(header, stream_);
    read(*box_, calls);
  }

  T* operator->() { return &*box_; }

 private:
  // Returns the number of calls that reading takes.
  std::size_t read(T& table, std::size_t shortCall = 0) {
    if constexpr (std::is_same_v<T, SdtpBox>) table.setSampleCount(4);
    stream_.seekTo(12);
    memory_->resetCalls();
    memory_->injectFault(shortCall, MemoryStream::Fault::isShort);
    table.readContent();
    return memory_->calls().all();
  }

  MemoryStreamPtr memory_;
  NorvikKavIStream stream_{memory_};
  std::optional<T> box_;
};

TEST(SampleTables, HaveTheWholeEntriesThatTheStreamDelivers) {
  const Bytes pairs = u32List({1, 2, 3, 4, 5, 6});
  HalfDelivered<SttsBox> stts(fullBox("stts", 0, 0, u32(3), pairs));
  EXPECT_EQ(stts->table().runs().size(), 1u);
  HalfDelivered<CttsBox> ctts(fullBox("ctts", 0, 0, u32(3), pairs));
  EXPECT_EQ(ctts->table().runs().size(), 1u);
  HalfDelivered<StscBox> stsc(fullBox("stsc", 0, 0, u32(2), u32List({1, 2, 1, 3, 4, 1})));
  EXPECT_EQ(stsc->table().runs().size(), 1u);
  HalfDelivered<StszBox> stsz(fullBox("stsz", 0, 0, u32(0), u32(3), u32List({7, 8, 9})));
  EXPECT_EQ(stsz->sampleCount(), 3u);
  EXPECT_EQ(Numbers(stsz->table().sizes().begin(), stsz->table().sizes().end()), (Numbers{7}));
  HalfDelivered<StcoBox> stco(fullBox("stco", 0, 0, u32(3), u32List({7, 8, 9})));
  EXPECT_EQ(stco->table().offsets().size(), 1u);
  HalfDelivered<Co64Box> co64(fullBox("co64", 0, 0, u32(3), u64(7), u64(8), u64(9)));
  EXPECT_EQ(co64->table().offsets().size(), 1u);
  HalfDelivered<StssBox> stss(fullBox("stss", 0, 0, u32(3), u32List({7, 8, 9})));
  EXPECT_EQ(stss->table().sampleNumbers().size(), 1u);
  EXPECT_TRUE(stss->getSyncSampleCursor(8).isAtEnd());
  HalfDelivered<SdtpBox> sdtp(fullBox("sdtp", 0, 0, u32(0x08182028)));
  EXPECT_EQ(Bytes(sdtp->bytes().begin(), sdtp->bytes().end()), (Bytes{0x08, 0x18}));
}

TEST(SampleTables, AreReadAfterHeadersOfEveryForm) {
  const Bytes ordinary = fullBox("stsz", 0, 0, u32(0), u32(2), u32List({7, 9}));
  for (const Bytes& form : {largeForm(ordinary), uuidForm(ordinary), runningToEnd(ordinary)}) {
    Film film(form);
    StszBox& stsz = film.box<StszBox>();
    EXPECT_EQ(Numbers(stsz.table().sizes().begin(), stsz.table().sizes().end()), (Numbers{7, 9}));
  }
}

TEST(SampleTables, AreReadWithOneReadOfTheirEntries) {
  Film film(fullBox("stsz", 0, 0, u32(0), u32(5000), zeros(20000)));
  film.box<StszBox>();
  // Size and type, version and flags twice, the two numbers, the entries.
  EXPECT_EQ(film.memory->calls().read, 6u);
}

}  // namespace
}  // namespace norvik::kav::impl
