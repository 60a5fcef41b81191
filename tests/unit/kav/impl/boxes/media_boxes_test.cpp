#include "kav/impl/boxes/media_boxes.h"

#include "kav/impl/boxes/description_boxes.h"
#include "kav/impl/boxes/stbl_box.h"
#include "kav/impl/boxes/track_boxes.h"
#include "tests/unit/kav/impl/box_test_tools.h"

namespace norvik::kav::impl {
namespace {

TrackParameters parametersOf(FourCc handler) {
  TrackParameters parameters;
  parameters.handlerType = handler;
  parameters.handlerName = {'n', 'a', 'm', 'e', 0};
  parameters.timescale = 48000;
  parameters.movieTimescale = 600;
  parameters.mediaDuration = 0x100000005;
  parameters.creationTime = kLeapDayDate;
  parameters.modificationTime = kSecondLaterDate;
  parameters.language = {'d', 'e', 'u', '\0'};
  return parameters;
}

Bytes mdhd(unsigned version, std::uint16_t last = 0x7777) {
  const unsigned width = version == 1 ? 8 : 4;
  return fullBox("mdhd", version, 0, bigEndian(kLeapDay, width), bigEndian(kLeapDay + 1, width),
                 u32(48000), bigEndian(96000, width), u16(0x55C4), u16(last));
}

TEST(MdhdBox, OfAnotherVersionIsRefused) {
  for (const unsigned version : {2u, 255u}) {
    EXPECT_CODE(unsupportedVersion, Film(withVersion(version, mdhd(1))).box());
    EXPECT_CODE(unsupportedVersion, Film(fullBox("mdhd", version, 0)).box())
        << "however short it is";
  }
}

TEST(MdhdBox, BuiltTakesItsValuesFromTheParameters) {
  Film file;
  MdhdBox built(parametersOf(fourCc("soun")), file.stream);
  EXPECT_EQ(built.getSize(), 44u);
  EXPECT_EQ(file.written(built), fullBox("mdhd", 1, 0, u64(kLeapDay), u64(kLeapDay + 1), u32(48000),
                                         u64(0x100000005), u16(0x10B5), u16(0)));
  built.setDuration(3);
  EXPECT_EQ(loadU64(file.written(built).data() + 32), 3u);
}

TEST(Language, PacksThreeLettersIntoFifteenBits) {
  EXPECT_EQ(packLanguage({'u', 'n', 'd', '\0'}), 0x55C4);
  EXPECT_EQ(unpackLanguage(0x55C4), (std::array<char, 4>{'u', 'n', 'd', '\0'}));
  EXPECT_EQ(packLanguage({'a', 'a', 'z', '\0'}), 0x043A);
}

TEST(Language, IsSomeWordForAnyText) {
  EXPECT_EQ(packLanguage({'\0', '\0', '\0', '\0'}), 0);
  EXPECT_LE(packLanguage({'\xFF', '\xFF', '\xFF', '\xFF'}), 0x7FFF);
  for (unsigned word = 0; word <= 0x7FFF; ++word) {
    const auto packed = static_cast<std::uint16_t>(word);
    ASSERT_EQ(packLanguage(unpackLanguage(packed)), packed);
  }
}

Bytes namedHandler(const Bytes& name) {
  return fullBox("hdlr", 0, 0, text("mhlr"), text("soun"), Bytes(12, 0x77), name);
}

TEST(HdlrBox, KeepsANameThatEndsInZero) {
  Film file(namedHandler({'a', 'b', 0}));
  HdlrBox& read = file.box<HdlrBox>();
  EXPECT_EQ(read.handlerType(), fourCc("soun"));
  EXPECT_EQ(read.name(), (Bytes{'a', 'b', 0}));
  EXPECT_EQ(file.written(read),
            fullBox("hdlr", 0, 0, zeros(4), text("soun"), zeros(12), text("ab"), u8(0)));
}

TEST(HdlrBox, ANameWithoutAClosingZeroGainsOne) {
  for (const Bytes& name : {text("ab"), Bytes()}) {
    Film file(namedHandler(name));
    HdlrBox& read = file.box<HdlrBox>();
    EXPECT_EQ(read.name(), concat({name, u8(0)}));
    EXPECT_EQ(file.written(read),
              fullBox("hdlr", 0, 0, zeros(4), text("soun"), zeros(12), name, u8(0)));
  }
}

TEST(HdlrBox, WithANameLongerThanAnyRealOneIsRefusedBeforeItIsRead) {
  Film file(namedHandler({}));
  constexpr std::uint64_t kLongest = 32 + 100000000;
  file.stream.seekTo(8);
  HdlrBox tooLong(headerClaiming(fourCc("hdlr"), kLongest + 1), file.stream);
  EXPECT_CODE(implausibleCount, tooLong.readContent());
  file.stream.seekTo(8);
  HdlrBox longest(headerClaiming(fourCc("hdlr"), kLongest), file.stream);
  EXPECT_CODE(shortRead, longest.readContent()) << "the name is not in the file";
}

TEST(HdlrBox, BuiltTakesTypeAndNameAsTheyAre) {
  Film file;
  HdlrBox built(parametersOf(fourCc("soun")), file.stream);
  EXPECT_EQ(built.getSize(), 37u);
  EXPECT_EQ(file.written(built),
            fullBox("hdlr", 0, 0, zeros(4), text("soun"), zeros(12), text("name"), u8(0)));
}

TEST(HdlrBox, ReportsItsTypeBeforeItIsRead) {
  Film file(namedHandler(text("n")));
  const auto typeOfBoxClaiming = [&](std::uint64_t size) {
    file.stream.seekTo(8);
    return HdlrBox(headerClaiming(fourCc("hdlr"), size), file.stream).peekHandlerType();
  };
  EXPECT_EQ(typeOfBoxClaiming(33), fourCc("soun"));
  EXPECT_EQ(typeOfBoxClaiming(20), fourCc("soun"));
  EXPECT_EQ(typeOfBoxClaiming(19), 0u) << "too short to have one";
  file.memory->bytes().resize(19);
  EXPECT_CODE(shortRead, typeOfBoxClaiming(20)) << "not in the file";
}

TEST(MediaHeaders, ClaimTheirFixedPartOnly) {
  Film file(
      concat({fullBox("vmhd", 0, 1, zeros(8), box("abcd")),
              fullBox("smhd", 0, 0, zeros(4), box("abcd")), fullBox("nmhd", 0, 0, box("abcd"))}));
  const VmhdBox& vmhd = file.box<VmhdBox>();
  EXPECT_EQ(vmhd.getSize(), 20u);
  EXPECT_EQ(vmhd.children().size(), 1u);
  const SmhdBox& smhd = file.box<SmhdBox>();
  EXPECT_EQ(smhd.getSize(), 16u);
  EXPECT_EQ(smhd.children().size(), 1u);
  const NmhdBox& nmhd = file.box<NmhdBox>();
  EXPECT_EQ(nmhd.getSize(), 12u);
  EXPECT_EQ(nmhd.children().size(), 1u);
}

TEST(MediaHeaders, BuiltAreAllZero) {
  Film video;
  VmhdBox vmhd(video.stream);
  EXPECT_EQ(video.written(vmhd), fullBox("vmhd", 0, 1, zeros(8)));
  Film sound;
  SmhdBox smhd(sound.stream);
  EXPECT_EQ(sound.written(smhd), fullBox("smhd", 0, 0, zeros(4)));
  Film hints;
  HmhdBox hmhd(hints.stream);
  EXPECT_EQ(hints.written(hmhd), fullBox("hmhd", 0, 0, zeros(16)));
  Film other;
  NmhdBox nmhd(other.stream);
  EXPECT_EQ(other.written(nmhd), fullBox("nmhd", 0, 0));
}

TEST(DinfBox, BuiltSaysThatTheDataIsInThisFile) {
  Film file;
  DinfBox dinf(file.stream);
  EXPECT_EQ(file.written(dinf), (Bytes{0, 0, 0, 36, 'd', 'i', 'n', 'f',  //
                                       0, 0, 0, 28, 'd', 'r', 'e', 'f',  //
                                       0, 0, 0, 0,  0,   0,   0,   1,    //
                                       0, 0, 0, 12, 'u', 'r', 'l', ' ', 0, 0, 0, 1}));
}

TEST(DrefBox, HasItsEntriesAsChildren) {
  const Bytes dref =
      fullBox("dref", 0, 0, u32(2), fullBox("url ", 0, 0, text("http://")), fullBox("url ", 0, 1));
  for (const Bytes& form : {dref, largeForm(dref), uuidForm(dref), withVersion(1, dref)}) {
    Film file(form);
    const DrefBox& read = file.box<DrefBox>();
    ASSERT_EQ(read.children().size(), 2u);
    EXPECT_FALSE(childAs<UrlBox>(*read.children()[0])->isInThisFile());
    EXPECT_TRUE(childAs<UrlBox>(*read.children()[1])->isInThisFile());
  }
}

TEST(DrefBox, OfAnotherVersionIsRefused) {
  EXPECT_CODE(unsupportedVersion, Film(fullBox("dref", 2, 0, u32(0))).box());
}

TEST(MinfBox, RemembersItsParts) {
  Film file(box("minf", hdlr("url "), emptyStbl(), fullBox("smhd", 0, 0, zeros(4)), dinf()));
  const MinfBox& read = file.box<MinfBox>();
  EXPECT_EQ(read.stbl(), read.children()[1].get());
  EXPECT_EQ(read.mediaHeader(), read.children()[2].get());
  EXPECT_EQ(read.dinf(), read.children()[3].get());
}

TEST(MinfBox, BuiltHasTheHeaderOfItsKindOfMedia) {
  const std::pair<FourCc, FourCc> cases[] = {
      {fourCc("vide"), fourCc("vmhd")}, {fourCc("soun"), fourCc("smhd")},
      {fourCc("hint"), fourCc("hmhd")}, {fourCc("clcp"), fourCc("nmhd")},
      {fourCc("tmcd"), fourCc("nmhd")},
  };
  for (const auto& [handler, header] : cases) {
    Film file;
    const MinfBox built(parametersOf(handler), file.stream);
    ASSERT_EQ(built.children().size(), 3u);
    EXPECT_EQ(built.mediaHeader(), built.children()[0].get());
    EXPECT_EQ(built.mediaHeader()->type(), header);
    EXPECT_EQ(built.dinf(), built.children()[1].get());
    EXPECT_EQ(built.stbl(), built.children()[2].get());
  }
}

TEST(MdiaBox, BuiltHoldsHeaderHandlerAndInformationInThisOrder) {
  Film file;
  const MdiaBox built(parametersOf(fourCc("soun")), file.stream);
  ASSERT_EQ(built.children().size(), 3u);
  EXPECT_EQ(built.mdhd(), built.children()[0].get());
  EXPECT_EQ(built.hdlr(), built.children()[1].get());
  EXPECT_EQ(built.minf(), built.children()[2].get());
}

TEST(MdiaBox, GivesTheSampleEntriesTheirHandlerWhereverItIs) {
  for (const Bytes& bytes :
       {box("mdia", mdhd0(), hdlr("soun"), minf()), box("mdia", minf(), mdhd0(), hdlr("soun"))}) {
    Film file(bytes);
    const MdiaBox& read = file.box<MdiaBox>();
    EXPECT_EQ(read.minf()->stbl()->stsd()->handlerType(), fourCc("soun"));
    EXPECT_EQ(read.hdlr()->handlerType(), fourCc("soun"));
  }
}

TEST(MdiaBox, WithAHandlerThatIsCutOffFailsInItsPlace) {
  const Bytes shortHandler = fullBox("hdlr", 0, 0, zeros(4));
  EXPECT_CODE(truncatedBox, Film(box("mdia", minf(), mdhd0(), shortHandler)).box());
}

}  // namespace
}  // namespace norvik::kav::impl
