#pragma once

#include "kav/impl/model/box.h"

namespace norvik::kav::impl {

// Turns a header into a box of the right class. A box of a type that the library does not know
// becomes a plain Box: it keeps its place and its payload is passed over.
class BoxFactory {
 public:
  virtual ~BoxFactory() = default;

  // A new box, without its children. The stream stands right behind the header. Null when the
  // allocator has no room. Throws truncatedFullBoxHeader for a full box without version and flags.
  virtual BoxPtr createBox(NorvikKavStream& stream, BoxHeader header, BoxAllocator* allocator);

  // The factory of documents that bring none of their own.
  static BoxFactory& defaultFactory();
};

}  // namespace norvik::kav::impl
