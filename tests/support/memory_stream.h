#pragma once

#include "kav/streams.h"

#include <boost/smart_ptr/intrusive_ptr.hpp>

#include <cstddef>
#include <cstdint>
#include <vector>

namespace quarrypack::test {

// A file in memory: the container's stream over a vector of bytes, for tests of everything above
// it. It counts its calls and can be made to fail or to stop short at one of them. Always hold it
// in a MemoryStreamPtr: like every shared stream, it destroys itself when the last share is
// released.
class MemoryStream final : public norvik::kav::NorvikIOStream {
 public:
  enum class Fault {
    fails,    // the call throws norvik::kav::Exception with ErrorCode::ioFailed and does nothing
    isShort,  // a read or write transfers half of its bytes; every other call works as usual
  };

  struct Calls {
    std::size_t open = 0;
    std::size_t close = 0;
    std::size_t read = 0;
    std::size_t seek = 0;
    std::size_t tell = 0;
    std::size_t write = 0;
    std::size_t setSize = 0;

    std::size_t all() const { return open + close + read + seek + tell + write + setSize; }
  };

  static boost::intrusive_ptr<MemoryStream> create(std::vector<std::uint8_t> bytes = {});

  // The k-th call from now on, counted from 1 over all operations but addRef and release, gets the
  // fault. 0 injects no fault.
  void injectFault(std::size_t k, Fault fault);
  bool faultWasMet() const { return faultWasMet_; }
  std::uint64_t faultPosition() const { return faultPosition_; }  // of the stream, before that call

  const std::vector<std::uint8_t>& bytes() const { return bytes_; }
  std::vector<std::uint8_t>& bytes() { return bytes_; }
  const Calls& calls() const { return calls_; }
  void resetCalls() { calls_ = Calls(); }
  std::uint32_t references() const { return references_; }
  bool isOpen() const { return isOpen_; }

  // The destructor sets `destroyed` to true. The variable must outlive the stream.
  void reportDestruction(bool& destroyed) { destroyed_ = &destroyed; }

  void addRef() override;
  void release() override;
  void open() override;
  void close() override;
  std::size_t read(void* buffer, std::size_t count) override;
  void seek(std::int64_t offset, int origin) override;
  std::uint64_t tell() override;
  std::size_t write(const void* buffer, std::size_t count) override;
  void setSize(std::uint64_t size) override;

 private:
  explicit MemoryStream(std::vector<std::uint8_t> bytes);
  ~MemoryStream() override;

  // Counts one call and applies the fault to it; returns how many of count bytes it may move.
  std::size_t admit(std::size_t& calls, std::size_t count = 0);

  std::vector<std::uint8_t> bytes_;
  std::uint64_t position_ = 0;
  std::uint32_t references_ = 0;
  bool isOpen_ = false;
  Calls calls_;
  std::size_t callsUntilFault_ = 0;
  Fault fault_ = Fault::fails;
  bool faultWasMet_ = false;
  std::uint64_t faultPosition_ = 0;
  bool* destroyed_ = nullptr;
};

using MemoryStreamPtr = boost::intrusive_ptr<MemoryStream>;

}  // namespace quarrypack::test
