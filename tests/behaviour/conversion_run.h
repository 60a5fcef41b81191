#pragma once

#include <optional>
#include <string>

#include <gtest/gtest.h>

#include "tests/support/movie_builder.h"
#include "tests/support/run_program.h"

namespace quarrypack::test {

inline const std::string kNoValidData = "Error: No valid clcp data found in the file...\n";
inline const std::string kFailed = "quarrypack failed! \n";
inline const std::string kExceptionLines =
    "quarrypack::Caught an unknown exception while reading file\n" + kNoValidData;

// The result of one run of the program on one input.
struct Conversion {
  ProgramResult program;
  std::optional<Bytes> output;  // none when there is no such file
};

// Runs the program as a user does, in a folder of the test's own. A conversion must never change
// its input, so every run expects that.
class ConversionTest : public testing::Test {
 protected:
  Conversion convert(const Bytes& movie, const ProgramOptions& options = {}) {
    writeFile(input(), movie);
    Conversion result;
    result.program =
        runProgram({"--input-file", input().string(), "--output-file", output().string()}, options);
    EXPECT_FALSE(result.program.timedOut);
    EXPECT_TRUE(readFile(input()) == movie) << "the input was changed";
    if (std::filesystem::exists(output())) result.output = readFile(output());
    return result;
  }
  Conversion convert(const MovieBuilder& movie) { return convert(movie.build()); }

  // The output of a run that must succeed and print nothing but its progress line.
  Bytes converted(const MovieBuilder& movie) { return converted(movie, ""); }
  Bytes converted(const MovieBuilder& movie, const std::string& linesBefore,
                  const std::string& linesAfter = "") {
    const Conversion result = convert(movie);
    EXPECT_EQ(result.program.status, 0);
    EXPECT_EQ(result.program.err, "");
    EXPECT_EQ(result.program.out, linesBefore + progressLine() + linesAfter);
    return result.output.value_or(Bytes());
  }

  std::string progressLine() const {
    return "Converting clcp(v608) data in file " + input().string() + " to file " +
           output().string() + "...\n";
  }

  const std::filesystem::path& folder() const { return folder_.path(); }
  std::filesystem::path input() const { return folder() / "clip.mov"; }
  std::filesystem::path output() const { return folder() / "clip.mp4"; }

 private:
  TemporaryFolder folder_;
};

}  // namespace quarrypack::test
