#include "captions/nal_units.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <utility>

#include "tests/support/bytes.h"

namespace quarrypack::captions {
namespace {

using test::Bytes;
using test::concat;
using test::hex;

TEST(NalWalk, ListsTheUnitsOfASample) {
  const Bytes sample = hex("00000002 09f0  00000003 658884");
  NalWalk walk(sample, 4);
  const auto delimiter = walk.next();
  ASSERT_TRUE(delimiter.has_value());
  EXPECT_EQ(delimiter->offset, 0u);
  EXPECT_EQ(delimiter->size, 2u);
  EXPECT_EQ(delimiter->end(), 6u);
  EXPECT_TRUE(delimiter->whole());
  EXPECT_EQ(walk.stop(), NalWalk::Stop::none);
  const auto slice = walk.next();
  ASSERT_TRUE(slice.has_value());
  EXPECT_EQ(Bytes(slice->bytes.begin(), slice->bytes.end()), hex("658884"));
  EXPECT_EQ(slice->end(), sample.size());
  EXPECT_FALSE(walk.next());
  EXPECT_EQ(walk.stop(), NalWalk::Stop::endOfSample);
}

TEST(NalWalk, ReadsLengthsOfEverySize) {
  for (const auto& [lengthSize, sample] :
       {std::pair{1, "0109 0265aa"}, {2, "000109 000265aa"}, {3, "00000109 00000265aa"}}) {
    const Bytes bytes = hex(sample);
    NalWalk walk(bytes, static_cast<std::uint8_t>(lengthSize));
    EXPECT_EQ(walk.next()->size, 1u);
    EXPECT_EQ(walk.next()->size, 2u);
    EXPECT_FALSE(walk.next());
    EXPECT_EQ(walk.stop(), NalWalk::Stop::endOfSample) << lengthSize;
  }
}

TEST(NalWalk, EndsAtOnceInAnEmptySample) {
  NalWalk walk({}, 4);
  EXPECT_FALSE(walk.next());
  EXPECT_EQ(walk.stop(), NalWalk::Stop::endOfSample);
}

TEST(NalWalk, PassesEmptyUnits) {
  const Bytes sample = hex("00000000 00000001 65");
  NalWalk walk(sample, 4);
  EXPECT_EQ(walk.next()->size, 0u);
  EXPECT_EQ(walk.next()->size, 1u);
}

TEST(NalWalk, ReportsWhereASampleIsDamaged) {
  for (const char* broken : {"000001 65", "00000003 6588", "ffffffff 65", "000000", "80000000"}) {
    const Bytes sample = concat({hex("00000002 09f0"), hex(broken)});
    NalWalk walk(sample, 4);
    EXPECT_TRUE(walk.next().has_value());
    EXPECT_FALSE(walk.next().has_value()) << broken;
    EXPECT_EQ(walk.stop(), NalWalk::Stop::damaged) << broken;
    EXPECT_EQ(walk.position(), 6u);
  }
}

TEST(NalWalk, MakesDoWithTheBeginningOfASample) {
  const Bytes head = hex("00000002 09f0  000f4240 6588");
  constexpr std::uint64_t kSample = 6 + 4 + 1'000'000;
  NalWalk walk(head, kSample, 4);
  EXPECT_TRUE(walk.next()->whole());
  const auto slice = walk.next();
  ASSERT_TRUE(slice.has_value());
  EXPECT_FALSE(slice->whole());
  EXPECT_EQ(slice->bytes.size(), 2u);
  EXPECT_EQ(slice->end(), kSample);
  EXPECT_FALSE(walk.next());
  EXPECT_EQ(walk.stop(), NalWalk::Stop::endOfSample);
}

TEST(NalWalk, AsksForMoreWhereTheHeadEnds) {
  const Bytes head = hex("00000002 09f0  000000");
  NalWalk walk(head, 100, 4);
  EXPECT_TRUE(walk.next().has_value());
  EXPECT_FALSE(walk.next().has_value());
  EXPECT_EQ(walk.stop(), NalWalk::Stop::needsBytes);
  EXPECT_EQ(walk.position(), 6u);

  // The unit before the next length field need not be whole in the head.
  NalWalk beyond{std::span(head).first(5), 100, 4};
  EXPECT_EQ(beyond.next()->bytes.size(), 1u);
  EXPECT_FALSE(beyond.next().has_value());
  EXPECT_EQ(beyond.stop(), NalWalk::Stop::needsBytes);
  EXPECT_EQ(beyond.position(), 6u);
}

TEST(NalRules, ReadTheTypeOfAUnit) {
  EXPECT_EQ(kH264Rules.type(hex("65")), 5);
  EXPECT_EQ(kH264Rules.type(hex("06")), kH264Rules.seiType);
  EXPECT_EQ(kHevcRules.type(hex("2801")), 20);
  EXPECT_EQ(kHevcRules.type(hex("4e01")), kHevcRules.seiType);
  EXPECT_EQ(kHevcRules.type(hex("cf01")), 39);  // other bits of the header set
}

TEST(NalRules, ReadTheTemporalSubLayer) {
  EXPECT_EQ(kH264Rules.temporalId(hex("65")), 0);
  EXPECT_EQ(kHevcRules.temporalId(hex("0201")), 0);
  EXPECT_EQ(kHevcRules.temporalId(hex("0207")), 6);
  EXPECT_EQ(kHevcRules.temporalId(hex("0200")), 0);  // forbidden
}

TEST(NalRules, WriteTheHeaderOfAnSeiUnit) {
  Bytes bytes(5);
  std::uint8_t* next = kH264Rules.writeSeiHeader(bytes.data(), 0);
  next = kHevcRules.writeSeiHeader(next, 0);
  next = kHevcRules.writeSeiHeader(next, 2);
  EXPECT_EQ(next, bytes.data() + 5);
  EXPECT_EQ(bytes, hex("06 4e01 4e03"));
}

TEST(NalRules, NameTheUnitsOfAPicture) {
  for (std::uint8_t type = 0; type < 32; ++type) {
    EXPECT_EQ(kH264Rules.picture.contains(type),
              (type >= 1 && type <= 5) || type == 14 || type == 20)
        << int{type};
    EXPECT_EQ(kH264Rules.beforeCaptions.contains(type), (type >= 7 && type <= 9) || type == 13)
        << int{type};
  }
  for (std::uint8_t type = 0; type < 64; ++type) {
    EXPECT_EQ(kHevcRules.picture.contains(type), type < 32) << int{type};
    EXPECT_EQ(kHevcRules.beforeCaptions.contains(type), type >= 32 && type <= 35) << int{type};
  }
}

TEST(PrependNalLength, WritesTheLowBytesBigEndian) {
  struct Case {
    std::size_t length;
    const char* in4;
  };
  for (const Case& c : {Case{0, "00000000"}, Case{1, "00000001"}, Case{21, "00000015"},
                        Case{255, "000000ff"}, Case{256, "00000100"}, Case{65535, "0000ffff"},
                        Case{65536, "00010000"}, Case{70000, "00011170"}}) {
    for (std::uint8_t size = 1; size <= 4; ++size) {
      Bytes bytes(c.length, 0x78);
      prependNalLength(bytes, size);
      const Bytes prefix = hex(c.in4);
      EXPECT_EQ(bytes, concat({Bytes(prefix.end() - size, prefix.end()), Bytes(c.length, 0x78)}))
          << c.length << " in " << int{size};
    }
  }
}

struct EscapeCase {
  const char* content;
  const char* asCaptions;  // by applyEmulationPrevention
  const char* inFull;      // by escapeNalUnit
};

const EscapeCase kEscapeCases[]{
    {"", "", ""},
    {"00", "00", "00"},
    {"0000", "0000", "0000"},
    {"000000", "00000300", "00000300"},
    {"000001", "00000301", "00000301"},
    {"000002", "00000302", "00000302"},
    {"000003", "000003", "00000303"},
    {"000004", "000004", "000004"},
    {"ff000001", "ff00000301", "ff00000301"},
    {"00000000", "0000030000", "0000030000"},
    {"0000000000", "000003000000", "00000300000300"},
    {"00000000000001", "000003000000030001", "00000300000300000301"},
    {"0000010000", "000003010000", "000003010000"},
    {"00000100000003", "000003010000030003", "000003010000030003"},
    {"ff0000fc0000fd", "ff0000fc0000fd", "ff0000fc0000fd"},
    {"000000000003", "00000300000003",
     "00000300000300"
     "03"},
    {"0000030000010000", "000003000003010000", "00000303000003010000"},
};

TEST(ApplyEmulationPrevention, EscapesBytesBelow3AfterTwoZeros) {
  for (const EscapeCase& c : kEscapeCases) {
    Bytes bytes = hex(c.content);
    applyEmulationPrevention(bytes);
    EXPECT_EQ(bytes, hex(c.asCaptions)) << c.content;
  }
}

TEST(EscapeNalUnit, EscapesWhateverAReaderWouldMistake) {
  for (const EscapeCase& c : kEscapeCases) {
    Bytes bytes = hex(c.content);
    escapeNalUnit(bytes);
    EXPECT_EQ(bytes, hex(c.inFull)) << c.content;
  }
}

TEST(RemoveEmulationPrevention, DropsEscapesOnly) {
  const std::vector<std::pair<const char*, const char*>> cases{
      {"", ""},
      {"000003", "0000"},  // also at the very end
      {"00000300", "000000"},
      {"00000303", "000003"},
      {"000003000003", "00000000"},
      {"0003", "0003"},
      {"03000003", "030000"},
      {"0000000003", "00000000"},  // not a stream, and read all the same
      {"65000004", "65000004"},
  };
  for (const auto& [unit, content] : cases) {
    EXPECT_EQ(removeEmulationPrevention(hex(unit)), hex(content)) << unit;
  }
}

// No unit may hold 00 00 and then a byte below 3; with bytes from 0 to 4 almost all would.
TEST(EscapeNalUnit, IsUndoneByItsCounterpart) {
  std::mt19937 random(1);
  for (int round = 0; round < 2000; ++round) {
    Bytes content(random() % 24);
    for (std::uint8_t& byte : content) {
      byte = random() % 3 != 0 ? 0 : static_cast<std::uint8_t>(random() % 5);
    }
    Bytes unit = content;
    escapeNalUnit(unit);
    for (std::size_t i = 2; i < unit.size(); ++i) {
      ASSERT_FALSE(unit[i - 2] == 0 && unit[i - 1] == 0 && unit[i] < 3) << round;
    }
    ASSERT_EQ(removeEmulationPrevention(unit), content) << round;
  }
}

}  // namespace
}  // namespace quarrypack::captions
