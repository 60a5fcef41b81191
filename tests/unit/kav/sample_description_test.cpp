#include "kav/sample_description.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <optional>

#include "tests/support/box_builders.h"
#include "tests/support/bytes.h"
#include "tests/support/expect_code.h"

namespace norvik::kav {
namespace {

using namespace quarrypack::test;

NorvikKavVideoSampleDescInfo pictures() {
  NorvikKavVideoSampleDescInfo info;
  info.handlerType = fourCc("vide");
  info.codecType = fourCc("avc1");
  info.width = 320;
  return info;
}

SampleDescription soundOf(std::uint16_t version, const Bytes& header) {
  NorvikKavAudioSampleDescInfo info;
  info.handlerType = fourCc("soun");
  info.codecType = fourCc("mp4a");
  info.version = version;
  return {info, header};
}

Bytes copyOf(std::span<const std::uint8_t> bytes) { return {bytes.begin(), bytes.end()}; }

TEST(SampleDescription, IsMadeOfARecordAndHeaderBytes) {
  NorvikKavVideoSampleDescInfo info = pictures();
  info.headerLength = 99;
  const Bytes header = box("avcC", zeros(7));
  const SampleDescription description(info, header);
  EXPECT_EQ(description.codecType(), fourCc("avc1"));
  EXPECT_EQ(description.info().headerLength, header.size());
  ASSERT_NE(description.video(), nullptr);
  EXPECT_EQ(description.video()->width, 320);
  EXPECT_EQ(description.audio(), nullptr);
  EXPECT_EQ(copyOf(description.headerBytes()), header);
  EXPECT_TRUE(SampleDescription(pictures(), {}).headerBytes().empty());
}

TEST(SampleDescription, RefusesARecordThatIsNotAsLongAsItsKind) {
  NorvikKavSampleDescInfo info;
  info.handlerType = fourCc("vide");
  EXPECT_CODE(unsupportedTrackType, SampleDescription(info, {}));
}

TEST(SampleDescription, SharesItsContentWithItsCopies) {
  std::optional<SampleDescription> first(SampleDescription(pictures(), box("avcC")));
  const SampleDescription copy = *first;
  const std::uint8_t* const bytes = first->headerBytes().data();
  first.reset();
  EXPECT_EQ(copy.headerBytes().data(), bytes);
  EXPECT_EQ(copyOf(copy.headerBytes()), box("avcC"));
}

TEST(SampleDescription, ShowsTheBoxesAmongItsHeaderBytes) {
  const SampleDescription description(
      pictures(),
      concat({box("avcC", text("some")), box("pasp", u32(4), u32(3)), box("avcC", text("more"))}));
  const BoxView::List boxes = description.boxes();
  ASSERT_EQ(boxes.size(), 3u);
  EXPECT_EQ(boxes[1].type(), fourCc("pasp"));
  EXPECT_EQ(boxes[1].offset(), 12u);
  ASSERT_TRUE(description.box(fourCc("avcC")));
  EXPECT_EQ(copyOf(description.box(fourCc("avcC"))->payload()), text("some"));
  EXPECT_FALSE(description.box(fourCc("colr")));
}

TEST(SampleDescription, SkipsTheFieldsThatAQuickTimeSoundEntryAdds) {
  const Bytes esds = box("esds", text("some"));
  EXPECT_TRUE(soundOf(0, esds).box(fourCc("esds")));
  const SampleDescription first = soundOf(1, concat({zeros(16), esds}));
  ASSERT_EQ(first.boxes().size(), 1u);
  EXPECT_EQ(first.boxes()[0].offset(), 16u);
  const SampleDescription second = soundOf(2, concat({u32(36 + 40), zeros(36), esds}));
  ASSERT_EQ(second.boxes().size(), 1u);
  EXPECT_EQ(second.boxes()[0].offset(), 40u);
}

TEST(SampleDescription, HasNoBoxesWhereTheFieldsAreCutOff) {
  EXPECT_TRUE(soundOf(1, zeros(15)).boxes().empty());
  EXPECT_TRUE(soundOf(2, u32(72)).boxes().empty());
  EXPECT_TRUE(soundOf(2, concat({u32(1000), zeros(40)})).boxes().empty());
}

TEST(SampleDescription, ReportsTheShapeOfItsPixels) {
  const SampleDescription wide(pictures(), box("pasp", u32(4), u32(3)));
  ASSERT_TRUE(wide.pixelAspect());
  EXPECT_EQ(wide.pixelAspect()->horizontalSpacing, 4u);
  EXPECT_EQ(wide.pixelAspect()->verticalSpacing, 3u);
  EXPECT_FALSE(SampleDescription(pictures(), {}).pixelAspect());
  EXPECT_FALSE(SampleDescription(pictures(), box("pasp", u32(4))).pixelAspect());
}

TEST(SampleDescription, IsEncryptedByItsCodeOrItsBoxes) {
  const auto isEncrypted = [](FourCc codec, const Bytes& header = {}) {
    NorvikKavVideoSampleDescInfo info = pictures();
    info.codecType = codec;
    return SampleDescription(info, header).isEncrypted();
  };
  for (const FourCc codec : {fourCc("encv"), fourCc("enca"), fourCc("enct"), fourCc("encs"),
                             fourCc("encm"), fourCc("drmi"), fourCc("drms")}) {
    EXPECT_TRUE(isEncrypted(codec)) << codec;
  }
  EXPECT_TRUE(isEncrypted(fourCc("avc1"), box("sinf", box("frma", text("avc1")))));
  EXPECT_FALSE(isEncrypted(fourCc("avc1"), box("avcC", zeros(7))));
}

}  // namespace
}  // namespace norvik::kav
