#include "check/track_names.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "kav/four_cc.h"

namespace quarrypack::check {

namespace kav = norvik::kav;
using kav::fourCc;
using kav::textOf;

std::string kindOf(const kav::Track& track) {
  struct Kind {
    kav::FourCc handler;
    std::string_view name;
  };
  static constexpr std::array kKinds{
      Kind{fourCc("vide"), "video"},     Kind{fourCc("soun"), "sound"},
      Kind{fourCc("tmcd"), "time code"}, Kind{fourCc("text"), "text"},
      Kind{fourCc("sbtl"), "subtitles"}, Kind{fourCc("subt"), "subtitles"},
      Kind{fourCc("clcp"), "captions"},  Kind{fourCc("hint"), "hints"},
  };
  const auto* const kind = std::find_if(kKinds.begin(), kKinds.end(), [&](const Kind& one) {
    return one.handler == track.handlerType;
  });
  if (kind == kKinds.end()) return '\'' + textOf(track.handlerType) + '\'';
  return std::string(kind->name);
}

std::string nameOf(const kav::Track& track) {
  return "track " + std::to_string(track.info.trackId) + " (" + kindOf(track) + ')';
}

}  // namespace quarrypack::check
