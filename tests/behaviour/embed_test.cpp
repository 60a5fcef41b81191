// quarrypack-embed as a user runs it.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <set>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "tests/support/box_builders.h"
#include "tests/support/child_signals.h"
#include "tests/support/media_samples.h"
#include "tests/support/movie_builder.h"
#include "tests/support/run_program.h"

namespace quarrypack::test {
namespace {

namespace fs = std::filesystem;

fs::path embedProgram() { return builtProgram().parent_path() / "quarrypack-embed"; }

// A pop-on caption of one letter, and its erasure.
MovieBuilder captionedMovie() {
  const Bytes popOn = {0x94, 0x20, 0x94, 0xE0, 0xC1, 0x80, 0x94, 0x2F};
  return MovieBuilder({videoTrack({.count = 20}), soundTrack(),
                       captionTrack(CaptionTrackOptions{
                           .samples = {cdat(popOn), cdat({0x94, 0x2C})}, .duration = 8 * 1001})});
}

const std::string kDone = "1 caption, 5 pairs in 20 of 20 pictures, no pairs lost, verified\n";
const Bytes kOldOutput = text("what was there before");

class Embed : public testing::Test {
 protected:
  void SetUp() override { writeFile(input(), captionedMovie().build()); }

  ProgramResult run(const std::vector<std::string>& words, ProgramOptions options = {}) {
    options.workingDirectory = folder();
    options.programName = "quarrypack-embed";
    options.program = embedProgram();
    return runProgram(words, options);
  }

  // With a limit on the size of files.
  ProgramResult runWithin(std::size_t bytes, const std::vector<std::string>& words) {
    ProgramOptions options;
    options.largestFile = bytes;
    return run(words, options);
  }

  std::set<std::string> filesInFolder() const {
    std::set<std::string> names;
    for (const auto& entry : fs::directory_iterator(folder())) {
      names.insert(entry.path().filename().string());
    }
    return names;
  }

  // A run that must fail says why on standard error, and nothing else.
  void expectFailure(const ProgramResult& result, int status, const std::string& message) {
    EXPECT_EQ(result.status, status);
    EXPECT_EQ(result.out, "");
    EXPECT_NE(result.err.find(message), std::string::npos) << result.err;
    EXPECT_TRUE(result.err.starts_with("quarrypack-embed: ")) << result.err;
  }

  const fs::path& folder() const { return folder_.path(); }
  fs::path input() const { return folder() / "clip.mov"; }
  fs::path output() const { return folder() / "clip.mp4"; }

