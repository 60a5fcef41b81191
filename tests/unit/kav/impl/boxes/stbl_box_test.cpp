#include "kav/impl/boxes/stbl_box.h"

#include <gtest/gtest.h>

#include <vector>

#include "kav/impl/boxes/description_boxes.h"
#include "tests/support/box_builders.h"
#include "tests/support/expect_code.h"
#include "tests/support/film.h"

namespace norvik::kav::impl {
namespace {

using namespace quarrypack::test;

const Bytes kStsd = fullBox("stsd", 0, 0, u32(0));
const Bytes kStts = fullBox("stts", 0, 0, u32(1), u32List({3, 10}));
const Bytes kStsc = fullBox("stsc", 0, 0, u32(1), u32List({1, 3, 1}));
const Bytes kStsz = fullBox("stsz", 0, 0, u32(0), u32(3), u32List({5, 6, 7}));
const Bytes kStco = fullBox("stco", 0, 0, u32(1), u32(48));
const Bytes kCo64 = fullBox("co64", 0, 0, u32(1), u64(48));

TEST(StblBox, RemembersItsTables) {
  Film film(box("stbl", kStsd, kStts, kStsc, kStsz, kStco, fullBox("ctts", 0, 0, u32(0)),
                fullBox("stss", 0, 0, u32(0)), fullBox("sdtp", 0, 0, zeros(3)), box("free")));
  StblBox& stbl = film.box<StblBox>();
  EXPECT_NE(stbl.stsd(), nullptr);
  EXPECT_EQ(stbl.stts()->table().runs().size(), 1u);
  EXPECT_TRUE(stbl.ctts()->isEmptyTable());
  EXPECT_EQ(stbl.stsc()->table().runs().size(), 1u);
  EXPECT_EQ(stbl.stsz()->sampleCount(), 3u);
  EXPECT_EQ(stbl.stco()->entryCount(), 1u);
  EXPECT_EQ(stbl.co64(), nullptr);
  EXPECT_EQ(stbl.chunkOffsets(), stbl.stco());
  EXPECT_EQ(stbl.stss()->entryCount(), 0u);
  EXPECT_EQ(stbl.sdtp()->bytes().size(), 3u);
  EXPECT_EQ(stbl.children().size(), 9u);
}

TEST(StblBox, OfRepeatedOptionalTablesTheLastCounts) {
  const auto sync = [](std::uint32_t sample) { return fullBox("stss", 0, 0, u32(1), u32(sample)); };
  const auto offsets = [](std::uint32_t offset) {
    return fullBox("ctts", 0, 0, u32(1), u32List({3, offset}));
  };
  Film film(box("stbl", offsets(10), sync(1), fullBox("sdtp", 0, 0, Bytes(3, 1)), kStsd, kStts,
                kStsc, kStsz, kStco, offsets(20), sync(2), fullBox("sdtp", 0, 0, Bytes(3, 2))));
  StblBox& stbl = film.box<StblBox>();
  EXPECT_EQ(stbl.ctts(), stbl.children()[8].get());
  EXPECT_EQ(stbl.stss(), stbl.children()[9].get());
  EXPECT_EQ(stbl.sdtp(), stbl.children()[10].get());
  EXPECT_EQ(Bytes(stbl.sdtp()->bytes().begin(), stbl.sdtp()->bytes().end()), Bytes(3, 2));
}

TEST(StblBox, HasNoTablesThatAreNotThere) {
  Film film(box("stbl", kStsd, kStts, kStsc, kStsz, kCo64));
  StblBox& stbl = film.box<StblBox>();
  EXPECT_EQ(stbl.ctts(), nullptr);
  EXPECT_EQ(stbl.stss(), nullptr);
  EXPECT_EQ(stbl.sdtp(), nullptr);
  EXPECT_EQ(stbl.stco(), nullptr);
  EXPECT_EQ(stbl.chunkOffsets(), stbl.co64());
}

TEST(StblBox, RequiresItsTablesOnce) {
  EXPECT_CODE(childRuleBroken, Film(box("stbl", kStts, kStsc, kStsz, kStco)).box<StblBox>());
  EXPECT_CODE(childRuleBroken, Film(box("stbl", kStsd, kStsc, kStsz, kStco)).box<StblBox>());
  EXPECT_CODE(childRuleBroken, Film(box("stbl", kStsd, kStts, kStsz, kStco)).box<StblBox>());
  EXPECT_CODE(childRuleBroken, Film(box("stbl", kStsd, kStts, kStsc, kStco)).box<StblBox>());
  EXPECT_CODE(childRuleBroken, Film(box("stbl", kStsd, kStts, kStsc, kStsz)).box<StblBox>());
  EXPECT_CODE(childRuleBroken,
              Film(box("stbl", kStsd, kStts, kStts, kStsc, kStsz, kStco)).box<StblBox>());
  EXPECT_CODE(childRuleBroken,
              Film(box("stbl", kStsd, kStts, kStsc, kStsz, kStco, kCo64)).box<StblBox>());
  EXPECT_CODE(
      childRuleBroken,
      Film(box("stbl", kStsd, kStts, kStsc, withType("stz2", kStsz), kStco)).box<StblBox>());
}

TEST(StblBox, ReadsDependenciesLastWhereverTheyAre) {
  Film film(
      box("stbl", fullBox("sdtp", 0, 0, Bytes{1, 2, 3, 4}), kStsd, kStts, kStsc, kStsz, kStco));
  StblBox& stbl = film.box<StblBox>();
  EXPECT_EQ(Bytes(stbl.sdtp()->bytes().begin(), stbl.sdtp()->bytes().end()), (Bytes{1, 2, 3}));
}

TEST(StblBox, RefusesFewerDependenciesThanSamples) {
  EXPECT_CODE(truncatedBox,
              Film(box("stbl", kStsd, kStts, kStsc, kStsz, kStco, fullBox("sdtp", 0, 0, zeros(2))))
                  .box<StblBox>());
}

TEST(StblBox, MeasuresDependenciesBeforeItMakesRoomForThem) {
  EXPECT_CODE(truncatedBox,
              Film(box("stbl", kStsd, kStts, kStsc, fullBox("stsz", 0, 0, u32(1), u32(100'000'000)),
                       kStco, fullBox("sdtp", 0, 0, zeros(2))))
                  .box<StblBox>());
}

TEST(StblBox, LeavesDependenciesOfNoSamplesUnread) {
  Film film(box("stbl", kStsd, kStts, kStsc, fullBox("stsz", 0, 0, u32(0), u32(0)), kStco,
                fullBox("sdtp", 0, 0)));
  StblBox& stbl = film.box<StblBox>();
  EXPECT_TRUE(stbl.sdtp()->bytes().empty());
}

TEST(StblBox, FindsItsTablesAfterALargeHeader) {
  Film film(largeForm(box("stbl", kStsd, kStts, kStsc, kStsz, kStco)));
  StblBox& stbl = film.box<StblBox>();
  EXPECT_EQ(stbl.stsz()->sampleCount(), 3u);
}

TEST(StblBox, FindsItsTablesInUuidForm) {
  Film film(uuidForm(box("stbl", kStsd, kStts, kStsc, kStsz, kStco)));
  StblBox& stbl = film.box<StblBox>();
  EXPECT_EQ(stbl.stsz()->sampleCount(), 3u);
}

TEST(StblBox, TakesNoSamplesWhenItWasRead) {
  Film film(box("stbl", kStsd, kStts, kStsc, kStsz, kStco));
  StblBox& stbl = film.box<StblBox>();
  EXPECT_CODE(sampleTableFull, stbl.addSample({}));
}

TrackParameters parametersFor(std::uint32_t samples, bool dependencies = false) {
  TrackParameters parameters;
  parameters.handlerType = fourCc("vide");
  parameters.sampleCapacity = samples;
  parameters.lastSampleDuration = 7;
  parameters.hasSampleDependencies = dependencies;
  return parameters;
}

std::vector<FourCc> typesIn(const Box& box) {
  std::vector<FourCc> types;
  for (const BoxPtr& child : box.children()) types.push_back(child->type());
  return types;
}

TEST(StblBox, IsBuiltWithItsTablesInOrder) {
  Film output;
  const StblBox plain(parametersFor(5), output.stream);
  std::vector<FourCc> types = {fourCc("stsd"), fourCc("stts"), fourCc("stsc"), fourCc("stsz"),
                               fourCc("co64"), fourCc("ctts"), fourCc("stss")};
  EXPECT_EQ(typesIn(plain), types);
  EXPECT_TRUE(plain.validate());
  EXPECT_EQ(plain.getCurrentSize(),
            8 + plain.stsd()->getCurrentSize() + 4 * 16 + 20 + 16 + 5 * (8 + 12 + 4 + 8 + 8 + 4));
  const StblBox withDependencies(parametersFor(5, true), output.stream);
  types.push_back(fourCc("sdtp"));
  EXPECT_EQ(typesIn(withDependencies), types);
}

TEST(StblBox, PlacesItsTablesOneAfterTheOther) {
  Film output;
  StblBox stbl(parametersFor(5, true), output.stream);
  stbl.place(1000);
  std::uint64_t position = 1008;
  for (const BoxPtr& child : stbl.children()) {
    EXPECT_EQ(child->start(), position);
    position += child->getCurrentSize();
  }
  EXPECT_EQ(position, 1000 + stbl.getCurrentSize());
}

TEST(StblBox, RefusesToBeBuiltForMoreSamplesThanAnyRealFileHas) {
  Film output;
  EXPECT_CODE(implausibleCount, StblBox(parametersFor(100'000'001), output.stream));
}

// A sample table to be built, and its tables once it is complete.
struct Built {
  explicit Built(std::uint32_t capacity, bool dependencies = false)
      : stbl(parametersFor(capacity, dependencies), output.stream) {
    stbl.write();
  }

