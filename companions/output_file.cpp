#include "companions/output_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <cstddef>
#include <iterator>
#include <optional>
#include <span>
#include <streambuf>
#include <string_view>
#include <system_error>
#include <utility>

#include "process/progress_line.h"

namespace quarrypack::companions {

namespace {

std::string textOf(int error) { return std::generic_category().message(error); }

[[noreturn]] void fail(const std::string& what, const std::string& path, int error = errno) {
  throw FileError(what + " '" + path + "': " + textOf(error));
}

// Repeats a call that a signal interrupts.
template <class Call>
int uninterrupted(Call call) {
  for (;;) {
    const int result = call();
    if (result >= 0 || errno != EINTR) return result;
  }
}

bool isMissing(int error) { return error == ENOENT || error == ENOTDIR; }

// Nothing for a file that does not exist. A file that cannot be examined does not count as missing,
// because it may be the input.
std::optional<struct stat> statusOf(const std::string& path) {
  struct stat status {};
  if (uninterrupted([&] { return stat(path.c_str(), &status); }) == 0) return status;
  if (!isMissing(errno)) fail("cannot examine", path);
  return std::nullopt;
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
    if (length < 0 && errno == EINTR) continue;
    if (length < 0 && errno != EINVAL && !isMissing(errno)) fail("cannot examine", path);
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
  process::eraseProgressFromHandler();
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

OutputFile::OutputFile(const std::string& path) : path_(path), target_(withoutLinks(path)) {
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
  const auto check = [&] { return faccessat(AT_FDCWD, target_.c_str(), W_OK, AT_EACCESS); };
  if (replaced && uninterrupted(check) != 0) fail("cannot write to", path_);
  const std::string start = folderOf(target_) + '.' + nameOf(target_).substr(0, kLongestName) +
                            '.' + std::to_string(getpid()) + '.';
  for (int i = 0; i < kMostTries && descriptor_ < 0; ++i) {
    temporary_ = start + std::to_string(i) + ".tmp";
    // The permissions of a secret file are never wider, not even for a moment.
    const mode_t mode = replaced ? S_IRUSR | S_IWUSR : kNewFile;
    descriptor_ = uninterrupted(
        [&] { return open(temporary_.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, mode); });
    if (descriptor_ < 0 && errno != EEXIST) fail("cannot create", temporary_);
  }
  if (descriptor_ < 0) fail("cannot create", temporary_, EEXIST);
  isPending_ = true;
  const auto copyPermissions = [&] {
    return fchmod(descriptor_, replaced->st_mode & kPermissions);
  };
  if (replaced && uninterrupted(copyPermissions) != 0) {
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

void OutputFile::writtenUpTo(std::uint64_t position) {
  // Long runs, which a disk writes fastest.
  constexpr std::uint64_t kRun = std::uint64_t{8} << 20;
  if (position < handedOver_ + kRun) return;
#ifdef __linux__
  sync_file_range(descriptor_, static_cast<off64_t>(handedOver_),
                  static_cast<off64_t>(position - handedOver_), SYNC_FILE_RANGE_WRITE);
#endif
  handedOver_ = position;
}

void OutputFile::commit() {
  // Nothing may fail after the renaming.
  const std::string folder = folderOf(target_).empty() ? "." : folderOf(target_);
  const SignalsHeld held(kSignals);
  if (uninterrupted([&] { return fsync(descriptor_); }) != 0) fail("cannot write", path_);
  const auto replace = [&] { return rename(temporary_.c_str(), target_.c_str()); };
  if (uninterrupted(replace) != 0) fail("cannot replace", path_);
  isPending_ = false;
  giveSignalsBack();
  // The new name exists, and both files are whole. A folder that cannot be synchronized changes
  // nothing about that: after a power failure the name may refer to the old file again, no more.
  // Some file systems cannot synchronize folders at all, so a message would alarm without a cause.
  const int opened =
      uninterrupted([&] { return open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC); });
  if (opened < 0) return;
  uninterrupted([&] { return fsync(opened); });
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

namespace {

// Writes the text of a stream to a descriptor. Throws FileError through the stream.
class DescriptorBuffer final : public std::streambuf {
 public:
  DescriptorBuffer(int descriptor, std::string name)
      : descriptor_(descriptor), name_(std::move(name)) {
    setp(buffer_.data(), buffer_.data() + buffer_.size());
  }

 private:
  int_type overflow(int_type c) override {
    sync();
    if (traits_type::eq_int_type(c, traits_type::eof())) return traits_type::not_eof(c);
    return sputc(traits_type::to_char_type(c));
  }

  int sync() override {
    std::string_view rest(pbase(), static_cast<std::size_t>(pptr() - pbase()));
    while (!rest.empty()) {
      const ssize_t count = write(descriptor_, rest.data(), rest.size());
      if (count < 0 && errno == EINTR) continue;
      if (count <= 0)
        throw FileError("cannot write to " + name_ + ": " + textOf(count < 0 ? errno : EIO));
      rest.remove_prefix(static_cast<std::size_t>(count));
    }
    setp(buffer_.data(), buffer_.data() + buffer_.size());
    return 0;
  }

  int descriptor_;
  std::string name_;
  std::array<char, 16384> buffer_;
};

void writeText(int descriptor, const std::string& name, const WriteText& write) {
  DescriptorBuffer buffer(descriptor, name);
  std::ostream out(&buffer);
  // Lets the stream pass on what its buffer throws.
  out.exceptions(std::ios::badbit);
  try {
    write(out);
    out.flush();
  } catch (const std::ios::failure&) {
    throw FileError("cannot write to " + name);
  }
}

}  // namespace

void writeTextFile(const std::string& path, const WriteText& write) {
  OutputFile file(path);
  writeText(file.descriptor(), '\'' + path + '\'', write);
  file.commit();
}

void writeStandardOutput(const WriteText& write) {
  writeText(STDOUT_FILENO, "standard output", write);
}

}  // namespace quarrypack::companions
