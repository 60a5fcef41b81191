#include "kav/writer.h"
#include "kav/reader.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/box_walk.h"
#include "tests/support/expect_code.h"
#include "tests/support/media_samples.h"
#include "tests/support/memory_stream.h"
#include "tests/support/movie_builder.h"

namespace norvik::kav {
namespace {

using namespace quarrypack::test;

// A movie to take descriptions from.
struct Source {
  Source() : stream(MemoryStream::create(MovieBuilder({videoTrack({.count = 1})}).build())) {
    openReader(stream.get(), {}, &reader);
    getSampleDescriptionHandle(reader, 0, 1, &description);
  }
  ~Source() { closeReader(reader); }

  MemoryStreamPtr stream;
  NorvikKavReader* reader = nullptr;
  const NorvikKavSampleDescription* description = nullptr;
};

NorvikKavWriterConfiguration movieConfiguration(std::uint32_t timescale = 600) {
  NorvikKavWriterConfiguration movie;
  movie.timescale = timescale;
  return movie;
}

NorvikKavTrackConfiguration trackConfiguration() {
  NorvikKavTrackConfiguration track;
  track.info.mediaTimescale = 30000;
  track.info.language = {'d', 'e', 'u', '\0'};
  track.handlerType = 0x76696465;  // "vide"
  track.handlerName = "Pictures";
  track.sampleCount = 3;
  track.descriptionCount = 1;
  track.descriptionLength = 100;
  return track;
}

SampleToWrite sampleOf(const Bytes& bytes, std::uint64_t time) {
  SampleToWrite sample;
  sample.trackNumber = 1;
  sample.decodingTime = time;
  sample.size = static_cast<std::uint32_t>(bytes.size());
  sample.data = bytes.data();
  return sample;
}

TEST(WriterFacade, WritesWhatItIsGiven) {
  const Source source;
  const MemoryStreamPtr stream = MemoryStream::create();
  NorvikKavWriterConfiguration configuration = movieConfiguration();
  configuration.creationTime = {2020, 2, 29, 12, 34, 56, 0};
  configuration.modificationTime = {2020, 2, 29, 12, 34, 57, 0};
  configuration.rate = 0.5;
  configuration.volume = 0.25;
  Writer writer(stream.get(), configuration);
  NorvikKavTrackConfiguration track = trackConfiguration();
  track.info.trackId = 77;
  track.info.duration = 12345;
  track.info.creationTime = {1904, 1, 1, 0, 0, 9, 0};
  track.info.modificationTime = {1904, 1, 1, 0, 1, 0, 0};
  track.info.width = 320.5;
  track.info.height = 240;
  track.info.volume = 1;
  track.info.flags = kTrackHasSampleDependencies;
  track.gapCount = 1;
  EXPECT_EQ(writer.addTrack(track), 1u);
  writer.addSampleDescription(1, source.description);
  const Bytes first = text("first");
  const Bytes second = text("the second");
  SampleToWrite sample = sampleOf(first, 0);
  sample.flags = 0x2001;
  sample.compositionOffset = 1001;
  writer.addSample(sample);
  SampleToWrite gap;
  gap.trackNumber = 1;
  gap.decodingTime = 3000;
  gap.flags = kSampleIsGap;
  writer.addSample(gap);
  writer.addSample(sampleOf(second, 6000));
  writer.setXMPMetadata("<x/>", 4);
  writer.finish();

  const BoxWalk walk(stream->bytes());
  EXPECT_EQ(walk.topLevelTypes(),
            (std::vector<std::string>{"ftyp", "moov", "free", "mdat", "uuid"}));
  EXPECT_EQ(walk.movie().timescale, 600u);
  EXPECT_EQ(walk.movie().creationTime, 3665824496u);
  EXPECT_EQ(walk.movie().modificationTime, 3665824497u);
  EXPECT_EQ(walk.movie().rate, 0x8000u);
  EXPECT_EQ(walk.movie().volume, 0x40u);
  const WalkedTrack& written = walk.track(1);
  EXPECT_EQ(written.id, 1u);
  EXPECT_EQ(written.creationTime, 9u);
  EXPECT_EQ(written.modificationTime, 60u);
  EXPECT_EQ(written.width, 0x01408000u);
  EXPECT_EQ(written.height, 0x00F00000u);
  EXPECT_EQ(written.volume, 0x100u);
  EXPECT_EQ(written.timescale, 30000u);
  EXPECT_EQ(written.language, 0x10B5u);  // 4, 5, 21
  EXPECT_EQ(written.handler, "vide");
  EXPECT_EQ(written.name, std::string("Pictures\0", 9));
  EXPECT_EQ(written.entries.size(), 1u);
  EXPECT_EQ(written.sampleBytes(), (std::vector<Bytes>{first, second}));
  EXPECT_EQ(written.samples[0].compositionOffset, 1001u);
  EXPECT_EQ(written.samples[1].decodingTime, 3000u);
  EXPECT_EQ(written.syncNumbers, (std::vector<std::uint32_t>{1}));
  EXPECT_EQ(written.dependencies, (Bytes{0x20, 0}));
  EXPECT_EQ(written.edits,
            (std::vector<WalkedEdit>{{60, 0, 0x10000}, {60, -1, 0x10000}, {0, 3000, 0x10000}}));
}

TEST(WriterFacade, NeedsItsArguments) {
  EXPECT_CODE(missingArgument, Writer(nullptr, movieConfiguration()));
  const MemoryStreamPtr stream = MemoryStream::create();
  EXPECT_CODE(zeroTimescale, Writer(stream.get(), movieConfiguration(0)));
  EXPECT_EQ(stream->references(), 1u);
  Writer writer(stream.get(), movieConfiguration());
  NorvikKavTrackConfiguration track = trackConfiguration();
  track.info.mediaTimescale = 0;
  EXPECT_CODE(zeroTimescale, writer.addTrack(track));
  writer.addTrack(trackConfiguration());
  EXPECT_CODE(missingArgument, writer.addSampleDescription(1, nullptr));
  SampleToWrite sample = sampleOf(text("x"), 0);
  sample.data = nullptr;
  EXPECT_CODE(missingArgument, writer.addSample(sample));
  EXPECT_CODE(missingArgument, writer.setXMPMetadata(nullptr, 1));
}

TEST(WriterFacade, OnceFinishedLooksAtNoArgument) {
  const MemoryStreamPtr stream = MemoryStream::create();
  Writer writer(stream.get(), movieConfiguration());
  writer.addTrack(trackConfiguration());
  writer.finish();
  SampleToWrite sample = sampleOf(text("x"), 0);
  sample.data = nullptr;
  EXPECT_CODE(writerNotOpen, writer.addSampleDescription(1, nullptr));
  EXPECT_CODE(writerNotOpen, writer.addSample(sample));
  EXPECT_CODE(writerNotOpen, writer.setXMPMetadata(nullptr, 1));
}

TEST(WriterFacade, TakesSamplesWithoutBytesAndEmptyMetadata) {
  const Source source;
  const MemoryStreamPtr stream = MemoryStream::create();
  Writer writer(stream.get(), movieConfiguration());
  writer.addTrack(trackConfiguration());
  writer.addSampleDescription(1, source.description);
  SampleToWrite sample;
  sample.trackNumber = 1;
  writer.addSample(sample);
  writer.setXMPMetadata(nullptr, 0);
  writer.finish();
  const BoxWalk walk(stream->bytes());
  EXPECT_EQ(walk.track(1).sampleBytes(), (std::vector<Bytes>{{}}));
  EXPECT_EQ(walk.at("uuid").size(), 24u);
}

TEST(WriterFacade, RefusesADescriptionThatFitsNoKindOfTrack) {
  const Source source;  // of a video track
  const MemoryStreamPtr stream = MemoryStream::create();
  Writer writer(stream.get(), movieConfiguration());
  NorvikKavTrackConfiguration track = trackConfiguration();
  track.handlerType = 0x736F756E;  // "soun"
  writer.addTrack(track);
  EXPECT_CODE(unsupportedTrackType, writer.addSampleDescription(1, source.description));
}

TEST(WriterFacade, MovesWithItsMovie) {
  const MemoryStreamPtr first = MemoryStream::create();
  const MemoryStreamPtr second = MemoryStream::create();
  Writer writer(first.get(), movieConfiguration());
  Writer moved(std::move(writer));
  moved.addTrack(trackConfiguration());
  Writer assigned(second.get(), movieConfiguration());
  assigned = std::move(moved);
  EXPECT_EQ(second->references(), 1u);
  EXPECT_EQ(assigned.addTrack(trackConfiguration()), 2u);
  assigned.finish();
  EXPECT_CODE(writerNotOpen, assigned.finish());
  EXPECT_EQ(BoxWalk(first->bytes()).tracks().size(), 2u);
}

}  // namespace
}  // namespace norvik::kav
