#include "kav/impl/bytes/sample_read_cache.h"

#include <algorithm>
#include <cstring>

namespace norvik::kav::impl {

SampleReadCache::SampleReadCache(NorvikKavStream& stream, std::uint32_t blockSize,
                                 std::uint32_t maximumBlocks, std::uint64_t base)
    : stream_(stream), base_(base), blockSize_(blockSize), maximumBlocks_(maximumBlocks) {}

bool SampleReadCache::serve(Block& block, Request& request) {
  const bool holds = request.offset >= block.offset && request.offset - block.offset < block.length;
  if (holds) {
    const auto from = static_cast<std::size_t>(request.offset - block.offset);
    const std::size_t bytes = std::min(block.length - from, request.length);
    std::memcpy(request.destination, block.buffer.data() + from, bytes);
    request.destination += bytes;
    request.offset += bytes;
    request.length -= bytes;
  }
  // The mark of use is masked with the bit that the shift has just moved away, so it stays 0 and no
  // block ever looks older than another.
  block.age = (block.age >> 1) & (holds ? 0x80000000U : 0U);
  return holds;
}

SampleReadCache::Block& SampleReadCache::blockToFill() {
  if (blocks_.size() < maximumBlocks_) {
    Block& block = blocks_.emplace_back();
    block.buffer.resize(blockSize_);
    return block;
  }
  Block& block = blocks_[nextReused_];
  nextReused_ = (nextReused_ + 1) % blocks_.size();
  return block;
}

void SampleReadCache::readDirectly(Request& request) {
  stream_.seekTo(request.offset);
  const std::size_t bytes = stream_.read(request.destination, request.length);
  request.destination += bytes;
  request.offset += bytes;
  request.length -= bytes;
}

std::size_t SampleReadCache::read(void* destination, std::size_t length, std::uint64_t offset) {
  Request request{static_cast<std::uint8_t*>(destination), length, offset};
  if (length > blockSize_) {
    readDirectly(request);
    return length - request.length;
  }
  for (std::size_t probed = 0; probed < blocks_.size() && request.length > 0; ++probed) {
    if (serve(blocks_[nextProbed_], request)) break;
    nextProbed_ = (nextProbed_ + 1) % blocks_.size();
  }
  if (request.length > 0) {
    Block& block = blockToFill();
    block.length = 0;
    block.offset = base_ + (request.offset - base_) / blockSize_ * blockSize_;
    stream_.seekTo(block.offset);
    block.length = stream_.read(block.buffer.data(), blockSize_);
    serve(block, request);
  }
  if (request.length > 0) readDirectly(request);
  return length - request.length;
}

}  // namespace norvik::kav::impl
