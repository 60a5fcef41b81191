#include "embed/portable_boxes.h"

#include "tests/support/box_builders.h"
#include "tests/unit/embed/pieces_of.h"

#include <gtest/gtest.h>

#include <bit>
#include <string>

namespace quarrypack::embed {
namespace {

using namespace quarrypack::test;

Bytes handler(std::string_view componentType, std::string_view type, const Bytes& name) {
  const Bytes component = componentType.empty() ? zeros(4) : text(componentType);
  return fullBox("hdlr", 0, 0, component, text(type), text("appl"), u32(0x10000000), u32(5), name);
}

Bytes portableHandler(const Bytes& bytes) { return piecesOf(bytes, appendPortableHandler); }

TEST(PortableHandler, GetsACStringForTheCountedName) {
  EXPECT_EQ(portableHandler(handler("mhlr", "vide", concat({u8(5), text("Video")}))),
            handler("", "vide", concat({text("Video"), u8(0)})));
  EXPECT_EQ(portableHandler(handler("dhlr", "alis", concat({u8(3), text("ABCrest")}))),
            handler("", "alis", concat({text("ABC"), u8(0)})));
  EXPECT_EQ(portableHandler(handler("mhlr", "vide", u8(0))), handler("", "vide", u8(0)));
  EXPECT_EQ(portableHandler(handler("", "vide", concat({u8(5), text("Video")}))),
            handler("", "vide", concat({text("Video"), u8(0)})));
}

TEST(PortableHandler, KeepsACString) {
  const Bytes name = concat({text("Video"), u8(0)});
  EXPECT_EQ(portableHandler(handler("", "vide", name)), handler("", "vide", name));
  EXPECT_EQ(portableHandler(handler("mhlr", "vide", name)), handler("", "vide", name));
  EXPECT_EQ(portableHandler(handler("", "vide", u8(0))), handler("", "vide", u8(0)));
  EXPECT_EQ(portableHandler(handler("", "mdta", zeros(2))), handler("", "mdta", zeros(2)));
}

TEST(PortableHandler, ALongNameWhoseFirstCharacterHappensToCountItIsAName) {
  // 'A' is 65.
  const Bytes name = text("A" + std::string(64, 'b') + std::string(1, '\0'));
  EXPECT_EQ(name.size(), 66u);
  EXPECT_EQ(portableHandler(handler("", "vide", name)), handler("", "vide", name));
}

TEST(PortableHandler, GetsTheZeroThatItsNameLacks) {
  EXPECT_EQ(portableHandler(handler("", "vide", text("Video"))),
            handler("", "vide", concat({text("Video"), u8(0)})));
  EXPECT_EQ(portableHandler(handler("", "mdta", {})), handler("", "mdta", u8(0)));
}

TEST(PortableHandler, IsLeftAloneWhenCutShort) {
  const Bytes cut = fullBox("hdlr", 0, 0, text("mhlr"), text("vide"));
  EXPECT_EQ(portableHandler(cut), cut);
}

TEST(PortableMetadata, BecomesAFullBox) {
  const Bytes hdlr = handler("", "mdta", u8(0));
  const Bytes keys = fullBox("keys", 0, 0, u32(0));
  EXPECT_EQ(piecesOf(box("meta", hdlr, keys), appendPortableMetadata),
            fullBox("meta", 0, 0, hdlr, keys));
}

TEST(PortableMetadata, ThatIsAFullBoxIsKept) {
  const Bytes full = fullBox("meta", 0, 0, handler("", "mdir", u8(0)), box("ilst", text("tags")));
  EXPECT_EQ(piecesOf(full, appendPortableMetadata), full);
  for (const Bytes& odd : {box("meta"), box("meta", u16(0)), fullBox("meta", 0, 0)}) {
    EXPECT_EQ(piecesOf(odd, appendPortableMetadata), odd);
  }
}

TEST(PortableUserData, LosesItsTerminatorAndNothingElse) {
  const Bytes name = box("name", text("film"));
  EXPECT_EQ(piecesOf(box("udta", name, u32(0)), appendPortableUserData), box("udta", name));
  EXPECT_EQ(piecesOf(box("udta", name), appendPortableUserData), box("udta", name));
  EXPECT_EQ(piecesOf(box("udta", u32(0)), appendPortableUserData), box("udta"));
  for (const Bytes& rest : {u32(1), zeros(3), zeros(5), text("odd")}) {
    EXPECT_EQ(piecesOf(box("udta", name, rest), appendPortableUserData), box("udta", name, rest));
  }
}

TEST(PortableUserData, HoldsPortableMetadata) {
  const Bytes hdlr = handler("", "mdta", u8(0));
  EXPECT_EQ(piecesOf(box("udta", box("meta", hdlr), u32(0)), appendPortableUserData),
            box("udta", fullBox("meta", 0, 0, hdlr)));
}

Bytes dinf(const Bytes& reference) {
  return box("dinf", fullBox("dref", 0, 0, u32(2), reference, fullBox("rsrc", 0, 1)));
}

TEST(PortableDataInformation, NamesTheFileItselfByUrl) {
  EXPECT_EQ(piecesOf(dinf(fullBox("alis", 0, 1)), appendPortableDataInformation),
            dinf(fullBox("url ", 0, 1)));
  EXPECT_EQ(piecesOf(dinf(fullBox("alis", 0, 1, zeros(30))), appendPortableDataInformation),
            dinf(fullBox("url ", 0, 1)));
  for (const Bytes& kept :
       {fullBox("url ", 0, 1), fullBox("alis", 0, 0, zeros(30)), box("alis", u16(1))}) {
    EXPECT_EQ(piecesOf(dinf(kept), appendPortableDataInformation), dinf(kept));
  }
}

// The fields of a sound entry from its reserved bytes on.
Bytes soundFields(unsigned version, unsigned channels, unsigned compression, std::uint32_t rate) {
  return concat({zeros(6), u16(1), u16(version), u16(0), u32(0), u16(channels), u16(16),
                 u16(compression), u16(0), u32(rate)});
}

Bytes descriptions(const Bytes& entry) { return fullBox("stsd", 0, 0, u32(1), entry); }

const Bytes kEsds = fullBox("esds", 0, 0, text("config"));
const Bytes kWave =
    box("wave", box("frma", text("mp4a")), box("mp4a", u32(0)), kEsds, u32(8), u32(0));
const Bytes kChannels = fullBox("chan", 0, 0, zeros(12));

Bytes portableSound(const Bytes& stsd) { return piecesOf(stsd, appendPortableSoundDescriptions); }

TEST(PortableSoundDescriptions, BringVersion1ToVersion0) {
  const Bytes entry =
      box("mp4a", soundFields(1, 2, 0xFFFE, 48000u << 16), zeros(16), kWave, kChannels);
  EXPECT_EQ(portableSound(descriptions(entry)),
            descriptions(box("mp4a", soundFields(0, 2, 0, 48000u << 16), kEsds, kChannels)));
}

TEST(PortableSoundDescriptions, BringVersion2ToVersion0) {
  const auto version2 = [](double rate, std::uint32_t channels) {
    return box("mp4a", soundFields(2, 3, 0xFFFE, 0x10000), u32(72),
               u64(std::bit_cast<std::uint64_t>(rate)), u32(channels), u32(0x7F000000), u32(0),
               u32(0), u32(0), u32(1024), kChannels, kWave);
  };
  const auto version0 = [](std::uint32_t rate, unsigned channels) {
    return descriptions(box("mp4a", soundFields(0, channels, 0, rate), kEsds, kChannels));
  };
  EXPECT_EQ(portableSound(descriptions(version2(44100, 6))), version0(44100u << 16, 6));
  // A rate that does not fit is left to the decoder's configuration.
  EXPECT_EQ(portableSound(descriptions(version2(96000, 2))), version0(0, 2));
  EXPECT_EQ(portableSound(descriptions(version2(-1, 70000))), version0(0, 65535));
}

TEST(PortableSoundDescriptions, KeepWhatNeedsItsVersion) {
  const Bytes pcm1 = box("sowt", soundFields(1, 2, 0, 48000u << 16), zeros(16), kChannels);
  const Bytes pcm2 = box("lpcm", soundFields(2, 3, 0, 0x10000), zeros(36), kChannels);
  const Bytes plain = box("mp4a", soundFields(0, 2, 0, 48000u << 16), kEsds);
  const Bytes cut = box("mp4a", soundFields(1, 2, 0, 48000u << 16), zeros(15));
  const Bytes empty = box("mp4a");
  const Bytes noEsds = box("alac", soundFields(1, 2, 0xFFFE, 48000u << 16), zeros(16),
                           box("wave", box("frma", text("alac")), fullBox("alac", 0, 0)));
  for (const Bytes& entry : {pcm1, pcm2, plain, cut, empty, noEsds}) {
    EXPECT_EQ(portableSound(descriptions(entry)), descriptions(entry));
  }
  const Bytes iso = withVersion(
      1, descriptions(box("mp4a", soundFields(1, 2, 0, 48000u << 16), zeros(16), kWave)));
  EXPECT_EQ(portableSound(iso), iso);
}

Bytes offsets(unsigned version, std::initializer_list<std::uint32_t> values) {
  Bytes entries;
  for (const std::uint32_t value : values) append(entries, concat({u32(1), u32(value)}));
  return fullBox("ctts", version, 0, u32(values.size()), entries);
}

TEST(PortableCompositionOffsets, AreSignedWhereTheyAreNegative) {
  const Bytes negative = offsets(0, {5, 0x80000000, 7});
  EXPECT_EQ(piecesOf(negative, appendPortableCompositionOffsets), offsets(1, {5, 0x80000000, 7}));
  for (const Bytes& kept : {offsets(0, {5, 0x7FFFFFFF}), offsets(1, {0xFFFFFFFF}), offsets(0, {}),
                            box("ctts"), fullBox("ctts", 0, 0)}) {
    EXPECT_EQ(piecesOf(kept, appendPortableCompositionOffsets), kept);
  }
  EXPECT_TRUE(hasNegativeOffsets(*norvik::kav::BoxView::at(negative)));
  // A count of 2^31 or more is no offset.
  const Bytes large = fullBox("ctts", 0, 0, u32(1), u32(0x80000001), u32(1));
  EXPECT_FALSE(hasNegativeOffsets(*norvik::kav::BoxView::at(large)));
}

TEST(PortableCompositionOffsets, CountInEveryBoxOfADamagedTable) {
  const auto areNegative = [](const Bytes& boxes) {
    return tableHasNegativeOffsets(*norvik::kav::BoxView::at(box("stbl", boxes)));
  };
  EXPECT_TRUE(areNegative(concat({offsets(0, {1}), offsets(0, {0x80000000})})));
  EXPECT_FALSE(areNegative(concat({offsets(0, {1}), offsets(0, {2})})));
  EXPECT_FALSE(areNegative(box("stco", u32(0x80000000))));
}

Bytes fileType(std::string_view brands) { return box("ftyp", text("mp42"), u32(0), text(brands)); }

TEST(PortableFileType, NamesMp4AndTheInputsOwnBrands) {
  const auto input = [](std::string_view brands) {
    return box("ftyp", text(brands.substr(0, 4)), u32(0x20050300), text(brands.substr(4)));
  };
  EXPECT_EQ(portableFileType({}, {}), fileType("mp42isom"));
  EXPECT_EQ(portableFileType(input("qt  qt  "), {}), fileType("mp42isom"));
  EXPECT_EQ(portableFileType(input("M4V M4V isomavc1"), {}), fileType("mp42isomM4V avc1"));
  EXPECT_EQ(portableFileType(input("iso6cmfcdash"), {.fragments = true}),
            fileType("mp42isomiso6cmfcdashiso5"));
  EXPECT_EQ(portableFileType(input("qt  iso4"), {.negativeOffsets = true}),
            fileType("mp42isomiso4"));
}

TEST(PortableFileType, OfADamagedBoxHasWhatCanBeRead) {
  EXPECT_EQ(portableFileType(box("ftyp", text("iso2"), u16(1)), {}), fileType("mp42isomiso2"));
  EXPECT_EQ(portableFileType(claimingSize(99, box("ftyp", text("iso2"))), {}),
            fileType("mp42isom"));
  const Bytes many = box("ftyp", Bytes(1 << 16, 1));
  EXPECT_EQ(portableFileType(many, {}).size(), 8u + 8 + 3 * 4);
}

}  // namespace
}  // namespace quarrypack::embed
