// One suite for every record of the product. Reading, writing and the size come from one layout, so
// a round trip proves little: each row gives literal bytes, the fields in them and the bytes that
// the box is written as. Bytes that the library ignores are 0x77 in what is read.
//
// A new box with a record gets a row: a struct with Box, Record, forms() and expectFields(), and
// its name in the list of the suite.

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "kav/impl/boxes/fragment_boxes.h"
#include "kav/impl/boxes/media_boxes.h"
#include "kav/impl/boxes/movie_boxes.h"
#include "kav/impl/boxes/random_access_boxes.h"
#include "kav/impl/boxes/track_boxes.h"
#include "kav/impl/descriptions/entry_records.h"
#include "kav/impl/tables/table_entries.h"
#include "tests/unit/kav/impl/box_test_tools.h"

namespace norvik::kav::impl {
namespace {

// One way in which a box may be in a file, and the bytes that it is written as.
struct Form {
  Bytes file;
  Bytes written;
};
using Forms = std::vector<Form>;

// What most rows share.
struct Row {
  // The factory knows the class by its type.
  static constexpr bool kIsKnown = true;

  // The failure of a full box whose payload ends after this number of bytes, fewer than it needs.
  static ErrorCode codeAtLength(std::size_t length) {
    return length < 4 ? ErrorCode::truncatedFullBoxHeader : ErrorCode::truncatedBox;
  }
};

const Bytes kMatrix = u32List({1, 2, 3, 4, 5, 6, 7, 8, 9});
constexpr Matrix kMatrixRead = {1, 2, 3, 4, 5, 6, 7, 8, 9};
Bytes ignored(std::size_t count) { return Bytes(count, 0x77); }

// --- movie

struct MvhdRow : Row {
  using Box = MvhdBox;
  using Record = MvhdRecord;
  static Forms forms() {
    const Bytes written =
        fullBox("mvhd", 1, 0, u64(kLeapDay), u64(kLeapDay + 1), u32(600), u64(12345),
                u32(0x00018000), u16(0x0080), zeros(10), unityMatrix(), zeros(24), u32(7));
    return {{fullBox("mvhd", 0, 0, u32(kLeapDay), u32(kLeapDay + 1), u32(600), u32(12345),
                     u32(0x00018000), u16(0x0080), ignored(10), kMatrix, ignored(24), u32(7)),
             written},
            {fullBox("mvhd", 1, 0, u64(kLeapDay), u64(kLeapDay + 1), u32(600), u64(12345),
                     u32(0x00018000), u16(0x0080), ignored(10), kMatrix, ignored(24), u32(7)),
             written}};
  }
  static void expectFields(const Box& box) {
    const Record& record = box.record();
    EXPECT_EQ(record.creationTime, kLeapDayDate);
    EXPECT_EQ(record.modificationTime, kSecondLaterDate);
    EXPECT_EQ(record.timescale, 600u);
    EXPECT_EQ(record.duration, 12345u);
    EXPECT_EQ(record.rate, 1.5F);
    EXPECT_EQ(record.volume, 0.5F);
    EXPECT_EQ(record.matrix, kMatrixRead);
    EXPECT_EQ(record.nextTrackId, 7u);
  }
};

struct MehdRow : Row {
  using Box = MehdBox;
  using Record = MehdRecord;
  static Forms forms() {
    const Bytes wide = {0, 0, 0, 20, 'm', 'e', 'h', 'd', 1, 0, 0, 0, 0, 0, 0, 0, 0, 1, 0, 2};
    const Bytes narrow = {0, 0, 0, 16, 'm', 'e', 'h', 'd', 0, 0, 0, 0, 0, 1, 0, 2};
    return {{narrow, wide}, {wide, wide}};
  }
  static void expectFields(const Box& box) { EXPECT_EQ(box.record().fragmentDuration, 0x10002u); }
};

struct TrexRow : Row {
  using Box = TrexBox;
  using Record = TrexRecord;
  static Forms forms() {
    return {{{0, 0, 0, 32, 't', 'r', 'e', 'x', 0, 0, 0,    0,    0, 0, 0, 5,
              0, 0, 0, 2,  0,   0,   4,   0,   0, 0, 0x12, 0x34, 0, 1, 0, 0},
             fullBox("trex", 0, 0, u32List({5, 1, 1, 1, 1}))}};
  }
  static void expectFields(const Box& box) {
    const Record& record = box.record();
    EXPECT_EQ(record.trackId, 5u);
    EXPECT_EQ(record.descriptionIndex, 2u);
    EXPECT_EQ(record.duration, 1024u);
    EXPECT_EQ(record.sampleSize, 0x1234u);
    EXPECT_EQ(record.sampleFlags, 0x10000u);
  }
};

// --- track

struct TkhdRow : Row {
  using Box = TkhdBox;
  using Record = TkhdRecord;
  static Forms forms() {
    const Bytes written = fullBox("tkhd", 1, 5, u64(kLeapDay), u64(kLeapDay + 1), u32(3), zeros(4),
                                  u64(12345), zeros(8), u16(0xFFFE), u16(4), u16(0x0180), zeros(2),
                                  unityMatrix(), u32(1920 << 16), u32((1080 << 16) | 0x8000));
    return {{fullBox("tkhd", 0, 5, u32(kLeapDay), u32(kLeapDay + 1), u32(3), ignored(4), u32(12345),
                     ignored(8), u16(0xFFFE), u16(4), u16(0x0180), ignored(2), kMatrix,
                     u32(1920 << 16), u32((1080 << 16) | 0x8000)),
             written},
            {fullBox("tkhd", 1, 5, u64(kLeapDay), u64(kLeapDay + 1), u32(3), ignored(4), u64(12345),
                     ignored(8), u16(0xFFFE), u16(4), u16(0x0180), ignored(2), kMatrix,
                     u32(1920 << 16), u32((1080 << 16) | 0x8000)),
             written}};
  }
  static void expectFields(const Box& box) {
    const Record& record = box.record();
    EXPECT_EQ(box.flags(), 5u);
    EXPECT_EQ(record.creationTime, kLeapDayDate);
    EXPECT_EQ(record.modificationTime, kSecondLaterDate);
    EXPECT_EQ(record.trackId, 3u);
    EXPECT_EQ(record.duration, 12345u);
    EXPECT_EQ(record.layer, 0xFFFE);
    EXPECT_EQ(record.alternateGroup, 4);
    EXPECT_EQ(record.volume, 1.5F);
    EXPECT_EQ(record.matrix, kMatrixRead);
    EXPECT_EQ(record.width, 1920.0F);
    EXPECT_EQ(record.height, 1080.5F);
  }
};

struct EditRow : Row {
  using Box = ElstBox;
  static Forms forms() {
    const Bytes wide = fullBox("elst", 1, 0, u32(2), u64(0x100000000), u64(0xFFFFFFFFFFFFFFFE),
                               u16(1), u16(0), u64(5), u64(0x200000000), u16(0), u16(3));
    return {{wide, wide}};
  }
  static void expectFields(const Box& box) {
    EXPECT_EQ(box.edits(),
              (std::vector<EditRecord>{{0x100000000, -2, 1, 0}, {5, 0x200000000, 0, 3}}));
  }
};

struct NarrowEditRow : Row {
  using Box = ElstBox;
  static Forms forms() {
    const Bytes narrow = fullBox("elst", 0, 0, u32(1), u32(600), u32(0xFFFFFFFF), u16(1), u16(0));
    return {{narrow, narrow}};
  }
  static void expectFields(const Box& box) {
    EXPECT_EQ(box.edits(), (std::vector<EditRecord>{{600, kEmptyEdit, 1, 0}}));
  }
};

// --- media

struct MdhdRow : Row {
  using Box = MdhdBox;
  using Record = MdhdRecord;
  static Forms forms() {
    const Bytes written = fullBox("mdhd", 1, 0, u64(kLeapDay), u64(kLeapDay + 1), u32(48000),
                                  u64(96000), u16(0x55C4), u16(0));
    return {{fullBox("mdhd", 0, 0, u32(kLeapDay), u32(kLeapDay + 1), u32(48000), u32(96000),
                     u16(0x55C4), ignored(2)),
             written},
            {fullBox("mdhd", 1, 0, u64(kLeapDay), u64(kLeapDay + 1), u32(48000), u64(96000),
                     u16(0x55C4), ignored(2)),
             written}};
  }
  static void expectFields(const Box& box) {
    const Record& record = box.record();
    EXPECT_EQ(record.creationTime, kLeapDayDate);
    EXPECT_EQ(record.modificationTime, kSecondLaterDate);
    EXPECT_EQ(record.timescale, 48000u);
    EXPECT_EQ(record.duration, 96000u);
    EXPECT_EQ(record.language, 0x55C4);
  }
};

struct HdlrRow : Row {
  using Box = HdlrBox;
  using Record = HdlrRecord;
  static Forms forms() {
    return {{fullBox("hdlr", 0, 0, ignored(4), text("soun"), ignored(12)),
             fullBox("hdlr", 0, 0, zeros(4), text("soun"), zeros(12), u8(0))}};
  }
  static void expectFields(const Box& box) {
    EXPECT_EQ(box.handlerType(), fourCc("soun"));
    EXPECT_EQ(box.name(), Bytes{0});
  }
};

struct VmhdRow : Row {
  using Box = VmhdBox;
  using Record = VmhdRecord;
  static Forms forms() {
    return {{{0, 0, 0, 20, 'v', 'm', 'h', 'd', 0, 0, 0, 1, 0, 0x40, 0x80, 1, 0x80, 2, 0x80, 3},
             fullBox("vmhd", 0, 1, u16(0x40), zeros(6))}};
  }
  static void expectFields(const Box& box) {
    EXPECT_EQ(box.record().graphicsMode, 0x40);
    EXPECT_EQ(box.record().opcolor, (std::array<std::uint16_t, 3>{0x8001, 0x8002, 0x8003}));
  }
};

struct SmhdRow : Row {
  using Box = SmhdBox;
  using Record = SmhdRecord;
  static Forms forms() {
    return {{{0, 0, 0, 16, 's', 'm', 'h', 'd', 0, 0, 0, 0, 0xFF, 0x80, 0x77, 0x77},
             fullBox("smhd", 0, 0, u16(0xFF80), u16(0))}};
  }
  static void expectFields(const Box& box) { EXPECT_EQ(box.record().balance, 0xFF80); }

