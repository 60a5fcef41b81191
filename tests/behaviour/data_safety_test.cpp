// A run must never cost the user a file: neither the input under another name, nor a file that it
// did not write.

#include <sys/stat.h>

#include <gtest/gtest.h>

#include "tests/behaviour/conversion_run.h"

namespace quarrypack::test {
namespace {

namespace fs = std::filesystem;

MovieBuilder usualMovie() { return MovieBuilder({videoTrack(), soundTrack(), captionTrack(6)}); }

struct OtherName {
  const char* name;
  const char* input;  // from inside the folder that holds clip.mov
  const char* output;
};

class InputUnderAnotherName : public ConversionTest,
                              public testing::WithParamInterface<OtherName> {};

TEST_P(InputUnderAnotherName, IsNotOverwritten) {
  const Bytes movie = usualMovie().build();
  writeFile(input(), movie);
  fs::create_directory(folder() / "sub");
  fs::create_symlink("clip.mov", folder() / "link.mp4");
  fs::create_symlink(folder(), folder() / "here");
  fs::create_hard_link(input(), folder() / "hard.mp4");
  const auto place = [&](std::string text) {
    const std::string folderText = folder().string();
    if (text.starts_with("@")) text = folderText + text.substr(1);
    return text;
  };
  ProgramOptions options;
  options.workingDirectory = folder();
  const ProgramResult result = runProgram(
      {"--input-file", place(GetParam().input), "--output-file", place(GetParam().output)},
      options);
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.err, kExceptionLines);
  EXPECT_TRUE(readFile(input()) == movie);
  EXPECT_TRUE(fs::exists(fs::symlink_status(folder() / GetParam().output)) ||
              GetParam().output[0] == '@');
}

INSTANTIATE_TEST_SUITE_P(
    Names, InputUnderAnotherName,
    testing::Values(OtherName{"Relative", "clip.mov", "clip.mov"},
                    OtherName{"RelativeToAnAbsoluteInput", "@/clip.mov", "clip.mov"},
                    OtherName{"WithADot", "@/clip.mov", "./clip.mov"},
                    OtherName{"AbsoluteWithADot", "@/clip.mov", "@/./clip.mov"},
                    OtherName{"WithDoubledSlash", "@/clip.mov", "@//clip.mov"},
                    OtherName{"ThroughAFolderAndBack", "@/clip.mov", "sub/../clip.mov"},
                    OtherName{"SymbolicLink", "@/clip.mov", "link.mp4"},
                    OtherName{"InputIsTheLink", "link.mp4", "@/clip.mov"},
                    OtherName{"HardLink", "@/clip.mov", "hard.mp4"},
                    OtherName{"ThroughALinkedFolder", "@/clip.mov", "here/clip.mov"}),
    [](const auto& param) { return param.param.name; });

class DataSafety : public ConversionTest {};

TEST_F(DataSafety, RefusesTheSameTextWithItsOwnMessage) {
  const Bytes movie = usualMovie().build();
  writeFile(input(), movie);
  const ProgramResult result =
      runProgram({"--input-file", input().string(), "--output-file", input().string()});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.out, "Input file and output file can not be same.\n");
  EXPECT_EQ(result.err, "Error while processing configuration. ErrorCode 10002:write failed\n");
  EXPECT_TRUE(readFile(input()) == movie);
}

TEST_F(DataSafety, KeepsTheInputEvenIfItIsNoMovie) {
  writeFile(input(), Bytes(100, 0x55));
  fs::create_hard_link(input(), output());
  const ProgramResult result =
      runProgram({"--input-file", input().string(), "--output-file", output().string()});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err, kExceptionLines);
  EXPECT_EQ(readFile(input()), Bytes(100, 0x55));
}

TEST_F(DataSafety, RemovesTheOutputThatItOpenedAndNothingElse) {
  writeFile(output(), Bytes(50, 1));
  writeFile(folder() / "neighbour", Bytes(50, 2));
  const Conversion result = convert(MovieBuilder({videoTrack(), soundTrack()}));
  EXPECT_EQ(result.program.status, 1);
  EXPECT_FALSE(result.output);
  EXPECT_EQ(readFile(folder() / "neighbour"), Bytes(50, 2));
}

TEST_F(DataSafety, RemovesALinkGivenAsTheOutputAndNotTheFileItLeadsTo) {
  writeFile(folder() / "target.mp4", Bytes(50, 1));
  fs::create_symlink("target.mp4", output());
  const Conversion result = convert(MovieBuilder({videoTrack(), soundTrack()}));
  EXPECT_EQ(result.program.status, 1);
  EXPECT_FALSE(fs::exists(fs::symlink_status(output())));
  EXPECT_EQ(readFile(folder() / "target.mp4"), Bytes());
}

TEST_F(DataSafety, DoesNotRemoveWhatIsNoRegularFile) {
  fs::create_symlink("/dev/null", output());
  const Conversion result = convert(MovieBuilder({videoTrack(), soundTrack()}));
  EXPECT_EQ(result.program.status, 1);
  EXPECT_TRUE(fs::is_symlink(output()));
  EXPECT_TRUE(fs::is_character_file("/dev/null"));
}

TEST_F(DataSafety, DoesNotWaitForTheReaderOfAPipe) {
  ASSERT_EQ(::mkfifo(output().c_str(), 0600), 0);
  writeFile(input(), usualMovie().build());
  ProgramOptions options;
  options.timeout = std::chrono::seconds(10);
  const ProgramResult result =
      runProgram({"--input-file", input().string(), "--output-file", output().string()}, options);
  EXPECT_FALSE(result.timedOut);
  EXPECT_EQ(result.status, 1);
  EXPECT_TRUE(fs::is_fifo(output()));
}

TEST_F(DataSafety, FailsWhenTheOutputIsAFolder) {
  fs::create_directory(output());
  writeFile(input(), usualMovie().build());
  const ProgramResult result =
      runProgram({"--input-file", input().string(), "--output-file", output().string()});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err, kExceptionLines);
  EXPECT_TRUE(fs::is_directory(output()));
}

TEST_F(DataSafety, FailsWhenTheFolderOfTheOutputIsMissing) {
  writeFile(input(), usualMovie().build());
  const ProgramResult result = runProgram({"--input-file", input().string(), "--output-file",
                                           (folder() / "none" / "clip.mp4").string()});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.err, kExceptionLines);
  EXPECT_FALSE(fs::exists(folder() / "none"));
}

TEST_F(DataSafety, FailsWhenTheDeviceOfTheOutputIsFull) {
  if (!fs::is_character_file("/dev/full")) GTEST_SKIP() << "there is no /dev/full here";
  fs::create_symlink("/dev/full", output());
  writeFile(input(), usualMovie().build());
  const ProgramResult result =
      runProgram({"--input-file", input().string(), "--output-file", output().string()});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err, kExceptionLines);
}

TEST_F(DataSafety, NeverWritesItsMessagesIntoTheOutput) {
  const Bytes expected = converted(usualMovie());
  for (const std::vector<int>& closed : {std::vector<int>{1}, {2}, {0, 1}, {0, 1, 2}}) {
    ProgramOptions options;
    options.closedDescriptors = closed;
    const Conversion result = convert(usualMovie().build(), options);
    EXPECT_EQ(result.program.status, 0);
    EXPECT_TRUE(result.output == expected);
  }
}

}  // namespace
}  // namespace quarrypack::test
