#include "src/movie_bytes.h"

#include "kav/exception.h"

namespace quarrypack {

namespace kav = norvik::kav;

void MovieBytes::readAt(std::uint64_t fileOffset, std::span<std::uint8_t> destination) {
  if (need_ == Need::nothingElse) return peekAt(fileOffset, destination);
  if (!destination.empty()) movie_.readAt(fileOffset, destination);
}

void MovieBytes::peekAt(std::uint64_t fileOffset, std::span<std::uint8_t> destination) {
  if (!destination.empty()) movie_.peekAt(fileOffset, destination);
}

void MovieBytes::require(const kav::Sample& sample) const {
  if (sample.info.size == 0 || movie_.holds(sample.fileOffset, sample.info.size)) return;
  throw kav::Exception(kav::ErrorCode::shortRead);
}

}  // namespace quarrypack
