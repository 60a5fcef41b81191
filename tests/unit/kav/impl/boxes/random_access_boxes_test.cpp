#include "kav/impl/boxes/random_access_boxes.h"
#include "kav/impl/tree/known_boxes.h"

#include <gtest/gtest.h>

#include <string_view>
#include <typeinfo>

#include "kav/impl/model/box_factory.h"
#include "kav/impl/tree/root_box.h"
#include "tests/support/box_builders.h"
#include "tests/support/expect_code.h"
#include "tests/support/film.h"

namespace norvik::kav::impl {
namespace {

using namespace quarrypack::test;

TEST(MfraBox, EndsWithItsOwnLength) {
  Film file;
  MfraBox box(file.stream);
  EXPECT_FALSE(box.validate());
  for (const std::uint32_t trackId : {1u, 2u, 3u}) {
    auto tfra = makeBox<TfraBox>(trackId, file.stream);
    for (std::uint32_t i = 0; i < trackId; ++i) tfra->addEntry({i, i, 1, 1, 1});
    box.addChild(std::move(tfra));
  }
  box.write();
  EXPECT_TRUE(box.validate());
  constexpr std::uint32_t kLength = 8 + 3 * 24 + 6 * 28 + 16;
  ASSERT_EQ(file.bytes().size(), kLength);
  EXPECT_EQ(Bytes(file.bytes().begin(), file.bytes().begin() + 8),
            concat({u32(kLength), text("mfra")}));
  EXPECT_EQ(Bytes(file.bytes().end() - 16, file.bytes().end()),
            fullBox("mfro", 0, 0, u32(kLength)));
}

TEST(MfraBox, NeedsExactlyOneEnd) {
  for (const int ends : {0, 2}) {
    Film file;
    MfraBox box(file.stream);
    for (int i = 0; i < ends; ++i) addNewChild<MfroBox>(box, file.stream);
    EXPECT_CODE(childRuleBroken, box.readBody(file.root, true)) << ends;
  }
}

TEST(MfraBox, IsTheSameWhenItIsWrittenAgain) {
  Film file;
  MfraBox box(file.stream);
  box.write();
  const Bytes once = file.bytes();
  EXPECT_EQ(once, boxAround("mfra", fullBox("mfro", 0, 0, u32(24))));
  box.write();
  EXPECT_EQ(file.bytes(), once);
}

TEST(MfraBox, FailsForALengthThatItsEndCannotTell) {
  Film file;
  MfraBox box(file.stream);
  box.grow(0xFFFFFFFF - 8 - 16 + 1);
  EXPECT_CODE(implausibleCount, box.write());
  EXPECT_EQ(file.bytes(), Bytes());
}

TEST(TfraBox, ReadsEntriesOfVersion1) {
  Film file(fullBox("tfra", 1, 0, u32(3), u32(0x3F), u32(2),                              //
                    u64(0x100000001), u64(0x200000002), u32(1), u32(2), u32(0x01020304),  //
                    u64(5), u64(6), u32(7), u32(8), u32(9)));
  const OwnedBox<TfraBox> box = file.alone<TfraBox>();
  EXPECT_EQ(box->trackId(), 3u);
  ASSERT_EQ(box->entries().size(), 2u);
  EXPECT_EQ(box->entries()[0], (TfraBox::Entry{0x100000001, 0x200000002, 1, 2, 0x01020304}));
  EXPECT_EQ(box->entries()[1], (TfraBox::Entry{5, 6, 7, 8, 9}));
}

TEST(TfraBox, ReadsEachNumberInItsCodedLength) {
  Film file(fullBox("tfra", 0, 0, u32(3), u32(0x01 << 4 | 0x00 << 2 | 0x02), u32(2),  //
                    u32(10), u32(20), u16(0x0102), u8(0x03), u24(0x040506),           //
                    u32(11), u32(21), u16(0xFFFF), u8(0xFF), u24(0xFFFFFF)));
  const OwnedBox<TfraBox> box = file.alone<TfraBox>();
  ASSERT_EQ(box->entries().size(), 2u);
  EXPECT_EQ(box->entries()[0], (TfraBox::Entry{10, 20, 0x0102, 3, 0x040506}));
  EXPECT_EQ(box->entries()[1], (TfraBox::Entry{11, 21, 0xFFFF, 0xFF, 0xFFFFFF}));
}

TEST(TfraBox, WritesNumbersThatWereShorterInFourBytes) {
  Film file(fullBox("tfra", 0, 0, u32(3), u32(0), u32(1), u32(10), u32(20), u8(1), u8(2), u8(3)));
  const OwnedBox<TfraBox> box = file.alone<TfraBox>();
  box->write();
  EXPECT_EQ(file.bytes(), fullBox("tfra", 0, 0, u32(3), u32(0x3F), u32(1), u32(10), u32(20), u32(1),
                                  u32(2), u32(3)));
}

TEST(TfraBox, NeedsTheBytesOfItsHead) {
  Film file(fullBox("tfra", 1, 0, zeros(11)));
  EXPECT_CODE(truncatedBox, file.alone<TfraBox>());
}

TEST(TfraBox, RefusesEntriesThatDoNotFitInTheirCodedLengths) {
  const auto failure = [](unsigned version, std::uint32_t codes, std::size_t length) {
    Film file(fullBox("tfra", version, 0, u32(1), u32(codes), u32(1), zeros(length)));
    return thrownCode([&] { file.alone<TfraBox>(); });
  };
  EXPECT_EQ(failure(1, 0x3F, 28), ErrorCode::success);
  EXPECT_EQ(failure(1, 0x3F, 27), ErrorCode::missingArgument);
  EXPECT_EQ(failure(0, 0x00, 11), ErrorCode::success);
  EXPECT_EQ(failure(0, 0x01, 11), ErrorCode::missingArgument);
  EXPECT_EQ(failure(0, 0x04, 11), ErrorCode::missingArgument);
  EXPECT_EQ(failure(0, 0x10, 11), ErrorCode::missingArgument);
}

TEST(TfraBox, RefusesAnImplausibleCount) {
  Film file(fullBox("tfra", 1, 0, u32(1), u32(0), u32(100000001)));
  EXPECT_CODE(implausibleCount, file.alone<TfraBox>());
}

TEST(TfraBox, BuiltIsVersion1With28BytesAnEntry) {
  Film file;
  TfraBox box(6, file.stream);
  EXPECT_EQ(box.getSize(), 24u);
  box.addEntry({0x100000001, 0x200000002, 1, 2, 3});
  EXPECT_EQ(box.getSize(), 52u);
  box.write();
  EXPECT_EQ(file.bytes(), fullBox("tfra", 1, 0, u32(6), u32(0x3F), u32(1), u64(0x100000001),
                                  u64(0x200000002), u32(1), u32(2), u32(3)));
}

TEST(AfraBox, WritesLongIdsAndLongOffsets) {
  Film file;
  AfraBox box(600, file.stream);
  box.addEntry({0x100000001, 0x200000002});
  box.addEntry({3, 4});
  EXPECT_EQ(box.getSize(), 53u);
  box.write();
  EXPECT_EQ(file.bytes(), fullBox("afra", 0, 0, u8(0xC0), u32(600), u32(2), u64(0x100000001),
                                  u64(0x200000002), u64(3), u64(4)));
}

TEST(AfraBox, UpdatesItsCountAndEntriesOnly) {
  Film file;
  AfraBox box(600, file.stream);
  box.addEntry({1, 2});
  box.write();
  file.memory->bytes()[12] = 0xEE;
  file.memory->bytes()[16] = 0xEE;
  box.addEntry({3, 4});
  box.write();
  EXPECT_EQ(Bytes(file.bytes().begin() + 12, file.bytes().end()),
            concat({u8(0xEE), u24(2), u8(0xEE), u32(2), u64(1), u64(2), u64(3), u64(4)}));
}

TEST(AfraBox, IsKnownToTheFactoryAndPassedOver) {
  Film file(fullBox("afra", 0, 0, u8(0xC0), u32(600), u32(1), u64(1), u64(2)));
  BoxPtr box = knownBoxes().createBox(file.stream, *readBoxHeader(file.stream, nullptr), nullptr);
  auto* afra = childAs<AfraBox>(*box);
  ASSERT_NE(afra, nullptr);
  afra->readContent();
  EXPECT_TRUE(afra->entries().empty());
  EXPECT_EQ(afra->getSize(), 37u);
}

TEST(BoxFactory, MakesPlainBoxesOfTheRandomAccessBoxes) {
  for (const std::string_view type : {"mfra", "tfra", "mfro"}) {
    Film file(fullBox(type, 0, 0, u32(0)));
    BoxPtr made =
        knownBoxes().createBox(file.stream, *readBoxHeader(file.stream, nullptr), nullptr);
    const Box& box = *made;
    EXPECT_EQ(typeid(box), typeid(Box)) << type;
  }
}

TEST(TfraEntry, EqualsAnotherInAllNumbers) {
  const TfraBox::Entry entry{1, 2, 3, 4, 5};
  EXPECT_EQ(entry, (TfraBox::Entry{1, 2, 3, 4, 5}));
  EXPECT_NE(entry, (TfraBox::Entry{0, 2, 3, 4, 5}));
  EXPECT_NE(entry, (TfraBox::Entry{1, 0, 3, 4, 5}));
  EXPECT_NE(entry, (TfraBox::Entry{1, 2, 0, 4, 5}));
  EXPECT_NE(entry, (TfraBox::Entry{1, 2, 3, 0, 5}));
  EXPECT_NE(entry, (TfraBox::Entry{1, 2, 3, 4, 0}));
}

}  // namespace
}  // namespace norvik::kav::impl
