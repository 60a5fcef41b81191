#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <iostream>
#include <string>
#include <vector>

#include "kav/exception.h"
#include "kav/reader.h"
#include "kav/writer.h"
#include "src/caption_sei.h"
#include "src/conversion_pass.h"
#include "tests/support/box_builders.h"
#include "tests/support/media_samples.h"
#include "tests/support/memory_stream.h"
#include "tests/support/movie_builder.h"

// What the fault tests run, again and again, each time with the next of its calls failing. Each run
// does one of three things: it throws the library's exception, it throws std::bad_alloc, or it
// returns the bytes that it made.

namespace quarrypack::test {

// Calls attempt(k) for k = 1, 2, 3 and so on, until a run ends without reaching its fault. attempt
// checks its result and returns whether the fault was reached.
template <class Attempt>
void forEachFault(const std::string& what, Attempt attempt) {
  constexpr std::size_t kEnough = 200'000;
  std::size_t k = 1;
  while (k < kEnough && attempt(k) && !testing::Test::HasFailure()) ++k;
  EXPECT_LT(k, kEnough) << what << " never passes without a fault";
  EXPECT_GT(k, 1u) << what << " never meets a fault";
  std::cout << "[ FAULTS   ] " << k - 1 << " survived: " << what << std::endl;
}

// Movies that together exercise all of the library.
struct NamedMovie {
  std::string name;
  Bytes bytes;
};

inline std::vector<NamedMovie> faultMovies() {
  MovieBuilder regular({videoTrack({.count = 7, .syncEvery = 3, .betweenAnchors = 1}),
                        soundTrack({.count = 4}), captionTrack(3)});
  regular.tracks[0].edits = {{10, kEmptyEdit}, {200, 2002}};
  regular.tracks[0].syncTable = true;
  regular.tracks[0].dependencyTable = true;
  regular.extras["uuid"] = uuidBox(kXmpUuid, text("<x:xmpmeta/>"));
  regular.order = {"ftyp", "mdat", "moov", "uuid"};
  MovieBuilder fragmented({videoTrack({.count = 7, .syncEvery = 3}), captionTrack(3)});
  fragmented.splitIntoFragments({3, 1});
  return {{"regular", regular.build()}, {"fragmented", fragmented.build()}};
}

inline void throwOnError(std::uint32_t code) {
  if (code != 0) throw norvik::kav::Exception(code);
}

// Reads everything in a movie and appends it to one buffer. The buffer is reserved beforehand, so
// that only the reader runs out of memory.
inline void readAll(norvik::kav::NorvikIStream& stream, Bytes& all) {
  namespace kav = norvik::kav;
  kav::NorvikKavReader* reader = nullptr;
  throwOnError(kav::openReader(&stream, {}, &reader));
  kav::NorvikKavSampleIterator* iterator = nullptr;
  std::uint32_t code = kav::createSampleIterator(reader, &iterator);
  while (code == 0) {
    kav::NorvikKavSample* sample = nullptr;
    code = kav::nextSample(iterator, &sample);
    if (code != 0 || sample == nullptr) break;
    kav::NorvikKavSampleInfo info;
    kav::NorvikKavSampleLocation location;
    kav::getSampleInfo(sample, &info);
    kav::getSampleLocation(sample, &location);
    kav::closeSample(sample);
    const std::size_t before = all.size();
    all.resize(before + info.size);
    if (info.size == 0) continue;
    code = kav::readBytes(reader, location.fileOffset, all.data() + before, info.size);
  }
  std::size_t length = 0;
  if (code == 0) code = kav::getMetadataLength(reader, &length);
  const std::size_t before = all.size();
  all.resize(before + length);
  if (code == 0 && length > 0) code = kav::getMetadata(reader, all.data() + before);
  kav::closeSampleIterator(iterator);
  kav::closeReader(reader);
  throwOnError(code);
}

inline Bytes readAll(norvik::kav::NorvikIStream& stream) {
  Bytes all;
  readAll(stream, all);
  return all;
}

// The forms in which the writer writes a movie.
struct WrittenForm {
  std::string name;
  bool fragmented = false;
};
inline const WrittenForm kWrittenForms[] = {{"regular", false}, {"fragmented", true}};

// Writes a movie of two tracks with gaps and metadata; as fragments, in several, with the list of
// their sync samples.
inline void writeMovie(norvik::kav::NorvikIOStream& output, const WrittenForm& form,
                       const norvik::kav::NorvikKavSampleDescription* description) {
  namespace kav = norvik::kav;
  kav::NorvikKavWriterConfiguration movie;
  movie.timescale = 600;
  movie.fragmented = form.fragmented;
  movie.fragmentDuration = 100;
  movie.randomAccess = form.fragmented;
  kav::Writer writer(&output, movie);
  for (int i = 0; i < 2; ++i) {
    kav::NorvikKavTrackConfiguration track;
    track.info.mediaTimescale = 30000;
    track.handlerType = 0x76696465;  // "vide"
    track.handlerName = "Video";
    track.sampleCount = 40;
    track.gapCount = 2;
    track.descriptionCount = 1;
    track.descriptionLength = 200;
    writer.addSampleDescription(writer.addTrack(track), description);
  }
  const Bytes bytes = recognisable("V", 1, 300);
  for (std::uint32_t i = 0; i < 20; ++i) {
    for (std::uint32_t track = 1; track <= 2; ++track) {
      writer.addSample({.trackNumber = track,
                        .decodingTime = i * 1001,
                        .compositionOffset = i % 3,
                        .flags = i == 7       ? kav::kSampleIsGap
                                 : i % 4 == 0 ? kav::kSampleIsSync
                                              : 0,
                        .size = i == 7 ? 0 : static_cast<std::uint32_t>(bytes.size()),
                        .data = bytes.data()});
    }
  }
  const Bytes metadata = text("<x:xmpmeta/>");
  writer.setXMPMetadata(metadata.data(), metadata.size());
  writer.finish();
}

// How often a box type occurs in a file.
inline std::size_t countOf(MemoryStream& file, const std::string& type) {
  const std::string bytes(file.bytes().begin(), file.bytes().end());
  std::size_t count = 0;
  for (std::size_t at = bytes.find(type); at != std::string::npos; at = bytes.find(type, at + 4)) {
    ++count;
  }
  return count;
}

// Keeps a movie open for its sample descriptions.
class DescriptionSource {
 public:
  explicit DescriptionSource(const Bytes& movie) : stream_(MemoryStream::create(movie)) {
    EXPECT_EQ(norvik::kav::openReader(stream_.get(), {}, &reader_), 0u);
    EXPECT_EQ(norvik::kav::getSampleDescriptionHandle(reader_, 0, 1, &description_), 0u);
  }
  ~DescriptionSource() { norvik::kav::closeReader(reader_); }
  DescriptionSource(const DescriptionSource&) = delete;
  DescriptionSource& operator=(const DescriptionSource&) = delete;

  const norvik::kav::NorvikKavSampleDescription* first() const { return description_; }

 private:
  MemoryStreamPtr stream_;
  norvik::kav::NorvikKavReader* reader_ = nullptr;
  const norvik::kav::NorvikKavSampleDescription* description_ = nullptr;
};

// Keeps the progress line off the test's output.
class QuietConsole {
 public:
  QuietConsole() : out_(std::cout.rdbuf(nullptr)) {}
  ~QuietConsole() {
    std::cout.rdbuf(out_);
    std::cout.clear();
  }
  QuietConsole(const QuietConsole&) = delete;
  QuietConsole& operator=(const QuietConsole&) = delete;

 private:
  std::streambuf* out_;
};

inline bool convertQuietly(MemoryStream& input, MemoryStream& output) {
  const QuietConsole quiet;
  nalLengthSize = 4;
  return convertMovie(input, output, "");
}

}  // namespace quarrypack::test