  // The entries of a table after its count.
  Bytes entries(Box& table, std::uint64_t fixedPart = 16) {
    const Bytes all = output.completed(table);
    return Bytes(all.begin() + static_cast<std::ptrdiff_t>(fixedPart), all.end());
  }

  Film output;
  StblBox stbl;
};

Sample written(std::uint64_t offset, std::uint64_t time, std::uint32_t size,
               std::uint32_t compositionOffset, std::uint32_t flags,
               std::uint32_t descriptionIndex) {
  Sample sample;
  sample.fileOffset = offset;
  sample.info.decodingTime = time;
  sample.info.size = size;
  sample.info.compositionOffset = compositionOffset;
  sample.info.flags = flags;
  sample.descriptionIndex = descriptionIndex;
  return sample;
}

TEST(StblBox, FillsEveryTable) {
  Built built(4, true);
  built.stbl.addSample(written(1000, 0, 10, 3, 0x2401, 1));
  built.stbl.addSample(written(1010, 20, 30, 3, 0x1800, 1));
  built.stbl.addSample(written(1040, 25, 0, 8, 0x0001, 1));
  built.stbl.write();
  StblBox& stbl = built.stbl;
  EXPECT_EQ(built.entries(*stbl.stts()), u32List({1, 20, 1, 5, 1, 7}));
  EXPECT_EQ(built.entries(*stbl.ctts()), u32List({2, 3, 1, 8}));
  EXPECT_EQ(built.entries(*stbl.stsz(), 20), u32List({10, 30, 0}));
  EXPECT_EQ(built.entries(*stbl.stsc()), u32List({1, 3, 1}));
  EXPECT_EQ(built.entries(*stbl.co64()), u64(1000));
  EXPECT_EQ(built.entries(*stbl.stss()), u32List({1, 3}));
  EXPECT_EQ(built.entries(*stbl.sdtp(), 12), (Bytes{0x24, 0x18, 0}));
}

TEST(StblBox, SamplesSideBySideShareAChunk) {
  Built built(4);
  built.stbl.addSample(written(100, 0, 10, 0, 0, 1));
  built.stbl.addSample(written(110, 1, 10, 0, 0, 1));
  built.stbl.addSample(written(130, 2, 10, 0, 0, 1));
  built.stbl.addSample(written(140, 3, 10, 0, 0, 1));
  built.stbl.write();
  EXPECT_EQ(built.entries(*built.stbl.stsc()), u32List({1, 2, 1, 2, 2, 1}));
  EXPECT_EQ(built.entries(*built.stbl.co64()), concat({u64(100), u64(130)}));
}

TEST(StblBox, AnotherDescriptionOpensAnotherChunk) {
  Built built(3);
  built.stbl.addSample(written(100, 0, 10, 0, 0, 1));
  built.stbl.addSample(written(110, 1, 10, 0, 0, 2));
  built.stbl.addSample(written(120, 2, 10, 0, 0, 2));
  built.stbl.write();
  EXPECT_EQ(built.entries(*built.stbl.stsc()), u32List({1, 1, 1, 2, 2, 2}));
}

TEST(StblBox, EveryTableFitsItsRoomWhenNothingCanBeShared) {
  constexpr std::uint32_t kSamples = 500;
  Built built(kSamples, true);
  built.stbl.addChild(makeBox<Box>(fourCc("free"), built.output.stream));
  const std::uint64_t end = built.stbl.children().back()->start();
  for (std::uint32_t i = 0; i < kSamples; ++i) {
    built.stbl.addSample(written(1000 + i * 20, i * (i + 1) / 2, 10, i, 0x0101, 1 + i % 2));
  }
  built.stbl.updateContent();
  for (const BoxPtr& child : built.stbl.children()) {
    child->updateContent();
    EXPECT_LE(child->getSize(), child->getCurrentSize());
    if (child.get() != built.stbl.stsd() && child->type() != fourCc("free")) {
      EXPECT_EQ(child->getSize(), child->getCurrentSize());
    }
  }
  EXPECT_EQ(built.output.memory->bytes().size(), end);
}

TEST(StblBox, RecordsASyncSampleOnlyWhenNothingElseIsInItsFlags) {
  Built built(4);
  for (const std::uint32_t flags : {0x01u, 0x03u, 0xFF00u, 0xAB01u}) {
    built.stbl.addSample(written(0, 0, 1, 0, flags, 1));
  }
  built.stbl.write();
  EXPECT_EQ(built.entries(*built.stbl.stss()), u32List({1, 4}));
}

TEST(StblBox, TakesNoMoreSamplesThanWereAnnounced) {
  Built built(1);
  built.stbl.addSample({});
  EXPECT_CODE(sampleTableFull, built.stbl.addSample({}));
  EXPECT_EQ(built.stbl.stsz()->sampleCount(), 1u);
}

TEST(StblBox, OfNoSamplesHasEmptyTables) {
  Built built(9, true);
  built.stbl.write();
  StblBox& stbl = built.stbl;
  for (TableBox* table : std::initializer_list<TableBox*>{stbl.stts(), stbl.stsc(), stbl.co64(),
                                                          stbl.ctts(), stbl.stss()}) {
    EXPECT_EQ(built.output.completed(*table).size(), 16u);
    EXPECT_EQ(table->entryCount(), 0u);
  }
}

TEST(StblBox, IsWrittenWithCountsOnlyWhileItWaitsForSamples) {
  Film output;
  StblBox stbl(parametersFor(100'000), output.stream);
  stbl.write();
  stbl.write();
  EXPECT_EQ(output.bytes(stbl.stss()->start(), 1u << 30),
            concat({u32(400'016), text("stss"), u32(0), u32(0)}));
}

TEST(StblBox, CanBeWrittenAgainBetweenSamples) {
  Built built(3);
  built.stbl.addSample(written(100, 0, 10, 5, 1, 1));
  built.stbl.write();
  built.stbl.addSample(written(110, 4, 10, 5, 0, 1));
  built.stbl.write();
  built.stbl.write();
  EXPECT_EQ(built.entries(*built.stbl.stts()), u32List({1, 4, 1, 7}));
  EXPECT_EQ(built.entries(*built.stbl.ctts()), u32List({2, 5}));
  EXPECT_EQ(built.entries(*built.stbl.stsc()), u32List({1, 1, 1, 2, 1, 1}));
}

TEST(StblBox, WhatItWroteReadsBack) {
  Built built(5, true);
  for (std::uint32_t i = 0; i < 5; ++i) {
    built.stbl.addSample(written(1000 + i * 10, i * 3, 10, i / 2, i == 2 ? 0x0701u : 0x0500u, 1));
  }
  built.stbl.write();
  Bytes children;
  for (const BoxPtr& child : built.stbl.children()) {
    append(children, child.get() == built.stbl.stsd() ? kStsd : built.output.completed(*child));
  }
  Film film(boxAround("stbl", children));
  StblBox& read = film.box<StblBox>();
  EXPECT_EQ(read.stsz()->sampleCount(), 5u);
  EXPECT_EQ(read.stts()->getTimeCursor(10).decodingTime(), 12u);
  EXPECT_EQ(read.ctts()->getCompositionCursor(5).compositionOffset(), 2u);
  EXPECT_EQ(read.stsc()->getChunkCursor(3).chunkNumber(), 1u);
  EXPECT_EQ(read.chunkOffsets()->getChunkOffsetIterator(1)->getOffset(), 1000u);
  EXPECT_TRUE(read.stss()->getSyncSampleCursor(1).isAt(3));
  EXPECT_EQ(read.sdtp()->bytes()[2], 7);
}

}  // namespace
}  // namespace norvik::kav::impl
