#include <csignal>

// In a program that counts coverage, raise() writes the counters first: a process that a signal
// ends has no exit at which they would be written, and its last steps would never count.

extern "C" {

void __gcov_dump();
void __gcov_reset();
int __real_raise(int signal);
int __wrap_raise(int signal);

int __wrap_raise(int signal) {
  __gcov_dump();
  // Without this, a second dump would write nothing.
  __gcov_reset();
  return __real_raise(signal);
}

}  // extern "C"
