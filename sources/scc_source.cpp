#include "sources/scc_source.h"

#include <cstddef>
#include <string>
#include <utility>

#include "captions/formats.h"

namespace quarrypack::sources {
namespace {

namespace kav = norvik::kav;

constexpr std::string_view kSccBeginning = "Scenarist_SCC";
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

std::string readBeginning(kav::NorvikIStream& stream, std::size_t count) {
  std::string text(count, '\0');
  stream.seek(0, kav::kSeekFromStart);
  text.resize(stream.read(text.data(), count));
  stream.seek(0, kav::kSeekFromStart);
  return text;
}

}  // namespace

CaptionPairs readSccPairs(std::string_view text, const captions::SccOptions& options) {
  captions::SccFile file = captions::readScc(text, options);
  if (!file.isDecodable()) throw SourceError("no line of it has captions in the form of SCC");
  CaptionPairs result;
  result.source = "scc";
  result.end = captions::sccEnd(file.pairs);
  for (const captions::SccFinding& finding : file.findings) {
    result.findings.push_back(captions::describe(finding));
  }
  result.of(file.field) = std::move(file.pairs);
  return result;
}

CaptionPairs readSccPairs(kav::NorvikIStream& stream, const captions::SccOptions& options) {
  constexpr std::size_t kLargest = 64u << 20;
  const std::string text = readBeginning(stream, kLargest + 1);
  if (text.size() > kLargest) throw SourceError("it has more than 64 MiB");
  return readSccPairs(std::string_view(text), options);
}

bool isSccFile(std::string_view path, kav::NorvikIStream& stream) {
  const captions::Format* const format = captions::formatOfFile(path);
  if (format != nullptr && format->name == "scc") return true;
  const std::string text = readBeginning(stream, kByteOrderMark.size() + kSccBeginning.size());
  std::string_view rest = text;
  if (rest.starts_with(kByteOrderMark)) rest.remove_prefix(kByteOrderMark.size());
  return rest.starts_with(kSccBeginning);
}

}  // namespace quarrypack::sources
