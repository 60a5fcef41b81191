// Building the sample table of a track, into a file in memory.

#include <benchmark/benchmark.h>

#include "kav/impl/boxes/stbl_box.h"
#include "kav/impl/bytes/stream_adapters.h"
#include "kav/sample.h"
#include "tests/support/memory_stream.h"

namespace norvik::kav::impl {
namespace {

void BM_AddSample(benchmark::State& state) {
  TrackParameters parameters;
  parameters.handlerType = fourCc("vide");
  parameters.timescale = 30000;
  parameters.movieTimescale = 600;
  parameters.sampleCapacity = static_cast<std::uint32_t>(state.range(0));
  for (auto _ : state) {
    NorvikKavIOStream stream(quarrypack::test::MemoryStream::create());
    StblBox table(parameters, stream);
    table.place(0);
    for (std::uint32_t i = 0; i < parameters.sampleCapacity; ++i) {
      // Every fourth sample lies elsewhere and opens a chunk, every third is shown later.
      Sample sample;
      sample.info.decodingTime = std::uint64_t{i} * 1001;
      sample.info.size = 1000;
      sample.info.compositionOffset = i % 3 == 0 ? 3003U : 0U;
      sample.info.flags = i % 60 == 0 ? kSampleIsSync : 0U;
      sample.fileOffset = std::uint64_t{i} * 1000 + i / 4;
      sample.descriptionIndex = 1;
      table.addSample(sample);
    }
    table.updateContent();
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
  state.SetComplexityN(state.range(0));
}
BENCHMARK(BM_AddSample)->RangeMultiplier(10)->Range(1000, 1'000'000)->Complexity();

}  // namespace
}  // namespace norvik::kav::impl
