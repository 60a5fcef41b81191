#include "config/config_tree_builder.h"

#include <utility>

#include "config/config_exceptions.h"

namespace orx::config {
namespace {

// Spelled out rather than asked of the library: the answer must not depend on the locale, and bytes
// of a UTF-8 sequence are never white space.
constexpr std::string_view kWhiteSpace = " \t\n\v\f\r";

std::string_view trimmed(std::string_view text) {
  const auto first = text.find_first_not_of(kWhiteSpace);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kWhiteSpace) - first + 1);
}

}  // namespace

void ConfigTreeBuilder::startElement(const char* name, const char* const* attributes) {
  ConfigNode* const parent = open_.empty() ? nullptr : open_.back().get();
  auto node = std::make_unique<ConfigNode>(name, parent);
  for (; *attributes != nullptr; attributes += 2) node->addAttribute(attributes[0], attributes[1]);
  open_.push_back(std::move(node));
}

void ConfigTreeBuilder::endElement(const char* name) {
  if (open_.empty() || open_.back()->name != name) throw BadFileException();
  std::unique_ptr<ConfigNode> node = std::move(open_.back());
  open_.pop_back();
  if (open_.empty()) {
    root_ = std::move(node);
  } else {
    open_.back()->children.push_back(std::move(node));
  }
}

void ConfigTreeBuilder::characterData(std::string_view text) {
  const std::string_view piece = trimmed(text);
  if (!piece.empty() && !open_.empty()) open_.back()->appendData(piece);
}

std::unique_ptr<ConfigNode> ConfigTreeBuilder::takeRoot() { return std::move(root_); }

}  // namespace orx::config
