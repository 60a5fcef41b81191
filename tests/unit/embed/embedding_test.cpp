#include "embed/embedding.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "captions/sei.h"
#include "embed/refusal.h"
#include "embed/verification.h"
#include "tests/support/box_builders.h"
#include "tests/support/media_samples.h"
#include "tests/support/memory_stream.h"
#include "tests/support/movie_builder.h"

namespace quarrypack::embed {
namespace {

using namespace quarrypack::test;
using captions::BytePair;
using norvik::kav::IStreamPtr;
using norvik::kav::Movie;
using norvik::kav::Sample;

MemoryStreamPtr opened(Bytes file) {
  const MemoryStreamPtr stream = MemoryStream::create(std::move(file));
  stream->open();
  return stream;
}

// A pop-on caption of one letter, shown at once: load, row, "A", show.
const Bytes kPopOn = {0x94, 0x20, 0x94, 0xE0, 0xC1, 0x80, 0x94, 0x2F};

MovieBuilder captionedMovie() {
  MovieTrack captions = captionTrack(
      CaptionTrackOptions{.samples = {cdat(kPopOn), cdat({0x94, 0x2C})}, .duration = 8 * 1001});
  return MovieBuilder({videoTrack({.count = 20, .betweenAnchors = 1}), soundTrack(), captions});
}

// Puts captions into a film in memory.
class Embedded {
 public:
  explicit Embedded(const Bytes& file, EmbedSettings settings = {})
      : input_(opened(file)),
        film_(opened(file)),
        embedding_(film_, std::move(settings)),
        output_(opened({})) {
    embedding_.write(*input_, *output_);
  }

  const EmbedResult& result() const { return embedding_.result(); }
  Bytes& bytes() { return output_->bytes(); }
  void verify() { embedding_.verify(opened(output_->bytes())); }

