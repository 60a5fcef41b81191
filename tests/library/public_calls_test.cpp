#include <gtest/gtest.h>

#include <optional>
#include <vector>

#include "kav/error_code.h"
#include "kav/exception.h"
#include "kav/problem_handler.h"
#include "kav/reader.h"
#include "kav/writer.h"
#include "tests/support/box_builders.h"
#include "tests/support/box_walk.h"
#include "tests/support/media_samples.h"
#include "tests/support/memory_stream.h"
#include "tests/support/movie_builder.h"

namespace quarrypack::test {
namespace {

using namespace norvik::kav;

constexpr std::uint32_t kVideo = 0x76696465;
constexpr std::uint32_t kSound = 0x736F756E;
constexpr std::uint32_t kHint = 0x68696E74;

struct ReaderCloser {
  void operator()(NorvikKavReader* reader) const { closeReader(reader); }
};
using ReaderHandle = std::unique_ptr<NorvikKavReader, ReaderCloser>;

std::uint32_t codeOfOpening(const Bytes& file, ProblemHandler handler = {}) {
  NorvikKavReader* reader = nullptr;
  NorvikKavReaderOptions options;
  options.problemHandler = handler;
  const MemoryStreamPtr stream = MemoryStream::create(file);
  const std::uint32_t code = openReader(stream.get(), options, &reader);
  const ReaderHandle owned(reader);
  return code;
}

ReaderHandle opened(const Bytes& file) {
  NorvikKavReader* reader = nullptr;
  EXPECT_EQ(openReader(MemoryStream::create(file).get(), {}, &reader), 0u);
  return ReaderHandle(reader);
}

// Keeps what it was asked, and gives one answer to all.
struct Answers {
  int answer = 1;
  std::vector<Problem> asked;

