#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "config/config_node.h"

namespace orx::config {

// Builds the tree of a document from the parser's events, in the order of the document: any number
// of elements that start, hold text and end, inside one root. The builder owns every node until the
// root is taken, so a document that breaks off leaves nothing behind.
class ConfigTreeBuilder {
 public:
  // The attributes are a list of names, each followed by its value, with a null pointer at its end.
  void startElement(const char* name, const char* const* attributes);

  // Throws BadFileException when the name is not that of the element that started last.
  void endElement(const char* name);

  // One piece of the current element's text. Each piece is trimmed by itself, so white space is
  // lost wherever the parser happens to cut: at references, at line ends and between two blocks.
  void characterData(std::string_view text);

  // The root element, once it has ended; empty before.
  std::unique_ptr<ConfigNode> takeRoot();

 private:
  std::vector<std::unique_ptr<ConfigNode>> open_;  // from the root to the current element
  std::unique_ptr<ConfigNode> root_;
};

}  // namespace orx::config
