#include "src/caption_delay.h"

#include <algorithm>

#include "kav/rescale_time.h"

namespace quarrypack {

EditShift editShiftOf(const norvik::kav::Movie& movie, const norvik::kav::Track& track) {
  return {movie.editShift(track), track.info.mediaTimescale};
}

std::uint64_t captionDelay(const EditShift& video, const EditShift& captions) {
  const std::uint64_t ahead =
      norvik::kav::rescaleTime(video.ticks, video.timescale, captions.timescale);
  return ahead - std::min(ahead, captions.ticks);
}

}  // namespace quarrypack
