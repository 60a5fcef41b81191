#include "tests/unit/kaf/system_calls.h"

#include <fcntl.h>
#include <sys/uio.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdarg>

namespace quarrypack::test {

namespace {

struct State {
  std::array<std::size_t, 5> counts{};
  SystemCall faulty = SystemCall::open;
  std::size_t callsUntilFault = 0;
  int errorNumber = 0;  // 0 means a short transfer
  bool met = false;
};
State state;

enum class Verdict { pass, fail, shorten };

Verdict judge(SystemCall call) {
  ++state.counts[static_cast<std::size_t>(call)];
  if (call != state.faulty || state.callsUntilFault == 0 || --state.callsUntilFault > 0) {
    return Verdict::pass;
  }
  state.met = true;
  errno = state.errorNumber;
  return state.errorNumber == 0 ? Verdict::shorten : Verdict::fail;
}

}  // namespace

void resetSystemCalls() { state = State(); }

std::size_t systemCallCount(SystemCall call) {
  return state.counts[static_cast<std::size_t>(call)];
}

void failSystemCall(SystemCall call, std::size_t k, int errorNumber) {
  state.faulty = call;
  state.callsUntilFault = k;
  state.errorNumber = errorNumber;
  state.met = false;
}

void shortenSystemCall(SystemCall call, std::size_t k) { failSystemCall(call, k, 0); }

bool systemFaultWasMet() { return state.met; }

}  // namespace quarrypack::test

using quarrypack::test::judge;
using quarrypack::test::SystemCall;
using quarrypack::test::Verdict;

// The names are given by the linker's --wrap option.
// NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" {

int __real_open(const char* path, int flags, ...);
int __real_close(int descriptor);
ssize_t __real_pread(int descriptor, void* buffer, size_t count, off_t offset);
ssize_t __real_pwrite(int descriptor, const void* buffer, size_t count, off_t offset);
ssize_t __real_pwritev(int descriptor, const iovec* parts, int count, off_t offset);
int __real_ftruncate(int descriptor, off_t length);

int __wrap_open(const char* path, int flags, ...) {
  mode_t mode = 0;
  if ((flags & O_CREAT) != 0) {
    va_list rest;
    va_start(rest, flags);
    mode = va_arg(rest, mode_t);
    va_end(rest);
  }
  return judge(SystemCall::open) == Verdict::pass ? __real_open(path, flags, mode) : -1;
}

// A failing close has closed all the same.
int __wrap_close(int descriptor) {
  const bool fails = judge(SystemCall::close) != Verdict::pass;
  const int errorNumber = errno;
  const int result = __real_close(descriptor);
  if (!fails) return result;
  errno = errorNumber;
  return -1;
}

ssize_t __wrap_pread(int descriptor, void* buffer, size_t count, off_t offset) {
  const Verdict verdict = judge(SystemCall::read);
  if (verdict == Verdict::fail) return -1;
  return __real_pread(descriptor, buffer, verdict == Verdict::shorten ? (count + 1) / 2 : count,
                      offset);
}

ssize_t __wrap_pwrite(int descriptor, const void* buffer, size_t count, off_t offset) {
  const Verdict verdict = judge(SystemCall::write);
  if (verdict == Verdict::fail) return -1;
  return __real_pwrite(descriptor, buffer, verdict == Verdict::shorten ? (count + 1) / 2 : count,
                       offset);
}

// A short transfer ends within the last part.
ssize_t __wrap_pwritev(int descriptor, const iovec* parts, int count, off_t offset) {
  const Verdict verdict = judge(SystemCall::write);
  if (verdict == Verdict::fail) return -1;
  if (verdict == Verdict::pass) return __real_pwritev(descriptor, parts, count, offset);
  std::array<iovec, 2> shorter = {parts[0], parts[1]};
  shorter[1].iov_len = (shorter[1].iov_len + 1) / 2;
  return __real_pwritev(descriptor, shorter.data(), count, offset);
}

int __wrap_ftruncate(int descriptor, off_t length) {
  return judge(SystemCall::setLength) == Verdict::pass ? __real_ftruncate(descriptor, length) : -1;
}

}  // extern "C"
// NOLINTEND(bugprone-reserved-identifier)
