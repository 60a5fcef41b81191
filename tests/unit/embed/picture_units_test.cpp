#include "embed/picture_units.h"

#include "captions/cc_data.h"
#include "tests/support/bytes.h"

#include <gtest/gtest.h>

#include <vector>

namespace quarrypack::embed {
namespace {

using namespace quarrypack::test;

Bytes unit(const Bytes& content, unsigned lengthSize = 4) {
  return concat({bigEndian(content.size(), lengthSize), content});
}

// Units of H.264, by their first byte.
const Bytes kDelimiter = unit({0x09, 0xF0});
const Bytes kParameters = unit(concat({u8(0x67), zeros(30)}));
const Bytes kSlice = unit(concat({u8(0x65), Bytes(500, 0x55)}));
const Bytes kBuffering = unit({0x06, 0x00, 0x01, 0xAA, 0x80});
const Bytes kTiming = unit({0x06, 0x01, 0x01, 0xAA, 0x80});

constexpr PictureCoding kH264{&captions::kH264Rules, 4};
constexpr PictureCoding kHevc{&captions::kHevcRules, 4};

Bytes captionUnit(PictureCoding coding = kH264) {
  const captions::CcTriplet triplet{true, captions::CcType::field1, 0x94, 0x2C};
  Bytes bytes;
  captions::buildCaptionUnit(
      bytes, {.rules = coding.rules, .nalLengthSize = coding.nalLengthSize, .temporalId = 0},
      std::span(&triplet, 1));
  return bytes;
}

struct Look {
  PictureUnits units;
  std::size_t bytesRead = 0;
};

Look look(const Bytes& sample, PictureCoding coding = kH264) {
  PictureReader reader;
  Look result;
  result.units = reader.look(static_cast<std::uint32_t>(sample.size()), coding,
                             [&](std::uint64_t offset, std::span<std::uint8_t> bytes) {
                               ASSERT_LE(offset + bytes.size(), sample.size());
                               std::copy_n(sample.begin() + static_cast<std::ptrdiff_t>(offset),
                                           bytes.size(), bytes.begin());
                               result.bytesRead += bytes.size();
                             });
  return result;
}

TEST(PictureUnits, GoAfterTheUnitsThatOpenAPicture) {
  const Bytes opening = concat({kDelimiter, kParameters, kBuffering});
  const PictureUnits units = look(concat({opening, kTiming, kSlice})).units;
  EXPECT_TRUE(units.takesCaptions);
  EXPECT_EQ(units.place, opening.size());
  EXPECT_TRUE(units.cuts.empty());
  EXPECT_EQ(look(kSlice).units.place, 0u);
}

TEST(PictureUnits, AreFoundByTheBeginningOfASample) {
  Bytes large = concat({kDelimiter, unit(concat({u8(0x65), Bytes(1 << 20, 1)}))});
  EXPECT_EQ(look(large).bytesRead, 256u);
  // Long parameter sets take another look.
  large = concat({unit(concat({u8(0x67), Bytes(3000, 1)})), large});
  const Look second = look(large);
  EXPECT_TRUE(second.units.takesCaptions);
  EXPECT_EQ(second.units.place, 3005u + kDelimiter.size());
  EXPECT_LT(second.bytesRead, 10'000u);
}

TEST(PictureUnits, AreFoundInASampleThatIsALittleLongerThanTheFirstLook) {
  const Bytes parameters = unit(concat({u8(0x67), zeros(300)}));
  const PictureUnits units = look(concat({parameters, unit(Bytes(40, 0x65))})).units;
  EXPECT_TRUE(units.takesCaptions);
  EXPECT_EQ(units.place, parameters.size());
}

TEST(PictureUnits, OfEarlierCaptionsMayFollowTheSlices) {
  // The first bit of the importance of a unit is set in some films.
  Bytes marked = captionUnit();
  marked[4] = 0x66;
  const Bytes sample = concat({kDelimiter, kSlice, marked, kSlice, kTiming, captionUnit()});
  const Look found = look(sample);
  EXPECT_TRUE(found.units.takesCaptions);
  EXPECT_EQ(found.units.place, kDelimiter.size());
  ASSERT_EQ(found.units.cuts.size(), 2u);
  EXPECT_EQ(found.units.cuts[0].offset, kDelimiter.size() + kSlice.size());
  EXPECT_EQ(found.units.cuts[0].length, marked.size());
  EXPECT_EQ(found.units.cuts[1].offset, sample.size() - marked.size());
  EXPECT_LT(found.bytesRead, 400u);
  // What follows damaged bytes cannot be told.
  const Bytes damaged = concat({kSlice, u32(0xFFFF), captionUnit()});
  EXPECT_TRUE(look(damaged).units.takesCaptions);
  EXPECT_TRUE(look(damaged).units.cuts.empty());
}

TEST(PictureUnits, OfEveryLengthSizeAreRead) {
  for (const unsigned size : {1u, 2u, 3u, 4u}) {
    const Bytes sample = concat({unit({0x09, 0xF0}, size), unit({0x41, 1, 2, 3}, size)});
    const PictureCoding coding{&captions::kH264Rules, static_cast<std::uint8_t>(size)};
    EXPECT_EQ(look(sample, coding).units.place, size + 2u) << size;
  }
}

TEST(PictureUnits, OfHevcHaveATemporalLayer) {
  const Bytes parameters = unit({0x42, 0x01, 0xAA});
  const Bytes sample = concat({parameters, unit({0x02, 0x03, 0x55, 0x55})});
  const PictureUnits units = look(sample, kHevc).units;
  EXPECT_TRUE(units.takesCaptions);
  EXPECT_EQ(units.place, parameters.size());
  EXPECT_EQ(units.temporalId, 2);
}

TEST(PictureUnits, FindTheCaptionsThatAreThere) {
  const Bytes captions = captionUnit();
  const PictureUnits units = look(concat({kDelimiter, kTiming, captions, captions, kSlice})).units;
  ASSERT_EQ(units.cuts.size(), 2u);
  EXPECT_EQ(units.cuts[0].offset, kDelimiter.size() + kTiming.size());
  EXPECT_EQ(units.cuts[0].length, captions.size());
  EXPECT_TRUE(units.cuts[0].rest.empty());
  EXPECT_EQ(units.cuts[1].offset, units.cuts[0].offset + captions.size());
  EXPECT_EQ(units.place, kDelimiter.size());
}

TEST(PictureUnits, KeepTheOtherMessagesOfAUnit) {
  // The captions' message without length, header and end, between two others.
  const Bytes captions = captionUnit();
  const Bytes message(captions.begin() + 5, captions.end() - 1);
  const Bytes timing = {0x01, 0x01, 0xAA};
  const Bytes recovery = {0x06, 0x01, 0xBB};
  const Bytes mixed = unit(concat({u8(0x06), timing, message, recovery, u8(0x80)}));
  const PictureUnits units = look(concat({mixed, kSlice})).units;
  ASSERT_EQ(units.cuts.size(), 1u);
  EXPECT_EQ(units.cuts[0].length, mixed.size());
  EXPECT_EQ(units.cuts[0].rest, unit(concat({u8(0x06), timing, recovery, u8(0x80)})));
}

TEST(PictureUnits, WithoutASliceTakeNoCaptions) {
  EXPECT_FALSE(look({}).units.takesCaptions);
  EXPECT_FALSE(look(kParameters).units.takesCaptions);
  EXPECT_FALSE(look(concat({kDelimiter, kTiming})).units.takesCaptions);
}

TEST(PictureUnits, OfADamagedSampleTakeNoCaptions) {
  const Bytes whole = concat({kDelimiter, kTiming, kSlice});
  for (std::size_t length = 0; length < whole.size(); ++length) {
    const Bytes cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length));
    EXPECT_FALSE(look(cut).units.takesCaptions) << length;
  }
  EXPECT_FALSE(look(concat({unit({}), kSlice})).units.takesCaptions);
  EXPECT_FALSE(look(concat({unit({0x02}), kSlice}), kHevc).units.takesCaptions);
  EXPECT_FALSE(look(concat({u32(0xFFFFFFFF), zeros(400)})).units.takesCaptions);
}

TEST(PictureUnits, WithAMegabyteAheadOfTheSliceTakeNone) {
  const Bytes sample = concat({unit(concat({u8(0x06), Bytes(2 << 20, 0xFF)})), kSlice});
  const Look result = look(sample);
  EXPECT_FALSE(result.units.takesCaptions);
  EXPECT_LE(result.bytesRead, std::size_t{1} << 20);
}

TEST(PictureUnits, OfOnePictureLeaveNothingForTheNext) {
  PictureReader reader;
  const auto lookWith = [&reader](const Bytes& sample) {
    return reader.look(static_cast<std::uint32_t>(sample.size()), kH264,
                       [&](std::uint64_t offset, std::span<std::uint8_t> bytes) {
                         std::copy_n(sample.begin() + static_cast<std::ptrdiff_t>(offset),
                                     bytes.size(), bytes.begin());
                       });
  };
  EXPECT_EQ(lookWith(concat({captionUnit(), kSlice})).cuts.size(), 1u);
  EXPECT_TRUE(lookWith(kSlice).cuts.empty());
  EXPECT_FALSE(lookWith({}).takesCaptions);
}

}  // namespace
}  // namespace quarrypack::embed
