#include "companions/embed/caption_files.h"

#include <cerrno>
#include <cstddef>
#include <fstream>
#include <system_error>
#include <utility>

#include "companions/output_file.h"

namespace quarrypack::companions {

namespace {

// A hundred hours of captions need less.
constexpr std::size_t kLargestFile = std::size_t{64} << 20;

// A pipe will do too. The stream passes no reason on, but leaves that of the system.
std::string readText(const std::string& path) {
  const auto fail = [&path](const std::string& what) {
    throw FileError("cannot " + what + " '" + path +
                    "': " + std::generic_category().message(errno));
  };
  std::ifstream file(path, std::ios::binary);
  if (!file) fail("open");
  std::string text;
  std::array<char, 65536> piece;
  while (file.read(piece.data(), piece.size()) || file.gcount() > 0) {
    text.append(piece.data(), static_cast<std::size_t>(file.gcount()));
    if (text.size() > kLargestFile) throw FileError("'" + path + "' is too large for captions");
  }
  if (file.bad()) fail("read");
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
