// A whole conversion, from any bytes in memory to a movie in memory.

#include <algorithm>
#include <string>
#include <vector>

#include "kav/exception.h"
#include "kav/reader.h"
#include "src/caption_sei.h"
#include "src/conversion_pass.h"
#include "tests/fuzz/fuzz_target.h"
#include "tests/fuzz/sparse_stream.h"
#include "tests/support/memory_stream.h"

namespace kav = norvik::kav;
using quarrypack::test::check;
using quarrypack::test::MemoryStream;
using quarrypack::test::SparseStream;

namespace {

constexpr std::size_t kMostPages = 32u << 10;  // 128 MiB

std::uint64_t number(const std::uint8_t* bytes, std::size_t count) {
  std::uint64_t value = 0;
  for (std::size_t i = 0; i < count; ++i) value = value << 8 | bytes[i];
  return value;
}

// The boxes of a finished movie are adjacent from the first byte to the last.
void checkTiling(SparseStream& movie) {
  std::uint64_t position = 0;
  while (position < movie.size()) {
    std::array<std::uint8_t, 16> header{};
    movie.seek(static_cast<std::int64_t>(position), kav::kSeekFromStart);
    const std::size_t length = movie.read(header.data(), header.size());
    check(length >= 8, "no bytes are left over after the last box");
    std::uint64_t size = number(header.data(), 4);
    if (size == 1) size = number(header.data() + 8, 8);
    check(size >= 8 && size <= movie.size() - position, "a box ends inside the movie");
    position += size;
  }
}

// The written movie can be read again, to the last sample.
void checkReadable(SparseStream& movie) {
  kav::NorvikKavReader* reader = nullptr;
  check(kav::openReader(&movie, {}, &reader) == 0, "the output is a movie");
  kav::NorvikKavSampleIterator* iterator = nullptr;
  check(kav::createSampleIterator(reader, &iterator) == 0, "its samples can be walked");
  std::vector<std::uint8_t> bytes;
  for (;;) {
    kav::NorvikKavSample* sample = nullptr;
    check(kav::nextSample(iterator, &sample) == 0, "every sample is found");
    if (sample == nullptr) break;
    kav::NorvikKavSampleInfo info;
    kav::NorvikKavSampleLocation location;
    kav::getSampleInfo(sample, &info);
    kav::getSampleLocation(sample, &location);
    kav::closeSample(sample);
    bytes.resize(std::max<std::size_t>(info.size, 1));
    if (info.size == 0) continue;
    check(kav::readBytes(reader, location.fileOffset, bytes.data(), info.size) == 0,
          "every sample has its bytes");
  }
  kav::closeSampleIterator(iterator);
  kav::closeReader(reader);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const quarrypack::test::SilencedConsole silence;
  quarrypack::nalLengthSize = 4;
  const auto input = MemoryStream::create({data, data + size});
  const auto output = SparseStream::create(kMostPages);
  try {
    if (!quarrypack::convertMovie(*input, *output, "")) return 0;
  } catch (const kav::Exception&) {
    return 0;
  }
  checkTiling(*output);
  checkReadable(*output);
  check(std::equal(data, data + size, input->bytes().begin(), input->bytes().end()),
        "the input stays as it was");
  return 0;
}
