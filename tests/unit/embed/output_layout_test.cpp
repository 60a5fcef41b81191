#include "embed/output_layout.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "embed/refusal.h"
#include "tests/support/box_builders.h"
#include "tests/support/memory_stream.h"

namespace quarrypack::embed {
namespace {

using namespace quarrypack::test;
using norvik::kav::BoxView;

constexpr std::uint32_t kVideo = 1;
constexpr std::uint32_t kCaptions = 2;

Bytes track(std::uint32_t id, std::uint32_t size, std::uint32_t offset) {
  return box(
      "trak", fullBox("tkhd", 0, 3, zeros(8), u32(id), zeros(68)),
      box("mdia", box("minf", box("stbl", fullBox("stsc", 0, 0, u32(1), u32(1), u32(1), u32(1)),
                                  fullBox("stsz", 0, 0, u32(0), u32(1), u32(size)),
                                  fullBox("stco", 0, 0, u32(1), u32(offset))))));
}

Bytes movie(const Bytes& children) {
  return box("moov", fullBox("mvhd", 0, 0, zeros(96)), children);
}

Bytes fileType(std::string_view brands) {
  return box("ftyp", text(brands.substr(0, 4)), u32(0), text(brands));
}

// Splices of samples insert exclamation marks.
class Marks final : public MediaContent {
 public:
  void append(const Splice& splice, OutputBuffer& output) override {
    output.append(Bytes(splice.inserted, '!'));
  }
};

std::vector<TopLevelBox> boxesOf(const Bytes& file) {
  std::vector<TopLevelBox> boxes;
  for (const BoxView& view : BoxView::listOf(file)) {
    boxes.push_back({view.type(), view.offset(), view.bytes().size()});
  }
  return boxes;
}

Bytes rewritten(const Bytes& file, std::vector<Splice> media,
                std::vector<std::uint32_t> removed = {},
                std::vector<FragmentChanges::Defaults> defaults = {}) {
  BoxView moov = *BoxView::at(file);
  for (const BoxView& view : BoxView::listOf(file)) {
    if (view.type() == norvik::kav::fourCc("moov")) moov = view;
  }
  Marks marks;
  OutputLayout layout(
      boxesOf(file), moov,
      [&file](std::uint64_t offset, std::span<std::uint8_t> bytes) {
        ASSERT_LE(offset + bytes.size(), file.size());
        std::copy_n(file.begin() + static_cast<std::ptrdiff_t>(offset), bytes.size(),
                    bytes.begin());
      },
      {std::move(media),
       {.pictureTrack = kVideo, .removedTracks = std::move(removed)},
       std::move(defaults)},
      marks);
  const auto in = MemoryStream::create(file);
  const auto out = MemoryStream::create();
  in->open();
  out->open();
  copySpliced(*in, file.size(), *out, layout.map(), layout);
  return out->bytes();
}

TEST(OutputLayout, PutsTheMovieBeforeTheMedia) {
  // Media at byte 20 + 8 of the input, and after the movie in the output.
  const auto moov = [](std::uint32_t size, std::uint32_t offset) {
    return movie(track(kVideo, size, offset));
  };
  const Bytes in = concat(
      {fileType("qt  "), box("mdat", text("0123456789")), moov(10, 28), box("free", text("end"))});
  const auto length = static_cast<std::uint32_t>(moov(0, 0).size());
  const Bytes out = concat({fileType("mp42isom"), moov(13, 24 + length + 8),
                            box("mdat", text("012!!!3456789")), box("free", text("end"))});
  EXPECT_EQ(rewritten(in, {{31, 3, 0}}), out);
}

TEST(OutputLayout, OfAMovieBoxThatComesFirstKeepsTheOrder) {
  const auto moov = [](std::uint32_t size, std::uint32_t offset) {
    return movie(track(kVideo, size, offset));
  };
  const auto length = static_cast<std::uint32_t>(moov(0, 0).size());
  const Bytes in = concat(
      {fileType("isom"), moov(4, 20 + length + 8 + 8), box("wide"), box("mdat", text("0123"))});
  const Bytes out = concat({fileType("mp42isom"), moov(6, 24 + length + 8 + 8), box("wide"),
                            box("mdat", text("!!0123"))});
  EXPECT_EQ(rewritten(in, {{20 + length + 16, 2, 0}}), out);
}

TEST(OutputLayout, WithoutAFileTypeMakesOne) {
  const Bytes in = concat({box("mdat", text("0123")), movie(track(kVideo, 4, 8))});
  const auto length = static_cast<std::uint32_t>(movie(track(kVideo, 4, 8)).size());
  EXPECT_EQ(rewritten(in, {{8, 2, 0}}),
            concat({fileType("mp42isom"), movie(track(kVideo, 6, 24 + length + 8)),
                    box("mdat", text("!!0123"))}));
  // Nothing changes in the first box.
  EXPECT_EQ(rewritten(in, {}),
            concat({fileType("mp42isom"), movie(track(kVideo, 4, 24 + length + 8)),
                    box("mdat", text("0123"))}));
}

TEST(OutputLayout, RemovesCaptionTracksWithTheirBytes) {
  const Bytes in = concat({fileType("mp42isom"), box("mdat", text("videoCAPS")),
                           movie(concat({track(kVideo, 5, 32), track(kCaptions, 4, 37)}))});
  const auto length = static_cast<std::uint32_t>(movie(track(kVideo, 5, 32)).size());
  EXPECT_EQ(rewritten(in, {{37, 0, 4}}, {kCaptions}),
            concat({fileType("mp42isom"), movie(track(kVideo, 5, 24 + length + 8)),
                    box("mdat", text("video"))}));
}

TEST(OutputLayout, GivesABoxThatRunsToTheEndItsSize) {
  const auto length = static_cast<std::uint32_t>(movie(track(kVideo, 4, 0)).size());
  const std::uint32_t media = 24 + length + 8;
  const auto file = [&](std::uint32_t size, const Bytes& mdat) {
    return concat({fileType("mp42isom"), movie(track(kVideo, size, media)), mdat});
  };
  const Bytes in = file(4, runningToEnd(box("mdat", text("0123"))));
  EXPECT_EQ(rewritten(in, {}), file(4, box("mdat", text("0123"))));
  EXPECT_EQ(rewritten(in, {{media + 2, 1, 0}}), file(5, box("mdat", text("01!23"))));
}

TEST(OutputLayout, KeepsALargeHeader) {
  const Bytes in = concat({fileType("mp42isom"), largeForm(box("mdat", text("0123"))),
                           movie(track(kVideo, 4, 24 + 16))});
  const auto length = static_cast<std::uint32_t>(movie(track(kVideo, 4, 0)).size());
  EXPECT_EQ(rewritten(in, {{40, 2, 0}}),
            concat({fileType("mp42isom"), movie(track(kVideo, 6, 24 + length + 16)),
                    largeForm(box("mdat", text("!!0123")))}));
}

TEST(OutputLayout, RefusesSplicesOutsideTheContentOfBoxes) {
  const Bytes in =
      concat({fileType("mp42isom"), box("mdat", text("0123")), movie(track(kVideo, 4, 32))});
  // In ftyp, at a header, in a header, in moov, after the end, and one in another.
  for (const std::vector<Splice>& media : {std::vector<Splice>{{10, 1, 0}},
                                           {{24, 1, 0}},
                                           {{30, 1, 0}},
                                           {{50, 1, 0}},
                                           {{5000, 1, 0}},
                                           {{32, 0, 3}, {33, 1, 0}}}) {
    EXPECT_THROW(rewritten(in, media), Refusal) << media.front().offset;
  }
}

// The verification could not tell a change of other boxes from damage.
TEST(OutputLayout, RefusesSplicesInABoxThatIsNotForMedia) {
  const Bytes in = concat(
      {fileType("isom"), box("uuid", zeros(16), text("0123")), movie(track(kVideo, 4, 20 + 24))});
  try {
    rewritten(in, {{20 + 24, 2, 0}});
    FAIL() << "not refused";
  } catch (const Refusal& refusal) {
    EXPECT_EQ(std::string(refusal.what()),
              "samples that would change lie in the box 'uuid' at byte 20, which is not for media. "
              "Make a plain copy of the movie first");
  }
}

TEST(OutputLayout, MovesTheItemsOfMetadata) {
  // Those of a top-level box and of the movie lie after the media.
  const auto items = [](std::uint32_t offset) {
    return fullBox(
        "meta", 0, 0,
        fullBox("iloc", 0, 0, u16(0x4400), u16(1), u16(1), u16(0), u16(1), u32(offset), u32(4)));
  };
  const auto film = [&](const Bytes& media, std::uint32_t at, std::uint32_t item) {
    const auto size = static_cast<std::uint32_t>(media.size() - 4);
    const Bytes moov =
        movie(concat({track(kVideo, size, at), items(item), box("udta", items(item))}));
    return concat({fileType("mp42isom"), moov, items(item), box("mdat", media)});
  };
  const Bytes in = film(text("0123JPEG"), 0, 0);
  const auto media = static_cast<std::uint32_t>(in.size() - 8);
  EXPECT_EQ(rewritten(film(text("0123JPEG"), media, media + 4), {{media, 2, 0}}),
            film(text("!!0123JPEG"), media, media + 6));
}

// ---- Fragments

Bytes fragment(std::uint32_t offset, std::uint32_t size, bool withCaptions) {
  const Bytes captions = withCaptions
                             ? box("traf", fullBox("tfhd", 0, 0x020000, u32(kCaptions)),
                                   fullBox("trun", 0, 0x201, u32(1), u32(offset + size), u32(4)))
                             : Bytes();
  return box("moof", fullBox("mfhd", 0, 0, u32(1)),
             box("traf", fullBox("tfhd", 0, 0x020000, u32(kVideo)),
                 fullBox("trun", 0, 0x201, u32(1), u32(offset), u32(size))),
             captions);
}

Bytes index(std::uint32_t size) {
  return fullBox("sidx", 0, 0, u32(kVideo), u32(600), u32(0), u32(0), u16(0), u16(1), u32(size),
                 u32(1), u32(2));
}

Bytes access(std::uint32_t offset) {
  const Bytes tfra =
      fullBox("tfra", 0, 0, u32(kVideo), u32(0), u32(1), u32(0), u32(offset), u8(1), u8(1), u8(1));
  return box("mfra", tfra, fullBox("mfro", 0, 0, u32(8 + tfra.size() + 16)));
}

const Bytes kFragmentMovie = movie(box("mvex"));

// A film of one segment: its index, its fragment, its media and the index at the end.
Bytes fragmented(std::string_view brands, std::string_view media, bool withCaptions,
                 bool withAccess) {
  const auto videoSize = static_cast<std::uint32_t>(media.size()) - (withCaptions ? 4u : 0u);
  const auto moofLength = static_cast<std::uint32_t>(fragment(0, 0, withCaptions).size());
  const Bytes moof = fragment(moofLength + 8, videoSize, withCaptions);
  const Bytes before = concat({fileType(brands), kFragmentMovie});
  const Bytes segment = concat({moof, box("mdat", text(media))});
  const Bytes sidx = index(static_cast<std::uint32_t>(segment.size()));
  const auto place = static_cast<std::uint32_t>(before.size() + sidx.size());
  return concat({before, sidx, segment, withAccess ? access(place) : Bytes()});
}

std::uint64_t mediaStart(const Bytes& file) {
  for (const TopLevelBox& place : boxesOf(file)) {
    if (place.type == norvik::kav::fourCc("mdat")) return place.start + 8;
  }
  return 0;
}

TEST(OutputLayout, RewritesFragmentsAndTheirIndexes) {
  const Bytes in = fragmented("iso6", "video", false, true);
  EXPECT_EQ(rewritten(in, {{mediaStart(in) + 2, 3, 0}}),
            fragmented("mp42isomiso6iso5", "vi!!!deo", false, true));
}

TEST(OutputLayout, DropsTheRandomAccessOfFragmentsThatLoseTracks) {
  const Bytes in = fragmented("iso6", "videoCAPS", true, true);
  const std::uint64_t start = mediaStart(in);
  EXPECT_EQ(rewritten(in, {{start, 3, 0}, {start + 5, 0, 4}}, {kCaptions}),
            fragmented("mp42isomiso6iso5", "!!!video", false, false));
}

TEST(OutputLayout, DropsAFragmentOfCaptionsAlone) {
  const Bytes only = box("moof", box("traf", fullBox("tfhd", 0, 0x020000, u32(kCaptions))));
  const Bytes in = concat({fileType("iso6"), kFragmentMovie, only, box("mdat", text("CAPS"))});
  EXPECT_EQ(rewritten(in, {{mediaStart(in), 0, 4}}, {kCaptions}),
            concat({fileType("mp42isomiso6iso5"), kFragmentMovie, box("mdat")}));
}

TEST(OutputLayout, CopiesOtherBoxesOfSegments) {
  const Bytes more = concat({box("styp", text("msdh")), box("emsg", text("event")),
                             uuidBox(uuidOf("abcd"), text("x")), box("prft", text("time"))});
  const Bytes in = concat({fileType("iso6"), kFragmentMovie, more, box("ssix", text("hint"))});
  EXPECT_EQ(rewritten(in, {}), concat({fileType("mp42isomiso6iso5"), kFragmentMovie, more}));
}

// ---- Sizes that a file in memory cannot have

// A layout of a film whose top-level boxes are not all there.
class ClaimedFilm {
 public:
  ClaimedFilm(std::vector<TopLevelBox> boxes, Bytes start, std::vector<Splice> media = {})
      : start_(std::move(start)),
        layout_(
            std::move(boxes), *BoxView::at(moov_),
            [this](std::uint64_t offset, std::span<std::uint8_t> bytes) {
              ASSERT_LE(offset + bytes.size(), start_.size());
              std::copy_n(start_.begin() + static_cast<std::ptrdiff_t>(offset), bytes.size(),
                          bytes.begin());
            },
            {std::move(media), {.pictureTrack = kVideo}, {}}, marks_) {}

