#pragma once

#include <cstddef>
#include <cstdint>

#include "kav/impl/model/box.h"

namespace norvik::kav::impl {

// Walks the children of a box in order: call current, then next. It refers to the box and owns
// nothing.
class BoxIterator {
 public:
  explicit BoxIterator(Box& parent, std::int32_t index = 0) : parent_(&parent), index_(index) {}
  BoxIterator(const BoxIterator&) = default;
  BoxIterator& operator=(const BoxIterator&) = default;
  virtual ~BoxIterator() = default;

  // The current child, or null past the last one.
  virtual Box* current() { return childAtIndex(); }

  void next() {
    if (index_ >= 0) ++index_;
  }

  // The current index; -1 for a walk without a position.
  std::int32_t index() const { return index_; }

 protected:
  Box* childAtIndex() {
    current_ = index_ < 0 ? nullptr : parent_->getChild(static_cast<std::size_t>(index_));
    return current_;
  }
  Box& parent() const { return *parent_; }

 private:
  Box* parent_;
  std::int32_t index_;
  Box* current_ = nullptr;
};

// Walks the children of one type.
class BoxIteratorByType : public BoxIterator {
 public:
  BoxIteratorByType(Box& parent, FourCc type, std::int32_t index = 0)
      : BoxIterator(parent, index), type_(type) {}

  Box* current() override {
    Box* child = childAtIndex();
    while (child != nullptr && child->type() != type_) {
      next();
      child = childAtIndex();
    }
    return child;
  }

 private:
  FourCc type_;
};

// Walks the children from an index down to 1. Index 0 is the end mark, so the first child is never
// visited: no type that is searched backwards can be a container's first child.
class ReverseBoxIterator {
 public:
  ReverseBoxIterator(Box& parent, std::size_t index) : parent_(&parent), index_(index) {}
  ReverseBoxIterator(const ReverseBoxIterator&) = default;
  ReverseBoxIterator& operator=(const ReverseBoxIterator&) = default;
  virtual ~ReverseBoxIterator() = default;

  virtual Box* current() { return childAtIndex(); }

  void next() {
    if (index_ > 0) --index_;
  }

  std::size_t index() const { return index_; }

 protected:
  Box* childAtIndex() const { return index_ == 0 ? nullptr : parent_->getChild(index_); }
  Box& parent() const { return *parent_; }

 private:
  Box* parent_;
  std::size_t index_;
};

// Walks the children of one type backwards.
class ReverseBoxIteratorByType : public ReverseBoxIterator {
 public:
  ReverseBoxIteratorByType(Box& parent, FourCc type, std::size_t index)
      : ReverseBoxIterator(parent, index), type_(type) {}

  Box* current() override {
    while (this->index() > 0) {
      Box* child = childAtIndex();
      if (child != nullptr && child->type() == type_) return child;
      next();
    }
    return nullptr;
  }

 private:
  FourCc type_;
};

}  // namespace norvik::kav::impl
