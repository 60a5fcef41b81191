#include "kav/impl/boxes/movie_boxes.h"

#include "kav/impl/boxes/track_boxes.h"
#include "tests/unit/kav/impl/box_test_tools.h"

namespace norvik::kav::impl {
namespace {

TEST(MvhdBox, BuiltTakesItsValuesFromTheParameters) {
  Film file;
  MovieParameters parameters;
  parameters.creationTime = kLeapDayDate;
  parameters.modificationTime = kSecondLaterDate;
  parameters.timescale = 90000;
  parameters.duration = 0x123456789;
  parameters.rate = 1;
  parameters.volume = 1;
  MvhdBox box(parameters, file.stream);
  EXPECT_EQ(box.getSize(), 120u);
  EXPECT_EQ(file.written(box),
            fullBox("mvhd", 1, 0, u64(kLeapDay), u64(kLeapDay + 1), u32(90000), u64(0x123456789),
                    u32(0x10000), u16(0x100), zeros(10), unityMatrix(), zeros(24), u32(1)));
  box.setDuration(5);
  box.setNextTrackId(3);
  const Bytes& updated = file.written(box);
  EXPECT_EQ(loadU64(updated.data() + 32), 5u);
  EXPECT_EQ(loadU32(updated.data() + 116), 3u);
}

TEST(TrexBox, BuiltHasItsTrack) {
  Film file;
  TrexBox trex(9, file.stream);
  EXPECT_EQ(trex.getSize(), 32u);
  EXPECT_EQ(file.written(trex), fullBox("trex", 0, 0, u32List({9, 1, 1, 1, 1})));
}

TEST(TrexBox, ClaimsItsFixedPartOnly) {
  Film file(largeForm(fullBox("trex", 0, 0, u32List({5, 1, 1, 1, 1}), box("abcd"))));
  const TrexBox& trex = file.box<TrexBox>();
  EXPECT_EQ(trex.getSize(), 40u);
  ASSERT_EQ(trex.children().size(), 1u);
  EXPECT_EQ(trex.children()[0]->type(), fourCc("abcd"));
}

TEST(MvexBox, BuiltHoldsItsDuration) {
  Film file;
  MvexBox mvex(3000, file.stream);
  EXPECT_EQ(mvex.getCurrentSize(), 28u);
  addNewChild<TrexBox>(mvex, 1u, file.stream);
  EXPECT_EQ(mvex.findTrex(1).record().trackId, 1u);
  EXPECT_EQ(file.written(mvex), box("mvex", fullBox("mehd", 1, 0, u64(3000)),
                                    fullBox("trex", 0, 0, u32List({1, 1, 1, 1, 1}))));
  ASSERT_NE(mvex.mehd(), nullptr);
  mvex.mehd()->setFragmentDuration(4000);
  EXPECT_EQ(loadU64(file.written(mvex).data() + 20), 4000u);
}

TEST(MvexBox, FindsTheFirstDefaultsOfATrack) {
  const auto trex = [](std::uint32_t track, std::uint32_t duration) {
    return fullBox("trex", 0, 0, u32List({track, 1, duration, 0, 0}));
  };
  Film file(box("mvex", fullBox("mehd", 0, 0, u32(8)), trex(2, 20), trex(1, 10), trex(2, 30)));
  const MvexBox& mvex = file.box<MvexBox>();
  EXPECT_EQ(mvex.findTrex(2).record().duration, 20u);
  EXPECT_EQ(mvex.findTrex(1).record().duration, 10u);
  EXPECT_CODE(noTrackDefaults, mvex.findTrex(3));
  EXPECT_EQ(mvex.lookUpTrex(2), &mvex.findTrex(2));
  EXPECT_EQ(mvex.lookUpTrex(3), nullptr);
  ASSERT_NE(mvex.mehd(), nullptr);
  EXPECT_EQ(mvex.mehd()->record().fragmentDuration, 8u);
}

TEST(MvexBox, OfRepeatedDurationsTheLastCounts) {
  Film file(box("mvex", fullBox("mehd", 0, 0, u32(8)), fullBox("mehd", 1, 0, u64(9))));
  EXPECT_EQ(file.box<MvexBox>().mehd()->record().fragmentDuration, 9u);
}

TEST(MvexBox, IsValidWhateverItHolds) {
  EXPECT_CODE(success, Film(box("mvex")).box());
  EXPECT_CODE(
      success,
      Film(box("mvex", fullBox("mehd", 0, 0, u32(8)), fullBox("mehd", 0, 0, u32(8)))).box());
}

TEST(MoovBox, RemembersItsTracksInOrder) {
  Film file(box("moov", mvhd0(), trak(), box("udta"), trak(), box("mvex")));
  const MoovBox& movie = file.box<MoovBox>();
  EXPECT_NE(movie.mvhd(), nullptr);
  EXPECT_NE(movie.mvex(), nullptr);
  ASSERT_EQ(movie.tracks().size(), 2u);
  EXPECT_EQ(movie.tracks()[0], movie.children()[1].get());
  EXPECT_EQ(movie.tracks()[1], movie.children()[3].get());
}

}  // namespace
}  // namespace norvik::kav::impl
