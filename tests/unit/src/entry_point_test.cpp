#include "src/entry_point.h"

#include "kaf/orx_exception.h"
#include "kav/exception.h"
#include "tarn/error_strings.h"
#include "tests/support/console.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <vector>

namespace quarrypack {
namespace {

class EntryPoint : public testing::Test {
 protected:
  // Runs the tool with the words given, the program's name first.
  int run(std::vector<const char*> words, const Conversion& conversion) {
    const int count = static_cast<int>(words.size());
    words.push_back(nullptr);
    const test::CapturedConsole console;
    const int status = runTool(count, words.data(), conversion);
    out_ = console.out();
    err_ = console.err();
    return status;
  }

  int run(std::vector<const char*> words) {
    return run(std::move(words),
               [this](const std::string& programName, const ConversionPaths& paths) {
                 ++conversions_;
                 programName_ = programName;
                 paths_ = paths;
                 return 0;
               });
  }

  template <class Thrown>
  int runThatThrows(const Thrown& thrown) {
    folder_.write("a.mov");
    return run({"./tool", "--input-file=a.mov"},
               [&](const std::string&, const ConversionPaths&) -> int { throw thrown; });
  }

  void expectUsage(int status) {
    EXPECT_EQ(status, 0);
    EXPECT_NE(out_.find("\nAllowed options:\n"), std::string::npos);
    EXPECT_EQ(out_.substr(out_.size() - 2), "\n\n");
    EXPECT_EQ(err_, "");
    EXPECT_EQ(conversions_, 0);
  }

  test::WorkingFolder folder_;
  std::string out_;
  std::string err_;
  int conversions_ = 0;
  std::string programName_;
  ConversionPaths paths_;
};

constexpr const char* kUnknownException =
    "./tool::Caught an unknown exception while reading file\n"
    "Error: No valid clcp data found in the file...\n";

TEST_F(EntryPoint, ShowsTheUsageTextForHelpAndOpensNothing) {
  folder_.write("a.mov");
  expectUsage(run({"tool", "--help", "--input-file=a.mov"}));
}

TEST_F(EntryPoint, ShowsTheUsageTextWithoutArguments) { expectUsage(run({"tool"})); }

TEST_F(EntryPoint, ShowsTheUsageTextWhenStartedWithoutAnyWord) {
  expectUsage(run({}));
  EXPECT_EQ(out_.find("\nquarrypack version 1.0 - "), 0u);
  EXPECT_NE(out_.find("\nUsage:  --input-file="), std::string::npos);
}

TEST_F(EntryPoint, ReportsSettingsThatCannotBeParsed) {
  EXPECT_EQ(run({"tool", "--bogus"}), 1);
  EXPECT_EQ(out_, "");
  EXPECT_EQ(err_,
            "Configuration Error. ErrorCode 5210:The settings could not be parsed or loaded\n");
  EXPECT_EQ(conversions_, 0);
}

TEST_F(EntryPoint, ReportsAMissingInput) {
  EXPECT_EQ(run({"tool", "--input-file=missing.mov"}), 1);
  EXPECT_EQ(out_, "");
  EXPECT_EQ(err_, "Error while processing configuration. ErrorCode 10008:File not found\n");
  EXPECT_EQ(conversions_, 0);
}

TEST_F(EntryPoint, ReportsTheSameInputAndOutput) {
  folder_.write("a.mov");
  const std::string input = "--input-file=" + folder_.path("a.mov");
  const std::string output = "--output-file=" + folder_.path("a.mov");
  EXPECT_EQ(run({"tool", input.c_str(), output.c_str()}), 1);
  EXPECT_EQ(out_, "Input file and output file can not be same.\n");
  EXPECT_EQ(err_, "Error while processing configuration. ErrorCode 10002:write failed\n");
  EXPECT_EQ(conversions_, 0);
}

TEST_F(EntryPoint, HandsNameAndPathsToTheConversion) {
  folder_.write("a.mov");
  EXPECT_EQ(run({"./some tool", "--input-file=a.mov", "--output-file=o.mp4"}), 0);
  EXPECT_EQ(conversions_, 1);
  EXPECT_EQ(programName_, "./some tool");
  EXPECT_EQ(paths_.inputPath, folder_.path("a.mov"));
  EXPECT_EQ(paths_.outputPath, "o.mp4");
  EXPECT_EQ(out_ + err_, "");
}

TEST_F(EntryPoint, ReturnsTheStatusOfTheConversion) {
  folder_.write("a.mov");
  EXPECT_EQ(run({"tool", "--input-file=a.mov"},
                [](const std::string&, const ConversionPaths&) { return 1; }),
            1);
}

TEST_F(EntryPoint, ReportsAnExceptionWithAMessage) {
  EXPECT_EQ(runThatThrows(orx::OrxException("the message")), 1);
  EXPECT_EQ(out_, "");
  EXPECT_EQ(err_, "Caught Exception! the message\n");
}

TEST_F(EntryPoint, ReportsACodeOfTheStreamingLibraryWithAStatusOfItsOwn) {
  EXPECT_EQ(runThatThrows(static_cast<norvik::tarn::EErrorCode>(27)), 2);
  EXPECT_EQ(out_, "");
  EXPECT_EQ(err_, "Caught an error : A box is too short for its fields\n");
}

TEST_F(EntryPoint, ReportsEveryOtherExceptionAlike) {
  EXPECT_EQ(runThatThrows(norvik::kav::Exception(norvik::kav::ErrorCode::noMovie)), 1);
  EXPECT_EQ(out_, "");
  EXPECT_EQ(err_, kUnknownException);
  EXPECT_EQ(runThatThrows(std::runtime_error("unheard")), 1);
  EXPECT_EQ(err_, kUnknownException);
  EXPECT_EQ(runThatThrows(42), 1);
  EXPECT_EQ(err_, kUnknownException);
}

TEST_F(EntryPoint, ReportsAPathThatCannotEvenBeLookedUp) {
  const std::string input = "--input-file=" + std::string(5000, 'a');
  EXPECT_EQ(run({"./tool", input.c_str()}), 1);
  EXPECT_EQ(out_, "");
  EXPECT_EQ(err_, kUnknownException);
}

}  // namespace
}  // namespace quarrypack
