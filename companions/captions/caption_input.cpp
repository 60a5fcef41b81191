#include "companions/captions/caption_input.h"

#include <utility>

#include "companions/command_line.h"
#include "companions/input_file.h"
#include "kaf/file_failure.h"
#include "sources/film_file.h"
#include "sources/picture_source.h"
#include "sources/scc_source.h"
#include "sources/track_source.h"

namespace quarrypack::companions {
namespace {

namespace kav = norvik::kav;
using sources::CaptionPairs;
using sources::FilmFile;

CaptionPairs readScc(const CaptionOptions& options, kav::NorvikIStream& stream) {
  if (options.source != WantedSource::automatic) {
    throw UsageError("an SCC file has neither a caption track nor pictures");
  }
  return sources::readSccPairs(stream, options.scc);
}

CaptionPairs readFilm(const CaptionOptions& options, kav::IStreamPtr stream) {
  FilmFile film(std::move(stream));
  const bool hasTrack = sources::hasCaptionTrack(film);
  const bool hasPictures = sources::hasCaptionPictures(film);
  switch (options.source) {
    case WantedSource::automatic:
      return hasTrack ? sources::readTrackPairs(film) : sources::readPicturePairs(film);
    case WantedSource::track:
      if (!hasTrack) return {"track", {}, {}, {"the movie has no caption track"}};
      return sources::readTrackPairs(film);
    case WantedSource::pictures:
      break;
  }
  if (!hasPictures) return {"pictures", {}, {}, {"the movie has no H.264 or HEVC pictures"}};
  return sources::readPicturePairs(film);
}

}  // namespace

CaptionPairs readCaptionInput(const CaptionOptions& options) {
  CaptionPairs pairs;
  readInputFile(options.input, [&](const kav::IStreamPtr& stream) {
    pairs = sources::isSccFile(options.input, *stream) ? readScc(options, *stream)
                                                       : readFilm(options, stream);
  });
  return pairs;
}

}  // namespace quarrypack::companions
