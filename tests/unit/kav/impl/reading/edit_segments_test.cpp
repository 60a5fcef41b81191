#include "kav/impl/reading/edit_segments.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <tuple>
#include <vector>

#include "tests/support/box_builders.h"
#include "tests/support/film.h"

namespace norvik::kav::impl {
namespace {

using quarrypack::test::Film;

using quarrypack::test::Bytes;
using quarrypack::test::concat;
using quarrypack::test::fullBox;
using quarrypack::test::u32;
using quarrypack::test::u64;

using Column = std::vector<std::uint64_t>;

// {duration, media time, presentation start}
using Row = std::tuple<std::uint64_t, std::uint64_t, std::uint64_t>;

std::vector<Row> rowsOf(const std::vector<EditSegment>& segments) {
  std::vector<Row> rows;
  for (const EditSegment& segment : segments) {
    rows.emplace_back(segment.duration, segment.mediaTime, segment.presentationStart);
  }
  return rows;
}

Bytes edit(std::uint32_t duration, std::uint32_t mediaTime) {
  return concat({u32(duration), u32(mediaTime), u32(0x10000)});
}

Bytes editList(const std::vector<Bytes>& edits) {
  return fullBox("elst", 0, 0, u32(edits.size()), concat(edits));
}

constexpr std::uint32_t kEmpty = 0xFFFFFFFF;

TEST(EditSegments, FollowOneAnother) {
  Film film(editList({edit(60, kEmpty), edit(278, 0), edit(10, 500)}));
  ElstBox& edits = film.box<ElstBox>();
  const auto segments = makeEditSegments(edits, 0);
  EXPECT_EQ(rowsOf(segments), (std::vector<Row>{{60, kNoMedia, 0}, {278, 0, 60}, {10, 500, 338}}));
  EXPECT_TRUE(segments[0].isEmpty());
  EXPECT_FALSE(segments[1].isEmpty());
}

TEST(EditSegments, TakeTheFirstCompositionOffsetOffEveryMediaTime) {
  Film film(editList({edit(5, 500), edit(5, kEmpty), edit(5, 60), edit(5, 100)}));
  ElstBox& edits = film.box<ElstBox>();
  EXPECT_EQ(rowsOf(makeEditSegments(edits, 100)),
            (std::vector<Row>{{5, 400, 0}, {5, kNoMedia, 5}, {5, 0, 10}, {5, 0, 15}}));
}

TEST(EditSegments, TakeNothingOffForANegativeOffset) {
  Film film(editList({edit(5, 0x7FFFFFFF)}));
  ElstBox& edits = film.box<ElstBox>();
  EXPECT_EQ(makeEditSegments(edits, 0x80000000)[0].mediaTime, 0x7FFFFFFFu);
  EXPECT_EQ(makeEditSegments(edits, 0xFFFFFFFF)[0].mediaTime, 0x7FFFFFFFu);
  EXPECT_EQ(makeEditSegments(edits, 0x7FFFFFFF)[0].mediaTime, 0u);
  EXPECT_EQ(editShift(edits, 0x80000000), 0u);
  EXPECT_EQ(editShift(edits, 0x7FFFFFFF), 0x7FFFFFFFu);
}

Column endDelaysOf(const std::vector<EditSegment>& segments) {
  Column delays;
  for (const EditSegment& segment : segments) delays.push_back(segment.endDelay);
  return delays;
}

TEST(EditSegments, KeepTheEndOfTheLastMediaInItsPlace) {
  Film film(editList({edit(5, 500), edit(5, kEmpty), edit(5, 60)}));
  ElstBox& edits = film.box<ElstBox>();
  EXPECT_EQ(endDelaysOf(makeEditSegments(edits, 100)), (Column{0, 0, 60}));
  EXPECT_EQ(endDelaysOf(makeEditSegments(edits, 40)), (Column{0, 0, 40}));
  EXPECT_EQ(endDelaysOf(makeEditSegments(edits, 0)), (Column{0, 0, 0}));
  EXPECT_EQ(endDelaysOf(makeEditSegments(edits, 0x80000000)), (Column{0, 0, 0}));
  Film filmEmptyAtTheEnd(editList({edit(5, 500), edit(5, 200), edit(5, kEmpty)}));
  ElstBox& emptyAtTheEnd = filmEmptyAtTheEnd.box<ElstBox>();
  EXPECT_EQ(endDelaysOf(makeEditSegments(emptyAtTheEnd, 100)), (Column{0, 100, 0}));
  Film filmEmpty(editList({edit(5, kEmpty)}));
  ElstBox& empty = filmEmpty.box<ElstBox>();
  EXPECT_EQ(endDelaysOf(makeEditSegments(empty, 100)), (Column{0}));
}

TEST(EditSegments, BeginAgainAtZeroAfterTheLargestTime) {
  Film film(fullBox("elst", 1, 0, u32(2), u64(~std::uint64_t{0} - 1), u64(0), u32(0x10000), u64(9),
                    u64(0), u32(0x10000)));
  ElstBox& edits = film.box<ElstBox>();
  const auto segments = makeEditSegments(edits, 0);
  EXPECT_EQ(segments[1].presentationStart, ~std::uint64_t{0} - 1);
  Film filmThree(fullBox("elst", 1, 0, u32(3), u64(~std::uint64_t{0}), u64(0), u32(0x10000), u64(3),
                         u64(0), u32(0x10000), u64(1), u64(0), u32(0x10000)));
  ElstBox& three = filmThree.box<ElstBox>();
  EXPECT_EQ(makeEditSegments(three, 0)[2].presentationStart, 2u);
}

TEST(EditShift, IsWhatTheFirstMediaTimeLoses) {
  Film film(editList({edit(60, kEmpty), edit(5, 30), edit(5, 500)}));
  ElstBox& edits = film.box<ElstBox>();
  EXPECT_EQ(editShift(edits, 100), 30u);
  EXPECT_EQ(editShift(edits, 20), 20u);
  EXPECT_EQ(editShift(edits, 0), 0u);
}

TEST(EditShift, IsNothingWithoutMedia) {
  Film film(editList({edit(60, kEmpty)}));
  ElstBox& edits = film.box<ElstBox>();
  EXPECT_EQ(editShift(edits, 100), 0u);
}

TEST(ShiftedMedia, IsAnyMediaTimeButZero) {
  EXPECT_FALSE(hasShiftedMedia(Film(editList({})).box<ElstBox>()));
  EXPECT_FALSE(hasShiftedMedia(Film(editList({edit(9, kEmpty), edit(9, 0)})).box<ElstBox>()));
  EXPECT_TRUE(hasShiftedMedia(Film(editList({edit(9, 0), edit(9, 1)})).box<ElstBox>()));
}

}  // namespace
}  // namespace norvik::kav::impl
