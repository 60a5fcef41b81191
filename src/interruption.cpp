#include "src/interruption.h"

#include <sys/stat.h>
#include <unistd.h>

#include "src/progress_line.h"

namespace quarrypack {
namespace {

// What the handler removes. It is set before a handler is in place and does not change while one
// is, so the handler always finds it whole.
struct Target {
  const char* path = nullptr;
  dev_t device = 0;
  ino_t inode = 0;
};
Target target;

bool isTarget(const struct stat& status) {
  return status.st_dev == target.device && status.st_ino == target.inode;
}

// Only calls that are safe while anything else may have been interrupted, memory management
// included. The default action is back in place by now and the signal is held off until the end of
// the handler, so that raising it again ends the process right behind it.
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
    // Through a link, the file behind it is removed.
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

}  // namespace quarrypack
