#pragma once

#include <cstddef>
#include <string>
#include <vector>

// The file calls of the program under test, counted, recorded and made to fail on demand. The
// linker replaces the calls of the C library by these wrappers in the whole test program. Calls
// from other shared libraries are not counted.
namespace quarrypack::test {

enum class SystemCall {
  open,
  close,
  read,
  write,
  setLength,
  synchronize,  // fsync
  rename,
  remove,          // unlink
  setPermissions,  // fchmod
  examine,         // stat, lstat, fstat, faccessat, readlink
};
inline constexpr std::size_t kSystemCalls = 10;

// Starts counting at 0, records nothing and lets every call pass.
void resetSystemCalls();

std::size_t systemCallCount(SystemCall call);

struct RecordedCall {
  SystemCall call;
  std::string path;  // as it was given; of a descriptor, the path with which it was opened
};

// Records all calls until the next reset. Recording allocates memory.
void recordSystemCalls();

// The recorded calls in their order.
std::vector<RecordedCall> recordedSystemCalls();

// The k-th call of this sort from now on, counted from 1, fails with the error number.
void failSystemCall(SystemCall call, std::size_t k, int errorNumber);

// The k-th call of any sort from now on fails with the error number.
void failAnySystemCall(std::size_t k, int errorNumber);

// The k-th read or write from now on moves half of its bytes.
void shortenSystemCall(SystemCall call, std::size_t k);

// The process is killed when it makes the k-th call of any sort from now on.
void killAtSystemCall(std::size_t k);

// Whether the requested fault has occurred.
bool systemFaultWasMet();

// The call that met it, if calls are recorded.
RecordedCall faultySystemCall();

}  // namespace quarrypack::test
