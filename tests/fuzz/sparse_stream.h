#pragma once

#include <array>
#include <boost/smart_ptr/intrusive_ptr.hpp>
#include <cstddef>
#include <cstdint>
#include <unordered_map>

#include "kav/streams.h"

namespace quarrypack::test {

// A file in memory that keeps only the pages that were written, like a sparse file: hostile movies
// make the writer reserve room for millions of entries that never come. Like a full disk, it fails
// a write beyond its limit of pages. Always hold it in an intrusive pointer.
class SparseStream final : public norvik::kav::NorvikIOStream {
 public:
  static boost::intrusive_ptr<SparseStream> create(std::size_t mostPages) {
    return boost::intrusive_ptr<SparseStream>(new SparseStream(mostPages));
  }

  std::uint64_t size() const { return size_; }

  void addRef() override { ++references_; }
  void release() override {
    if (--references_ == 0) delete this;
  }
  void open() override { position_ = 0; }
  void close() override {}
  std::size_t read(void* buffer, std::size_t count) override;
  void seek(std::int64_t offset, int origin) override;
  std::uint64_t tell() override { return position_; }
  std::size_t write(const void* buffer, std::size_t count) override;
  void setSize(std::uint64_t size) override;

 private:
  static constexpr std::size_t kPage = 4096;
  using Page = std::array<std::uint8_t, kPage>;

  explicit SparseStream(std::size_t mostPages) : mostPages_(mostPages) {}
  ~SparseStream() override = default;

  Page& pageToWrite(std::uint64_t number);

  std::unordered_map<std::uint64_t, Page> pages_;
  std::size_t mostPages_;
  std::uint64_t size_ = 0;
  std::uint64_t position_ = 0;
  std::uint32_t references_ = 0;
};

}  // namespace quarrypack::test
