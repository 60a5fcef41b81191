// Captions: building their units, inserting them into pictures, and all work on the captions of one
// group.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <utility>
#include <vector>

#include "src/caption_queue.h"
#include "src/caption_sei.h"
#include "tests/support/box_builders.h"

namespace quarrypack {
namespace {

using test::Bytes;

// A picture of one slice.
const Bytes kPicture = {0, 0, 0, 2, 0x09, 0xF0, 0, 0, 0, 8, 0x65, 0x88, 0x84, 0, 0, 0, 0, 0};

// The same bytes at every read offset.
class Repeated final : public ByteSource {
 public:
  explicit Repeated(Bytes bytes) : bytes_(std::move(bytes)) {}

  void readAt(std::uint64_t /*fileOffset*/, std::span<std::uint8_t> destination) override {
    std::copy_n(bytes_.begin(), destination.size(), destination.begin());
  }

 private:
  Bytes bytes_;
};

Bytes captionOf(std::size_t pairs) {
  Bytes bytes;
  for (std::size_t i = 0; i < pairs; ++i) {
    bytes.push_back(0x80);
    bytes.push_back(static_cast<std::uint8_t>(i));
  }
  return test::box("cdat", bytes);
}

void BM_InsertCaption(benchmark::State& state) {
  const Bytes caption = captionOf(static_cast<std::size_t>(state.range(0)));
  for (auto _ : state) {
    MemorySampleBytes sample(kPicture);
    PendingSample record;
    insertCaptionSei(sample, record, caption);
    benchmark::DoNotOptimize(record.size);
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_InsertCaption)->Arg(1)->Arg(20)->Arg(1000);

// Many captions for a single picture.
void BM_PileUpCaptions(benchmark::State& state) {
  const Bytes caption = captionOf(1);
  for (auto _ : state) {
    Repeated file(kPicture);
    SplicedSampleBytes sample(file, 0, kPicture.size());
    PendingSample record;
    for (std::int64_t i = 0; i < state.range(0); ++i) insertCaptionSei(sample, record, caption);
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
  state.SetComplexityN(state.range(0));
}
BENCHMARK(BM_PileUpCaptions)->RangeMultiplier(10)->Range(100, 100'000)->Complexity();

// A movie without key pictures: one group, half of it sound, with a caption for every fourth
// sample.
void BM_CaptionsOfOneGroup(benchmark::State& state) {
  constexpr std::uint32_t kVideo = 0;
  constexpr std::uint32_t kSound = 1;
  const std::vector<std::uint32_t> timescales{30000, 48000};
  const auto samples = static_cast<std::uint64_t>(state.range(0));
  const Bytes caption = captionOf(1);
  for (auto _ : state) {
    state.PauseTiming();
    Repeated file(kPicture);
    Repeated captionFile(caption);
    PendingSamples pending;
    CaptionQueue captions(captionFile);
    for (std::uint64_t i = 0; i < samples / 2; ++i) {
      pending.append({.decodingTime = i * 1001,
                      .size = static_cast<std::uint32_t>(kPicture.size()),
                      .compositionOffset = i % 3 == 1 ? 3003U : 0U,
                      .slot = kVideo});
      pending.append({.decodingTime = i * 1600 + 1, .size = 1, .slot = kSound});
      if (i % 2 != 0) continue;
      captions.push({.size = static_cast<std::uint32_t>(caption.size()),
                     .decodingTime = i * 1001,
                     .timescale = 30000});
    }
    state.ResumeTiming();
    SortedGroup group(pending, pending.size(), timescales, file);
    captions.attachDue(group);
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
  state.SetComplexityN(state.range(0));
}
BENCHMARK(BM_CaptionsOfOneGroup)
    ->RangeMultiplier(10)
    ->Range(1000, 1'000'000)
    ->Complexity()
    ->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace quarrypack
