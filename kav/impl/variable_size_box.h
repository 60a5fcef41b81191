#pragma once

#include <cstdint>

#include "kav/impl/box.h"

namespace norvik::kav::impl {

class SkipBox;

// A box to be written whose children come later than the boxes behind it are placed: it reserves
// room for them by a padding child at its end.
//
// Order of calls: reserve once; insertChild any number of times; dropPadding once, when everything
// behind the box can still move. In between the length of the box does not change.
class VariableSizeBox : public FullBox {
 public:
  using FullBox::FullBox;

  // Adds a child in front of the padding, which shrinks by the child's length. Throws
  // sampleTableFull when the child needs more room than is left: what stands behind the box is
  // placed already, and must not be written over.
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