  // Nothing depends on the balance.
  static ErrorCode codeAtLength(std::size_t length) {
    return length < 4 ? ErrorCode::truncatedFullBoxHeader : ErrorCode::success;
  }
};

// --- fragments

struct MfhdRow : Row {
  using Box = MfhdBox;
  using Record = MfhdRecord;
  static Forms forms() {
    const Bytes bytes = {0, 0, 0, 16, 'm', 'f', 'h', 'd', 0, 0, 0, 0, 1, 2, 3, 4};
    return {{bytes, bytes}};
  }
  static void expectFields(const Box& box) { EXPECT_EQ(box.record().sequenceNumber, 0x01020304u); }
};

struct TfhdRow : Row {
  using Box = TfhdBox;
  using Record = TfhdRecord;
  static Forms forms() {
    return {
        {fullBox("tfhd", 0, 0x02003B, u32(5), u64(0x100000002), u32(3), u32(1000), u32(200),
                 u32(0x01010000)),
         fullBox("tfhd", 0, 0x02003B, u32(5), u64(0x100000002), u32(3), u32(1), u32(1), u32(1))}};
  }
  static void expectFields(const Box& box) {
    const Record& record = box.record();
    EXPECT_EQ(record.trackId, 5u);
    EXPECT_EQ(record.baseDataOffset, 0x100000002u);
    EXPECT_EQ(record.descriptionIndex, 3u);
    EXPECT_EQ(record.duration, 1000u);
    EXPECT_EQ(record.sampleSize, 200u);
    EXPECT_EQ(record.sampleFlags, 0x01010000u);
    EXPECT_TRUE(box.has(Record::kBaseIsMoof));
  }
};

// Of the optional fields only the named one is there.
template <std::uint32_t kFlag, std::uint32_t TfhdRecord::*kField, std::uint32_t kWritten>
struct TfhdFieldRow : Row {
  using Box = TfhdBox;
  using Record = TfhdRecord;
  static Forms forms() {
    return {{fullBox("tfhd", 0, kFlag, u32(5), u32(3000)),
             fullBox("tfhd", 0, kFlag, u32(5), u32(kWritten))}};
  }
  static void expectFields(const Box& box) {
    Record expected;
    expected.trackId = 5;
    expected.*kField = 3000;
    const Record& record = box.record();
    EXPECT_EQ(record.trackId, expected.trackId);
    EXPECT_EQ(record.baseDataOffset, 0u);
    EXPECT_EQ(record.descriptionIndex, expected.descriptionIndex);
    EXPECT_EQ(record.duration, expected.duration);
    EXPECT_EQ(record.sampleSize, expected.sampleSize);
    EXPECT_EQ(record.sampleFlags, expected.sampleFlags);
  }
};
using TfhdDescriptionRow =
    TfhdFieldRow<TfhdRecord::kDescriptionIndex, &TfhdRecord::descriptionIndex, 3000>;
using TfhdDurationRow = TfhdFieldRow<TfhdRecord::kDuration, &TfhdRecord::duration, 1>;
using TfhdSizeRow = TfhdFieldRow<TfhdRecord::kSampleSize, &TfhdRecord::sampleSize, 1>;
using TfhdFlagsRow = TfhdFieldRow<TfhdRecord::kSampleFlags, &TfhdRecord::sampleFlags, 1>;

struct TfhdOffsetRow : Row {
  using Box = TfhdBox;
  using Record = TfhdRecord;
  static Forms forms() {
    const Bytes bytes = fullBox("tfhd", 0, 1, u32(5), u64(0x100000002));
    return {{bytes, bytes}};
  }
  static void expectFields(const Box& box) {
    EXPECT_EQ(box.record().trackId, 5u);
    EXPECT_EQ(box.record().baseDataOffset, 0x100000002u);
    EXPECT_EQ(box.record().descriptionIndex, Record::kNotGiven);
  }
};

struct BareTfhdRow : Row {
  using Box = TfhdBox;
  using Record = TfhdRecord;
  static Forms forms() {
    const Bytes bytes = fullBox("tfhd", 0, 0, u32(5));
    return {{bytes, bytes}};
  }
  static void expectFields(const Box& box) {
    const Record& record = box.record();
    EXPECT_EQ(record.trackId, 5u);
    EXPECT_EQ(record.baseDataOffset, 0u);
    EXPECT_EQ(record.descriptionIndex, Record::kNotGiven);
    EXPECT_EQ(record.duration, Record::kNotGiven);
    EXPECT_EQ(record.sampleSize, Record::kNotGiven);
    EXPECT_EQ(record.sampleFlags, Record::kNotGiven);
    EXPECT_FALSE(box.has(Record::kBaseIsMoof));
  }
};

// Everything that a run can state about itself and its samples.
struct TrunRow : Row {
  using Box = TrunBox;
  static Forms forms() {
    const Bytes bytes = fullBox("trun", 0, 0x000F01, u32(2), u32(0xFFFFFFF8),  //
                                u32(10), u32(20), u32(0x02000000), u32(3),     //
                                u32(11), u32(21), u32(0x01010000), u32(0));
    return {{bytes, bytes}};
  }
  static void expectFields(const Box& box) {
    EXPECT_EQ(box.sampleCount(), 2u);
    TrunBox::Cursor cursor = box.cursor();
    ASSERT_TRUE(cursor.isValid());
    EXPECT_EQ(cursor.current().duration, 10u);
    EXPECT_EQ(cursor.current().size, 20u);
    EXPECT_EQ(cursor.current().flags, 0x02000000u);
    EXPECT_EQ(cursor.current().compositionOffset, 3u);
    cursor.next();
    ASSERT_TRUE(cursor.isValid());
    EXPECT_EQ(cursor.current().duration, 11u);
    cursor.next();
    EXPECT_FALSE(cursor.isValid());
  }
};

struct MfroRow : Row {
  using Box = MfroBox;
  using Record = MfroRecord;
  static constexpr bool kIsKnown = false;
  static Forms forms() {
    const Bytes bytes = {0, 0, 0, 16, 'm', 'f', 'r', 'o', 0, 0, 0, 0, 1, 2, 3, 4};
    return {{bytes, bytes}};
  }
  static void expectFields(const Box& box) { EXPECT_EQ(box.record().size, 0x01020304u); }
};

// An entry in the form that is written. Shorter ones are read as well.
struct TfraRow : Row {
  using Box = TfraBox;
  static constexpr bool kIsKnown = false;
  static Forms forms() {
    return {{fullBox("tfra", 1, 0, u32(3), u32(0x3F), u32(1), u64(0x100000007), u64(0x200000008),
                     u32(1), u32(2), u32(3)),
             fullBox("tfra", 1, 0, u32(3), u32(0x3F), u32(1), u64(0x100000007), u64(0x200000008),
                     u32(1), u32(2), u32(3))}};
  }
  static void expectFields(const Box& box) {
    EXPECT_EQ(box.trackId(), 3u);
    EXPECT_EQ(box.entries(), (std::vector<TfraBox::Entry>{{0x100000007, 0x200000008, 1, 2, 3}}));
  }
  static ErrorCode codeAtLength(std::size_t length) {
    return length < 16 ? ErrorCode::truncatedBox : ErrorCode::missingArgument;
  }
};

// --- the suite

LayoutForm formOf(const Bytes& fullBox) {
  return {fullBox[8],
          static_cast<std::uint32_t>(fullBox[9] << 16 | fullBox[10] << 8 | fullBox[11])};
}

// The box, read as a part of a tree where the class is known there.
template <class RowType>
class ReadRecord {
 public:
  using Box = typename RowType::Box;

