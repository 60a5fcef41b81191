#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <utility>

#include "kav/impl/bytes/stream_adapters.h"
#include "kav/impl/model/box.h"
#include "kav/impl/model/box_headers.h"
#include "kav/impl/reading/reader.h"
#include "kav/impl/tree/root_box.h"
#include "kav/movie.h"
#include "tests/support/bytes.h"
#include "tests/support/memory_stream.h"
#include "tests/support/movie_builder.h"

namespace quarrypack::test {

// A film in memory, for tests of everything from one box to a whole movie:
//
//     Film film(fullBox("mfhd", 0, 0, u32(7)));
//     EXPECT_EQ(film.box<MfhdBox>().sequenceNumber(), 7u);      // through the tree
//     EXPECT_CODE(truncatedBox, film.alone<MfhdBox>());         // the class alone
//     EXPECT_EQ(film.written(box), expected);                   // what the file then holds
//     Film(movieBuilder).movie().tracks()                       // as a movie
//
// The tree, single boxes and the reader share the stream of the film; a test uses one of them. The
// calls of the stream count from the end of the construction.
class Film {
 public:
  using Box = norvik::kav::impl::Box;

  explicit Film(Bytes content = {}, norvik::kav::impl::BoxFactory* factory = nullptr,
                norvik::kav::impl::BoxAllocator* allocator = nullptr)
      : memory(MemoryStream::create(std::move(content))),
        stream(memory),
        root(stream, factory, allocator) {
    stream.computeSize();
    memory->resetCalls();
  }
  explicit Film(const MovieBuilder& movie) : Film(movie.build()) {}

  // A film that is opened as a movie at once.
  Film(Bytes content, const norvik::kav::impl::ReaderOptions& options) : Film(std::move(content)) {
    reader_.emplace(memory, options);
  }
  Film(const MovieBuilder& movie, const norvik::kav::impl::ReaderOptions& options)
      : Film(movie.build(), options) {}

  // The next top-level box, read as a part of the tree. Throws std::runtime_error when there is
  // none or when it has another class.
  template <class T = Box>
  T& box() {
    T* next = dynamic_cast<T*>(root.readNextBox());
    if (next == nullptr) throw std::runtime_error("the next box is not of the expected class");
    return *next;
  }

  // The box at the start of the film as a T, whatever type it states, without a tree around it. Its
  // content is not read, and the stream is at the beginning of the content.
  template <class T>
  norvik::kav::impl::OwnedBox<T> unread() {
    stream.seekTo(0);
    return norvik::kav::impl::makeBox<T>(*norvik::kav::impl::readBoxHeader(stream, nullptr),
                                         stream);
  }

  // The same with its content.
  template <class T>
  norvik::kav::impl::OwnedBox<T> alone() {
    auto box = unread<T>();
    box->readContent();
    return box;
  }

  // The movie, as users of the library get it. It may outlive the film.
  norvik::kav::Movie movie(const norvik::kav::MovieOptions& options = {}) const {
    return norvik::kav::Movie(memory, options);
  }

  // The reader below the movie, opened at the first call if the constructor did not open it.
  norvik::kav::impl::Reader& reader() {
    if (!reader_) reader_.emplace(memory, norvik::kav::impl::ReaderOptions{});
    return *reader_;
  }
  const norvik::kav::impl::Reader& reader() const { return reader_.value(); }

  // A track of the movie, which must be open. Counted from 1.
  const norvik::kav::impl::TrackRecord& track(std::size_t number = 1) const {
    return reader().records()[number - 1];
  }

  Bytes bytesOf(const norvik::kav::Sample& sample) {
    Bytes bytes(sample.info.size);
    reader().readBytes(sample.fileOffset, bytes);
    return bytes;
  }

  // All bytes of the file after the box was written.
  const Bytes& written(Box& box) {
    box.write();
    return bytes();
  }

  const Bytes& bytes() const { return memory->bytes(); }

  // The bytes between two offsets, as far as there are any.
  Bytes bytes(std::uint64_t start, std::uint64_t end) const {
    const auto at = [&](std::uint64_t offset) {
      const std::uint64_t inside = std::min<std::uint64_t>(offset, bytes().size());
      return bytes().begin() + static_cast<std::ptrdiff_t>(inside);
    };
    return {at(start), at(end)};
  }

  // The part of a written box that is filled.
  Bytes filled(const Box& box) const { return bytes(box.start(), box.start() + box.getSize()); }

  // A table as it is at the end of a movie: completed, without unused room.
  Bytes completed(Box& box) const {
    box.updateContent();
    box.releaseReserve();
    box.patchSize();
    return filled(box);
  }

  MemoryStreamPtr memory;
  norvik::kav::impl::NorvikKavIOStream stream;
  norvik::kav::impl::RootBox root;

 private:
  std::optional<norvik::kav::impl::Reader> reader_;
};

}  // namespace quarrypack::test
