#include "kav/impl/descriptions/sample_descriptor.h"

#include <gtest/gtest.h>

#include <memory>

#include "tests/support/bytes.h"
#include "tests/support/expect_code.h"

namespace norvik::kav::impl {
namespace {

using quarrypack::test::Bytes;

constexpr FourCc kVideo = fourCc("vide");
constexpr FourCc kSound = fourCc("soun");
constexpr FourCc kHint = fourCc("hint");
constexpr FourCc kCaptions = fourCc("clcp");

Bytes headerBytesOf(const SampleDescriptor& descriptor) {
  return {descriptor.headerBytes().begin(), descriptor.headerBytes().end()};
}

TEST(SampleDescriptor, NeedsBytesForALength) {
  EXPECT_CODE(missingArgument, GenericSampleDescriptor(4, fourCc("c608"), kCaptions, nullptr));
  EXPECT_CODE(missingArgument, VideoSampleDescriptor(1, fourCc("avc1"), kVideo, nullptr));
  EXPECT_NO_THROW(GenericSampleDescriptor(0, fourCc("c608"), kCaptions, nullptr));
}

TEST(SampleDescriptor, BeginsWithTheValuesGivenAndTwoZeros) {
  const Bytes bytes = {1, 2, 3};
  const AudioSampleDescriptor descriptor(3, fourCc("sowt"), kSound, bytes.data());
  const NorvikKavAudioSampleDescInfo& info = descriptor.info();
  EXPECT_EQ(info.structSize, sizeof(NorvikKavAudioSampleDescInfo));
  EXPECT_EQ(info.headerLength, 3u);
  EXPECT_EQ(info.codecType, fourCc("sowt"));
  EXPECT_EQ(info.handlerType, kSound);
  EXPECT_EQ(info.dataReferenceIndex, 0u);
  EXPECT_EQ(info.reserved, 0u);
  EXPECT_EQ(headerBytesOf(descriptor), bytes);
}

TEST(SampleDescriptor, CopiesItsValuesAndItsBytes) {
  Bytes bytes = {1, 2, 3};
  VideoSampleDescriptor descriptor(3, fourCc("avc1"), kVideo, bytes.data());
  descriptor.record().width = 640;
  descriptor.setDataReferenceIndex(7);
  const std::unique_ptr<SampleDescriptor> copy = descriptor.clone();
  descriptor.setHeaderBytes({9});
  bytes[0] = 8;
  const auto& info = dynamic_cast<VideoSampleDescriptor&>(*copy).info();
  EXPECT_EQ(info.width, 640);
  EXPECT_EQ(info.headerLength, 3u);
  EXPECT_EQ(info.dataReferenceIndex, 7u);
  EXPECT_EQ(headerBytesOf(*copy), (Bytes{1, 2, 3}));
  EXPECT_EQ(descriptor.info().headerLength, 1u);
}

TEST(SampleDescriptor, IsMadeOfTheKindOfItsRecord) {
  NorvikKavVideoSampleDescInfo video;
  video.structSize = sizeof(video);
  video.handlerType = kVideo;
  video.height = 360;
  const auto made = makeDescriptor(video, {});
  ASSERT_NE(dynamic_cast<VideoSampleDescriptor*>(made.get()), nullptr);
  EXPECT_EQ(static_cast<VideoSampleDescriptor&>(*made).info().height, 360);

  NorvikKavAudioSampleDescInfo sound;
  sound.structSize = sizeof(sound);
  sound.handlerType = kSound;
  EXPECT_NE(dynamic_cast<AudioSampleDescriptor*>(makeDescriptor(sound, {}).get()), nullptr);

  NorvikKavZeltSampleDescInfo hint;
  hint.handlerType = kHint;
  EXPECT_NE(dynamic_cast<ZeltSampleDescriptor*>(makeDescriptor(hint, {}).get()), nullptr);

  const Bytes bytes = {5};
  NorvikKavSampleDescInfo other;
  other.handlerType = kCaptions;
  const auto generic = makeDescriptor(other, bytes);
  EXPECT_NE(dynamic_cast<GenericSampleDescriptor*>(generic.get()), nullptr);
  EXPECT_EQ(headerBytesOf(*generic), bytes);
}

TEST(SampleDescriptor, RefusesARecordThatIsNotAsLongAsItsKind) {
  NorvikKavSampleDescInfo info;
  for (const FourCc handler : {kVideo, kSound}) {
    info.handlerType = handler;
    EXPECT_CODE(unsupportedTrackType, makeDescriptor(info, {}));
  }
  info.handlerType = kCaptions;
  info.structSize = 0;
  EXPECT_CODE(unsupportedTrackType, makeDescriptor(info, {}));
}

}  // namespace
}  // namespace norvik::kav::impl
