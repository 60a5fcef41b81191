#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "src/caption_sei.h"
#include "src/conversion_pass.h"
#include "tests/support/box_builders.h"
#include "tests/support/box_walk.h"
#include "tests/support/console.h"
#include "tests/support/expect_code.h"
#include "tests/support/film.h"
#include "tests/support/media_samples.h"

// A rehearsed conversion against a real one.
namespace quarrypack {
namespace {

using namespace test;
namespace kav = norvik::kav;

// Notes what would be written.
class Notes final : public PassOutput, public ConversionListener {
 public:
  std::uint32_t addTrack(const kav::NorvikKavTrackConfiguration& configuration) override {
    inputIds.push_back(configuration.info.trackId);
    return static_cast<std::uint32_t>(inputIds.size());
  }
  void addSampleDescription(std::uint32_t, const kav::SampleDescription&) override {}
  void write(const SortedGroup& group, const SampleSlots& slots, std::size_t) override {
    for (std::size_t i = 0; i < group.length(); ++i) {
      const PendingSample& sample = group.record(i);
      sizes[slots[sample.slot].trackNumber].push_back(sample.size);
    }
  }
  void finish() override { isFinished = true; }

  void trackWithoutName() override { events += "name "; }
  void descriptionWithoutHeader() override { events += "description "; }
  void captionOfOtherTrack() override { events += "other "; }
  void unknownCaptionAtom() override { events += "atom "; }
  void invalidNalLength() override { events += "length "; }
  void captionAttaching(const CaptionSample&, std::size_t place) override {
    events += "attach" + std::to_string(place) + ' ';
  }
  void captionDropped(const CaptionSample& caption) override {
    events += "drop" + std::to_string(caption.decodingTime) + ' ';
  }

  std::vector<std::uint32_t> inputIds;
  std::map<std::uint32_t, std::vector<std::uint32_t>> sizes;  // by output track
  std::string events;
  bool isFinished = false;
};

bool rehearse(Film& film, Notes& notes) {
  kav::Movie movie = film.movie();
  const CapturedConsole console;
  const bool canConvert = rehearseConversion(movie, notes, notes);
  EXPECT_EQ(console.out() + console.err(), "");
  return canConvert;
}

Notes rehearsed(const MovieBuilder& movie) {
  Film film(movie);
  Notes notes;
  EXPECT_TRUE(rehearse(film, notes));
  return notes;
}

std::map<std::uint32_t, std::vector<std::uint32_t>> convertedSizes(const MovieBuilder& movie) {
  const CapturedConsole console;
  const MemoryStreamPtr input = MemoryStream::create(movie.build());
  const MemoryStreamPtr output = MemoryStream::create();
  EXPECT_TRUE(convertMovie(*input, *output, ""));
  const BoxWalk walk(output->bytes());
  std::map<std::uint32_t, std::vector<std::uint32_t>> sizes;
  for (std::uint32_t i = 1; i <= walk.tracks().size(); ++i) {
    for (const auto& sample : walk.track(i).samples) sizes[i].push_back(sample.size);
  }
  return sizes;
}

class Rehearsal : public testing::Test {
 protected:
  Rehearsal() { nalLengthSize = 4; }
  ~Rehearsal() override { nalLengthSize = 4; }
};

TEST_F(Rehearsal, DeliversTheSamplesThatAConversionWrites) {
  const MovieBuilder movie({videoTrack({.count = 30}), soundTrack(), captionTrack(6)});
  const Notes notes = rehearsed(movie);
  EXPECT_EQ(notes.inputIds, (std::vector<std::uint32_t>{1, 2}));
  EXPECT_EQ(notes.sizes, convertedSizes(movie));
  EXPECT_TRUE(notes.isFinished);
}

TEST_F(Rehearsal, UsesTheLengthSizeOfItsMovieAndLeavesThatOfTheProcess) {
  const MovieBuilder movie({videoTrack({.nalLengthSize = 2}), captionTrack(3)});
  nalLengthSize = 3;
  const Notes notes = rehearsed(movie);
  EXPECT_EQ(nalLengthSize, 3u);
  EXPECT_EQ(notes.sizes, convertedSizes(movie));
}

TEST_F(Rehearsal, ReportsWhatAConversionPrints) {
  MovieBuilder movie({videoTrack({.count = 2}), captionTrack(1), captionTrack(2)});
  movie.tracks[0].name.clear();
  movie.tracks[2].samples[0].bytes = box("xxxx", captionPairs(1));
  movie.tracks[2].samples[1].duration = 1;
  EXPECT_EQ(rehearsed(movie).events, "name other attach0 atom drop2002 ");
}

TEST_F(Rehearsal, ReportsEveryDroppedCaptionByItsTime) {
  const MovieBuilder movie({videoTrack({.count = 2}), captionTrack({.samples = {
                                                                        cdat(captionPairs(1)),
                                                                        cdat(captionPairs(1)),
                                                                        cdat(captionPairs(1)),
                                                                    }})});
  EXPECT_EQ(rehearsed(movie).events, "attach0 drop2002 drop4004 ");
}

TEST_F(Rehearsal, ReadsOnlyTheHeadsOfPicturesWithCaptions) {
  const MovieBuilder movie({videoTrack({.count = 50, .sliceSize = 100'000}), captionTrack(2)});
  Film film(movie);
  Notes notes;
  EXPECT_TRUE(rehearse(film, notes));
  EXPECT_LT(film.memory->calls().read, 20u);
}

TEST_F(Rehearsal, NeedsCaptionsAndVideo) {
  Film withoutCaptions(MovieBuilder({videoTrack(), soundTrack()}));
  Notes notes;
  EXPECT_FALSE(rehearse(withoutCaptions, notes));
  EXPECT_FALSE(notes.isFinished);
}

TEST_F(Rehearsal, FailsAsTheConversionDoes) {
  MovieBuilder movie({videoTrack(), soundTrack(), captionTrack(3)});
  movie.moovFirst();
  Bytes file = movie.build();
  file.pop_back();
  Film film(file);
  Notes notes;
  EXPECT_CODE(shortRead, rehearse(film, notes));
}

}  // namespace
}  // namespace quarrypack
