// Captions of any atoms, inserted into a sample of any bytes, once in memory and once in a sample
// that stays in its file. Both results must be equal.
//
// The input: a byte with the size of the NAL lengths, two bytes with the length of the sample, the
// sample, and then captions, each after two bytes with its length.

#include <algorithm>
#include <vector>

#include "src/caption_sei.h"
#include "tests/fuzz/fuzz_target.h"

using namespace quarrypack;
using test::check;

namespace {

class InputFile final : public ByteSource {
 public:
  explicit InputFile(std::vector<std::uint8_t> bytes) : bytes_(std::move(bytes)) {}

  void readAt(std::uint64_t fileOffset, std::span<std::uint8_t> destination) override {
    check(fileOffset <= bytes_.size() && destination.size() <= bytes_.size() - fileOffset,
          "nothing is read outside the sample");
    std::copy_n(bytes_.begin() + static_cast<std::ptrdiff_t>(fileOffset), destination.size(),
                destination.begin());
  }

 private:
  std::vector<std::uint8_t> bytes_;
};

bool isSubsequence(const std::vector<std::uint8_t>& part, const std::vector<std::uint8_t>& whole) {
  auto next = part.begin();
  for (const std::uint8_t byte : whole) {
    if (next != part.end() && *next == byte) ++next;
  }
  return next == part.end();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const test::SilencedConsole silence;
  test::InputBytes input({data, size});
  nalLengthSize = static_cast<std::uint8_t>(input.u8() % 4 + 1);
  const auto bytes = input.take(input.u16());
  const std::vector<std::uint8_t> sample(bytes.begin(), bytes.end());

  MemorySampleBytes inMemory(sample);
  InputFile file(sample);
  SplicedSampleBytes inFile(file, 0, sample.size());
  PendingSample memoryRecord;
  PendingSample fileRecord;
  std::uint64_t captionBytes = 0;
  while (!input.empty()) {
    const auto caption = input.take(input.u16());
    captionBytes += caption.size() + 8;
    insertCaptionSei(inMemory, memoryRecord, caption);
    insertCaptionSei(inFile, fileRecord, caption);
  }

  if (captionBytes == 0) return 0;
  const std::vector<std::uint8_t>& result = inMemory.bytes();
  check(memoryRecord.size == result.size(), "the record knows the new size");
  check(fileRecord.size == result.size(), "both samples grow alike");
  std::vector<std::uint8_t> copied(result.size());
  inFile.copyTo(copied);
  check(copied == result, "both samples get the same bytes");
  std::vector<std::uint8_t> readBack(result.size());
  inFile.read(0, readBack);
  check(readBack == result, "reading in places gives the bytes of the copy");
  check(isSubsequence(sample, result), "no byte of the sample is lost");
  check(result.size() <= sample.size() + 64 * captionBytes, "what is inserted is bounded");
  return 0;
}
