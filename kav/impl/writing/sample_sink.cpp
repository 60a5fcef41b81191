#include "kav/impl/writing/sample_sink.h"

#include <array>
#include <limits>

#include "kav/big_endian.h"
#include "kav/exception.h"

namespace norvik::kav::impl {
namespace {

// The room after the movie box is at least this long, so that a free box always fits into what
// remains of it.
constexpr std::uint64_t kSmallestFreeBox = 8;

}  // namespace

void MovieDraft::closeHead(std::uint64_t room) {
  nextBox += room + kSmallestFreeBox;
  reserveEnd = nextBox;
}

void MovieDraft::coverReserve(std::uint64_t from) {
  constexpr std::uint64_t kLongestCompact = std::numeric_limits<std::uint32_t>::max();
  if (moov.extent() > kLongestCompact) throw Exception(ErrorCode::implausibleCount);
  const std::uint64_t length = reserveEnd - from;
  const bool largeSize = length > kLongestCompact;
  std::array<std::uint8_t, 16> header;
  storeU32(header.data(), largeSize ? 1 : static_cast<std::uint32_t>(length));
  storeU32(header.data() + 4, fourCc("free"));
  storeU64(header.data() + 8, length);
  stream.seekTo(from);
  stream.writeFully(header.data(), largeSize ? 16 : 8);
}

}  // namespace norvik::kav::impl
