#pragma once

#include <span>

#include "kav/impl/model/box.h"

namespace norvik::kav::impl {

// Makes a box of one class; null when the allocator has no room.
using BoxMaker = BoxPtr (*)(BoxAllocator*, BoxHeader&&, NorvikKavStream&);

// A type of box that there is a class for.
struct KnownBox {
  FourCc type;
  BoxMaker make;
};

// Turns a header into a box of the right class. A box of a type that is not known becomes a plain
// Box: it keeps its place, and its payload is passed over.
class BoxFactory {
 public:
  // The table must outlive the factory. Without one every box is a plain one.
  explicit BoxFactory(std::span<const KnownBox> known = {}) : known_(known) {}
  virtual ~BoxFactory() = default;

  // A new box, without its children. The stream is just past the header. Null when the allocator
  // has no room. Throws truncatedFullBoxHeader for a full box without version and flags.
  virtual BoxPtr createBox(NorvikKavStream& stream, BoxHeader header, BoxAllocator* allocator);

 private:
  std::span<const KnownBox> known_;
};

}  // namespace norvik::kav::impl
