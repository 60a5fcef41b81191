// The progress line of the program as a whole: on a terminal, and nowhere else.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "tests/behaviour/conversion_run.h"

namespace quarrypack::test {
namespace {

using namespace std::chrono_literals;

constexpr const char* kLineBegins = "\r\x1b[K";

struct TerminalRun {
  int status = -1;
  std::string terminal;  // standard error, as sent to the terminal
  std::string out;       // standard output, a pipe
};

// Runs the program with a terminal as its standard error. Its standard output is a pipe that is
// full and is not read at first, so the program blocks at its first message. That makes every
// conversion as long as a test needs, on any machine.
class ProgressOnTerminal : public ConversionTest {
 protected:
  TerminalRun run(const MovieBuilder& movie, std::chrono::milliseconds waiting,
                  const char* term = "xterm", bool noColour = true) {
    writeFile(input(), movie.build());
    const int screen = ::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (screen < 0 || ::grantpt(screen) != 0 || ::unlockpt(screen) != 0) std::abort();
    const int terminal = ::open(::ptsname(screen), O_RDWR | O_NOCTTY | O_CLOEXEC);
    std::array<int, 2> ends{};
    if (terminal < 0 || ::pipe2(ends.data(), O_CLOEXEC) != 0) std::abort();
    const int room = ::fcntl(ends[1], F_SETPIPE_SZ, 4096);
    if (room <= 0) std::abort();
    const std::string filling(static_cast<std::size_t>(room), '.');
    if (::write(ends[1], filling.data(), filling.size()) != room) std::abort();

    const std::string program = std::filesystem::absolute(builtProgram()).string();
    const std::string from = input().string();
    const std::string to = output().string();
    const pid_t child = ::fork();
    if (child < 0) std::abort();
    if (child == 0) {
      ::dup2(ends[1], STDOUT_FILENO);
      ::dup2(terminal, STDERR_FILENO);
      ::setenv("TERM", term, 1);
      ::unsetenv("NO_COLOR");
      if (noColour) ::setenv("NO_COLOR", "1", 1);
      ::execl(program.c_str(), "quarrypack", "--input-file", from.c_str(), "--output-file",
              to.c_str(), nullptr);
      ::_exit(127);
    }
    ::close(ends[1]);
    ::close(terminal);
    std::this_thread::sleep_for(waiting);
    TerminalRun result;
    result.out = readToEnd(ends[0]).substr(filling.size());
    result.terminal = readToEnd(screen);
    ::close(ends[0]);
    ::close(screen);
    int state = 0;
    while (::waitpid(child, &state, 0) < 0 && errno == EINTR) {
    }
    if (WIFEXITED(state)) result.status = WEXITSTATUS(state);
    return result;
  }

  static MovieBuilder movie() {
    return MovieBuilder({videoTrack({.count = 100}), captionTrack(10)});
  }

 private:
  static std::string readToEnd(int descriptor) {
    std::string text;
    std::array<char, 4096> block;
    for (;;) {
      const ssize_t count = ::read(descriptor, block.data(), block.size());
      if (count < 0 && errno == EINTR) continue;
      // A terminal whose program has ended returns an error.
      if (count <= 0) return text;
      text.append(block.data(), static_cast<std::size_t>(count));
    }
  }
};

TEST_F(ProgressOnTerminal, AppearsInALongConversionAndIsErased) {
  const TerminalRun run = this->run(movie(), 1500ms);
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.out, progressLine());
  ASSERT_EQ(run.terminal.rfind(kLineBegins, 0), 0U) << run.terminal;
  EXPECT_NE(run.terminal.find(" MB/s  "), std::string::npos);
  EXPECT_NE(run.terminal.find(" left  "), std::string::npos);
  EXPECT_NE(run.terminal.find(" placed\r"), std::string::npos);
  EXPECT_EQ(run.terminal.substr(run.terminal.size() - 4), kLineBegins);
  EXPECT_EQ(run.terminal.find('\n'), std::string::npos);
}

TEST_F(ProgressOnTerminal, StaysAwayFromAShortConversion) {
  const TerminalRun run = this->run(movie(), 0ms);
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.terminal, "");
}

TEST_F(ProgressOnTerminal, StaysAwayFromADumbTerminal) {
  EXPECT_EQ(run(movie(), 1500ms, "dumb").terminal, "");
}

TEST_F(ProgressOnTerminal, HasColourOnlyWhereItIsWanted) {
  EXPECT_NE(run(movie(), 1500ms, "xterm", false).terminal.find("\x1b[2m"), std::string::npos);
  EXPECT_EQ(run(movie(), 1500ms, "xterm", true).terminal.find("\x1b[2m"), std::string::npos);
}

TEST_F(ProgressOnTerminal, IsErasedBeforeTheMessageOfAFailure) {
  MovieBuilder broken = movie();
  // The last picture lies past the end of the file.
  broken.moovFirst();
  broken.order.assign({"ftyp", "moov", "mdat"});
  broken.change("moov/trak[1]/mdia/minf/stbl/stco", [](const Bytes& box) {
    Bytes changed = box;
    changed[changed.size() - 4] = 0x7F;
    return changed;
  });
  const TerminalRun run = this->run(broken, 1500ms);
  EXPECT_EQ(run.status, 1);
  ASSERT_EQ(run.terminal.rfind(kLineBegins, 0), 0U) << run.terminal;
  const std::size_t message = run.terminal.find("quarrypack::Caught");
  ASSERT_NE(message, std::string::npos) << run.terminal;
  EXPECT_EQ(run.terminal.substr(message - 4, 4), kLineBegins);
}

TEST_F(ProgressOnTerminal, SendsNotAByteIntoAPipe) { EXPECT_EQ(convert(movie()).program.err, ""); }

}  // namespace
}  // namespace quarrypack::test
