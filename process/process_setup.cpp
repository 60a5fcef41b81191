#include "process/process_setup.h"

#include <fcntl.h>
#include <unistd.h>
#ifdef __GLIBC__
#include <malloc.h>
#endif

#include <cerrno>
#include <csignal>
#include <initializer_list>

namespace quarrypack::process {
namespace {

// The program may be started with some of its three standard streams closed. The next file opened
// would then get the free number, and a message could be written into the movie. So the gaps are
// filled first, with the null device or else the root folder.
void fillStandardDescriptors() {
  for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (::fcntl(descriptor, F_GETFD) != -1 || errno != EBADF) continue;
    if (::open("/dev/null", O_RDWR) == -1) ::open("/", O_RDONLY);
  }
}

// A write to a console whose reader has gone, or past a limit on file sizes, fails like any other.
// It must not end the process in the middle of a file.
void ignoreSignalsOfFailedWrites(LostReader lostReader) {
  if (lostReader == LostReader::failsWrites) std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGXFSZ, SIG_IGN);
}

}  // namespace

void prepareProcess(LostReader lostReader) {
  fillStandardDescriptors();
  ignoreSignalsOfFailedWrites(lostReader);
}

void returnLargeBlocks() {
#ifdef __GLIBC__
  // Setting the limit, which is lower at first, stops it from rising.
  constexpr int kLargeBlock = 1 << 20;
  mallopt(M_MMAP_THRESHOLD, kLargeBlock);
#endif
}

}  // namespace quarrypack::process
