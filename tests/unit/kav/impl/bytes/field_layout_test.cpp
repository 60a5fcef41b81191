#include "kav/impl/bytes/field_layout.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <vector>

namespace norvik::kav::impl {
namespace {

using Bytes = std::vector<std::uint8_t>;

// Every verb once.
struct EveryVerb {
  std::uint8_t byte = 0;
  std::uint16_t word = 0;
  std::uint32_t flaggedWord = 0;
  std::uint64_t longWord = 0;
  std::int32_t signedWord = 0;
  std::uint64_t wideWord = 0;
  std::int64_t signedWideWord = 0;
  std::uint32_t fixedWord = 0;
  std::uint16_t fixedHalf = 0;
  NorvikKavDateTime date;
  float sixteen = 0;
  float eight = 0;
  Matrix matrix{};

  template <class Fields, class Self>
  static constexpr void layout(Fields& fields, Self& self) {
    fields.u8(self.byte);
    fields.u16(self.word);
    if (fields.has(4)) fields.u32(self.flaggedWord);
    fields.u64(self.longWord);
    fields.i32(self.signedWord);
    fields.wide(self.wideWord);
    fields.wideSigned(self.signedWideWord);
    fields.u32WrittenAs(self.fixedWord, 0xA1A2A3A4);
    fields.u16WrittenAs(self.fixedHalf, 0xB1B2);
    fields.date(self.date);
    fields.fixed16(self.sixteen);
    fields.fixed8(self.eight);
    fields.matrixWrittenAsUnity(self.matrix);
    fields.reserved(3);
  }
};

constexpr std::size_t kNarrowSize = 1 + 2 + 8 + 4 + 4 + 4 + 4 + 2 + 4 + 4 + 2 + 36 + 3;
static_assert(recordSize<EveryVerb>({0, 0}) == kNarrowSize);
static_assert(recordSize<EveryVerb>({0, 4}) == kNarrowSize + 4);
static_assert(recordSize<EveryVerb>({0, 8}) == kNarrowSize);
static_assert(recordSize<EveryVerb>({1, 0}) == kNarrowSize + 3 * 4);
static_assert(recordSize<EveryVerb>({2, 0}) == kNarrowSize, "only version 1 is wide");
static_assert(fullBoxSize<EveryVerb>({0, 0}) == 12 + kNarrowSize);

const Bytes kNarrow = {
    0x01,                                                                    // byte
    0x02, 0x03,                                                              // word
    0x11, 0x12, 0x13, 0x14, 0x15, 0x16, 0x17, 0x18,                          // longWord
    0xFF, 0xFF, 0xFF, 0xFE,                                                  // signedWord
    0xF0, 0x00, 0x00, 0x01,                                                  // wideWord
    0xFF, 0xFF, 0xFF, 0xFF,                                                  // signedWideWord
    0x00, 0x00, 0x00, 0x07,                                                  // fixedWord
    0x00, 0x08,                                                              // fixedHalf
    0x00, 0x01, 0x51, 0x80,                                                  // date: one day
    0x00, 0x01, 0x80, 0x00,                                                  // sixteen
    0x02, 0x40,                                                              // eight
    0x00, 0x00, 0x00, 0x01, 0x00, 0x00, 0x00, 0x02, 0x00, 0x00, 0x00, 0x03,  // matrix
    0x00, 0x00, 0x00, 0x04, 0x00, 0x00, 0x00, 0x05, 0x00, 0x00, 0x00, 0x06,  //
    0x00, 0x00, 0x00, 0x07, 0x00, 0x00, 0x00, 0x08, 0x00, 0x00, 0x00, 0x09,  //
    0x99, 0x99, 0x99,                                                        // reserved
};

EveryVerb decode(const Bytes& bytes, LayoutForm form) {
  EveryVerb record;
  FieldReader reader(bytes, form);
  EveryVerb::layout(reader, record);
  return record;
}

Bytes encode(const EveryVerb& record, LayoutForm form) {
  Bytes bytes(recordSize<EveryVerb>(form), 0xEE);
  FieldWriter writer(bytes, form);
  EveryVerb::layout(writer, record);
  return bytes;
}

TEST(FieldReader, DecodesEveryVerbInTheNarrowForm) {
  const EveryVerb record = decode(kNarrow, {0, 0});
  EXPECT_EQ(record.byte, 0x01);
  EXPECT_EQ(record.word, 0x0203);
  EXPECT_EQ(record.flaggedWord, 0u);
  EXPECT_EQ(record.longWord, 0x1112131415161718u);
  EXPECT_EQ(record.signedWord, -2);
  EXPECT_EQ(record.wideWord, 0xF0000001u);
  EXPECT_EQ(record.signedWideWord, -1);
  EXPECT_EQ(record.fixedWord, 7u);
  EXPECT_EQ(record.fixedHalf, 8);
  EXPECT_EQ(record.date, (NorvikKavDateTime{1904, 1, 2, 0, 0, 0, 0}));
  EXPECT_EQ(record.sixteen, 1.5F);
  EXPECT_EQ(record.eight, 2.25F);
  EXPECT_EQ(record.matrix, (Matrix{1, 2, 3, 4, 5, 6, 7, 8, 9}));
}

TEST(FieldWriter, StatesFixedValuesUnityAndZerosWhateverWasRead) {
  Bytes expected = kNarrow;
  const auto replace = [&](std::size_t at, const Bytes& bytes) {
    std::copy(bytes.begin(), bytes.end(), expected.begin() + static_cast<std::ptrdiff_t>(at));
  };
  replace(23, {0xA1, 0xA2, 0xA3, 0xA4, 0xB1, 0xB2});
  replace(39, {0, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,    0, 0, 1,
               0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0x40, 0, 0, 0});
  replace(75, {0, 0, 0});
  EXPECT_EQ(encode(decode(kNarrow, {0, 0}), {0, 0}), expected);
}

TEST(FieldWriter, EncodesTheWideForm) {
  const Bytes narrow = encode(decode(kNarrow, {0, 0}), {0, 0});
  const Bytes wide = encode(decode(kNarrow, {0, 0}), {1, 0});
  // Up to the first wide field, then the three wide ones.
  EXPECT_TRUE(std::equal(narrow.begin(), narrow.begin() + 15, wide.begin()));
  const Bytes wideFields(wide.begin() + 15, wide.begin() + 31);
  EXPECT_EQ(wideFields, (Bytes{0, 0, 0, 0, 0xF0, 0, 0, 1,  //
                               0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}));
  const Bytes date(wide.begin() + 37, wide.begin() + 45);
  EXPECT_EQ(date, (Bytes{0, 0, 0, 0, 0, 1, 0x51, 0x80}));
  EXPECT_EQ(decode(wide, {1, 0}).signedWideWord, -1);
  EXPECT_EQ(decode(wide, {1, 0}).date, (NorvikKavDateTime{1904, 1, 2, 0, 0, 0, 0}));
}

TEST(FieldWriter, KeepsTheLowBitsOfWhatIsTooWide) {
  EveryVerb record;
  record.wideWord = 0x1234567890;
  record.signedWideWord = -2;
  const Bytes bytes = encode(record, {0, 0});
  EXPECT_EQ(Bytes(bytes.begin() + 15, bytes.begin() + 23),
            (Bytes{0x34, 0x56, 0x78, 0x90, 0xFF, 0xFF, 0xFF, 0xFE}));
}

TEST(FieldReader, ReadsAFieldThatTheFlagsAnnounce) {
  Bytes bytes = kNarrow;
  const Bytes word = {0xC1, 0xC2, 0xC3, 0xC4};
  bytes.insert(bytes.begin() + 3, word.begin(), word.end());
  const EveryVerb record = decode(bytes, {0, 4});
  EXPECT_EQ(record.flaggedWord, 0xC1C2C3C4u);
  EXPECT_EQ(record.longWord, 0x1112131415161718u);
}

// A time that is wide in version 1, and a word that a flag announces.
struct SmallRecord {
  std::uint64_t time = 0;
  std::uint32_t word = 0;

