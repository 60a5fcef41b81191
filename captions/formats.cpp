#include "captions/formats.h"

#include <algorithm>

#include "captions/formats/json.h"
#include "captions/formats/scc.h"
#include "captions/formats/srt.h"
#include "captions/formats/vtt.h"

namespace quarrypack::captions {
namespace {

const std::vector<Cue>& onlyCues(const CaptionDocument& document) {
  static const std::vector<Cue> kNone;
  return document.channels.empty() ? kNone : document.channels.front().cues;
}

constexpr Format kFormats[] = {
    {"scc", ".scc", true, false,
     [](const CaptionDocument& document, std::ostream& out) { writeScc(document.pairs, out); }},
    {"srt", ".srt", false, false,
     [](const CaptionDocument& document, std::ostream& out) { writeSrt(onlyCues(document), out); }},
    {"vtt", ".vtt", false, false,
     [](const CaptionDocument& document, std::ostream& out) { writeVtt(onlyCues(document), out); }},
    {"json", ".json", false, true,
     [](const CaptionDocument& document, std::ostream& out) {
       writeJson(document.file, document.source, document.channels, out);
     }},
};

char lowerCase(char letter) {
  return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
}

bool endsWith(std::string_view path, std::string_view extension) {
  if (path.size() < extension.size()) return false;
  const std::string_view end = path.substr(path.size() - extension.size());
  return std::equal(end.begin(), end.end(), extension.begin(),
                    [](char a, char b) { return lowerCase(a) == b; });
}

template <class Predicate>
const Format* firstFormat(Predicate predicate) {
  const auto* const found = std::find_if(std::begin(kFormats), std::end(kFormats), predicate);
  return found == std::end(kFormats) ? nullptr : found;
}

}  // namespace

std::span<const Format> formats() { return kFormats; }

const Format* findFormat(std::string_view name) {
  return firstFormat([&](const Format& format) { return format.name == name; });
}

const Format* formatOfFile(std::string_view path) {
  return firstFormat([&](const Format& format) { return endsWith(path, format.extension); });
}

}  // namespace quarrypack::captions
