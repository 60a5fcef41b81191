#pragma once

#include <cstdint>
#include <span>

#include "kav/movie.h"
#include "src/sample_bytes.h"

namespace quarrypack {

// The bytes of a movie as a source for its samples. The movie must outlive it. An empty destination
// is filled wherever it is asked for: a sample without bytes may state any offset.
class MovieBytes final : public ByteSource {
 public:
  // What is needed besides the requested bytes: their neighbours, because whole samples are copied,
  // or nothing, because samples are only looked into.
  enum class Need { neighbours, nothingElse };

  explicit MovieBytes(norvik::kav::Movie& movie, Need need = Need::neighbours)
      : movie_(movie), need_(need) {}

  void readAt(std::uint64_t fileOffset, std::span<std::uint8_t> destination) override;
  void peekAt(std::uint64_t fileOffset, std::span<std::uint8_t> destination) override;

  // Throws shortRead for a sample that is not wholly in the file.
  void require(const norvik::kav::Sample& sample) const;

 private:
  norvik::kav::Movie& movie_;
  Need need_;
};

}  // namespace quarrypack
