// Walking the sample tables of a movie: one track, all tracks merged, and the count before both.

#include <benchmark/benchmark.h>

#include <limits>

#include "kav/impl/reading/reader.h"
#include "kav/impl/reading/track_iterator.h"
#include "tests/support/memory_stream.h"
#include "tests/support/movie_builder.h"

namespace norvik::kav::impl {
namespace {

using quarrypack::test::MemoryStream;
using quarrypack::test::MovieBuilder;

// Pictures, twice as many packets of sound, and a caption for each picture.
quarrypack::test::Bytes movieOf(std::size_t pictures) {
  quarrypack::test::VideoTrackOptions video;
  video.count = pictures;
  video.syncEvery = 60;
  video.betweenAnchors = 2;
  quarrypack::test::SoundTrackOptions sound;
  sound.count = 2 * pictures;
  MovieBuilder movie(
      {videoTrack(video), soundTrack(sound), quarrypack::test::captionTrack(pictures)});
  for (auto& track : movie.tracks) track.samplesPerChunk = {10};
  return movie.build();
}

// The walks need only the tables, so one movie in memory serves them all.
Reader openMovie(std::int64_t pictures) {
  return Reader(MemoryStream::create(movieOf(static_cast<std::size_t>(pictures))), {});
}

std::int64_t walk(SampleIterator& samples) {
  std::int64_t count = 0;
  Sample sample;
  while (samples.take(sample)) {
    benchmark::DoNotOptimize(sample.fileOffset);
    ++count;
  }
  return count;
}

void BM_WalkOneTrack(benchmark::State& state) {
  const Reader reader = openMovie(state.range(0));
  std::int64_t walked = 0;
  for (auto _ : state) {
    TrackIterator samples(reader.records()[0], 0, 0, std::uint64_t{1} << 40);
    walked += walk(samples);
  }
  state.SetItemsProcessed(walked);
  state.SetComplexityN(state.range(0));
}
BENCHMARK(BM_WalkOneTrack)->RangeMultiplier(10)->Range(1000, 100'000)->Complexity();

void BM_WalkAllTracks(benchmark::State& state) {
  Reader reader = openMovie(state.range(0));
  std::int64_t walked = 0;
  for (auto _ : state) walked += walk(*reader.createDocIterator());
  state.SetItemsProcessed(walked);
  state.SetComplexityN(state.range(0));
}
BENCHMARK(BM_WalkAllTracks)->RangeMultiplier(10)->Range(1000, 100'000)->Complexity();

void BM_CountSamples(benchmark::State& state) {
  Reader reader = openMovie(state.range(0));
  for (auto _ : state)
    benchmark::DoNotOptimize(reader.countSamples(std::numeric_limits<std::uint64_t>::max()));
  state.SetComplexityN(state.range(0));
}
BENCHMARK(BM_CountSamples)->RangeMultiplier(10)->Range(1000, 100'000)->Complexity();

}  // namespace
}  // namespace norvik::kav::impl
