#include "kav/impl/boxes/variable_size_box.h"

#include <utility>

#include "kav/impl/boxes/file_boxes.h"
#include "kav/impl/bytes/field_layout.h"

namespace norvik::kav::impl {

std::uint64_t VariableSizeBox::roomLeft() const {
  return padding_ == nullptr ? 0 : padding_->extent();
}

void VariableSizeBox::reserve(std::uint64_t bytes) {
  if (bytes < kBoxHeaderSize) return;
  padding_ = &addNewChild<SkipBox>(*this, bytes, stream(), SkipBox::Fill::hole);
}

void VariableSizeBox::insertChild(BoxPtr child) {
  const std::uint64_t length = child->extent();
  const std::uint64_t room = roomLeft();
  if (padding_ == nullptr || length > room) {
    dropPadding();
    addChild(std::move(child));
    return;
  }
  child->place(padding_->start());
  padding_->place(padding_->start() + length);
  padding_->resize(room - length);
  ownedChildren().insert(ownedChildren().end() - 1, std::move(child));
  // A rest too short for a box of its own stays after the last child until the room is given up.
  if (room - length < kBoxHeaderSize) removePaddingChild();
}

void VariableSizeBox::dropPadding() {
  if (padding_ != nullptr) removePaddingChild();
  std::uint64_t length = ownLength();
  for (const BoxPtr& child : children()) length += child->extent();
  setExtent(length);
}

void VariableSizeBox::removePaddingChild() {
  ownedChildren().pop_back();
  padding_ = nullptr;
}

}  // namespace norvik::kav::impl
