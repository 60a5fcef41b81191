#include "tests/fuzz/sparse_stream.h"

#include <algorithm>
#include <cstring>
#include <limits>

#include "kav/exception.h"

namespace quarrypack::test {

namespace kav = norvik::kav;

std::size_t SparseStream::read(void* buffer, std::size_t count) {
  if (position_ >= size_) return 0;
  count = static_cast<std::size_t>(std::min<std::uint64_t>(count, size_ - position_));
  auto* target = static_cast<std::uint8_t*>(buffer);
  for (std::size_t done = 0; done < count;) {
    const auto offset = static_cast<std::size_t>(position_ % kPage);
    const std::size_t bytes = std::min(count - done, kPage - offset);
    const auto page = pages_.find(position_ / kPage);
    if (page == pages_.end()) {
      std::memset(target + done, 0, bytes);
    } else {
      std::memcpy(target + done, page->second.data() + offset, bytes);
    }
    done += bytes;
    position_ += bytes;
  }
  return count;
}

void SparseStream::seek(std::int64_t offset, int origin) {
  std::uint64_t base = position_;
  if (origin == kav::kSeekFromStart) base = 0;
  if (origin == kav::kSeekFromEnd) base = size_;
  std::int64_t target = 0;
  if (__builtin_add_overflow(base, offset, &target) || target < 0) {
    throw kav::Exception(kav::ErrorCode::ioFailed);
  }
  position_ = static_cast<std::uint64_t>(target);
}

SparseStream::Page& SparseStream::pageToWrite(std::uint64_t number) {
  const auto [page, isNew] = pages_.try_emplace(number);
  if (isNew) {
    page->second.fill(0);
    if (pages_.size() > mostPages_) throw kav::Exception(kav::ErrorCode::ioFailed);
  }
  return page->second;
}

std::size_t SparseStream::write(const void* buffer, std::size_t count) {
  constexpr auto kLongest = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
  if (count > kLongest - position_) throw kav::Exception(kav::ErrorCode::ioFailed);
  const auto* source = static_cast<const std::uint8_t*>(buffer);
  for (std::size_t done = 0; done < count;) {
    const auto offset = static_cast<std::size_t>(position_ % kPage);
    const std::size_t bytes = std::min(count - done, kPage - offset);
    std::memcpy(pageToWrite(position_ / kPage).data() + offset, source + done, bytes);
    done += bytes;
    position_ += bytes;
  }
  size_ = std::max(size_, position_);
  return count;
}

void SparseStream::setSize(std::uint64_t size) {
  std::erase_if(pages_, [&](const auto& page) { return page.first * kPage >= size; });
  if (const auto last = pages_.find(size / kPage); last != pages_.end()) {
    std::fill(last->second.begin() + static_cast<std::ptrdiff_t>(size % kPage), last->second.end(),
              std::uint8_t{0});
  }
  size_ = size;
}

}  // namespace quarrypack::test
