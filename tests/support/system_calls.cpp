#include "tests/support/system_calls.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <map>
#include <optional>

namespace quarrypack::test {

namespace {

enum class Fault { none, fails, isShort, kills };

struct State {
  bool isRecording = false;
  std::array<std::size_t, kSystemCalls> counts{};
  std::vector<RecordedCall> calls;
  std::map<int, std::string> paths;  // of open descriptors

  Fault fault = Fault::none;
  std::optional<SystemCall> faulty;  // none: any
  std::size_t callsUntilFault = 0;
  int errorNumber = 0;
  bool met = false;
  RecordedCall metBy{};
};
State state;

enum class Verdict { pass, fail, shorten };

Verdict judge(SystemCall call, const char* path) {
  ++state.counts[static_cast<std::size_t>(call)];
  if (state.isRecording) state.calls.push_back({call, path});
  if (state.faulty && call != *state.faulty) return Verdict::pass;
  if (state.callsUntilFault == 0 || --state.callsUntilFault > 0) return Verdict::pass;
  state.met = true;
  if (state.isRecording) state.metBy = state.calls.back();
  if (state.fault == Fault::kills) raise(SIGKILL);
  errno = state.errorNumber;
  return state.fault == Fault::isShort ? Verdict::shorten : Verdict::fail;
}

Verdict judge(SystemCall call, int descriptor) {
  const auto found = state.paths.find(descriptor);
  return judge(call, found == state.paths.end() ? "" : found->second.c_str());
}

void arm(Fault fault, std::optional<SystemCall> call, std::size_t k, int errorNumber) {
  state.fault = fault;
  state.faulty = call;
  state.callsUntilFault = k;
  state.errorNumber = errorNumber;
  state.met = false;
}

}  // namespace

void resetSystemCalls() { state = State(); }

std::size_t systemCallCount(SystemCall call) {
  return state.counts[static_cast<std::size_t>(call)];
}

void recordSystemCalls() { state.isRecording = true; }

std::vector<RecordedCall> recordedSystemCalls() { return state.calls; }

void failSystemCall(SystemCall call, std::size_t k, int errorNumber) {
  arm(Fault::fails, call, k, errorNumber);
}

void failAnySystemCall(std::size_t k, int errorNumber) {
  arm(Fault::fails, std::nullopt, k, errorNumber);
}

void shortenSystemCall(SystemCall call, std::size_t k) { arm(Fault::isShort, call, k, 0); }

void killAtSystemCall(std::size_t k) { arm(Fault::kills, std::nullopt, k, 0); }

bool systemFaultWasMet() { return state.met; }

RecordedCall faultySystemCall() { return state.metBy; }

}  // namespace quarrypack::test

using quarrypack::test::judge;
using quarrypack::test::state;
using quarrypack::test::SystemCall;
using quarrypack::test::Verdict;

// The names are given by the linker's --wrap option.
// NOLINTBEGIN(bugprone-reserved-identifier)

// Declares both functions of a call with a wide offset or date. On 32 bits glibc links such a call
// under another name than that of the source.
#ifdef __LP64__
#define QUARRYPACK_LINKED_AS(name)
#else
#define QUARRYPACK_LINKED_AS(name) __asm__(name)
#endif
#define QUARRYPACK_WIDE_CALL(result, call, linkedAs, ...)                     \
  result __real_##call(__VA_ARGS__) QUARRYPACK_LINKED_AS("__real_" linkedAs); \
  result __wrap_##call(__VA_ARGS__) QUARRYPACK_LINKED_AS("__wrap_" linkedAs)

