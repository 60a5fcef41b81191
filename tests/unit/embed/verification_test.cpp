#include "embed/verification.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <functional>
#include <string>
#include <vector>

#include "captions/cc_data.h"
#include "captions/sei.h"
#include "kav/box_view.h"
#include "tests/support/box_builders.h"
#include "tests/unit/embed/embedded_film.h"

namespace quarrypack::embed {
namespace {

using namespace quarrypack::test;
using norvik::kav::BoxView;

// What verification says of a film that takes the place of the written one.
std::string verdictOn(Embedded& embedded, const Bytes& written) {
  try {
    embedded.verifyInstead(written);
  } catch (const VerificationError& error) {
    return error.what();
  }
  return "verified";
}

std::string difference(const std::string& text) {
  return "the written file was read again and differs: " + text;
}

std::vector<Bytes> boxesOf(const Bytes& bytes) {
  std::vector<Bytes> boxes;
  for (const BoxView& view : BoxView::listOf(bytes)) {
    boxes.emplace_back(view.bytes().begin(), view.bytes().end());
  }
  return boxes;
}

// ---- Boxes of the file

MovieBuilder endingWith(const Bytes& box) {
  MovieBuilder movie = captionedMovie();
  movie.extras["last"] = box;
  movie.order = {"ftyp", "mdat", "moov", "last"};
  return movie;
}

TEST(VerificationOfFiles, FindsThatTheMovieDoesNotComeFirst) {
  Embedded embedded(captionedMovie().build());
  std::vector<Bytes> boxes = boxesOf(embedded.bytes());
  const std::string verdict =
      difference("the movie: the box 'moov' does not come directly after ftyp");
  std::swap(boxes.at(1), boxes.at(2));
  EXPECT_EQ(verdictOn(embedded, concat(boxes)), verdict);
  std::swap(boxes.at(0), boxes.at(2));
  EXPECT_EQ(verdictOn(embedded, concat(boxes)), verdict);
}

TEST(VerificationOfFiles, FindsABoxTooMany) {
  Embedded embedded(captionedMovie().build());
  EXPECT_EQ(verdictOn(embedded, concat({embedded.bytes(), box("free")})),
            difference("the movie: the box 'free' is not of the input"));
}

TEST(VerificationOfFiles, FindsThatABoxIsMissing) {
  Embedded embedded(endingWith(uuidBox(kXmpUuid, text("kept"))).build());
  embedded.verify();
  std::vector<Bytes> boxes = boxesOf(embedded.bytes());
  boxes.pop_back();
  EXPECT_EQ(verdictOn(embedded, concat(boxes)), difference("the movie: the box 'uuid' is missing"));
}

TEST(VerificationOfFiles, FindsAnotherBox) {
  Embedded embedded(endingWith(box("skip", text("kept"))).build());
  std::vector<Bytes> boxes = boxesOf(embedded.bytes());
  const std::string verdict = difference("the movie: the box 'skip' is not that of the input");
  for (const Bytes& other :
       {box("free", text("kept")), box("skip", text("longer")), box("skip", text("lost"))}) {
    boxes.back() = other;
    EXPECT_EQ(verdictOn(embedded, concat(boxes)), verdict);
  }
}

// ---- Boxes of the movie

// The written film with a box inside moov changed.
Bytes withMovie(const Bytes& written, const std::function<void(std::vector<Bytes>&)>& change) {
  std::vector<Bytes> boxes = boxesOf(written);
  std::vector<Bytes> children = boxesOf(payloadOf(boxes.at(1)));
  change(children);
  boxes.at(1) = boxAround("moov", concat(children));
  return concat(boxes);
}

TEST(VerificationOfMovies, FindsABoxTooManyOrTooFew) {
  MovieBuilder movie = captionedMovie();
  movie.addInside("moov", box("uuid", Bytes(20, 0x55)));
  Embedded embedded(movie.build());
  const auto more = [](std::vector<Bytes>& children) { children.push_back(box("free")); };
  EXPECT_EQ(verdictOn(embedded, withMovie(embedded.bytes(), more)),
            difference("the movie: the box 'free' is not of the input"));
  const auto fewer = [](std::vector<Bytes>& children) { children.pop_back(); };
  EXPECT_EQ(verdictOn(embedded, withMovie(embedded.bytes(), fewer)),
            difference("the movie: the box 'uuid' is missing"));
}

TEST(VerificationOfMovies, FindsATrackTooManyOrTooFew) {
  Embedded embedded(captionedMovie().build());
  const auto fewer = [](std::vector<Bytes>& children) {
    EXPECT_EQ(typeOf(children.back()), "trak");
    children.pop_back();
  };
  EXPECT_TRUE(contains(verdictOn(embedded, withMovie(embedded.bytes(), fewer)), "is missing"));
  const auto twice = [](std::vector<Bytes>& children) {
    children.push_back(Bytes(children.back()));
  };
  EXPECT_NE(verdictOn(embedded, withMovie(embedded.bytes(), twice)), "verified");
}

TEST(VerificationOfMovies, FindsTracksInAnotherOrder) {
  Embedded embedded(captionedMovie().build());
  const auto swapped = [](std::vector<Bytes>& children) {
    std::iter_swap(children.end() - 1, children.end() - 2);
  };
  EXPECT_NE(verdictOn(embedded, withMovie(embedded.bytes(), swapped)), "verified");
}

// The places in a saio and the sizes in a subs follow the media, as those of chunks do.
TEST(VerificationOfMovies, LetsPlacesAndPartsOfSamplesChange) {
  MovieBuilder movie = captionedMovie();
  const Bytes part = concat({u16(10), u16(0), u32(0)});
  movie.addInside("moov/trak[1]/mdia/minf/stbl",
                  fullBox("subs", 0, 0, u32(1), u32(1), u16(1), part));
  movie.addInside("moov/trak[2]/mdia/minf/stbl", fullBox("saio", 0, 0, u32(1), u32(60)));
  movie.addInside("moov/trak[2]/mdia/minf/stbl",
                  fullBox("subs", 0, 0, u32(1), u32(1), u16(1), part));
  Embedded embedded(movie.build());
  embedded.verify();

  const auto verdictWithout = [&embedded](std::string_view type, std::size_t number) {
    Bytes written = embedded.bytes();
    auto found = written.begin();
    for (std::size_t i = 0; i < number; ++i) {
      const Bytes name = text(type);
      found = std::search(found + 1, written.end(), name.begin(), name.end());
    }
    *found = 'x';
    return verdictOn(embedded, written);
  };
  EXPECT_EQ(verdictWithout("subs", 1),
            difference("track 1: the box 'mdia/minf/stbl/subs' is not that of the input"));
  EXPECT_EQ(verdictWithout("saio", 1),
            difference("track 2: the box 'mdia/minf/stbl/saio' is not that of the input"));
  EXPECT_EQ(verdictWithout("subs", 2),
            difference("track 2: the box 'mdia/minf/stbl/subs' is not that of the input"));
}

// ---- Fragments

std::vector<std::string> typesOf(const Bytes& file) {
  std::vector<std::string> types;
  for (const Bytes& one : boxesOf(file)) types.emplace_back(typeOf(one));
  return types;
}

using Types = std::vector<std::string>;

// An index of no segments.
Bytes emptyIndex(std::uint32_t track) {
  return fullBox("sidx", 0, 0, u32(track), u32(600), u32(0), u32(0), u16(0), u16(0));
}

TEST(VerificationOfFragments, ExpectsNoIndexOfWhatIsRemoved) {
  MovieBuilder movie = captionedMovie();
  movie.extras["sidx"] = concat({emptyIndex(1), emptyIndex(3)});
  movie.splitIntoFragments({20, 20, 2});
  movie.order.emplace_back("sidx");
  movie.randomAccess = true;
  const Bytes file = movie.build();
  EXPECT_EQ(typesOf(file), (Types{"ftyp", "sidx", "sidx", "moov", "moof", "mdat", "mfra"}));
  Embedded embedded(file);
  embedded.verify();
  EXPECT_EQ(typesOf(embedded.bytes()), (Types{"ftyp", "moov", "sidx", "moof", "mdat"}));

  std::vector<Bytes> boxes = boxesOf(embedded.bytes());
  boxes.at(2) = emptyIndex(2);
  EXPECT_EQ(verdictOn(embedded, concat(boxes)),
            difference("the movie: the box 'sidx' is not that of the input"));
}

TEST(VerificationOfFragments, ExpectsTheRandomAccessOfFragmentsThatStay) {
  MovieBuilder movie({videoTrack({.count = 10})});
  movie.splitIntoFragments({5});
  movie.randomAccess = true;
  std::array<captions::FieldPairs, kFields> fields;
  fields[0] = {{captions::kPairTime, {0x94, 0x2C}}};
  Embedded embedded(movie.build(), {.captions = fields});
  embedded.verify();
  std::vector<Bytes> boxes = boxesOf(embedded.bytes());
  ASSERT_EQ(typeOf(boxes.back()), "mfra");
  boxes.pop_back();
  EXPECT_EQ(verdictOn(embedded, concat(boxes)), difference("the movie: the box 'mfra' is missing"));
}

// ---- Captions

// Where the caption data of a picture begins in the written film: the flags and the count.
std::size_t captionDataIn(const Bytes& written, std::size_t picture) {
  const Bytes start = concat({text("GA94"), u8(3)});
  auto found = written.begin();
  for (std::size_t i = 0; i <= picture; ++i) {
    found = std::search(found + 1, written.end(), start.begin(), start.end());
  }
  EXPECT_NE(found, written.end());
  return static_cast<std::size_t>(found - written.begin()) + start.size();
}

class VerificationOfCaptions : public testing::Test {
 protected:
  Embedded embedded_{captionedMovie().build()};
};

TEST_F(VerificationOfCaptions, FindsDataThatDecodersIgnore) {
  Bytes written = embedded_.bytes();
  written[captionDataIn(written, 2)] ^= 0x40;
  EXPECT_TRUE(contains(verdictOn(embedded_, written), "its captions are damaged"))
      << verdictOn(embedded_, written);
}

TEST_F(VerificationOfCaptions, FindsDataThatClaimsMorePairsThanItHolds) {
  Bytes written = embedded_.bytes();
  written[captionDataIn(written, 2)] |= 0x1F;
  EXPECT_TRUE(contains(verdictOn(embedded_, written), "its captions are damaged"))
      << verdictOn(embedded_, written);
}

// The last pair becomes a message of one byte, of a type that says nothing of captions.
TEST_F(VerificationOfCaptions, FindsAnotherMessageInTheirUnit) {
  Bytes written = embedded_.bytes();
  const std::size_t data = captionDataIn(written, 2);
  const std::size_t count = written[data] & 0x1Fu;
  ASSERT_GE(count, 1u);
  // The length of the message comes before the country code, the provider and the identifier.
  constexpr std::size_t kAfterLength = 9;
  written[data - kAfterLength] -= 3;
  --written[data];
  const std::size_t last = data + 2 + 3 * (count - 1);
  written[last] = 0xFF;  // the end of the caption data
  written[last + 1] = 5;
  written[last + 2] = 1;
  written[last + 3] = 0x77;
  EXPECT_TRUE(contains(verdictOn(embedded_, written), "share a unit with other messages"))
      << verdictOn(embedded_, written);
}

// A unit of captions that also holds a message of one byte.
Bytes sharedUnit() {
  Bytes unit;
  captions::buildCaptionUnit(
      unit, {}, std::vector{captions::CcTriplet{true, captions::CcType::field1, 0x94, 0x20}});
  constexpr std::size_t kLength = 4;
  Bytes nalUnit(unit.begin() + kLength, unit.end() - 1);
  append(nalUnit, {5, 1, 0x77, 0x80});
  return lengthPrefixed(nalUnit);
}

TEST(VerificationOfReplacedCaptions, ExpectsTheOtherMessagesOfTheirUnit) {
  MovieBuilder movie = captionedMovie();
  movie.tracks[0].samples[3].bytes =
      concat({sharedUnit(), lengthPrefixed(nal(kSlice, Bytes(40, 0x55)))});
  Embedded embedded(movie.build(), {.replace = true});
  EXPECT_EQ(embedded.result().replacedPictures, 1u);
  embedded.verify();

  Bytes written = embedded.bytes();
  const Bytes rest = lengthPrefixed({kSei, 5, 1, 0x77, 0x80});
  const auto found = std::search(written.begin(), written.end(), rest.begin(), rest.end());
  ASSERT_NE(found, written.end());
  found[7] = 0x78;
  EXPECT_EQ(verdictOn(embedded, written),
            difference("track 1, sample 4: its bytes are not those of the input"));
}

}  // namespace
}  // namespace quarrypack::embed
