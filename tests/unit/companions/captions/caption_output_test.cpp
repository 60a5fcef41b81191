#include "companions/captions/caption_output.h"

#include <gtest/gtest.h>

#include "companions/command_line.h"
#include "companions/output_file.h"
#include "tests/support/run_program.h"

namespace quarrypack::companions {
namespace {

using captions::Channel;
using test::readFile;
using test::text;

TEST(PathOfChannel, PutsTheChannelBeforeTheExtension) {
  EXPECT_EQ(pathOfChannel("film.srt", Channel::cc3), "film.CC3.srt");
  EXPECT_EQ(pathOfChannel("a.b/film.en.srt", Channel::cc1), "a.b/film.en.CC1.srt");
  EXPECT_EQ(pathOfChannel("film", Channel::cc1), "film.CC1");
  EXPECT_EQ(pathOfChannel("a.b/film", Channel::cc1), "a.b/film.CC1");
  EXPECT_EQ(pathOfChannel("a/.srt", Channel::cc1), "a/.srt.CC1");
}

class WriteDocuments : public testing::Test {
 protected:
  CaptionOptions options(const std::string& output) const {
    CaptionOptions result;
    result.input = path("film.mp4");
    result.output = path(output);
    result.format = captions::findFormat("scc");
    return result;
  }
  std::string path(const std::string& name) const { return (folder_.path() / name).string(); }

 private:
  test::TemporaryFolder folder_;
};

TEST_F(WriteDocuments, NamesFilesByTheirChannels) {
  writeDocuments({{Channel::cc1, {}}, {Channel::cc3, {}}}, options("a.scc"));
  EXPECT_EQ(readFile(path("a.CC1.scc")), text("Scenarist_SCC V1.0\r\n"));
  EXPECT_EQ(readFile(path("a.CC3.scc")), text("Scenarist_SCC V1.0\r\n"));
}

TEST_F(WriteDocuments, RefusesTheInputBeforeAnythingIsWritten) {
  test::writeFile(path("film.mp4"), text("film"));
  std::filesystem::create_hard_link(path("film.mp4"), path("a.CC3.scc"));
  EXPECT_THROW(writeDocuments({{Channel::cc1, {}}, {Channel::cc3, {}}}, options("a.scc")),
               UsageError);
  EXPECT_FALSE(std::filesystem::exists(path("a.CC1.scc")));
  EXPECT_EQ(readFile(path("film.mp4")), text("film"));
}

TEST_F(WriteDocuments, FailsWhereNoFileCanBeMade) {
  EXPECT_THROW(writeDocuments({{std::nullopt, {}}}, options("none/a.scc")), FileError);
}

}  // namespace
}  // namespace quarrypack::companions
