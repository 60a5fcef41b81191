#include "captions/cea608.h"

#include <gtest/gtest.h>

namespace quarrypack::captions {
namespace {

ControlCode parsed(unsigned first, unsigned second, Field field = Field::one) {
  return parseControlCode({static_cast<std::uint8_t>(first), static_cast<std::uint8_t>(second)},
                          field);
}

TEST(Parity, IsOdd) {
  EXPECT_TRUE(hasOddParity(0x80));
  EXPECT_FALSE(hasOddParity(0x00));
  EXPECT_TRUE(hasOddParity(0x94));
  EXPECT_FALSE(hasOddParity(0x14));
  EXPECT_EQ(withOddParity(0x14), 0x94);
  EXPECT_EQ(withOddParity(0x94), 0x94);
  EXPECT_EQ(withOddParity(0x20), 0x20);
  EXPECT_EQ(withOddParity(0xA0), 0x20);
}

TEST(BytePair, KnowsPaddingAndControlCodesWithAnyParity) {
  EXPECT_TRUE((BytePair{0x80, 0x80}.isPadding()));
  EXPECT_TRUE((BytePair{0x00, 0x00}.isPadding()));
  EXPECT_FALSE((BytePair{0x80, 0xC1}.isPadding()));
  EXPECT_TRUE((BytePair{0x94, 0x20}.isControl()));
  EXPECT_TRUE((BytePair{0x14, 0x20}.isControl()));
  EXPECT_TRUE((BytePair{0x9F, 0x20}.isControl()));
  EXPECT_FALSE((BytePair{0x20, 0x20}.isControl()));
  EXPECT_FALSE((BytePair{0x8F, 0x20}.isControl()));
}

TEST(Channel, HasItsNameAndField) {
  EXPECT_EQ(channelName(Channel::cc1), "CC1");
  EXPECT_EQ(findChannel("CC4"), Channel::cc4);
  EXPECT_EQ(findChannel("cc4"), std::nullopt);
  EXPECT_EQ(fieldOf(Channel::cc2), Field::one);
  EXPECT_EQ(fieldOf(Channel::cc3), Field::two);
  EXPECT_EQ(channelOf(Field::one, true), Channel::cc2);
  EXPECT_EQ(channelOf(Field::two, false), Channel::cc3);
  EXPECT_FALSE(isForSecondChannel({0x14, 0x20}));
  EXPECT_TRUE(isForSecondChannel({0x1C, 0x20}));
}

TEST(ControlCode, PreamblesNameAllRows) {
  const struct {
    unsigned first, second;
    int row;
  } kCases[] = {{0x11, 0x40, 1},  {0x11, 0x60, 2},  {0x12, 0x40, 3},  {0x12, 0x60, 4},
                {0x15, 0x40, 5},  {0x15, 0x60, 6},  {0x16, 0x40, 7},  {0x16, 0x60, 8},
                {0x17, 0x40, 9},  {0x17, 0x60, 10}, {0x10, 0x40, 11}, {0x13, 0x40, 12},
                {0x13, 0x60, 13}, {0x14, 0x40, 14}, {0x14, 0x60, 15}};
  for (const auto& [first, second, row] : kCases) {
    EXPECT_EQ(std::get<Preamble>(parsed(first, second)).row, row);
    EXPECT_EQ(std::get<Preamble>(parsed(first | 0x88, second | 0x80, Field::two)).row, row);
  }
  EXPECT_TRUE(std::holds_alternative<UnknownCode>(parsed(0x10, 0x60)));
}

TEST(ControlCode, PreamblesNameAStyleOrAnIndent) {
  const struct {
    unsigned attribute;
    int column;
    Color color;
    bool italic;
  } kCases[] = {
      {0, 0, Color::white, false},   {1, 0, Color::green, false},   {2, 0, Color::blue, false},
      {3, 0, Color::cyan, false},    {4, 0, Color::red, false},     {5, 0, Color::yellow, false},
      {6, 0, Color::magenta, false}, {7, 0, Color::white, true},    {8, 0, Color::white, false},
      {9, 4, Color::white, false},   {10, 8, Color::white, false},  {11, 12, Color::white, false},
      {12, 16, Color::white, false}, {13, 20, Color::white, false}, {14, 24, Color::white, false},
      {15, 28, Color::white, false}};
  for (const auto& [attribute, column, color, italic] : kCases) {
    for (const bool underline : {false, true}) {
      const auto code =
          std::get<Preamble>(parsed(0x14, 0x40 | attribute << 1 | (underline ? 1 : 0)));
      EXPECT_EQ(code.column, column) << attribute;
      EXPECT_EQ(code.style, (Style{color, italic, underline})) << attribute;
    }
  }
}

TEST(ControlCode, MidRowCodesNameAColorOrItalics) {
  EXPECT_EQ(std::get<MidRow>(parsed(0x11, 0x20)).color, Color::white);
  EXPECT_EQ(std::get<MidRow>(parsed(0x11, 0x2D)).color, Color::magenta);
  EXPECT_TRUE(std::get<MidRow>(parsed(0x11, 0x2D)).underline);
  EXPECT_EQ(std::get<MidRow>(parsed(0x11, 0x2E)).color, std::nullopt);
}

TEST(ControlCode, OnlyExtendedCharactersReplaceTheOneBefore) {
  const auto special = std::get<CodedCharacter>(parsed(0x11, 0x37));
  EXPECT_EQ(special.glyph, u'♪');
  EXPECT_FALSE(special.replacesPrevious);
  const auto extended = std::get<CodedCharacter>(parsed(0x12, 0x21));
  EXPECT_EQ(extended.glyph, u'É');
  EXPECT_TRUE(extended.replacesPrevious);
  EXPECT_EQ(std::get<CodedCharacter>(parsed(0x1B, 0x34)).glyph, u'ß');
}

TEST(ControlCode, TheFieldsHaveCommandsOfTheirOwn) {
  EXPECT_EQ(std::get<Command>(parsed(0x14, 0x2F)), Command::endOfCaption);
  EXPECT_EQ(std::get<Command>(parsed(0x1C, 0x20)), Command::resumeLoading);
  EXPECT_EQ(std::get<Command>(parsed(0x15, 0x25, Field::two)), Command::rollUp2);
  EXPECT_EQ(std::get<Command>(parsed(0x1D, 0x2C, Field::two)), Command::eraseDisplayed);
  EXPECT_TRUE(std::holds_alternative<WrongFieldCommand>(parsed(0x15, 0x25)));
  EXPECT_TRUE(std::holds_alternative<WrongFieldCommand>(parsed(0x14, 0x25, Field::two)));
}

TEST(ControlCode, TheRestIsTabsAndAttributes) {
  EXPECT_EQ(std::get<TabOffset>(parsed(0x17, 0x21)).columns, 1);
  EXPECT_EQ(std::get<TabOffset>(parsed(0x17, 0x23)).columns, 3);
  EXPECT_TRUE(std::holds_alternative<Background>(parsed(0x10, 0x2E)));
  EXPECT_TRUE(std::holds_alternative<Background>(parsed(0x17, 0x2D)));
  EXPECT_FALSE(std::get<BlackCharacters>(parsed(0x17, 0x2E)).underline);
  EXPECT_TRUE(std::get<BlackCharacters>(parsed(0x17, 0x2F)).underline);
  EXPECT_TRUE(std::holds_alternative<CharacterSet>(parsed(0x17, 0x24)));
  EXPECT_TRUE(std::holds_alternative<CharacterSet>(parsed(0x17, 0x2A)));
}

TEST(ControlCode, EveryPairOfBytesIsSomething) {
  std::size_t unknown = 0;
  for (unsigned first = 0x10; first < 0x20; ++first) {
    for (unsigned second = 0; second < 0x100; ++second) {
      if (std::holds_alternative<UnknownCode>(parsed(first, second))) ++unknown;
    }
  }
  // For each channel and with either parity bit: seconds below 20 in eight groups, 32 preambles of
  // group 0, and what remains of groups 0, 4, 5, 6 and 7.
  EXPECT_EQ(unknown, 2u * 2 * (8 * 32 + 32 + 16 + 16 + 16 + 32 + (32 - 3 - 7 - 3)));
}

}  // namespace
}  // namespace quarrypack::captions
