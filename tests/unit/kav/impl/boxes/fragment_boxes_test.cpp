#include "kav/impl/boxes/fragment_boxes.h"
#include "kav/impl/tree/known_boxes.h"

#include <gtest/gtest.h>

#include <vector>

#include "kav/impl/model/box_factory.h"
#include "kav/impl/tree/root_box.h"
#include "tests/support/box_builders.h"
#include "tests/support/expect_code.h"
#include "tests/support/film.h"

namespace norvik::kav::impl {
namespace {

using namespace quarrypack::test;

constexpr std::uint32_t kNone = 0xFFFFFFFF;

std::vector<TrunBox::Sample> samplesOf(const TrunBox& run) {
  std::vector<TrunBox::Sample> samples;
  for (TrunBox::Cursor cursor = run.cursor(); cursor.isValid(); cursor.next()) {
    samples.push_back(cursor.current());
  }
  return samples;
}

void expectSample(const TrunBox::Sample& sample, const TrunBox::Sample& expected) {
  EXPECT_EQ(sample.duration, expected.duration);
  EXPECT_EQ(sample.size, expected.size);
  EXPECT_EQ(sample.flags, expected.flags);
  EXPECT_EQ(sample.compositionOffset, expected.compositionOffset);
  EXPECT_EQ(sample.dataOffset, expected.dataOffset);
}

// A whole moof at the start of a file, read as the root reads it.
struct FragmentFile : Film {
  using Film::Film;

  MoofBox& readFragment() {
    stream.seekTo(0);
    BoxFactory& factory = knownBoxes();
    fragment = factory.createBox(stream, *readBoxHeader(stream, nullptr), nullptr);
    readChildHeaders({stream, factory}, *fragment);
    fragment->readBody(root, true);
    return dynamic_cast<MoofBox&>(*fragment);
  }

