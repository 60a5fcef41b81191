// A settings document, from any bytes: loaded, searched, copied and freed.

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <memory>
#include <string>
#include <vector>

#include "config/config_document.h"
#include "config/config_exceptions.h"
#include "tests/fuzz/fuzz_target.h"

using orx::config::ConfigDocument;
using orx::config::ConfigNode;
using quarrypack::test::check;

namespace {

// A document is loaded by its name, so the input becomes a file in memory that has one.
class MemoryFile {
 public:
  MemoryFile(const std::uint8_t* data, std::size_t size) : descriptor_(memfd_create("xml", 0)) {
    check(descriptor_ >= 0, "there is a file for the input");
    check(write(descriptor_, data, size) == static_cast<ssize_t>(size), "the input is written");
  }
  ~MemoryFile() { close(descriptor_); }
  MemoryFile(const MemoryFile&) = delete;
  MemoryFile& operator=(const MemoryFile&) = delete;

  std::string name() const { return "/proc/self/fd/" + std::to_string(descriptor_); }

 private:
  int descriptor_;
};

// Looks at every node, attributes included, and returns how many there are.
std::size_t visit(const ConfigNode& root) {
  std::size_t count = 0;
  std::vector<const ConfigNode*> pending{&root};
  while (!pending.empty()) {
    const ConfigNode& node = *pending.back();
    pending.pop_back();
    ++count;
    check(node.hasData == !node.data.empty() || node.parent != nullptr, "text is marked as such");
    getDataOr(&node, "");
    for (const auto* list : {&node.children, &node.attributes}) {
      for (const auto& child : *list) {
        check(child->parent == &node, "a node knows its parent");
        pending.push_back(child.get());
      }
    }
    if (!node.children.empty()) {
      const std::string& name = node.children.back()->name;
      check(node.findChild(name)->name == name, "a child is found by its name");
    }
  }
  return count;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const MemoryFile file(data, size);
  orx::config::CurrentNode root;
  try {
    ConfigDocument::load(root, file.name());
  } catch (const orx::config::ConfigException&) {
    for (const ConfigNode* node = root.get(); node != nullptr; node = node->parent) visit(*node);
    return 0;
  }
  check(root != nullptr, "an accepted document has a root");
  const ConfigNode copy(*root);
  check(visit(copy) == visit(*root), "a copy is whole");
  return 0;
}
