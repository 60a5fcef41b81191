#include "kav/impl/model/box.h"
#include "kav/impl/tree/known_boxes.h"

#include <cstdlib>
#include <utility>

#include "kav/impl/model/box_factory.h"
#include "kav/impl/model/box_headers.h"
#include "kav/impl/model/record_box.h"
#include "tests/unit/kav/impl/box_test_tools.h"

namespace norvik::kav::impl {
namespace {

// A container whose rules a test can choose.
class RuledBox final : public Box {
 public:
  RuledBox(NorvikKavStream& stream, std::vector<ChildRule> rules)
      : Box(fourCc("rule"), stream), rules_(std::move(rules)) {}
  std::span<const ChildRule> getChildRules() const override { return rules_; }

 private:
  std::vector<ChildRule> rules_;
};

// A box with reserved room, of which some is filled.
class ReservedBox final : public Box {
 public:
  ReservedBox(NorvikKavStream& stream, std::uint64_t size, std::uint64_t room)
      : Box(fourCc("room"), stream) {
    setOwnLength(size);
    setExtent(room);
  }
  void setRoom(std::uint64_t room) { setExtent(room); }
  void writeContent() override { ++contentWrites; }
  void updateContent() override { ++updates; }

  int contentWrites = 0;
  int updates = 0;
};

// The tree of a box that is made where its file says, away from any root.
BoxPtr treeAt(Film& file, std::uint64_t position) {
  file.stream.seekTo(position);
  auto header = readBoxHeader(file.stream, nullptr);
  BoxPtr made = knownBoxes().createBox(file.stream, std::move(*header), nullptr);
  readChildHeaders({file.stream, knownBoxes()}, *made);
  made->readBody(file.root, false);
  return made;
}

Bytes bytesAt(const Film& file, std::uint64_t position, std::uint64_t length) {
  const auto begin = file.memory->bytes().begin() + static_cast<std::ptrdiff_t>(position);
  return {begin, begin + static_cast<std::ptrdiff_t>(length)};
}

TEST(Box, BuiltTakesUpItsHeader) {
  Film file;
  const Box compact(fourCc("free"), file.stream);
  EXPECT_EQ(compact.getSize(), 8u);
  EXPECT_EQ(compact.getCurrentSize(), 8u);
  EXPECT_EQ(compact.getContentSize(), 0u);
  const Box large(fourCc("mdat"), file.stream, true);
  EXPECT_EQ(large.getSize(), 16u);
  EXPECT_EQ(large.getContentSize(), 0u);
  const FullBox full(fourCc("nmhd"), file.stream, 0, 0);
  EXPECT_EQ(full.getSize(), 12u);
  EXPECT_EQ(full.getContentSize(), 0u);
}

TEST(Box, ReadTakesUpItsWholeExtent) {
  Film file(concat({box("abcd", zeros(12)), largeForm(box("efgh", zeros(3)))}));
  const Box& compact = file.box();
  EXPECT_EQ(compact.getSize(), 20u);
  EXPECT_EQ(compact.getContentSize(), 12u);
  EXPECT_EQ(compact.payloadStart(), 8u);
  const Box& large = file.box();
  EXPECT_EQ(large.getSize(), 19u);
  EXPECT_EQ(large.getContentSize(), 3u);
  EXPECT_EQ(large.payloadStart(), 36u);
}

TEST(Box, ContentOfAUuidBoxBeginsAfterTheExtendedType) {
  Film file(uuidBox(kXmpUuid, text("abc")));
  const Box& read = file.box();
  EXPECT_EQ(read.getContentSize(), 3u);
  EXPECT_EQ(read.payloadStart(), 24u);
}

TEST(Box, ResetSizeLeavesTheHeaderOnly) {
  Film file(largeForm(box("abcd", zeros(12))));
  Box& large = file.box();
  large.resetSize();
  EXPECT_EQ(large.getSize(), 16u);
  EXPECT_EQ(large.getCurrentSize(), 16u);
  FullBox full(fourCc("nmhd"), file.stream, 0, 0);
  full.grow(5);
  full.resetSize();
  EXPECT_EQ(full.getSize(), 12u);
}

TEST(Box, ResetSizeDoesNotCountAnExtendedType) {
  const Bytes forms[] = {uuidBox(kXmpUuid, zeros(9)), largeForm(uuidBox(kXmpUuid, zeros(9))),
                         uuidForm(box("abcd", zeros(9)))};
  const std::uint64_t expected[] = {8, 16, 8};
  for (std::size_t i = 0; i < std::size(forms); ++i) {
    Film file(forms[i]);
    Box& read = file.box();
    read.resetSize();
    EXPECT_EQ(read.getSize(), expected[i]);
    EXPECT_EQ(read.getCurrentSize(), expected[i]);
  }
}

TEST(Box, WithItsSizeResetIsWrittenAsABareHeader) {
  Film file(uuidForm(box("abcd", zeros(9))));
  Box& read = file.box();
  read.resetSize();
  EXPECT_EQ(read.write(), 8u);
  EXPECT_EQ(bytesAt(file, 0, 8), box("abcd"));
}

TEST(FullBox, ContentSizeTakesOffACompactHeaderWhateverTheForm) {
  Film file(largeForm(fullBox("stss", 0, 0, u32(0), zeros(6))));
  EXPECT_EQ(file.box<FullBox>().getContentSize(), 18u);
}

TEST(FullBox, SplitsVersionAndFlags) {
  Film file(fullBox("nmhd", 0xA5, 0xC1C2C3));
  const FullBox& read = file.box<FullBox>();
  EXPECT_EQ(read.version(), 0xA5);
  EXPECT_EQ(read.flags(), 0xC1C2C3u);
}

TEST(FullBox, WithoutRoomForVersionAndFlagsIsRefused) {
  for (std::size_t length = 0; length < 4; ++length) {
    EXPECT_CODE(truncatedFullBoxHeader, Film(box("nmhd", zeros(length))).box()) << length;
  }
  EXPECT_CODE(success, Film(box("nmhd", zeros(4))).box());
}

TEST(FullBox, WritesVersionAndFlagsAfterTheHeader) {
  Film file;
  FullBox full(fourCc("abcd"), file.stream, 2, 0x030405);
  EXPECT_EQ(file.written(full), (Bytes{0, 0, 0, 12, 'a', 'b', 'c', 'd', 2, 3, 4, 5}));
}

TEST(Box, WritesACompactAndALargeHeader) {
  Film file;
  Box compact(fourCc("abcd"), file.stream);
  EXPECT_EQ(file.written(compact), (Bytes{0, 0, 0, 8, 'a', 'b', 'c', 'd'}));
  Film other;
  Box large(fourCc("abcd"), other.stream, true);
  EXPECT_EQ(other.written(large), (Bytes{0, 0, 0, 1, 'a', 'b', 'c', 'd', 0, 0, 0, 0, 0, 0, 0, 16}));
}

TEST(Box, WithRoomBeyondACompactSizeStatesTheLargestForTheTimeBeing) {
  Film file;
  ReservedBox reserved(file.stream, 8, 0x100000000);
  EXPECT_EQ(file.written(reserved), (Bytes{0xFF, 0xFF, 0xFF, 0xFF, 'r', 'o', 'o', 'm'}));
  reserved.releaseReserve();
  reserved.patchSize();
  EXPECT_EQ(file.memory->bytes(), box("room"));
}

TEST(Box, PlacesABuiltChildWithEverythingInItAtItsCurrentEnd) {
  Film file;
  auto inner = makeBox<Box>(fourCc("innr"), file.stream);
  Box& room = addNewChild<ReservedBox>(*inner, file.stream, 12u, 100u);
  Box& behindRoom = addNewChild<Box>(*inner, fourCc("last"), file.stream);
  Box& innerView = *inner;

  Box outer(fourCc("outr"), file.stream);
  addNewChild<Box>(outer, fourCc("frst"), file.stream);
  outer.place(1000);
  outer.addChild(std::move(inner));

  EXPECT_EQ(outer.getChild(0)->start(), 1008u);
  EXPECT_EQ(innerView.start(), 1016u);
  EXPECT_EQ(room.start(), 1024u);
  EXPECT_EQ(behindRoom.start(), 1124u);
  EXPECT_EQ(innerView.getCurrentSize(), 8u + 100u + 8u);
  EXPECT_EQ(outer.getCurrentSize(), 8u + 8u + 116u);
  EXPECT_EQ(outer.getSize(), 8u);
}

TEST(Box, AChildFromAFileKeepsItsPlaceAndAddsItsExtent) {
  Film file(concat({box("free", zeros(4)), box("edts", fullBox("elst", 0, 0, u32(0)))}));
  file.box();
  const Box& edts = file.box();
  EXPECT_EQ(edts.children()[0]->start(), 20u);
  EXPECT_EQ(edts.getSize(), 8u);
  EXPECT_EQ(edts.getCurrentSize(), 24u);
}

TEST(Box, PlacesAChildReadElsewhereWithEverythingInIt) {
  const Bytes edits = fullBox("elst", 0, 0, u32(1), u32(5), u32(6), u16(1), u16(0));
  const Bytes hints = box("tref", box("hint", u32(3)), box("hint", u32(4)));
  Film file(concat({zeros(100), hints, box("edts", edits)}));
  Box outer(fourCc("outr"), file.stream);
  outer.addChild(treeAt(file, 100));
  outer.addChild(treeAt(file, 132));
  EXPECT_EQ(outer.getCurrentSize(), 8u + 32u + 36u);
  EXPECT_EQ(outer.children()[0]->start(), 8u);
  EXPECT_EQ(outer.children()[0]->end(), 40u);
  EXPECT_EQ(outer.children()[0]->children()[0]->start(), 16u);
  EXPECT_EQ(outer.children()[0]->children()[1]->start(), 28u);
  EXPECT_EQ(outer.children()[1]->start(), 40u);
  EXPECT_EQ(outer.children()[1]->children()[0]->start(), 48u);
  EXPECT_EQ(outer.write(), 76u);
  EXPECT_EQ(bytesAt(file, 0, 76), box("outr", hints, box("edts", edits)));
}

TEST(Box, PlacesAChildReadElsewhereInTheFormInWhichItIsWritten) {
  const Bytes handler = fullBox("hdlr", 0, 0, u32(0), text("text"), zeros(12), text("ab"));
  Film file(concat({zeros(200), uuidForm(box("abcd", zeros(4))), mdhd0(), handler}));
  Box outer(fourCc("outr"), file.stream);
  outer.addChild(treeAt(file, 228));
  outer.addChild(treeAt(file, 260));
  EXPECT_EQ(outer.children()[1]->start(), 8u + 44u);
  EXPECT_EQ(outer.getCurrentSize(), 8u + 44u + 35u);
  outer.write();
  EXPECT_EQ(
      bytesAt(file, 0, 87),
      box("outr", fullBox("mdhd", 1, 0, u64(0), u64(0), u32(1000), u64(0), u16(0x55C4), u16(0)),
          fullBox("hdlr", 0, 0, u32(0), text("text"), zeros(12), text("ab"), u8(0))));
}

TEST(Box, LeavesOutTheBytesAfterTheChildrenOfAChildReadElsewhere) {
  Film file(concat({zeros(60), box("tref", box("hint", u32(3)), zeros(5))}));
  Box outer(fourCc("outr"), file.stream);
  outer.addChild(treeAt(file, 60));
  addNewChild<Box>(outer, fourCc("last"), file.stream);
  outer.write();
  EXPECT_EQ(bytesAt(file, 0, 36), box("outr", box("tref", box("hint", u32(3))), box("last")));
}

TEST(Box, ReadInUuidFormIsWrittenWithoutIt) {
  const Bytes elst = fullBox("elst", 0, 0, u32(1), u32(5), u32(6), u16(1), u16(0));
  const Bytes handler = fullBox("hdlr", 0, 0, u32(0), text("text"), zeros(12), text("ab"), u8(0));
  const Bytes mdhd1 = fullBox("mdhd", 1, 0, u64(0), u64(0), u32(1000), u64(0), u16(0x55C4), u16(0));
  const std::pair<Bytes, Bytes> cases[] = {
      {uuidForm(elst), elst},
      {uuidForm(handler), handler},
      {uuidForm(mdhd1), mdhd1},
      {uuidForm(mdhd0()), mdhd1},
      {uuidForm(box("hint", u32(7))), box("hint", u32(7))},
      {uuidForm(box("edts", elst)), box("edts", elst)},
      {box("edts", uuidForm(elst)), box("edts", elst)},
      {uuidForm(box("edts", uuidForm(elst))), box("edts", elst)},
      {box("tref", uuidForm(box("hint", u32(7))), box("hint", u32(8))),
       box("tref", box("hint", u32(7)), box("hint", u32(8)))},
      {uuidForm(dinf()), dinf()},
      {uuidForm(box("ftyp", text("abcd"), u32(1), text("isom"))),
       box("ftyp", text("abcd"), u32(1), text("isom"))},
  };
  for (const auto& [form, expected] : cases) {
    Film file(concat({form, zeros(60)}));
    Box& read = *file.root.readNextBox();
    EXPECT_EQ(read.write(), expected.size()) << &form - &cases[0].first;
    EXPECT_FALSE(read.extendedType());
    EXPECT_EQ(bytesAt(file, 0, expected.size()), expected);
    read.write();
    EXPECT_EQ(bytesAt(file, 0, expected.size()), expected) << "written again";
  }
}

TEST(Box, WritesItsChildrenAndPatchesItsSize) {
  Film file;
  Box outer(fourCc("outr"), file.stream);
  addNewChild<FullBox>(outer, fourCc("full"), file.stream, std::uint8_t{0}, 7u);
  EXPECT_EQ(outer.write(), 20u);
  const Bytes expected = box("outr", fullBox("full", 0, 7));
  EXPECT_EQ(file.memory->bytes(), expected);

  addNewChild<Box>(outer, fourCc("more"), file.stream);
  EXPECT_EQ(outer.write(), 28u);
  EXPECT_EQ(file.memory->bytes(), box("outr", fullBox("full", 0, 7), box("more")));
}

TEST(Box, WritesHeaderAndContentOnceAndOnlyUpdatesLater) {
  Film file;
  ReservedBox reserved(file.stream, 12, 40);
  EXPECT_EQ(reserved.write(), 40u);
  EXPECT_EQ(reserved.contentWrites, 1);
  EXPECT_EQ(reserved.updates, 0);
  reserved.setRoom(50);
  reserved.write();
  EXPECT_EQ(reserved.contentWrites, 1);
  EXPECT_EQ(reserved.updates, 1);
  EXPECT_EQ(file.memory->bytes()[3], 40) << "the header of a childless box is not rewritten";
}

TEST(Box, PatchesTheSizeOfALargeBoxOnEveryWrite) {
  Film file;
  Box large(fourCc("abcd"), file.stream, true);
  large.write();
  large.grow(5);
  EXPECT_EQ(file.written(large)[15], 21);
}

TEST(Box, GivesUpTheRoomThatIsNotFilledWithAllBelowIt) {
  Film file;
  Box outer(fourCc("outr"), file.stream);
  addNewChild<ReservedBox>(outer, file.stream, 12u, 40u);
  Box& inner = addNewChild<Box>(outer, fourCc("innr"), file.stream);
  addNewChild<ReservedBox>(inner, file.stream, 10u, 60u);
  outer.releaseReserve();
  EXPECT_EQ(inner.getCurrentSize(), 8u + 10u);
  EXPECT_EQ(outer.getCurrentSize(), 8u + 12u + 18u);
}

TEST(Box, HasNoChildPastTheEnd) {
  Film file;
  Box outer(fourCc("outr"), file.stream);
  addNewChild<Box>(outer, fourCc("only"), file.stream);
  EXPECT_NE(outer.getChild(0), nullptr);
  EXPECT_EQ(outer.getChild(1), nullptr);
}

TEST(Box, ValidatesItsChildRules) {
  using Kind = ChildRule::Kind;
  static constexpr std::array<FourCc, 2> kList = {fourCc("aaaa"), fourCc("bbbb")};
  struct Case {
    ChildRule rule;
    std::vector<FourCc> children;
    bool holds;
  };
  const ChildRule one{fourCc("aaaa"), Kind::exactlyOne};
  const ChildRule some{fourCc("aaaa"), Kind::atLeastOne};
  const ChildRule oneOf{0, Kind::exactlyOneOf, kList};
  const Case cases[] = {
      {one, {}, false},
      {one, {fourCc("aaaa")}, true},
      {one, {fourCc("aaaa"), fourCc("bbbb")}, true},
      {one, {fourCc("aaaa"), fourCc("aaaa")}, false},
      {some, {}, false},
      {some, {fourCc("aaaa")}, true},
      {some, {fourCc("aaaa"), fourCc("aaaa")}, true},
      {oneOf, {}, false},
      {oneOf, {fourCc("bbbb")}, true},
      {oneOf, {fourCc("aaaa"), fourCc("bbbb")}, false},
      {oneOf, {fourCc("bbbb"), fourCc("bbbb")}, false},
      {oneOf, {fourCc("cccc")}, false},
  };
  for (const Case& c : cases) {
    Film file;
    RuledBox ruled(file.stream, {c.rule});
    for (const FourCc type : c.children) addNewChild<Box>(ruled, type, file.stream);
    EXPECT_EQ(ruled.validate(), c.holds) << &c - cases;
  }
  Film file;
  EXPECT_TRUE(Box(fourCc("free"), file.stream).validate());
}

TEST(Box, WritesNothingOfAPayloadThatItDoesNotKnow) {
  const Bytes bytes = box("abcd", text("payload"));
  Film file(bytes);
  EXPECT_EQ(file.written(file.box()), bytes);
}

// Memory that counts its blocks in use and can run out.
class CountingAllocator final : public BoxAllocator {
 public:
  void* allocate(std::size_t size) override {
    if (left == 0) return nullptr;
    --left;
    ++out;
    return std::malloc(size);
  }
  void free(void* block) override {
    --out;
    std::free(block);
  }

