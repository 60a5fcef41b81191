#include "tests/library/remux.h"

#include <algorithm>
#include <ostream>
#include <tuple>

#include "kav/movie.h"

namespace quarrypack::test {
namespace {

using namespace norvik::kav;

// Hands every sample of the movie, merged by time, to use.
template <class Use>
void forEachSample(Movie& movie, bool ignoreEditLists, Use use) {
  for (const Sample& sample : movie.samples({.applyEdits = !ignoreEditLists})) {
    LibrarySample result{.decodingTime = sample.info.decodingTime,
                         .compositionOffset = sample.info.compositionOffset,
                         .isSync = sample.isSync(),
                         .isGap = sample.isGap(),
                         .dependencies = sample.dependencies,
                         .descriptionIndex = sample.descriptionIndex,
                         .fragmentSequence = sample.fragmentSequence,
                         .bytes = Bytes(sample.info.size)};
    movie.read(sample, result.bytes);
    use(sample.track->index, std::move(result));
  }
}

NorvikKavTrackConfiguration configurationOf(const Track& track, const TrackTotals& totals) {
  NorvikKavTrackConfiguration configuration;
  configuration.info = track.info;
  configuration.handlerType = track.handlerType;
  configuration.handlerName = track.name;
  configuration.sampleCount = totals.sampleCount;
  configuration.gapCount = totals.gapCount;
  configuration.descriptionCount = static_cast<std::uint32_t>(track.descriptions.size());
  for (const SampleDescription& description : track.descriptions) {
    configuration.descriptionLength =
        std::max(configuration.descriptionLength, description.info().headerLength);
  }
  return configuration;
}

}  // namespace

bool LibrarySample::operator==(const LibrarySample& other) const {
  const auto said = [](const LibrarySample& sample) {
    return std::tie(sample.decodingTime, sample.compositionOffset, sample.isSync, sample.isGap,
                    sample.dependencies, sample.descriptionIndex, sample.bytes);
  };
  return said(*this) == said(other);
}

void PrintTo(const LibrarySample& sample, std::ostream* out) {
  *out << "time " << sample.decodingTime << " + " << sample.compositionOffset
       << (sample.isSync ? " sync" : "") << (sample.isGap ? " gap" : "") << " sdtp "
       << sample.dependencies << " description " << sample.descriptionIndex << ", "
       << sample.bytes.size() << " bytes";
}

std::vector<std::vector<LibrarySample>> readTracks(NorvikIStream& stream, bool ignoreEditLists) {
  Movie movie((IStreamPtr(&stream)));
  std::vector<std::vector<LibrarySample>> tracks(movie.tracks().size());
  forEachSample(movie, ignoreEditLists, [&](std::uint32_t track, LibrarySample sample) {
    tracks[track].push_back(std::move(sample));
  });
  return tracks;
}

void remux(NorvikIStream& from, NorvikIOStream& to, const RemuxOptions& options) {
  Movie movie((IStreamPtr(&from)));
  NorvikKavWriterConfiguration configuration;
  configuration.timescale = movie.info().timescale;
  configuration.fragmented = options.fragmented;
  configuration.fragmentDuration = options.fragmentDuration;
  configuration.randomAccess = options.randomAccess;
  Writer writer(&to, configuration);

  const std::vector<TrackTotals> totals =
      movie.countSamples(UINT64_MAX, {.applyEdits = !options.ignoreEditLists});
  for (const Track& track : movie.tracks()) {
    const std::uint32_t number = writer.addTrack(configurationOf(track, totals[track.index]));
    for (const SampleDescription& description : track.descriptions) {
      writer.addSampleDescription(number, description);
    }
  }
  forEachSample(
      movie, options.ignoreEditLists, [&](std::uint32_t track, const LibrarySample& sample) {
        const std::uint32_t flags = sample.isGap
                                        ? kSampleIsGap
                                        : (sample.isSync ? kSampleIsSync : 0) |
                                              sample.dependencies << kSampleDependencyShift;
        writer.addSample({.trackNumber = track + 1,
                          .descriptionIndex = std::max(sample.descriptionIndex, 1U),
                          .decodingTime = sample.decodingTime,
                          .compositionOffset = sample.compositionOffset,
                          .flags = flags,
                          .size = static_cast<std::uint32_t>(sample.bytes.size()),
                          .data = sample.bytes.data()});
      });
  writer.finish();
}

}  // namespace quarrypack::test
