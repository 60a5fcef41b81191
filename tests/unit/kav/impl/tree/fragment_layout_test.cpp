#include "kav/impl/tree/fragment_layout.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <stdexcept>
#include <vector>

#include "kav/impl/boxes/movie_boxes.h"
#include "tests/unit/kav/impl/fragment_fixtures.h"

namespace norvik::kav::impl {
namespace {

// A movie of two tracks and one fragment, worked out.
struct Resolved {
  explicit Resolved(const Bytes& fragment, const Bytes& defaults = concat({trex(1), trex(2)}))
      : movie({countingTrack(0), countingTrack(0)}, defaults, fragment) {
    RootBox& root = *movie.opened.track().root;
    for (std::size_t i = 0; found == nullptr; ++i) {
      Box* child = root.getChild(i);
      if (child == nullptr) throw std::logic_error("the file has no fragment");
      found = childAs<MoofBox>(*child);
    }
    resolveFragment(*found, *root.movie()->mvex());
  }

  const TrafBox& part(std::size_t number) const { return *found->parts()[number - 1]; }

  // Where the data of a part is counted from, itself counted from the fragment.
  std::int64_t base(std::size_t number) const {
    return static_cast<std::int64_t>(part(number).layout().dataBase - movie.start);
  }

  FragmentedMovie movie;
  MoofBox* found = nullptr;
};

TEST(FragmentLayout, CountsTheFirstPartFromTheFragmentAndOthersFromTheDataBefore) {
  const Resolved fragment(moof(1, traf(tfhd(1), trun(2, 0x201, u32(100), u32(3), u32(4))),
                               traf(tfhd(2), trun(1, 0x200, u32(5))), traf(tfhd(1))));
  EXPECT_EQ(fragment.base(1), 0);
  EXPECT_EQ(fragment.base(2), 107);
  EXPECT_EQ(fragment.base(3), 112);
}

TEST(FragmentLayout, CountsFromTheFragmentWhereTheHeaderSaysSo) {
  const Resolved fragment(
      moof(1, traf(tfhd(1), trun(1, 0x201, u32(100), u32(3))), traf(tfhd(2, 0x20000))));
  EXPECT_EQ(fragment.base(2), 0);
}

TEST(FragmentLayout, CountsFromTheGivenPositionBeforeAllElse) {
  const Resolved fragment(moof(1, traf(tfhd(1, 1, u64(0x100000000)), trun(1, 0x200, u32(9))),
                               traf(tfhd(2)), traf(tfhd(2, 0x20001, u64(77)))));
  EXPECT_EQ(fragment.part(1).layout().dataBase, 0x100000000u);
  EXPECT_EQ(fragment.part(2).layout().dataBase, 0x100000009u);
  EXPECT_EQ(fragment.part(3).layout().dataBase, 77u);
}

TEST(FragmentLayout, EndsTheDataOfAPartWithItsLastRun) {
  // The second run follows the first, the third has an offset of its own, before the base.
  const Resolved fragment(
      moof(1,
           traf(tfhd(1), trun(1, 0x201, u32(100), u32(3)), trun(1, 0x200, u32(4)),
                trun(1, 0x201, u32(0xFFFFFFF0), u32(5))),
           traf(tfhd(2))));
  EXPECT_EQ(fragment.base(2), -16 + 5);
}

TEST(FragmentLayout, TakesDefaultsFromTheHeaderOfThePartAndElseFromTheMovie) {
  const Resolved fragment(
      moof(1, traf(tfhd(1, 0x3A, u32(7), u32(70), u32(700), u32(7000)), trun(1)),
           traf(tfhd(2), trun(1)), traf(tfhd(2, 0x10, u32(701)), trun(1))),
      concat({trex(1, 3, 30, 300, 3000), trex(2, 4, 40, 400, 4000)}));
  const auto first = [&](std::size_t part) {
    return fragment.part(part).runs()[0]->cursor().current();
  };
  EXPECT_EQ(fragment.part(1).layout().descriptionIndex, 7u);
  EXPECT_EQ(first(1).duration, 70u);
  EXPECT_EQ(first(1).size, 700u);
  EXPECT_EQ(first(1).flags, 7000u);
  EXPECT_EQ(fragment.part(2).layout().descriptionIndex, 4u);
  EXPECT_EQ(first(2).duration, 40u);
  EXPECT_EQ(first(2).size, 400u);
  EXPECT_EQ(first(2).flags, 4000u);
  EXPECT_EQ(first(3).duration, 40u);
  EXPECT_EQ(first(3).size, 701u);
}

TEST(FragmentLayout, MarksPartsOfTracksWithoutMovieDefaults) {
  const Resolved fragment(moof(1, traf(tfhd(1)), traf(tfhd(2))), trex(1));
  EXPECT_TRUE(fragment.part(1).layout().hasMovieDefaults);
  EXPECT_FALSE(fragment.part(2).layout().hasMovieDefaults);
}

TEST(FragmentLayout, IsWorkedOutOnce) {
  Resolved fragment(moof(1, traf(tfhd(1))));
  EXPECT_TRUE(fragment.found->isResolved());
  fragment.found->parts()[0]->setLayout({.hasMovieDefaults = true, .dataBase = 5});
  resolveFragment(*fragment.found, *fragment.movie.opened.track().root->movie()->mvex());
  EXPECT_EQ(fragment.part(1).layout().dataBase, 5u);
}

TEST(FragmentLayout, CountsOffsetsForwardsAndBackwards) {
  EXPECT_EQ(offsetFrom(100, 20), 120u);
  EXPECT_EQ(offsetFrom(100, -20), 80u);
  EXPECT_EQ(offsetFrom(0, -1), ~std::uint64_t{0});
}

}  // namespace
}  // namespace norvik::kav::impl
