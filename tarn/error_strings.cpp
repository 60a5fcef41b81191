#include "tarn/error_strings.h"

#include "kav/error_code.h"

namespace norvik::tarn {
namespace {

using kav::ErrorCode;
using kav::Problem;

struct ErrorString {
  std::int32_t code;
  const char* text;

  template <class Code>
  constexpr ErrorString(Code which, const char* what)
      : code(static_cast<std::int32_t>(which)), text(what) {}
};

constexpr ErrorString kErrorStrings[] = {
    {ErrorCode::success, "No error"},
    {ErrorCode::ioFailed, "A file operation failed"},
    {ErrorCode::fileNotFound, "The file was not found"},
    {ErrorCode::accessDenied, "Access to the file was denied"},
    {ErrorCode::shortRead, "The file ended too early"},
    {ErrorCode::noMovie, "The file holds no movie"},
    {ErrorCode::outOfMemory, "There is not enough memory"},
    {ErrorCode::implausibleCount, "A count or length in the file is not plausible"},
    {ErrorCode::zeroTimescale, "A timescale is zero"},
    {ErrorCode::incompleteSampleTable, "A track lacks one of its sample tables"},
    {ErrorCode::childRuleBroken, "A box is missing, repeated or nested too deep"},
    {ErrorCode::unsupportedTrackType, "A sample description fits no supported kind of track"},
    {ErrorCode::editListFull, "The edit list is full"},
    {ErrorCode::sampleTableFull, "The sample table is full"},
    {ErrorCode::missingArgument, "A required argument is missing"},
    {ErrorCode::badChunkRun, "The runs of chunks are damaged"},
    {ErrorCode::noTrackDefaults, "A fragmented track has no defaults"},
    {ErrorCode::truncatedBox, "A box is too short for its fields"},
    {ErrorCode::truncatedFullBoxHeader, "A box is too short for its version and flags"},
    {ErrorCode::runTooLarge, "A run of a fragment is too large"},
    {ErrorCode::sampleNumberOverflow, "The sample numbers of a composition table overflow"},
    {ErrorCode::implausibleSampleCount,
     "A count of samples, chunks or descriptions is not plausible"},
    {ErrorCode::tracksClosedByMetadata, "No track can be added after metadata"},
    {ErrorCode::tracksClosedBySamples, "No track can be added after samples"},
    {ErrorCode::secondMovie, "The file holds a second movie"},
    {ErrorCode::avcConfigurationOverrun, "The decoder configuration of the video track is damaged"},
    {ErrorCode::writerNotOpen, "The writer is not open"},
    {ErrorCode::stoppedByHandler, "Reading was stopped at damaged content"},
    {ErrorCode::unsupportedVersion, "The version of a box is not supported"},
    {ErrorCode::unknownTrack, "A sample belongs to no track of the movie"},
    {ErrorCode::metadataTooLarge, "The metadata is too large"},
    {ErrorCode::sampleTimeBackwards, "The decoding time of a sample goes backwards"},
    {ErrorCode::metadataWithoutTracks, "Metadata cannot be written before a track is added"},
    {ErrorCode::sampleTooLarge, "A sample is too large for a fragment"},
    {ErrorCode::unknownDescription, "A sample names a description that its track does not have"},
    {ErrorCode::secondZeltEntry, "A track of this kind takes only one sample description"},
    {ErrorCode::addTrackAfterFinish, "No track can be added to a finished movie"},
    {ErrorCode::metadataAfterFinish, "No metadata can be added to a finished movie"},
    {Problem::trailingBytes, "There are stray bytes after the last box"},
    {Problem::mediaDataPastEnd, "The media data runs past the end of the file"},
    {Problem::childPastParent, "A box runs past the end of the box that holds it"},
    {EErrorCode::invalidConfiguration, "The settings could not be parsed or loaded"},
};

}  // namespace

const char* getErrorString(EErrorCode code) noexcept {
  for (const ErrorString& entry : kErrorStrings) {
    if (entry.code == static_cast<std::int32_t>(code)) return entry.text;
  }
  return "Unknown error";
}

}  // namespace norvik::tarn
