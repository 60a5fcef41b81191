#pragma once

#include "embed/box_pieces.h"
#include "kav/box_view.h"
#include "tests/support/bytes.h"

#include <gtest/gtest.h>

namespace quarrypack::embed {

// What a function that appends the new form of a box makes of these bytes, which are one box.
template <class Append>
test::Bytes piecesOf(const test::Bytes& bytes, Append append) {
  const auto view = norvik::kav::BoxView::at(bytes);
  if (!view) {
    ADD_FAILURE() << "no box";
    return {};
  }
  BoxPieces pieces;
  append(*view, pieces);
  const test::Bytes joined = pieces.joined();
  EXPECT_EQ(pieces.size(), joined.size());
  return joined;
}

}  // namespace quarrypack::embed
