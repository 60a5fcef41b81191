#include "kav/impl/boxes/file_boxes.h"

#include <string>

#include "tests/unit/kav/impl/box_test_tools.h"

namespace norvik::kav::impl {
namespace {

TEST(FtypBox, ReadsItsBrandsInOrder) {
  const Bytes bytes = {0,    0,    0,    24,   'f', 't', 'y', 'p', 'q', 't', ' ', ' ',
                       0x20, 0x05, 0x03, 0x00, 'i', 's', 'o', 'm', 'q', 't', ' ', ' '};
  Film file(bytes);
  FtypBox& ftyp = file.box<FtypBox>();
  EXPECT_EQ(ftyp.majorBrand(), fourCc("qt  "));
  EXPECT_EQ(ftyp.minorVersion(), 0x20050300u);
  EXPECT_EQ(ftyp.compatibleBrands(), (std::vector<FourCc>{fourCc("isom"), fourCc("qt  ")}));
  EXPECT_EQ(file.written(ftyp), bytes);
}

TEST(FtypBox, BuiltSaysKavVersionOneAndItsBrands) {
  Film file;
  FtypBox ftyp(file.stream);
  EXPECT_EQ(ftyp.getSize(), 16u);
  for (const FourCc brand : {fourCc("isom"), fourCc("mp42"), fourCc("m4v ")}) {
    ftyp.addCompatibleBrand(brand);
  }
  EXPECT_EQ(file.written(ftyp),
            (Bytes{0, 0, 0,   28,  'f', 't', 'y', 'p', 'k', 'a', 'v', ' ', 0,   0,
                   0, 1, 'i', 's', 'o', 'm', 'm', 'p', '4', '2', 'm', '4', 'v', ' '}));
}

TEST(FtypBox, ShorterThanItsFixedPartIsRefused) {
  for (std::size_t length = 0; length < 8; ++length) {
    EXPECT_CODE(truncatedBox, Film(box("ftyp", zeros(length))).box()) << length;
  }
  EXPECT_CODE(success, Film(box("ftyp", zeros(8))).box());
}

TEST(FtypBox, WithTwoStrayBytesIsKeptWithoutBrands) {
  const Bytes bytes = box("ftyp", text("isom"), u32(1), text("isom"), zeros(2));
  Film file(bytes);
  FtypBox& ftyp = file.box<FtypBox>();
  EXPECT_EQ(ftyp.majorBrand(), fourCc("isom"));
  EXPECT_TRUE(ftyp.compatibleBrands().empty());

  Film strict(bytes);
  ProblemAnswers answers{0};
  strict.stream.setProblemHandler(answers.handler());
  EXPECT_CODE(stoppedByHandler, strict.root.readNextBox());
  EXPECT_EQ(answers.asked, (std::vector<Problem>{Problem::trailingBytes}));
}

TEST(FtypBox, WithMoreBrandsThanAnyFileHasIsRefused) {
  Film file(box("ftyp", zeros(8)));
  for (const std::uint64_t size : {400000020u, 24u}) {
    file.stream.seekTo(8);
    FtypBox ftyp(headerClaiming(fourCc("ftyp"), size), file.stream);
    EXPECT_CODE(truncatedBox, ftyp.readContent()) << size;
  }
}

TEST(MdatBox, ReadIsAHeaderOnly) {
  Film file(concat({box("mdat", box("moov")), box("free")}));
  const MdatBox& mdat = file.box<MdatBox>();
  EXPECT_TRUE(mdat.children().empty());
  EXPECT_EQ(mdat.getContentSize(), 8u);
  EXPECT_EQ(file.box().type(), fourCc("free"));
}

// Notes the releases of sample data.
struct Releases {
  static void note(void* context, const std::uint8_t* data) {
    static_cast<Releases*>(context)->order.push_back(*data);
  }
  Bytes order;
};

TEST(MdatBox, DirectWritesEverySampleAtOnceAndReleasesIt) {
  Film file(zeros(4));
  MdatBox mdat(file.stream);
  mdat.place(4);
  Releases releases;
  const Bytes first = text("abc");
  const Bytes second = text("de");
  EXPECT_EQ(mdat.addSampleData(first, Releases::note, &releases), 20u);
  EXPECT_EQ(releases.order, text("a"));
  EXPECT_EQ(mdat.addSampleData(second, Releases::note, &releases), 23u);
  EXPECT_EQ(releases.order, text("ad"));
  EXPECT_EQ(mdat.getSize(), 21u);
  EXPECT_EQ(mdat.getCurrentSize(), 21u);
  EXPECT_EQ(Bytes(file.memory->bytes().begin() + 20, file.memory->bytes().end()), text("abcde"));

  EXPECT_EQ(file.written(mdat), (Bytes{0, 0, 0, 0, 0, 0, 0,  1,   'm', 'd', 'a', 't', 0,
                                       0, 0, 0, 0, 0, 0, 21, 'a', 'b', 'c', 'd', 'e'}));
}

TEST(MdatBox, DirectGrowsAfterItsHeaderInTheFile) {
  Film file;
  MdatBox mdat(file.stream);
  mdat.write();
  mdat.addSampleData(text("xyz"));
  EXPECT_EQ(file.written(mdat),
            (Bytes{0, 0, 0, 1, 'm', 'd', 'a', 't', 0, 0, 0, 0, 0, 0, 0, 19, 'x', 'y', 'z'}));
}

TEST(MdatBox, TakesASampleWithoutBytes) {
  Film file;
  MdatBox mdat(file.stream);
  file.memory->resetCalls();
  EXPECT_EQ(mdat.addSampleData({}), 16u);
  EXPECT_EQ(mdat.getSize(), 16u);
  EXPECT_EQ(file.memory->calls().write, 0u);
}

TEST(MdatBox, DirectReleasesTheBytesWhenTheWriteFails) {
  Film file;
  MdatBox mdat(file.stream);
  Releases releases;
  const Bytes data = text("a");
  file.memory->injectFault(2, MemoryStream::Fault::fails);
  EXPECT_CODE(ioFailed, mdat.addSampleData(data, Releases::note, &releases));
  EXPECT_EQ(releases.order, text("a"));
  EXPECT_EQ(mdat.getSize(), 16u);
}

TEST(MdatBox, BufferedWritesItsSamplesInOrderAndReleasesThemLastFirst) {
  Film file;
  Releases releases;
  const Bytes first = text("abc");
  const Bytes second = text("de");
  const Bytes third = text("f");
  {
    MdatBox mdat(file.stream, MdatBox::Mode::buffered);
    EXPECT_EQ(mdat.addSampleData(first, Releases::note, &releases), 16u);
    EXPECT_EQ(mdat.addSampleData(second, Releases::note, &releases), 19u);
    EXPECT_TRUE(file.memory->bytes().empty());
    file.written(mdat);
    mdat.addSampleData(third, Releases::note, &releases);
    EXPECT_EQ(file.written(mdat), (Bytes{0, 0, 0, 1, 'm', 'd', 'a', 't', 0,   0,   0,
                                         0, 0, 0, 0, 22,  'a', 'b', 'c', 'd', 'e', 'f'}));
    EXPECT_TRUE(releases.order.empty());
  }
  EXPECT_EQ(releases.order, text("fda"));
}

TEST(SkipBox, WritesZerosAfterItsHeader) {
  Film file(Bytes(9000, 0xEE));
  SkipBox skip(8200, file.stream);
  Bytes expected = box("skip", zeros(8192));
  expected.resize(9000, 0xEE);
  EXPECT_EQ(file.written(skip), expected);
}

TEST(SkipBox, OfSizeEightWritesOnlyItsHeader) {
  Film file;
  SkipBox skip(8, file.stream);
  EXPECT_EQ(file.written(skip), box("skip"));
}

TEST(SkipBox, BelowAHeaderWritesNothing) {
  for (std::uint64_t size = 0; size < 8; ++size) {
    Film file;
    SkipBox skip(size, file.stream);
    EXPECT_EQ(skip.write(), size);
    EXPECT_EQ(skip.write(), size);
    EXPECT_TRUE(file.memory->bytes().empty());
  }
}

TEST(SkipBox, RewritesOnlyItsHeaderLater) {
  Film file;
  SkipBox skip(20, file.stream);
  skip.write();
  skip.place(5);
  skip.resize(10);
  file.memory->bytes().assign(30, 0xEE);
  Bytes expected(30, 0xEE);
  const Bytes header = box("skip", zeros(2));
  std::copy(header.begin(), header.begin() + 8, expected.begin() + 5);
  EXPECT_EQ(file.written(skip), expected);
}

TEST(SkipBox, AsAHoleWritesOnlyTheHeaderOfItsType) {
  Film file;
  SkipBox hole(1000, file.stream, SkipBox::Fill::hole, fourCc("free"));
  EXPECT_EQ(hole.write(), 1000u);
  EXPECT_EQ(file.memory->bytes(), concat({u32(1000), text("free")}));
}

TEST(SkipBox, IsReadWithoutItsContent) {
  Film file(concat({box("skip", box("moov")), box("free")}));
  EXPECT_TRUE(file.box<SkipBox>().children().empty());
  EXPECT_EQ(file.box().type(), fourCc("free"));
}

TEST(UuidBox, KeepsItsPayload) {
  Uuid other = kXmpUuid;
  other[3] ^= 1;
  for (const Bytes& bytes : {uuidBox(other, text("payload")),
                             largeForm(uuidBox(other, text("payload"))), uuidBox(other)}) {
    Film file(bytes);
    UuidBox& read = file.box<UuidBox>();
    EXPECT_EQ(read.payload().size(), read.getContentSize());
    EXPECT_EQ(file.written(read), bytes);
  }
}

TEST(UuidBox, BuiltHasTheTypeOfXmp) {
  Film file;
  XMPDataBox metadata(file.stream);
  EXPECT_EQ(metadata.getSize(), 24u);
  metadata.setPayload(text("<x/>"));
  EXPECT_EQ(metadata.getSize(), 28u);
  EXPECT_EQ(metadata.getCurrentSize(), 28u);
  EXPECT_EQ(
      file.written(metadata),
      (Bytes{0,    0,    0,    28,   'u',  'u',  'i',  'd',  0xBE, 0x7A, 0xCF, 0xCB, 0x97, 0xA9,
             0x42, 0xE8, 0x9C, 0x71, 0x99, 0x94, 0x91, 0xE3, 0xAF, 0xAC, '<',  'x',  '/',  '>'}));
}

TEST(UuidBox, BuiltWithALargeSizeCountsItsLongerHeader) {
  Film file;
  UuidBox large(file.stream, true);
  EXPECT_EQ(large.getSize(), 32u);
  large.setPayload(text("ab"));
  EXPECT_EQ(large.getSize(), 34u);
  EXPECT_EQ(file.written(large), largeForm(uuidBox(kXmpUuid, text("ab"))));
}

TEST(UuidBox, LeavesItsPayloadInTheFileUntilItIsAskedFor) {
  Film file(concat({uuidBox(kXmpUuid, zeros(1000)), box("free")}));
  file.memory->resetCalls();
  UuidBox& read = file.box<UuidBox>();
  EXPECT_EQ(file.memory->calls().read, 2u) << "size and type, and the extended type";
  EXPECT_EQ(read.payloadLength(), 1000u);
  EXPECT_EQ(file.memory->calls().read, 2u);
  EXPECT_EQ(read.payload(), zeros(1000));
  EXPECT_EQ(file.memory->calls().read, 3u);
  EXPECT_EQ(read.payload(), zeros(1000));
  EXPECT_EQ(file.memory->calls().read, 3u) << "it is kept";
  EXPECT_EQ(read.payloadLength(), 1000u);
  EXPECT_EQ(file.box().type(), fourCc("free"));
}

TEST(UuidBox, CopiesItsPayloadFromTheFileAndFromMemory) {
  Film file(uuidBox(kXmpUuid, text("packet")));
  UuidBox& read = file.box<UuidBox>();
  for (int i = 0; i < 2; ++i) {
    Bytes copy(6);
    read.copyPayload(copy.data());
    EXPECT_EQ(copy, text("packet"));
    read.payload();
  }
}

TEST(UuidBox, WhosePayloadIsCutOffSinceItWasReadIsAShortRead) {
  Film file(uuidBox(kXmpUuid, text("packet")));
  UuidBox& read = file.box<UuidBox>();
  file.memory->bytes().pop_back();
  EXPECT_CODE(shortRead, read.payload());
  EXPECT_EQ(read.payloadLength(), 6u);
}

TEST(UuidBox, TakesItsPayloadAlongToAnotherPlace) {
  Film file(concat({zeros(20), uuidBox(kXmpUuid, text("packet"))}));
  file.stream.seekTo(20);
  Box outer(fourCc("outr"), file.stream);
  outer.addChild(makeBox<UuidBox>(*readBoxHeader(file.stream, nullptr), file.stream));
  outer.write();
  EXPECT_EQ(Bytes(file.memory->bytes().begin(), file.memory->bytes().begin() + 38),
            box("outr", uuidBox(kXmpUuid, text("packet"))));
}

TEST(XMPDataBox, IsReadWhateverItsLength) {
  Bytes bytes = uuidBox(kXmpUuid, zeros(kLargestMetadata + 1));
  bytes.back() = 7;
  Film file(std::move(bytes));
  const Bytes& payload = file.box<XMPDataBox>().payload();
  ASSERT_EQ(payload.size(), kLargestMetadata + 1);
  EXPECT_EQ(payload.back(), 7);
}

}  // namespace
}  // namespace norvik::kav::impl
