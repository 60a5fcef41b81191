#include "embed/fragment_editor.h"

#include "embed/refusal.h"
#include "kav/big_endian.h"
#include "tests/support/box_builders.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace quarrypack::embed {
namespace {

using namespace quarrypack::test;
using norvik::kav::BoxView;
using norvik::kav::loadU32;

constexpr std::uint32_t kVideo = 1;
constexpr std::uint32_t kSound = 2;
constexpr std::uint32_t kCaptions = 3;

constexpr std::uint32_t kBaseIsMoof = 0x020000;
constexpr std::uint64_t kMoof = 10'000;  // where the moof of these tests lies

const FragmentEditor kEditor(FragmentChanges{
    .pictureTrack = kVideo, .removedTracks = {kCaptions}, .defaults = {{kVideo, 50}, {kSound, 5}}});

Bytes sequence() { return fullBox("mfhd", 0, 0, u32(7)); }

Bytes header(std::uint32_t track, std::uint32_t flags = kBaseIsMoof, const Bytes& fields = {}) {
  return fullBox("tfhd", 0, flags, u32(track), fields);
}

// A run whose samples have nothing but sizes.
Bytes sizedRun(std::uint32_t offset, std::initializer_list<std::uint32_t> sizes) {
  return fullBox("trun", 0, 0x201, u32(sizes.size()), u32(offset), u32List(sizes));
}

Bytes rewritten(const Bytes& moof, const OffsetMap& map, const FragmentEditor& editor = kEditor) {
  const BoxView view = *BoxView::at(moof);
  const Bytes result = editor.fragment(view, kMoof, map).joined();
  EXPECT_EQ(editor.fragment(view, kMoof, OffsetMap()).size(), result.size());
  return result;
}

// Splices that replace a moof of some length by one of another, before those in its data.
OffsetMap mapWith(std::uint32_t oldLength, std::uint32_t newLength, std::vector<Splice> more = {}) {
  more.insert(more.begin(), {{0, 300, 0}, {kMoof, newLength, oldLength}});
  return OffsetMap(std::move(more));
}

TEST(FragmentEditor, RenewsPlacesAndSizes) {
  const auto moof = [](std::uint32_t video, std::uint32_t first, std::uint32_t second,
                       std::uint32_t sound) {
    return box("moof", sequence(), box("traf", header(kVideo), sizedRun(video, {first, second})),
               box("traf", header(kSound), sizedRun(sound, {30, 40})));
  };
  const Bytes input = moof(500, 100, 200, 800);
  const auto length = static_cast<std::uint32_t>(input.size());
  const OffsetMap map =
      mapWith(length, length, {{kMoof + 500, 11, 0}, {kMoof + 650, 13, 3}, {kMoof + 700, 0, 5}});
  EXPECT_EQ(rewritten(input, map), moof(500, 111, 205, 816));
}

TEST(FragmentEditor, MakesEveryPlaceCountFromTheMoof) {
  // Places count from the file, then from the data before, then from the run before.
  const Bytes input = box("moof", sequence(),
                          box("traf", header(kVideo, 0x01, u64(kMoof + 600)),
                              fullBox("trun", 0, 0x200, u32(1), u32(100)), sizedRun(150, {20})),
                          box("traf", header(kSound, 0x10, u32(9)), fullBox("trun", 0, 0, u32(3)),
                              fullBox("trun", 0, 0x201, u32(1), u32(40), u32(8))));
  const Bytes expected = box("moof", sequence(),
                             box("traf", header(kVideo), sizedRun(600, {107}), sizedRun(757, {20})),
                             box("traf", header(kSound, kBaseIsMoof | 0x10, u32(9)),
                                 fullBox("trun", 0, 0x001, u32(3), u32(777)), sizedRun(817, {8})));
  const auto oldLength = static_cast<std::uint32_t>(input.size());
  const auto newLength = static_cast<std::uint32_t>(expected.size());
  const std::uint32_t grown = newLength - oldLength;
  const Bytes result = rewritten(input, mapWith(oldLength, newLength, {{kMoof + 600, 7, 0}}));
  // Everything lies further from the moof by what that grew.
  const Bytes expectedFurther =
      box("moof", sequence(),
          box("traf", header(kVideo), sizedRun(600 + grown, {107}), sizedRun(757 + grown, {20})),
          box("traf", header(kSound, kBaseIsMoof | 0x10, u32(9)),
              fullBox("trun", 0, 0x001, u32(3), u32(777 + grown)), sizedRun(817 + grown, {8})));
  EXPECT_EQ(result, expectedFurther);
}

TEST(FragmentEditor, StatesTheSizesOfPicturesThatWereDefaults) {
  struct Case {
    Bytes header;
    std::uint32_t size;
  };
  const Case cases[] = {
      {header(kVideo, kBaseIsMoof | 0x10, u32(60)), 60},
      {header(kVideo, kBaseIsMoof | 0x1A, concat({u32(1), u32(1001), u32(60)})), 60},
      {header(kVideo), 50}};
  for (const Case& c : cases) {
    const auto moof = [&c](const Bytes& run) {
      return box("moof", box("traf", c.header, fullBox("tfdt", 1, 0, u64(9)), run));
    };
    const Bytes input = moof(fullBox("trun", 0, 0x005, u32(2), u32(400), u32(0x02000000)));
    const auto length = static_cast<std::uint32_t>(input.size());
    const OffsetMap map = mapWith(length, length + 8, {{kMoof + 400 + c.size, 4, 0}});
    EXPECT_EQ(rewritten(input, map), moof(fullBox("trun", 0, 0x205, u32(2), u32(408),
                                                  u32(0x02000000), u32(c.size), u32(c.size + 4))));
  }
}

TEST(FragmentEditor, KeepsTheOtherFieldsOfSamples) {
  const auto moof = [](const Bytes& run) { return box("moof", box("traf", header(kVideo), run)); };
  const Bytes entry = concat({u32(1001), u32(0x01010000), u32(2002)});
  const Bytes withSize = concat({u32(1001), u32(50), u32(0x01010000), u32(2002)});
  const Bytes input = moof(fullBox("trun", 0, 0xD01, u32(2), u32(400), entry, entry, text("rest")));
  const auto length = static_cast<std::uint32_t>(input.size());
  EXPECT_EQ(rewritten(input, mapWith(length, length + 8)),
            moof(fullBox("trun", 0, 0xF01, u32(2), u32(408), withSize, withSize, text("rest"))));
  const Bytes sized = moof(fullBox("trun", 1, 0xF01, u32(1), u32(400), withSize));
  const auto sizedLength = static_cast<std::uint32_t>(sized.size());
  EXPECT_EQ(rewritten(sized, mapWith(sizedLength, sizedLength)), sized);
}

TEST(FragmentEditor, NegativeCompositionOffsetsAreSigned) {
  const auto moof = [](unsigned version, std::uint32_t offset) {
    return box("moof", box("traf", header(kVideo),
                           fullBox("trun", version, 0xA01, u32(2), u32(400), u32(1), u32(5), u32(1),
                                   u32(offset))));
  };
  EXPECT_EQ(rewritten(moof(0, 0xFFFFFFF0), OffsetMap()), moof(1, 0xFFFFFFF0));
  EXPECT_EQ(rewritten(moof(0, 0x7FFFFFF0), OffsetMap()), moof(0, 0x7FFFFFF0));
}

TEST(FragmentEditor, DropsRemovedTracks) {
  const Bytes video = box("traf", header(kVideo), sizedRun(500, {100}));
  const Bytes captions = box("traf", header(kCaptions), sizedRun(600, {20}));
  const Bytes input = box("moof", sequence(), captions, video, box("free"));
  const Bytes without = box("moof", sequence(), video, box("free"));
  const auto oldLength = static_cast<std::uint32_t>(input.size());
  const auto newLength = static_cast<std::uint32_t>(without.size());
  EXPECT_TRUE(kEditor.losesTracks(*BoxView::at(input)));
  EXPECT_FALSE(kEditor.losesTracks(*BoxView::at(without)));
  EXPECT_EQ(
      rewritten(input, mapWith(oldLength, newLength, {{kMoof + 600, 0, 20}})),
      box("moof", sequence(),
          box("traf", header(kVideo), sizedRun(500 + newLength - oldLength, {100})), box("free")));
}

TEST(FragmentEditor, AFragmentOfRemovedTracksAloneGoes) {
  EXPECT_TRUE(
      rewritten(box("moof", sequence(), box("traf", header(kCaptions))), OffsetMap()).empty());
  const Bytes empty = box("moof", sequence());
  EXPECT_EQ(rewritten(empty, OffsetMap()), empty);
}

TEST(FragmentEditor, WhatFollowsADroppedTrackStillLiesAfterItsData) {
  const Bytes input =
      box("moof", box("traf", header(kCaptions, 0), sizedRun(500, {20})),
          box("traf", header(kSound, 0), fullBox("trun", 0, 0x200, u32(1), u32(4))));
  const Bytes expected = box("moof", box("traf", header(kSound), sizedRun(520, {4})));
  EXPECT_EQ(rewritten(input, OffsetMap()), expected);
}

TEST(FragmentEditor, RefusesToChangeTheSamplesOfOtherTracks) {
  const Bytes moof = box("moof", box("traf", header(kSound), sizedRun(500, {100})));
  const BoxView view = *BoxView::at(moof);
  EXPECT_THROW(kEditor.fragment(view, kMoof, OffsetMap({{kMoof + 500, 3, 0}})), Refusal);
  EXPECT_THROW(kEditor.fragment(view, kMoof, OffsetMap({{kMoof + 599, 3, 3}})), Refusal);
  kEditor.fragment(view, kMoof, OffsetMap({{kMoof + 600, 3, 0}}));
}

TEST(FragmentEditor, RefusesWhatOutgrowsItsField) {
  const Bytes far = box("moof", box("traf", header(kVideo, 1, u64(1ull << 33)), sizedRun(0, {1})));
  EXPECT_THROW(kEditor.fragment(*BoxView::at(far), kMoof, OffsetMap()), Refusal);
  const Bytes large = box("moof", box("traf", header(kVideo), sizedRun(500, {0xFFFFFFF0})));
  EXPECT_THROW(kEditor.fragment(*BoxView::at(large), kMoof, OffsetMap({{kMoof + 500, 20, 0}})),
               Refusal);
}

TEST(FragmentEditor, RefusesRunsThatClaimMoreThanTheyHold) {
  const std::vector<Bytes> runs = {
      fullBox("trun", 0, 0x201, u32(0xFFFFFFFF), u32(1), u32(1)),
      fullBox("trun", 0, 0xF01, u32(1), u32(1), zeros(15)),
      fullBox("trun", 0, 0x001, u32(0xFFFFFFFF), u32(1)),  // nothing but a number, for pictures
      fullBox("trun", 0, 0x001, u32(1)),
      fullBox("trun", 0, 0x005, u32(1), u32(1)),
      box("trun", u16(0)),
  };
  for (const Bytes& run : runs) {
    const Bytes moof = box("moof", box("traf", header(kVideo), run));
    EXPECT_THROW(kEditor.fragment(*BoxView::at(moof), kMoof, OffsetMap()), Refusal)
        << ::testing::PrintToString(run);
  }
  for (const Bytes& traf : {box("traf"), box("traf", fullBox("tfhd", 0, 0x10, u32(kVideo))),
                            box("traf", box("tfhd"))}) {
    const Bytes moof = box("moof", traf);
    EXPECT_THROW(kEditor.fragment(*BoxView::at(moof), kMoof, OffsetMap()), Refusal);
  }
}

TEST(FragmentEditor, MovesAuxiliaryInformation) {
  const auto moof = [](unsigned version, const Bytes& offsets) {
    return box("moof", box("traf", header(kVideo), fullBox("saio", version, 0, u32(2), offsets)));
  };
  const OffsetMap map({{kMoof + 300, 7, 0}});
  EXPECT_EQ(rewritten(moof(0, concat({u32(200), u32(400)})), map),
            moof(0, concat({u32(200), u32(407)})));
  EXPECT_EQ(rewritten(moof(1, concat({u64(200), u64(400)})), map),
            moof(1, concat({u64(200), u64(407)})));
  const Bytes inside = moof(0, concat({u32(20), u32(400)}));
  EXPECT_THROW(kEditor.fragment(*BoxView::at(inside), kMoof, map), Refusal);
}

TEST(FragmentEditor, ResizesThePartsOfPictures) {
  const auto moof = [](std::uint32_t track, unsigned version, const Bytes& part,
                       const Bytes& runs) {
    return box("moof",
               box("traf", header(track),
                   fullBox("subs", version, 0, u32(1), u32(3), u16(1), part, zeros(6)), runs));
  };
  const auto runs = [](std::uint32_t offset, std::uint32_t size) {
    return concat({sizedRun(offset, {10, 20}), sizedRun(offset + 100, {size, 40})});
  };
  const Bytes input = moof(kVideo, 0, u16(30), runs(500, 30));
  const auto length = static_cast<std::uint32_t>(input.size());
  const OffsetMap map = mapWith(length, length + 2, {{kMoof + 610, 7, 0}});
  EXPECT_EQ(rewritten(input, map), moof(kVideo, 1, u32(37), runs(502, 37)));
  // Sizes that are defaults.
  const auto one = [](const Bytes& run) {
    return box("moof", box("traf", header(kVideo, kBaseIsMoof | 0x10, u32(30)), run,
                           fullBox("subs", 1, 0, u32(1), u32(2), u16(1), u32(30), zeros(6))));
  };
  const Bytes grown =
      rewritten(one(fullBox("trun", 0, 1, u32(2), u32(500))), OffsetMap({{kMoof + 530, 4, 0}}));
  EXPECT_EQ(loadU32(grown.data() + grown.size() - 10), 34u);
  const Bytes sound = moof(kSound, 0, u16(30), runs(500, 30));
  EXPECT_EQ(rewritten(sound, OffsetMap()), sound);
}

TEST(FragmentEditor, AnyByteMayBeWrong) {
  const Bytes whole =
      box("moof", sequence(),
          box("traf", header(kVideo, 0x39, concat({u64(kMoof), u32(5), u32(6), u32(7)})),
              fullBox("trun", 1, 0xF05, u32(1), u32(90), u32(0), zeros(16))),
          box("traf", header(kSound), fullBox("saio", 0, 0, u32(1), u32(900)), sizedRun(500, {3})));
  for (std::size_t place = 8; place + 4 <= whole.size(); ++place) {
    for (const std::uint32_t number : {0u, 1u, 7u, 9u, 0xFFFFu, 0x7FFFFFFFu, 0xFFFFFFFFu}) {
      const Bytes bad = patched(whole, place, u32(number));
      try {
        kEditor.fragment(*BoxView::at(bad), kMoof, OffsetMap({{kMoof + 400, 3, 0}}));
      } catch (const Refusal&) {
      }
    }
  }
}

TEST(FragmentDefaults, ComeFromTheMovie) {
  const auto trex = [](std::uint32_t track, std::uint32_t size) {
    return fullBox("trex", 0, 0, u32(track), u32(1), u32(1001), u32(size), u32(0));
  };
  const Bytes moov = box("moov", box("mvex", trex(1, 50), box("mehd"), box("trex"), trex(9, 60)));
  const auto defaults = fragmentDefaults(*BoxView::at(moov));
  ASSERT_EQ(defaults.size(), 2u);
  EXPECT_EQ(defaults[1].track, 9u);
  EXPECT_EQ(defaults[1].sampleSize, 60u);
  EXPECT_TRUE(fragmentDefaults(*BoxView::at(box("moov"))).empty());
}

// ---- sidx

Bytes reference(std::uint32_t typeAndSize) { return concat({u32(typeAndSize), u32(1), u32(2)}); }

Bytes segmentIndex(std::uint32_t track, std::uint32_t firstOffset, const Bytes& references) {
  return fullBox("sidx", 0, 0, u32(track), u32(600), u32(0), u32(firstOffset), u16(0),
                 u16(references.size() / 12), references);
}

TEST(SegmentIndex, FollowsTheMap) {
  constexpr std::uint64_t kPlace = 1000;
  const Bytes input =
      segmentIndex(kVideo, 8, concat({reference(100), reference(0x80000000 | 50), reference(60)}));
  const auto length = static_cast<std::uint32_t>(input.size());
  const std::uint64_t anchor = kPlace + length;
  // The box itself, something before the first segment, the box that begins that, and its middle.
  const OffsetMap map({{0, 99, 0},
                       {kPlace, length, length},
                       {anchor + 2, 3, 0},
                       {anchor + 8, 40, 30},
                       {anchor + 8 + 60, 5, 0},
                       {anchor + 8 + 100, 0, 20},
                       {anchor + 8 + 200, 7, 7}});
  EXPECT_EQ(kEditor.segmentIndex(*BoxView::at(input), kPlace, map).joined(),
            segmentIndex(kVideo, 11,
                         concat({reference(115), reference(0x80000000 | 30), reference(60)})));
}

TEST(SegmentIndex, OfWideOffsetsStaysWide) {
  const auto wide = [](std::uint64_t firstOffset) {
    return fullBox("sidx", 1, 0, u32(kVideo), u32(600), u64(5), u64(firstOffset), u16(0), u16(1),
                   reference(100), text("rest"));
  };
  const Bytes input = wide(1ull << 33);
  const OffsetMap map({{200, 5, 0}});
  EXPECT_EQ(kEditor.segmentIndex(*BoxView::at(input), 0, map).joined(), wide((1ull << 33) + 5));
}

TEST(SegmentIndex, OfARemovedTrackGoes) {
  const Bytes input = segmentIndex(kCaptions, 0, reference(100));
  EXPECT_EQ(kEditor.segmentIndex(*BoxView::at(input), 0, OffsetMap()).size(), 0u);
}

TEST(SegmentIndex, IsRefusedWhereItLies) {
  const Bytes whole = segmentIndex(kVideo, 0, concat({reference(100), reference(100)}));
  for (std::size_t length = 8; length < whole.size(); ++length) {
    const Bytes cut =
        boxAround("sidx", Bytes(whole.begin() + 8, whole.begin() + static_cast<int>(length)));
    EXPECT_THROW(kEditor.segmentIndex(*BoxView::at(cut), 0, OffsetMap()), Refusal) << length;
  }
  const Bytes large = segmentIndex(kVideo, 0, reference(0x7FFFFFFF));
  EXPECT_THROW(kEditor.segmentIndex(*BoxView::at(large), 0, OffsetMap({{100, 1, 0}})), Refusal);
  const Bytes far = segmentIndex(kVideo, 0xFFFFFFFF, reference(1));
  EXPECT_THROW(kEditor.segmentIndex(*BoxView::at(far), 0, OffsetMap({{100, 1, 0}})), Refusal);
}

// ---- mfra

Bytes trackAccess(unsigned version, std::uint32_t track, std::uint32_t lengths,
                  const Bytes& entries, std::uint32_t count) {
  return fullBox("tfra", version, 0, u32(track), u32(lengths), u32(count), entries);
}

Bytes randomAccess(const Bytes& children) {
  return box("mfra", children, fullBox("mfro", 0, 0, u32(8 + children.size() + 16)));
}

TEST(RandomAccess, FollowsTheMapAndLosesRemovedTracks) {
  const auto entries = [](std::uint32_t first, std::uint32_t second) {
    return concat(
        {u32(0), u32(first), u8(1), u8(1), u8(1), u32(90), u32(second), u8(1), u8(2), u8(3)});
  };
  const Bytes input = randomAccess(concat({trackAccess(0, kVideo, 0, entries(500, 900), 2),
                                           trackAccess(0, kCaptions, 0, entries(500, 900), 2)}));
  const OffsetMap map({{0, 100, 0}, {500, 60, 50}, {700, 6, 0}});
  EXPECT_EQ(kEditor.randomAccess(*BoxView::at(input), map).joined(),
            randomAccess(trackAccess(0, kVideo, 0, entries(600, 1016), 2)));
}

TEST(RandomAccess, KnowsEveryWidth) {
  const auto entry = [](std::uint64_t offset) {
    return concat({u64(1ull << 40), u64(offset), u16(1), u24(2), u32(3)});
  };
  const auto input = [&](std::uint64_t offset) {
    return randomAccess(trackAccess(1, kVideo, 0x1B, entry(offset), 1));
  };
  EXPECT_EQ(kEditor.randomAccess(*BoxView::at(input(1ull << 33)), OffsetMap({{0, 9, 0}})).joined(),
            input((1ull << 33) + 9));
}

TEST(RandomAccess, WidensOffsetsThatNeedIt) {
  const Bytes numbers = concat({u8(1), u8(1), u8(1)});
  const Bytes input =
      randomAccess(trackAccess(0, kVideo, 0, concat({u32(7), u32(0xFFFFFFFF), numbers}), 1));
  EXPECT_EQ(kEditor.randomAccess(*BoxView::at(input), OffsetMap({{0, 1, 0}})).joined(),
            randomAccess(trackAccess(1, kVideo, 0, concat({u64(7), u64(1ull << 32), numbers}), 1)));
}

TEST(RandomAccess, IsRefusedWhereItLies) {
  const Bytes input = randomAccess(trackAccess(0, kVideo, 0, zeros(10), 0xFFFFFFFF));
  EXPECT_THROW(kEditor.randomAccess(*BoxView::at(input), OffsetMap()), Refusal);
}

TEST(RandomAccess, KeepsBoxesThatItDoesNotKnow) {
  const auto input = [&](std::uint32_t offset) {
    return concat({box("free", text("kept")),
                   trackAccess(0, kVideo, 0, concat({u32(0), u32(offset), u24(0x010101)}), 1)});
  };
  const OffsetMap map({{0, 100, 0}});
  EXPECT_EQ(kEditor.randomAccess(*BoxView::at(randomAccess(input(500))), map).joined(),
            randomAccess(input(600)));
  // Without a box at its end it gets none.
  const Bytes endless = box("mfra", input(500));
  EXPECT_EQ(kEditor.randomAccess(*BoxView::at(endless), map).joined(), box("mfra", input(600)));
}

}  // namespace
}  // namespace quarrypack::embed
