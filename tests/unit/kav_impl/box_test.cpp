#include "kav/impl/box.h"

#include <cstdlib>
#include <utility>

#include "kav/impl/record_box.h"
#include "tests/unit/kav_impl/box_test_tools.h"

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
    setSize(size);
    setCurrentSize(room);
  }
  void setRoom(std::uint64_t room) { setCurrentSize(room); }
  void writeContent() override { ++contentWrites; }
  void updateContent() override { ++updates; }

  int contentWrites = 0;
  int updates = 0;
};

TEST(Box, BuiltTakesUpItsHeader) {
  Document file;
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
  Document file(concat({box("abcd", zeros(12)), largeForm(box("efgh", zeros(3)))}));
  const Box& compact = file.read<Box>();
  EXPECT_EQ(compact.getSize(), 20u);
  EXPECT_EQ(compact.getContentSize(), 12u);
  EXPECT_EQ(compact.payloadStart(), 8u);
  const Box& large = file.read<Box>();
  EXPECT_EQ(large.getSize(), 19u);
  EXPECT_EQ(large.getContentSize(), 3u);
  EXPECT_EQ(large.payloadStart(), 36u);
}

TEST(Box, ContentOfAUuidBoxBeginsBehindTheExtendedType) {
  Document file(uuidBox(kXmpUuid, text("abc")));
  const Box& read = file.read<Box>();
  EXPECT_EQ(read.getContentSize(), 3u);
  EXPECT_EQ(read.payloadStart(), 24u);
}

TEST(Box, ResetSizeLeavesTheHeaderOnly) {
  Document file(largeForm(box("abcd", zeros(12))));
  Box& large = file.read<Box>();
  large.resetSize();
  EXPECT_EQ(large.getSize(), 16u);
  EXPECT_EQ(large.getCurrentSize(), 16u);
  FullBox full(fourCc("nmhd"), file.stream, 0, 0);
  full.grow(5);
  full.resetSize();
  EXPECT_EQ(full.getSize(), 12u);
}

TEST(FullBox, ContentSizeTakesOffACompactHeaderWhateverTheForm) {
  Document file(largeForm(fullBox("nmhd", 0, 0, zeros(10))));
  EXPECT_EQ(file.read<FullBox>().getContentSize(), 18u);
}

TEST(FullBox, SplitsVersionAndFlags) {
  Document file(fullBox("nmhd", 0xA5, 0xC1C2C3));
  const FullBox& read = file.read<FullBox>();
  EXPECT_EQ(read.version(), 0xA5);
  EXPECT_EQ(read.flags(), 0xC1C2C3u);
}

TEST(FullBox, WithoutRoomForVersionAndFlagsIsRefused) {
  for (std::size_t length = 0; length < 4; ++length) {
    EXPECT_EQ(codeOfReading(box("nmhd", zeros(length))), 28u) << length;
  }
  EXPECT_EQ(codeOfReading(box("nmhd", zeros(4))), std::nullopt);
}

TEST(FullBox, WritesVersionAndFlagsBehindTheHeader) {
  Document file;
  FullBox full(fourCc("abcd"), file.stream, 2, 0x030405);
  EXPECT_EQ(file.written(full), (Bytes{0, 0, 0, 12, 'a', 'b', 'c', 'd', 2, 3, 4, 5}));
}

TEST(Box, WritesACompactAndALargeHeader) {
  Document file;
  Box compact(fourCc("abcd"), file.stream);
  EXPECT_EQ(file.written(compact), (Bytes{0, 0, 0, 8, 'a', 'b', 'c', 'd'}));
  Document other;
  Box large(fourCc("abcd"), other.stream, true);
  EXPECT_EQ(other.written(large), (Bytes{0, 0, 0, 1, 'a', 'b', 'c', 'd', 0, 0, 0, 0, 0, 0, 0, 16}));
}

