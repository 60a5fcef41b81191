#include "config/config_tree_builder.h"

#include "config/config_exceptions.h"

#include <gtest/gtest.h>

namespace orx::config {
namespace {

constexpr const char* kNoAttributes[] = {nullptr};

TEST(ConfigTreeBuilder, AttachesChildrenInTheOrderOfTheirEndTags) {
  ConfigTreeBuilder builder;
  builder.startElement("root", kNoAttributes);
  builder.startElement("outer", kNoAttributes);
  builder.startElement("inner", kNoAttributes);
  builder.endElement("inner");
  builder.endElement("outer");
  builder.startElement("last", kNoAttributes);
  builder.endElement("last");
  builder.endElement("root");

  const auto root = builder.takeRoot();
  ASSERT_TRUE(root);
  EXPECT_EQ(root->parent, nullptr);
  ASSERT_EQ(root->children.size(), 2u);
  EXPECT_EQ(root->children[0]->name, "outer");
  EXPECT_EQ(root->children[0]->parent, root.get());
  EXPECT_EQ(root->children[0]->children.at(0)->name, "inner");
  EXPECT_EQ(root->children[1]->name, "last");
}

TEST(ConfigTreeBuilder, KeepsAttributesInOrder) {
  ConfigTreeBuilder builder;
  const char* const attributes[] = {"a", "1", "b", " 2 ", nullptr};
  builder.startElement("root", attributes);
  builder.endElement("root");
  const auto root = builder.takeRoot();
  ASSERT_EQ(root->attributes.size(), 2u);
  EXPECT_EQ(root->attributes[0]->name, "a");
  EXPECT_EQ(root->attributes[0]->getData(), "1");
  EXPECT_EQ(root->attributes[1]->name, "b");
  EXPECT_EQ(root->attributes[1]->getData(), " 2 ") << "values of attributes are not trimmed";
}

TEST(ConfigTreeBuilder, RefusesAnEndTagOfAnotherName) {
  ConfigTreeBuilder builder;
  builder.startElement("a", kNoAttributes);
  EXPECT_THROW(builder.endElement("b"), BadFileException);
}

TEST(ConfigTreeBuilder, RefusesAnEndTagWithoutAStart) {
  ConfigTreeBuilder builder;
  EXPECT_THROW(builder.endElement("a"), BadFileException);
}

TEST(ConfigTreeBuilder, HasNoRootBeforeItsEndTag) {
  ConfigTreeBuilder builder;
  builder.startElement("root", kNoAttributes);
  EXPECT_FALSE(builder.takeRoot());
}

TEST(ConfigTreeBuilder, TrimsEachPieceOfTextByItself) {
  ConfigTreeBuilder builder;
  builder.startElement("root", kNoAttributes);
  builder.characterData(" \t\n\v\f\rone two ");
  builder.characterData("   ");
  builder.characterData(" three\n");
  builder.endElement("root");
  EXPECT_EQ(builder.takeRoot()->getData(), "one twothree");
}

TEST(ConfigTreeBuilder, TakesNoByteOfATextForWhiteSpaceBeyondAscii) {
  ConfigTreeBuilder builder;
  builder.startElement("root", kNoAttributes);
  builder.characterData("\x85voil\xc3\xa0\xa0");
  builder.endElement("root");
  EXPECT_EQ(builder.takeRoot()->getData(), "\x85voil\xc3\xa0\xa0");
}

TEST(ConfigTreeBuilder, FreesElementsThatNeverEnd) {
  ConfigTreeBuilder builder;
  for (int i = 0; i < 400000; ++i) builder.startElement("x", kNoAttributes);
  EXPECT_FALSE(builder.takeRoot());
}

}  // namespace
}  // namespace orx::config
