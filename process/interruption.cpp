#include "process/interruption.h"

#include <sys/stat.h>
#include <unistd.h>

#include "process/progress_line.h"

namespace quarrypack::process {
namespace {

// What the handler removes. It is set before a handler is installed and does not change while one
// is, so the handler always sees it complete.
struct Target {
  const char* path = nullptr;
  dev_t device = 0;
  ino_t inode = 0;
};
Target target;

bool isTarget(const struct stat& status) {
  return status.st_dev == target.device && status.st_ino == target.inode;
}

// Makes only async-signal-safe calls; memory management may have been interrupted. By now the
// default action is restored and the signal is blocked until the handler returns, so raising it
// again ends the process immediately after that.
extern "C" void removeAndEnd(int signal) {
  struct stat status;
  if (lstat(target.path, &status) == 0 && isTarget(status)) unlink(target.path);
  eraseProgressFromHandler();
  raise(signal);
}

void takeOver(int signal, struct sigaction& before) {
  if (sigaction(signal, nullptr, &before) != 0 || before.sa_handler != SIG_DFL) return;
  struct sigaction action {};
  action.sa_handler = removeAndEnd;
  action.sa_flags = static_cast<int>(SA_RESETHAND);
  sigaddset(&action.sa_mask, SIGINT);
  sigaddset(&action.sa_mask, SIGTERM);
  sigaction(signal, &action, nullptr);
}

}  // namespace

RemovalOnInterruption::RemovalOnInterruption(const std::string& path)
    // For a symbolic link, the file that it points to is removed.
    : path_(realpath(path.c_str(), nullptr)) {
  struct stat status;
  if (path_ == nullptr || lstat(path_.get(), &status) != 0) return;
  target = {path_.get(), status.st_dev, status.st_ino};
  takeOver(SIGINT, beforeInterrupt_);
  takeOver(SIGTERM, beforeTerminate_);
}

RemovalOnInterruption::~RemovalOnInterruption() {
  if (target.path == nullptr) return;
  sigaction(SIGINT, &beforeInterrupt_, nullptr);
  sigaction(SIGTERM, &beforeTerminate_, nullptr);
  target = {};
}

}  // namespace quarrypack::process
