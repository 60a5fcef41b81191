#include "kav/box_view.h"

#include "tests/support/box_builders.h"
#include "tests/support/bytes.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <optional>
#include <vector>

namespace norvik::kav {
namespace {

using namespace quarrypack::test;

Bytes bytesOf(std::span<const std::uint8_t> bytes) { return {bytes.begin(), bytes.end()}; }

TEST(BoxView, ShowsTypeHeaderAndPayload) {
  const Bytes bytes = concat({box("free", text("abc")), text("rest")});
  const std::optional<BoxView> view = BoxView::at(bytes);
  ASSERT_TRUE(view);
  EXPECT_EQ(view->type(), fourCc("free"));
  EXPECT_EQ(view->offset(), 0u);
  EXPECT_EQ(view->headerLength(), 8u);
  EXPECT_EQ(bytesOf(view->bytes()), box("free", text("abc")));
  EXPECT_EQ(bytesOf(view->payload()), text("abc"));
}

TEST(BoxView, KnowsEveryFormOfHeader) {
  struct Case {
    Bytes bytes;
    std::size_t headerLength;
  };
  const Uuid uuid = uuidOf("abcd");
  const Case cases[] = {
      {box("free", text("abc")), 8},
      {largeForm(box("free", text("abc"))), 16},
      {runningToEnd(box("free", text("abc"))), 8},
      {uuidBox(uuid, text("abc")), 24},
      {largeForm(uuidBox(uuid, text("abc"))), 32},
      {runningToEnd(uuidBox(uuid, text("abc"))), 24},
  };
  for (const Case& c : cases) {
    const std::optional<BoxView> view = BoxView::at(c.bytes);
    ASSERT_TRUE(view) << c.headerLength;
    EXPECT_EQ(view->headerLength(), c.headerLength);
    EXPECT_EQ(bytesOf(view->payload()), text("abc"));
    EXPECT_EQ(bytesOf(view->bytes()), c.bytes);
  }
}

TEST(BoxView, KeepsTheTypeOfAnExtendedType) {
  EXPECT_EQ(BoxView::at(uuidBox(uuidOf("moov")))->type(), fourCc("uuid"));
}

TEST(BoxView, IsNoneWhereTheBytesDoNotHoldTheBox) {
  const Bytes plain = box("free", text("abc"));
  const Bytes large = largeForm(plain);
  const Bytes uuid = uuidBox(uuidOf("abcd"));
  std::vector<Bytes> cases = {
      {},
      claimingSize(2, plain),
      claimingSize(7, plain),
      claimingSize(12, plain),
      claimingSize(0xFFFFFFFF, plain),
      claimingSize(23, uuid),
      claimingLargeSize(0, plain),
      claimingLargeSize(1, plain),
      claimingLargeSize(15, plain),
      claimingLargeSize(large.size() + 1, plain),
      claimingLargeSize(0xFFFFFFFF, plain),
      claimingLargeSize(std::numeric_limits<std::int64_t>::max(), plain),
      claimingLargeSize(std::numeric_limits<std::uint64_t>::max(), plain),
  };
  for (const Bytes& whole : {plain, large, uuid}) {
    for (std::size_t length = 0; length < whole.size(); ++length) {
      cases.emplace_back(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length));
    }
  }
  for (const Bytes& bytes : cases)
    EXPECT_FALSE(BoxView::at(bytes)) << ::testing::PrintToString(bytes);
}

TEST(BoxView, ListsBoxesWithTheirOffsets) {
  const Bytes bytes = concat({box("aaaa", zeros(5)), largeForm(box("bbbb")), box("cccc")});
  const BoxView::List boxes = BoxView::listOf(bytes, 100);
  ASSERT_EQ(boxes.size(), 3u);
  EXPECT_EQ(boxes[0].offset(), 100u);
  EXPECT_EQ(boxes[1].offset(), 113u);
  EXPECT_EQ(boxes[2].offset(), 129u);
  EXPECT_EQ(boxes[2].type(), fourCc("cccc"));
}

TEST(BoxView, ABoxThatIsNotWholeEndsTheList) {
  const Bytes bytes = concat({box("aaaa"), claimingSize(9, box("bbbb")), box("cccc")});
  // The second one takes a byte of the third, whose header is then read one byte too late.
  EXPECT_EQ(BoxView::listOf(bytes).size(), 2u);
  EXPECT_EQ(BoxView::listOf(concat({box("aaaa"), claimingSize(99, box("bbbb"))})).size(), 1u);
  EXPECT_EQ(BoxView::listOf(concat({box("aaaa"), zeros(4)})).size(), 1u);
  EXPECT_TRUE(BoxView::listOf({}).empty());
}

TEST(BoxView, ASizeOfZeroTakesAllThatIsLeft) {
  const BoxView::List boxes =
      BoxView::listOf(concat({box("aaaa"), runningToEnd(box("bbbb")), box("cccc")}));
  ASSERT_EQ(boxes.size(), 2u);
  EXPECT_EQ(boxes[1].payload().size(), 8u);
}

TEST(BoxView, ChildrenBeginAfterTheFields) {
  const Bytes bytes = concat({box("aaaa"), fullBox("stsd", 0, 0, u32(1), box("avc1", zeros(3)))});
  const BoxView stsd = BoxView::listOf(bytes)[1];
  const BoxView::List entries = stsd.children(8);
  ASSERT_EQ(entries.size(), 1u);
  EXPECT_EQ(entries[0].type(), fourCc("avc1"));
  EXPECT_EQ(entries[0].offset(), 8u + 8 + 8);
  EXPECT_TRUE(stsd.children(stsd.payload().size()).empty());
  EXPECT_TRUE(stsd.children(stsd.payload().size() + 1).empty());
}

TEST(BoxView, FindsBoxesByPath) {
  const Bytes bytes =
      box("moov", box("mvhd"), box("trak", box("tkhd", u8(1))),
          box("trak", box("tkhd", u8(2)), box("mdia", box("minf", box("stbl", text("x"))))));
  const BoxView moov = *BoxView::at(bytes);
  EXPECT_EQ(bytesOf(moov.find("mvhd")->bytes()), box("mvhd"));
  EXPECT_EQ(bytesOf(moov.find("trak/tkhd")->payload()), u8(1));
  EXPECT_EQ(bytesOf(moov.find("trak[0]/tkhd")->payload()), u8(1));
  EXPECT_EQ(bytesOf(moov.find("trak[1]/tkhd[0]")->payload()), u8(2));
  EXPECT_EQ(bytesOf(moov.find("trak[01]/mdia/minf/stbl")->payload()), text("x"));
  EXPECT_EQ(moov.find("trak[1]/tkhd")->offset(), 8u + 8 + 17 + 8);
}

TEST(BoxView, FindsNothingByAPathThatLeadsNowhere) {
  const Bytes bytes = box("moov", box("trak", box("tkhd")), box("trak"));
  const BoxView moov = *BoxView::at(bytes);
  for (const char* path : {"",
                           "/",
                           "tra",
                           "trak/",
                           "/trak",
                           "trak//tkhd",
                           "trak[2]",
                           "trak[]",
                           "trak[",
                           "trak[1",
                           "trak[-1]",
                           "trak[x]",
                           "trak[1x]",
                           "trak[1]]",
                           "trak[0]tkhd",
                           "trakk",
                           "mdia",
                           "trak/mdia",
                           "trak[1]/tkhd",
                           "trak[999999999]",
                           "trak[0000000000]",
                           "trak[18446744073709551616]"}) {
    EXPECT_FALSE(moov.find(path)) << path;
  }
}

TEST(BoxView, OutlivesTheViewThatItCameFrom) {
  const Bytes bytes = box("moov", box("udta", text("kept")));
  std::optional<BoxView> udta;
  {
    const BoxView moov = *BoxView::at(bytes);
    udta = moov.children().front();
  }
  EXPECT_EQ(bytesOf(udta->payload()), text("kept"));
}

TEST(BoxView, MayBeOfATypeThatTheLibraryInterprets) {
  for (const FourCc type : {fourCc("moov"), fourCc("stbl"), fourCc("stsz"), fourCc("uuid")}) {
    EXPECT_TRUE(isInterpreted(type)) << textOf(type);
  }
  for (const FourCc type : {fourCc("free"), fourCc("meta"), fourCc("clcp"), FourCc{0}}) {
    EXPECT_FALSE(isInterpreted(type)) << textOf(type);
  }
}

}  // namespace
}  // namespace norvik::kav
