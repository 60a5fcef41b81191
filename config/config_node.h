#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace orx::config {

// One element of a configuration document, or one attribute of an element. A node owns its children
// and its attributes. Documents may nest to any depth, so a tree is copied and freed without
// recursion.
struct ConfigNode {
  using List = std::vector<std::unique_ptr<ConfigNode>>;

  ConfigNode(std::string nodeName, ConfigNode* enclosing);
  // The copy keeps the original's parent, although that parent does not own it; it owns everything
  // below itself.
  ConfigNode(const ConfigNode& other);
  ConfigNode& operator=(const ConfigNode& other);
  ~ConfigNode();

  // The first direct child element of that name, or none. Attributes are not searched.
  const ConfigNode* findChild(const std::string& childName) const;

  // Throws NoDataException when the node has no text.
  const std::string& getData() const;

  // Text that arrives in several pieces is joined in the order of the calls.
  void appendData(std::string_view text);

  void addAttribute(std::string attributeName, std::string value);

  ConfigNode* parent;  // none for the root
  std::string name;
  bool hasData = false;
  std::string data;
  List children;  // in the order of their end tags
  List attributes;
};

// Frees a node that is not attached to its parent, and with it the ancestors, which are not
// attached either.
struct FreeWithOpenAncestors {
  void operator()(ConfigNode* node) const;
};

// Holds the current node of a document: the innermost open element, and at the end the root. An
// element is attached to its parent only when it ends, so until then the holder owns the parents
// too.
using CurrentNode = std::unique_ptr<ConfigNode, FreeWithOpenAncestors>;

// The node's text; the fallback when there is no node or no text.
std::string getDataOr(const ConfigNode* node, const std::string& fallback);

}  // namespace orx::config
