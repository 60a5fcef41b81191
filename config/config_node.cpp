#include "config/config_node.h"

#include <utility>

#include "config/config_exceptions.h"

namespace orx::config {
namespace {

// Moves the nodes of a list to the end of another one.
void moveInto(ConfigNode::List& target, ConfigNode::List& source) {
  for (auto& node : source) target.push_back(std::move(node));
  source.clear();
}

}  // namespace

ConfigNode::ConfigNode(std::string nodeName, ConfigNode* enclosing)
    : parent(enclosing), name(std::move(nodeName)) {}

ConfigNode::ConfigNode(const ConfigNode& other) : ConfigNode(other.name, other.parent) {
  struct Pair {
    const ConfigNode* from;
    ConfigNode* to;
  };
  // Delegation made this object complete: if a copy fails, the destructor frees what is there.
  std::vector<Pair> pending{{&other, this}};
  while (!pending.empty()) {
    const auto [from, to] = pending.back();
    pending.pop_back();
    to->hasData = from->hasData;
    to->data = from->data;
    for (const auto& [source, target] : {std::pair{&from->children, &to->children},
                                         std::pair{&from->attributes, &to->attributes}}) {
      for (const auto& node : *source) {
        target->push_back(std::make_unique<ConfigNode>(node->name, to));
        pending.push_back({node.get(), target->back().get()});
      }
    }
  }
}

ConfigNode& ConfigNode::operator=(const ConfigNode& other) {
  ConfigNode copy(other);
  for (List* list : {&copy.children, &copy.attributes}) {
    for (auto& node : *list) node->parent = this;
  }
  parent = copy.parent;
  name.swap(copy.name);
  hasData = copy.hasData;
  data.swap(copy.data);
  children.swap(copy.children);
  attributes.swap(copy.attributes);
  return *this;
}

// A node that is destroyed inside the loop has given its own lists away, so its destructor finds
// nothing to do and the depth of the calls does not grow with the depth of the tree.
ConfigNode::~ConfigNode() {
  List doomed;
  moveInto(doomed, children);
  moveInto(doomed, attributes);
  while (!doomed.empty()) {
    const std::unique_ptr<ConfigNode> node = std::move(doomed.back());
    doomed.pop_back();
    moveInto(doomed, node->children);
    moveInto(doomed, node->attributes);
  }
}

const ConfigNode* ConfigNode::findChild(const std::string& childName) const {
  for (const auto& child : children) {
    if (child->name == childName) return child.get();
  }
  return nullptr;
}

const std::string& ConfigNode::getData() const {
  if (!hasData) throw NoDataException();
  return data;
}

void ConfigNode::appendData(std::string_view text) {
  data += text;
  hasData = true;
}

void ConfigNode::addAttribute(std::string attributeName, std::string value) {
  auto attribute = std::make_unique<ConfigNode>(std::move(attributeName), this);
  attribute->data = std::move(value);
  attribute->hasData = true;
  attributes.push_back(std::move(attribute));
}

std::string getDataOr(const ConfigNode* node, const std::string& fallback) {
  if (node == nullptr) return fallback;
  try {
    return node->getData();
  } catch (const ConfigException&) {
    return fallback;
  }
}

}  // namespace orx::config