 private:
  MemoryStreamPtr input_;
  Film film_;
  Embedding embedding_;
  MemoryStreamPtr output_;
};

std::vector<Bytes> samplesOf(const Bytes& file, std::uint32_t track) {
  Movie movie(opened(file));
  std::vector<Bytes> samples;
  for (const Sample& sample : movie.samples({.trackIndex = track, .applyEdits = false})) {
    samples.emplace_back(sample.info.size);
    movie.read(sample, samples.back());
  }
  return samples;
}

std::string refusalOf(const Bytes& file, EmbedSettings settings = {}) {
  try {
    Embedded embedded(file, std::move(settings));
  } catch (const Refusal& refusal) {
    return refusal.what();
  }
  return "not refused";
}

bool contains(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

TEST(Embedding, PutsTheCaptionsOfATrackIntoThePictures) {
  const Bytes file = captionedMovie().build();
  Embedded embedded(file);
  EXPECT_EQ(embedded.result().captions, 1u);
  EXPECT_EQ(embedded.result().pairs, 5u);
  EXPECT_EQ(embedded.result().lostPairs, 0u);
  EXPECT_EQ(embedded.result().pictures, 20u);
  EXPECT_EQ(embedded.result().captionedPictures, 20u);
  embedded.verify();
  EXPECT_EQ(Movie(opened(embedded.bytes())).tracks().size(), 2u);
}

TEST(Embedding, LeavesTheSoundAndTheRestOfThePicturesAlone) {
  const MovieBuilder movie = captionedMovie();
  Embedded embedded(movie.build());
  EXPECT_EQ(samplesOf(embedded.bytes(), 1), movie.tracks[1].sampleBytes());
  const std::vector<Bytes> pictures = samplesOf(embedded.bytes(), 0);
  const std::vector<Bytes> before = movie.tracks[0].sampleBytes();
  ASSERT_EQ(pictures.size(), before.size());
  for (std::size_t i = 0; i < pictures.size(); ++i) {
    // A unit lies somewhere in it: what is before and after is the picture that was.
    const auto [inOld, inNew] =
        std::mismatch(before[i].begin(), before[i].end(), pictures[i].begin(), pictures[i].end());
    const auto rest = before[i].end() - inOld;
    EXPECT_TRUE(std::equal(inOld, before[i].end(), pictures[i].end() - rest));
    EXPECT_LT(before[i].size(), pictures[i].size());
  }
}

TEST(Embedding, WithoutPaddingLeavesPicturesWithoutCaptionsAsTheyAre) {
  const MovieBuilder movie = captionedMovie();
  Embedded embedded(movie.build(), {.pad = false});
  EXPECT_EQ(embedded.result().captionedPictures, 5u);
  embedded.verify();
}

TEST(Embedding, TakesCaptionsFromElsewhere) {
  const Bytes file = MovieBuilder({videoTrack({.count = 10})}).build();
  std::array<captions::FieldPairs, kFields> fields;
  fields[1] = {{captions::kPairTime, {0x15, 0x2C}}};
  Embedded embedded(file, {.captions = fields, .pad = false});
  EXPECT_EQ(embedded.result().pairs, 1u);
  EXPECT_EQ(embedded.result().captionedPictures, 1u);
  embedded.verify();
}

TEST(Embedding, KeepsFragments) {
  MovieBuilder movie = captionedMovie();
  movie.splitIntoFragments({7, 7, 2});
  Embedded embedded(movie.build());
  EXPECT_EQ(embedded.result().captions, 1u);
  embedded.verify();
  Movie written(opened(embedded.bytes()));
  EXPECT_TRUE(written.info().isFragmented);
  EXPECT_EQ(written.tracks().size(), 2u);
}

TEST(Embedding, MayBeDoneAgainWithReplace) {
  const Bytes file = captionedMovie().build();
  Embedded first(file);
  std::array<captions::FieldPairs, kFields> fields;
  fields[0] = {{captions::kPairTime * 5, {0x94, 0x26}}};
  const std::string refusal = refusalOf(first.bytes(), {.captions = fields});
  EXPECT_TRUE(contains(refusal, "20 of its 20 pictures hold captions")) << refusal;
  EXPECT_TRUE(contains(refusal, "'--replace'")) << refusal;

  Embedded second(first.bytes(), {.captions = fields, .replace = true, .pad = false});
  EXPECT_EQ(second.result().replacedPictures, 20u);
  EXPECT_EQ(second.result().captionedPictures, 1u);
  second.verify();
}

TEST(Embedding, RefusesWhatItCannotDo) {
  const auto file = [](std::vector<MovieTrack> tracks) { return MovieBuilder(tracks).build(); };
  EXPECT_TRUE(contains(refusalOf(file({soundTrack(), captionTrack()})), "no video track"));
  EXPECT_TRUE(contains(refusalOf(file({videoTrack()})), "no caption track"));

  MovieTrack other = videoTrack();
  other.entries = {videoEntry("apcn", Bytes())};
  EXPECT_TRUE(contains(refusalOf(file({other, captionTrack()})), "coded as 'apcn'"));

  MovieTrack disabled = videoTrack();
  disabled.flags = 0;
  EXPECT_TRUE(contains(refusalOf(file({disabled, captionTrack()})), "disabled"));

  MovieTrack encrypted = videoTrack();
  encrypted.entries = {videoEntry("encv", avcConfiguration())};
  EXPECT_TRUE(contains(refusalOf(file({encrypted, captionTrack()})), "encrypted"));
}

TEST(Embedding, RefusesMediaThatIsNotInTheFile) {
  MovieBuilder elsewhere = captionedMovie();
  elsewhere.replace("moov/trak[1]/mdia/minf/dinf",
                    box("dinf", fullBox("dref", 0, 0, u32(1),
                                        fullBox("url ", 0, 0, text("film.mov"), zeros(1)))));
  EXPECT_TRUE(contains(refusalOf(elsewhere.build()), "lies in another file"));

  MovieBuilder reference = captionedMovie();
  reference.addInside("moov", box("rmra"));
  EXPECT_TRUE(contains(refusalOf(reference.build()), "reference movie"));

  MovieBuilder compressed = captionedMovie();
  compressed.addInside("moov", box("cmov"));
  EXPECT_TRUE(contains(refusalOf(compressed.build()), "compressed"));

  Bytes cut = captionedMovie().moovFirst().build();
  cut.resize(cut.size() - 10);
  EXPECT_TRUE(contains(refusalOf(cut), "cut short: its box 'mdat'")) << refusalOf(cut);
}

TEST(Embedding, RefusesSamplesBeyondTheEnd) {
  MovieBuilder movie = captionedMovie();
  movie.change("moov/trak[2]/mdia/minf/stbl/stco",
               [](const Bytes& stco) { return patched(stco, 16, u32(900'000)); });
  const std::string refusal = refusalOf(movie.build());
  EXPECT_TRUE(contains(refusal, "track 2: sample 1 lies at byte 900000")) << refusal;
}

TEST(Embedding, RefusesSamplesThatOverlapTheTablesOfTheFilm) {
  MovieBuilder movie = captionedMovie();
  movie.change("moov/trak[2]/mdia/minf/stbl/stco",
               [](const Bytes& stco) { return patched(stco, 16, u32(4)); });
  const std::string refusal = refusalOf(movie.build());
  EXPECT_TRUE(contains(refusal, "track 2: sample 1, at byte 4, overlaps")) << refusal;
}

TEST(Embedding, PassesACoverOver) {
  MovieTrack cover = videoTrack({.count = 1});
  MovieBuilder movie({cover, videoTrack({.count = 10}), captionTrack(2)});
  Embedded embedded(movie.build());
  EXPECT_EQ(embedded.result().pictures, 10u);
  EXPECT_EQ(samplesOf(embedded.bytes(), 0), cover.sampleBytes());
  embedded.verify();
}

TEST(Embedding, OfCaptionsInTwoTracksTakesBothFields) {
  const auto track = [](const Bytes& sample) {
    return captionTrack(CaptionTrackOptions{.samples = {sample}, .duration = 8 * 1001});
  };
  MovieBuilder movie({videoTrack({.count = 20}), track(cdat(kPopOn)), track(cdt2({0x15, 0x2C}))});
  Embedded embedded(movie.build());
  EXPECT_EQ(embedded.result().pairs, 5u);
  embedded.verify();
}

TEST(Embedding, OfCaptionsThatEditsRepeatKeepsTheOrderOfTheirShowings) {
  MovieBuilder movie = captionedMovie();
  movie.timescale = 30000;
  movie.tracks[0] = videoTrack({.count = 40});
  movie.tracks[2].edits = {{16 * 1001, 0}, {16 * 1001, 0}};
  Embedded embedded(movie.build());
  const std::vector<captions::Cue>& cues = embedded.result().cues.at(0).cues;
  ASSERT_EQ(cues.size(), 2u);
  const auto frames = [](captions::Time time) { return time / captions::kPairTime; };
  EXPECT_EQ(frames(cues[0].start), 3);
  EXPECT_EQ(frames(cues[0].end), 8);
  EXPECT_EQ(frames(cues[1].start), 19);
  EXPECT_EQ(frames(cues[1].end), 24);
  embedded.verify();
}

TEST(Embedding, TakesEachFieldFromTheFirstCaptionTrackThatHasIt) {
  const auto track = [](const Bytes& sample) {
    return captionTrack(CaptionTrackOptions{.samples = {sample}, .duration = 8 * 1001});
  };
  const Bytes other = cdat({0x94, 0x20, 0x94, 0xE0, 0xC2, 0x80, 0x94, 0x2F});
  MovieBuilder movie({videoTrack({.count = 20}), track(cdat(kPopOn)), track(other)});
  Embedded embedded(movie.build());
  EXPECT_EQ(embedded.result().pairs, 4u);
  EXPECT_EQ(captions::textOf(embedded.result().cues.at(0).cues.at(0)), "A");
}

TEST(Embedding, BoundsWhatEditsOfCaptionsRepeat) {
  MovieBuilder movie = captionedMovie();
  std::vector<MovieEdit> edits(1000, MovieEdit{600'000, 0});
  movie.tracks[2] =
      captionTrack(CaptionTrackOptions{.samples = std::vector<Bytes>(2000, cdat(Bytes(20, 0x80)))});
  movie.tracks[2].edits = edits;
  EXPECT_TRUE(contains(refusalOf(movie.build()), "more captions than any film has"));
}

// Each byte of the written film that matters to players is compared.
class Verification : public testing::Test {
 protected:
  Bytes file = captionedMovie().build();
  Embedded embedded{file};

  std::string errorWith(std::size_t offset, std::uint8_t xorMask) {
    Bytes& bytes = embedded.bytes();
    bytes[offset] ^= xorMask;
    std::string text = "verified";
    try {
      embedded.verify();
    } catch (const VerificationError& error) {
      text = error.what();
    }
    bytes[offset] ^= xorMask;
    return text;
  }

  // Where some bytes lie in the written film, and how far into them.
  std::size_t find(const Bytes& part, std::size_t plus = 0) {
    const Bytes& all = embedded.bytes();
    const auto found = std::search(all.begin(), all.end(), part.begin(), part.end());
    EXPECT_NE(found, all.end());
    return static_cast<std::size_t>(found - all.begin()) + plus;
  }
};

TEST_F(Verification, FindsAChangedPair) {
  EXPECT_EQ(errorWith(0, 0), "verified");
  const std::size_t pair = find({0xFC, 0x94, 0x2F}, 2);
  EXPECT_TRUE(contains(errorWith(pair, 0x01), "captions are not those that were meant"));
}

TEST_F(Verification, FindsAChangedByteOfAPictureOrOfSound) {
  const Bytes picture = captionedMovie().tracks[0].sampleBytes()[7];
  const Bytes end(picture.end() - 16, picture.end());
  EXPECT_TRUE(contains(errorWith(find(end, 15), 0x40), "bytes are not those of the input"));
  const Bytes sound = captionedMovie().tracks[1].sampleBytes()[3];
  EXPECT_TRUE(contains(errorWith(find(sound, 20), 0x40), "bytes are not those of the input"));
}

TEST_F(Verification, FindsAChangedHeaderOrTable) {
  const auto place = [this](const char* type, std::size_t plus) { return find(text(type), plus); };
  EXPECT_TRUE(contains(errorWith(place("tkhd", 40), 1), "'tkhd'"));
  EXPECT_TRUE(contains(errorWith(place("stts", 19), 1), "'mdia/minf/stbl/stts'"));
  EXPECT_TRUE(contains(errorWith(place("ctts", 19), 1), "'mdia/minf/stbl/ctts'"));
  EXPECT_NE(errorWith(place("stco", 15), 1), "verified");
}

TEST_F(Verification, FindsBytesAfterTheLastBox) {
  embedded.bytes().push_back(0);
  EXPECT_THROW(embedded.verify(), VerificationError);
}

// Some writers end a file with the zeros that end a list in it.
TEST_F(Verification, ExpectsTheBytesAfterTheLastBoxOfTheInput) {
  MovieBuilder movie = captionedMovie();
  movie.tail = {0, 0, 0, 0};
  Embedded tailed(movie.build());
  tailed.verify();
  tailed.bytes().back() = 1;
  EXPECT_THROW(tailed.verify(), VerificationError);
  tailed.bytes().pop_back();
  EXPECT_THROW(tailed.verify(), VerificationError);
}

}  // namespace
}  // namespace quarrypack::embed
