#include "kav/impl/boxes/track_boxes.h"
#include "kav/impl/tree/known_boxes.h"

#include "kav/impl/boxes/media_boxes.h"
#include "kav/impl/boxes/stbl_box.h"
#include "kav/impl/model/box_headers.h"
#include "tests/unit/kav/impl/box_test_tools.h"

namespace norvik::kav::impl {
namespace {

TrackParameters someParameters() {
  TrackParameters parameters;
  parameters.trackId = 3;
  parameters.handlerType = fourCc("vide");
  parameters.handlerName = text("name");
  parameters.timescale = 90000;
  parameters.movieTimescale = 1000;
  parameters.mediaDuration = 135;  // one and a half movie ticks
  parameters.creationTime = kLeapDayDate;
  parameters.modificationTime = kSecondLaterDate;
  parameters.width = 640;
  parameters.height = 360.5F;
  parameters.volume = 1;
  parameters.editCapacity = 2;
  return parameters;
}

TEST(TkhdBox, BuiltTakesItsValuesFromTheParameters) {
  Film file;
  TkhdBox built(someParameters(), TkhdBox::kTrackEnabled, file.stream);
  EXPECT_EQ(built.getSize(), 104u);
  EXPECT_EQ(file.written(built), fullBox("tkhd", 1, 1, u64(kLeapDay), u64(kLeapDay + 1), u32(3),
                                         zeros(4), u64(1), zeros(8), zeros(4), u16(0x100), zeros(2),
                                         unityMatrix(), u32(640 << 16), u32((360 << 16) | 0x8000)));
  built.setDuration(77);
  EXPECT_EQ(loadU64(file.written(built).data() + 36), 77u);
}

TEST(TkhdBox, HasItsDurationRoundedToTheMoviesTimescale) {
  struct Case {
    std::uint64_t media;
    std::uint64_t movie;
  };
  Film file;
  for (const Case c : {Case{45, 0}, {46, 1}, {90, 1}, {135, 1}, {136, 2}, {90000, 1000}}) {
    TrackParameters parameters = someParameters();
    parameters.mediaDuration = c.media;
    EXPECT_EQ(TkhdBox(parameters, 1, file.stream).record().duration, c.movie) << c.media;
  }
  TrackParameters same = someParameters();
  same.movieTimescale = same.timescale;
  EXPECT_EQ(TkhdBox(same, 1, file.stream).record().duration, 135u);
}

TEST(HintBox, ReadsAndWritesTrackIds) {
  const Bytes bytes = {0, 0, 0, 16, 'h', 'i', 'n', 't', 0, 0, 0, 2, 0, 0, 1, 0};
  Film file(bytes);
  HintBox& hint = file.box<HintBox>();
  EXPECT_EQ(hint.trackIds(), (std::vector<std::uint32_t>{2, 256}));
  EXPECT_EQ(file.written(hint), bytes);
}

TEST(HintBox, LeavesOutAnIdThatIsCutOff) {
  Film file(concat({box("hint", u32(2), zeros(3)), box("free")}));
  EXPECT_EQ(file.box<HintBox>().trackIds(), (std::vector<std::uint32_t>{2}));
  EXPECT_EQ(file.box().type(), fourCc("free"));
}

TEST(TrefBox, BuiltHoldsItsHint) {
  Film file;
  TrefBox tref(std::vector<std::uint32_t>{1, 4}, file.stream);
  EXPECT_EQ(file.written(tref), box("tref", box("hint", u32(1), u32(4))));
}

TEST(ElstBox, ReadsTheNarrowForm) {
  const Bytes bytes = {0,    0,    0,    40,   'e', 'l', 's',  't',  0,    0,    0,    0, 0, 0,
                       0,    2,    0,    0,    2,   88,  0xFF, 0xFF, 0xFF, 0xFF, 0,    1, 0, 0,
                       0xFF, 0xFF, 0xFF, 0xFF, 0,   0,   0,    9,    0,    2,    0x80, 0};
  Film file(bytes);
  ElstBox& elst = file.box<ElstBox>();
  EXPECT_EQ(elst.edits(),
            (std::vector<EditRecord>{{600, kEmptyEdit, 1, 0}, {0xFFFFFFFF, 9, 2, 0x8000}}));
  EXPECT_EQ(file.written(elst), bytes);
}

TEST(ElstBox, ReadsTheWideForm) {
  const Bytes bytes = fullBox("elst", 1, 0, u32(2), u64(0x100000000), u64(0xFFFFFFFFFFFFFFFE),
                              u16(1), u16(0), u64(5), u64(0x200000000), u16(0), u16(0));
  Film file(bytes);
  ElstBox& elst = file.box<ElstBox>();
  EXPECT_EQ(elst.edits(),
            (std::vector<EditRecord>{{0x100000000, -2, 1, 0}, {5, 0x200000000, 0, 0}}));
  EXPECT_EQ(file.written(elst), bytes);
}

TEST(ElstBox, WithFewerBytesThanItsEditsNeedIsRefused) {
  for (const unsigned version : {0u, 1u}) {
    const std::size_t needed = 4 + 3 * (version == 1 ? 20 : 12);
    for (std::size_t length = 0; length <= needed; ++length) {
      Bytes content = concat({u32(3), zeros(needed)});
      content.resize(length);
      EXPECT_EQ(thrownCode([&] { Film(fullBox("elst", version, 0, content)).box(); }),
                length < needed ? ErrorCode::truncatedBox : ErrorCode::success)
          << version << ' ' << length;
    }
  }
}

TEST(ElstBox, WithMoreEditsThanAnyFileHoldsIsRefused) {
  EXPECT_CODE(implausibleCount, Film(fullBox("elst", 0, 0, u32(100000001))).box());
  EXPECT_CODE(implausibleCount, Film(fullBox("elst", 0, 0, u32(0xFFFFFFFF))).box());
  EXPECT_CODE(truncatedBox, Film(fullBox("elst", 0, 0, u32(100000000))).box());
}

TEST(ElstBox, BuiltReservesRoomForTwoEditsAGapAndOneMore) {
  Film file;
  ElstBox elst(2, file.stream);
  EXPECT_EQ(elst.getSize(), 16u);
  EXPECT_EQ(elst.getCurrentSize(), 16u + 20 * 5);
  for (std::uint64_t i = 1; i <= 5; ++i) {
    elst.addEdit(i, 10);
    EXPECT_EQ(elst.getSize(), 16u + 20 * i);
    EXPECT_EQ(elst.getCurrentSize(), 116u);
  }
  EXPECT_CODE(editListFull, elst.addEdit(6, 10));
  EXPECT_EQ(elst.edits().size(), 5u);
}

TEST(ElstBox, NeverWritesIntoRoomThatIsNotUsed) {
  Film file(Bytes(116, 0xEE));
  ElstBox elst(2, file.stream);
  elst.addEdit(600, kEmptyEdit);
  const Bytes& reserved = file.written(elst);
  EXPECT_EQ(Bytes(reserved.begin(), reserved.begin() + 36),
            claimingSize(116, fullBox("elst", 1, 0, u32(1), u64(600), u64(~std::uint64_t{0}),
                                      u16(1), u16(0))));
  EXPECT_EQ(Bytes(reserved.begin() + 36, reserved.end()), Bytes(80, 0xEE));

  elst.addEdit(0, 0);
  elst.setLastSegmentDuration(70);
  elst.releaseReserve();
  const Bytes& released = file.written(elst);
  EXPECT_EQ(Bytes(released.begin(), released.begin() + 56),
            fullBox("elst", 1, 0, u32(2), u64(600), u64(~std::uint64_t{0}), u16(1), u16(0), u64(70),
                    u64(0), u16(1), u16(0)));
  EXPECT_CODE(editListFull, elst.addEdit(1, 1)) << "the room is given up";
}

TEST(ElstBox, HasNoLastSegmentWhileItIsEmpty) {
  Film file;
  ElstBox elst(0, file.stream);
  elst.setLastSegmentDuration(5);
  EXPECT_TRUE(elst.edits().empty());
}

TEST(ElstBox, TakesNoMoreThan255EditsWhateverRoomItHas) {
  Film file;
  ElstBox elst(400, file.stream);
  for (std::size_t i = 0; i < 255; ++i) elst.addEdit(i, static_cast<std::int64_t>(2 * i));
  EXPECT_CODE(editListFull, elst.addEdit(255, 510));
  elst.releaseReserve();
  Film again(file.written(elst));
  const ElstBox& read = again.box<ElstBox>();
  ASSERT_EQ(read.edits().size(), 255u);
  for (std::size_t i = 0; i < 255; ++i) {
    ASSERT_EQ(read.edits()[i], (EditRecord{i, static_cast<std::int64_t>(2 * i), 1, 0}));
  }
}

TEST(ElstBox, ReadsALongerListButDoesNotWriteIt) {
  for (const std::uint32_t count : {255u, 256u}) {
    Film file(fullBox("elst", 1, 0, u32(count), zeros(20 * count)));
    ElstBox& elst = file.box<ElstBox>();
    EXPECT_EQ(elst.edits().size(), count);
    EXPECT_EQ(thrownCode([&] { file.written(elst); }),
              count == 255 ? ErrorCode::success : ErrorCode::editListFull);
  }
}

TEST(EdtsBox, RemembersItsEditList) {
  Film file;
  EdtsBox edts(0, file.stream);
  ASSERT_NE(edts.elst(), nullptr);
  EXPECT_EQ(edts.getCurrentSize(), 8u + 36u);
  edts.elst()->addEdit(1, 2);
  EXPECT_EQ(file.written(edts),
            box("edts", fullBox("elst", 1, 0, u32(1), u64(1), u64(2), u16(1), u16(0))));
}

TEST(TrakBox, RemembersItsPartsInAnyOrder) {
  Film file(box("trak", box("edts", fullBox("elst", 0, 0, u32(0))), mdia(), box("tref"),
                box("udta"), tkhd0()));
  const TrakBox& track = file.box<TrakBox>();
  EXPECT_EQ(track.edts(), track.children()[0].get());
  EXPECT_EQ(track.mdia(), track.children()[1].get());
  EXPECT_EQ(track.tref(), track.children()[2].get());
  EXPECT_EQ(track.tkhd(), track.children()[4].get());
  ASSERT_NE(track.findStbl(), nullptr);
  EXPECT_EQ(track.findStbl(), track.mdia()->minf()->stbl());
}

TEST(TrakBox, OfRepeatedPartsTheLastCounts) {
  const auto edits = [](std::uint32_t duration) {
    return fullBox("elst", 0, 0, u32(1), u32(duration), u32(0), u16(1), u16(0));
  };
  Film file(box("trak", tkhd0(), box("edts", edits(1)), box("tref", box("hint", u32(5))),
                box("edts", edits(2), edits(3)), mdia(),
                box("tref", box("hint", u32(6)), box("hint", u32(7)))));
  const TrakBox& track = file.box<TrakBox>();
  EXPECT_EQ(track.edts(), track.children()[3].get());
  ASSERT_NE(track.edts()->elst(), nullptr);
  EXPECT_EQ(track.edts()->elst()->edits(), (std::vector<EditRecord>{{3, 0, 1, 0}}));
  EXPECT_EQ(track.tref(), track.children()[5].get());
  ASSERT_NE(track.tref()->hint(), nullptr);
  EXPECT_EQ(track.tref()->hint()->trackIds(), (std::vector<std::uint32_t>{7}));
}

TEST(TrakBox, WithoutAWayToASampleTableHasNone) {
  Film file;
  const auto trackOf = [&](const Bytes& bytes) {
    file.memory->bytes() = bytes;
    file.stream.computeSize();
    file.stream.seekTo(0);
    auto header = readBoxHeader(file.stream, nullptr);
    BoxPtr track = knownBoxes().createBox(file.stream, *header, nullptr);
    readChildHeaders({file.stream, knownBoxes()}, *track);
    return track;
  };
  for (const Bytes& bytes :
       {box("trak"), box("trak", box("mdia")), box("trak", box("mdia", box("minf")))}) {
    EXPECT_EQ(dynamic_cast<TrakBox&>(*trackOf(bytes)).findStbl(), nullptr);
  }
  EXPECT_NE(dynamic_cast<TrakBox&>(*trackOf(trak())).findStbl(), nullptr);
}

std::vector<FourCc> typesOf(const Box& parent) {
  std::vector<FourCc> types;
  for (const BoxPtr& child : parent.children()) types.push_back(child->type());
  return types;
}

TEST(TrakBox, BuiltHoldsHeaderMediaAndEditsInThisOrder) {
  Film file;
  TrakBox track(someParameters(), file.stream);
  EXPECT_EQ(typesOf(track), (std::vector<FourCc>{fourCc("tkhd"), fourCc("mdia"), fourCc("edts")}));
  EXPECT_EQ(track.tkhd()->flags(), 1u);
  EXPECT_EQ(track.edts()->elst()->getCurrentSize(), 16u + 20 * 5);
  EXPECT_NE(track.findStbl(), nullptr);
  EXPECT_EQ(track.tref(), nullptr);
}

TEST(TrakBox, BuiltForHintsRefersToItsTracks) {
  Film file;
  TrackParameters parameters = someParameters();
  parameters.handlerType = fourCc("hint");
  parameters.hintedTrackIds = {1, 2};
  TrakBox track(parameters, file.stream);
  EXPECT_EQ(typesOf(track),
            (std::vector<FourCc>{fourCc("tkhd"), fourCc("tref"), fourCc("mdia"), fourCc("edts")}));
  ASSERT_NE(track.tref(), nullptr);
  ASSERT_EQ(track.tref()->children().size(), 1u);
  EXPECT_EQ(childAs<HintBox>(*track.tref()->children()[0])->trackIds(), parameters.hintedTrackIds);
}

// The end of the last box in a tree of adjacent boxes.
std::uint64_t endOfTree(const Box& box) {
  std::uint64_t position = box.start() + box.getSize();
  for (const BoxPtr& child : box.children()) {
    EXPECT_EQ(child->start(), position);
    position = endOfTree(*child);
  }
  const std::uint64_t end = box.start() + box.getCurrentSize();
  if (!box.children().empty()) {
    EXPECT_EQ(position, end);
  }
  return end;
}

TEST(TrakBox, BuiltHasEveryBoxInItsPlace) {
  Film file;
  TrackParameters parameters = someParameters();
  parameters.sampleCapacity = 10;
  parameters.descriptionCount = 1;
  parameters.descriptionLength = 40;
  Box parent(fourCc("moov"), file.stream);
  parent.place(36);
  parent.addChild(makeBox<TrakBox>(parameters, file.stream));
  parent.addChild(makeBox<TrakBox>(parameters, file.stream));
  EXPECT_EQ(endOfTree(parent), 36u + parent.getCurrentSize());
}

TEST(EditRecord, EqualsAnotherInAllFields) {
  const EditRecord edit{600, 20, 1, 0};
  EXPECT_EQ(edit, (EditRecord{600, 20, 1, 0}));
  EXPECT_NE(edit, (EditRecord{601, 20, 1, 0}));
  EXPECT_NE(edit, (EditRecord{600, kEmptyEdit, 1, 0}));
  EXPECT_NE(edit, (EditRecord{600, 20, 2, 0}));
  EXPECT_NE(edit, (EditRecord{600, 20, 1, 0x8000}));
}

}  // namespace
}  // namespace norvik::kav::impl
