#pragma once

#include <string_view>

#include "config/config_node.h"

namespace orx::config {

// Builds the tree of a document from the parser's events, in document order: any number of elements
// that start, hold text and end, inside one root. The caller's holder always has the current node,
// so after a document that breaks off it holds the part that was built.
class ConfigTreeBuilder {
 public:
  // The holder is empty and outlives the builder.
  explicit ConfigTreeBuilder(CurrentNode& current) : current_(current) {}

  // The attributes are a list of names, each followed by its value, ending with a null pointer.
  void startElement(const char* name, const char* const* attributes);

  // Throws BadFileException when the name is not that of the current node. The root stays the
  // current node when it ends.
  void endElement(const char* name);

  // One piece of the current element's text. Each piece is trimmed by itself, so white space is
  // lost wherever the parser happens to cut: at references, at line ends and between blocks.
  void characterData(std::string_view text);

 private:
  CurrentNode& current_;
};

}  // namespace orx::config
