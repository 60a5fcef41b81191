#include "embed/caption_splices.h"

#include <gtest/gtest.h>

#include "captions/sei.h"
#include "embed/refusal.h"
#include "tests/support/bytes.h"
#include "tests/support/caption_pairs.h"
#include "tests/support/memory_stream.h"

namespace quarrypack::embed {
namespace {

using namespace quarrypack::test;
using captions::FieldPairs;
using captions::kPairTime;
using captions::Time;

constexpr PictureCoding kCodings[] = {{&captions::kH264Rules, 4}, {&captions::kHevcRules, 2}};

std::span<const std::uint32_t> shownInOrder(std::span<const Picture> pictures) {
  static constexpr std::uint32_t kNumbers[] = {0, 1, 2};
  return std::span(kNumbers).first(pictures.size());
}

// A plan for pictures of television: a line of pairs from the first one on, in one field or both.
CaptionPlan planFor(std::size_t pictureCount, const std::string& field1,
                    const std::string& field2 = "") {
  std::vector<Time> starts;
  for (std::size_t i = 0; i < pictureCount; ++i) {
    starts.push_back(kPairTime * static_cast<std::int64_t>(i));
  }
  const std::array<FieldPairs, kFields> fields{inTurn(field1, Time{0}), inTurn(field2, Time{0})};
  return planCaptions({starts, starts.back() + kPairTime}, fields, {.pad = false});
}

// The pairs in a unit with its length field, those of field 2 after a bar.
std::string pairsIn(std::span<const std::uint8_t> unit, const PictureCoding& coding) {
  const captions::SeiUnit sei =
      captions::parseSeiUnit(unit.subspan(coding.nalLengthSize), *coding.rules);
  EXPECT_TRUE(captions::holdsOnlyCaptions(sei));
  if (sei.messages.size() != 1) return "not one message";
  std::string text;
  const auto data = captions::captionData(sei, sei.messages[0]);
  for (const captions::CcTriplet& triplet : data->triplets) {
    EXPECT_TRUE(triplet.valid);
    text += (triplet.type == captions::CcType::field2 ? "|" : " ") + hexOf(triplet.pair());
  }
  return text;
}

TEST(CaptionSplices, PutAUnitIntoEachPictureThatGetsPairs) {
  const CaptionPlan plan = planFor(3, "9420 8080 942f", "1520");
  const std::vector<Picture> pictures = {{.offset = 500, .size = 100, .place = 6},
                                         {.offset = 100, .size = 100, .place = 0},
                                         {.offset = 300, .size = 100, .place = 9}};
  CaptionSplices captions(pictures, shownInOrder(pictures), kCodings, plan);
  EXPECT_EQ(captions.captionedPictures(), 2u);
  EXPECT_EQ(pairsIn(captions.unitOf(0), kCodings[0]), " 9420|1520");
  EXPECT_TRUE(captions.unitOf(1).empty());
  EXPECT_EQ(pairsIn(captions.unitOf(2), kCodings[0]), " 942f");

  const auto second = static_cast<std::uint32_t>(captions.unitOf(2).size());
  const std::vector<Splice> splices = captions.splices({});
  // Three bytes more for the pair of field 2.
  EXPECT_EQ(splices, (std::vector<Splice>{{309, second, 0}, {506, second + 3, 0}}));
}

TEST(CaptionSplices, FollowTheCodingOfEachPicture) {
  const CaptionPlan plan = planFor(2, "9420 942f");
  const std::vector<Picture> pictures = {
      {.offset = 0, .size = 9, .place = 0, .coding = 1, .temporalId = 3},
      {.offset = 9, .size = 9, .place = 0}};
  CaptionSplices captions(pictures, shownInOrder(pictures), kCodings, plan);
  const auto unit = captions.unitOf(0);
  EXPECT_EQ(pairsIn(unit, kCodings[1]), " 9420");
  EXPECT_EQ(unit[2], 39 << 1);  // an SEI unit of HEVC
  EXPECT_EQ(unit[3], 4);        // of that sub-layer
  EXPECT_EQ(pairsIn(captions.unitOf(1), kCodings[0]), " 942f");
}

TEST(CaptionSplices, WriteWhatTheyMeasured) {
  const CaptionPlan plan = planFor(3, "9420 c1c1 942f");
  const std::vector<Picture> pictures = {{.offset = 200, .size = 90, .place = 5},
                                         {.offset = 0, .size = 90, .place = 6},
                                         {.offset = 100, .size = 90, .place = 7}};
  CaptionSplices captions(pictures, shownInOrder(pictures), kCodings, plan);
  captions.cut(200, std::vector<CaptionCut>{{5, 20, {}}, {25, 10, {7, 7}}});
  captions.cut(0, std::vector<CaptionCut>{{9, 30, {8}}});
  const std::vector<Splice> unused = {{95, 0, 3}};
  const std::vector<Splice> splices = captions.splices(unused);
  const std::uint32_t unit = splices[0].inserted;
  EXPECT_EQ(
      splices,
      (std::vector<Splice>{
          {6, unit, 0}, {9, 1, 30}, {95, 0, 3}, {107, unit, 0}, {205, unit, 20}, {225, 2, 10}}));
  EXPECT_FALSE(OffsetMap::findConflict(splices));

  const auto stream = MemoryStream::create();
  stream->open();
  OutputBuffer output(*stream);
  std::vector<std::uint64_t> ends;
  for (const Splice& splice : splices) {
    captions.append(splice, output);
    ends.push_back(output.size());
  }
  output.flush();
  std::uint64_t expected = 0;
  for (std::size_t i = 0; i < splices.size(); ++i) {
    expected += splices[i].inserted;
    EXPECT_EQ(ends[i], expected) << i;
  }
  const Bytes& bytes = stream->bytes();
  EXPECT_EQ(bytes[unit], 8);
  EXPECT_EQ(pairsIn(std::span(bytes).first(unit), kCodings[0]), " c1c1");
  EXPECT_EQ(Bytes(bytes.end() - 2, bytes.end()), (Bytes{7, 7}));
}

TEST(CaptionSplices, RefusePicturesThatShareBytes) {
  const CaptionPlan plan = planFor(3, "9420 c1c1");
  const auto splicesOf = [&plan](std::vector<Picture> pictures) {
    CaptionSplices captions(pictures, shownInOrder(pictures), kCodings, plan);
    return captions.splices({});
  };
  const Picture first{.offset = 100, .size = 50};
  const Picture touching{.offset = 150, .size = 50};
  const Picture inside{.offset = 120, .size = 10};
  const Picture empty{.offset = 120, .size = 0};
  EXPECT_EQ(splicesOf({first, touching, empty}).size(), 2u);
  EXPECT_THROW(splicesOf({first, touching, inside}), Refusal);
  EXPECT_THROW(splicesOf({first, first, touching}), Refusal);
  try {
    splicesOf({touching, first, inside});
    FAIL();
  } catch (const Refusal& refusal) {
    EXPECT_EQ(std::string(refusal.what()).find("pictures 2 and 3 share bytes"), 0u);
  }
}

TEST(CaptionSplices, OfAPlanWithoutPairsChangeNothing) {
  const CaptionPlan plan = planFor(2, "");
  const std::vector<Picture> pictures = {{.offset = 0, .size = 9}, {.offset = 0, .size = 9}};
  CaptionSplices captions(pictures, shownInOrder(pictures), kCodings, plan);
  EXPECT_TRUE(captions.splices({}).empty());
}

}  // namespace
}  // namespace quarrypack::embed
