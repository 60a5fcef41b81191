#include "config/config_tree_builder.h"

#include <memory>

#include "config/config_exceptions.h"

namespace orx::config {
namespace {

// Listed here instead of taken from the library: the answer must not depend on the locale, and
// bytes of a UTF-8 sequence are never white space.
constexpr std::string_view kWhiteSpace = " \t\n\v\f\r";

std::string_view trimmed(std::string_view text) {
  const auto first = text.find_first_not_of(kWhiteSpace);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kWhiteSpace) - first + 1);
}

}  // namespace

void ConfigTreeBuilder::startElement(const char* name, const char* const* attributes) {
  auto node = std::make_unique<ConfigNode>(name, current_.get());
  for (; *attributes != nullptr; attributes += 2) node->addAttribute(attributes[0], attributes[1]);
  // The new node refers to its parent, and so owns it from here on.
  static_cast<void>(current_.release());
  current_.reset(node.release());
}

void ConfigTreeBuilder::endElement(const char* name) {
  if (!current_ || current_->name != name) throw BadFileException();
  ConfigNode* const parent = current_->parent;
  if (parent == nullptr) return;
  auto& place = parent->children.emplace_back();
  place.reset(current_.release());
  current_.reset(parent);
}

void ConfigTreeBuilder::characterData(std::string_view text) {
  const std::string_view piece = trimmed(text);
  if (!piece.empty() && current_) current_->appendData(piece);
}

}  // namespace orx::config