extern "C" {

int __real_close(int descriptor);
ssize_t __real_write(int descriptor, const void* buffer, size_t count);
int __real_rename(const char* from, const char* to);
int __real_unlink(const char* path);
int __real_fchmod(int descriptor, mode_t mode);
int __real_faccessat(int folder, const char* path, int mode, int flags);
ssize_t __real_readlink(const char* path, char* buffer, size_t size);
QUARRYPACK_WIDE_CALL(int, open, "open64", const char*, int, ...);
QUARRYPACK_WIDE_CALL(ssize_t, pread, "pread64", int, void*, size_t, off_t);
QUARRYPACK_WIDE_CALL(ssize_t, pwrite, "pwrite64", int, const void*, size_t, off_t);
QUARRYPACK_WIDE_CALL(ssize_t, pwritev, "pwritev64", int, const iovec*, int, off_t);
QUARRYPACK_WIDE_CALL(int, ftruncate, "ftruncate64", int, off_t);
QUARRYPACK_WIDE_CALL(int, stat, "__stat64_time64", const char*, struct stat*);
QUARRYPACK_WIDE_CALL(int, lstat, "__lstat64_time64", const char*, struct stat*);
QUARRYPACK_WIDE_CALL(int, fstat, "__fstat64_time64", int, struct stat*);

int __wrap_open(const char* path, int flags, ...) {
  mode_t mode = 0;
  if ((flags & O_CREAT) != 0) {
    va_list rest;
    va_start(rest, flags);
    mode = va_arg(rest, mode_t);
    va_end(rest);
  }
  if (judge(SystemCall::open, path) != Verdict::pass) return -1;
  const int descriptor = __real_open(path, flags, mode);
  if (descriptor >= 0 && state.isRecording) state.paths[descriptor] = path;
  return descriptor;
}

// A close that fails has closed the descriptor all the same.
int __wrap_close(int descriptor) {
  const bool fails = judge(SystemCall::close, descriptor) != Verdict::pass;
  const int errorNumber = errno;
  state.paths.erase(descriptor);
  const int result = __real_close(descriptor);
  if (!fails) return result;
  errno = errorNumber;
  return -1;
}

ssize_t __wrap_pread(int descriptor, void* buffer, size_t count, off_t offset) {
  const Verdict verdict = judge(SystemCall::read, descriptor);
  if (verdict == Verdict::fail) return -1;
  return __real_pread(descriptor, buffer, verdict == Verdict::shorten ? (count + 1) / 2 : count,
                      offset);
}

ssize_t __wrap_write(int descriptor, const void* buffer, size_t count) {
  const Verdict verdict = judge(SystemCall::write, descriptor);
  if (verdict == Verdict::fail) return -1;
  return __real_write(descriptor, buffer, verdict == Verdict::shorten ? (count + 1) / 2 : count);
}

ssize_t __wrap_pwrite(int descriptor, const void* buffer, size_t count, off_t offset) {
  const Verdict verdict = judge(SystemCall::write, descriptor);
  if (verdict == Verdict::fail) return -1;
  return __real_pwrite(descriptor, buffer, verdict == Verdict::shorten ? (count + 1) / 2 : count,
                       offset);
}

// A short transfer ends within the last part.
ssize_t __wrap_pwritev(int descriptor, const iovec* parts, int count, off_t offset) {
  const Verdict verdict = judge(SystemCall::write, descriptor);
  if (verdict == Verdict::fail) return -1;
  if (verdict == Verdict::pass) return __real_pwritev(descriptor, parts, count, offset);
  std::array<iovec, 2> shorter = {parts[0], parts[1]};
  shorter[1].iov_len = (shorter[1].iov_len + 1) / 2;
  return __real_pwritev(descriptor, shorter.data(), count, offset);
}

int __wrap_ftruncate(int descriptor, off_t length) {
  if (judge(SystemCall::setLength, descriptor) != Verdict::pass) return -1;
  return __real_ftruncate(descriptor, length);
}

// The files of tests need not reach the disk, and waiting for it takes long.
int __wrap_fsync(int descriptor) {
  return judge(SystemCall::synchronize, descriptor) == Verdict::pass ? 0 : -1;
}

int __wrap_rename(const char* from, const char* to) {
  return judge(SystemCall::rename, from) == Verdict::pass ? __real_rename(from, to) : -1;
}

int __wrap_unlink(const char* path) {
  return judge(SystemCall::remove, path) == Verdict::pass ? __real_unlink(path) : -1;
}

int __wrap_fchmod(int descriptor, mode_t mode) {
  if (judge(SystemCall::setPermissions, descriptor) != Verdict::pass) return -1;
  return __real_fchmod(descriptor, mode);
}

int __wrap_stat(const char* path, struct stat* status) {
  return judge(SystemCall::examine, path) == Verdict::pass ? __real_stat(path, status) : -1;
}

int __wrap_lstat(const char* path, struct stat* status) {
  return judge(SystemCall::examine, path) == Verdict::pass ? __real_lstat(path, status) : -1;
}

int __wrap_fstat(int descriptor, struct stat* status) {
  if (judge(SystemCall::examine, descriptor) != Verdict::pass) return -1;
  return __real_fstat(descriptor, status);
}

int __wrap_faccessat(int folder, const char* path, int mode, int flags) {
  if (judge(SystemCall::examine, path) != Verdict::pass) return -1;
  return __real_faccessat(folder, path, mode, flags);
}

ssize_t __wrap_readlink(const char* path, char* buffer, size_t size) {
  if (judge(SystemCall::examine, path) != Verdict::pass) return -1;
  return __real_readlink(path, buffer, size);
}

}  // extern "C"
// NOLINTEND(bugprone-reserved-identifier)
