#include "embed/media_copy.h"

#include "embed/refusal.h"
#include "kav/exception.h"
#include "kav/memory_size.h"

#include <algorithm>
#include <stdexcept>

namespace quarrypack::embed {

namespace {

using Bytes = std::span<const std::uint8_t>;

constexpr std::size_t kPiece = std::size_t{1} << 20;

// Reads a file in large pieces, from its beginning to its end.
class InputPieces {
 public:
  InputPieces(norvik::kav::NorvikIStream& stream, std::uint64_t length)
      : stream_(stream), length_(length), piece_(kPiece) {
    stream_.seek(0, norvik::kav::kSeekFromStart);
  }

  // Returns between 1 and atMost bytes from the current position on, and advances past them. The
  // position must be before the end.
  Bytes take(std::uint64_t atMost) {
    if (rest_.empty()) fill();
    const Bytes taken = rest_.first(norvik::kav::sizeWithin(atMost, rest_.size()));
    rest_ = rest_.subspan(taken.size());
    position_ += taken.size();
    return taken;
  }

  // Advances past bytes. Long stretches are not read.
  void skip(std::uint64_t count) {
    const std::size_t known = norvik::kav::sizeWithin(count, rest_.size());
    rest_ = rest_.subspan(known);
    position_ += count;
    if (known < count) {
      stream_.seek(static_cast<std::int64_t>(position_), norvik::kav::kSeekFromStart);
    }
  }

  std::uint64_t position() const { return position_; }

 private:
  void fill() {
    const std::size_t wanted = norvik::kav::sizeWithin(length_ - position_, kPiece);
    const std::size_t count = stream_.read(piece_.data(), wanted);
    if (count < wanted) {
      throw Refusal("the input became shorter while it was read, at byte " +
                    std::to_string(position_ + count));
    }
    rest_ = Bytes(piece_).first(count);
  }

  norvik::kav::NorvikIStream& stream_;
  std::uint64_t length_;
  std::vector<std::uint8_t> piece_;
  Bytes rest_;  // of the piece
  std::uint64_t position_ = 0;
};

}  // namespace

OutputBuffer::OutputBuffer(norvik::kav::NorvikIOStream& stream) : stream_(stream) {
  bytes_.reserve(kPiece);
}

void OutputBuffer::append(Bytes bytes) {
  size_ += bytes.size();
  if (bytes_.size() + bytes.size() > kPiece) flush();
  if (bytes.size() >= kPiece) return write(bytes);
  bytes_.insert(bytes_.end(), bytes.begin(), bytes.end());
}

void OutputBuffer::flush() {
  write(bytes_);
  bytes_.clear();
}

void OutputBuffer::write(Bytes bytes) {
  if (bytes.empty()) return;
  if (stream_.write(bytes.data(), bytes.size()) != bytes.size()) {
    throw norvik::kav::Exception(norvik::kav::ErrorCode::ioFailed);
  }
}

void copySpliced(norvik::kav::NorvikIStream& input, std::uint64_t length,
                 norvik::kav::NorvikIOStream& output, const OffsetMap& map, SpliceContent& content,
                 const std::function<void(std::uint64_t)>& report) {
  InputPieces pieces(input, length);
  OutputBuffer buffer(output);
  std::uint64_t reported = 0;
  const auto reportSometimes = [&] {
    constexpr std::uint64_t kStep = kPiece / 4;
    if (!report || (pieces.position() - reported < kStep && pieces.position() < length)) return;
    reported = pieces.position();
    report(reported);
  };
  const auto copyUpTo = [&](std::uint64_t end) {
    while (pieces.position() < end) {
      buffer.append(pieces.take(end - pieces.position()));
      reportSometimes();
    }
  };

  const std::vector<Splice>& splices = map.splices();
  for (std::size_t i = 0; i < splices.size(); ++i) {
    copyUpTo(splices[i].offset);
    const std::uint64_t expected = buffer.size() + splices[i].inserted;
    content.append(i, buffer);
    if (buffer.size() != expected) {
      throw std::logic_error("a splice inserts other bytes than its map counts");
    }
    pieces.skip(splices[i].removed);
  }
  copyUpTo(length);
  buffer.flush();
  reportSometimes();
}

}  // namespace quarrypack::embed
