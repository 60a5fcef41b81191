#include "kav/impl/bytes/stream_adapters.h"

#include "kav/exception.h"

#include <limits>
#include <utility>

namespace norvik::kav::impl {
namespace {

std::int64_t seekOffset(std::uint64_t position) {
  if (position > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max())) {
    throw Exception(ErrorCode::ioFailed);
  }
  return static_cast<std::int64_t>(position);
}

}  // namespace

std::size_t NorvikKavStream::write(const void* /*buffer*/, std::size_t /*count*/) { return 0; }

void NorvikKavStream::writeFully(const void* buffer, std::size_t count) {
  if (write(buffer, count) < count) throw Exception(ErrorCode::ioFailed);
}

void NorvikKavStream::readFully(void* buffer, std::size_t count) {
  if (read(buffer, count) < count) throw Exception(ErrorCode::shortRead);
}

std::size_t NorvikKavStream::read(void* /*buffer*/, std::size_t /*count*/) { return 0; }

void NorvikKavStream::setSize(std::uint64_t /*size*/) {}

std::uint64_t NorvikKavStream::tell() { return 0; }

std::uint64_t NorvikKavStream::computeSize() {
  const std::uint64_t position = tell();
  seek(0, kSeekFromEnd);
  size_ = tell();
  seekTo(position);
  return size_;
}

std::uint64_t NorvikKavStream::size() const { return size_; }

void NorvikKavStream::seekTo(std::uint64_t position) { seek(seekOffset(position), kSeekFromStart); }

void NorvikKavStream::writeAt(std::uint64_t position, const void* buffer, std::size_t count) {
  seekTo(position);
  writeFully(buffer, count);
}

NorvikKavIStream::NorvikKavIStream(boost::intrusive_ptr<NorvikIStream> stream)
    : stream_(std::move(stream)) {}

void NorvikKavIStream::addRef() { stream_->addRef(); }

void NorvikKavIStream::release() { stream_->release(); }

void NorvikKavIStream::open() { stream_->open(); }

std::size_t NorvikKavIStream::read(void* buffer, std::size_t count) {
  return stream_->read(buffer, count);
}

void NorvikKavIStream::seek(std::int64_t offset, int origin) { stream_->seek(offset, origin); }

std::uint64_t NorvikKavIStream::tell() { return stream_->tell(); }

void NorvikKavIStream::close() { stream_->close(); }

NorvikKavIOStream::NorvikKavIOStream(const boost::intrusive_ptr<NorvikIOStream>& stream)
    : NorvikKavIStream(stream), output_(stream.get()) {}

std::size_t NorvikKavIOStream::write(const void* buffer, std::size_t count) {
  return output_->write(buffer, count);
}

void NorvikKavIOStream::setSize(std::uint64_t size) { output_->setSize(size); }

void NorvikKavIOStream::writeAt(std::uint64_t position, const void* buffer, std::size_t count) {
  output_->seek(seekOffset(position), kSeekFromStart);
  if (output_->write(buffer, count) < count) throw Exception(ErrorCode::ioFailed);
}

}  // namespace norvik::kav::impl
