#pragma once

#include <cstdint>

namespace norvik::kav::impl {

// The entries of the sample tables in the form of a file.

struct TimeEntry {
  std::uint32_t sampleCount = 0;
  std::uint32_t sampleDelta = 0;

  template <class Fields, class Self>
  static constexpr void layout(Fields& fields, Self& self) {
    fields.u32(self.sampleCount);
    fields.u32(self.sampleDelta);
  }
};

struct OffsetEntry {
  std::uint32_t sampleCount = 0;
  std::uint32_t sampleOffset = 0;

  template <class Fields, class Self>
  static constexpr void layout(Fields& fields, Self& self) {
    fields.u32(self.sampleCount);
    fields.u32(self.sampleOffset);
  }
};

struct ChunkEntry {
  std::uint32_t firstChunk = 0;
  std::uint32_t samplesPerChunk = 0;
  std::uint32_t descriptionIndex = 0;

  template <class Fields, class Self>
  static constexpr void layout(Fields& fields, Self& self) {
    fields.u32(self.firstChunk);
    fields.u32(self.samplesPerChunk);
    fields.u32(self.descriptionIndex);
  }
};

// A size, a 32-bit chunk offset or a sample number.
struct NumberEntry {
  std::uint32_t number = 0;

  std::uint64_t chunkOffset() const { return number; }

  template <class Fields, class Self>
  static constexpr void layout(Fields& fields, Self& self) {
    fields.u32(self.number);
  }
};

struct WideOffsetEntry {
  std::uint64_t offset = 0;

  std::uint64_t chunkOffset() const { return offset; }

  template <class Fields, class Self>
  static constexpr void layout(Fields& fields, Self& self) {
    fields.u64(self.offset);
  }
};

struct DependencyEntry {
  std::uint8_t dependencies = 0;

  template <class Fields, class Self>
  static constexpr void layout(Fields& fields, Self& self) {
    fields.u8(self.dependencies);
  }
};

}  // namespace norvik::kav::impl
