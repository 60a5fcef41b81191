// The presentation order, and the search for a caption's sample.

#include <benchmark/benchmark.h>

#include <vector>

#include "src/sample_groups.h"

namespace quarrypack {
namespace {

const std::vector<std::uint32_t> kTimescales{30000, 48000};

class NoBytes final : public ByteSource {
 public:
  void readAt(std::uint64_t /*fileOffset*/, std::span<std::uint8_t> /*destination*/) override {}
};

// Pictures and sound in turn; with reordering every third picture is shown after the next two.
PendingSamples samplesOf(std::int64_t count, bool isReordered) {
  PendingSamples pending;
  for (std::uint64_t i = 0; i < static_cast<std::uint64_t>(count) / 2; ++i) {
    pending.append({.decodingTime = i * 1000,
                    .compositionOffset = isReordered && i % 3 == 1 ? 3000U : 0U,
                    .slot = 0});
    pending.append({.decodingTime = i * 1600, .slot = 1});
  }
  return pending;
}

void BM_PresentationOrder(benchmark::State& state) {
  const PendingSamples pending = samplesOf(state.range(0), state.range(1) != 0);
  for (auto _ : state) {
    benchmark::DoNotOptimize(presentationOrder(pending, pending.size(), kTimescales));
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
  state.SetComplexityN(state.range(0));
}
BENCHMARK(BM_PresentationOrder)
    ->ArgNames({"samples", "reordered"})
    ->ArgsProduct({{100, 1000, 10'000, 100'000, 1'000'000}, {0}})
    ->Complexity();
BENCHMARK(BM_PresentationOrder)
    ->ArgNames({"samples", "reordered"})
    ->ArgsProduct({{100, 1000, 10'000, 100'000, 1'000'000}, {1}})
    ->Complexity();

// A search for every fourth sample, as for captions, in a group that is already sorted.
void BM_CaptionSearch(benchmark::State& state) {
  PendingSamples pending = samplesOf(state.range(0), true);
  NoBytes file;
  SortedGroup group(pending, pending.size(), kTimescales, file);
  benchmark::DoNotOptimize(group.reaches(0, kTimescales[0]));
  const std::uint64_t searches = pending.size() / 4;
  for (auto _ : state) {
    for (std::uint64_t i = 0; i < searches; ++i) {
      benchmark::DoNotOptimize(group.firstShownAt(i * 2000, kTimescales[0]));
    }
  }
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(searches));
  state.SetComplexityN(state.range(0));
}
BENCHMARK(BM_CaptionSearch)->RangeMultiplier(10)->Range(1000, 1'000'000)->Complexity();

}  // namespace
}  // namespace quarrypack
