#include "kav/error_code.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string_view>

#include "tests/support/expect_code.h"

namespace norvik::kav {
namespace {

// The one place in the tests where codes are numbers. Every other test names them.
TEST(ErrorCode, HasTheNumbersOfTheContract) {
  const struct {
    ErrorCode code;
    std::uint32_t number;
    std::string_view name;
  } rows[] = {
      {ErrorCode::success, 0, "success"},
      {ErrorCode::ioFailed, 1, "ioFailed"},
      {ErrorCode::fileNotFound, 3, "fileNotFound"},
      {ErrorCode::accessDenied, 4, "accessDenied"},
      {ErrorCode::shortRead, 5, "shortRead"},
      {ErrorCode::noMovie, 6, "noMovie"},
      {ErrorCode::outOfMemory, 7, "outOfMemory"},
      {ErrorCode::implausibleCount, 9, "implausibleCount"},
      {ErrorCode::zeroTimescale, 10, "zeroTimescale"},
      {ErrorCode::incompleteSampleTable, 12, "incompleteSampleTable"},
      {ErrorCode::childRuleBroken, 14, "childRuleBroken"},
      {ErrorCode::unsupportedTrackType, 15, "unsupportedTrackType"},
      {ErrorCode::editListFull, 16, "editListFull"},
      {ErrorCode::sampleTableFull, 17, "sampleTableFull"},
      {ErrorCode::missingArgument, 20, "missingArgument"},
      {ErrorCode::badChunkRun, 23, "badChunkRun"},
      {ErrorCode::noTrackDefaults, 25, "noTrackDefaults"},
      {ErrorCode::truncatedBox, 27, "truncatedBox"},
      {ErrorCode::truncatedFullBoxHeader, 28, "truncatedFullBoxHeader"},
      {ErrorCode::runTooLarge, 29, "runTooLarge"},
      {ErrorCode::sampleNumberOverflow, 30, "sampleNumberOverflow"},
      {ErrorCode::implausibleSampleCount, 31, "implausibleSampleCount"},
      {ErrorCode::tracksClosedByMetadata, 32, "tracksClosedByMetadata"},
      {ErrorCode::tracksClosedBySamples, 33, "tracksClosedBySamples"},
      {ErrorCode::secondMovie, 36, "secondMovie"},
      {ErrorCode::avcConfigurationOverrun, 42, "avcConfigurationOverrun"},
      {ErrorCode::writerNotOpen, 48, "writerNotOpen"},
      {ErrorCode::stoppedByHandler, 1028, "stoppedByHandler"},
      {ErrorCode::unsupportedVersion, 1029, "unsupportedVersion"},
      {ErrorCode::unknownTrack, 1280, "unknownTrack"},
      {ErrorCode::metadataTooLarge, 1282, "metadataTooLarge"},
      {ErrorCode::metadataWithoutTracks, 1287, "metadataWithoutTracks"},
      {ErrorCode::sampleTimeBackwards, 1288, "sampleTimeBackwards"},
      {ErrorCode::sampleTooLarge, 1289, "sampleTooLarge"},
      {ErrorCode::unknownDescription, 1536, "unknownDescription"},
      {ErrorCode::secondZeltEntry, 1542, "secondZeltEntry"},
      {ErrorCode::addTrackAfterFinish, 2052, "addTrackAfterFinish"},
      {ErrorCode::metadataAfterFinish, 2053, "metadataAfterFinish"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(static_cast<std::uint32_t>(row.code), row.number) << row.name;
    EXPECT_EQ(testing::PrintToString(row.code), row.name);
  }
}

TEST(ErrorCode, PrintsTheNumberOfWhatIsNoCode) {
  EXPECT_EQ(testing::PrintToString(static_cast<ErrorCode>(2)), "no code: 2");
}

TEST(Problem, HasTheNumbersOfTheContract) {
  EXPECT_EQ(static_cast<std::uint32_t>(Problem::trailingBytes), 3073u);
  EXPECT_EQ(static_cast<std::uint32_t>(Problem::mediaDataPastEnd), 3074u);
  EXPECT_EQ(static_cast<std::uint32_t>(Problem::childPastParent), 3075u);
}

}  // namespace
}  // namespace norvik::kav
