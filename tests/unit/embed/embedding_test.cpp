#include "embed/embedding.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <string>

#include "captions/sei.h"
#include "embed/refusal.h"
#include "embed/verification.h"
#include "kav/box_view.h"
#include "kav/exception.h"
#include "tests/support/box_builders.h"
#include "tests/support/media_samples.h"
#include "tests/support/memory_stream.h"
#include "tests/support/movie_builder.h"
#include "tests/unit/embed/embedded_film.h"

namespace quarrypack::embed {
namespace {

using namespace quarrypack::test;
using captions::BytePair;
using norvik::kav::IStreamPtr;
using norvik::kav::Movie;
using norvik::kav::Sample;

std::vector<Bytes> samplesOf(const Bytes& file, std::uint32_t track) {
  Movie movie(opened(file));
  std::vector<Bytes> samples;
  for (const Sample& sample : movie.samples({.trackIndex = track, .applyEdits = false})) {
    samples.emplace_back(sample.info.size);
    movie.read(sample, samples.back());
  }
  return samples;
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

// The field of mehd.
Bytes fragmentedDurationOf(const Bytes& file) {
  const Bytes type = text("mehd");
  const auto found = std::search(file.begin(), file.end(), type.begin(), type.end());
  return found == file.end() ? Bytes() : Bytes(found + 8, found + 12);
}

MovieBuilder withFragmentedDuration(MovieBuilder movie) {
  constexpr std::size_t kDuration = 12;
  movie.change("moov/mvex/mehd",
               [](const Bytes& mehd) { return patched(mehd, kDuration, u32(10'000)); });
  return movie;
}

TEST(Embedding, LowersTheDurationOfFragmentsToTheLongestTrackLeft) {
  MovieBuilder movie = captionedMovie();
  movie.splitIntoFragments({7, 7, 2});
  Embedded embedded(withFragmentedDuration(movie).build());
  embedded.verify();
  // 20 pictures of 1001/30000 s, in units of 1/600 s.
  EXPECT_EQ(fragmentedDurationOf(embedded.bytes()), u32(401));
}

// An excerpt, whose fragments state the times of the whole movie. Its captions begin a second
// before its pictures and sound.
MovieBuilder excerptWithEarlyCaptions() {
  MovieBuilder movie = captionedMovie();
  movie.splitIntoFragments({20, movie.tracks[1].samples.size(), 2});
  for (std::size_t track = 0; track < movie.tracks.size(); ++track) {
    const std::uint64_t seconds = track == 2 ? 3600 : 3601;
    movie.fragments[0][track].decodeTime = seconds * movie.tracks[track].timescale;
  }
  return movie;
}

// Where the movie begins is then another time, but the times of what is left stay.
TEST(Embedding, VerifiesAnExcerptWhoseCaptionsBeginFirst) {
  Embedded embedded(excerptWithEarlyCaptions().build());
  embedded.verify();
  Embedded damaged(excerptWithEarlyCaptions().build());
  const Bytes time = box("tfdt", u32(0x01000000), u64(std::uint64_t{3601} * 30'000));
  const auto found =
      std::search(damaged.bytes().begin(), damaged.bytes().end(), time.begin(), time.end());
  ASSERT_NE(found, damaged.bytes().end());
  found[19] ^= 1;
  EXPECT_THROW(damaged.verify(), VerificationError);
}

TEST(Embedding, LowersTheDurationOfAnExcerptWhoseCaptionsBeginFirst) {
  Embedded embedded(withFragmentedDuration(excerptWithEarlyCaptions()).build());
  embedded.verify();
  // A second without pictures and 20 of 1001/30000 s, in units of 1/600 s.
  EXPECT_EQ(fragmentedDurationOf(embedded.bytes()), u32(1001));
}

TEST(Embedding, MayBeDoneAgainWithReplace) {
  const Bytes file = captionedMovie().build();
  Embedded first(file);
  std::array<captions::FieldPairs, kFields> fields;
  fields[0] = {{captions::kPairTime * 5, {0x94, 0x26}}};
  const std::string refusal = refusalOf(first.bytes(), {.captions = fields});
  EXPECT_TRUE(contains(refusal, "20 of its 20 pictures already have captions")) << refusal;
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

// The library reads such tables all the same, and a copy would keep their old places.
TEST(Embedding, RefusesBoxesThatAreLongerThanThoseTheyLieIn) {
  const auto lengthened = [](const Bytes& original) { return patched(original, 0, u32(100'000)); };
  MovieBuilder movie = captionedMovie();
  movie.change("moov/trak[1]/mdia", lengthened);
  EXPECT_EQ(refusalOf(movie.build()),
            "track 1: the box 'mdia' is longer than the box 'trak' that it lies in. The file is "
            "damaged");
  MovieBuilder table = captionedMovie();
  table.change("moov/trak[2]/mdia/minf/stbl/stco", lengthened);
  EXPECT_TRUE(contains(refusalOf(table.build()), "track 2: the box 'stco' is longer than"));
  MovieBuilder fragments = captionedMovie();
  fragments.splitIntoFragments({7, 7, 2});
  fragments.change("moof[2]/traf[2]", lengthened);
  EXPECT_TRUE(
      contains(refusalOf(fragments.build()), "the box 'traf' is longer than the box 'moof'"));
}

TEST(Embedding, ToleratesPaddingAfterTheLastBoxOfAContainer) {
  MovieBuilder movie = captionedMovie();
  movie.addInside("moov/trak[1]", Bytes{0, 0, 0, 3, 0, 0, 0, 0, 0});
  Embedded embedded(movie.build());
  embedded.verify();
}

TEST(Embedding, RefusesHintsForThePictures) {
  MovieBuilder movie = captionedMovie();
  movie.tracks.push_back(otherTrack("hint", box("rtp ", zeros(8))));
  const auto refers = [](std::uint32_t track) { return box("tref", box("hint", u32(track))); };
  MovieBuilder ofPictures = movie;
  ofPictures.addInside("moov/trak[4]", refers(1));
  const std::string refusal = refusalOf(ofPictures.build());
  EXPECT_TRUE(contains(refusal, "track 4: it holds hints for streaming the pictures")) << refusal;
  MovieBuilder ofSound = movie;
  ofSound.addInside("moov/trak[4]", refers(2));
  EXPECT_EQ(refusalOf(ofSound.build()), "not refused");
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
  Embedded embedded(movie.build(), {.listCaptions = true});
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
  Embedded embedded(movie.build(), {.listCaptions = true});
  EXPECT_EQ(embedded.result().pairs, 4u);
  EXPECT_EQ(captions::textOf(embedded.result().cues.at(0).cues.at(0)), "A");
}

TEST(Embedding, BoundsWhatEditsOfCaptionsRepeat) {
  MovieBuilder movie = captionedMovie();
  std::vector<MovieEdit> edits(1000, MovieEdit{600'000, 0});
  movie.tracks[2] =
      captionTrack(CaptionTrackOptions{.samples = std::vector<Bytes>(2000, cdat(Bytes(20, 0xC1)))});
  movie.tracks[2].edits = edits;
  EXPECT_TRUE(contains(refusalOf(movie.build()), "more captions than any film has"));
}

// What is around a byte, to find it by.
std::string printable(const Bytes& bytes, std::size_t place) {
  std::string text;
  for (std::size_t i = place < 24 ? 0 : place - 24; i < place; ++i) {
    text += std::isprint(bytes[i]) != 0 ? static_cast<char>(bytes[i]) : '.';
  }
  return text;
}

TEST(Embedding, RefusesSamplesThatBeginInAHeader) {
  MovieBuilder movie = captionedMovie();
  const auto lower = [](const Bytes& stco) {
    return patched(stco, stco.size() - 20 * 4 + 3, u8(stco[stco.size() - 20 * 4 + 3] - 1u));
  };
  movie.change("moov/trak[1]/mdia/minf/stbl/stco", lower);
  EXPECT_TRUE(contains(refusalOf(movie.build()), "track 1: sample 1, at byte"));
}

// One of them would be removed or changed with the other.
TEST(Embedding, RefusesTracksWithTheIdOfOneThatChanges) {
  for (const std::uint32_t id : {1u, 3u}) {
    MovieBuilder movie = captionedMovie();
    movie.tracks[1].id = id;
    EXPECT_EQ(refusalOf(movie.build()), "several tracks have the id " + std::to_string(id) +
                                            ". Make a plain copy of the movie first");
  }
  MovieBuilder others({videoTrack(), soundTrack(), soundTrack(), captionTrack()});
  others.tracks[1].id = 7;
  others.tracks[2].id = 7;
  Embedded(others.build()).verify();
}

TEST(Embedding, RefusesPicturesThatAreInNoChunk) {
  MovieBuilder movie = captionedMovie();
  movie.replace("moov/trak[1]/mdia/minf/stbl/stsc",
                fullBox("stsc", 0, 0, u32List({2, 1, 1, 1, 900, 5, 1})));
  movie.change("moov/trak[1]/mdia/minf/stbl/stco", [](const Bytes& stco) {
    return boxAround("stco", concat({zeros(4), u32(18), Bytes(stco.begin() + 16, stco.end() - 8)}));
  });
  EXPECT_EQ(refusalOf(movie.build()),
            "track 1: its chunks hold 18 of its 20 samples. Make a plain copy of the movie first");
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
  EXPECT_TRUE(contains(errorWith(pair, 0x01), "captions differ from those that were inserted"));
}

TEST_F(Verification, FindsAChangedByteOfAPictureOrOfSound) {
  const Bytes picture = captionedMovie().tracks[0].sampleBytes()[7];
  const Bytes end(picture.end() - 16, picture.end());
  EXPECT_TRUE(contains(errorWith(find(end, 15), 0x40), "bytes are not those of the input"));
  const Bytes sound = captionedMovie().tracks[1].sampleBytes()[3];
  EXPECT_TRUE(contains(errorWith(find(sound, 20), 0x40), "bytes are not those of the input"));
}

// A film with boxes of all kinds: unknown ones, metadata, references, chapters' user data.
MovieBuilder furnishedMovie() {
  MovieBuilder movie = captionedMovie();
  movie.addInside("moov/trak[1]", box("tref", box("cdsc", u32(3)), box("tmcd", u32(2))));
  movie.addInside("moov/trak[1]/mdia/minf/stbl", fullBox("sgpd", 1, 0, text("roll"), zeros(8)));
  movie.addInside("moov/trak[1]", box("meta", fullBox("hdlr", 0, 0, text("mhlrmdta"), zeros(13)),
                                      box("ilst", text("..."))));
  movie.addInside("moov/trak[2]", box("udta", box("name", text("Left")), u32(0)));
  movie.addInside("moov", box("udta", box("\xA9nam", text("title"))));
  movie.addInside("moov", box("uuid", Bytes(20, 0x55)));
  movie.extras["free"] = box("free", text("kept"));
  movie.extras["uuid"] = box("uuid", Bytes(24, 0x77));
  movie.order = {"ftyp", "free", "mdat", "moov", "uuid"};
  return movie;
}

// The bytes outside media whose change is not found.
std::vector<std::string> changesNotFound(Embedded& embedded) {
  std::vector<std::string> notFound;
  Bytes& bytes = embedded.bytes();
  embedded.verify();
  for (const norvik::kav::BoxView& top : norvik::kav::BoxView::listOf(Bytes(bytes))) {
    const bool isMedia = top.type() == norvik::kav::fourCc("mdat");
    const std::size_t length = isMedia ? top.headerLength() : top.bytes().size();
    for (std::size_t i = 0; i < length; ++i) {
      const std::size_t place = static_cast<std::size_t>(top.offset()) + i;
      bytes[place] ^= 1;
      try {
        embedded.verify();
        notFound.push_back(std::to_string(place) + ": ..." + printable(bytes, place));
      } catch (const VerificationError&) {
      } catch (const norvik::kav::Exception&) {
      }
      bytes[place] ^= 1;
    }
  }
  return notFound;
}

TEST(VerificationOfBoxes, FindsAChangeOfAnyByte) {
  Embedded embedded(furnishedMovie().build());
  EXPECT_EQ(changesNotFound(embedded), std::vector<std::string>());
}

TEST(VerificationOfBoxes, FindsAChangeOfAnyByteOfFragments) {
  MovieBuilder movie = furnishedMovie();
  movie.splitIntoFragments({7, 7, 2}, {.decodeTime = 0});
  Embedded embedded(movie.build());
  EXPECT_EQ(changesNotFound(embedded), std::vector<std::string>());
}

// They are kept as they are, whatever they would mean in their own place.
TEST(VerificationOfBoxes, ExpectsBoxesInPlacesThatAreNotTheirsUnchanged) {
  const Bytes ofCaptions = box("traf", fullBox("tfhd", 0, 0x020000, u32(3)));
  const Bytes handler =
      fullBox("hdlr", 0, 0, text("mhlr"), text("vide"), zeros(12), Bytes{4}, text("Name"));
  const Bytes fragment = box("moof", fullBox("mfhd", 0, 0, u32(1)), ofCaptions);
  for (const Bytes& stray : {fragment, ofCaptions, handler}) {
    for (const char* place : {"moov", "moov/trak[1]"}) {
      MovieBuilder movie = furnishedMovie();
      movie.addInside(place, stray);
      Embedded embedded(movie.build());
      EXPECT_NO_THROW(embedded.verify()) << typeOf(stray) << " in " << place;
    }
  }
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
