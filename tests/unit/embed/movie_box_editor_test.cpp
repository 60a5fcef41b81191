#include "embed/movie_box_editor.h"

#include "embed/refusal.h"
#include "tests/support/box_builders.h"

#include <gtest/gtest.h>

#include <optional>

namespace quarrypack::embed {
namespace {

using namespace quarrypack::test;
using norvik::kav::BoxView;

constexpr std::uint32_t kVideo = 1;
constexpr std::uint32_t kSound = 2;
constexpr std::uint32_t kCaptions = 3;

Bytes movieHeader(std::uint64_t duration, unsigned version = 0) {
  const Bytes wide = version == 1 ? concat({zeros(16), u32(600), u64(duration)})
                                  : concat({zeros(8), u32(600), u32(duration)});
  return fullBox("mvhd", version, 0, wide, zeros(76), u32(4));
}

Bytes trackHeader(std::uint32_t id, std::uint64_t duration, unsigned version = 0) {
  const Bytes wide = version == 1 ? concat({zeros(16), u32(id), u32(0), u64(duration)})
                                  : concat({zeros(8), u32(id), u32(0), u32(duration)});
  return fullBox("tkhd", version, 3, wide, zeros(60));
}

Bytes handlerBox(std::string_view component, std::string_view type, const Bytes& name) {
  return fullBox("hdlr", 0, 0, component.empty() ? zeros(4) : text(component), text(type),
                 zeros(12), name);
}

Bytes sampleTable(std::uint32_t size, std::uint32_t offset, const Bytes& more = {}) {
  return box("stbl", fullBox("stsd", 0, 0, u32(0)), fullBox("stts", 0, 0, u32(0)), more,
             fullBox("stsc", 0, 0, u32(1), u32(1), u32(1), u32(1)),
             fullBox("stsz", 0, 0, u32(0), u32(1), u32(size)),
             fullBox("stco", 0, 0, u32(1), u32(offset)));
}

struct TrackBoxes {
  std::uint32_t id = kVideo;
  std::string_view handler = "vide";
  std::uint64_t duration = 1000;
  Bytes beforeMedia = {};  // children of the trak
  Bytes table = {};
};

Bytes track(const TrackBoxes& boxes) {
  return box("trak", trackHeader(boxes.id, boxes.duration), boxes.beforeMedia,
             box("mdia", fullBox("mdhd", 0, 0, zeros(20)),
                 handlerBox("", boxes.handler, text(std::string("name\0", 5))),
                 box("minf", box("vmhd"), boxes.table)));
}

Bytes built(const Bytes& moov, const MovieBoxChanges& changes, const OffsetMap& map = {}) {
  MovieBoxEditor editor(*BoxView::at(moov), changes);
  return editor.build(map).joined();
}

const MovieBoxChanges kWithoutCaptions{.pictureTrack = kVideo, .removedTracks = {kCaptions}};

TEST(MovieBoxEditor, WithNothingToChangeKeepsEveryByte) {
  const Bytes moov =
      box("moov", movieHeader(5), box("iods", text("x")),
          track({.table = sampleTable(100, 5000, box("sgpd", text("y")))}),
          box("udta", box("\xA9nam", text("title"))), box("free", zeros(9)), text("odd"));
  EXPECT_EQ(built(moov, {}), moov);
}

TEST(MovieBoxEditor, RenewsSizesAndPlaces) {
  const auto moov = [](std::uint32_t size, std::uint32_t video, std::uint32_t sound) {
    return box("moov", movieHeader(1000), track({.table = sampleTable(size, video)}),
               track({.id = kSound, .handler = "soun", .table = sampleTable(70, sound)}));
  };
  const OffsetMap map({{0, 50, 20}, {1000, 7, 0}, {1010, 0, 3}});
  EXPECT_EQ(built(moov(100, 1000, 1100), kWithoutCaptions, map), moov(104, 1030, 1134));
}

TEST(MovieBoxEditor, ResizesThePartsOfPicturesAlone) {
  const auto moov = [](std::uint32_t size, std::uint32_t part) {
    const auto parts = [](std::uint32_t of) {
      return fullBox("subs", 0, 0, u32(1), u32(1), u16(1), u16(of), zeros(6));
    };
    return box("moov", track({.table = sampleTable(size, 1000, parts(part))}),
               track({.id = kSound, .handler = "soun", .table = sampleTable(70, 200, parts(60))}));
  };
  EXPECT_EQ(built(moov(100, 90), kWithoutCaptions, OffsetMap({{1010, 7, 0}})), moov(107, 97));
}

TEST(MovieBoxEditor, RefusesATrackThatSharesBytesWithPictures) {
  const Bytes moov = box("moov", track({.table = sampleTable(100, 1000)}),
                         track({.id = kSound, .handler = "soun", .table = sampleTable(70, 950)}));
  try {
    built(moov, kWithoutCaptions, OffsetMap({{1000, 7, 0}}));
    FAIL();
  } catch (const Refusal& refusal) {
    EXPECT_EQ(std::string(refusal.what()).find("track 2: its samples share bytes"), 0u);
  }
}

TEST(MovieBoxEditor, RemovesTracksAndWhatNamesThem) {
  const auto references = [](const Bytes& captionReference) {
    return box("tref", box("chap", u32(9)), captionReference, box("tmcd", u32(7)));
  };
  const auto moov = [](std::uint32_t duration, const Bytes& videoReferences, const Bytes& captions,
                       const Bytes& extends) {
    return box(
        "moov", movieHeader(duration),
        track({.beforeMedia = videoReferences, .table = sampleTable(100, 5000)}), captions,
        track({.id = kSound, .handler = "soun", .duration = 1200, .table = sampleTable(70, 6000)}),
        extends);
  };
  const Bytes captions =
      track({.id = kCaptions, .handler = "clcp", .duration = 5000, .table = sampleTable(8, 7000)});
  EXPECT_EQ(built(moov(5000, references(box("cdsc", u32(kCaptions), u32(kSound))), captions, {}),
                  kWithoutCaptions),
            moov(1200, references(box("cdsc", u32(kSound))), {}, {}));
  EXPECT_EQ(
      built(moov(5000, references(box("clcp", u32(kCaptions))), captions, {}), kWithoutCaptions),
      moov(1200, references({}), {}, {}));
  EXPECT_EQ(
      built(moov(5000, box("tref", box("clcp", u32(kCaptions))), captions, {}), kWithoutCaptions),
      moov(1200, {}, {}, {}));
}

// Readers of the movie read such a box too: if its bytes went that look like the id of a track,
// they would read something else.
TEST(MovieBoxEditor, KeepsBoxesAmongTheReferencesThatAreNone) {
  const Bytes none = box("stbl", fullBox("stss", 0, 0, u32(1), u32(kCaptions)));
  const auto moov = [&](const Bytes& references, const Bytes& captions) {
    return box("moov",
               track({.beforeMedia = box("tref", references), .table = sampleTable(100, 5000)}),
               captions);
  };
  const Bytes captions = track({.id = kCaptions, .handler = "clcp", .table = sampleTable(8, 7000)});
  EXPECT_EQ(built(moov(none, captions), kWithoutCaptions), moov(none, {}));
  EXPECT_EQ(built(moov(concat({box("clcp", u32(kCaptions)), none}), captions), kWithoutCaptions),
            moov(none, {}));
  EXPECT_EQ(built(moov(concat({none, box("hint", u32(kCaptions), u32(kSound))}), captions),
                  kWithoutCaptions),
            moov(concat({none, box("hint", u32(kSound))}), {}));
}

TEST(MovieBoxEditor, LowersTheDurationButNeverRaisesIt) {
  const auto moov = [](const Bytes& header, const Bytes& captions) {
    return box("moov", header, track({.duration = 1000, .table = sampleTable(100, 5000)}),
               captions);
  };
  const Bytes captions =
      track({.id = kCaptions, .handler = "clcp", .duration = 5000, .table = sampleTable(8, 7000)});
  for (const unsigned version : {0u, 1u}) {
    EXPECT_EQ(built(moov(movieHeader(5000, version), captions), kWithoutCaptions),
              moov(movieHeader(1000, version), {}));
    EXPECT_EQ(built(moov(movieHeader(900, version), captions), kWithoutCaptions),
              moov(movieHeader(900, version), {}));
  }
  // Unknown stays unknown.
  EXPECT_EQ(built(moov(movieHeader(0xFFFFFFFF), captions), kWithoutCaptions),
            moov(movieHeader(0xFFFFFFFF), {}));
  // Without a track to remove nothing is lowered.
  EXPECT_EQ(built(moov(movieHeader(5000), {}), kWithoutCaptions), moov(movieHeader(5000), {}));
}

TEST(MovieBoxEditor, KnowsNoLongestTrackWhereOneIsUnknown) {
  const auto moov = [](std::uint32_t trackDuration, const Bytes& captions) {
    return box("moov", movieHeader(5000),
               track({.duration = trackDuration, .table = sampleTable(100, 5000)}), captions);
  };
  const Bytes captions = track({.id = kCaptions, .handler = "clcp", .table = sampleTable(8, 7000)});
  EXPECT_EQ(built(moov(0xFFFFFFFF, captions), kWithoutCaptions), moov(0xFFFFFFFF, {}));
  EXPECT_EQ(built(moov(0, captions), kWithoutCaptions), moov(0, {}));
}

TEST(MovieBoxEditor, ReadsWideTrackHeaders) {
  const auto moov = [](std::uint32_t duration, const Bytes& captions) {
    return box("moov", movieHeader(duration),
               box("trak", trackHeader(kVideo, 1000, 1), box("mdia")), captions);
  };
  EXPECT_EQ(built(moov(5000, box("trak", trackHeader(kCaptions, 5000, 1))), kWithoutCaptions),
            moov(1000, {}));
}

TEST(MovieBoxEditor, OfFragmentsDropsDefaultsAndLowersTheirDuration) {
  const auto moov = [](std::uint32_t movie, const Bytes& extends, const Bytes& captions) {
    return box("moov", movieHeader(movie), extends,
               track({.duration = 0, .table = sampleTable(100, 5000)}), captions);
  };
  const auto extendsOf = [](std::uint32_t id) {
    return fullBox("trex", 0, 0, u32(id), u32(1), zeros(12));
  };
  const auto extends = [&](std::uint32_t duration, const Bytes& captions) {
    return box("mvex", fullBox("mehd", 0, 0, u32(duration)), extendsOf(kVideo), captions,
               box("leva"));
  };
  const Bytes captions = track({.id = kCaptions, .handler = "clcp"});
  const Bytes input = moov(0, extends(5000, extendsOf(kCaptions)), captions);
  EXPECT_EQ(built(input, kWithoutCaptions), moov(0, extends(5000, {}), {}));
  MovieBoxChanges changes = kWithoutCaptions;
  changes.fragmentedDuration = 3000;
  EXPECT_EQ(built(input, changes), moov(0, extends(3000, {}), {}));
  const BoxView view = *BoxView::at(input);
  EXPECT_TRUE(MovieBoxEditor(view, changes).hasFragments());
}

TEST(MovieBoxEditor, MakesBoxesPortable) {
  const auto moov = [](const Bytes& handler, const Bytes& reference, unsigned offsetVersion,
                       const Bytes& meta, const Bytes& end) {
    const Bytes table =
        box("stbl", fullBox("ctts", offsetVersion, 0, u32(1), u32(1), u32(0xFFFFFFFE)));
    return box(
        "moov",
        box("trak", trackHeader(kVideo, 1000),
            box("mdia", handler,
                box("minf", handler, box("dinf", fullBox("dref", 0, 0, u32(1), reference)), table)),
            meta, box("udta", meta, end)),
        meta, box("udta", meta, end));
  };
  const Bytes input =
      moov(handlerBox("mhlr", "vide", concat({u8(1), text("V")})), fullBox("alis", 0, 1), 0,
           box("meta", handlerBox("", "mdta", u8(0))), u32(0));
  EXPECT_EQ(built(input, kWithoutCaptions),
            moov(handlerBox("", "vide", concat({text("V"), u8(0)})), fullBox("url ", 0, 1), 1,
                 fullBox("meta", 0, 0, handlerBox("", "mdta", u8(0))), {}));
  const BoxView view = *BoxView::at(input);
  EXPECT_TRUE(MovieBoxEditor(view, {}).hasNegativeOffsets());
}

TEST(MovieBoxEditor, SoundDescriptionsOfOtherTracksAreNotTouched) {
  const Bytes esds = fullBox("esds", 0, 0);
  const Bytes entry =
      box("mp4a", zeros(6), u16(1), u16(1), zeros(18), zeros(16), box("wave", esds));
  const auto moov = [](std::string_view handler, const Bytes& description) {
    return box("moov",
               box("trak", trackHeader(kSound, 1000),
                   box("mdia", handlerBox("", handler, u8(0)),
                       box("minf", box("stbl", fullBox("stsd", 0, 0, u32(1), description))))));
  };
  EXPECT_EQ(built(moov("vide", entry), {}), moov("vide", entry));
  EXPECT_NE(built(moov("soun", entry), {}), moov("soun", entry));
}

TEST(MovieBoxEditor, ItsSizeSettlesAsTheMapFollowsIt) {
  const Bytes moov = box("moov", track({.table = sampleTable(100, 0xFFFFFF00)}));
  const BoxView view = *BoxView::at(moov);
  MovieBoxEditor editor(view, {.pictureTrack = kVideo});
  OffsetMap map({{0, 0, 0}, {0xFFFFFF00, 20, 0}});
  std::uint64_t size = editor.build(map).size();
  EXPECT_EQ(size, moov.size());
  map.setInserted(0, static_cast<std::uint32_t>(size));
  size = editor.build(map).size();
  EXPECT_EQ(size, moov.size() + 4);  // one offset of 64 bits
  map.setInserted(0, static_cast<std::uint32_t>(size));
  EXPECT_EQ(editor.build(map).size(), size);
}

TEST(MovieBoxEditor, SurvivesBoxesThatAreCutShortOrRepeated) {
  const Bytes whole = box(
      "moov", movieHeader(5000), track({.table = sampleTable(100, 5000)}),
      track({.id = kCaptions, .handler = "clcp", .duration = 5000, .table = sampleTable(8, 7000)}));
  const OffsetMap map({{0, 9, 0}, {5000, 7, 0}});
  for (std::size_t length = 8; length < whole.size(); ++length) {
    const Bytes cut =
        boxAround("moov", Bytes(whole.begin() + 8, whole.begin() + static_cast<int>(length)));
    built(cut, kWithoutCaptions, map);
  }
  // Each size in turn is wrong. Tables may be refused then, and nothing else may happen.
  for (std::size_t place = 8; place + 4 <= whole.size(); ++place) {
    for (const std::uint32_t number : {0u, 1u, 7u, 9u, 0x7FFFFFFFu, 0xFFFFFFFFu}) {
      const Bytes bad = patched(whole, place, u32(number));
      try {
        built(bad, kWithoutCaptions, map);
      } catch (const Refusal&) {
      }
    }
  }
  const Bytes empty = box("minf");
  const Bytes twice = box("moov", box("trak", trackHeader(kVideo, 5),
                                      box("mdia", empty, box("minf", sampleTable(1, 5000)))));
  EXPECT_EQ(built(twice, kWithoutCaptions, map), twice);
}

}  // namespace
}  // namespace quarrypack::embed
