#include "config/config_node.h"

#include "config/config_exceptions.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

namespace orx::config {
namespace {

ConfigNode& addChild(ConfigNode& parent, const std::string& name) {
  parent.children.push_back(std::make_unique<ConfigNode>(name, &parent));
  return *parent.children.back();
}

std::unique_ptr<ConfigNode> chain(int depth) {
  auto root = std::make_unique<ConfigNode>("root", nullptr);
  ConfigNode* deepest = root.get();
  for (int i = 0; i < depth; ++i) deepest = &addChild(*deepest, "x");
  deepest->appendData("bottom");
  return root;
}

const ConfigNode& bottomOf(const ConfigNode& root) {
  const ConfigNode* node = &root;
  while (!node->children.empty()) node = node->children.front().get();
  return *node;
}

TEST(ConfigNode, FindsTheFirstChildOfAName) {
  ConfigNode root("root", nullptr);
  addChild(root, "a").appendData("first");
  addChild(root, "a").appendData("second");
  ASSERT_NE(root.findChild("a"), nullptr);
  EXPECT_EQ(root.findChild("a")->getData(), "first");
}

TEST(ConfigNode, FindsNeitherGrandchildrenNorAttributesNorNamesOfOtherCase) {
  ConfigNode root("root", nullptr);
  addChild(addChild(root, "a"), "b");
  root.addAttribute("c", "value");
  EXPECT_EQ(root.findChild("b"), nullptr);
  EXPECT_EQ(root.findChild("c"), nullptr);
  EXPECT_EQ(root.findChild("A"), nullptr);
  EXPECT_EQ(root.findChild("root"), nullptr);
}

TEST(ConfigNode, ThrowsForTextThatIsNotThere) {
  const ConfigNode node("empty", nullptr);
  EXPECT_FALSE(node.hasData);
  EXPECT_THROW(node.getData(), NoDataException);
}

TEST(ConfigNode, JoinsPiecesOfText) {
  ConfigNode node("node", nullptr);
  node.appendData("one");
  node.appendData("two");
  EXPECT_TRUE(node.hasData);
  EXPECT_EQ(node.getData(), "onetwo");
}

TEST(ConfigNode, KeepsAnAttributeAsANodeWithText) {
  ConfigNode node("node", nullptr);
  node.addAttribute("key", "");
  ASSERT_EQ(node.attributes.size(), 1u);
  EXPECT_EQ(node.attributes[0]->name, "key");
  EXPECT_EQ(node.attributes[0]->parent, &node);
  EXPECT_EQ(node.attributes[0]->getData(), "") << "an empty value is text all the same";
}

TEST(ConfigNode, FallsBackWithoutANodeOrWithoutText) {
  ConfigNode node("node", nullptr);
  EXPECT_EQ(getDataOr(nullptr, "fallback"), "fallback");
  EXPECT_EQ(getDataOr(&node, "fallback"), "fallback");
  node.appendData("text");
  EXPECT_EQ(getDataOr(&node, "fallback"), "text");
}

TEST(ConfigNode, CopiesEverythingBelowItself) {
  ConfigNode root("root", nullptr);
  ConfigNode& original = addChild(root, "original");
  original.appendData("text");
  original.addAttribute("key", "value");
  addChild(original, "a").appendData("first");
  addChild(original, "b").addAttribute("deep", "down");

  const ConfigNode copy(original);
  original.children.clear();
  original.attributes.clear();

  EXPECT_EQ(copy.name, "original");
  EXPECT_EQ(copy.parent, &root);
  EXPECT_EQ(copy.getData(), "text");
  ASSERT_EQ(copy.attributes.size(), 1u);
  EXPECT_EQ(copy.attributes[0]->name, "key");
  EXPECT_EQ(copy.attributes[0]->getData(), "value");
  EXPECT_EQ(copy.attributes[0]->parent, &copy);
  ASSERT_EQ(copy.children.size(), 2u);
  EXPECT_EQ(copy.children[0]->name, "a");
  EXPECT_EQ(copy.children[0]->getData(), "first");
  EXPECT_FALSE(copy.children[1]->hasData);
  EXPECT_EQ(copy.children[1]->parent, &copy);
  EXPECT_EQ(copy.children[1]->attributes.at(0)->getData(), "down");
}

TEST(ConfigNode, ReplacesEverythingWhenAssigned) {
  ConfigNode source("source", nullptr);
  source.appendData("text");
  addChild(source, "child").appendData("below");
  ConfigNode target("target", nullptr);
  addChild(target, "old");
  target.addAttribute("old", "value");

  target = source;

  EXPECT_EQ(target.name, "source");
  EXPECT_EQ(target.getData(), "text");
  EXPECT_TRUE(target.attributes.empty());
  ASSERT_EQ(target.children.size(), 1u);
  EXPECT_EQ(target.children[0]->getData(), "below");
  EXPECT_EQ(target.children[0]->parent, &target);
  EXPECT_EQ(source.children.size(), 1u);
}

TEST(ConfigNode, SurvivesBeingAssignedToItself) {
  ConfigNode node("node", nullptr);
  addChild(node, "child").appendData("below");
  const ConfigNode& same = node;
  node = same;
  ASSERT_EQ(node.children.size(), 1u);
  EXPECT_EQ(node.children[0]->getData(), "below");
}

TEST(ConfigNode, CopiesAndFreesAnyDepthWithoutAStackOfCalls) {
  constexpr int kDepth = 400000;
  auto root = chain(kDepth);
  const auto copy = std::make_unique<ConfigNode>(*root);
  root.reset();
  EXPECT_EQ(bottomOf(*copy).getData(), "bottom");
}

}  // namespace
}  // namespace orx::config
