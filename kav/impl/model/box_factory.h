#pragma once

#include <span>

#include "kav/impl/model/box.h"

namespace norvik::kav::impl {

// Makes a box of one class; returns null if the allocator has no room.
using BoxMaker = BoxPtr (*)(BoxAllocator*, BoxHeader&&, NorvikKavStream&);

// A type of box that has a class.
struct KnownBox {
  FourCc type;
  BoxMaker make;
};

// Makes a box of the right class from a header. A box of an unknown type becomes a plain Box: it
// keeps its place, and its payload is skipped.
class BoxFactory {
 public:
  // The table must outlive the factory. Without one every box is a plain one.
  explicit BoxFactory(std::span<const KnownBox> known = {}) : known_(known) {}
  virtual ~BoxFactory() = default;

  // Returns a new box, without its children, or null if the allocator has no room. The stream is
  // just past the header. Throws truncatedFullBoxHeader for a full box without version and flags.
  virtual BoxPtr createBox(NorvikKavStream& stream, BoxHeader header, BoxAllocator* allocator);

  // Whether boxes of the type have a class.
  bool knows(FourCc type) const;

 private:
  std::span<const KnownBox> known_;
};

}  // namespace norvik::kav::impl