 private:
  TemporaryFolder folder_;
};

TEST_F(Embed, WritesAVerifiedFilmAndSaysWhatItDid) {
  const Bytes movie = readFile(input());
  const ProgramResult result = run({"clip.mov", "clip.mp4"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.out, kDone);
  EXPECT_EQ(result.err, "");
  EXPECT_TRUE(readFile(input()) == movie);
  EXPECT_EQ(filesInFolder(), (std::set<std::string>{"clip.mov", "clip.mp4"}));
}

TEST_F(Embed, WritesTheSameInEveryRun) {
  ASSERT_EQ(run({"clip.mov", "clip.mp4"}).status, 0);
  ASSERT_EQ(run({"clip.mov", "again.mp4"}).status, 0);
  EXPECT_TRUE(readFile(output()) == readFile(folder() / "again.mp4"));
}

TEST_F(Embed, MayLeaveOutVerification) {
  const ProgramResult result = run({"--no-verify", "clip.mov", "clip.mp4"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.out, "1 caption, 5 pairs in 20 of 20 pictures, no pairs lost, not verified\n");
}

TEST_F(Embed, ShowsUsageAndVersion) {
  const ProgramResult help = run({"--help"});
  EXPECT_EQ(help.status, 0);
  EXPECT_TRUE(help.out.starts_with("Usage: quarrypack-embed [options] INPUT OUTPUT\n"));
  const ProgramResult version = run({"--version"});
  EXPECT_EQ(version.status, 0);
  EXPECT_TRUE(version.out.starts_with("quarrypack-embed "));
}

TEST_F(Embed, EndsWithTwoWhenItIsUsedWrongly) {
  expectFailure(run({}), 2, "one INPUT and one OUTPUT are needed");
  expectFailure(run({"clip.mov"}), 2, "one INPUT and one OUTPUT are needed");
  expectFailure(run({"--unknown", "clip.mov", "clip.mp4"}), 2, "--unknown");
  EXPECT_EQ(filesInFolder(), (std::set<std::string>{"clip.mov"}));
}

TEST_F(Embed, TakesCaptionsFromAFile) {
  writeFile(input(), MovieBuilder({videoTrack({.count = 90})}).build());
  writeFile(folder() / "clip.scc", text("Scenarist_SCC V1.0\r\n\r\n"
                                        "00:00:01:00\t9420 9420 94e0 94e0 c1c2 942f 942f\r\n\r\n"));
  const ProgramResult result = run({"--captions", "clip.scc", "clip.mov", "clip.mp4"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.out, "1 caption, 7 pairs in 90 of 90 pictures, no pairs lost, verified\n");
  EXPECT_EQ(result.err, "");
}

TEST_F(Embed, RefusesAFileWithoutCaptions) {
  writeFile(folder() / "clip.scc", text("no captions here\n"));
  expectFailure(run({"--captions", "clip.scc", "clip.mov", "clip.mp4"}), 1,
                "'clip.scc' has no captions");
  expectFailure(run({"--captions", "none.scc", "clip.mov", "clip.mp4"}), 1, "'none.scc'");
  EXPECT_FALSE(fs::exists(output()));
}

TEST_F(Embed, SaysWhyACaptionFileCannotBeRead) {
  fs::create_directory(folder() / "captions");
  expectFailure(run({"--captions", "captions", "clip.mov", "clip.mp4"}), 1,
                "cannot read 'captions': Is a directory.");
  // Nothing is mapped at its beginning.
  expectFailure(run({"--captions", "/proc/self/mem", "clip.mov", "clip.mp4"}), 1,
                "cannot read '/proc/self/mem': Input/output error.");
  expectFailure(run({"--captions-field2", "none.scc", "clip.mov", "clip.mp4"}), 1,
                "cannot open 'none.scc': No such file or directory.");
  EXPECT_FALSE(fs::exists(output()));
}

TEST_F(Embed, LeavesAnOutputAsItWasWhenTheFilmIsRefused) {
  writeFile(output(), kOldOutput);
  writeFile(input(), MovieBuilder({videoTrack()}).build());
  expectFailure(run({"clip.mov", "clip.mp4"}), 1, "the movie has no caption track");
  expectFailure(run({"nothing.mov", "clip.mp4"}), 1,
                "cannot read 'nothing.mov': No such file or directory.");
  EXPECT_TRUE(readFile(output()) == kOldOutput);
  EXPECT_EQ(filesInFolder(), (std::set<std::string>{"clip.mov", "clip.mp4"}));
}

TEST_F(Embed, LeavesAnOutputAsItWasWhenItCannotBeWritten) {
  writeFile(output(), kOldOutput);
  expectFailure(runWithin(1024, {"clip.mov", "clip.mp4"}), 1,
                "cannot write 'clip.mp4': File too large.");
  EXPECT_TRUE(readFile(output()) == kOldOutput);
  fs::remove(output());
  expectFailure(runWithin(1024, {"clip.mov", "clip.mp4"}), 1,
                "cannot write 'clip.mp4': File too large.");
  EXPECT_EQ(filesInFolder(), (std::set<std::string>{"clip.mov"}));
}

TEST_F(Embed, KeepsALinkAndThePermissionsOfTheFileThatItLeadsTo) {
  fs::create_directory(folder() / "real");
  writeFile(folder() / "real" / "film.mp4", kOldOutput);
  chmod((folder() / "real" / "film.mp4").c_str(), 0640);
  fs::create_symlink("real/film.mp4", output());
  EXPECT_EQ(run({"clip.mov", "clip.mp4"}).status, 0);
  EXPECT_TRUE(fs::is_symlink(output()));
  EXPECT_FALSE(readFile(folder() / "real" / "film.mp4") == kOldOutput);
  EXPECT_EQ(fs::status(folder() / "real" / "film.mp4").permissions(), fs::perms(0640));
  EXPECT_EQ(std::distance(fs::directory_iterator(folder() / "real"), fs::directory_iterator()), 1);
}

TEST_F(Embed, NeverWritesOverItsInput) {
  const Bytes movie = readFile(input());
  fs::create_symlink("clip.mov", folder() / "link.mp4");
  fs::create_hard_link(input(), folder() / "hard.mp4");
  fs::create_symlink(".", folder() / "here");
  for (const char* const name :
       {"clip.mov", "./clip.mov", "link.mp4", "hard.mp4", "here/clip.mov"}) {
    expectFailure(run({"clip.mov", name}), 2, "are the same file");
    expectFailure(run({"--report", "x.json", name, "clip.mov"}), 2, "are the same file");
  }
  fs::create_symlink("clip.mov", folder() / "report.html");
  expectFailure(run({"--report", "report.html", "clip.mov", "clip.mp4"}), 2, "are the same file");
  EXPECT_TRUE(readFile(input()) == movie);
  EXPECT_FALSE(fs::exists(output()));
}

TEST_F(Embed, RefusesCaptionsThatAreThereAlreadyUnlessTheyAreToBeReplaced) {
  ASSERT_EQ(run({"clip.mov", "clip.mp4"}).status, 0);
  writeFile(folder() / "new.scc",
            text("Scenarist_SCC V1.0\r\n\r\n00:00:00:05\t9426 94ad c1c2\r\n"));
  const std::vector<std::string> words = {"--captions", "new.scc", "clip.mp4", "again.mp4"};
  expectFailure(run(words), 1, "Remove these with '--replace'");
  std::vector<std::string> replacing = words;
  replacing.push_back("--replace");
  EXPECT_EQ(run(replacing).status, 0);
}

TEST_F(Embed, WritesReports) {
  EXPECT_EQ(run({"--report", "r.json", "clip.mov", "clip.mp4"}).status, 0);
  const Bytes json = readFile(folder() / "r.json");
  const std::string jsonText(json.begin(), json.end());
  EXPECT_NE(jsonText.find("\"pairs\": 5,"), std::string::npos) << jsonText;
  EXPECT_NE(jsonText.find("\"text\": \"A\""), std::string::npos) << jsonText;
  EXPECT_EQ(run({"--report", "r.html", "clip.mov", "clip.mp4"}).status, 0);
  const Bytes html = readFile(folder() / "r.html");
  const std::string htmlText(html.begin(), html.end());
  EXPECT_NE(htmlText.find("<td data-label=\"Channel\">CC1</td>"), std::string::npos) << htmlText;
  EXPECT_EQ(run({"--report", "r.txt", "clip.mov", "clip.mp4"}).status, 2);
}

class LongEmbedding : public Embed {
 protected:
  // Copying a hole of a gigabyte takes long enough to be stopped in the middle.
  void SetUp() override {
    writeFile(output(), kOldOutput);
    Bytes movie = captionedMovie().build();
    const Bytes free = claimingSize(1u << 30, box("free"));
    movie.insert(movie.end(), free.begin(), free.end());
    writeFile(input(), movie);
    fs::resize_file(input(), movie.size() - free.size() + (std::uintmax_t{1} << 30));
  }

  // Becomes the program; called in a new process.
  [[noreturn]] void becomeProgram() const {
    const std::string program = embedProgram().string();
    const std::string in = input().string();
    const std::string out = output().string();
    stopIgnoringSignals();
    execl(program.c_str(), program.c_str(), in.c_str(), out.c_str(), nullptr);
    _exit(127);
  }

  void waitUntilItWrites(pid_t child) const {
    while (filesInFolder().size() < 3 && waitpid(child, nullptr, WNOHANG) == 0) {
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
  }

  void expectEndedBy(int signal, pid_t child) const {
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFSIGNALED(status));
    EXPECT_EQ(WTERMSIG(status), signal);
    EXPECT_TRUE(readFile(output()) == kOldOutput);
    EXPECT_EQ(filesInFolder(), (std::set<std::string>{"clip.mov", "clip.mp4"}));
  }
};

TEST_F(LongEmbedding, LeavesNothingWhenItIsInterrupted) {
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    const pid_t child = fork();
    if (child == 0) becomeProgram();
    waitUntilItWrites(child);
    kill(child, signal);
    expectEndedBy(signal, child);
  }
}

TEST_F(LongEmbedding, ErasesItsProgressLineWhenItIsInterrupted) {
  int screen = -1;
  const pid_t child = forkpty(&screen, nullptr, nullptr, nullptr);
  if (child == 0) {
    setenv("TERM", "xterm", 1);
    setenv("NO_COLOR", "1", 1);
    // The line is for standard error, as that of the converter.
    dup2(open("/dev/null", O_WRONLY), STDOUT_FILENO);
    becomeProgram();
  }
  ASSERT_GE(child, 0);
  waitUntilItWrites(child);
  // A line is shown for what takes longer than a second, however fast the machine is.
  kill(child, SIGSTOP);
  std::this_thread::sleep_for(std::chrono::milliseconds(1100));
  kill(child, SIGCONT);
  std::string shown;
  std::array<char, 4096> block;
  ssize_t count = 0;
  while ((count = read(screen, block.data(), block.size())) > 0) {
    if (shown.empty()) kill(child, SIGINT);
    shown.append(block.data(), static_cast<std::size_t>(count));
  }
  close(screen);
  expectEndedBy(SIGINT, child);
  constexpr std::string_view kErased = "\r\x1b[K";
  EXPECT_TRUE(shown.starts_with(kErased)) << shown;
  EXPECT_NE(shown.find(" MB/s"), std::string::npos) << shown;
  EXPECT_TRUE(shown.ends_with(kErased)) << shown;
}

}  // namespace
}  // namespace quarrypack::test
