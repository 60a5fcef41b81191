#include "tests/support/memory_stream.h"

#include "kav/exception.h"
#include "kav/memory_size.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace quarrypack::test {

namespace kav = norvik::kav;

namespace {

// Memory is a small disk: a write beyond what a test may use fails like one to a full disk.
void refuseLength(std::uint64_t length) {
  constexpr std::uint64_t kLongest = 1u << 30;
  if (length > kLongest) throw kav::Exception(kav::ErrorCode::ioFailed);
}

}  // namespace

MemoryStreamPtr MemoryStream::create(std::vector<std::uint8_t> bytes) {
  return MemoryStreamPtr(new MemoryStream(std::move(bytes)));
}

MemoryStream::MemoryStream(std::vector<std::uint8_t> bytes) : bytes_(std::move(bytes)) {}

MemoryStream::~MemoryStream() {
  if (destroyed_ != nullptr) *destroyed_ = true;
}

void MemoryStream::injectFault(std::size_t k, Fault fault) {
  callsUntilFault_ = k;
  fault_ = fault;
  faultWasMet_ = false;
}

std::size_t MemoryStream::admit(std::size_t& calls, std::size_t count) {
  ++calls;
  if (callsUntilFault_ == 0 || --callsUntilFault_ > 0) return count;
  faultWasMet_ = true;
  faultPosition_ = position_;
  if (fault_ == Fault::fails) throw kav::Exception(kav::ErrorCode::ioFailed);
  return count / 2;
}

void MemoryStream::addRef() { ++references_; }

void MemoryStream::release() {
  if (--references_ == 0) delete this;
}

void MemoryStream::open() {
  admit(calls_.open);
  isOpen_ = true;
  position_ = 0;
}

void MemoryStream::close() {
  admit(calls_.close);
  isOpen_ = false;
}

std::size_t MemoryStream::read(void* buffer, std::size_t count) {
  const std::size_t admitted = admit(calls_.read, count);
  if (position_ >= bytes_.size()) return 0;
  const std::size_t moved = kav::sizeWithin(bytes_.size() - position_, admitted);
  if (moved > 0) std::memcpy(buffer, bytes_.data() + position_, moved);
  position_ += moved;
  return moved;
}

void MemoryStream::seek(std::int64_t offset, int origin) {
  admit(calls_.seek);
  std::uint64_t base = position_;
  if (origin == kav::kSeekFromStart) base = 0;
  if (origin == kav::kSeekFromEnd) base = bytes_.size();
  std::int64_t target = 0;
  if (__builtin_add_overflow(base, offset, &target) || target < 0) {
    throw kav::Exception(kav::ErrorCode::ioFailed);
  }
  position_ = static_cast<std::uint64_t>(target);
}

std::uint64_t MemoryStream::tell() {
  admit(calls_.tell);
  return position_;
}

std::size_t MemoryStream::write(const void* buffer, std::size_t count) {
  const std::size_t admitted = admit(calls_.write, count);
  if (admitted == 0) return 0;
  refuseLength(position_ + admitted);
  if (bytes_.size() < position_ + admitted) bytes_.resize(kav::memorySize(position_ + admitted));
  std::memcpy(bytes_.data() + position_, buffer, admitted);
  position_ += admitted;
  return admitted;
}

void MemoryStream::setSize(std::uint64_t size) {
  admit(calls_.setSize);
  refuseLength(size);
  bytes_.resize(kav::memorySize(size));
}

}  // namespace quarrypack::test
