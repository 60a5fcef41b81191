#pragma once

#include <cstdint>

#include "kav/impl/model/box.h"

namespace norvik::kav::impl {

class SkipBox;

// A box to be written whose children come later than the boxes after it are placed: it reserves
// room for them by a padding child at its end.
//
// Order of calls: reserve once; insertChild any number of times; dropPadding once, when everything
// after the box can still move. In between the length of the box changes only when its room does
// not suffice.
class VariableSizeBox : public FullBox {
 public:
  using FullBox::FullBox;

  // Adds a child before the padding, which shrinks by the child's length. With too little padding,
  // or none, the box grows instead: then nothing may lie after it in the file that has to stay, and
  // the caller lays out again what was placed after it.
  virtual void insertChild(BoxPtr child);

  // Takes the padding away, so that the box ends with its last child.
  void dropPadding();

  // The room that is left for children.
  std::uint64_t roomLeft() const;

 protected:
  // Reserves room. Nothing is reserved for a length in which no child fits.
  void reserve(std::uint64_t bytes);

 private:
  void removePaddingChild();

  SkipBox* padding_ = nullptr;  // the last child, while there is room for another one
};

}  // namespace norvik::kav::impl
