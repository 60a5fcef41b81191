#include "tests/faults/short_memory.h"

#include <cstdlib>
#include <new>

namespace {

// 0 while every allocation succeeds, else the number of the allocation from now on that fails.
std::size_t allocationsUntilFault = 0;
bool faultWasReached = false;

void* allocate(std::size_t size) noexcept {
  if (allocationsUntilFault > 0 && --allocationsUntilFault == 0) {
    faultWasReached = true;
    return nullptr;
  }
  return std::malloc(size > 0 ? size : 1);
}

void* allocateOrThrow(std::size_t size) {
  void* block = allocate(size);
  if (block == nullptr) throw std::bad_alloc();
  return block;
}

}  // namespace

void* operator new(std::size_t size) { return allocateOrThrow(size); }
void* operator new[](std::size_t size) { return allocateOrThrow(size); }
void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
  return allocate(size);
}
void* operator new[](std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
  return allocate(size);
}
void operator delete(void* block) noexcept { std::free(block); }
void operator delete[](void* block) noexcept { std::free(block); }
void operator delete(void* block, std::size_t /*size*/) noexcept { std::free(block); }
void operator delete[](void* block, std::size_t /*size*/) noexcept { std::free(block); }
void operator delete(void* block, const std::nothrow_t& /*tag*/) noexcept { std::free(block); }
void operator delete[](void* block, const std::nothrow_t& /*tag*/) noexcept { std::free(block); }

namespace quarrypack::test {

ShortMemory::ShortMemory(std::size_t k) {
  faultWasReached = false;
  allocationsUntilFault = k;
}

ShortMemory::~ShortMemory() { allocationsUntilFault = 0; }

bool ShortMemory::faultWasMet() { return faultWasReached; }

}  // namespace quarrypack::test
