#include "embed/film.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/support/box_builders.h"
#include "tests/unit/embed/embedded_film.h"

namespace quarrypack::embed {
namespace {

using namespace quarrypack::test;

// ---- Sizes of boxes

TEST(Film, HoldsBoxesOfLargeHeaders) {
  MovieBuilder movie = captionedMovie();
  movie.extras["free"] = largeForm(box("free", text("kept")));
  movie.order = {"ftyp", "free", "mdat", "moov"};
  const Film film(opened(movie.build()));
  ASSERT_EQ(film.boxes().size(), 4u);
  EXPECT_EQ(film.boxes()[1].size, 20u);
  EXPECT_EQ(film.boxes()[1].headerLength, 16u);
  EXPECT_EQ(film.boxes()[2].headerLength, 8u);
  EXPECT_EQ(refusalOf(movie.build()), "not refused");
}

TEST(Film, IsRefusedWhereALargeHeaderClaimsMoreThanThereIs) {
  MovieBuilder movie = captionedMovie();
  const std::size_t end = movie.build().size();
  movie.tail = claimingLargeSize(1000, box("free", text("cut")));
  EXPECT_EQ(refusalOf(movie.build()),
            "the file is cut short: its box 'free' at byte " + std::to_string(end) +
                " says 1000 bytes, and 19 are there. Get the whole file, or repair it with a plain "
                "copy first");
}

// ---- References to other files

const Bytes kSelf = fullBox("url ", 0, 1);
const Bytes kOther = fullBox("url ", 0, 0, text("film.mov"), zeros(1));

// A film whose first track has these data references, and a description that uses one by number.
MovieBuilder referring(const std::vector<Bytes>& references, std::uint16_t used) {
  constexpr std::size_t kReferenceIndex = 8 + 6;
  MovieBuilder movie = captionedMovie();
  movie.tracks[0].entries = {patched(movie.tracks[0].entries.front(), kReferenceIndex, u16(used))};
  const auto count = static_cast<std::uint32_t>(references.size());
  movie.replace("moov/trak[1]/mdia/minf/dinf",
                box("dinf", fullBox("dref", 0, 0, u32(count), concat(references))));
  return movie;
}

std::string refusalOfReferences(const std::vector<Bytes>& references, std::uint16_t used) {
  return refusalOf(referring(references, used).build());
}

TEST(Film, IsRefusedWhereItsMediaLiesElsewhere) {
  const std::string refusal =
      "track 1: its media lies in another file. Save the movie with its media first";
  EXPECT_EQ(refusalOfReferences({kOther}, 1), refusal);
  EXPECT_EQ(refusalOfReferences({kSelf, kOther}, 2), refusal);
}

TEST(Film, MayReferToFilesThatItDoesNotUse) {
  EXPECT_EQ(refusalOfReferences({kSelf, kOther}, 1), "not refused");
  EXPECT_EQ(refusalOfReferences({kOther}, 0), "not refused");
  EXPECT_EQ(refusalOfReferences({kOther}, 2), "not refused");
}

TEST(Film, MayReferToItselfWithoutTheFlag) {
  EXPECT_EQ(refusalOfReferences({fullBox("url ", 0, 0)}, 1), "not refused");
  EXPECT_EQ(refusalOfReferences({fullBox("url ", 0, 0, zeros(1))}, 1), "not refused");
}

// ---- Pictures that take no captions

TEST(Film, IsRefusedWithTheNamesOfAllCodings) {
  MovieBuilder movie = captionedMovie();
  movie.tracks[0].entries = {videoEntry("apcn", Bytes()), videoEntry("apch", Bytes())};
  EXPECT_TRUE(contains(refusalOf(movie.build()), "are coded as 'apcn', 'apch', and captions go"))
      << refusalOf(movie.build());
}

TEST(Film, IsRefusedWhereOneOfItsVideoTracksIsDisabled) {
  MovieTrack other = videoTrack();
  other.entries = {videoEntry("apcn", Bytes())};
  MovieTrack disabled = videoTrack();
  disabled.flags = 0;
  const std::string refusal = refusalOf(MovieBuilder({disabled, other, captionTrack()}).build());
  EXPECT_TRUE(contains(refusal, "those of H.264 or HEVC are disabled")) << refusal;
}

TEST(Film, IsRefusedWhereItsPicturesAreEncrypted) {
  const Bytes scheme = box("sinf", box("frma", text("avc1")));
  for (const Bytes& entry :
       {videoEntry("encv", avcConfiguration()), videoEntry("drmi", avcConfiguration()),
        videoEntry("avc1", concat({avcConfiguration(), scheme}))}) {
    MovieBuilder movie = captionedMovie();
    movie.tracks[0].entries = {entry};
    EXPECT_TRUE(contains(refusalOf(movie.build()), "track 1: its pictures are encrypted"));
  }
}

// ---- Samples

// Forty samples of half the file each, all at the same place.
TEST(Film, IsRefusedWithMoreSamplesThanItsFileCanHold) {
  constexpr std::uint32_t kSize = 40'000;
  MovieBuilder movie({videoTrack({.count = 40, .sliceSize = 2'000}), captionTrack()});
  movie.replace("moov/trak[1]/mdia/minf/stbl/stsz", fullBox("stsz", 0, 0, u32(kSize), u32(40)));
  movie.change("moov/trak[1]/mdia/minf/stbl/stco", [](const Bytes& stco) {
    const Bytes first(stco.begin() + 16, stco.begin() + 20);
    Bytes same(stco.begin(), stco.begin() + 16);
    while (same.size() < stco.size()) append(same, first);
    return same;
  });
  EXPECT_EQ(refusalOf(movie.build()), "track 1: it has more samples than its file can hold");
}

}  // namespace
}  // namespace quarrypack::embed
