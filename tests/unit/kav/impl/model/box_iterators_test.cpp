#include "kav/impl/model/box_iterators.h"

#include "tests/unit/kav/impl/box_test_tools.h"

namespace norvik::kav::impl {
namespace {

class BoxIterators : public testing::Test {
 protected:
  BoxIterators() {
    for (const FourCc type : {fourCc("aaaa"), fourCc("bbbb"), fourCc("aaaa"), fourCc("bbbb")}) {
      addNewChild<Box>(parent, type, file.stream);
    }
  }

  // The indices of the children that a walk yields.
  template <class Iterator>
  std::vector<std::size_t> walk(Iterator iterator) {
    std::vector<std::size_t> indices;
    for (; Box* child = iterator.current(); iterator.next()) {
      for (std::size_t i = 0; i < parent.children().size(); ++i) {
        if (parent.getChild(i) == child) indices.push_back(i);
      }
    }
    return indices;
  }

  using Indices = std::vector<std::size_t>;

  Film file;
  Box parent{fourCc("prnt"), file.stream};
};

TEST_F(BoxIterators, WalkAllChildren) {
  EXPECT_EQ(walk(BoxIterator(parent)), (Indices{0, 1, 2, 3}));
  EXPECT_EQ(walk(BoxIterator(parent, 2)), (Indices{2, 3}));
  EXPECT_EQ(walk(BoxIterator(parent, 4)), (Indices{}));
}

TEST_F(BoxIterators, WalkTheChildrenOfOneType) {
  EXPECT_EQ(walk(BoxIteratorByType(parent, fourCc("aaaa"))), (Indices{0, 2}));
  EXPECT_EQ(walk(BoxIteratorByType(parent, fourCc("bbbb"))), (Indices{1, 3}));
  EXPECT_EQ(walk(BoxIteratorByType(parent, fourCc("bbbb"), 2)), (Indices{3}));
  EXPECT_EQ(walk(BoxIteratorByType(parent, fourCc("cccc"))), (Indices{}));
}

TEST_F(BoxIterators, WithoutAPositionYieldsNothing) {
  BoxIteratorByType end(parent, fourCc("aaaa"), -1);
  EXPECT_EQ(end.current(), nullptr);
  end.next();
  EXPECT_EQ(end.index(), -1);
  EXPECT_EQ(end.current(), nullptr);
}

TEST_F(BoxIterators, StayAtAChildUntilMovedOn) {
  BoxIteratorByType iterator(parent, fourCc("bbbb"));
  EXPECT_EQ(iterator.current(), parent.getChild(1));
  EXPECT_EQ(iterator.current(), parent.getChild(1));
  EXPECT_EQ(iterator.index(), 1);
}

TEST_F(BoxIterators, ReverseFromThreeYieldsThreeTwoOneAndStops) {
  EXPECT_EQ(walk(ReverseBoxIterator(parent, 3)), (Indices{3, 2, 1}));
}

TEST_F(BoxIterators, ReverseNeverYieldsTheFirstChild) {
  EXPECT_EQ(walk(ReverseBoxIterator(parent, 0)), (Indices{}));
  EXPECT_EQ(walk(ReverseBoxIteratorByType(parent, fourCc("aaaa"), 3)), (Indices{2}));
}

TEST_F(BoxIterators, ReverseByTypeYieldsTheChildrenOfOneType) {
  EXPECT_EQ(walk(ReverseBoxIteratorByType(parent, fourCc("bbbb"), 3)), (Indices{3, 1}));
  EXPECT_EQ(walk(ReverseBoxIteratorByType(parent, fourCc("bbbb"), 2)), (Indices{1}));
  EXPECT_EQ(walk(ReverseBoxIteratorByType(parent, fourCc("bbbb"), 9)), (Indices{3, 1}));
}

TEST_F(BoxIterators, OverTheRootReadTheFileOnDemand) {
  Film lazy(concat({box("aaaa"), box("bbbb"), box("aaaa")}));
  BoxIteratorByType iterator(lazy.root, fourCc("bbbb"));
  ASSERT_NE(iterator.current(), nullptr);
  EXPECT_EQ(lazy.root.loadedCount(), 2u);
  iterator.next();
  EXPECT_EQ(iterator.current(), nullptr);
  EXPECT_EQ(lazy.root.loadedCount(), 3u);
}

}  // namespace
}  // namespace norvik::kav::impl