TEST(Box, WithRoomBeyondACompactSizeStatesTheLargestForTheTimeBeing) {
  Document file;
  ReservedBox reserved(file.stream, 8, 0x100000000);
  EXPECT_EQ(file.written(reserved), (Bytes{0xFF, 0xFF, 0xFF, 0xFF, 'r', 'o', 'o', 'm'}));
  reserved.releaseReserve();
  reserved.patchSize();
  EXPECT_EQ(file.memory->bytes(), box("room"));
}

TEST(Box, PlacesABuiltChildWithEverythingInItAtItsCurrentEnd) {
  Document file;
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
  Document file(concat({box("free", zeros(4)), box("edts", fullBox("elst", 0, 0, u32(0)))}));
  file.read<Box>();
  const Box& edts = file.read<Box>();
  EXPECT_EQ(edts.children()[0]->start(), 20u);
  EXPECT_EQ(edts.getSize(), 8u);
  EXPECT_EQ(edts.getCurrentSize(), 24u);
}

TEST(Box, WritesItsChildrenAndPatchesItsSize) {
  Document file;
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
  Document file;
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
  Document file;
  Box large(fourCc("abcd"), file.stream, true);
  large.write();
  large.grow(5);
  EXPECT_EQ(file.written(large)[15], 21);
}

TEST(Box, GivesUpTheRoomThatIsNotFilledWithAllBelowIt) {
  Document file;
  Box outer(fourCc("outr"), file.stream);
  addNewChild<ReservedBox>(outer, file.stream, 12u, 40u);
  Box& inner = addNewChild<Box>(outer, fourCc("innr"), file.stream);
  addNewChild<ReservedBox>(inner, file.stream, 10u, 60u);
  outer.releaseReserve();
  EXPECT_EQ(inner.getCurrentSize(), 8u + 10u);
  EXPECT_EQ(outer.getCurrentSize(), 8u + 12u + 18u);
}

TEST(Box, HasNoChildPastTheEnd) {
  Document file;
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
    Document file;
    RuledBox ruled(file.stream, {c.rule});
    for (const FourCc type : c.children) addNewChild<Box>(ruled, type, file.stream);
    EXPECT_EQ(ruled.validate(), c.holds) << &c - cases;
  }
  Document file;
  EXPECT_TRUE(Box(fourCc("free"), file.stream).validate());
}

TEST(Box, WritesNothingOfAPayloadThatItDoesNotKnow) {
  const Bytes bytes = box("abcd", text("payload"));
  Document file(bytes);
  EXPECT_EQ(file.written(file.read<Box>()), bytes);
}

// Memory that counts what is out and can run dry.
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
    Document file(moov(), nullptr, &allocator);
    ASSERT_NE(file.root.readMovie(), nullptr);
    EXPECT_EQ(allocator.out, 18);
  }
  EXPECT_EQ(allocator.out, 0);
}

TEST(BoxAllocator, GetsBackTheBlockOfABoxThatCouldNotBeMade) {
  CountingAllocator allocator;
  Document file(box("nmhd", zeros(2)), nullptr, &allocator);
  EXPECT_EQ(codeOf([&] { file.root.readNextBox(); }), 28u);
  EXPECT_EQ(allocator.out, 0);
}

TEST(BoxAllocator, WithoutRoomEndsTheBoxes) {
  CountingAllocator allocator;
  allocator.left = 0;
  Document file(box("free"), nullptr, &allocator);
  EXPECT_EQ(file.root.readNextBox(), nullptr);
  EXPECT_EQ(file.root.readNextBox(), nullptr);
}

TEST(BoxAllocator, WithoutRoomForAChildEndsTheChildren) {
  CountingAllocator allocator;
  allocator.left = 2;
  Document file(box("tref", box("aaaa"), box("bbbb")), nullptr, &allocator);
  EXPECT_EQ(file.read<Box>().children().size(), 1u);
}

}  // namespace
}  // namespace norvik::kav::impl
