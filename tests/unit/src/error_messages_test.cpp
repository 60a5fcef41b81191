#include "src/error_messages.h"

#include <gtest/gtest.h>

namespace quarrypack {
namespace {

TEST(ErrorMessages, HoldTheWholeSharedTable) {
  const struct {
    int code;
    const char* text;
  } rows[] = {
      {10001, "No matching kax entry found"},
      {10002, "write failed"},
      {10003, "read failed"},
      {10004, "unsupported kax"},
      {10005, "unsupported afra entries in kax"},
      {10006, "kax not initialized"},
      {10007, "Kax file does not have any more global index entries"},
      {10008, "File not found"},
      {10009, "Invalid config file"},
      {10010, "Invalid fragment duration specified"},
      {10011, "Invalid duration precision specified"},
      {10012, "Invalid frame rate specified"},
      {10013, "No value specified for frame precision"},
      {10014, "No value specified for keyframe-intervals-per-fragment"},
      {10015, "No value specified for frames-per-keyframe-interval"},
      {10016, "out of bound"},
      {10017, "Invalid Data"},
      {10018, "KaxWriter creation failed"},
      {10019, "KaxReader creation failed"},
      {10020, "Packager creation failed"},
      {10021, "Packager initialization failed"},
      {10022, "Failed to push media message"},
      {10023, "Failed to notify end of stream"},
      {10024, "Failed to open file"},
      {10025, "Fragmenter creation failed"},
      {10026, "Encryptor creation failed"},
      {10300, "Failed to create directory"},
      {10301, "Failed to copy file"},
      {10302, "Failed to delete file"},
      {10303, "Failed to access File or Directory"},
      {10100, "Failed to parse Kam file"},
      {10200, "Source Kam contains more than one media tags"},
      {10201, "Non-relative source and destination Kam paths in KamCombiner"},
      {10202, "Failed to open Kam file"},
      {10500, "Creation of MPEG Parser failed"},
      {10501, "Invalid TS Packet"},
      {10502, "Invalid PES Packet"},
      {10503, "PES packet of unknown PID encountered"},
      {10504, "Received Duplicate TS Packet"},
  };
  ErrorMessageTable table;
  EXPECT_EQ(table.size(), 39u);
  for (const auto& row : rows) EXPECT_EQ(table.describe(row.code), row.text) << row.code;
  EXPECT_EQ(table.size(), 39u) << "every code was there already";
}

TEST(ErrorMessages, TakeInACodeWithoutTextAsAnEmptyOne) {
  ErrorMessageTable table;
  EXPECT_EQ(table.describe(10999), "");
  EXPECT_EQ(table.size(), 40u);
  EXPECT_EQ(table.describe(10999), "");
  EXPECT_EQ(table.size(), 40u);
}

TEST(DescribeError, AsksTheTableFromTenThousandOn) {
  EXPECT_EQ(describeError(10000), "");
  EXPECT_EQ(describeError(10001), "No matching kax entry found");
  EXPECT_EQ(describeError(20000), "");
}

TEST(DescribeError, AsksTheStreamingLibraryBelowTenThousand) {
  EXPECT_EQ(describeError(5210), "The settings could not be parsed or loaded");
  EXPECT_EQ(describeError(9999), "Unknown error");
  EXPECT_EQ(describeError(-1), "Unknown error");
}

}  // namespace
}  // namespace quarrypack
