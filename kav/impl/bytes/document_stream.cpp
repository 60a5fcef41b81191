#include "kav/impl/bytes/document_stream.h"

#include <utility>

#include "kav/exception.h"

namespace norvik::kav::impl {
namespace {

constexpr std::uint32_t kBlockSize = 4 * 1024;
constexpr std::uint32_t kBlocks = 4;

}  // namespace

DocumentStream::DocumentStream(boost::intrusive_ptr<NorvikIStream> stream)
    : source_(std::move(stream)), blocks_(source_, kBlockSize, kBlocks) {}

void DocumentStream::open() {
  source_.open();
  position_ = 0;
}

std::size_t DocumentStream::read(void* buffer, std::size_t count) {
  const std::size_t moved = blocks_.read(buffer, count, position_);
  position_ += moved;
  return moved;
}

void DocumentStream::seek(std::int64_t offset, int origin) {
  std::uint64_t base = position_;
  if (origin == kSeekFromStart) base = 0;
  if (origin == kSeekFromEnd) {
    source_.seek(0, kSeekFromEnd);
    base = source_.tell();
  }
  std::int64_t target = 0;
  if (__builtin_add_overflow(base, offset, &target) || target < 0) {
    throw Exception(ErrorCode::ioFailed);
  }
  position_ = static_cast<std::uint64_t>(target);
}

}  // namespace norvik::kav::impl
