#include "kav/impl/tables/table_interfaces.h"

namespace norvik::kav::impl {
namespace {

// The entry of a number that counts from 1, or the end of the entries.
template <class T>
const T* entryOf(std::span<const T> entries, std::uint32_t number) {
  const bool exists = number >= 1 && number <= entries.size();
  return entries.data() + (exists ? number - 1 : entries.size());
}

}  // namespace

NormalVariableSampleSizeIterator::NormalVariableSampleSizeIterator(
    std::span<const std::uint32_t> sizes, std::uint32_t sampleNumber)
    : position_(entryOf(sizes, sampleNumber)), end_(sizes.data() + sizes.size()) {}

NormalChunkOffsetIterator::NormalChunkOffsetIterator(std::span<const std::uint64_t> offsets,
                                                     std::uint32_t chunkNumber)
    : position_(entryOf(offsets, chunkNumber)), end_(offsets.data() + offsets.size()) {}

}  // namespace norvik::kav::impl
