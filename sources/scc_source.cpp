#include "sources/scc_source.h"

#include <utility>

namespace quarrypack::sources {

CaptionPairs readSccPairs(std::string_view text, const captions::SccOptions& options) {
  captions::SccFile file = captions::readScc(text, options);
  if (!file.isDecodable()) throw SourceError("no line of it holds captions of an SCC file");
  CaptionPairs result;
  result.source = "scc";
  result.end = captions::sccEnd(file.pairs);
  for (const captions::SccFinding& finding : file.findings) {
    result.findings.push_back(captions::describe(finding));
  }
  result.of(file.field) = std::move(file.pairs);
  return result;
}

}  // namespace quarrypack::sources
