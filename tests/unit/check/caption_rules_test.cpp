#include "check/caption_rules.h"

#include <gtest/gtest.h>

#include "tests/unit/check/checked_script.h"

namespace quarrypack::check {
namespace {

using captions::Channel;
using test::Checked;
using test::checked;
using test::faultless;
using test::Field;
using test::filmOf;
using test::kPairTime;
using test::PairScript;
using test::Time;

TEST(CaptionRules, GiveTheCuesOfBothFields) {
  sources::CaptionPairs pairs = filmOf(faultless(), Field::one, 100);
  pairs.of(Field::two) =
      PairScript().code(0x15, 0x20).code(0x14, 0x70).text("dos").code(0x15, 0x2F).pairs();
  const Checked film(pairs, {});
  ASSERT_EQ(film.captions().channels.size(), 2u);
  EXPECT_EQ(film.captions().channels[0].channel, Channel::cc1);
  EXPECT_EQ(film.captions().channels[1].channel, Channel::cc3);
  EXPECT_EQ(textOf(film.captions().channels[1].cues.front()), "dos");
}

TEST(CaptionRules, GiveTheCuesThatTheDecoderGivesWithoutThem) {
  const PairScript script = PairScript().rollUp(2).text("one").at(50).carriageReturn().text("two");
  const Checked film(filmOf(script, Field::one, script.frame() + 99), {});
  EXPECT_EQ(film.captions().channels.front().cues, captions::test::decoded(script).cues());
}

TEST(CaptionRules, FindAFilmWithoutCaptions) {
  const Checked none({"pictures", {}, kPairTime * 9, {}}, {});
  EXPECT_EQ(none.ids(), std::vector<std::string_view>{kNoCaptions.id});
  EXPECT_EQ(checked(PairScript().padding(9)).count(kNoCaptions), 1u);
  EXPECT_EQ(checked(faultless()).count(kNoCaptions), 0u);
}

TEST(CaptionRules, MeasureTheCoverageOfThePictures) {
  const Checked film(filmOf(faultless(), Field::one, 500),
                     {Stretch{Time{0}, kPairTime * 104}, kPairTime});
  EXPECT_EQ(film.captions().coverage.firstCaption, kPairTime * 6);
  EXPECT_NEAR(film.captions().coverage.share, 54.0 / 104, 1e-9);
}

TEST(CaptionRules, MeasureTheCoverageOfACaptionFileToItsEnd) {
  const Checked film(filmOf(faultless(), Field::one, 108), {});
  EXPECT_NEAR(film.captions().coverage.share, 0.5, 1e-9);
}

TEST(CaptionRules, RefuseMoreTextThanAnyFilmHas) {
  PairScript page;
  page.popOn();
  for (const unsigned first : {0x11u, 0x12u, 0x13u, 0x14u, 0x15u, 0x16u, 0x17u}) {
    for (const unsigned second : {0x40u, 0x60u}) {
      page.code(first, second).text(std::string(32, 'x'));
    }
  }
  for (int i = 0; i < 9'000; ++i) page.show().padding().show().padding();
  EXPECT_THROW(checked(page), sources::SourceError);
}

}  // namespace
}  // namespace quarrypack::check
