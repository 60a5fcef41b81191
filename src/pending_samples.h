#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <vector>

namespace quarrypack {

// A sample of an output track that has been read but not written. Its bytes stay in the input file.
// Movies without key frames keep all their samples pending, so every byte here counts.
struct PendingSample {
  std::uint64_t fileOffset = 0;
  std::uint64_t decodingTime = 0;       // units of its timescale
  std::uint32_t size = 0;               // bytes, inserted captions included
  std::uint32_t compositionOffset = 0;  // units of its timescale
  std::uint32_t slot = 0;   // its track and description, in the tables of the conversion
  std::uint32_t flags = 0;  // as in NorvikKavSampleInfo
};
static_assert(sizeof(PendingSample) == 32);

// The pending samples in the order of reading. The list is appended to and emptied from the front,
// and holds from a few hundred to millions of samples. So it is made of blocks that never move.
class PendingSamples {
 public:
  PendingSamples() = default;
  PendingSamples(std::initializer_list<PendingSample> samples);

  bool empty() const { return size_ == 0; }
  std::size_t size() const { return size_; }

  PendingSample& operator[](std::size_t place) {
    const std::size_t index = skipped_ + place;
    return (*blocks_[index / kBlockLength])[index % kBlockLength];
  }
  const PendingSample& operator[](std::size_t place) const {
    return const_cast<PendingSamples&>(*this)[place];
  }

  void append(const PendingSample& sample) {
    if (skipped_ + size_ == blocks_.size() * kBlockLength) addBlock();
    ++size_;
    (*this)[size_ - 1] = sample;
  }

  // Removes the first count samples; the rest is renumbered from 0.
  void dropFront(std::size_t count);

 private:
  static constexpr std::size_t kBlockLength = 512;
  using Block = std::array<PendingSample, kBlockLength>;

  void addBlock();

  std::vector<std::unique_ptr<Block>> blocks_;
  std::unique_ptr<Block> spare_;  // an emptied block, the next to be filled
  std::size_t skipped_ = 0;       // samples removed from the start of the first block
  std::size_t size_ = 0;
};

}  // namespace quarrypack
