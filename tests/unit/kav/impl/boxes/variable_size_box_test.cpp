#include "kav/impl/boxes/variable_size_box.h"

#include <gtest/gtest.h>

#include "kav/impl/boxes/file_boxes.h"
#include "tests/support/box_builders.h"
#include "tests/support/expect_code.h"
#include "tests/support/film.h"

namespace norvik::kav::impl {
namespace {

using namespace quarrypack::test;

class RoomyBox final : public VariableSizeBox {
 public:
  RoomyBox(std::uint64_t room, NorvikKavStream& stream)
      : VariableSizeBox(fourCc("room"), stream, 0, 0) {
    reserve(room);
  }
};

BoxPtr child(Film& file, std::uint64_t size) {
  return makeBox<SkipBox>(size, file.stream, SkipBox::Fill::zeros, fourCc("chld"));
}

TEST(VariableSizeBox, ReservesRoomByPadding) {
  Film file;
  RoomyBox box(40, file.stream);
  EXPECT_EQ(box.getSize(), 12u);
  EXPECT_EQ(box.getCurrentSize(), 52u);
  EXPECT_EQ(box.roomLeft(), 40u);
  ASSERT_EQ(box.children().size(), 1u);
  EXPECT_EQ(box.children()[0]->type(), fourCc("skip"));
  EXPECT_EQ(box.children()[0]->start(), 12u);
}

TEST(VariableSizeBox, ReservesNothingForNoRoom) {
  Film file;
  RoomyBox box(0, file.stream);
  EXPECT_TRUE(box.children().empty());
  EXPECT_EQ(box.getCurrentSize(), 12u);
}

TEST(VariableSizeBox, InsertsAtTheOldPlaceOfThePadding) {
  Film file;
  RoomyBox box(60, file.stream);
  box.place(100);
  box.insertChild(child(file, 20));
  box.insertChild(child(file, 24));
  ASSERT_EQ(box.children().size(), 3u);
  EXPECT_EQ(box.children()[0]->start(), 112u);
  EXPECT_EQ(box.children()[1]->start(), 132u);
  EXPECT_EQ(box.children()[2]->start(), 156u);
  EXPECT_EQ(box.children()[2]->type(), fourCc("skip"));
  EXPECT_EQ(box.roomLeft(), 16u);
  EXPECT_EQ(box.getCurrentSize(), 72u);
}

TEST(VariableSizeBox, DeletesPaddingTooShortForABoxAndKeepsItsLength) {
  for (const std::uint64_t rest : {0u, 1u, 7u}) {
    Film file;
    RoomyBox box(20 + rest, file.stream);
    box.insertChild(child(file, 20));
    EXPECT_EQ(box.children().size(), 1u) << rest;
    EXPECT_EQ(box.roomLeft(), 0u) << rest;
    EXPECT_EQ(box.getCurrentSize(), 32u + rest) << rest;
  }
  Film file;
  RoomyBox box(28, file.stream);
  box.insertChild(child(file, 20));
  EXPECT_EQ(box.children().size(), 2u);
  EXPECT_EQ(box.roomLeft(), 8u);
}

// Without room, with less than the child needs, and with a rest too short for padding.
TEST(VariableSizeBox, GrowsByAChildThatFindsTooLittleRoom) {
  for (const std::uint64_t room : {0u, 19u, 27u}) {
    Film file;
    RoomyBox box(room, file.stream);
    box.place(100);
    box.insertChild(child(file, 20));
    box.insertChild(child(file, 24));
    ASSERT_EQ(box.children().size(), 2u) << room;
    EXPECT_EQ(box.children()[0]->start(), 112u) << room;
    EXPECT_EQ(box.children()[1]->start(), 132u) << room;
    EXPECT_EQ(box.roomLeft(), 0u) << room;
    EXPECT_EQ(box.getCurrentSize(), 56u) << room;
  }
}

TEST(VariableSizeBox, EndsWithItsLastChildOnceThePaddingIsDropped) {
  for (const std::uint64_t room : {20u, 25u, 28u, 400u}) {
    Film file;
    RoomyBox box(room, file.stream);
    box.insertChild(child(file, 20));
    box.dropPadding();
    EXPECT_EQ(box.children().size(), 1u) << room;
    EXPECT_EQ(box.getCurrentSize(), 32u) << room;
    box.dropPadding();
    EXPECT_EQ(box.getCurrentSize(), 32u) << room;
  }
}

TEST(VariableSizeBox, RewritesOnlyTheHeaderOfItsPadding) {
  Film file;
  RoomyBox reserved(36, file.stream);
  reserved.write();
  EXPECT_EQ(Bytes(file.bytes().begin(), file.bytes().begin() + 20),
            concat({u32(48), text("room"), u32(0), u32(36), text("skip")}));
  reserved.insertChild(child(file, 20));
  reserved.write();
  EXPECT_EQ(Bytes(file.bytes().begin(), file.bytes().begin() + 40),
            concat({u32(48), text("room"), u32(0), u32(20), text("chld"), zeros(12), u32(16),
                    text("skip")}));
}

}  // namespace
}  // namespace norvik::kav::impl
