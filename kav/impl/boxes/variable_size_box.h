#pragma once

#include <cstdint>

#include "kav/impl/model/box.h"

namespace norvik::kav::impl {

class SkipBox;

// A box to be written whose children are added after the boxes after it were placed. A padding
// child at its end reserves room for them.
//
// Order of calls: reserve once; insertChild any number of times; dropPadding once, while everything
// after the box can still move. In between the length of the box changes only if its room is too
// small.
class VariableSizeBox : public FullBox {
 public:
  using FullBox::FullBox;

  // Adds a child before the padding, which shrinks by the child's length. With too little padding,
  // or none, the box grows instead. Then nothing that must stay may lie after it in the file, and
  // the caller lays out again what was placed after it.
  virtual void insertChild(BoxPtr child);

  // Removes the padding, so that the box ends with its last child.
  void dropPadding();

  // The remaining room for children.
  std::uint64_t roomLeft() const;

 protected:
  // Reserves room. Nothing is reserved for a length into which no child fits.
  void reserve(std::uint64_t bytes);

 private:
  void removePaddingChild();

  SkipBox* padding_ = nullptr;  // the last child, while there is room for another one
};

}  // namespace norvik::kav::impl