  BoxPtr fragment;
};

const Bytes kMfhd = fullBox("mfhd", 0, 0, u32(7));

Bytes tfhd(std::uint32_t trackId) { return fullBox("tfhd", 0, 0, u32(trackId)); }

// --- mfhd

TEST(MfhdBox, WritesItsSequenceNumber) {
  Film file;
  MfhdBox box(0x01020304, file.stream);
  EXPECT_EQ(box.getSize(), 16u);
  box.write();
  EXPECT_EQ(file.bytes(), fullBox("mfhd", 0, 0, u32(0x01020304)));
}

// --- tfhd

TEST(FragmentHeaders, AreTheSameWhenTheyAreWrittenAgain) {
  Film file;
  MfhdBox mfhd(5, file.stream);
  TfhdBox tfhd(0, {.trackId = 3}, file.stream);
  tfhd.place(mfhd.getCurrentSize());
  for (int round = 0; round < 2; ++round) {
    mfhd.write();
    tfhd.write();
    EXPECT_EQ(file.bytes(), concat({fullBox("mfhd", 0, 0, u32(5)), fullBox("tfhd", 0, 0, u32(3))}));
  }
}

TEST(TfhdBox, WritesItsOffsetAndIndexAndOneForEveryDefault) {
  Film file;
  TfhdRecord record;
  record.trackId = 9;
  record.baseDataOffset = 0x100000002;
  record.descriptionIndex = 2;
  TfhdBox box(0x00003B, record, file.stream);
  EXPECT_EQ(box.getSize(), 40u);
  box.write();
  EXPECT_EQ(file.bytes(),
            fullBox("tfhd", 0, 0x3B, u32(9), u64(0x100000002), u32(2), u32(1), u32(1), u32(1)));
}

// --- trun

TEST(TrunBox, ReadsDurationsAndSizesAndTakesFlagsFromTheDefaults) {
  Film file(fullBox("trun", 0, 0x000301, u32(3), u32(100),  //
                    u32(10), u32(1), u32(20), u32(2), u32(30), u32(3)));
  const OwnedBox<TrunBox> run = file.alone<TrunBox>();
  EXPECT_EQ(file.stream.tell(), 20u + 24u);
  run->setDefaults({.duration = 77, .size = 88, .flags = 0x10000});
  const auto samples = samplesOf(*run);
  ASSERT_EQ(samples.size(), 3u);
  expectSample(samples[0], {10, 1, 0x10000, 0, 100});
  expectSample(samples[1], {20, 2, 0x10000, 0, 101});
  expectSample(samples[2], {30, 3, 0x10000, 0, 103});
  EXPECT_EQ(run->totalDuration(), 60u);
  EXPECT_EQ(run->totalSize(), 6u);
}

TEST(TrunBox, ReadsEveryFieldOfARecord) {
  Film file(fullBox("trun", 1, 0x000F05, u32(2), u32(0xFFFFFFF0), u32(0xAAAA),  //
                    u32(1), u32(2), u32(3), u32(0xFFFFFFFC),                    //
                    u32(5), u32(6), u32(7), u32(8)));
  const OwnedBox<TrunBox> run = file.alone<TrunBox>();
  EXPECT_EQ(run->version(), 1);
  EXPECT_EQ(run->dataOffset(), -16);
  const auto samples = samplesOf(*run);
  ASSERT_EQ(samples.size(), 2u);
  expectSample(samples[0], {1, 2, 3, 0xFFFFFFFC, -16});
  expectSample(samples[1], {5, 6, 7, 8, -14});
}

TEST(TrunBox, GivesTheFirstSampleItsOwnFlags) {
  Film file(fullBox("trun", 0, 0x000004, u32(3), u32(0x02000000)));
  const OwnedBox<TrunBox> run = file.alone<TrunBox>();
  run->setDefaults({.duration = 5, .size = 10, .flags = 0x01010000});
  const auto samples = samplesOf(*run);
  ASSERT_EQ(samples.size(), 3u);
  expectSample(samples[0], {5, 10, 0x02000000, 0, 0});
  expectSample(samples[1], {5, 10, 0x01010000, 0, 10});
  expectSample(samples[2], {5, 10, 0x01010000, 0, 20});
}

TEST(TrunBox, KeepsACountWithoutRecordsAsACount) {
  Film file(fullBox("trun", 0, 0, u32(100000000)));
  const OwnedBox<TrunBox> run = file.alone<TrunBox>();
  run->setDefaults({.duration = 0xFFFFFFFF, .size = 0xFFFFFFFE, .flags = 0});
  EXPECT_EQ(run->sampleCount(), 100000000u);
  EXPECT_EQ(run->totalDuration(), 100000000ull * 0xFFFFFFFF);
  EXPECT_EQ(run->totalSize(), 100000000ull * 0xFFFFFFFE);
  TrunBox::Cursor cursor = run->cursor();
  cursor.next();
  cursor.next();
  EXPECT_EQ(cursor.index(), 2u);
  EXPECT_EQ(cursor.current().dataOffset, 2 * 0xFFFFFFFEll);
}

// Skipping is a walk that takes short cuts: from every sample, by any time, it arrives where the
// walk does.
TEST(TrunBox, SkipsToTheSampleThatAWalkFinds) {
  constexpr std::uint32_t kSamples = 200;
  for (const std::uint32_t flags : {0u, 0x100u, 0x200u, 0x300u, 0xF00u}) {
    Bytes records;
    for (std::uint32_t i = 0; i < kSamples; ++i) {
      if ((flags & 0x100) != 0) append(records, u32(i % 70 == 3 ? 0 : i % 7));
      if ((flags & 0x200) != 0) append(records, u32(i + 1));
      if ((flags & 0x400) != 0) append(records, u32(i));
      if ((flags & 0x800) != 0) append(records, u32(2 * i));
    }
    Film file(fullBox("trun", 0, flags | 1, u32(kSamples), u32(1000), records));
    const auto run = file.alone<TrunBox>();
    run->setDefaults({3, 5, 9});
    for (const std::uint32_t first : {0u, 1u, 63u, 64u, 65u, 130u, 199u, 200u}) {
      for (std::uint64_t time = 0; time < 700; time += 1 + time / 10) {
        TrunBox::Cursor walked = run->cursor();
        while (walked.index() < first) walked.next();
        TrunBox::Cursor skipped = walked;
        std::uint64_t expected = 0;
        while (walked.isValid() && expected < time) {
          expected += walked.current().duration;
          walked.next();
        }
        EXPECT_EQ(skipped.skip(time), expected) << flags << " " << first << " " << time;
        ASSERT_EQ(skipped.index(), walked.index()) << flags << " " << first << " " << time;
        if (walked.isValid()) expectSample(skipped.current(), walked.current());
        if (walked.index() + 1 >= kSamples) continue;
        walked.next();
        skipped.next();
        expectSample(skipped.current(), walked.current());
      }
    }
  }
}

TEST(TrunBox, SkipsAHundredMillionSamplesAtOnce) {
  Film file(fullBox("trun", 0, 0, u32(100'000'000)));
  const auto run = file.alone<TrunBox>();
  run->setDefaults({2, 4, 0});
  TrunBox::Cursor cursor = run->cursor();
  EXPECT_EQ(cursor.skip(199'999'997), 199'999'998u);
  EXPECT_EQ(cursor.index(), 99'999'999u);
  EXPECT_EQ(cursor.current().dataOffset, 399'999'996);
  run->setDefaults({0, 4, 0});
  EXPECT_EQ(run->cursor().skip(1), 0u);
}

TEST(TrunBox, MayBeEmpty) {
  Film file(fullBox("trun", 0, 0x000F01, u32(0), u32(8)));
  const OwnedBox<TrunBox> run = file.alone<TrunBox>();
  EXPECT_FALSE(run->cursor().isValid());
  EXPECT_EQ(run->totalDuration(), 0u);
}

TEST(TrunBox, NeedsTheBytesOfItsHead) {
  const struct {
    std::uint32_t flags;
    std::size_t length;
  } cases[] = {{0, 4}, {0x1, 8}, {0x4, 8}, {0x5, 12}};
  for (const auto& [flags, length] : cases) {
    Film tooShort(fullBox("trun", 0, flags, zeros(length - 1)));
    EXPECT_CODE(truncatedBox, tooShort.alone<TrunBox>()) << flags;
    Film exact(fullBox("trun", 0, flags, zeros(length)));
    EXPECT_CODE(success, exact.alone<TrunBox>()) << flags;
  }
}

TEST(TrunBox, NeedsTheBytesOfItsRecords) {
  Film exact(fullBox("trun", 0, 0x300, u32(2), zeros(16)));
  EXPECT_CODE(success, exact.alone<TrunBox>());
  Film tooShort(fullBox("trun", 0, 0x300, u32(2), zeros(15)));
  EXPECT_CODE(truncatedBox, tooShort.alone<TrunBox>());
  Film hostile(fullBox("trun", 0, 0x300, u32(100000000), zeros(15)));
  EXPECT_CODE(truncatedBox, hostile.alone<TrunBox>());
}

TEST(TrunBox, RefusesRecordsWhoseLengthOverflows) {
  Film longest(fullBox("trun", 0, 0xF00, u32(0x0FFFFFFF)));
  EXPECT_CODE(truncatedBox, longest.alone<TrunBox>());
  Film overflowing(fullBox("trun", 0, 0xF00, u32(0x10000000)));
  EXPECT_CODE(runTooLarge, overflowing.alone<TrunBox>());
  Film single(fullBox("trun", 0, 0x100, u32(0x40000000)));
  EXPECT_CODE(runTooLarge, single.alone<TrunBox>());
}

TEST(TrunBox, RefusesAnImplausibleCount) {
  Film file(fullBox("trun", 0, 0, u32(100000001)));
  EXPECT_CODE(implausibleCount, file.alone<TrunBox>());
  Film largest(fullBox("trun", 0, 0, u32(kNone)));
  EXPECT_CODE(implausibleCount, largest.alone<TrunBox>());
}

TEST(TrunBox, BuiltHoldsTheDistanceFromItsFragment) {
  Film file;
  TrunBox run(5000, 4000, file.stream);
  EXPECT_EQ(run.version(), 0);
  EXPECT_EQ(run.flags(), 0x000F01u);
  EXPECT_EQ(run.getSize(), 20u);
  EXPECT_EQ(run.dataOffset(), 1000);
  EXPECT_EQ(run.sampleCount(), 0u);
}

TEST(TrunBox, RefusesADistanceThatItsFieldCannotHold) {
  Film file;
  EXPECT_CODE(success, TrunBox(0x7FFFFFFF, 0, file.stream));
  EXPECT_CODE(runTooLarge, TrunBox(0x80000000, 0, file.stream));
  EXPECT_CODE(success, TrunBox(0, 0x80000000, file.stream));
  EXPECT_CODE(runTooLarge, TrunBox(0, 0x80000001, file.stream));
  EXPECT_CODE(runTooLarge, TrunBox(0, ~std::uint64_t{0}, file.stream));
  EXPECT_CODE(runTooLarge, TrunBox(~std::uint64_t{0}, 0, file.stream));
}

TEST(TrunBox, HoldsANegativeDistanceToSamplesBeforeItsFragment) {
  Film file;
  TrunBox run(4000, 5000, file.stream);
  EXPECT_EQ(run.dataOffset(), -1000);
  run.setDataPosition(10, 12);
  EXPECT_EQ(run.dataOffset(), -2);
  run.write();
  EXPECT_EQ(file.bytes(), fullBox("trun", 0, 0xF01, u32(0), u32(0xFFFFFFFE)));
}

TEST(TrunBox, WritesItsSamples) {
  Film file;
  TrunBox run(1000, 0, file.stream);
  run.addSample({1, 2, 3, 4, 0});
  run.addSample({5, 6, 7, 8, 0});
  EXPECT_EQ(run.getSize(), 52u);
  EXPECT_EQ(run.totalDuration(), 6u);
  EXPECT_EQ(run.totalSize(), 8u);
  run.write();
  EXPECT_EQ(file.bytes(), fullBox("trun", 0, 0xF01, u32(2), u32(1000), u32(1), u32(2), u32(3),
                                  u32(4), u32(5), u32(6), u32(7), u32(8)));
}

TEST(TrunBox, BringsLaterSamplesAndOffsetsUpToDate) {
  Film file;
  TrunBox run(1000, 0, file.stream);
  run.write();
  run.addSample({1, 2, 3, 4, 0});
  run.setDataPosition(998, 1000);
  run.write();
  EXPECT_EQ(file.bytes(),
            fullBox("trun", 0, 0xF01, u32(1), u32(0xFFFFFFFE), u32(1), u32(2), u32(3), u32(4)));
}

// A record has the fields that the flags of the run announce, whatever a new run would have.
TEST(TrunBox, GivesAnAddedSampleTheFieldsOfTheRun) {
  struct Case {
    Bytes before;
    Bytes after;
    TrunBox::Sample added;  // as it is read again
  };
  const Case cases[] = {
      {fullBox("trun", 0, 0x000301, u32(1), u32(40), u32(3), u32(5)),
       fullBox("trun", 0, 0x000301, u32(2), u32(40), u32(3), u32(5), u32(11), u32(12)),
       {11, 12, 93, 0, 45}},
      {fullBox("trun", 1, 0x000A04, u32(1), u32(9), u32(1), u32(2)),
       fullBox("trun", 1, 0x000A04, u32(2), u32(9), u32(1), u32(2), u32(12), u32(14)),
       {91, 12, 93, 14, 1}},
      {fullBox("trun", 0, 0x000400, u32(1), u32(7)),
       fullBox("trun", 0, 0x000400, u32(2), u32(7), u32(13)),
       {91, 92, 13, 0, 92}},
      {fullBox("trun", 0, 0, u32(1)), fullBox("trun", 0, 0, u32(2)), {91, 92, 93, 0, 92}},
      {fullBox("trun", 0, 0x000F00, u32(1), u32(1), u32(2), u32(3), u32(4)),
       fullBox("trun", 0, 0x000F00, u32(2), u32(1), u32(2), u32(3), u32(4), u32(11), u32(12),
               u32(13), u32(14)),
       {11, 12, 13, 14, 2}},
  };
  for (const Case& c : cases) {
    Film file(c.before);
    const OwnedBox<TrunBox> run = file.alone<TrunBox>();
    run->setDefaults({91, 92, 93});
    run->addSample({11, 12, 13, 14, 0});
    EXPECT_EQ(run->getSize(), c.after.size());
    EXPECT_EQ(run->totalDuration(), samplesOf(*run)[0].duration + c.added.duration);
    EXPECT_EQ(run->totalSize(), samplesOf(*run)[0].size + c.added.size);
    expectSample(samplesOf(*run).at(1), c.added);
    run->write();
    EXPECT_EQ(file.bytes(), c.after);
    Film again(file.bytes());
    const OwnedBox<TrunBox> read = again.alone<TrunBox>();
    read->setDefaults({91, 92, 93});
    expectSample(samplesOf(*read).at(1), c.added);
  }
}

// What is summed up for skipping goes on over the samples that are added.
TEST(TrunBox, SkipsOverAddedSamples) {
  for (const std::uint32_t flags : {0x000000u, 0x000100u, 0x000200u, 0x000F00u}) {
    Film file(fullBox("trun", 0, flags, u32(0)));
    const OwnedBox<TrunBox> run = file.alone<TrunBox>();
    run->setDefaults({2, 3, 0});
    for (std::uint32_t i = 0; i < 200; ++i) run->addSample({2, 3, 0, 0, 0});
    TrunBox::Cursor cursor = run->cursor();
    EXPECT_EQ(cursor.skip(300), 300u);
    EXPECT_EQ(cursor.index(), 150u);
    EXPECT_EQ(cursor.current().dataOffset, 450);
  }
}

TEST(TrunBox, WritesBackWhatItRead) {
  const Bytes runs[] = {
      fullBox("trun", 1, 0x000A04, u32(2), u32(9), u32(1), u32(2), u32(3), u32(4)),
      fullBox("trun", 0, 0, u32(12)),
  };
  for (const Bytes& bytes : runs) {
    Film file(bytes);
    const OwnedBox<TrunBox> run = file.alone<TrunBox>();
    file.memory->bytes().assign(bytes.size(), 0);
    run->write();
    EXPECT_EQ(file.bytes(), bytes);
  }
}

// --- traf and moof

TEST(TrafBox, RemembersItsHeaderAndItsRuns) {
  FragmentFile file(box("moof", kMfhd,
                        box("traf", tfhd(4), fullBox("trun", 0, 0, u32(2)), box("free"),
                            fullBox("trun", 0, 0x200, u32(1), u32(50)))));
  MoofBox& fragment = file.readFragment();
  EXPECT_EQ(fragment.sequenceNumber(), 7u);
  ASSERT_EQ(fragment.parts().size(), 1u);
  TrafBox& part = *fragment.parts()[0];
  EXPECT_EQ(part.trackId(), 4u);
  ASSERT_EQ(part.runs().size(), 2u);
  EXPECT_EQ(part.runs()[0]->sampleCount(), 2u);
  part.setDefaults({.duration = 10, .size = 20, .flags = 0});
  EXPECT_EQ(part.totalDuration(), 30u);
  EXPECT_EQ(part.totalSize(), 90u);
  EXPECT_EQ(part.decodeTime(), std::nullopt);
}

TEST(TrafBox, ReadsTheDecodeTimeOfItsFirstSample) {
  const auto decodeTime = [](const Bytes& tfdt) {
    FragmentFile file(box("moof", kMfhd, box("traf", tfhd(1), tfdt)));
    return file.readFragment().parts()[0]->decodeTime();
  };
  EXPECT_EQ(decodeTime(fullBox("tfdt", 0, 0, u32(0xFFFFFFF0))), 0xFFFFFFF0u);
  EXPECT_EQ(decodeTime(fullBox("tfdt", 1, 0, u64(0x100000002))), 0x100000002u);
  EXPECT_EQ(decodeTime(largeForm(fullBox("tfdt", 0, 0, u32(6)))), 6u);
  EXPECT_EQ(decodeTime(fullBox("tfdt", 0, 0, zeros(3))), std::nullopt);
  EXPECT_EQ(decodeTime(fullBox("tfdt", 1, 0, zeros(7))), std::nullopt);
  EXPECT_EQ(decodeTime(box("tfdt")), std::nullopt);
}

TEST(TrafBox, CoversTheTimesFromItsFirstSampleToTheEndOfItsLast) {
  FragmentFile file(box("moof", kMfhd, box("traf", tfhd(1), fullBox("trun", 0, 0, u32(3)))));
  TrafBox& part = *file.readFragment().parts()[0];
  part.setDefaults({.duration = 10, .size = 0, .flags = 0});
  part.setStartTime(100);
  EXPECT_FALSE(part.coversTime(99));
  EXPECT_TRUE(part.coversTime(100));
  EXPECT_TRUE(part.coversTime(129));
  EXPECT_FALSE(part.coversTime(130));
  part.setStartTime(0xFFFFFFFFFFFFFFFE);
  EXPECT_TRUE(part.coversTime(0xFFFFFFFFFFFFFFFF));
  EXPECT_FALSE(part.coversTime(5));
}

TEST(TrafBox, KeepsSumsBeyond64BitsAtTheirEnd) {
  Bytes runs;
  for (int i = 0; i < 50; ++i) append(runs, fullBox("trun", 0, 0, u32(100000000)));
  FragmentFile file(box("moof", kMfhd, box("traf", tfhd(1), runs)));
  TrafBox& part = *file.readFragment().parts()[0];
  part.setDefaults({.duration = 0xFFFFFFFF, .size = 0xFFFFFFFF, .flags = 0});
  EXPECT_EQ(part.totalDuration(), 0xFFFFFFFFFFFFFFFF);
  EXPECT_EQ(part.totalSize(), 0xFFFFFFFFFFFFFFFF);
}

TEST(TrafBox, NeedsExactlyOneHeader) {
  for (const Bytes& part : {box("traf"), box("traf", tfhd(1), tfhd(1))}) {
    FragmentFile file(box("moof", kMfhd, part));
    EXPECT_CODE(childRuleBroken, file.readFragment());
  }
}

TEST(MoofBox, NeedsExactlyOneHeader) {
  for (const Bytes& moof : {box("moof"), box("moof", kMfhd, kMfhd)}) {
    FragmentFile file(moof);
    EXPECT_CODE(childRuleBroken, file.readFragment());
  }
}

TEST(MoofBox, FindsThePartsOfATrack) {
  FragmentFile file(box("moof", kMfhd, box("traf", tfhd(2)), box("traf", tfhd(1)), box("free"),
                        box("traf", tfhd(2))));
  MoofBox& fragment = file.readFragment();
  const auto second = fragment.partsOf(2);
  ASSERT_EQ(second.size(), 2u);
  EXPECT_EQ(second[0], fragment.parts()[0]);
  EXPECT_EQ(second[1], fragment.parts()[2]);
  EXPECT_EQ(fragment.partsOf(1).size(), 1u);
  EXPECT_TRUE(fragment.partsOf(3).empty());
}

TEST(MoofBox, ReadsChildrenAfterAHeaderInLargeForm) {
  FragmentFile file(largeForm(box("moof", kMfhd, largeForm(box("traf", tfhd(3))))));
  EXPECT_EQ(file.readFragment().partsOf(3).size(), 1u);
}

TEST(MoofBox, IsWrittenWithItsParts) {
  Film file;
  MoofBox fragment(file.stream);
  addNewChild<MfhdBox>(fragment, std::uint32_t{7}, file.stream);
  auto part = makeBox<TrafBox>(file.stream);
  TfhdRecord record;
  record.trackId = 4;
  addNewChild<TfhdBox>(*part, 0u, record, file.stream);
  auto run = makeBox<TrunBox>(std::uint64_t{100}, std::uint64_t{0}, file.stream);
  run->addSample({1, 2, 3, 4, 0});
  TrunBox& added = *run;
  part->addChild(std::move(run));
  fragment.addChild(std::move(part));
  fragment.write();
  EXPECT_EQ(file.bytes(),
            box("moof", kMfhd,
                box("traf", tfhd(4),
                    fullBox("trun", 0, 0xF01, u32(1), u32(100), u32(1), u32(2), u32(3), u32(4)))));
  EXPECT_EQ(fragment.sequenceNumber(), 7u);
  EXPECT_EQ(fragment.parts()[0]->runs()[0], &added);
}

TEST(TrafBoxIterator, YieldsThePartsOfItsTrackOnly) {
  FragmentFile file(box("moof", kMfhd, box("traf", tfhd(2)), box("traf", tfhd(1)), box("free"),
                        box("traf", tfhd(2))));
  MoofBox& fragment = file.readFragment();
  TrafBoxIterator iterator(fragment, 2);
  EXPECT_EQ(iterator.current(), fragment.parts()[0]);
  EXPECT_EQ(iterator.index(), 1);
  iterator.next();
  EXPECT_EQ(iterator.current(), fragment.parts()[2]);
  EXPECT_EQ(iterator.index(), 4);
  iterator.next();
  EXPECT_EQ(iterator.current(), nullptr);
  EXPECT_EQ(TrafBoxIterator(fragment, 3).current(), nullptr);
}

TEST(ReverseTrafBoxIterator, YieldsThePartsOfItsTrackBackwards) {
  FragmentFile file(box("moof", kMfhd, box("traf", tfhd(2)), box("traf", tfhd(1)), box("free"),
                        box("traf", tfhd(2))));
  MoofBox& fragment = file.readFragment();
  ReverseTrafBoxIterator iterator(fragment, 2, 4);
  EXPECT_EQ(iterator.current(), fragment.parts()[2]);
  iterator.next();
  EXPECT_EQ(iterator.current(), fragment.parts()[0]);
  EXPECT_EQ(iterator.index(), 1u);
  iterator.next();
  EXPECT_EQ(iterator.current(), nullptr);
  EXPECT_EQ(ReverseTrafBoxIterator(fragment, 2, 9).current(), fragment.parts()[2]);
}

}  // namespace
}  // namespace norvik::kav::impl
