#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <optional>
#include <span>
#include <utility>
#include <vector>

#include "kav/four_cc.h"
#include "kav/impl/bytes/field_layout.h"
#include "kav/impl/bytes/stream_adapters.h"
#include "kav/kav_base.h"

namespace norvik::kav::impl {

class RootBox;

// Where boxes come from when their owner wants a say in it. allocate may return null, which makes
// the factory return no box.
class BoxAllocator {
 public:
  virtual ~BoxAllocator() = default;
  virtual void* allocate(std::size_t size) = 0;
  virtual void free(void* block) = 0;
};

// The header of a box as it was read: what the factory builds a box from.
struct BoxHeader {
  FourCc type = 0;
  std::uint64_t size = 0;   // total length, with largesize and run-to-end resolved
  std::uint64_t start = 0;  // offset in the file of the first header byte
  std::uint64_t end = 0;    // one past the last byte; may be clamped to the parent's end
  bool hasLargeSize = false;
  bool extendsToEnd = false;
  std::optional<ExtendedType> extendedType;

  std::uint64_t headerLength() const {
    return 8U + (hasLargeSize ? 8U : 0U) + (extendedType ? 16U : 0U);
  }
};

// What a container demands of its children.
struct ChildRule {
  enum class Kind { exactlyOne, atLeastOne, exactlyOneOf };

  FourCc type = 0;
  Kind kind = Kind::exactlyOne;
  std::span<const FourCc> list{};  // the types of exactlyOneOf
};

class Box;

// Gives a box back to the allocator that it came from.
struct BoxDeleter {
  void operator()(Box* box) const noexcept;
};

using BoxPtr = std::unique_ptr<Box, BoxDeleter>;

// Boxes nest no deeper than this; a deeper tree is refused with ErrorCode::childRuleBroken. Real
// files need a dozen levels, and the limit is what bounds every recursion over the tree.
inline constexpr unsigned kDeepestNesting = 64;

// A length-prefixed, type-tagged record that may hold other boxes.
//
// A box is either read or built. Read: made from a header by the factory, given its children, then
// readVersionAndFlags, readContent and readChildren in this order. Built: made empty, given its
// children by addChild, then write; further calls of write bring what changed up to date.
//
// Two lengths are kept. ownLength is the header and the filled part: the offset at which children
// begin, and for a table being written the end of the entries in the file. extent is all the room
// that the box takes: with its children, and for a table with the room reserved for entries to
// come.
class Box : public KavBase {
 public:
  // A box read from a file. It takes up its whole extent and its payload is left alone.
  Box(BoxHeader header, NorvikKavStream& stream);

  // A box to be written, so far without content.
  Box(FourCc type, NorvikKavStream& stream, bool largeSize = false);

  // Slots 0 to 15. Obliged: these virtual operations, in this order, before any other.

  ~Box() override = default;
  virtual void writeHeader();
  virtual std::uint64_t getSize() const { return ownLength_; }
  virtual std::uint64_t getCurrentSize() const { return extent_; }

  // The length of the payload, children included.
  virtual std::uint64_t getContentSize() const;

  // Appends a child and places it, with everything in it, at this box's current end. A child that
  // was read as part of this box has its place already and keeps it; one that was read elsewhere
  // takes the form in which it will be written. Of such a child only what its class holds in memory
  // reaches the new place.
  virtual void addChild(BoxPtr child);

  // Writes the box and its children; from the second time on only what may have changed since. A
  // box that was read in another form than it is written in takes that form first, in its place.
  // Returns extent(). Throws ioFailed when the stream does not take all bytes.
  virtual std::uint64_t write();
  virtual void writeContent() {}
  virtual void updateContent() {}

  virtual void readVersionAndFlags() {}

  // Decodes the payload. The stream is just past the header (past version and flags in a FullBox)
  // and may be left anywhere.
  virtual void readContent() {}

  virtual bool validate() const;
  virtual std::span<const ChildRule> getChildRules() const { return {}; }

  // The child at a 0-based index, or null past the end. Not const: the root reads its children on
  // demand.
  virtual Box* getChild(std::size_t index);

  // Leaves nothing but the bare header, as of a box to be written; the extended type of a uuid box
  // is not counted.
  virtual void resetSize();

  // Reads the body of every child, and of their children. With check, a child whose rules are
  // broken is refused with ErrorCode::childRuleBroken.
  virtual void readChildren(RootBox& root, bool check);

  // Further virtual operations come after the slots.

  // The offset of the first payload byte past everything that the class itself reads: header, and
  // in a FullBox version and flags.
  virtual std::uint64_t contentStart() const { return payloadStart(); }

  // See above.
  std::uint64_t ownLength() const { return ownLength_; }
  std::uint64_t extent() const { return extent_; }

  // Reads the body of this box, whose header is in the tree: rules, content, children. Leaves the
  // stream at the end of the box, or of the data when that comes first.
  void readBody(RootBox& root, bool check);

  FourCc type() const { return type_; }
  std::uint64_t start() const { return start_; }
  std::uint64_t end() const { return end_; }
  bool hasLargeSize() const { return hasLargeSize_; }
  bool extendsToEnd() const { return extendsToEnd_; }
  bool isFromFile() const { return fromFile_; }
  const std::optional<ExtendedType>& extendedType() const { return extendedType_; }
  NorvikKavStream& stream() const { return stream_; }
  std::span<const BoxPtr> children() const { return children_; }

