#pragma once

#include <cstddef>

// The file calls of the program under test, counted and made to fail on demand. The linker
// replaces the calls of the C library by these wrappers in the whole test program.
namespace quarrypack::test {

enum class SystemCall { open, close, read, write, setLength };

// Starts counting at 0 and lets every call pass.
void resetSystemCalls();

std::size_t systemCallCount(SystemCall call);

// The k-th call of this sort from now on, counted from 1, fails with the error number.
void failSystemCall(SystemCall call, std::size_t k, int errorNumber);

// The k-th read or write from now on moves half of its bytes.
void shortenSystemCall(SystemCall call, std::size_t k);

// Whether the requested fault has occurred.
bool systemFaultWasMet();

}  // namespace quarrypack::test
