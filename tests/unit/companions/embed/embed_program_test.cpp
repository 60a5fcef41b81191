#include "companions/embed/embed_program.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "companions/output_file.h"
#include "tests/support/media_samples.h"
#include "tests/support/movie_builder.h"
#include "tests/support/run_program.h"

namespace quarrypack::companions {
namespace {

using test::readFile;
using test::text;
using test::writeFile;

TEST(EmbedSummary, CountsWhatWasDone) {
  embed::EmbedResult result;
  result.captions = 1;
  result.pairs = 4;
  result.captionedPictures = 3;
  result.pictures = 20;
  const std::string start = "1 caption, 4 pairs in 3 of 20 pictures, ";
  EXPECT_EQ(summaryText(result, true), start + "no pairs lost, verified");
  EXPECT_EQ(summaryText(result, false), start + "no pairs lost, not verified");
  result.lostPairs = 1;
  EXPECT_EQ(summaryText(result, true), start + "1 pair lost, verified");
  result.lostPairs = 2;
  EXPECT_EQ(summaryText(result, false), start + "2 pairs lost, not verified");
}

class EmbedCaptions : public testing::Test {
 protected:
  EmbedCaptions() {
    const test::MovieTrack captions = test::captionTrack(test::CaptionTrackOptions{
        .samples = {test::cdat({0x94, 0x20, 0x94, 0xE0, 0xC1, 0x80, 0x94, 0x2F})},
        .duration = 8 * 1001});
    options_.input = path("film.mov");
    options_.output = path("film.mp4");
    writeFile(options_.input,
              test::MovieBuilder({test::videoTrack({.count = 20}), captions}).build());
  }

  std::string path(const std::string& name) const { return (folder_.path() / name).string(); }
  bool isThere(const std::string& name) const { return std::filesystem::exists(path(name)); }

  std::string errorOf() const {
    try {
      embedCaptions(options_);
    } catch (const FileError& error) {
      return error.what();
    }
    return "none";
  }

  EmbedOptions options_;

 private:
  test::TemporaryFolder folder_;
};

TEST_F(EmbedCaptions, KeepsTheFilmWhereOnlyItsReportCannotBeWritten) {
  options_.report = path("none/report.html");
  const std::string error = errorOf();
  EXPECT_TRUE(error.starts_with("'" + options_.output + "' is written, but not its report: cannot"))
      << error;
  EXPECT_TRUE(error.ends_with(": No such file or directory")) << error;
  EXPECT_TRUE(isThere("film.mp4"));
}

TEST_F(EmbedCaptions, SayWhyTheInputCannotBeRead) {
  writeFile(options_.input, text("no movie at all"));
  EXPECT_TRUE(errorOf().starts_with("cannot read '" + options_.input + "': ")) << errorOf();
  options_.input = path("none.mov");
  EXPECT_EQ(errorOf(), "cannot read '" + options_.input + "': No such file or directory");
  EXPECT_FALSE(isThere("film.mp4"));
}

// Neither is there yet, so only their names tell.
TEST_F(EmbedCaptions, RefuseAReportInPlaceOfTheFilm) {
  options_.report = options_.output;
  EXPECT_THROW(embedCaptions(options_), UsageError);
  EXPECT_FALSE(isThere("film.mp4"));
}

TEST_F(EmbedCaptions, TakeACaptionFileOfNoMoreThan64Mebibytes) {
  options_.captionsField1 = path("film.scc");
  writeFile(options_.captionsField1, text("Scenarist_SCC V1.0"));
  std::filesystem::resize_file(options_.captionsField1, (std::uintmax_t{64} << 20) + 1);
  EXPECT_EQ(errorOf(), "'" + options_.captionsField1 + "' is too large for captions");
  std::filesystem::resize_file(options_.captionsField1, std::uintmax_t{64} << 20);
  EXPECT_EQ(errorOf(), "'" + options_.captionsField1 + "' has no captions in the form of SCC");
}

TEST_F(EmbedCaptions, TakeNoFolderForACaptionFile) {
  options_.captionsField1 = path("folder");
  std::filesystem::create_directory(options_.captionsField1);
  EXPECT_EQ(errorOf(), "cannot read '" + options_.captionsField1 + "': Is a directory");
}

}  // namespace
}  // namespace quarrypack::companions