  // The length of size, type, largesize and extended type.
  std::uint64_t headerLength() const {
    return 8U + (hasLargeSize_ ? 8U : 0U) + (extendedType_ ? 16U : 0U);
  }
  std::uint64_t payloadStart() const { return start_ + headerLength(); }

  // Gives the box, with everything in it, another place. One that was read ends with its last child
  // from here on: bytes that no child accounts for are left out.
  void place(std::uint64_t start);

  // Takes up the room that the children need by now, here and in everything below: for a built box
  // with a child that has grown. Nothing is moved before the next place.
  void layOut();

  // Gives up the room that is reserved and not filled, here and in everything below: from here on
  // the box takes up what is really in it. Nothing is moved.
  void releaseReserve();

  // Makes the next write a complete one, here and in everything below: for a box that was placed
  // anew, and whose bytes at the new place are not there yet.
  void forgetWritten();

  // Grows a built box: its own length, and the room it takes.
  void grow(std::uint64_t bytes);

  // Rewrites the size field in the file with extent().
  void patchSize();

 protected:
  // The bytes between the stream's position and the end of the box.
  std::uint64_t bytesLeft() const;

  void setLengths(std::uint64_t length) { ownLength_ = extent_ = length; }
  void setOwnLength(std::uint64_t length) { ownLength_ = length; }
  void setExtent(std::uint64_t length) { extent_ = length; }
  void setExtendedType(const ExtendedType& type) { extendedType_ = type; }
  std::vector<BoxPtr>& ownedChildren() { return children_; }

  // Changes the box itself to the form in which it is written and returns whether that is another
  // one than it had. Called before anything is written or moved, so that a class whose content is
  // still in the file can fetch it. A type with a code of its own is written as that code and never
  // as an extended type.
  virtual bool takeWrittenForm();

  // Writes bytes at an offset in the file; throws ioFailed when the stream does not take them all.
  void writeAt(std::uint64_t offset, std::span<const std::uint8_t> bytes) {
    stream_.writeAt(offset, bytes.data(), bytes.size());
  }

 private:
  // Brings the box and everything in it into the form in which it is written.
  bool takeWrittenFormWithChildren();
  bool wasReadWithin(const Box& parent) const;
  bool dropUuidForm();

  friend struct BoxDeleter;
  template <class T, class... Args>
  friend BoxPtr makeBoxIn(BoxAllocator* allocator, Args&&... args);

  BoxAllocator* allocator_ = nullptr;
  FourCc type_;
  std::uint64_t declaredSize_ = 0;
  std::uint64_t start_ = 0;
  std::uint64_t end_ = 0;
  bool hasLargeSize_ = false;
  bool extendsToEnd_ = false;
  bool fromFile_ = false;
  bool written_ = false;
  std::optional<ExtendedType> extendedType_;
  std::vector<BoxPtr> children_;
  NorvikKavStream& stream_;
  std::uint64_t ownLength_ = 0;
  std::uint64_t extent_ = 0;
};

// A box whose payload begins with a version and 24 bits of flags.
class FullBox : public Box {
 public:
  // Reads version and flags at once: the stream is just past the header.
  FullBox(BoxHeader header, NorvikKavStream& stream);
  FullBox(FourCc type, NorvikKavStream& stream, std::uint8_t version, std::uint32_t flags);

  void writeHeader() override;

  // Takes off a compact header whatever form the header has.
  std::uint64_t getContentSize() const override { return ownLength() - 12; }
  void readVersionAndFlags() override;
  void resetSize() override;
  std::uint64_t contentStart() const override { return payloadStart() + 4; }

  std::uint8_t version() const { return version_; }
  std::uint32_t flags() const { return flags_; }

 protected:
  void setVersion(std::uint8_t version) { version_ = version; }

 private:
  std::uint8_t version_ = 0;
  std::uint32_t flags_ = 0;
};

// Makes a box in memory of the given allocator, or with new when there is none. Null when the
// allocator has no room.
template <class T, class... Args>
BoxPtr makeBoxIn(BoxAllocator* allocator, Args&&... args) {
  if (allocator == nullptr) return BoxPtr(new T(std::forward<Args>(args)...));
  void* block = allocator->allocate(sizeof(T));
  if (block == nullptr) return nullptr;
  T* box = nullptr;
  try {
    box = new (block) T(std::forward<Args>(args)...);
  } catch (...) {
    allocator->free(block);
    throw;
  }
  BoxPtr owned(box);
  owned->allocator_ = allocator;
  return owned;
}

// Makes a box that the caller goes on to fill, keeping its class.
template <class T>
using OwnedBox = std::unique_ptr<T, BoxDeleter>;

template <class T, class... Args>
OwnedBox<T> makeBox(Args&&... args) {
  return OwnedBox<T>(new T(std::forward<Args>(args)...));
}

// Makes a child of a class, hands it over, and keeps a view of it.
template <class T, class... Args>
T& addNewChild(Box& parent, Args&&... args) {
  auto child = makeBox<T>(std::forward<Args>(args)...);
  // cppcheck-suppress nullPointer ; what was just made is there
  T& view = *child;
  parent.addChild(std::move(child));
  return view;
}

// The child as a class, when it is one: the factory guarantees the class of a type except where a
// box was handed in from outside, so the cast is checked.
template <class T>
T* childAs(Box& child) {
  return dynamic_cast<T*>(&child);
}

// Keeps a view of a child of a class as it is added: where a container holds several of them, the
// last one counts. Where exactly one is needed, the container's rules refuse the second.
template <class T>
void remember(T*& remembered, Box& child) {
  if (T* found = childAs<T>(child)) remembered = found;
}

}  // namespace norvik::kav::impl
