#include "companions/output_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <cstddef>
#include <fstream>
#include <iostream>
#include <iterator>
#include <optional>
#include <span>
#include <system_error>

namespace quarrypack::companions {

namespace {

[[noreturn]] void fail(const std::string& what, const std::string& path, int error = errno) {
  throw FileError(what + " '" + path + "': " + std::generic_category().message(error));
}

std::optional<struct stat> statusOf(const std::string& path) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) return std::nullopt;
  return status;
}

std::string folderOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  return slash == std::string::npos ? "" : path.substr(0, slash + 1);
}

std::string nameOf(const std::string& path) { return path.substr(folderOf(path).size()); }

// The final target of a path, even if nothing exists there yet.
std::string withoutLinks(std::string path) {
  constexpr int kMostLinks = 40;
  std::array<char, PATH_MAX> buffer;
  for (int i = 0; i < kMostLinks; ++i) {
    const ssize_t length = readlink(path.c_str(), buffer.data(), buffer.size());
    if (length < 0) return path;
    const std::string link(buffer.data(), static_cast<std::size_t>(length));
    path = link.starts_with('/') ? link : folderOf(path) + link;
  }
  fail("cannot follow the links of", path, ELOOP);
}

// What the handler removes. It is set while the signals are blocked.
const char* pendingPath = nullptr;

// Makes only async-signal-safe calls. The default action is restored by now, so raising the signal
// again ends the process after the handler.
extern "C" void removeTemporaryAndEnd(int signal) {
  if (pendingPath != nullptr) unlink(pendingPath);
  raise(signal);
}

// Blocks signals while it lives.
class SignalsHeld {
 public:
  explicit SignalsHeld(std::span<const int> signals) {
    sigset_t set;
    sigemptyset(&set);
    for (const int signal : signals) sigaddset(&set, signal);
    sigprocmask(SIG_BLOCK, &set, &before_);
  }
  ~SignalsHeld() { sigprocmask(SIG_SETMASK, &before_, nullptr); }
  SignalsHeld(const SignalsHeld&) = delete;
  SignalsHeld& operator=(const SignalsHeld&) = delete;

 private:
  sigset_t before_{};
};

}  // namespace

bool areSameFile(const std::string& first, const std::string& second) {
  const auto a = statusOf(first);
  const auto b = statusOf(second);
  return a && b && a->st_dev == b->st_dev && a->st_ino == b->st_ino;
}

OutputFile::OutputFile(const std::string& path) : target_(withoutLinks(path)) {
  const auto status = statusOf(target_);
  if (nameOf(target_).empty() || (status && !S_ISREG(status->st_mode))) {
    throw FileError("'" + path + "' is not a file that can be replaced");
  }
  const SignalsHeld held(kSignals);
  create();
  takeSignals();
}

void OutputFile::create() {
  constexpr int kMostTries = 1000;
  constexpr mode_t kNewFile = 0666;
  constexpr mode_t kPermissions = 0777;
  constexpr std::size_t kLongestName = 200;
  const auto replaced = statusOf(target_);
  if (replaced && faccessat(AT_FDCWD, target_.c_str(), W_OK, AT_EACCESS) != 0)
    fail("cannot write to", target_);
  const std::string start = folderOf(target_) + '.' + nameOf(target_).substr(0, kLongestName) +
                            '.' + std::to_string(getpid()) + '.';
  for (int i = 0; i < kMostTries && descriptor_ < 0; ++i) {
    temporary_ = start + std::to_string(i) + ".tmp";
    // The permissions of a secret file are never wider, not even for a moment.
    const mode_t mode = replaced ? S_IRUSR | S_IWUSR : kNewFile;
    descriptor_ = open(temporary_.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, mode);
    if (descriptor_ < 0 && errno != EEXIST) fail("cannot create", temporary_);
  }
  if (descriptor_ < 0) fail("cannot create", temporary_, EEXIST);
  isPending_ = true;
  if (replaced && fchmod(descriptor_, replaced->st_mode & kPermissions) != 0) {
    const int error = errno;
    close(descriptor_);
    unlink(temporary_.c_str());
    fail("cannot set the permissions of", temporary_, error);
  }
}

void OutputFile::takeSignals() {
  pendingPath = temporary_.c_str();
  for (std::size_t i = 0; i < std::size(kSignals); ++i) {
    if (sigaction(kSignals[i], nullptr, &before_[i]) != 0) continue;
    if (before_[i].sa_handler != SIG_DFL) continue;
    struct sigaction action {};
    action.sa_handler = removeTemporaryAndEnd;
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    for (const int signal : kSignals) sigaddset(&action.sa_mask, signal);
    sigaction(kSignals[i], &action, nullptr);
  }
}

void OutputFile::giveSignalsBack() {
  for (std::size_t i = 0; i < std::size(kSignals); ++i) {
    sigaction(kSignals[i], &before_[i], nullptr);
  }
  pendingPath = nullptr;
}

void OutputFile::commit() {
  const SignalsHeld held(kSignals);
  if (fsync(descriptor_) != 0) fail("cannot write", temporary_);
  if (rename(temporary_.c_str(), target_.c_str()) != 0) fail("cannot replace", target_);
  isPending_ = false;
  giveSignalsBack();
  // The new name exists; a folder that cannot be synchronized does not undo it.
  const std::string folder = folderOf(target_).empty() ? "." : folderOf(target_);
  const int opened = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (opened < 0) return;
  fsync(opened);
  close(opened);
}

OutputFile::~OutputFile() {
  const SignalsHeld held(kSignals);
  if (isPending_) {
    unlink(temporary_.c_str());
    giveSignalsBack();
  }
  close(descriptor_);
}

void writeTextFile(const std::string& path, const WriteText& write) {
  OutputFile file(path);
  errno = 0;
  std::ofstream out(file.temporaryPath(), std::ios::binary | std::ios::trunc);
  write(out);
  out.close();
  if (!out) fail("cannot write to", path);
  file.commit();
}

void writeStandardOutput(const WriteText& write) {
  errno = 0;
  write(std::cout);
  if (std::cout.flush()) return;
  throw FileError("cannot write to standard output: " + std::generic_category().message(errno));
}

}  // namespace quarrypack::companions
