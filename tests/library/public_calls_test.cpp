#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <type_traits>
#include <vector>

#include "kav/error_code.h"
#include "kav/exception.h"
#include "kav/problem_handler.h"
#include "kav/reader.h"
#include "kav/writer.h"
#include "tests/library/remux.h"
#include "tests/support/box_builders.h"
#include "tests/support/box_walk.h"
#include "tests/support/expect_code.h"
#include "tests/support/media_samples.h"
#include "tests/support/memory_stream.h"
#include "tests/support/movie_builder.h"
#include "tests/support/problem_answers.h"

namespace quarrypack::test {
namespace {

using namespace norvik::kav;

constexpr std::uint32_t kVideo = 0x76696465;
constexpr std::uint32_t kSound = 0x736F756E;
constexpr std::uint32_t kHint = 0x68696E74;
constexpr std::uint32_t kCaptions = 0x636C6370;

struct ReaderCloser {
  void operator()(NorvikKavReader* reader) const { closeReader(reader); }
};
using ReaderHandle = std::unique_ptr<NorvikKavReader, ReaderCloser>;

ErrorCode codeOfOpening(const Bytes& file, ProblemHandler handler = {}) {
  NorvikKavReader* reader = nullptr;
  NorvikKavReaderOptions options;
  options.problemHandler = handler;
  const MemoryStreamPtr stream = MemoryStream::create(file);
  const std::uint32_t code = openReader(stream.get(), options, &reader);
  const ReaderHandle owned(reader);
  return static_cast<ErrorCode>(code);
}

ReaderHandle opened(const Bytes& file) {
  NorvikKavReader* reader = nullptr;
  EXPECT_RESULT(success, openReader(MemoryStream::create(file).get(), {}, &reader));
  return ReaderHandle(reader);
}

TEST(ProblemHandlerOption, IsAskedAboutOdditiesAndMayStopTheReading) {
  MovieBuilder odd({videoTrack()});
  odd.addInside("moov", box("mvex", claimingSize(100, fullBox("mehd", 0, 0, u32(0)))));
  for (const int answer : {0, 1}) {
    ProblemAnswers answers{answer};
    EXPECT_EQ(codeOfOpening(odd.build(), answers.handler()),
              answer == 0 ? ErrorCode::stoppedByHandler : ErrorCode::success);
    ASSERT_FALSE(answers.asked.empty());
    EXPECT_EQ(answers.asked.front(), Problem::childPastParent);
  }
  EXPECT_EQ(codeOfOpening(odd.build()), ErrorCode::success);
}

TEST(ProblemHandlerOption, IsAskedAboutMediaDataPastTheEndAndAboutStrayBytes) {
  MovieBuilder movie({videoTrack()});
  movie.order = {"ftyp", "mdat", "moov"};
  MovieBuilder stray = movie;
  stray.change("ftyp", [](const Bytes& ftyp) {
    return boxAround("ftyp", concat({payloadOf(ftyp), zeros(2)}));
  });
  ProblemAnswers answers{0};
  EXPECT_EQ(codeOfOpening(stray.build(), answers.handler()), ErrorCode::stoppedByHandler);
  EXPECT_EQ(answers.asked, std::vector<Problem>{Problem::trailingBytes});

  MovieBuilder cut({videoTrack()});
  Bytes file = cut.moovFirst().build();
  file.resize(file.size() - 5);
  answers.asked.clear();
  const MemoryStreamPtr stream = MemoryStream::create(file);
  NorvikKavReader* reader = nullptr;
  NorvikKavReaderOptions options;
  options.problemHandler = answers.handler();
  ASSERT_RESULT(success, openReader(stream.get(), options, &reader));
  const ReaderHandle owned(reader);
  std::size_t length = 0;
  EXPECT_RESULT(stoppedByHandler, getMetadataLength(reader, &length));
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
  ASSERT_RESULT(success, makeSampleDescription(&video, header.data(), &description));
  writer.addSampleDescription(1, description);
  EXPECT_RESULT(success, closeSampleDescription(description));
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
  EXPECT_RESULT(unsupportedTrackType, makeSampleDescription(&info, nullptr, &description));
  info.handlerType = 0x74657874;  // "text"
  info.headerLength = 4;
  EXPECT_RESULT(missingArgument, makeSampleDescription(&info, nullptr, &description));
  EXPECT_RESULT(missingArgument, makeSampleDescription(nullptr, nullptr, &description));
  EXPECT_RESULT(missingArgument, makeSampleDescription(&info, nullptr, nullptr));
  EXPECT_RESULT(missingArgument, closeSampleDescription(nullptr));
  EXPECT_EQ(description, nullptr);
}

// A description that was read, with its header bytes.
struct ReadDescription {
  const NorvikKavSampleDescription* handle = nullptr;
  Bytes header;

