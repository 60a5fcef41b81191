#include "tests/support/expect_code.h"

#include <ostream>
#include <string_view>

namespace norvik::kav {
namespace {

std::string_view nameOf(ErrorCode code) {
  switch (code) {
    case ErrorCode::success:
      return "success";
    case ErrorCode::ioFailed:
      return "ioFailed";
    case ErrorCode::fileNotFound:
      return "fileNotFound";
    case ErrorCode::accessDenied:
      return "accessDenied";
    case ErrorCode::shortRead:
      return "shortRead";
    case ErrorCode::noMovie:
      return "noMovie";
    case ErrorCode::outOfMemory:
      return "outOfMemory";
    case ErrorCode::implausibleCount:
      return "implausibleCount";
    case ErrorCode::zeroTimescale:
      return "zeroTimescale";
    case ErrorCode::incompleteSampleTable:
      return "incompleteSampleTable";
    case ErrorCode::childRuleBroken:
      return "childRuleBroken";
    case ErrorCode::unsupportedTrackType:
      return "unsupportedTrackType";
    case ErrorCode::editListFull:
      return "editListFull";
    case ErrorCode::sampleTableFull:
      return "sampleTableFull";
    case ErrorCode::missingArgument:
      return "missingArgument";
    case ErrorCode::badChunkRun:
      return "badChunkRun";
    case ErrorCode::noTrackDefaults:
      return "noTrackDefaults";
    case ErrorCode::truncatedBox:
      return "truncatedBox";
    case ErrorCode::truncatedFullBoxHeader:
      return "truncatedFullBoxHeader";
    case ErrorCode::runTooLarge:
      return "runTooLarge";
    case ErrorCode::sampleNumberOverflow:
      return "sampleNumberOverflow";
    case ErrorCode::implausibleSampleCount:
      return "implausibleSampleCount";
    case ErrorCode::tracksClosedByMetadata:
      return "tracksClosedByMetadata";
    case ErrorCode::tracksClosedBySamples:
      return "tracksClosedBySamples";
    case ErrorCode::secondMovie:
      return "secondMovie";
    case ErrorCode::avcConfigurationOverrun:
      return "avcConfigurationOverrun";
    case ErrorCode::writerNotOpen:
      return "writerNotOpen";
    case ErrorCode::stoppedByHandler:
      return "stoppedByHandler";
    case ErrorCode::unsupportedVersion:
      return "unsupportedVersion";
    case ErrorCode::unknownTrack:
      return "unknownTrack";
    case ErrorCode::metadataTooLarge:
      return "metadataTooLarge";
    case ErrorCode::metadataWithoutTracks:
      return "metadataWithoutTracks";
    case ErrorCode::sampleTimeBackwards:
      return "sampleTimeBackwards";
    case ErrorCode::sampleTooLarge:
      return "sampleTooLarge";
    case ErrorCode::unknownDescription:
      return "unknownDescription";
    case ErrorCode::secondZeltEntry:
      return "secondZeltEntry";
    case ErrorCode::addTrackAfterFinish:
      return "addTrackAfterFinish";
    case ErrorCode::metadataAfterFinish:
      return "metadataAfterFinish";
  }
  return "";
}

}  // namespace

void PrintTo(ErrorCode code, std::ostream* out) {
  const std::string_view name = nameOf(code);
  if (name.empty()) {
    *out << "no code: " << static_cast<std::uint32_t>(code);
  } else {
    *out << name;
  }
}

}  // namespace norvik::kav
