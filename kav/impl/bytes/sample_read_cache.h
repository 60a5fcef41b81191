#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "kav/impl/bytes/stream_adapters.h"

namespace norvik::kav::impl {

// Reads sample bytes through a few fixed-size blocks. Samples of interleaved tracks lie close
// together in a file but are requested in turn, so a handful of blocks turns most requests into
// copies.
class SampleReadCache {
 public:
  // blockSize and maximumBlocks must not be 0. Block boundaries are counted from base.
  SampleReadCache(NorvikKavStream& stream, std::uint32_t blockSize, std::uint32_t maximumBlocks,
                  std::uint64_t base = 0);

  // Copies length bytes at an offset in the file to the destination; returns how many were read.
  std::size_t read(void* destination, std::size_t length, std::uint64_t offset);

 private:
  struct Block {
    std::vector<std::uint8_t> buffer;
    std::size_t length = 0;  // the bytes that the file had
    std::uint64_t offset = 0;
    std::uint32_t age = 0;
  };
  struct Request {
    std::uint8_t* destination;
    std::size_t length;
    std::uint64_t offset;
  };

  // Serves the part of a request that the block holds and advances the request; true if it served
  // any.
  static bool serve(Block& block, Request& request);
  Block& blockToFill();
  void readDirectly(Request& request);

  NorvikKavStream& stream_;
  std::uint64_t base_;
  std::uint32_t blockSize_;
  std::uint32_t maximumBlocks_;
  std::vector<Block> blocks_;
  std::size_t nextReused_ = 0;  // blocks in use are reused in turn, the oldest first

  // Usually the block that served last serves again, or else the one that was filled after it.
  std::size_t nextProbed_ = 0;
};

}  // namespace norvik::kav::impl
