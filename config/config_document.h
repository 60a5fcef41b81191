#pragma once

#include <string>

#include "config/config_node.h"

namespace orx::config {

// Loads an XML file into a tree of nodes.
class ConfigDocument {
 public:
  // Fills the holder, which must be empty, with the root element. A pipe is read to its end, which
  // waits for the process that writes to it.
  //
  // Throws FileDoesNotExistException and leaves the holder empty. Throws BadFileException when the
  // content is not well-formed XML; the holder then refers to the partly built tree, at the element
  // that was current. A file that exists but cannot be opened leaves the holder empty without an
  // exception: the caller decides whether a document without a root will do.
  static void load(CurrentNode& current, const std::string& fileName);
};

}  // namespace orx::config
