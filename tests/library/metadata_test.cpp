#include <gtest/gtest.h>

#include <optional>

#include "kav/exception.h"
#include "kav/reader.h"
#include "kav/writer.h"
#include "tests/support/box_builders.h"
#include "tests/support/box_walk.h"
#include "tests/support/expect_code.h"
#include "tests/support/memory_stream.h"
#include "tests/support/movie_builder.h"

namespace quarrypack::test {
namespace {

using namespace norvik::kav;

constexpr std::size_t kMost = 67108864;

struct Metadata {
  std::uint32_t code = 0;
  Bytes bytes;
};

Metadata metadataOf(const Bytes& movie) {
  const MemoryStreamPtr stream = MemoryStream::create(movie);
  NorvikKavReader* reader = nullptr;
  if (const std::uint32_t code = openReader(stream.get(), {}, &reader)) return {code, {}};
  Metadata metadata;
  std::size_t length = 0;
  metadata.code = getMetadataLength(reader, &length);
  metadata.bytes.resize(length);
  if (length > 0) metadata.code = getMetadata(reader, metadata.bytes.data());
  closeReader(reader);
  return metadata;
}

Bytes xmp(const Bytes& packet) { return uuidBox(kXmpUuid, packet); }

TEST(Metadata, IsFoundBeforeTheMovieBox) {
  MovieBuilder movie({videoTrack(), soundTrack()});
  movie.extras["xmp"] = xmp(text("<x:xmpmeta/>"));
  movie.order = {"ftyp", "xmp", "moov", "mdat"};
  EXPECT_EQ(metadataOf(movie.build()).bytes, text("<x:xmpmeta/>"));
}

TEST(Metadata, IsFoundAfterTheMovieBoxAndTheMediaData) {
  MovieBuilder movie({videoTrack(), soundTrack()});
  movie.extras["xmp"] = xmp(text("<x:xmpmeta/>"));
  movie.order = {"ftyp", "moov", "mdat", "xmp"};
  EXPECT_EQ(metadataOf(movie.build()).bytes, text("<x:xmpmeta/>"));
}

TEST(Metadata, IsFoundAfterFragments) {
  MovieBuilder movie({videoTrack()});
  movie.moovFirst().splitIntoFragments({6});
  movie.tail = xmp(text("<x:xmpmeta/>"));
  EXPECT_EQ(metadataOf(movie.build()).bytes, text("<x:xmpmeta/>"));
}

TEST(Metadata, IsEmptyInAMovieWithoutIt) {
  MovieBuilder movie({videoTrack()});
  movie.tail = uuidBox(uuidOf("abcd"), text("no packet"));
  const Metadata found = metadataOf(movie.build());
  EXPECT_RESULT(success, found.code);
  EXPECT_TRUE(found.bytes.empty());
}

TEST(Metadata, IsReadWhateverItsLength) {
  MovieBuilder movie({videoTrack()});
  movie.tail = xmp(Bytes(kMost + 1, 'x'));
  EXPECT_TRUE(metadataOf(movie.build()).bytes == Bytes(kMost + 1, 'x'));
}

class WrittenMetadata : public ::testing::TestWithParam<bool> {
 protected:
  WrittenMetadata() {
    NorvikKavWriterConfiguration configuration;
    configuration.timescale = 600;
    configuration.fragmented = GetParam();
    writer_.emplace(stream_.get(), configuration);
  }

  void addTrack() {
    NorvikKavTrackConfiguration track;
    track.info.mediaTimescale = 1000;
    track.handlerType = 0x736F756E;
    track.sampleCount = 10;
    writer_->addTrack(track);
  }

  void addSample(std::uint64_t time) {
    writer_->addSample(
        {.trackNumber = 1, .decodingTime = time, .flags = 1, .size = 3, .data = "abc"});
  }

  void setMetadata(const Bytes& packet) { writer_->setXMPMetadata(packet.data(), packet.size()); }

  MemoryStreamPtr stream_ = MemoryStream::create();
  std::optional<Writer> writer_;
};

TEST_P(WrittenMetadata, IsReadBackFromBetweenTheSamples) {
  addTrack();
  addSample(0);
  addSample(10);
  EXPECT_CODE(success, setMetadata(text("<x:xmpmeta/>")));
  addSample(20);
  writer_->finish();
  EXPECT_EQ(metadataOf(stream_->bytes()).bytes, text("<x:xmpmeta/>"));
  EXPECT_EQ(BoxWalk(stream_->bytes()).track(1).sampleBytes(), std::vector<Bytes>(3, text("abc")));
}

TEST_P(WrittenMetadata, IsReadBackFromAMovieWithoutSamples) {
  addTrack();
  EXPECT_CODE(success, setMetadata(text("<x:xmpmeta/>")));
  writer_->finish();
  EXPECT_EQ(metadataOf(stream_->bytes()).bytes, text("<x:xmpmeta/>"));
}

TEST_P(WrittenMetadata, MayBe64MiBAndNoMore) {
  addTrack();
  Bytes packet(kMost + 1, 'x');
  EXPECT_CODE(metadataTooLarge, setMetadata(packet));
  packet.pop_back();
  EXPECT_CODE(success, setMetadata(packet));
  writer_->finish();
  EXPECT_EQ(metadataOf(stream_->bytes()).bytes, packet);
}

TEST_P(WrittenMetadata, MayComeBeforeAnyTrack) {
  EXPECT_CODE(success, setMetadata(text("<x:xmpmeta/>")));
  addTrack();
  addTrack();
  addSample(0);
  writer_->finish();
  EXPECT_EQ(metadataOf(stream_->bytes()).bytes, text("<x:xmpmeta/>"));
  const BoxWalk walk(stream_->bytes());
  EXPECT_EQ(walk.tracks().size(), 2u);
  EXPECT_EQ(walk.track(1).sampleBytes(), std::vector<Bytes>(1, text("abc")));
}

INSTANTIATE_TEST_SUITE_P(BothForms, WrittenMetadata, ::testing::Bool(), [](const auto& param) {
  return param.param ? std::string("Fragmented") : std::string("Regular");
});

}  // namespace
}  // namespace quarrypack::test
