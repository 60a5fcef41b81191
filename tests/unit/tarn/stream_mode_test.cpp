#include "tarn/stream_mode.h"

#include <gtest/gtest.h>

namespace norvik::tarn {
namespace {

TEST(StreamMode, OpensAnInputForReadingBytes) {
  EXPECT_EQ(FileStream::getStreamMode(false, false, true), 0x8000u);
}

TEST(StreamMode, OpensAnOutputThatIsCreatedOrEmptiedAndCanBeReadBack) {
  EXPECT_EQ(FileStream::getStreamMode(true, false, true), 0x8000u | 0x200u | 0x100u | 0x2u);
}

TEST(StreamMode, KeepsTheContentOfAnOutputOnRequest) {
  EXPECT_EQ(FileStream::getStreamMode(true, true, true), 0x8000u | 0x100u | 0x2u);
}

TEST(StreamMode, NeverChangesAFileThatIsOnlyRead) {
  EXPECT_EQ(FileStream::getStreamMode(false, true, true), 0x8000u);
}

TEST(StreamMode, MarksTextWithoutTheThirdFlag) {
  EXPECT_EQ(FileStream::getStreamMode(false, false, false), 0x4000u);
  EXPECT_EQ(FileStream::getStreamMode(true, false, false), 0x4000u | 0x200u | 0x100u | 0x2u);
}

}  // namespace
}  // namespace norvik::tarn
