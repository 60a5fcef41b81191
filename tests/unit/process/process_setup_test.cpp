#include "process/process_setup.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <initializer_list>

namespace quarrypack::process {
namespace {

bool isNullDevice(int descriptor) {
  struct stat null {};
  struct stat seen {};
  return ::stat("/dev/null", &null) == 0 && ::fstat(descriptor, &seen) == 0 &&
         S_ISCHR(seen.st_mode) && seen.st_rdev == null.st_rdev;
}

// Runs in a child process: its changes cannot be undone. Its status is the first descriptor
// that is not as expected, or 10 if all are.
[[noreturn]] void prepareWithClosed(std::initializer_list<int> closed) {
  for (const int descriptor : closed) ::close(descriptor);
  prepareProcess();
  for (const int descriptor : closed) {
    if (!isNullDevice(descriptor)) ::_exit(descriptor);
  }
  const int next = ::open("/", O_RDONLY);
  ::_exit(next > STDERR_FILENO ? 10 : next);
}

TEST(ProcessSetupDeathTest, OpensMissingStandardDescriptorsOnTheNullDevice) {
  EXPECT_EXIT(prepareWithClosed({0}), testing::ExitedWithCode(10), "");
  EXPECT_EXIT(prepareWithClosed({1}), testing::ExitedWithCode(10), "");
  EXPECT_EXIT(prepareWithClosed({2}), testing::ExitedWithCode(10), "");
  EXPECT_EXIT(prepareWithClosed({0, 2}), testing::ExitedWithCode(10), "");
  EXPECT_EXIT(prepareWithClosed({0, 1, 2}), testing::ExitedWithCode(10), "");
}

TEST(ProcessSetupDeathTest, LeavesOpenDescriptorsAlone) {
  EXPECT_EXIT(
      {
        const int file = ::open("/", O_RDONLY);
        for (const int descriptor : {0, 1, 2}) ::dup2(file, descriptor);
        prepareProcess();
        for (const int descriptor : {0, 1, 2}) {
          if (isNullDevice(descriptor)) ::_exit(descriptor);
        }
        ::_exit(10);
      },
      testing::ExitedWithCode(10), "");
}

TEST(ProcessSetupDeathTest, OutlivesTheSignalsOfFailedWrites) {
  EXPECT_EXIT(
      {
        prepareProcess();
        std::raise(SIGPIPE);
        std::raise(SIGXFSZ);
        ::_exit(10);
      },
      testing::ExitedWithCode(10), "");
}

TEST(ProcessSetupDeathTest, LetsAFilterEndWithItsReader) {
  EXPECT_EXIT(
      {
        prepareProcess(LostReader::endsProcess);
        std::raise(SIGXFSZ);
        std::raise(SIGPIPE);
        ::_exit(10);
      },
      testing::KilledBySignal(SIGPIPE), "");
}

}  // namespace
}  // namespace quarrypack::process
