#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "kav/four_cc.h"
#include "kav/sample_description.h"
#include "kav/track_info.h"

namespace norvik::kav {

// A track of a movie that is being read. It lives as long as the movie.
struct Track {
  NorvikKavTrackInfo info;                      // the fields of its headers
  FourCc handlerType = 0;                       // "vide", "soun", "clcp", ...; 0 without a handler
  std::string name;                             // of the handler, without the closing zero
  std::uint32_t index = 0;                      // 0-based, in the order of the file
  bool hasSyncTable = false;                    // holds stss; without one all samples are sync
  std::vector<SampleDescription> descriptions;  // referred to by samples, counted from 1

  // The description with this 1-based index; null if there is none.
  const SampleDescription* description(std::uint32_t number) const {
    return number == 0 || number > descriptions.size() ? nullptr : &descriptions[number - 1];
  }
};

}  // namespace norvik::kav
