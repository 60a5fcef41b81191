#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <csignal>
#include <fstream>
#include <string>
#include <thread>

#include "tests/behaviour/conversion_run.h"
#include "tests/support/child_signals.h"

namespace quarrypack::test {
namespace {

// A full pipe: a program that prints to it blocks there for as long as a test needs.
class FullPipe {
 public:
  FullPipe() {
    EXPECT_EQ(pipe2(ends_.data(), O_NONBLOCK | O_CLOEXEC), 0);
    const Bytes block = zeros(4096);
    while (write(ends_[1], block.data(), block.size()) > 0) {
    }
    while (write(ends_[1], block.data(), 1) > 0) {
    }
    EXPECT_EQ(fcntl(ends_[1], F_SETFL, 0), 0);
  }
  ~FullPipe() {
    close(ends_[0]);
    close(ends_[1]);
  }
  FullPipe(const FullPipe&) = delete;
  FullPipe& operator=(const FullPipe&) = delete;

  int entrance() const { return ends_[1]; }

 private:
  std::array<int, 2> ends_{};
};

// Whether a process was found waiting several times in a row.
bool isAsleep(pid_t process) {
  for (int i = 0; i < 5; ++i) {
    std::ifstream file("/proc/" + std::to_string(process) + "/stat");
    std::string status;
    std::getline(file, status);
    const std::size_t nameEnd = status.rfind(") ");
    if (nameEnd == std::string::npos || status[nameEnd + 2] != 'S') return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  return true;
}

template <class Condition>
void waitUntil(Condition holds) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
  while (!holds() && std::chrono::steady_clock::now() < end) {
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
}

class InterruptionTest : public ConversionTest {
 protected:
  // Starts a conversion that waits at its progress line, with the output begun.
  pid_t startWaiting() {
    const std::string program = builtProgram().string();
    const std::string in = "--input-file=" + input().string();
    const std::string out = "--output-file=" + output().string();
    const pid_t child = fork();
    if (child == 0) {
      dup2(pipe_.entrance(), STDOUT_FILENO);
      stopIgnoringSignals();
      execl(program.c_str(), program.c_str(), in.c_str(), out.c_str(), nullptr);
      _exit(127);
    }
    waitUntil([&] { return std::filesystem::exists(output()) && isAsleep(child); });
    return child;
  }

 private:
  FullPipe pipe_;
};

TEST_F(InterruptionTest, LeavesTheInputAndNoOutput) {
  const Bytes movie = MovieBuilder({videoTrack(), captionTrack()}).build();
  for (const int signal : {SIGINT, SIGTERM}) {
    writeFile(input(), movie);
    const pid_t child = startWaiting();
    EXPECT_TRUE(std::filesystem::exists(output()));
    kill(child, signal);
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_TRUE(WIFSIGNALED(status));
    EXPECT_EQ(WTERMSIG(status), signal);
    EXPECT_FALSE(std::filesystem::exists(output()));
    EXPECT_TRUE(readFile(input()) == movie);
  }
}

}  // namespace
}  // namespace quarrypack::test
