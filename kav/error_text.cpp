#include "kav/error_text.h"

#include <algorithm>
#include <iterator>

#include "kav/error_code.h"

namespace norvik::kav {
namespace {

struct Entry {
  ErrorCode code;
  std::string_view name;
  std::string_view text;
};

// Sorted by number.
constexpr Entry kErrors[] = {
    {ErrorCode::success, "success", "no failure"},
    {ErrorCode::ioFailed, "ioFailed", "the operating system refused a file operation"},
    {ErrorCode::fileNotFound, "fileNotFound", "there is no such file"},
    {ErrorCode::accessDenied, "accessDenied",
     "there is no right to the file, it exists already, or too many are open"},
    {ErrorCode::shortRead, "shortRead", "the file ends before the bytes that are needed"},
    {ErrorCode::noMovie, "noMovie", "the file holds no movie (no moov box)"},
    {ErrorCode::outOfMemory, "outOfMemory", "no memory is left"},
    {ErrorCode::implausibleCount, "implausibleCount",
     "a count or length is beyond what any real file holds"},
    {ErrorCode::zeroTimescale, "zeroTimescale", "a movie or track has timescale 0"},
    {ErrorCode::incompleteSampleTable, "incompleteSampleTable",
     "a track lacks one of the tables stts, stsc, stsz and stco or co64"},
    {ErrorCode::childRuleBroken, "childRuleBroken",
     "a required box is missing or repeated, or boxes nest too deep"},
    {ErrorCode::unsupportedTrackType, "unsupportedTrackType",
     "a sample description fits no kind of track"},
    {ErrorCode::editListFull, "editListFull",
     "there are more edits than the edit list has room for"},
    {ErrorCode::sampleTableFull, "sampleTableFull", "there are more samples than were announced"},
    {ErrorCode::missingArgument, "missingArgument", "an argument is missing or out of range"},
    {ErrorCode::badChunkRun, "badChunkRun",
     "the chunks of a track are out of order or hold no samples"},
    {ErrorCode::noTrackDefaults, "noTrackDefaults",
     "a track with fragments has no defaults (no trex box)"},
    {ErrorCode::truncatedBox, "truncatedBox", "a box holds fewer bytes than its fields need"},
    {ErrorCode::truncatedFullBoxHeader, "truncatedFullBoxHeader",
     "a box has no room for its version and flags"},
    {ErrorCode::runTooLarge, "runTooLarge", "a run of samples in a fragment is too long"},
    {ErrorCode::sampleNumberOverflow, "sampleNumberOverflow",
     "the sample numbers of a ctts box overflow"},
    {ErrorCode::implausibleSampleCount, "implausibleSampleCount",
     "a sample, chunk or description count is beyond what any real file holds"},
    {ErrorCode::tracksClosedByMetadata, "tracksClosedByMetadata",
     "no track can be added after metadata was written"},
    {ErrorCode::tracksClosedBySamples, "tracksClosedBySamples",
     "no track can be added after samples were written"},
    {ErrorCode::secondMovie, "secondMovie", "the file holds a second movie (moov box)"},
    {ErrorCode::avcConfigurationOverrun, "avcConfigurationOverrun",
     "an avcC record runs past the end of its sample description"},
    {ErrorCode::writerNotOpen, "writerNotOpen", "the writer is not open"},
    {ErrorCode::stoppedByHandler, "stoppedByHandler",
     "the problem handler refused an irregularity"},
    {ErrorCode::unsupportedVersion, "unsupportedVersion",
     "a box has a version that is not supported"},
    {ErrorCode::unknownTrack, "unknownTrack", "a sample belongs to a track that was not added"},
    {ErrorCode::metadataTooLarge, "metadataTooLarge", "the metadata is longer than 64 MiB"},
    {ErrorCode::metadataWithoutTracks, "metadataWithoutTracks",
     "metadata was set before any track was added"},
    {ErrorCode::sampleTimeBackwards, "sampleTimeBackwards",
     "the decoding times of a track run backwards"},
    {ErrorCode::sampleTooLarge, "sampleTooLarge", "a sample is longer than 1 GiB"},
    {ErrorCode::unknownDescription, "unknownDescription",
     "a sample names a description that its track does not have"},
    {ErrorCode::secondZeltEntry, "secondZeltEntry", "a zelt track has a second sample description"},
    {ErrorCode::addTrackAfterFinish, "addTrackAfterFinish",
     "a track was added to a finished movie"},
    {ErrorCode::metadataAfterFinish, "metadataAfterFinish", "metadata was set in a finished movie"},
};

constexpr std::uint32_t numberOf(const Entry& entry) {
  return static_cast<std::uint32_t>(entry.code);
}

static_assert(std::is_sorted(std::begin(kErrors), std::end(kErrors),
                             [](const Entry& a, const Entry& b) {
                               return numberOf(a) < numberOf(b);
                             }));

const Entry* find(std::uint32_t code) {
  const auto* const found = std::lower_bound(
      std::begin(kErrors), std::end(kErrors), code,
      [](const Entry& entry, std::uint32_t number) { return numberOf(entry) < number; });
  return found == std::end(kErrors) || numberOf(*found) != code ? nullptr : found;
}

}  // namespace

std::string_view errorName(std::uint32_t code) {
  const Entry* found = find(code);
  return found == nullptr ? std::string_view() : found->name;
}

std::string_view errorText(std::uint32_t code) {
  const Entry* found = find(code);
  return found == nullptr ? "an unknown failure" : found->text;
}

}  // namespace norvik::kav
