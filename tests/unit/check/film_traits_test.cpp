#include "check/film_traits.h"

#include <gtest/gtest.h>

#include <array>
#include <string>
#include <vector>

#include "check/conversion_rule_table.h"
#include "tests/support/box_builders.h"
#include "tests/support/media_samples.h"
#include "tests/support/memory_stream.h"
#include "tests/support/movie_builder.h"

namespace quarrypack::check {
namespace {

using namespace test;

// Each finding as "rule: detail".
std::vector<std::string> traitsOf(const MovieBuilder& movie) {
  sources::FilmFile film(MemoryStream::create(movie.build()));
  Findings findings;
  noteTraits(film, findings);
  std::vector<std::string> texts;
  for (const Finding& finding : std::move(findings).take()) {
    texts.push_back(std::string(finding.rule->id) + ": " + finding.detail);
  }
  return texts;
}

using Texts = std::vector<std::string>;

Texts finding(const Rule& rule, const std::string& detail) {
  return {std::string(rule.id) + ": " + detail};
}

MovieBuilder film() { return MovieBuilder({videoTrack(), captionTrack(2)}); }

// ---- The matrix

constexpr std::uint32_t kOne = 0x10000;
constexpr std::uint32_t kMinusOne = 0xFFFF0000;
constexpr std::uint32_t kOneOfW = 0x40000000;

using Matrix = std::array<std::uint32_t, 9>;

MovieBuilder placedBy(const Matrix& matrix, unsigned headerVersion = 0) {
  MovieBuilder movie = film();
  movie.tracks[0].headerVersion = headerVersion;
  const std::size_t place = headerVersion == 1 ? 60 : 48;
  movie.change("moov/trak[1]/tkhd", [matrix, place](const Bytes& tkhd) {
    Bytes words;
    for (const std::uint32_t word : matrix) words = concat({words, u32(word)});
    return patched(tkhd, place, words);
  });
  return movie;
}

TEST(FilmTraits, NameTheQuarterTurns) {
  const std::uint32_t width = 320u << 16;
  const std::uint32_t height = 240u << 16;
  for (const unsigned version : {0u, 1u}) {
    EXPECT_EQ(traitsOf(placedBy({kOne, 0, 0, 0, kOne, 0, 0, 0, kOneOfW}, version)), Texts());
    EXPECT_EQ(traitsOf(placedBy({0, kOne, 0, kMinusOne, 0, 0, height, 0, kOneOfW}, version)),
              finding(kRotationLost, "track 1 (video), 90 degrees"));
    EXPECT_EQ(
        traitsOf(placedBy({kMinusOne, 0, 0, 0, kMinusOne, 0, width, height, kOneOfW}, version)),
        finding(kRotationLost, "track 1 (video), 180 degrees"));
    EXPECT_EQ(traitsOf(placedBy({0, kMinusOne, 0, kOne, 0, 0, 0, width, kOneOfW}, version)),
              finding(kRotationLost, "track 1 (video), 270 degrees"));
  }
}

TEST(FilmTraits, NameNoTurnWhereItIsNotTheWholeChange) {
  for (const Matrix& matrix : {
           Matrix{kMinusOne, 0, 0, 0, kOne, 0, 0, 0, kOneOfW},       // mirrored
           Matrix{kMinusOne, 0, 0, 1, kMinusOne, 0, 0, 0, kOneOfW},  // skewed
           Matrix{kMinusOne, 1, 0, 0, kMinusOne, 0, 0, 0, kOneOfW},
           Matrix{0, kOne, 0, kOne, 0, 0, 0, 0, kOneOfW},  // turned and mirrored
           Matrix{0, kMinusOne, 0, kMinusOne, 0, 0, 0, 0, kOneOfW},
           Matrix{0, kOne, 0, kMinusOne, 1, 0, 0, 0, kOneOfW},
           Matrix{0, kMinusOne, 0, kOne, 1, 0, 0, 0, kOneOfW},
           Matrix{0, 2 * kOne, 0, kMinusOne, 0, 0, 0, 0, kOneOfW},  // stretched
           Matrix{0, kOne, 1, kMinusOne, 0, 0, 0, 0, kOneOfW},      // in perspective
           Matrix{0, kOne, 0, kMinusOne, 0, 1, 0, 0, kOneOfW},
           Matrix{0, kOne, 0, kMinusOne, 0, 0, 0, 0, kOneOfW / 2},
           Matrix{kOne, 0, 0, 0, kOne, 0, kOne, 0, kOneOfW},  // moved
       }) {
    EXPECT_EQ(traitsOf(placedBy(matrix)), finding(kRotationLost, "track 1 (video)"));
  }
}

// ---- Edits

TEST(FilmTraits, FindSpeedsInWideEditListsToo) {
  MovieBuilder movie = film();
  movie.tracks[0].editListVersion = 1;
  movie.tracks[0].edits = {{60, kEmptyEdit, 0x20000}, {600, 0, 0x8000}};
  EXPECT_EQ(traitsOf(movie), finding(kEditRateLost, "track 1 (video)"));
  movie.tracks[0].edits = {{600, 0}};
  EXPECT_EQ(traitsOf(movie), Texts());
}

TEST(FilmTraits, OfAnEditBoxWithoutAListAreNone) {
  MovieBuilder movie = film();
  movie.tracks[0].edits = {{600, 0, 0x20000}};
  movie.replace("moov/trak[1]/edts", box("edts", box("free", zeros(28))));
  EXPECT_EQ(traitsOf(movie), Texts());
}

// ---- References, metadata, codings

TEST(FilmTraits, LeaveOutReferencesToCaptions) {
  MovieBuilder movie = film();
  movie.addInside("moov/trak[1]", box("tref", box("clcp", u32(2))));
  EXPECT_EQ(traitsOf(movie), Texts());
}

TEST(FilmTraits, LeaveOutWhatHintsReferTo) {
  MovieBuilder movie = film();
  movie.tracks.push_back(otherTrack("hint", genericEntry("rtp ", zeros(8))));
  movie.addInside("moov/trak[3]", box("tref", box("hint", u32(1))));
  EXPECT_EQ(traitsOf(movie), Texts());
}

TEST(FilmTraits, NameEveryKindOfMetadataOnce) {
  MovieBuilder movie = film();
  movie.addInside("moov", box("udta", zeros(8)));
  movie.addInside("moov", box("udta", zeros(9)));
  movie.addInside("moov", box("udta", u32(0)));  // empty
  movie.addInside("moov/trak[1]", box("meta", zeros(9)));
  movie.extras["uuid"] = box("uuid", Bytes(24, 0x77));
  movie.order.emplace_back("uuid");
  EXPECT_EQ(traitsOf(movie),
            finding(kMetadataLost, "file: uuid, track 1 (video): meta, movie: udta"));
}

TEST(FilmTraits, TellEncryptionByTheCodingOrItsBox) {
  for (const char* codec : {"enca", "drms", "enct"}) {
    MovieBuilder movie = film();
    movie.tracks.push_back(otherTrack("soun", soundEntry(codec, Bytes())));
    EXPECT_EQ(traitsOf(movie), finding(kEncryptedSamples, "track 3 (sound)")) << codec;
  }
  MovieBuilder movie = film();
  const Bytes scheme = box("sinf", box("frma", text("avc1")));
  movie.tracks[0].entries = {videoEntry("avc1", concat({avcConfiguration(), scheme}))};
  EXPECT_EQ(traitsOf(movie), finding(kEncryptedSamples, "track 1 (video)"));
}

TEST(FilmTraits, NameTheCodingOfPicturesThatTakeNoCaptions) {
  MovieBuilder movie = film();
  movie.tracks[0].entries = {videoEntry("apcn", Bytes())};
  EXPECT_EQ(traitsOf(movie), finding(kVideoIsNotH264, "track 1 (video): 'apcn'"));
}

TEST(FilmTraits, OfAFilmWithoutPicturesAreNone) {
  EXPECT_EQ(traitsOf(MovieBuilder({soundTrack(), captionTrack(2)})), Texts());
}

}  // namespace
}  // namespace quarrypack::check
