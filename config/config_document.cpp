#include "config/config_document.h"

#include "config/config_exceptions.h"
#include "config/config_tree_builder.h"

#include <expat.h>
#include <boost/filesystem/operations.hpp>

#include <array>
#include <cstddef>
#include <exception>
#include <fstream>
#include <new>
#include <string_view>
#include <type_traits>

namespace orx::config {
namespace {

constexpr std::size_t kBlockSize = 1024;

// One run of the XML parser over one document. The parser is a C library, so no exception may leave
// a handler: it is kept, the parser is stopped, and feed() throws it from our own frames.
class ParserRun {
 public:
  explicit ParserRun(ConfigTreeBuilder& builder)
      : parser_(XML_ParserCreate(nullptr)), builder_(builder) {
    if (!parser_) throw std::bad_alloc();
    XML_SetUserData(parser_.get(), this);
    XML_SetElementHandler(parser_.get(), onStart, onEnd);
    XML_SetCharacterDataHandler(parser_.get(), onText);
  }

  void feed(std::string_view block, bool final) {
    const XML_Status status =
        XML_Parse(parser_.get(), block.data(), static_cast<int>(block.size()), final);
    if (failure_) std::rethrow_exception(failure_);
    if (status != XML_STATUS_OK) throw BadFileException();
  }

 private:
  struct ParserFree {
    void operator()(XML_Parser parser) const { XML_ParserFree(parser); }
  };

  // A stopped parser may still deliver the end of the element that it was processing.
  template <class Step>
  static void guarded(void* userData, Step step) noexcept {
    auto& self = *static_cast<ParserRun*>(userData);
    if (self.failure_) return;
    try {
      step(self.builder_);
    } catch (...) {
      self.failure_ = std::current_exception();
      XML_StopParser(self.parser_.get(), XML_FALSE);
    }
  }

  static void XMLCALL onStart(void* userData, const XML_Char* name, const XML_Char** attributes) {
    guarded(userData, [&](ConfigTreeBuilder& builder) { builder.startElement(name, attributes); });
  }
  static void XMLCALL onEnd(void* userData, const XML_Char* name) {
    guarded(userData, [&](ConfigTreeBuilder& builder) { builder.endElement(name); });
  }
  static void XMLCALL onText(void* userData, const XML_Char* text, int length) {
    guarded(userData, [&](ConfigTreeBuilder& builder) {
      builder.characterData({text, static_cast<std::size_t>(length)});
    });
  }

  std::unique_ptr<std::remove_pointer_t<XML_Parser>, ParserFree> parser_;
  ConfigTreeBuilder& builder_;
  std::exception_ptr failure_;
};

}  // namespace

void ConfigDocument::load(CurrentNode& current, const std::string& fileName) {
  ConfigTreeBuilder builder(current);
  ParserRun run(builder);
  if (!boost::filesystem::exists(fileName)) throw FileDoesNotExistException();
  std::ifstream file(fileName);
  if (!file.is_open()) return;

  // If a file fills its last block, an empty block follows: only a short block is the last.
  // A pipe fills its blocks too, however small the pieces that it delivers.
  std::array<char, kBlockSize> block;
  std::size_t count = 0;
  do {
    file.read(block.data(), block.size());
    count = static_cast<std::size_t>(file.gcount());
    if (file.bad()) throw BadFileException();
    run.feed({block.data(), count}, count < block.size());
  } while (count == block.size());
}

}  // namespace orx::config
