#include "kav/impl/model/box_headers.h"
#include "kav/impl/tree/known_boxes.h"

#include <optional>

#include "kav/impl/boxes/description_boxes.h"
#include "kav/impl/boxes/file_boxes.h"
#include "kav/impl/boxes/media_boxes.h"
#include "kav/impl/boxes/movie_boxes.h"
#include "kav/impl/boxes/stbl_box.h"
#include "kav/impl/boxes/table_boxes.h"
#include "kav/impl/boxes/track_boxes.h"
#include "kav/impl/model/box_factory.h"
#include "tests/unit/kav/impl/box_test_tools.h"

namespace norvik::kav::impl {
namespace {

std::optional<BoxHeader> headerOf(const Bytes& file) {
  Film film(file);
  return readBoxHeader(film.stream, nullptr);
}

TEST(ReadBoxHeader, ReadsTheCompactForm) {
  Film file(concat({zeros(3), box("abcd", zeros(5)), zeros(9)}));
  file.stream.seekTo(3);
  const auto header = readBoxHeader(file.stream, nullptr);
  ASSERT_TRUE(header);
  EXPECT_EQ(header->type, fourCc("abcd"));
  EXPECT_EQ(header->size, 13u);
  EXPECT_EQ(header->start, 3u);
  EXPECT_EQ(header->end, 16u);
  EXPECT_FALSE(header->hasLargeSize);
  EXPECT_FALSE(header->extendsToEnd);
  EXPECT_FALSE(header->extendedType);
  EXPECT_EQ(header->headerLength(), 8u);
  EXPECT_EQ(file.stream.tell(), 11u);
}

TEST(ReadBoxHeader, SizeOneReadsA64BitSize) {
  const auto header = headerOf({0, 0, 0, 1, 'a', 'b', 'c', 'd', 0, 0, 0, 0, 0, 0, 0, 17, 42});
  ASSERT_TRUE(header);
  EXPECT_TRUE(header->hasLargeSize);
  EXPECT_EQ(header->size, 17u);
  EXPECT_EQ(header->headerLength(), 16u);
}

TEST(ReadBoxHeader, SizeZeroRunsToTheEndOfTheFile) {
  Film file(concat({box("free"), runningToEnd(box("mdat", zeros(100)))}));
  file.stream.seekTo(8);
  const auto header = readBoxHeader(file.stream, nullptr);
  ASSERT_TRUE(header);
  EXPECT_TRUE(header->extendsToEnd);
  EXPECT_EQ(header->size, 108u);
  EXPECT_EQ(header->end, 116u);
}

TEST(ReadBoxHeader, KeepsTheExtendedTypeOfAUuidBox) {
  const auto header = headerOf(uuidBox(kXmpUuid, zeros(1)));
  ASSERT_TRUE(header);
  EXPECT_EQ(header->type, fourCc("uuid"));
  EXPECT_EQ(header->extendedType, kXmpExtendedType);
  EXPECT_EQ(header->headerLength(), 24u);
}

TEST(ReadBoxHeader, TakesAFourCharacterCodeInUuidForm) {
  const auto header = headerOf({0,    0,    0,    24,   'u',  'u',  'i',  'd',   //
                                0x6d, 0x6f, 0x6f, 0x76, 0x00, 0x11, 0x00, 0x10,  //
                                0x80, 0x00, 0x00, 0xAA, 0x00, 0x38, 0x9B, 0x71});
  ASSERT_TRUE(header);
  EXPECT_EQ(header->type, fourCc("moov"));
  EXPECT_EQ(header->headerLength(), 24u);
}

TEST(ReadBoxHeader, NoBytesAreTheCleanEnd) {
  Film file;
  ProblemAnswers answers{0};
  file.stream.setProblemHandler(answers.handler());
  EXPECT_FALSE(readBoxHeader(file.stream, nullptr));
  EXPECT_TRUE(answers.asked.empty());
}

TEST(ReadBoxHeader, StrayBytesAreAQuestionToTheHandler) {
  for (std::size_t stray = 1; stray < 8; ++stray) {
    EXPECT_FALSE(headerOf(zeros(stray))) << stray;

    Film file(zeros(stray));
    ProblemAnswers tolerant{1};
    file.stream.setProblemHandler(tolerant.handler());
    EXPECT_FALSE(readBoxHeader(file.stream, nullptr));
    EXPECT_EQ(tolerant.asked, (std::vector<Problem>{Problem::trailingBytes}));

    ProblemAnswers strict{0};
    file.stream.setProblemHandler(strict.handler());
    EXPECT_CODE(stoppedByHandler, readBoxHeader(file.stream, nullptr));
  }
}

TEST(ReadBoxHeader, ASizeThatNoBoxCanHaveEndsTheBoxes) {
  for (std::uint32_t size = 2; size < 8; ++size) {
    EXPECT_FALSE(headerOf(claimingSize(size, box("free", zeros(20))))) << size;
  }
  for (std::uint64_t size = 0; size < 16; ++size) {
    EXPECT_FALSE(headerOf(claimingLargeSize(size, box("free", zeros(20))))) << size;
  }
  Film file(concat({box("free"), claimingLargeSize(~std::uint64_t{0}, box("mdat"))}));
  file.stream.seekTo(8);
  EXPECT_FALSE(readBoxHeader(file.stream, nullptr)) << "the end is beyond 64 bits";
}

TEST(ReadBoxHeader, AUuidBoxTooShortForItsExtendedTypeHasNone) {
  for (std::uint32_t size = 8; size < 24; ++size) {
    const auto header = headerOf(claimingSize(size, uuidForm(box("moov", zeros(20)))));
    ASSERT_TRUE(header) << size;
    EXPECT_EQ(header->type, fourCc("uuid"));
    EXPECT_FALSE(header->extendedType);
    EXPECT_EQ(header->end, size);
  }
}

TEST(ReadBoxHeader, AHeaderCutOffByTheEndIsAShortRead) {
  EXPECT_CODE(shortRead, headerOf({0, 0, 0, 1, 'a', 'b', 'c', 'd', 0, 0}));
  EXPECT_CODE(shortRead, headerOf({0, 0, 0, 24, 'u', 'u', 'i', 'd', 0, 0}));
}

TEST(ReadBoxHeader, ABoxPastTheEndOfTheFileIsRefused) {
  EXPECT_CODE(truncatedBox, headerOf(claimingSize(9, box("moov"))));
}

TEST(ReadBoxHeader, MediaDataPastTheEndOfTheFileIsAQuestionToTheHandler) {
  const Bytes bytes = claimingSize(1000, box("mdat", zeros(10)));
  const auto header = headerOf(bytes);
  ASSERT_TRUE(header);
  EXPECT_EQ(header->end, 1000u);

  Film file(bytes);
  ProblemAnswers tolerant{1};
  file.stream.setProblemHandler(tolerant.handler());
  EXPECT_TRUE(readBoxHeader(file.stream, nullptr));
  EXPECT_EQ(tolerant.asked, (std::vector<Problem>{Problem::mediaDataPastEnd}));

  ProblemAnswers strict{0};
  file.stream.setProblemHandler(strict.handler());
  file.stream.seekTo(0);
  EXPECT_CODE(stoppedByHandler, readBoxHeader(file.stream, nullptr));
}

// A tref whose child claims 100 bytes, and a box after it.
Bytes childPastParent() {
  return concat({box("tref", claimingSize(100, box("abcd", zeros(4)))), box("free", zeros(200))});
}

TEST(ReadBoxHeader, AChildPastItsParentIsClampedWhenTolerated) {
  Film file(childPastParent());
  ProblemAnswers tolerant{1};
  file.stream.setProblemHandler(tolerant.handler());
  const Box& parent = file.box();
  ASSERT_EQ(parent.children().size(), 1u);
  EXPECT_EQ(parent.children()[0]->end(), parent.end());
  EXPECT_EQ(parent.children()[0]->getSize(), 12u);
  EXPECT_EQ(tolerant.asked, (std::vector<Problem>{Problem::childPastParent}));
  EXPECT_EQ(file.box().type(), fourCc("free"));
}

TEST(ReadBoxHeader, AChildPastItsParentIsRefusedByAStrictHandler) {
  Film file(childPastParent());
  ProblemAnswers strict{0};
  file.stream.setProblemHandler(strict.handler());
  EXPECT_CODE(stoppedByHandler, file.root.readNextBox());
}

TEST(ReadBoxHeader, AChildWhoseHeaderDoesNotFitItsParentIsNone) {
  const Bytes inner = largeForm(box("abcd"));
  Film file(concat({claimingSize(16, box("tref", inner)), box("free")}));
  EXPECT_TRUE(file.box().children().empty());
}

TEST(FindTopLevelBox, PassesOverOtherBoxesOfEveryForm) {
  Film file(concat({box("free", zeros(3)), largeForm(box("mdat", zeros(5))),
                    uuidBox(kXmpUuid, zeros(7)), box("moov", zeros(2)), box("moov")}));
  const auto header = findTopLevelBox(file.stream, fourCc("moov"));
  ASSERT_TRUE(header);
  EXPECT_EQ(header->start, 11u + 21u + 31u);
  EXPECT_EQ(header->size, 10u);
}

TEST(FindTopLevelBox, FindsNothingAndIsThenAtTheEnd) {
  const Bytes files[] = {
      {},
      box("free", zeros(3)),
      concat({box("free"), runningToEnd(box("mdat", zeros(30)))}),
      concat({box("free"), claimingSize(1000, box("mdat", zeros(30)))}),
      concat({box("free"), claimingSize(7, box("mdat", zeros(30)))}),
      concat({box("free"), zeros(5)}),
  };
  for (const Bytes& bytes : files) {
    Film file(bytes);
    EXPECT_FALSE(findTopLevelBox(file.stream, fourCc("moov")));
    EXPECT_EQ(file.stream.tell(), bytes.size());
  }
}

TEST(FindTopLevelBox, DoesNotDecodeAUuidForm) {
  Film file(concat({uuidForm(box("moov", zeros(3))), box("moov")}));
  const auto header = findTopLevelBox(file.stream, fourCc("moov"));
  ASSERT_TRUE(header);
  EXPECT_EQ(header->start, 27u);
}

TEST(FindTopLevelBox, NeedsNoMoreOfAUuidBoxThanItsSize) {
  Film cutOff(concat({box("free"), claimingSize(24, box("uuid", zeros(5)))}));
  EXPECT_FALSE(findTopLevelBox(cutOff.stream, fourCc("moov")));
  EXPECT_EQ(cutOff.stream.tell(), 21u);

  Film shorterThanItsType(concat({box("uuid", zeros(5)), box("moov")}));
  const auto header = findTopLevelBox(shorterThanItsType.stream, fourCc("moov"));
  ASSERT_TRUE(header);
  EXPECT_EQ(header->start, 13u);
}

TEST(FindTopLevelBox, AsksAboutStrayBytes) {
  Film file(concat({box("free"), zeros(5)}));
  ProblemAnswers strict{0};
  file.stream.setProblemHandler(strict.handler());
  EXPECT_CODE(stoppedByHandler, findTopLevelBox(file.stream, fourCc("moov")));
  EXPECT_EQ(strict.asked, (std::vector<Problem>{Problem::trailingBytes}));
}

TEST(FindTopLevelBox, RefusesAMovieThatIsCutOff) {
  Film file(concat({box("free"), claimingSize(1000, box("moov"))}));
  EXPECT_CODE(truncatedBox, findTopLevelBox(file.stream, fourCc("moov")));
}

TEST(ReadChildHeaders, LeavesAnUnknownPayloadAlone) {
  Film file(box("udta", box("moov")));
  EXPECT_TRUE(file.box().children().empty());
}

TEST(ReadChildHeaders, ToleratesAFewBytesAfterTheLastChild) {
  for (std::size_t stray = 1; stray < 8; ++stray) {
    Film file(concat({box("tref", box("abcd"), zeros(stray)), box("free")}));
    ProblemAnswers strict{0};
    file.stream.setProblemHandler(strict.handler());
    EXPECT_EQ(file.box<TrefBox>().children().size(), 1u);
    EXPECT_EQ(file.box().type(), fourCc("free"));
    EXPECT_TRUE(strict.asked.empty());
  }
}

TEST(ReadChildHeaders, StopsAtAChildWithoutProgress) {
  Film file(concat({box("tref", box("abcd"), zeros(3), u8(5), zeros(20)), box("free")}));
  EXPECT_EQ(file.box<TrefBox>().children().size(), 1u);
  EXPECT_EQ(file.box().type(), fourCc("free"));
}

TEST(ReadChildHeaders, FindsTheChildrenOfContainersInEveryForm) {
  const Bytes container = box("edts", fullBox("elst", 0, 0, u32(0)));
  for (const Bytes& form : {container, largeForm(container), uuidForm(container)}) {
    Film file(concat({form, box("free")}));
    EdtsBox& edts = file.box<EdtsBox>();
    ASSERT_NE(edts.elst(), nullptr);
    EXPECT_EQ(edts.elst()->end(), edts.end());
    EXPECT_EQ(file.box().type(), fourCc("free"));
  }
}

Bytes nested(unsigned levels) {
  Bytes bytes;
  for (unsigned i = 0; i < levels; ++i) bytes = box("tref", bytes);
  return bytes;
}

TEST(ReadChildHeaders, RefusesBoxesThatNestTooDeep) {
  EXPECT_CODE(success, Film(nested(kDeepestNesting)).box());
  EXPECT_CODE(childRuleBroken, Film(nested(kDeepestNesting + 1)).box());
  EXPECT_CODE(childRuleBroken, Film(nested(2000)).box());
}

template <class T>
bool isExactly(const Box& box) {
  return typeid(box) == typeid(T);
}

TEST(BoxFactory, MakesTheClassOfEveryType) {
  struct Case {
    const char* type;
    bool (*isRight)(const Box&);
  };
  const Case cases[] = {
      {"ftyp", isExactly<FtypBox>}, {"moov", isExactly<MoovBox>}, {"mvhd", isExactly<MvhdBox>},
      {"mvex", isExactly<MvexBox>}, {"mehd", isExactly<MehdBox>}, {"trex", isExactly<TrexBox>},
      {"trak", isExactly<TrakBox>}, {"tkhd", isExactly<TkhdBox>}, {"tref", isExactly<TrefBox>},
      {"hint", isExactly<HintBox>}, {"edts", isExactly<EdtsBox>}, {"elst", isExactly<ElstBox>},
      {"mdia", isExactly<MdiaBox>}, {"mdhd", isExactly<MdhdBox>}, {"hdlr", isExactly<HdlrBox>},
      {"minf", isExactly<MinfBox>}, {"vmhd", isExactly<VmhdBox>}, {"smhd", isExactly<SmhdBox>},
      {"nmhd", isExactly<NmhdBox>}, {"dinf", isExactly<DinfBox>}, {"dref", isExactly<DrefBox>},
      {"url ", isExactly<UrlBox>},  {"stbl", isExactly<StblBox>}, {"stsd", isExactly<StsdBox>},
      {"stts", isExactly<SttsBox>}, {"ctts", isExactly<CttsBox>}, {"stsc", isExactly<StscBox>},
      {"stsz", isExactly<StszBox>}, {"stco", isExactly<StcoBox>}, {"co64", isExactly<Co64Box>},
      {"stss", isExactly<StssBox>}, {"sdtp", isExactly<SdtpBox>}, {"mdat", isExactly<MdatBox>},
      {"skip", isExactly<SkipBox>}, {"free", isExactly<Box>},     {"udta", isExactly<Box>},
      {"mfra", isExactly<Box>},     {"tfra", isExactly<Box>},     {"mfro", isExactly<Box>},
      {"hmhd", isExactly<Box>},     {"stz2", isExactly<Box>},     {"avc1", isExactly<Box>},
  };
  for (const Case& c : cases) {
    Film file(box(c.type, zeros(40)));
    auto header = readBoxHeader(file.stream, nullptr);
    ASSERT_TRUE(header);
    const BoxPtr made = knownBoxes().createBox(file.stream, *header, nullptr);
    EXPECT_TRUE(c.isRight(*made)) << c.type;
  }
}

TEST(BoxFactory, DistinguishesXmpFromOtherUuidBoxes) {
  Uuid other = kXmpUuid;
  other[15] ^= 1;
  Film file(concat({uuidBox(kXmpUuid), uuidBox(other), uuidForm(box("uuid"))}));
  EXPECT_TRUE(isExactly<XMPDataBox>(file.box()));
  EXPECT_TRUE(isExactly<UuidBox>(file.box()));
  EXPECT_TRUE(isExactly<UuidBox>(file.box()));
}

// A factory that a document may bring along.
class PlainFactory final : public BoxFactory {
 public:
  BoxPtr createBox(NorvikKavStream& stream, BoxHeader header, BoxAllocator* allocator) override {
    ++made;
    return makeBoxIn<Box>(allocator, std::move(header), stream);
  }
  int made = 0;
};

TEST(BoxFactory, OfTheDocumentIsUsedWhenGiven) {
  PlainFactory factory;
  Film file(box("skip"), &factory);
  EXPECT_TRUE(isExactly<Box>(file.box()));
  EXPECT_EQ(factory.made, 1);
}

}  // namespace
}  // namespace norvik::kav::impl
