// Small writes to the many places of a growing movie, each with a seek and a write.

#include <benchmark/benchmark.h>

#include <array>
#include <filesystem>
#include <string>
#include <vector>

#include "kaf/file_stream.h"
#include "kaf/open_mode.h"
#include "tests/support/run_program.h"

namespace quell::kaf {
namespace {

constexpr std::uint32_t kMode = OpenMode::kReadWrite | OpenMode::kCreate | OpenMode::kTruncate;

// Twelve tables that grow by four bytes each, and media data that grows by a sample.
void BM_GrowingPlaces(benchmark::State& state) {
  constexpr std::int64_t kPlaces = 12;
  constexpr std::int64_t kTableRoom = 1 << 20;
  constexpr std::int64_t kRounds = 10'000;
  const quarrypack::test::TemporaryFolder folder;
  const std::filesystem::path path = folder.path() / "movie.mp4";
  const std::vector<char> sample(static_cast<std::size_t>(state.range(0)), 'x');
  const std::array<char, 4> entry{};
  for (auto _ : state) {
    std::filesystem::remove(path);
    FileStream file(path.string(), kMode);
    file.open();
    std::int64_t mediaEnd = kPlaces * kTableRoom;
    for (std::int64_t i = 0; i < kRounds; ++i) {
      for (std::int64_t place = 0; place < kPlaces; ++place) {
        file.seek(place * kTableRoom + i * std::int64_t{entry.size()}, 0);
        file.write(entry.data(), entry.size());
      }
      file.seek(mediaEnd, 0);
      file.write(sample.data(), sample.size());
      mediaEnd += state.range(0);
    }
    file.close();
  }
  state.SetItemsProcessed(state.iterations() * kRounds);
  state.SetBytesProcessed(state.iterations() * kRounds * state.range(0));
}
BENCHMARK(BM_GrowingPlaces)->Arg(24)->Arg(1000)->Arg(20'000)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace quell::kaf