  int left = 1000;
  int out = 0;
};

TEST(BoxAllocator, GetsBackEveryBoxOfATree) {
  CountingAllocator allocator;
  {
    Film file(moov(), nullptr, &allocator);
    ASSERT_NE(file.root.readMovie(), nullptr);
    EXPECT_EQ(allocator.out, 18);
  }
  EXPECT_EQ(allocator.out, 0);
}

TEST(BoxAllocator, GetsBackTheBlockOfABoxThatCouldNotBeMade) {
  CountingAllocator allocator;
  Film file(box("nmhd", zeros(2)), nullptr, &allocator);
  EXPECT_CODE(truncatedFullBoxHeader, file.root.readNextBox());
  EXPECT_EQ(allocator.out, 0);
}

TEST(BoxAllocator, WithoutRoomEndsTheBoxes) {
  CountingAllocator allocator;
  allocator.left = 0;
  Film file(box("free"), nullptr, &allocator);
  EXPECT_EQ(file.root.readNextBox(), nullptr);
  EXPECT_EQ(file.root.readNextBox(), nullptr);
}

TEST(BoxAllocator, WithoutRoomForAChildEndsTheChildren) {
  CountingAllocator allocator;
  allocator.left = 2;
  Film file(box("tref", box("aaaa"), box("bbbb")), nullptr, &allocator);
  EXPECT_EQ(file.box().children().size(), 1u);
}

}  // namespace
}  // namespace norvik::kav::impl
