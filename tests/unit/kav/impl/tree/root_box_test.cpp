#include "kav/impl/tree/root_box.h"

#include "kav/impl/boxes/file_boxes.h"
#include "kav/impl/boxes/movie_boxes.h"
#include "kav/impl/boxes/track_boxes.h"
#include "tests/unit/kav/impl/box_test_tools.h"

namespace norvik::kav::impl {
namespace {

Bytes moof() { return box("moof", fullBox("mfhd", 0, 0, u32(1))); }

TEST(RootBox, ReadsNothingAheadOfNeed) {
  Film file(concat({box("free"), moov(), box("mdat")}));
  EXPECT_EQ(file.root.loadedCount(), 0u);
  EXPECT_EQ(file.root.getChild(0)->type(), fourCc("free"));
  EXPECT_EQ(file.root.loadedCount(), 1u);
  EXPECT_EQ(file.root.getChild(2)->type(), fourCc("mdat"));
  EXPECT_EQ(file.root.loadedCount(), 3u);
  EXPECT_EQ(file.root.getChild(3), nullptr);
  EXPECT_EQ(file.root.getChild(0)->type(), fourCc("free"));
}

TEST(RootBox, HoldsTheTopLevelBoxesInTheirPlaces) {
  Film file(concat({box("free", zeros(2)), box("mdat", zeros(5))}));
  file.root.getChild(1);
  EXPECT_EQ(file.root.children()[1]->start(), 10u);
  EXPECT_EQ(file.root.getCurrentSize(), 23u);
}

TEST(RootBox, RemembersTheMovieAndItsParts) {
  Film file(concat({box("free"), moov()}));
  EXPECT_EQ(file.root.movie(), nullptr);
  MoovBox* movie = file.root.readMovie();
  ASSERT_NE(movie, nullptr);
  EXPECT_EQ(file.root.movie(), movie);
  ASSERT_NE(movie->mvhd(), nullptr);
  EXPECT_EQ(movie->mvhd()->record().timescale, 600u);
  ASSERT_EQ(movie->tracks().size(), 1u);
  EXPECT_NE(movie->tracks()[0]->findStbl(), nullptr);
}

TEST(RootBox, HasNoMovieInAFileWithoutOne) {
  Film file(concat({box("free"), box("mdat")}));
  EXPECT_EQ(file.root.readMovie(), nullptr);
}

TEST(RootBox, FindsAMovieInEveryForm) {
  for (const Bytes& form : {moov(), largeForm(moov()), uuidForm(moov()), runningToEnd(moov())}) {
    Film file(concat({box("free"), form}));
    MoovBox* movie = file.root.readMovie();
    ASSERT_NE(movie, nullptr);
    EXPECT_EQ(movie->tracks().size(), 1u);
  }
}

TEST(RootBox, FetchesTheMovieForAFragmentBeforeIt) {
  Film file(concat({moof(), box("free"), moov(), box("mdat")}));
  EXPECT_EQ(file.root.readNextBox()->type(), fourCc("moof"));
  MoovBox* movie = file.root.movie();
  ASSERT_NE(movie, nullptr);
  EXPECT_EQ(movie->tracks().size(), 1u);
  EXPECT_EQ(file.root.loadedCount(), 1u);

  EXPECT_EQ(file.root.readNextBox()->type(), fourCc("free"));
  EXPECT_EQ(file.root.readNextBox(), movie) << "it is adopted in its place";
  EXPECT_EQ(file.root.children()[2].get(), movie);
  EXPECT_EQ(file.root.readNextBox()->type(), fourCc("mdat"));
  EXPECT_EQ(file.root.readNextBox(), nullptr);
}

TEST(RootBox, DestroysAMovieThatItNeverReached) {
  Film file(concat({moof(), moov()}));
  file.root.readNextBox();
  EXPECT_NE(file.root.movie(), nullptr);
}

TEST(RootBox, ReadMovieGoesOnToTheMovieThatWasFetchedEarly) {
  Film file(concat({moof(), box("free"), moov()}));
  MoovBox* movie = file.root.readMovie();
  EXPECT_EQ(file.root.loadedCount(), 3u);
  EXPECT_EQ(file.root.children()[2].get(), movie);
}

TEST(RootBox, AFragmentWithoutAMovieIsRefused) {
  EXPECT_CODE(noMovie, Film(moof()).box());
  EXPECT_CODE(noMovie, Film(concat({moof(), box("mdat")})).box());
}

TEST(RootBox, LooksForTheMovieBeforeItReadsAFragmentBeforeIt) {
  const Bytes brokenFragments[] = {
      box("moof", fullBox("mfhd", 0, 0, u32(1)), claimingSize(1000, box("traf"))),
      box("moof", box("mfhd")),
      box("moof"),
  };
  for (const Bytes& fragment : brokenFragments) EXPECT_CODE(noMovie, Film(fragment).box());
  EXPECT_CODE(truncatedFullBoxHeader, Film(concat({brokenFragments[1], moov()})).box());
  EXPECT_CODE(childRuleBroken, Film(concat({brokenFragments[2], moov()})).box());
}

TEST(RootBox, PassesOverAUuidBoxTooShortForItsExtendedType) {
  const Bytes tooShort = box("uuid", zeros(12));
  Film file(concat({tooShort, box("moov", mvhd0(), tooShort, trak())}));
  EXPECT_TRUE(file.box<UuidBox>().payload() == zeros(12));
  EXPECT_EQ(file.box<MoovBox>().tracks().size(), 1u);
}

TEST(RootBox, LooksAtTheEndOfTheFileAnewInEachCall) {
  Film file(box("free", zeros(2)));
  ASSERT_NE(file.root.readNextBox(), nullptr);
  EXPECT_EQ(file.root.readNextBox(), nullptr);
  const Bytes more = box("skip", zeros(3));
  Bytes& bytes = file.memory->bytes();
  bytes.insert(bytes.end(), more.begin(), more.end());
  EXPECT_EQ(file.box<SkipBox>().end(), 21u);
  EXPECT_EQ(file.root.getChild(2), nullptr);
  bytes.insert(bytes.end(), more.begin(), more.end());
  EXPECT_NE(file.root.getChild(2), nullptr);
}

TEST(RootBox, AMovieFetchedEarlyIsCheckedLikeAnyOther) {
  EXPECT_CODE(childRuleBroken, Film(concat({moof(), box("moov", mvhd0())})).box());
  EXPECT_CODE(truncatedBox, Film(concat({moof(), claimingSize(2000, moov())})).box());
}

TEST(RootBox, ASecondMovieIsRefused) {
  Film file(concat({moov(), box("free"), moov()}));
  file.root.readNextBox();
  file.root.readNextBox();
  EXPECT_CODE(secondMovie, file.root.readNextBox());

  Film fragmented(concat({moof(), moov(), moov()}));
  fragmented.root.readNextBox();
  fragmented.root.readNextBox();
  EXPECT_CODE(secondMovie, fragmented.root.readNextBox());
}

TEST(RootBox, ChecksTheRulesOfEveryBox) {
  const Bytes noUrl = box("dinf");
  const auto mdiaWith = [](const Bytes& information) {
    return box("moov", mvhd0(),
               box("trak", tkhd0(), box("mdia", mdhd0(), hdlr("text"), information)));
  };
  const Bytes cases[] = {
      box("moov"),
      box("moov", mvhd0()),
      box("moov", trak()),
      box("moov", mvhd0(), mvhd0(), trak()),
      box("moov", mvhd0(), box("trak", tkhd0())),
      box("moov", mvhd0(), box("trak", mdia())),
      box("moov", mvhd0(), box("trak", tkhd0(), tkhd0(), mdia())),
      box("moov", mvhd0(), box("trak", tkhd0(), box("mdia", mdhd0(), hdlr("text")))),
      box("moov", mvhd0(), box("trak", tkhd0(), box("mdia", mdhd0(), minf()))),
      box("moov", mvhd0(), box("trak", tkhd0(), box("mdia", hdlr("text"), minf()))),
      mdiaWith(box("minf", dinf())),
      mdiaWith(box("minf", emptyStbl())),
      mdiaWith(box("minf", noUrl, emptyStbl())),
      mdiaWith(box("minf", dinf(), box("stbl"))),
      mdiaWith(
          box("minf", dinf(), box("stbl", payloadOf(emptyStbl()), fullBox("co64", 0, 0, u32(0))))),
  };
  for (const Bytes& bytes : cases)
    EXPECT_CODE(childRuleBroken, Film(bytes).box()) << &bytes - cases;
  EXPECT_CODE(success, Film(moov()).box());
  EXPECT_CODE(success,
              Film(mdiaWith(box("minf", box("dinf", fullBox("url ", 0, 1)), emptyStbl()))).box());
}

TEST(RootBox, ReadsOnToTheMetadataAndNoFurther) {
  Film file(concat({box("free"), uuidBox(kXmpUuid, text("xmp")), box("mdat")}));
  XMPDataBox* metadata = file.root.readMetadata();
  ASSERT_NE(metadata, nullptr);
  EXPECT_EQ(metadata->payload(), text("xmp"));
  EXPECT_EQ(file.root.loadedCount(), 2u);
  EXPECT_EQ(file.root.readMetadata(), metadata);
}

TEST(RootBox, ShowsTheMetadataThatItMetWithoutReadingOn) {
  Film file(concat({box("free"), uuidBox(kXmpUuid, text("one")), uuidBox(kXmpUuid, text("two"))}));
  EXPECT_EQ(file.root.metadata(), nullptr);
  file.root.readNextBox();
  EXPECT_EQ(file.root.metadata(), nullptr);
  EXPECT_EQ(file.root.loadedCount(), 1u);
  const Box* first = file.root.getChild(1);
  EXPECT_EQ(file.root.metadata(), first);
  EXPECT_EQ(file.root.metadata()->payload(), text("one"));
  EXPECT_EQ(file.root.metadata(), first);
  file.root.readNextBox();
  EXPECT_EQ(file.root.metadata()->payload(), text("two")) << "of two the last counts";
}

TEST(RootBox, HasNoMetadataInAFileWithoutIt) {
  Uuid other = kXmpUuid;
  other[0] ^= 1;
  Film file(concat({box("free"), uuidBox(other, text("xmp"))}));
  EXPECT_EQ(file.root.readMetadata(), nullptr);
}

TEST(RootBox, EndsCleanlyAtStrayBytes) {
  Film file(concat({box("free"), zeros(5)}));
  EXPECT_NE(file.root.readNextBox(), nullptr);
  EXPECT_EQ(file.root.readNextBox(), nullptr);

  Film strict(concat({box("free"), zeros(5)}));
  ProblemAnswers answers{0};
  strict.stream.setProblemHandler(answers.handler());
  strict.root.readNextBox();
  EXPECT_CODE(stoppedByHandler, strict.root.readNextBox());
}

TEST(RootBox, AcceptsMediaDataThatIsCutOff) {
  Film file(concat({box("free"), claimingSize(5000, box("mdat", zeros(10)))}));
  file.root.readNextBox();
  EXPECT_EQ(file.box<MdatBox>().end(), 5008u);
  EXPECT_EQ(file.root.readNextBox(), nullptr);
}

TEST(RootBox, AcceptsMediaDataWithAnEndThatNoStreamCanReach) {
  constexpr std::uint64_t kBeyond = std::uint64_t{1} << 63;
  Film file(claimingLargeSize(kBeyond, box("mdat", zeros(10))));
  EXPECT_EQ(file.box<MdatBox>().end(), kBeyond);
  EXPECT_EQ(file.root.readNextBox(), nullptr);
}

TEST(RootBox, RefusesAMovieThatIsCutOff) {
  const Bytes whole = moov();
  for (std::size_t length = 8; length < whole.size(); ++length) {
    EXPECT_CODE(
        truncatedBox,
        Film(Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length))).box())
        << length;
  }
}

TEST(RootBox, EveryFailureOfTheStreamComesThrough) {
  const Bytes bytes = concat({moof(), box("free"), moov()});
  Film counted(bytes);
  counted.memory->resetCalls();
  counted.root.readMovie();
  const std::size_t calls = counted.memory->calls().all();
  for (std::size_t k = 1; k <= calls; ++k) {
    Film file(bytes);
    file.memory->injectFault(k, MemoryStream::Fault::fails);
    ASSERT_EQ(thrownCode([&] { file.root.readMovie(); }), ErrorCode::ioFailed) << "call " << k;
  }
}

}  // namespace
}  // namespace norvik::kav::impl
