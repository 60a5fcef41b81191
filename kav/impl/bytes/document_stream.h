#pragma once

#include <boost/smart_ptr/intrusive_ptr.hpp>
#include <cstddef>
#include <cstdint>

#include "kav/impl/bytes/sample_read_cache.h"
#include "kav/impl/bytes/stream_adapters.h"
#include "kav/streams.h"

namespace norvik::kav::impl {

// The stream through which the boxes of a movie are read, and the first bytes of large samples.
// Small reads are served from a few small blocks: box headers lie close together, and the parts of
// a fragment are visited in turn. Reads of more than a block go to the source as they are.
//
// It has a position of its own, so other holders of the source may move it between two calls. What
// a block holds may be older than the file; bytes past the end of a block that the file did not
// fill are asked for again.
class DocumentStream final : public NorvikKavStream {
 public:
  explicit DocumentStream(boost::intrusive_ptr<NorvikIStream> stream);

  // The same bytes without the blocks.
  NorvikKavStream& source() { return source_; }

  void addRef() override { source_.addRef(); }
  void release() override { source_.release(); }
  void open() override;
  void close() override { source_.close(); }
  std::size_t read(void* buffer, std::size_t count) override;

  // Throws ioFailed for a position before the start.
  void seek(std::int64_t offset, int origin) override;
  std::uint64_t tell() override { return position_; }

 private:
  NorvikKavIStream source_;
  SampleReadCache blocks_;
  std::uint64_t position_ = 0;
};

}  // namespace norvik::kav::impl
