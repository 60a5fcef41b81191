#pragma once

#include <cstdint>
#include <optional>
#include <utility>

#include "kav/exception.h"
#include "kav/impl/bytes/stream_adapters.h"
#include "kav/impl/model/box.h"
#include "kav/impl/model/box_headers.h"
#include "tests/support/bytes.h"
#include "tests/support/memory_stream.h"

namespace norvik::kav::impl {

using quarrypack::test::Bytes;

// A file of some bytes, and what a test of a single box does with it.
struct TestFile {
  explicit TestFile(Bytes content = {})
      : memory(quarrypack::test::MemoryStream::create(std::move(content))), stream(memory) {
    stream.computeSize();
  }

  // The box at the start of the file, not yet read, with the stream where its content begins.
  template <class T>
  OwnedBox<T> open() {
    stream.seekTo(0);
    return makeBox<T>(*readBoxHeader(stream, nullptr), stream);
  }

  template <class T>
  OwnedBox<T> read() {
    OwnedBox<T> box = open<T>();
    box->readContent();
    return box;
  }

  const Bytes& bytes() const { return memory->bytes(); }

  quarrypack::test::MemoryStreamPtr memory;
  NorvikKavIOStream stream;
};

// The code of the exception that a call ends with, or none.
template <class Call>
std::optional<std::uint32_t> failureOf(Call call) {
  try {
    call();
  } catch (const Exception& exception) {
    return exception.code();
  }
  return std::nullopt;
}

}  // namespace norvik::kav::impl
