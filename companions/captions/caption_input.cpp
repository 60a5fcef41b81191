#include "companions/captions/caption_input.h"

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <utility>

#include "companions/command_line.h"
#include "kaf/file_failure.h"
#include "kaf/kav_stream.h"
#include "kaf/open_mode.h"
#include "kav/error_text.h"
#include "kav/exception.h"
#include "sources/film_file.h"
#include "sources/picture_source.h"
#include "sources/scc_source.h"
#include "sources/track_source.h"

namespace quarrypack::companions {
namespace {

namespace kav = norvik::kav;
using sources::CaptionPairs;
using sources::FilmFile;
using sources::SourceError;

constexpr std::string_view kSccBeginning = "Scenarist_SCC";
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

kav::IStreamPtr openFile(const std::string& path) {
  kav::IStreamPtr stream(new quell::kafpkgutil::KavStream(
      path, quell::kaf::OpenMode::kReadOnly | quell::kaf::OpenMode::kBinary));
  stream->open();
  return stream;
}

std::string readBeginning(kav::NorvikIStream& stream, std::size_t count) {
  std::string text(count, '\0');
  stream.seek(0, kav::kSeekFromStart);
  text.resize(stream.read(text.data(), count));
  stream.seek(0, kav::kSeekFromStart);
  return text;
}

bool isSccFile(const std::string& path, kav::NorvikIStream& stream) {
  const captions::Format* const format = captions::formatOfFile(path);
  if (format != nullptr && format->name == "scc") return true;
  const std::string text = readBeginning(stream, kByteOrderMark.size() + kSccBeginning.size());
  std::string_view rest = text;
  if (rest.starts_with(kByteOrderMark)) rest.remove_prefix(kByteOrderMark.size());
  return rest.starts_with(kSccBeginning);
}

CaptionPairs readScc(const CaptionOptions& options, kav::NorvikIStream& stream) {
  // Three days of captions.
  constexpr std::size_t kLargest = 64u << 20;
  if (options.source != WantedSource::automatic) {
    throw UsageError("an SCC file has neither a caption track nor pictures");
  }
  const std::string text = readBeginning(stream, kLargest + 1);
  if (text.size() > kLargest) throw SourceError("it has more than 64 MiB");
  return sources::readSccPairs(text, options.scc);
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
  try {
    const kav::IStreamPtr stream = openFile(options.input);
    if (isSccFile(options.input, *stream)) return readScc(options, *stream);
    return readFilm(options, stream);
  } catch (const quell::kafpkgutil::FileFailure& failure) {
    throw SourceError("'" + options.input + "': " + failure.reason());
  } catch (const kav::Exception& exception) {
    throw SourceError("'" + options.input + "': " + std::string(kav::errorText(exception.code())));
  } catch (const SourceError& error) {
    throw SourceError("'" + options.input + "': " + error.what());
  }
}

}  // namespace quarrypack::companions