  ProblemHandler handler() {
    return {[](void* context, Problem problem) {
              auto& self = *static_cast<Answers*>(context);
              self.asked.push_back(problem);
              return self.answer;
            },
            this};
  }
};

TEST(ProblemHandlerOption, IsAskedAboutOdditiesAndMayStopTheReading) {
  MovieBuilder odd({videoTrack()});
  odd.addInside("moov", box("mvex", claimingSize(100, fullBox("mehd", 0, 0, u32(0)))));
  for (const int answer : {0, 1}) {
    Answers answers{answer, {}};
    EXPECT_EQ(codeOfOpening(odd.build(), answers.handler()), answer == 0 ? 1028u : 0u);
    ASSERT_FALSE(answers.asked.empty());
    EXPECT_EQ(answers.asked.front(), Problem::childPastParent);
  }
  EXPECT_EQ(codeOfOpening(odd.build()), 0u);
}

TEST(ProblemHandlerOption, IsAskedAboutMediaDataPastTheEndAndAboutStrayBytes) {
  MovieBuilder movie({videoTrack()});
  movie.order = {"ftyp", "mdat", "moov"};
  MovieBuilder stray = movie;
  stray.change("ftyp", [](const Bytes& ftyp) {
    return boxAround("ftyp", concat({payloadOf(ftyp), zeros(2)}));
  });
  Answers answers{0, {}};
  EXPECT_EQ(codeOfOpening(stray.build(), answers.handler()), 1028u);
  EXPECT_EQ(answers.asked, std::vector<Problem>{Problem::trailingBytes});

  MovieBuilder cut({videoTrack()});
  Bytes file = cut.moovFirst().build();
  file.resize(file.size() - 5);
  answers.asked.clear();
  const MemoryStreamPtr stream = MemoryStream::create(file);
  NorvikKavReader* reader = nullptr;
  NorvikKavReaderOptions options;
  options.problemHandler = answers.handler();
  ASSERT_EQ(openReader(stream.get(), options, &reader), 0u);
  const ReaderHandle owned(reader);
  std::size_t length = 0;
  EXPECT_EQ(getMetadataLength(reader, &length), 1028u);
  EXPECT_EQ(answers.asked, std::vector<Problem>{Problem::mediaDataPastEnd});
}

// A description of one's own for each kind of track.
TEST(MadeDescriptions, AreWrittenAsTheyWereDescribed) {
  const MemoryStreamPtr stream = MemoryStream::create();
  NorvikKavWriterConfiguration configuration;
  configuration.timescale = 600;
  Writer writer(stream.get(), configuration);
  const Bytes header = avcConfiguration();
  NorvikKavVideoSampleDescInfo video;
  video.structSize = sizeof(video);
  video.headerLength = static_cast<std::uint32_t>(header.size());
  video.codecType = 0x61766331;  // "avc1"
  video.handlerType = kVideo;
  video.width = 320;
  video.height = 240;

  NorvikKavTrackConfiguration track;
  track.info.mediaTimescale = 25000;
  track.handlerType = kVideo;
  track.sampleCount = 1;
  track.descriptionCount = 1;
  track.descriptionLength = video.headerLength;
  writer.addTrack(track);
  NorvikKavSampleDescription* description = nullptr;
  ASSERT_EQ(makeSampleDescription(&video, header.data(), &description), 0u);
  writer.addSampleDescription(1, description);
  EXPECT_EQ(closeSampleDescription(description), 0u);
  writer.addSample({.trackNumber = 1, .flags = 1, .size = 3, .data = "abc"});
  writer.finish();
  // The writer itself names the compressor.
  const Bytes written = BoxWalk(stream->bytes()).track(1).entries.at(0);
  EXPECT_EQ(patched(written, 50, zeros(32)), patched(avcEntry(), 50, zeros(32)));
}

TEST(MadeDescriptions, AreRefusedWithoutBytesOrWithTheLengthOfAnotherRecord) {
  NorvikKavSampleDescription* description = nullptr;
  NorvikKavSampleDescInfo info;
  info.handlerType = kSound;
  EXPECT_EQ(makeSampleDescription(&info, nullptr, &description), 15u);
  info.handlerType = 0x74657874;  // "text"
  info.headerLength = 4;
  EXPECT_EQ(makeSampleDescription(&info, nullptr, &description), 20u);
  EXPECT_EQ(makeSampleDescription(nullptr, nullptr, &description), 20u);
  EXPECT_EQ(makeSampleDescription(&info, nullptr, nullptr), 20u);
  EXPECT_EQ(closeSampleDescription(nullptr), 20u);
  EXPECT_EQ(description, nullptr);
}

TEST(HintTracks, KeepWhatTheyGiveHintsFor) {
  for (const bool fragmented : {false, true}) {
    const MemoryStreamPtr stream = MemoryStream::create();
    NorvikKavWriterConfiguration configuration;
    configuration.timescale = 600;
    configuration.fragmented = fragmented;
    Writer writer(stream.get(), configuration);
    NorvikKavTrackConfiguration track;
    track.info.mediaTimescale = 1000;
    track.handlerType = kSound;
    track.sampleCount = 2;
    writer.addTrack(track);
    track.handlerType = kHint;
    track.hintedTracks = {1};
    track.descriptionCount = 2;
    track.descriptionLength = 4;
    writer.addTrack(track);
    NorvikKavZeltSampleDescInfo zelt;
    zelt.handlerType = kHint;
    zelt.codecType = 0x7A656C74;  // "zelt"
    zelt.headerLength = 4;
    NorvikKavSampleDescription* description = nullptr;
    const Bytes header = u32(7);
    ASSERT_EQ(makeSampleDescription(&zelt, header.data(), &description), 0u);
    writer.addSampleDescription(2, description);
    try {
      writer.addSampleDescription(2, description);
      ADD_FAILURE() << "taken";
    } catch (const Exception& exception) {
      EXPECT_EQ(exception.code(), 1542u);
    }
    closeSampleDescription(description);
    for (const std::uint32_t number : {1u, 2u}) {
      writer.addSample({.trackNumber = number, .flags = 1, .size = 3, .data = "abc"});
    }
    writer.finish();

    EXPECT_EQ(BoxWalk(stream->bytes()).payload("moov/trak[2]/tref/hint"), u32(1));
    const ReaderHandle reader = opened(stream->bytes());
    std::uint32_t count = 9;
    std::uint32_t id = 9;
    EXPECT_EQ(getHintedTrackCount(reader.get(), 1, &count), 0u);
    EXPECT_EQ(count, 1u);
    EXPECT_EQ(getHintedTracks(reader.get(), 1, &id), 0u);
    EXPECT_EQ(id, 1u);
    EXPECT_EQ(getHintedTrackCount(reader.get(), 0, &count), 0u);
    EXPECT_EQ(count, 0u);
    EXPECT_EQ(getHintedTracks(reader.get(), 0, &id), 0u);
    EXPECT_EQ(id, 1u);
    EXPECT_EQ(getHintedTrackCount(reader.get(), 2, &count), 20u);
    EXPECT_EQ(getHintedTracks(reader.get(), 2, &id), 20u);
  }
}

TEST(RegularWriter, RefusesUnknownTracksAndDescriptionsButNotOldTimes) {
  const MemoryStreamPtr stream = MemoryStream::create();
  NorvikKavWriterConfiguration configuration;
  configuration.timescale = 600;
  Writer writer(stream.get(), configuration);
  const auto codeOf = [&](const NorvikKavWriterSample& sample) -> std::uint32_t {
    try {
      writer.addSample(sample);
    } catch (const Exception& exception) {
      return exception.code();
    }
    return 0;
  };
  NorvikKavWriterSample sample{
      .trackNumber = 1, .decodingTime = 100, .flags = 1, .size = 3, .data = "abc"};
  EXPECT_EQ(codeOf(sample), 1280u);
  NorvikKavTrackConfiguration track;
  track.info.mediaTimescale = 1000;
  track.handlerType = kSound;
  track.sampleCount = 2;
  writer.addTrack(track);
  sample.descriptionIndex = 2;
  EXPECT_EQ(codeOf(sample), 1536u);
  sample.descriptionIndex = 0;
  EXPECT_EQ(codeOf(sample), 1536u);
  sample.descriptionIndex = 1;
  EXPECT_EQ(codeOf(sample), 0u);
  // Real files hold such times, and converting one must not fail for them.
  sample.decodingTime = 50;
  EXPECT_EQ(codeOf(sample), 0u);
  EXPECT_EQ(codeOf(sample), 17u);
  sample.data = nullptr;
  EXPECT_EQ(codeOf(sample), 20u);
}

}  // namespace
}  // namespace quarrypack::test