  template <class Fields, class Self>
  static constexpr void layout(Fields& fields, Self& self) {
    fields.wide(self.time);
    if (fields.has(1)) fields.u32(self.word);
  }
};

TEST(DecodeRecord, TakesVersionAndFlagsOfAFullBoxFirst) {
  const Bytes narrow = {0, 0, 0, 1, 0, 0, 0, 9, 0, 0, 0, 7, 0xEE};
  const auto record = decodeRecord<SmallRecord, Full<0>>(narrow);
  ASSERT_TRUE(record);
  EXPECT_EQ(record->time, 9u);
  EXPECT_EQ(record->word, 7u);
  const Bytes wide = {1, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0, 9};
  EXPECT_EQ((decodeRecord<SmallRecord, Full<0>>(wide)->time), 0x100000009u);
}

TEST(DecodeRecord, GivesNothingForAPayloadThatIsTooShort) {
  const Bytes narrow = {0, 0, 0, 1, 0, 0, 0, 9, 0, 0, 0, 7};
  for (std::size_t length = 0; length < narrow.size(); ++length) {
    const auto payload = std::span(narrow).first(length);
    EXPECT_FALSE((decodeRecord<SmallRecord, Full<0>>(payload))) << length;
  }
}

TEST(FixedPoint, RoundsToNearestAndStaysInRange) {
  EXPECT_EQ(fixed16FromFloat(1.0F), 0x10000u);
  EXPECT_EQ(fixed16FromFloat(1920.0F), 1920u << 16);
  EXPECT_EQ(fixed16FromFloat(0.1F), 6554u);
  EXPECT_EQ(fixed16FromFloat(-1.0F), 0u);
  EXPECT_EQ(fixed16FromFloat(65536.0F), 0xFFFFFFFFu);
  EXPECT_EQ(fixed16FromFloat(std::numeric_limits<float>::quiet_NaN()), 0u);
  EXPECT_EQ(fixed16FromFloat(std::numeric_limits<float>::infinity()), 0xFFFFFFFFu);
  EXPECT_EQ(fixed8FromFloat(1.0F), 0x100);
  EXPECT_EQ(fixed8FromFloat(-0.5F), 0);
  EXPECT_EQ(fixed8FromFloat(1e9F), 0xFFFF);
  EXPECT_EQ(fixed8FromFloat(std::numeric_limits<float>::quiet_NaN()), 0);
}

TEST(FixedPoint, EveryVolumeSurvivesTheWayThere) {
  for (std::uint32_t fixed = 0; fixed <= 0xFFFF; ++fixed) {
    const auto word = static_cast<std::uint16_t>(fixed);
    ASSERT_EQ(fixed8FromFloat(floatFromFixed8(word)), word);
  }
}

}  // namespace
}  // namespace norvik::kav::impl
