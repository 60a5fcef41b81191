#include "config/config_node.h"

#include <utility>

#include "config/config_exceptions.h"

namespace orx::config {

ConfigNode::ConfigNode(std::string nodeName, ConfigNode* enclosing)
    : parent(enclosing), name(std::move(nodeName)) {}

ConfigNode::ConfigNode(const ConfigNode& other) : ConfigNode(other.name, other.parent) {
  struct Pair {
    const ConfigNode* from;
    ConfigNode* to;
  };
  // Delegation made this object complete: if a copy fails, the destructor frees what exists.
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

// Walks down to the leaves and back and frees each node once it has become a leaf. The depth of the
// calls does not grow with the depth of the tree, and nothing is allocated that could fail.
ConfigNode::~ConfigNode() {
  ConfigNode* node = this;
  for (;;) {
    List& list = node->children.empty() ? node->attributes : node->children;
    if (list.empty()) {
      if (node == this) return;
      node = node->parent;
      continue;
    }
    ConfigNode* const last = list.back().get();
    if (last->children.empty() && last->attributes.empty()) {
      list.pop_back();
    } else {
      last->parent = node;
      node = last;
    }
  }
}

void FreeWithOpenAncestors::operator()(ConfigNode* node) const {
  while (node != nullptr) {
    const std::unique_ptr<ConfigNode> freed(node);
    node = node->parent;
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