  ReadDescription(const ReaderHandle& reader, std::uint32_t track) {
    EXPECT_RESULT(success, getSampleDescriptionHandle(reader.get(), track, 1, &handle));
    NorvikKavSampleDescInfo info;
    EXPECT_RESULT(success, getSampleDescriptionInfo(handle, &info));
    header.resize(info.headerLength);
    header.reserve(1);  // also no bytes have a place
    EXPECT_RESULT(success, getSampleDescription(handle, header.data()));
  }
};

// The base of a record has its own length, whatever follows it in the record of its kind. It lies
// on the heap here, so that the address sanitizer sees a byte read past it.
TEST(ReadDescriptions, AreMadeAgainFromTheirBaseOnlyWhereItIsTheWholeRecord) {
  const ReaderHandle reader =
      opened(MovieBuilder({videoTrack(), soundTrack(), captionTrack()}).build());
  const std::uint32_t expected[] = {15, 15, 0};
  for (std::uint32_t track = 0; track < 3; ++track) {
    const ReadDescription read(reader, track);
    const auto info = std::make_unique<NorvikKavSampleDescInfo>();
    ASSERT_RESULT(success, getSampleDescriptionInfo(read.handle, info.get()));
    NorvikKavSampleDescription* made = nullptr;
    EXPECT_EQ(makeSampleDescription(info.get(), read.header.data(), &made), expected[track]);
    EXPECT_EQ(info->structSize, sizeof(NorvikKavSampleDescInfo));
    if (made != nullptr) closeSampleDescription(made);
  }
}

// The entries of a movie with one track for each description, and a sample in each.
std::vector<Bytes> writtenEntries(
    const std::vector<const NorvikKavSampleDescription*>& descriptions,
    const std::vector<std::uint32_t>& handlers) {
  const MemoryStreamPtr stream = MemoryStream::create();
  NorvikKavWriterConfiguration configuration;
  configuration.timescale = 600;
  Writer writer(stream.get(), configuration);
  NorvikKavTrackConfiguration track;
  track.info.mediaTimescale = 1000;
  track.sampleCount = 1;
  for (std::uint32_t i = 0; i < descriptions.size(); ++i) {
    track.handlerType = handlers[i];
    writer.addTrack(track);
    writer.addSampleDescription(i + 1, descriptions[i]);
  }
  for (std::uint32_t i = 0; i < descriptions.size(); ++i) {
    writer.addSample({.trackNumber = i + 1, .flags = 1, .size = 3, .data = "abc"});
  }
  writer.finish();
  std::vector<Bytes> entries;
  for (std::size_t i = 1; i <= descriptions.size(); ++i) {
    entries.push_back(BoxWalk(stream->bytes()).track(i).entries.at(0));
  }
  return entries;
}

TEST(ReadDescriptions, AreMadeAgainFromTheWholeRecordOfTheirKind) {
  ReaderHandle reader = opened(MovieBuilder({videoTrack(), soundTrack(), captionTrack()}).build());
  const ReadDescription video(reader, 0);
  const ReadDescription sound(reader, 1);
  const ReadDescription captions(reader, 2);
  NorvikKavVideoSampleDescInfo videoInfo;
  NorvikKavAudioSampleDescInfo soundInfo;
  ASSERT_RESULT(success, getVideoSampleDescriptionInfo(video.handle, &videoInfo));
  ASSERT_RESULT(success, getAudioSampleDescriptionInfo(sound.handle, &soundInfo));
  EXPECT_EQ(videoInfo.structSize, sizeof(videoInfo));
  EXPECT_EQ(videoInfo.width, 320u);
  EXPECT_EQ(videoInfo.height, 240u);
  EXPECT_EQ(soundInfo.structSize, sizeof(soundInfo));
  EXPECT_EQ(soundInfo.channelCount, 2u);
  EXPECT_RESULT(unsupportedTrackType, getVideoSampleDescriptionInfo(sound.handle, &videoInfo));
  EXPECT_RESULT(unsupportedTrackType, getVideoSampleDescriptionInfo(captions.handle, &videoInfo));
  EXPECT_RESULT(unsupportedTrackType, getAudioSampleDescriptionInfo(video.handle, &soundInfo));

  NorvikKavSampleDescription* madeVideo = nullptr;
  NorvikKavSampleDescription* madeSound = nullptr;
  ASSERT_RESULT(success, makeSampleDescription(&videoInfo, video.header.data(), &madeVideo));
  ASSERT_RESULT(success, makeSampleDescription(&soundInfo, sound.header.data(), &madeSound));
  EXPECT_EQ(writtenEntries({madeVideo, madeSound}, {kVideo, kSound}),
            writtenEntries({video.handle, sound.handle}, {kVideo, kSound}));
  closeSampleDescription(madeVideo);
  closeSampleDescription(madeSound);
}

TEST(CopiedDescriptions, HoldEverythingAndOutliveTheReader) {
  ReaderHandle reader = opened(MovieBuilder({videoTrack(), soundTrack(), captionTrack()}).build());
  std::vector<const NorvikKavSampleDescription*> read;
  std::vector<const NorvikKavSampleDescription*> copies;
  std::vector<NorvikKavSampleDescription*> owned;
  for (std::uint32_t track = 0; track < 3; ++track) {
    read.push_back(ReadDescription(reader, track).handle);
    NorvikKavSampleDescription* copy = nullptr;
    ASSERT_RESULT(success, copySampleDescription(read.back(), &copy));
    owned.push_back(copy);
    copies.push_back(copy);
  }
  const std::vector<std::uint32_t> handlers = {kVideo, kSound, kCaptions};
  const std::vector<Bytes> expected = writtenEntries(read, handlers);
  reader.reset();
  EXPECT_EQ(writtenEntries(copies, handlers), expected);
  for (NorvikKavSampleDescription* copy : owned)
    EXPECT_RESULT(success, closeSampleDescription(copy));
}

// What was not announced finds its room while the movie has no media yet.
TEST(AddedDescriptions, MayBeMoreAndLongerThanAnnounced) {
  for (const bool fragmented : {false, true}) {
    const MemoryStreamPtr stream = MemoryStream::create();
    NorvikKavWriterConfiguration configuration;
    configuration.timescale = 600;
    configuration.fragmented = fragmented;
    Writer writer(stream.get(), configuration);
    NorvikKavTrackConfiguration track;
    track.info.mediaTimescale = 1000;
    track.handlerType = kCaptions;
    track.sampleCount = 3;
    track.descriptionCount = 1;
    writer.addTrack(track);
    writer.addTrack(track);
    const Bytes header = text("longer than announced");
    NorvikKavSampleDescInfo info;
    info.handlerType = kCaptions;
    info.codecType = 0x63363038;  // "c608"
    info.headerLength = static_cast<std::uint32_t>(header.size());
    NorvikKavSampleDescription* description = nullptr;
    ASSERT_RESULT(success, makeSampleDescription(&info, header.data(), &description));
    writer.addTrack(track);
    for (const std::uint32_t number : {1u, 1u, 1u, 2u, 3u}) {
      writer.addSampleDescription(number, description);
    }
    closeSampleDescription(description);
    for (std::uint32_t i = 0; i < 9; ++i) {
      const std::string bytes = "sample" + std::to_string(i);
      writer.addSample({.trackNumber = i % 3 + 1,
                        .descriptionIndex = i % 3 == 0 ? i / 3 + 1 : 1,
                        .decodingTime = i / 3 * 10,
                        .flags = 1,
                        .size = static_cast<std::uint32_t>(bytes.size()),
                        .data = bytes.data()});
    }
    writer.finish();

    const Bytes entry = boxAround("c608", concat({zeros(6), u16(1), header}));
    const BoxWalk walk(stream->bytes());
    EXPECT_EQ(walk.track(1).entries, (std::vector<Bytes>{entry, entry, entry}));
    EXPECT_EQ(walk.track(2).entries, std::vector<Bytes>{entry});
    EXPECT_EQ(walk.track(3).entries, std::vector<Bytes>{entry});
    const auto tracks = readTracks(*stream);
    for (std::uint32_t i = 0; i < 9; ++i) {
      EXPECT_EQ(tracks[i % 3].at(i / 3).bytes, text("sample" + std::to_string(i)));
    }
    EXPECT_EQ(tracks[0].at(2).descriptionIndex, 3u);
  }
}

// A record that is longer than the base is not cut by a careless copy.
static_assert(!std::is_constructible_v<NorvikKavSampleDescInfo, NorvikKavVideoSampleDescInfo&>);
static_assert(!std::is_assignable_v<NorvikKavSampleDescInfo&, NorvikKavAudioSampleDescInfo&>);
static_assert(std::is_trivially_copyable_v<NorvikKavSampleDescInfo>);
static_assert(std::is_trivially_copyable_v<NorvikKavVideoSampleDescInfo>);

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
    ASSERT_RESULT(success, makeSampleDescription(&zelt, header.data(), &description));
    writer.addSampleDescription(2, description);
    EXPECT_CODE(secondZeltEntry, writer.addSampleDescription(2, description));
    closeSampleDescription(description);
    for (const std::uint32_t number : {1u, 2u}) {
      writer.addSample({.trackNumber = number, .flags = 1, .size = 3, .data = "abc"});
    }
    writer.finish();

