#pragma once

#include <optional>

#include "captions/time.h"
#include "check/report.h"

namespace quarrypack::check {

// The facts about the pictures that the rules for captions need.
struct PictureFacts {
  // From the first picture to the end of the last one; none for a caption file, which has no
  // pictures.
  std::optional<Stretch> shown;
  // How long one picture is shown; 0 if that is unknown. One that lasts longer than 1/30 s has room
  // for several pairs of a field.
  captions::Time duration{0};
};

}  // namespace quarrypack::check
