#include "captions/caption_atoms.h"

#include <gtest/gtest.h>

#include <vector>

#include "tests/support/bytes.h"

namespace quarrypack::captions {
namespace {

using test::Bytes;
using test::hex;

const char kTwoFields[] = "0000000c 63646174 9420 94ae  0000000a 63647432 1525";

std::vector<CaptionAtom> atoms(const Bytes& sample) {
  std::vector<CaptionAtom> found;
  for (const CaptionAtom& atom : CaptionAtoms(sample)) found.push_back(atom);
  return found;
}

TEST(CaptionAtoms, ListsTheAtomsOfASample) {
  const Bytes sample = hex(kTwoFields);
  const auto found = atoms(sample);
  ASSERT_EQ(found.size(), 2u);
  EXPECT_EQ(found[0].field(), Field::one);
  ASSERT_EQ(found[0].pairCount(), 2u);
  EXPECT_EQ(found[0].pair(0), (BytePair{0x94, 0x20}));
  EXPECT_EQ(found[0].pair(1), (BytePair{0x94, 0xAE}));
  EXPECT_EQ(found[1].field(), Field::two);
  ASSERT_EQ(found[1].pairCount(), 1u);
  EXPECT_EQ(found[1].pair(0), (BytePair{0x15, 0x25}));
}

TEST(CaptionAtoms, PointsIntoTheSample) {
  const Bytes sample = hex(kTwoFields);
  EXPECT_EQ(atoms(sample)[1].pairs.data(), sample.data() + 20);
}

TEST(CaptionAtoms, KnowsNoFieldOfAnotherType) {
  const auto found = atoms(hex("0000000a 63647433 9420"));
  ASSERT_EQ(found.size(), 1u);
  EXPECT_EQ(found[0].type, 0x63647433u);
  EXPECT_EQ(found[0].field(), std::nullopt);
}

TEST(CaptionAtoms, CompletesAnOddAtomWithTheByteAfterIt) {
  const Bytes sample = hex("0000000b 63646174 a1a2a3  7f00000a");
  const auto found = atoms(sample);
  ASSERT_EQ(found.size(), 1u);
  EXPECT_EQ(found[0].nextByte, 0x7F);
  EXPECT_EQ(found[0].wholePairCount(), 1u);
  ASSERT_EQ(found[0].pairCount(), 2u);
  EXPECT_EQ(found[0].pair(1), (BytePair{0xA3, 0x7F}));
}

TEST(CaptionAtoms, CompletesTheLastOddAtomWithZero) {
  const Bytes sample = hex("00000009 63646174 a1");
  EXPECT_EQ(atoms(sample).at(0).pair(0), (BytePair{0xA1, 0x00}));
}

TEST(CaptionAtoms, ListsAnAtomWithoutPairs) {
  const auto found = atoms(hex("00000008 63646174"));
  ASSERT_EQ(found.size(), 1u);
  EXPECT_EQ(found[0].pairCount(), 0u);
}

TEST(CaptionAtoms, FindsNothingInLessThanAHeader) {
  EXPECT_TRUE(atoms({}).empty());
  EXPECT_TRUE(atoms(hex("00000008 636461")).empty());
}

TEST(CaptionAtoms, EndsAtAnAtomSmallerThanItsHeader) {
  for (const char* size : {"00000000", "00000001", "00000007"}) {
    const Bytes sample = test::concat({hex("0000000a 63646174 9420"), hex(size), hex(kTwoFields)});
    EXPECT_EQ(atoms(sample).size(), 1u) << size;
  }
}

TEST(CaptionAtoms, CutsAnAtomThatRunsPastTheEnd) {
  for (const char* size : {"0000000d", "7fffffff", "80000000", "ffffffff"}) {
    const Bytes sample = test::concat({hex(size), hex("63646174 a1a2a3")});
    const auto found = atoms(sample);
    ASSERT_EQ(found.size(), 1u) << size;
    EXPECT_EQ(found[0].pairs.size(), 3u);
    EXPECT_EQ(found[0].nextByte, 0);
  }
}

TEST(CaptionAtoms, ServesAnIteratorStepByStep) {
  const Bytes sample = hex(kTwoFields);
  const CaptionAtoms all(sample);
  auto atom = all.begin();
  EXPECT_EQ(atom->type, kField1Atom);
  atom++;
  EXPECT_EQ(atom->type, kField2Atom);
  EXPECT_TRUE(++atom == all.end());
}

}  // namespace
}  // namespace quarrypack::captions
