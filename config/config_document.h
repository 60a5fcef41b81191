#pragma once

#include <string>

#include "config/config_node.h"

namespace orx::config {

// Loads an XML file into a tree of nodes.
class ConfigDocument {
 public:
  // Fills the holder, which must be empty, with the root element. A pipe is read to its end; this
  // blocks until the writing process closes it.
  //
  // Throws FileDoesNotExistException and leaves the holder empty. Throws BadFileException when the
  // content is not well-formed XML; the holder then refers to the partly built tree, at the element
  // that was current. A file that exists but cannot be opened leaves the holder empty and raises no
  // exception: the caller decides whether a document without a root is acceptable.
  static void load(CurrentNode& current, const std::string& fileName);
};

}  // namespace orx::config
