#include "companions/embed/caption_files.h"

#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <memory>
#include <system_error>
#include <utility>

#include "companions/output_file.h"

namespace quarrypack::companions {

namespace {

// A hundred hours of captions need less.
constexpr std::size_t kLargestFile = std::size_t{64} << 20;

struct CloseFile {
  void operator()(std::FILE* file) const { std::fclose(file); }
};

// A pipe will do too. Standard C, because the streams of some C++ libraries take a failed read for
// the end of the file.
std::string readText(const std::string& path) {
  const auto fail = [&path](const std::string& what) {
    throw FileError("cannot " + what + " '" + path +
                    "': " + std::generic_category().message(errno));
  };
  const std::unique_ptr<std::FILE, CloseFile> file(std::fopen(path.c_str(), "rb"));
  if (!file) fail("open");
  std::string text;
  std::array<char, 65536> piece;
  while (const std::size_t count = std::fread(piece.data(), 1, piece.size(), file.get())) {
    text.append(piece.data(), count);
    if (text.size() > kLargestFile) throw FileError("'" + path + "' is too large for captions");
  }
  if (std::ferror(file.get()) != 0) fail("read");
  return text;
}

// Whether captions may differ from what the author of the file wanted. Findings about the form of
// the text are left out here.
bool matters(const captions::SccFinding& finding) {
  using Kind = captions::SccFindingKind;
  switch (finding.kind) {
    case Kind::byteOrderMark:
    case Kind::lineFeed:
    case Kind::spacesForTab:
    case Kind::capitals:
    case Kind::noParity:
      return false;
    default:
      return true;
  }
}

captions::FieldPairs readOne(const std::string& path, const captions::SccOptions& options,
                             std::vector<std::string>& findings) {
  captions::SccFile file = captions::readScc(readText(path), options);
  if (!file.isDecodable()) {
    throw FileError("'" + path + "' has no captions in the form of SCC");
  }
  for (const captions::SccFinding& finding : file.findings) {
    if (matters(finding)) findings.push_back("'" + path + "': " + captions::describe(finding));
  }
  return std::move(file.pairs);
}

}  // namespace

CaptionFiles readCaptionFiles(const EmbedOptions& options) {
  CaptionFiles files;
  const std::array<const std::string*, embed::kFields> paths{&options.captionsField1,
                                                             &options.captionsField2};
  for (std::size_t i = 0; i < paths.size(); ++i) {
    if (!paths[i]->empty()) files.fields[i] = readOne(*paths[i], options.scc, files.findings);
  }
  return files;
}

}  // namespace quarrypack::companions
