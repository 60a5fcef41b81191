#pragma once

#include <algorithm>
#include <cstdint>
#include <optional>
#include <stdexcept>

#include "kav/exception.h"
#include "kav/impl/bytes/stream_adapters.h"
#include "kav/impl/tree/root_box.h"
#include "tests/support/box_builders.h"
#include "tests/support/bytes.h"
#include "tests/support/code_of.h"
#include "tests/support/memory_stream.h"

namespace norvik::kav::impl {

using quarrypack::test::codeOf;

// A document of nothing but some bytes, whose first box is of a class.
template <class T>
class Parsed {
 public:
  explicit Parsed(const quarrypack::test::Bytes& file)
      : memory_(quarrypack::test::MemoryStream::create(file)), stream_(memory_) {
    stream_.computeSize();
    root_.emplace(stream_);
    memory_->resetCalls();
    box_ = dynamic_cast<T*>(root_->readNextBox());
    if (box_ == nullptr) throw std::logic_error("the first box has another class");
  }

  T* operator->() const { return box_; }
  T& operator*() const { return *box_; }
  std::size_t reads() const { return memory_->calls().read; }

 private:
  quarrypack::test::MemoryStreamPtr memory_;
  NorvikKavIStream stream_;
  std::optional<RootBox> root_;
  T* box_ = nullptr;
};

template <class T>
std::optional<std::uint32_t> codeOfReading(const quarrypack::test::Bytes& file) {
  return codeOf([&] { Parsed<T> parsed(file); });
}

// A file in memory to build boxes in.
struct Output {
  quarrypack::test::MemoryStreamPtr memory = quarrypack::test::MemoryStream::create();
  NorvikKavIOStream stream{memory};

  // What was written between two offsets.
  quarrypack::test::Bytes bytes(std::uint64_t start, std::uint64_t end) const {
    const quarrypack::test::Bytes& all = memory->bytes();
    const auto at = [&](std::uint64_t offset) {
      return all.begin() + static_cast<std::ptrdiff_t>(std::min<std::uint64_t>(offset, all.size()));
    };
    return {at(start), at(end)};
  }

  // A box that was written, at its true length.
  quarrypack::test::Bytes filled(const Box& box) const {
    return bytes(box.start(), box.start() + box.getSize());
  }
};

// Writes a built table as the end of a movie does: completed, without the room that was not used.
inline quarrypack::test::Bytes completed(Output& output, Box& box) {
  box.updateContent();
  box.releaseReserve();
  box.patchSize();
  return output.filled(box);
}

}  // namespace norvik::kav::impl