  explicit ReadRecord(const Bytes& bytes) : film(bytes) {
    if constexpr (RowType::kIsKnown) {
      box = &film.box<Box>();
    } else {
      owned = film.alone<Box>();
      box = owned.get();
    }
  }

  Film film;
  OwnedBox<Box> owned;
  Box* box = nullptr;
};

template <class RowType>
class RecordSuite : public testing::Test {};

using Rows = testing::Types<MvhdRow, MehdRow, TrexRow, TkhdRow, EditRow, NarrowEditRow, MdhdRow,
                            HdlrRow, VmhdRow, SmhdRow, MfhdRow, TfhdRow, TfhdOffsetRow,
                            TfhdDescriptionRow, TfhdDurationRow, TfhdSizeRow, TfhdFlagsRow,
                            BareTfhdRow, TrunRow, MfroRow, TfraRow>;
TYPED_TEST_SUITE(RecordSuite, Rows);

TYPED_TEST(RecordSuite, ReadsItsFieldsFromLiteralBytes) {
  for (const Form& form : TypeParam::forms()) {
    const ReadRecord<TypeParam> read(form.file);
    SCOPED_TRACE(testing::PrintToString(form.file));
    TypeParam::expectFields(*read.box);
  }
}

TYPED_TEST(RecordSuite, IsWrittenAsTheExpectedBytes) {
  for (const Form& form : TypeParam::forms()) {
    ReadRecord<TypeParam> read(form.file);
    read.film.memory->bytes().assign(form.file.size(), 0xEE);
    EXPECT_EQ(read.film.written(*read.box), form.written);
    EXPECT_EQ(read.box->getSize(), form.written.size());
    EXPECT_EQ(read.box->getCurrentSize(), form.written.size());
  }
}

TYPED_TEST(RecordSuite, IsTheSameWhenItIsWrittenAgain) {
  for (const Form& form : TypeParam::forms()) {
    ReadRecord<TypeParam> read(form.file);
    read.box->write();
    EXPECT_EQ(read.film.written(*read.box), form.written);
  }
}

TYPED_TEST(RecordSuite, AtEveryShorterLengthRaisesItsError) {
  for (const Form& form : TypeParam::forms()) {
    const Bytes payload = payloadOf(form.file);
    // A class on its own begins after version and flags.
    for (std::size_t length = TypeParam::kIsKnown ? 0 : 4; length < payload.size(); ++length) {
      const Bytes shorter(payload.begin(), payload.begin() + static_cast<std::ptrdiff_t>(length));
      const Bytes file = boxAround(typeOf(form.file), shorter);
      EXPECT_EQ(thrownCode([&] { ReadRecord<TypeParam> read(file); }),
                TypeParam::codeAtLength(length))
          << length << " of " << payload.size();
    }
  }
}

TYPED_TEST(RecordSuite, HasTheSizeThatTheCounterCounts) {
  if constexpr (requires { typename TypeParam::Record; }) {
    using Record = typename TypeParam::Record;
    for (const Form& form : TypeParam::forms()) {
      EXPECT_EQ(form.file.size(), fullBoxSize<Record>(formOf(form.file)));
    }
  } else {
    // The record of a list is private to its box, which counts all of them.
    for (const Form& form : TypeParam::forms()) {
      EXPECT_EQ(ReadRecord<TypeParam>(form.file).box->getCurrentSize(), form.file.size());
    }
  }
}

// --- boxes that are only written

struct BuiltHmhd {
  using Record = HmhdRecord;
  static OwnedBox<HmhdBox> build(NorvikKavStream& stream) { return makeBox<HmhdBox>(stream); }
  static Bytes expected() { return fullBox("hmhd", 0, 0, zeros(16)); }
};
struct BuiltTfdt {
  using Record = TfdtRecord;
  static OwnedBox<TfdtBox> build(NorvikKavStream& stream) {
    return makeBox<TfdtBox>(0x100000002U, stream);
  }
  static Bytes expected() { return fullBox("tfdt", 1, 0, u64(0x100000002)); }
};

// Its record is private to it.
struct BuiltAfra {
  static OwnedBox<AfraBox> build(NorvikKavStream& stream) {
    auto box = makeBox<AfraBox>(600U, stream);
    box->addEntry({0x100000001, 0x200000002});
    return box;
  }
  static Bytes expected() {
    return fullBox("afra", 0, 0, u8(0xC0), u32(600), u32(1), u64(0x100000001), u64(0x200000002));
  }
};

template <class Built>
class BuiltRecordSuite : public testing::Test {};

using BuiltRows = testing::Types<BuiltHmhd, BuiltTfdt, BuiltAfra>;
TYPED_TEST_SUITE(BuiltRecordSuite, BuiltRows);

TYPED_TEST(BuiltRecordSuite, IsWrittenAsTheExpectedBytesOfTheCountedSize) {
  Film film;
  const auto box = TypeParam::build(film.stream);
  const Bytes expected = TypeParam::expected();
  EXPECT_EQ(box->getSize(), expected.size());
  EXPECT_EQ(film.written(*box), expected);
  if constexpr (requires { typename TypeParam::Record; }) {
    EXPECT_EQ(expected.size(), fullBoxSize<typename TypeParam::Record>(formOf(expected)));
  }
}

// --- records that are not boxes: entries of the sample tables, fields of sample entries, and boxes
// among the header bytes of a sample entry, which stay bytes

struct TimeEntryRow {
  using Record = TimeEntry;
  static Bytes bytes() { return {0, 1, 0, 2, 0, 3, 0, 4}; }
  static void expectFields(const Record& record) {
    EXPECT_EQ(record.sampleCount, 0x10002u);
    EXPECT_EQ(record.sampleDelta, 0x30004u);
  }
};
struct OffsetEntryRow {
  using Record = OffsetEntry;
  static Bytes bytes() { return {0, 1, 0, 2, 0xFF, 0xFF, 0xFF, 0xFE}; }
  static void expectFields(const Record& record) {
    EXPECT_EQ(record.sampleCount, 0x10002u);
    EXPECT_EQ(record.sampleOffset, 0xFFFFFFFEu);
  }
};
struct ChunkEntryRow {
  using Record = ChunkEntry;
  static Bytes bytes() { return {0, 1, 0, 2, 0, 3, 0, 4, 0, 5, 0, 6}; }
  static void expectFields(const Record& record) {
    EXPECT_EQ(record.firstChunk, 0x10002u);
    EXPECT_EQ(record.samplesPerChunk, 0x30004u);
    EXPECT_EQ(record.descriptionIndex, 0x50006u);
  }
};
struct NumberEntryRow {
  using Record = NumberEntry;
  static Bytes bytes() { return {0xF0, 1, 0, 2}; }
  static void expectFields(const Record& record) { EXPECT_EQ(record.number, 0xF0010002u); }
};
struct WideOffsetEntryRow {
  using Record = WideOffsetEntry;
  static Bytes bytes() { return {0xF0, 1, 0, 2, 0, 3, 0, 4}; }
  static void expectFields(const Record& record) { EXPECT_EQ(record.offset, 0xF001000200030004u); }
};
struct DependencyEntryRow {
  using Record = DependencyEntry;
  static Bytes bytes() { return {0x24}; }
  static void expectFields(const Record& record) { EXPECT_EQ(record.dependencies, 0x24); }
};

struct GenericEntryRow {
  using Record = GenericEntryRecord;
  static Bytes bytes() { return concat({ignored(6), u16(0x0102)}); }
  static Bytes written() { return concat({zeros(6), u16(0x0102)}); }
  static void expectFields(const Record& record) { EXPECT_EQ(record.dataReferenceIndex, 0x0102); }
};
struct VideoEntryRow {
  using Record = VideoEntryRecord;
  static Bytes with(const Bytes& six, const Bytes& sixteen, const Bytes& four, const Bytes& name) {
    return concat({six, u16(1), sixteen, u16(1920), u16(1080), u32(0x480000), u32(0x490000), four,
                   u16(2), name, u16(24), u16(0xFFFF)});
  }
  static Bytes bytes() { return with(ignored(6), ignored(16), ignored(4), ignored(32)); }
  static Bytes written() { return with(zeros(6), zeros(16), zeros(4), zeros(32)); }
  static void expectFields(const Record& record) {
    EXPECT_EQ(record.dataReferenceIndex, 1);
    EXPECT_EQ(record.width, 1920);
    EXPECT_EQ(record.height, 1080);
    EXPECT_EQ(record.horizontalResolution, 0x480000u);
    EXPECT_EQ(record.verticalResolution, 0x490000u);
    EXPECT_EQ(record.frameCount, 2);
    EXPECT_EQ(record.depth, 24);
    EXPECT_EQ(record.preDefined, 0xFFFF);
  }
};
struct AudioEntryRow {
  using Record = AudioEntryRecord;
  static Bytes fields() {
    return concat({u16(1), u16(2), u16(3), u32(0x01020304), u16(6), u16(16), u16(0xFFFE), u16(9),
                   u32(48000U << 16)});
  }
  static Bytes bytes() { return concat({ignored(6), fields()}); }
  static Bytes written() { return concat({zeros(6), fields()}); }
  static void expectFields(const Record& record) {
    EXPECT_EQ(record.dataReferenceIndex, 1);
    EXPECT_EQ(record.version, 2);
    EXPECT_EQ(record.revision, 3);
    EXPECT_EQ(record.vendor, 0x01020304u);
    EXPECT_EQ(record.channelCount, 6);
    EXPECT_EQ(record.sampleSize, 16);
    EXPECT_EQ(record.compressionId, 0xFFFE);
    EXPECT_EQ(record.packetSize, 9);
    EXPECT_EQ(record.sampleRate, 48000U << 16);
  }
};
struct PaspRow {
  using Record = PaspRecord;
  static Bytes bytes() { return {0, 0, 0, 40, 0, 0, 0, 33}; }
  static void expectFields(const Record& record) {
    EXPECT_EQ(record.horizontalSpacing, 40u);
    EXPECT_EQ(record.verticalSpacing, 33u);
  }
};

template <class RowType>
Bytes writtenBytesOf() {
  if constexpr (requires { RowType::written(); }) {
    return RowType::written();
  } else {
    return RowType::bytes();
  }
}

template <class RowType>
class EntrySuite : public testing::Test {};

using EntryRows =
    testing::Types<TimeEntryRow, OffsetEntryRow, ChunkEntryRow, NumberEntryRow, WideOffsetEntryRow,
                   DependencyEntryRow, GenericEntryRow, VideoEntryRow, AudioEntryRow, PaspRow>;
TYPED_TEST_SUITE(EntrySuite, EntryRows);

TYPED_TEST(EntrySuite, IsReadAndWrittenAsLiteralBytesOfTheCountedSize) {
  using Record = typename TypeParam::Record;
  const Bytes bytes = TypeParam::bytes();
  ASSERT_EQ(bytes.size(), recordSize<Record>(kVersion0));
  const std::optional<Record> record = decodeRecord<Record>(bytes);
  ASSERT_TRUE(record);
  TypeParam::expectFields(*record);
  Bytes written(bytes.size(), 0xEE);
  encodeRecord(*record, written);
  EXPECT_EQ(written, writtenBytesOf<TypeParam>());
}

TYPED_TEST(EntrySuite, IsNotThereInFewerBytes) {
  using Record = typename TypeParam::Record;
  const Bytes bytes = TypeParam::bytes();
  for (std::size_t length = 0; length < bytes.size(); ++length) {
    EXPECT_FALSE(decodeRecord<Record>(std::span(bytes).first(length))) << length;
  }
}

}  // namespace
}  // namespace norvik::kav::impl
