#include "config/config_tree_builder.h"

#include "config/config_exceptions.h"

#include <gtest/gtest.h>

namespace orx::config {
namespace {

constexpr const char* kNoAttributes[] = {nullptr};

TEST(ConfigTreeBuilder, AttachesChildrenInTheOrderOfTheirEndTags) {
  CurrentNode root;
  ConfigTreeBuilder builder(root);
  builder.startElement("root", kNoAttributes);
  builder.startElement("outer", kNoAttributes);
  builder.startElement("inner", kNoAttributes);
  builder.endElement("inner");
  builder.endElement("outer");
  builder.startElement("last", kNoAttributes);
  builder.endElement("last");
  builder.endElement("root");

  ASSERT_TRUE(root);
  EXPECT_EQ(root->parent, nullptr);
  ASSERT_EQ(root->children.size(), 2u);
  EXPECT_EQ(root->children[0]->name, "outer");
  EXPECT_EQ(root->children[0]->parent, root.get());
  EXPECT_EQ(root->children[0]->children.at(0)->name, "inner");
  EXPECT_EQ(root->children[1]->name, "last");
}

TEST(ConfigTreeBuilder, KeepsAttributesInOrder) {
  CurrentNode root;
  ConfigTreeBuilder builder(root);
  const char* const attributes[] = {"a", "1", "b", " 2 ", nullptr};
  builder.startElement("root", attributes);
  builder.endElement("root");
  ASSERT_EQ(root->attributes.size(), 2u);
  EXPECT_EQ(root->attributes[0]->name, "a");
  EXPECT_EQ(root->attributes[0]->getData(), "1");
  EXPECT_EQ(root->attributes[1]->name, "b");
  EXPECT_EQ(root->attributes[1]->getData(), " 2 ") << "values of attributes are not trimmed";
}

TEST(ConfigTreeBuilder, RefusesAnEndTagOfAnotherName) {
  CurrentNode root;
  ConfigTreeBuilder builder(root);
  builder.startElement("a", kNoAttributes);
  EXPECT_THROW(builder.endElement("b"), BadFileException);
  EXPECT_EQ(root->name, "a");
}

TEST(ConfigTreeBuilder, RefusesAnEndTagWithoutAStart) {
  CurrentNode root;
  ConfigTreeBuilder builder(root);
  EXPECT_THROW(builder.endElement("a"), BadFileException);
}

TEST(ConfigTreeBuilder, KeepsTheInnermostOpenElementAsTheCurrentNode) {
  CurrentNode current;
  ConfigTreeBuilder builder(current);
  EXPECT_FALSE(current);
  builder.startElement("root", kNoAttributes);
  EXPECT_EQ(current->name, "root");
  builder.startElement("inner", kNoAttributes);
  EXPECT_EQ(current->name, "inner");
  EXPECT_EQ(current->parent->name, "root");
  EXPECT_TRUE(current->parent->children.empty()) << "it is attached only when it ends";
  builder.endElement("inner");
  EXPECT_EQ(current->name, "root");
  EXPECT_EQ(current->children.size(), 1u);
  builder.endElement("root");
  EXPECT_EQ(current->name, "root");
}

TEST(ConfigTreeBuilder, TrimsEachPieceOfTextByItself) {
  CurrentNode root;
  ConfigTreeBuilder builder(root);
  builder.startElement("root", kNoAttributes);
  builder.characterData(" \t\n\v\f\rone two ");
  builder.characterData("   ");
  builder.characterData(" three\n");
  builder.endElement("root");
  EXPECT_EQ(root->getData(), "one twothree");
}

TEST(ConfigTreeBuilder, TakesNoByteOfATextForWhiteSpaceBeyondAscii) {
  CurrentNode root;
  ConfigTreeBuilder builder(root);
  builder.startElement("root", kNoAttributes);
  builder.characterData("\x85voil\xc3\xa0\xa0");
  builder.endElement("root");
  EXPECT_EQ(root->getData(), "\x85voil\xc3\xa0\xa0");
}

TEST(ConfigTreeBuilder, FreesElementsThatNeverEnd) {
  CurrentNode root;
  ConfigTreeBuilder builder(root);
  for (int i = 0; i < 400000; ++i) builder.startElement("x", kNoAttributes);
  EXPECT_TRUE(root);
}

}  // namespace
}  // namespace orx::config