    EXPECT_EQ(BoxWalk(stream->bytes()).payload("moov/trak[2]/tref/hint"), u32(1));
    const ReaderHandle reader = opened(stream->bytes());
    std::uint32_t count = 9;
    std::uint32_t id = 9;
    EXPECT_RESULT(success, getHintedTrackCount(reader.get(), 1, &count));
    EXPECT_EQ(count, 1u);
    EXPECT_RESULT(success, getHintedTracks(reader.get(), 1, &id));
    EXPECT_EQ(id, 1u);
    EXPECT_RESULT(success, getHintedTrackCount(reader.get(), 0, &count));
    EXPECT_EQ(count, 0u);
    EXPECT_RESULT(success, getHintedTracks(reader.get(), 0, &id));
    EXPECT_EQ(id, 1u);
    EXPECT_RESULT(missingArgument, getHintedTrackCount(reader.get(), 2, &count));
    EXPECT_RESULT(missingArgument, getHintedTracks(reader.get(), 2, &id));
  }
}

TEST(RegularWriter, RefusesUnknownTracksAndDescriptionsButNotOldTimes) {
  const MemoryStreamPtr stream = MemoryStream::create();
  NorvikKavWriterConfiguration configuration;
  configuration.timescale = 600;
  Writer writer(stream.get(), configuration);
  SampleToWrite sample{.trackNumber = 1, .decodingTime = 100, .flags = 1, .size = 3, .data = "abc"};
  EXPECT_CODE(unknownTrack, writer.addSample(sample));
  NorvikKavTrackConfiguration track;
  track.info.mediaTimescale = 1000;
  track.handlerType = kSound;
  track.sampleCount = 2;
  writer.addTrack(track);
  sample.descriptionIndex = 2;
  EXPECT_CODE(unknownDescription, writer.addSample(sample));
  sample.descriptionIndex = 0;
  EXPECT_CODE(unknownDescription, writer.addSample(sample));
  sample.descriptionIndex = 1;
  EXPECT_CODE(success, writer.addSample(sample));
  // Real files hold such times, and converting one must not fail for them.
  sample.decodingTime = 50;
  EXPECT_CODE(success, writer.addSample(sample));
  EXPECT_CODE(sampleTableFull, writer.addSample(sample));
  sample.data = nullptr;
  EXPECT_CODE(missingArgument, writer.addSample(sample));
}

}  // namespace
}  // namespace quarrypack::test
