#pragma once

#include <memory>
#include <string>

#include "config/config_node.h"

namespace orx::config {

// Loads an XML file into a tree of nodes.
class ConfigDocument {
 public:
  // Fills the holder, which must be empty, with the root element. Throws FileDoesNotExistException,
  // or BadFileException when the content is not well-formed XML; the holder then stays empty. It
  // also stays empty, without an exception, when the file exists but cannot be opened: the caller
  // decides whether a document without a root will do.
  static void load(std::unique_ptr<ConfigNode>& root, const std::string& fileName);
};

}  // namespace orx::config
