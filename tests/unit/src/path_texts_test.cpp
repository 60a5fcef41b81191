#include "src/path_texts.h"

#include "tests/support/console.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

namespace quarrypack {
namespace {

TEST(PathTexts, TurnBackslashesIntoSlashes) {
  EXPECT_EQ(genericPath("C:\\clips\\a.mov"), "C:/clips/a.mov");
  EXPECT_EQ(genericPath("a/b\\c"), "a/b/c");
  EXPECT_EQ(genericPath(""), "");
}

TEST(PathTexts, KnowARootWithAndWithoutADrive) {
  for (const char* rooted : {"/", "/a", "//a", "C:/", "c:/a"}) {
    EXPECT_TRUE(hasRootDirectory(rooted)) << rooted;
  }
  for (const char* relative : {"", "a", "a/b", "./a", "C:", "C:a", "1:/a", ":/a", "CC:/a"}) {
    EXPECT_FALSE(hasRootDirectory(relative)) << relative;
  }
}

TEST(PathTexts, FindTheFolder) {
  const struct {
    const char* path;
    const char* folder;
  } cases[] = {
      {"", ""},         {"c.xml", ""},         {"sub/c.xml", "sub"}, {"/c.xml", "/"},
      {"//c.xml", "/"}, {"sub//c.xml", "sub"}, {"./c.xml", "."},     {"/a/b/c.xml", "/a/b"},
      {"a/b/", "a/b"},  {"C:/c.xml", "C:"},
  };
  for (const auto& each : cases) EXPECT_EQ(folderOf(each.path), each.folder) << each.path;
}

TEST(PathTexts, JoinWithExactlyOneSeparator) {
  EXPECT_EQ(joinedPath("sub", "a.mov"), "sub/a.mov");
  EXPECT_EQ(joinedPath("/", "a.mov"), "/a.mov");
  EXPECT_EQ(joinedPath("", "a.mov"), "a.mov");
}

TEST(ResolveRelativePath, LeavesAPathWithARootAlone) {
  EXPECT_EQ(resolveRelativePath("/a/../b.mov", "/cfg/c.xml"), "/a/../b.mov");
  EXPECT_EQ(resolveRelativePath("//b.mov", ""), "//b.mov");
  EXPECT_EQ(resolveRelativePath("C:\\clips\\a.mov", ""), "C:/clips/a.mov");
  EXPECT_EQ(resolveRelativePath("\\a.mov", "sub/c.xml"), "/a.mov");
}

TEST(ResolveRelativePath, CountsFromTheFolderOfTheBaseFile) {
  EXPECT_EQ(resolveRelativePath("clip.mov", "/cfg/c.xml"), "/cfg/clip.mov");
  EXPECT_EQ(resolveRelativePath("clip.mov", "sub/c.xml"), "sub/clip.mov");
  EXPECT_EQ(resolveRelativePath("clip.mov", "sub\\c.xml"), "sub/clip.mov");
  EXPECT_EQ(resolveRelativePath("clip.mov", "/c.xml"), "/clip.mov");
  EXPECT_EQ(resolveRelativePath("x\\clip.mov", "sub/c.xml"), "sub/x/clip.mov");
  EXPECT_EQ(resolveRelativePath("clip.mov", "c.xml"), "clip.mov");
}

TEST(ResolveRelativePath, CountsFromTheWorkingDirectoryWithoutABaseFile) {
  const test::WorkingFolder folder;
  EXPECT_EQ(resolveRelativePath("clip.mov", ""), folder.path("clip.mov"));
  EXPECT_EQ(resolveRelativePath("./x\\clip.mov", ""), folder.path(".") + "/x/clip.mov");
}

TEST(ResolveRelativePath, GivesOneSeparatorInTheRootFolder) {
  const test::WorkingFolder folder;
  std::filesystem::current_path("/");
  EXPECT_EQ(resolveRelativePath("clip.mov", ""), "/clip.mov");
}

TEST(DefaultOutputPath, LiesBesideTheInputUnderAnotherName) {
  const struct {
    const char* input;
    const char* output;
  } cases[] = {
      {"/media/show.mov", "/media/Converted_show.mp4"},
      {"/media/noext", "/media/Converted_noext.mp4"},
      {"/media/a.b.c.mov", "/media/Converted_a.b.c.mp4"},
      {"/media/.mov", "/media/Converted_.mp4"},
      {"/media/a.", "/media/Converted_a.mp4"},
      {"/x.y/clip", "/x.y/Converted_clip.mp4"},
      {"/clip.mov", "/Converted_clip.mp4"},
      {"clip.mov", "Converted_clip.mp4"},
      {"sub/clip.mov", "sub/Converted_clip.mp4"},
      {"C:/clips/a.mov", "C:/clips/Converted_a.mp4"},
  };
  for (const auto& each : cases) EXPECT_EQ(defaultOutputPath(each.input), each.output);
}

}  // namespace
}  // namespace quarrypack