  const OffsetMap& map() const { return layout_.map(); }

  // What the splice of that index inserts; called in their order.
  Bytes inserted(std::size_t splice) {
    const auto out = MemoryStream::create();
    out->open();
    OutputBuffer buffer(*out);
    layout_.append(splice, buffer);
    buffer.flush();
    return out->bytes();
  }

 private:
  Bytes moov_ = movie(track(kVideo, 4, 100));
  Bytes start_;
  Marks marks_;
  OutputLayout layout_;
};

std::string refusalOf(std::vector<TopLevelBox> boxes, const Bytes& start = {}) {
  try {
    const ClaimedFilm film(std::move(boxes), start);
  } catch (const Refusal& refusal) {
    return refusal.what();
  }
  return "not refused";
}

TEST(OutputLayout, RefusesTablesThatAreTooLarge) {
  using norvik::kav::fourCc;
  constexpr std::uint64_t kMebibyte = 1u << 20;
  constexpr std::uint64_t kGibibyte = 1u << 30;
  const Bytes wide = box("wide");
  const auto after = [](norvik::kav::FourCc type, std::uint64_t size) {
    return std::vector<TopLevelBox>{{fourCc("wide"), 0, 8}, {type, 8, size}};
  };
  EXPECT_EQ(refusalOf(after(fourCc("moof"), 257 * kMebibyte), wide), "the box 'moof' is too large");
  EXPECT_EQ(refusalOf(after(fourCc("sidx"), 257 * kMebibyte), wide), "the box 'sidx' is too large");
  EXPECT_EQ(refusalOf(after(fourCc("meta"), 257 * kMebibyte), wide), "the box 'meta' is too large");
  EXPECT_EQ(refusalOf(after(fourCc("mfra"), 257 * kMebibyte), wide), "the box 'mfra' is too large");
  EXPECT_EQ(refusalOf(after(fourCc("moov"), 4 * kGibibyte), wide), "the box 'moov' is too large");
  EXPECT_EQ(refusalOf(after(fourCc("moov"), 4 * kGibibyte - 1), wide), "not refused");
}

TEST(OutputLayout, RefusesAFragmentThatIsCutShort) {
  using norvik::kav::fourCc;
  const Bytes start = concat({box("wide"), claimingSize(100, box("moof"))});
  EXPECT_EQ(refusalOf({{fourCc("wide"), 0, 8}, {fourCc("moof"), 8, 8}}, start),
            "the box 'moof' is cut short. The file is damaged");
}

TEST(OutputLayout, RefusesAFragmentBeforeAllElse) {
  const Bytes moof = box("moof", fullBox("mfhd", 0, 0, u32(1)));
  EXPECT_EQ(refusalOf({{norvik::kav::fourCc("moof"), 0, moof.size()}}, moof),
            "the file begins with a fragment. The file is damaged");
}

TEST(OutputLayout, GivesALargeHeaderToABoxThatOutgrowsFourGibibytes) {
  constexpr std::uint32_t kSize = 0xFFFFFFF0;
  const std::vector<TopLevelBox> boxes = {{norvik::kav::fourCc("wide"), 0, 8},
                                          {norvik::kav::fourCc("mdat"), 8, kSize}};
  const Bytes start = concat({box("wide"), claimingSize(kSize, box("mdat"))});
  const auto headerOf = [&](std::uint32_t growth) {
    ClaimedFilm film(boxes, start, {{100, growth, 0}});
    film.inserted(0);  // the front
    EXPECT_EQ(film.map().splices().at(1).offset, 8u);
    return film.inserted(1);
  };
  EXPECT_EQ(headerOf(15), concat({u32(0xFFFFFFFF), text("mdat")}));
  EXPECT_EQ(headerOf(16), concat({u32(1), text("mdat"), u64(0x100000008)}));
}

}  // namespace
}  // namespace quarrypack::embed
